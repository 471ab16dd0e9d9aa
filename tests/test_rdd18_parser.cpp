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
    const Bytes empty;
    EXPECT_TRUE(parser.parseData(empty).empty());
}

TEST(RDD18Parser, AlternateFlagIsAFlagToo) {
    Bytes alternate = kOneItemFrame;
    alternate[0] = 0x04;
    alternate[1] = alternate[2] = 0xFB;
    EXPECT_EQ(VLRDD18Parser(0).parseData(alternate), kOneItemAnswer);
    alternate[0] = 0x00;  // 00 FB FB is no flag
    EXPECT_TRUE(VLRDD18Parser(0).parseData(alternate).empty());
}

TEST(RDD18Parser, FrameWithoutRdd18PacketsGivesNothing) {
    const Bytes pack = rdd18Pack(rdd18Item(0xF0, 0x01, {0xAA}));
    const Bytes frame = FrameBuilder()
                            .packet(0x44, 0x04, Bytes{0x01, 0x01, 0x00} + pack)
                            .packet(0x43, 0x06, Bytes{0x01} + pack)
                            .packet(0x43, 0x05, {})
                            .bytes();
    EXPECT_TRUE(VLRDD18Parser(0).parseData(frame).empty());
}

Bytes frameOf(const Bytes& items) {
    return FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes();
}

TEST(RDD18Parser, EveryTypeOtherThanOneAndTwoIsTheStandardFlavour) {
    // 225, 33 is a Varicam item, 225, 1 a Sony item; neither is standard.
    const Bytes frame = frameOf(rdd18Item(0xE1, 0x21, text("HDR")) + rdd18Item(0xE1, 0x01, {0x07}) +
                                rdd18Item(0x81, 0x0B, {0x01, 0xF4}));
    const Dictionary standard{{"Unknown_0xe1_0x21", Data(text("HDR"))},
                              {"Unknown_0xe1_0x01", Data(Bytes{0x07})},
                              {"CameraISOSensitivityItem", Number::integer(500)}};
    for (std::int32_t type : {0, 3, -1, 255, 0x7FFFFFFF}) {
        EXPECT_EQ(VLRDD18Parser(type).parseData(frame), standard) << "type " << type;
    }
    EXPECT_EQ(VLRDD18Parser(1).parseData(frame),
              (Dictionary{{"VaricamClipInfoHeaderItem", "HDR"},
                          {"Unknown_0xe1_0x01", Data(Bytes{0x07})},
                          {"CameraISOSensitivityItem", Number::integer(500)}}));
    EXPECT_EQ(VLRDD18Parser(2).parseData(frame),
              (Dictionary{{"Unknown_0xe1_0x21", Data(text("HDR"))},
                          {"SonyEffectiveMarkerCoverageItem", Data(Bytes{0x07})},
                          {"CameraISOSensitivityItem", Number::integer(500)}}));
}

TEST(RDD18Parser, LaterItemOfAKeyReplacesTheEarlier) {
    const Bytes frame =
        frameOf(rdd18Item(0xF0, 0x01, {0x01, 0x02}) + rdd18Item(0x81, 0x0B, {0, 1}) +
                rdd18Item(0xF0, 0x01, {0x03}) + rdd18Item(0x81, 0x0B, {0, 2}));
    EXPECT_EQ(VLRDD18Parser(0).parseData(frame),
              (Dictionary{{"Unknown_0xf0_0x01", Data(Bytes{0x03})},
                          {"CameraISOSensitivityItem", Number::integer(2)}}));
}

TEST(RDD18Parser, UnknownKeysUseLowerCaseHex) {
    const Bytes frame = frameOf(rdd18Item(0xAB, 0xCD, {}) + rdd18Item(0x00, 0x0F, {0x00}));
    EXPECT_EQ(
        VLRDD18Parser(0).parseData(frame),
        (Dictionary{{"Unknown_0xab_0xcd", Data()}, {"Unknown_0x00_0x0f", Data(Bytes{0x00})}}));
}

TEST(RDD18Parser, ShortPaddingBehindTheLastItemLosesTheFrame) {
    const Bytes items = rdd18Item(0x81, 0x0B, {0x01, 0xF4});
    const Bytes padded = FrameBuilder().rdd18Stream(rdd18Pack(items) + Bytes(10, 0x00)).bytes();
    EXPECT_TRUE(VLRDD18Parser(0).parseData(padded).empty());
    EXPECT_EQ(VLRDD18Parser(0).parseData(frameOf(items)).size(), 1u);
}

TEST(RDD18Parser, NothingOfAParseSurvivesIt) {
    const VLRDD18Parser parser(0);
    const Bytes good = frameOf(rdd18Item(0x81, 0x0B, {0x01, 0xF4}));
    const Bytes broken = FrameBuilder()
                             .rdd18Packet(1, Bytes(good.begin() + 7, good.begin() + 17))
                             .rdd18Packet(3, Bytes(good.begin() + 17, good.end() - 1))
                             .bytes();
    EXPECT_TRUE(parser.parseData(broken).empty());
    const Dictionary expected{{"CameraISOSensitivityItem", Number::integer(500)}};
    EXPECT_EQ(parser.parseData(good), expected);
    EXPECT_EQ(parser.parseData(good), expected);  // numbering starts at 1 again
}

}  // namespace
