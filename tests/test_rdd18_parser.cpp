// The RDD 18 facade end to end: a frame written out by hand, the choice of flavour, unknown keys
// and replacement.
#include <gtest/gtest.h>

#include "frame_builder.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

TEST(RDD18Parser, OneUnknownItemFrame) {
    // One packet, sequence 1, one pack with one item of tag F0 01 and payload AA.
    const Bytes frame = {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x1A, 0x01, 0x06, 0x0E, 0x2B, 0x34,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                         0x00, 0x83, 0x00, 0x00, 0x05, 0xF0, 0x01, 0x00, 0x01, 0xAA, 0x00};
    const Dictionary answer{{"Unknown_0xf0_0x01", Data(Bytes{0xAA})}};
    const VLRDD18Parser parser(0);  // one parser for all: nothing of a parse survives it
    EXPECT_EQ(parser.parseData(frame), answer);
    EXPECT_EQ(parser.parseData(Bytes(frame.begin() + 3, frame.end()), false), answer);
    // Read without flags, 00 is a DID and no RDD 18 packet is found.
    EXPECT_TRUE(parser.parseData(frame, false).empty());
    // A trailing byte is too short for a packet and is ignored.
    EXPECT_EQ(parser.parseData(frame + Bytes{0x42}), answer);
    Bytes secondInSequence = frame;
    secondInSequence[6] = 0x02;
    EXPECT_TRUE(parser.parseData(secondInSequence).empty());
    EXPECT_EQ(parser.parseData(frame), answer);  // the next parse starts the numbering afresh
    EXPECT_TRUE(parser.parseData({}).empty());
}

Bytes frameOf(const Bytes& items) {
    return FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes();
}

TEST(RDD18Parser, EveryTypeOtherThanOneAndTwoIsTheStandardFlavour) {
    // 225, 33 is a Varicam item, 225, 1 a Sony item; neither is standard.
    const Bytes frame = frameOf(rdd18Item(0xE1, 0x21, text("HDR")) + rdd18Item(0xE1, 0x01, {0x07}) +
                                rdd18Item(0x81, 0x0B, {0x01, 0xF4}) + rdd18Item(0xAB, 0xCD, {}));
    const auto answer = [](const char* key21, Value value21, const char* key01, Value value01) {
        return Dictionary{{key21, std::move(value21)},
                          {key01, std::move(value01)},
                          {"CameraISOSensitivityItem", Number::integer(500)},
                          {"Unknown_0xab_0xcd", Data()}};
    };
    const Data hdr(text("HDR")), seven(Bytes{0x07});
    for (std::int32_t type : {0, 3, -1, 255, 0x7FFFFFFF}) {
        EXPECT_EQ(VLRDD18Parser(type).parseData(frame),
                  answer("Unknown_0xe1_0x21", hdr, "Unknown_0xe1_0x01", seven))
            << "type " << type;
    }
    EXPECT_EQ(VLRDD18Parser(1).parseData(frame),
              answer("VaricamClipInfoHeaderItem", "HDR", "Unknown_0xe1_0x01", seven));
    EXPECT_EQ(VLRDD18Parser(2).parseData(frame),
              answer("Unknown_0xe1_0x21", hdr, "SonyEffectiveMarkerCoverageItem", seven));
}

TEST(RDD18Parser, LaterItemOfAKeyReplacesTheEarlier) {
    const Bytes frame =
        frameOf(rdd18Item(0xF0, 0x01, {0x01, 0x02}) + rdd18Item(0x81, 0x0B, {0, 1}) +
                rdd18Item(0xF0, 0x01, {0x03}) + rdd18Item(0x81, 0x0B, {0, 2}));
    EXPECT_EQ(VLRDD18Parser(0).parseData(frame),
              (Dictionary{{"Unknown_0xf0_0x01", Data(Bytes{0x03})},
                          {"CameraISOSensitivityItem", Number::integer(2)}}));
}

}  // namespace
