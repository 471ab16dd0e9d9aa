// Typical RDD 18 frames of the three flavours, and the answers they must give.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/platform/value.h"

namespace velmora::bench {

using rdd18::testsupport::Bytes;

/// One item of a frame: its wire form and the entry it must leave in the answer.
struct ItemSample {
    unsigned char tag1;
    unsigned char tag2;
    Bytes payload;
    std::string name;                     ///< the key of the entry
    std::function<rdd18::Value()> value;  ///< builds the value of the entry from constants
};

/// Flavour numbers as the parser takes them.
enum Flavour : int { kStandard = 0, kVaricam = 1, kSony = 2 };
const char* flavourName(int flavour);

/// The items of a typical frame: all 37 standard items, then the vendor items of the flavour (the
/// 4 Varicam items, or the 16 Sony items).
std::vector<ItemSample> typicalItems(int flavour);

/// A frame: packets with the 3-byte flag, carrying one pack of `items` cut into packets of 254
/// stream bytes.
struct RDD18Frame {
    Bytes bytes;
    std::size_t streamBytes = 0;
    std::size_t packets = 0;
    std::size_t items = 0;
};
RDD18Frame frameOf(const std::vector<ItemSample>& items);

/// The answer of the items, built directly from known values: room for all entries reserved, a
/// key per item set in stream order, each value made by its constructor. No byte is parsed.
rdd18::Dictionary buildAnswer(const std::vector<ItemSample>& items);

/// A frame of exactly `packets` full RDD 18 packets (254 stream bytes each) holding one pack of
/// the standard items over and over, closed by one item of an unregistered tag that fills the
/// pack to the end of the last packet. `packets` is 1 to 255.
RDD18Frame filledFrame(std::size_t packets);

}  // namespace velmora::bench
