// The RDD 18 facade end to end: flavours, unknown items, and frames that must give nothing.
#include <gtest/gtest.h>

#include "frame_builder.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

// One packet, sequence 1, one pack with one item of tag F0 01 and payload AA.
const Bytes kOneItemFrame = {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x1A, 0x01, 0x06, 0x0E, 0x2B, 0x34,
                             0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                             0x00, 0x83, 0x00, 0x00, 0x05, 0xF0, 0x01, 0x00, 0x01, 0xAA, 0x00};

const Dictionary kOneItemAnswer{{"Unknown_0xf0_0x01", Data(Bytes{0xAA})}};

TEST(RDD18Parser, OneUnknownItemFrame) {
    const VLRDD18Parser parser(0);
    EXPECT_EQ(parser.parseData(kOneItemFrame), kOneItemAnswer);
    const Bytes withoutFlag(kOneItemFrame.begin() + 3, kOneItemFrame.end());
    EXPECT_EQ(parser.parseData(withoutFlag, false), kOneItemAnswer);
    // Read without flags, 00 is a DID and no RDD 18 packet is found.
    EXPECT_TRUE(parser.parseData(kOneItemFrame, false).empty());
    // A trailing byte is too short for a packet and is ignored.
    EXPECT_EQ(parser.parseData(kOneItemFrame + Bytes{0x42}), kOneItemAnswer);
    Bytes secondInSequence = kOneItemFrame;
    secondInSequence[6] = 0x02;
    EXPECT_TRUE(parser.parseData(secondInSequence).empty());
}

TEST(RDD18Parser, EmptyInputGivesEmptyDictionary) {
    const VLRDD18Parser parser(2);
    EXPECT_TRUE(parser.parseData({}).empty());
    EXPECT_TRUE(parser.parseData(std::span<const unsigned char>(), false).empty());
}

}  // namespace
