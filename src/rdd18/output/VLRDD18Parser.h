// The RDD 18 facade: one parser per camera flavour, one dictionary per frame.
#pragma once

#include "rdd18/export.h"
#include <cstdint>
#include <functional>
#include <span>

#include "rdd18/items/item_factory.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/rdd18_stream_reader.h"

/// Parses the RDD 18 acquisition metadata of one frame's ancillary data into a dictionary.
///
/// The flavour is chosen once, at construction: 1 is Varicam, 2 is Sony, every other value is
/// the standard item set. A supported item appears under its name (for example
/// "CameraISOSensitivityItem"); an item of a tag the flavour doesn't know appears as data under
/// "Unknown_0x%02x_0x%02x" of its two tag bytes. A later item of the same key replaces an earlier.
///
/// Bad input never throws and never reads outside the given bytes: a frame that can't be read
/// (no RDD 18 packets, a broken packet sequence inside a pack, a payload its type can't hold, a
/// stream that ends inside a key or an item) gives an empty dictionary. Only allocation failure
/// leaves a parse as an exception.
///
/// A parser keeps nothing of a parse, so one parser can serve several threads at once. It can't
/// be copied or moved (its parse closure refers to its own factory); hold it by pointer to move it.
class VELMORA_RDD18_EXPORT VLRDD18Parser {
public:
    /// 1: Varicam, 2: Sony, any other value: standard.
    explicit VLRDD18Parser(std::int32_t type);

    VLRDD18Parser(const VLRDD18Parser&) = delete;
    VLRDD18Parser& operator=(const VLRDD18Parser&) = delete;

    /// Parses a buffer whose packets each carry the 3-byte ancillary data flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes) const;
    /// Parses a buffer; `flags` says whether its packets carry the 3-byte flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes, bool flags) const;

private:
    rdd18::ItemFactory _factory;
    std::function<rdd18::Dictionary(rdd18::RDD18StreamReader&)> _builder;
};
