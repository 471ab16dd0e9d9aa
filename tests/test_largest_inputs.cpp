// The largest inputs the formats allow: items of the largest 16-bit lengths cut off by the end of a
// packet stream, and ARRI items of megabytes up to the 65,535 packets of a stream. (The largest
// whole streams and vectors are fuzz seeds, checked against the harness's model.) The expected
// answers follow from the wire rules, not from timing.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

constexpr std::size_t kMaxRdd18StreamBytes = 255 * 254;  // 64,770

Bytes pattern(std::size_t n, unsigned step) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(i * step + 1);
    return b;
}

/// A pack whose length field covers only the item header of its one item: the item runs past
/// the pack's end, so no further item header is read behind it.
Bytes packCoveringHeaderOnly(const Bytes& item) {
    Bytes pack = rdd18Pack(item);
    pack[17] = 0x00, pack[18] = 0x00, pack[19] = 0x04;
    return pack;
}

// --- the largest items over packets --------------------------------------------------------------

// A stream holds at most 64,770 bytes; an item of the largest length behind a 24-byte pack and
// item header gets 64,746 of its payload bytes before the stream ends. What that gives depends on
// the payload type: a string or counted vector cut short fails the parse; a byte vector is filled
// up with zeros, and stands if the pack ends at its header, but fails the next item header if the
// pack's length says more items follow.
TEST(LargestInputs, LargestItemsOverPacketsEndInsideTheItem) {
    constexpr std::size_t kDelivered = kMaxRdd18StreamBytes - 24;
    const Bytes bytes = pattern(0xFFFF, 13);
    Bytes zeroTailed(bytes.begin(), bytes.begin() + kDelivered);
    zeroTailed.resize(0xFFFF, 0x00);
    const Bytes string(0xFFFF, 'S');
    const Bytes cdl = countedVector(32763, 2, Bytes(65526, 0x01));

    struct Case {
        const char* what;
        std::int32_t flavour;
        Bytes stream;
        Dictionary expected;
    };
    const Case cases[] = {
        {"string", 0, packCoveringHeaderOnly(rdd18Item(0x80, 0x07, string)), {}},
        {"HalfFloat vector", 0, packCoveringHeaderOnly(rdd18Item(0x81, 0x17, cdl)), {}},
        {"Sony byte vector, more items to follow", 2, rdd18Pack(rdd18Item(0xE1, 0x01, bytes)), {}},
        {"Sony byte vector",
         2,
         packCoveringHeaderOnly(rdd18Item(0xE1, 0x01, bytes)),
         {{"SonyEffectiveMarkerCoverageItem", Data(zeroTailed)}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FrameBuilder frame;
        frame.rdd18Stream(c.stream);  // numbering runs on past 255 and wraps: the stream ends there
        EXPECT_EQ(VLRDD18Parser(c.flavour).parseData(frame.bytes()), c.expected);
    }
}

// --- the longest ARRI stream --------------------------------------------------------------------

/// A file header record with a few fields set, then `total - 4096` further value bytes.
Bytes arriValue(std::size_t total) {
    return ArriHeaderBuilder().u32(0x14, 4448).textField(0x4F8, 8, "A001").bytes() +
           pattern(total - 4096, 31);
}

std::vector<Bytes> arriValues(const Bytes& frame) {
    AncillaryDataBufferReader reader(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    std::vector<Bytes> values;
    for (const auto& blob :
         arri::parseAncillaryData(reader, [](const arri::ArriAncKey&) { return true; }))
        values.emplace_back(blob.data(), blob.data() + blob.size());
    return values;
}

// Sequence numbers are 16-bit and don't wrap: a stream ends after 65,535 packets, which carry
// 65,535 x 252 stream bytes. An item of megabytes that fills them exactly is whole, and what
// follows in the packet numbered 0 is never read; an item one byte longer ends inside its value
// and is dropped.
TEST(LargestInputs, ArriStreamEndsAfter65535Packets) {
    constexpr std::size_t kStreamBytes = 65535u * 252;
    const Bytes fits = arriValue(kStreamBytes - 20);
    FrameBuilder whole;
    whole.arriStream(arriItem(kArriMetadataKey, fits)).arriStream(arriItem(kArriLUTKey, {1, 2, 3}));
    ASSERT_EQ(whole.bytes()[65535u * 262 + 7], 0x00);  // the 65,536th packet is numbered 0
    ASSERT_EQ(whole.bytes()[65535u * 262 + 8], 0x00);
    const std::vector<Bytes> values = arriValues(whole.bytes());
    ASSERT_EQ(values.size(), 1u);
    EXPECT_TRUE(values[0] == fits);
    const Dictionary answer = VLArriANCParser().parseData(whole.bytes());
    EXPECT_EQ(answer.size(), 57u);
    EXPECT_EQ(answer.at("rawImageWidth"), Value(Number::unsignedInt(4448)));
    EXPECT_EQ(answer.at("reelName"), Value("A001"));

    FrameBuilder tooLong;
    tooLong.arriStream(arriItem(kArriMetadataKey, arriValue(kStreamBytes - 19)));
    EXPECT_TRUE(arriValues(tooLong.bytes()).empty());
    EXPECT_TRUE(VLArriANCParser().parseData(tooLong.bytes()).empty());
}

}  // namespace
