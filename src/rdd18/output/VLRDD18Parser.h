// The RDD 18 facade: one parser per camera flavour, one dictionary per frame.
#pragma once

#include <cstdint>
#include <span>

#include "rdd18/export.h"
#include "rdd18/items/flavour.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18/transport/rtmd_sample.h"

/// Parses the RDD 18 acquisition metadata of one frame's ancillary data into a dictionary.
///
/// The flavour is chosen once, at construction. A supported item appears under its name (for
/// example "CameraISOSensitivityItem"); an item of a tag the flavour doesn't know appears as data
/// under "Unknown_0x%02x_0x%02x" of its two tag bytes. A later item of the same key replaces an
/// earlier. Any number of items in any order costs about the same per item.
///
/// Bad input never throws and never reads outside the given bytes: a frame that can't be read
/// (no RDD 18 packets, a broken packet sequence inside a pack, a payload its type can't hold, a
/// stream that ends inside a key, an item header or a typed payload) gives an empty dictionary.
/// A raw payload (an item of a tag the flavour doesn't know, or a Sony data item) cut off by the
/// end of the stream is kept, its missing bytes given as zeros. Only allocation failure leaves a
/// parse as an exception.
///
/// A parser keeps nothing of a parse, so one parser can serve several threads at once. It is
/// cheap to make, copy and move: its flavour's factory is built once and shared, read-only.
class VELMORA_RDD18_EXPORT VLRDD18Parser {
  public:
    /// 1: Varicam, 2: Sony, any other value: standard.
    explicit VLRDD18Parser(std::int32_t type);
    explicit VLRDD18Parser(rdd18::Flavour flavour);

    /// Parses a buffer whose packets each carry the 3-byte ancillary data flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes) const;
    /// Parses a buffer; `flags` says whether its packets carry the 3-byte flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes, bool flags) const;
    /// `parseData`, reporting the faults of the same pass to `faults`: every place the wire rules
    /// dropped or filled data, and a closing fault when the frame holds no RDD 18 packet
    /// (`NoStreamPackets`) or the parse lost the whole answer (`ItemsLost`). The answer is the
    /// one `parseData` gives.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes, bool flags,
                                rdd18::FaultSink& faults) const;
    /// Parses the packets that `packets` hands out (for example a packet list through
    /// `rdd18::host::PacketListReader`), as the packets of a buffer are parsed, reporting to
    /// `faults` when given.
    rdd18::Dictionary parseData(rdd18::AncillaryDataReader& packets,
                                rdd18::FaultSink* faults = nullptr) const;

    /// Parses one sample of an MP4/MOV `rtmd` track (see `rdd18::readRtmdSample`): its packs are
    /// read in place, as the stream joined from ANC packets carrying the same packs, so the
    /// answer is the one `parseData` gives for those packets. The cameras that write the track
    /// put Sony items among the standard ones: read it with a `Flavour::Sony` parser. A sample
    /// whose header can't be framed, or of padding only, gives an empty dictionary.
    rdd18::Dictionary parseRtmdSample(std::span<const unsigned char> sample) const;
    /// `parseRtmdSample`, reporting to `faults` the sample's framing faults, then the faults of
    /// the item walk (at stream positions counted from the first pack), and `ItemsLost` where
    /// the parse lost the whole answer.
    rdd18::Dictionary parseRtmdSample(std::span<const unsigned char> sample,
                                      rdd18::FaultSink& faults) const;

    rdd18::Flavour flavour() const noexcept { return _flavour; }

  private:
    using Builder = rdd18::Dictionary (*)(const rdd18::ItemFactory&, rdd18::RDD18StreamReader&,
                                          rdd18::FaultSink*);

    const rdd18::ItemFactory* _factory;  // shared, lives as long as the program
    Builder _builder;
    rdd18::Flavour _flavour;
};

namespace rdd18 {
/// The RDD 18 facade under the library's namespace.
using RDD18Parser = ::VLRDD18Parser;
}  // namespace rdd18
