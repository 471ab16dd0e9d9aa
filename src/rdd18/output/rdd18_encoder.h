// The RDD 18 writer: an answer, as the RDD 18 facade gives it, back into items, packs and packets.
#pragma once

#include <vector>

#include "rdd18/export.h"
#include "rdd18/items/flavour.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"

namespace rdd18 {

/// How an answer is written.
struct RDD18EncodeOptions {
    /// Each packet behind the 3-byte flag 00 FF FF.
    bool flags = true;
    /// A number that no 16-bit decimal float code gives exactly is written as the nearer of the
    /// two nearest values (the lower on a tie), rather than refused.
    bool roundDecimalFloats = false;
};

/// The items whose parse under `flavour` gives `answer` back: each key of the flavour's table as
/// its item, each "Unknown_0x%02x_0x%02x" key (data) under its tag. Items in the table's order,
/// then the unknown tags in tag order. Numbers of the kinds the parser gives are written
/// exactly; an integer item takes any integer kind whose value it holds; a 16-bit decimal float
/// takes any number whose value one of its codes gives back to the last bit.
///
/// Throws `EncodeError` naming the key (with its tag) for: a key the flavour has no item for
/// (`UnknownKey`: another flavour's key, or an Unknown_ key of a tag the flavour knows); a value
/// of a kind the item can't hold (`WrongKind`) or of the wrong shape (`NotAnAnswer`, `KeyMissing`
/// and `UnknownKey` for the fields of a dictionary value); a number outside the item's range
/// (`OutOfRange`); a decimal float no code gives (`NoExactCode`, with the two nearest values in
/// the text); text beyond Latin-1 or holding a NUL (`UnwritableText`); text, data or an array
/// longer than an item's 16-bit length holds (`TextTooLong`).
VELMORA_RDD18_EXPORT ItemList itemsFromAnswer(const Dictionary& answer, Flavour flavour,
                                              bool roundDecimalFloats = false);

/// The 8-bit packet buffer whose parse under `flavour` (with the flag setting of `options`)
/// gives `answer` back: `itemsFromAnswer`, then `streamFromItems`, then `appendRDD18Packets`.
/// An empty answer gives no packets. Throws `EncodeError` as those do (`StreamTooLarge` for a
/// stream beyond 255 packets).
VELMORA_RDD18_EXPORT std::vector<unsigned char> encodeRDD18(const Dictionary& answer,
                                                            Flavour flavour,
                                                            const RDD18EncodeOptions& options = {});

}  // namespace rdd18
