// The vendor flavours: Sony and Varicam know nothing of each other's items, and the Varicam items
// come out as they should.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "frame_builder.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

// --- Independence of the vendor flavours -------------------------------------------------------

Dictionary parse(std::int32_t type, const Bytes& items) {
    return VLRDD18Parser(type).parseData(FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes());
}

constexpr std::int32_t kVaricam = 1, kSony = 2;

TEST(Independence, VendorTagsAreUnknownOutsideTheirFlavour) {
    struct Case {
        Bytes item;
        std::int32_t type;
        Dictionary expected;
    };
    const Bytes sonyItem = rdd18Item(0xE1, 0x01, {0x01, 0x02});
    const Bytes clipHeader = rdd18Item(0xE1, 0x21, text("CLIP"));
    const Bytes shortClipInfo = rdd18Item(0xE1, 0x22, {0x01, 0x02, 0x03});
    const Bytes flashBand = rdd18Item(0xE0, 0x11, {0x05});
    const Case cases[] = {
        {sonyItem, kVaricam, {{"Unknown_0xe1_0x01", Data(Bytes{0x01, 0x02})}}},
        {flashBand, kVaricam, {{"Unknown_0xe0_0x11", Data(Bytes{0x05})}}},
        {clipHeader, kVaricam, {{"VaricamClipInfoHeaderItem", "CLIP"}}},
        {clipHeader, kSony, {{"Unknown_0xe1_0x21", Data(text("CLIP"))}}},
        {shortClipInfo, kSony, {{"Unknown_0xe1_0x22", Data(Bytes{0x01, 0x02, 0x03})}}},
        {shortClipInfo, kVaricam, {}},  // a clip info of length 3 can't be decoded
        {rdd18Item(0xE1, 0x0C, {0x09}), kSony, {{"Unknown_0xe1_0x0c", Data(Bytes{0x09})}}},
        {rdd18Item(0xE1, 0x01, {}), kSony, {{"SonyEffectiveMarkerCoverageItem", Data()}}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parse(c.type, c.item), c.expected)
            << "type " << c.type << " item " << testing::PrintToString(c.item);
    }
}

TEST(Independence, FlavourNames) {
    const std::pair<Flavour, std::string_view> names[] = {
        {Flavour::Standard, "standard"}, {Flavour::Sony, "sony"}, {Flavour::Varicam, "varicam"}};
    for (const auto& [flavour, name] : names) {
        EXPECT_EQ(flavourName(flavour), name);
        EXPECT_EQ(flavourFromName(name), flavour);
    }
    for (const std::string_view other : {"", "Sony", "standard ", "vari"})
        EXPECT_EQ(flavourFromName(other), std::nullopt) << other;
}

// --- Varicam items -----------------------------------------------------------------------------

Value clipInfo(unsigned char valid, unsigned char camera, std::uint16_t reel, std::uint16_t clip,
               const char* style) {
    return Dictionary{{"clipNameValid", Number::unsignedChar(valid)},
                      {"cameraId", Number::unsignedChar(camera)},
                      {"reelCounter", Number::unsignedShort(reel)},
                      {"clipCounter", Number::unsignedShort(clip)},
                      {"filenameStyle", style}};
}

TEST(Varicam, ClipInfoTranslation) {
    const std::pair<Bytes, Value> cases[] = {
        {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, clipInfo(0, 0, 0, 0, "P2")},
        {{0x01, 0x05, 0x12, 0x34, 0x00, 0x2A, 0x01}, clipInfo(1, 5, 4660, 42, "CINE")},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x01, 0x02}, clipInfo(255, 255, 65535, 1, "UNKNOWN")},
        {{0x00, 0x09, 0x00, 0x01, 0x00, 0x02, 0xFF}, clipInfo(0, 9, 1, 2, "UNKNOWN")},
    };
    for (const auto& [payload, expected] : cases) {
        EXPECT_EQ(parse(kVaricam, rdd18Item(0xE1, 0x22, payload)),
                  (Dictionary{{"VaricamClipInfoValueItem", expected}}))
            << testing::PrintToString(payload);
    }
}

TEST(Varicam, ClipInfoLengthRule) {
    const Bytes seven = {0x01, 0x02, 0x01, 0x02, 0xFF, 0xFE, 0x01};
    const Bytes next = rdd18Item(0xE1, 0x24, text("A001"));
    // Length 6 fails although the stream holds the bytes.
    EXPECT_TRUE(parse(kVaricam, rdd18ItemWithLength(0xE1, 0x22, 6, seven) + next).empty());
    // Length 10: the first seven bytes make the value, the next item starts ten bytes in.
    EXPECT_EQ(parse(kVaricam, rdd18Item(0xE1, 0x22, seven + Bytes{0xE1, 0x24, 0x00}) + next),
              (Dictionary{{"VaricamClipInfoValueItem", clipInfo(1, 2, 258, 65534, "CINE")},
                          {"VaricamClipNameValueItem", "A001"}}));
}

TEST(Varicam, ItemsStandAlone) {
    // An invalid clip name changes nothing else, and a later clip info replaces it whole.
    const Bytes invalidClip = rdd18Item(0xE1, 0x22, {0x00, 0x01, 0x00, 0x01, 0x00, 0x01, 0x00});
    const Bytes later = rdd18Item(0xE1, 0x22, {0x01, 0x01, 0x00, 0x02, 0x00, 0x03, 0x01});
    const Dictionary answer =
        parse(kVaricam, rdd18Item(0xE1, 0x23, text("NAME")) + invalidClip +
                            rdd18Item(0xE1, 0x24, text(std::string_view("B002\0\0", 6))) +
                            rdd18Item(0xE1, 0x21, {}) + later);
    EXPECT_EQ(answer, (Dictionary{{"VaricamClipNameHeaderItem", "NAME"},
                                  {"VaricamClipNameValueItem", "B002"},
                                  {"VaricamClipInfoHeaderItem", ""},
                                  {"VaricamClipInfoValueItem", clipInfo(1, 1, 2, 3, "CINE")}}));
}

}  // namespace
