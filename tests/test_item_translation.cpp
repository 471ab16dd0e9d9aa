// Item translation: every standard item reaches the answer under its name, with the value kind of
// its payload type, and the dispatch writes nothing for items outside its flavour.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/item_translator.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

Dictionary parse(std::int32_t type, const Bytes& items) {
    return VLRDD18Parser(type).parseData(FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes());
}

Value labelValue(unsigned char v0, unsigned char v1) {
    return Dictionary{{"value0", Number::unsignedChar(v0)}, {"value1", Number::unsignedChar(v1)}};
}
Value rationalValue(std::uint32_t num, std::uint32_t den) {
    return Dictionary{{"num", Number::unsignedInt(num)}, {"den", Number::unsignedInt(den)}};
}
Value integer(std::int64_t v) {
    return Number::integer(v);
}

struct StandardRow {
    unsigned char tag1, tag2;
    Bytes payload;
    const char* name;
    Value expected;
};

// The 37 standard items, each with a payload and the entry it must give.
std::vector<StandardRow> standardRows() {
    return {
        {0x80, 0x00, {0x00, 0x10}, "LensIrisFNumberItem", integer(16)},
        {0x80, 0x08, {0x01, 0x00}, "LensIrisTNumberItem", integer(256)},
        {0x80, 0x09, {0xFF, 0xFF}, "LensIrisRingPositionItem", integer(65535)},
        {0x80,
         0x01,
         {0x10, 0x64},
         "LensFocusPositionFromImagePlaneItem",
         Number::doubleNumber(1000.0)},
        {0x80,
         0x02,
         {0xF0, 0x03},
         "LensFocusPositionFromFrontLensVertexItem",
         Number::doubleNumber(0.3)},
        {0x80, 0x03, {0x01}, "LensMacroSettingItem", Number::boolean(true)},
        {0x80,
         0x04,
         {0xE0, 0x7B},
         "LensZoom35mmStillCameraEquivalentItem",
         Number::doubleNumber(1.23)},
        {0x80, 0x05, {0x80, 0x01}, "LensZoomActualFocalLengthItem", Number::doubleNumber(1e-08)},
        {0x80, 0x0B, {0x12, 0x34}, "LensZoomRingPositionItem", integer(4660)},
        {0x80, 0x06, {0x00, 0x02}, "LensOpticalExtenderMagnificationItem", integer(2)},
        {0x80, 0x07, text(std::string_view("Lens A\0zz", 9)), "LensAttributesItem", "Lens A"},
        {0x81, 0x00, {0x12, 0xFE}, "CameraAutoExposureModeItem", labelValue(18, 254)},
        {0x81, 0x15, {0x01, 0x02}, "CameraExposureIndexOfPhotoMeterItem", integer(258)},
        {0x81, 0x01, {0xFF}, "CameraAutoFocusSensingAreaSettingItem", integer(255)},
        {0x81, 0x02, {0x07}, "CameraCorectionFilterWheelSettingItem", integer(7)},
        {0x81, 0x03, {0x00, 0x03}, "CameraNeutralDensityFilterWheelSettingItem", integer(3)},
        {0x81, 0x04, {0x0F, 0x00}, "CameraImageSensorDimensionEffectiveWidthItem", integer(3840)},
        {0x81, 0x05, {0x08, 0x70}, "CameraImageSensorDimensionEffectiveHeightItem", integer(2160)},
        {0x81, 0x06, rationalPayload(24000, 1001), "CameraCaptureFrameRateItem",
         rationalValue(24000, 1001)},
        {0x81, 0x07, {0x02}, "CameraImageSensorReadoutModeItem", integer(2)},
        {0x81,
         0x08,
         {0x00, 0x00, 0x07, 0x08},
         "CameraShutterSpeedAngleItem",
         Number::unsignedInt(1800)},
        {0x81, 0x09, rationalPayload(1, 0), "CameraShutterSpeedTimeItem", rationalValue(1, 0)},
        {0x81, 0x0A, {0xFF, 0xFF}, "CameraMasterGainAdjustmentItem", Number::shortNumber(-1)},
        {0x81, 0x0B, {0x03, 0x20}, "CameraISOSensitivityItem", integer(800)},
        {0x81, 0x18, countedVector(2, 8, rationalPayload(1, 2) + rationalPayload(3, 4)),
         "CameraColorMatrixItem", Array{rationalValue(1, 2), rationalValue(3, 4)}},
        {0x81, 0x0C, {0x00, 0x01}, "CameraElectricalExtenderMagnificationItem", integer(1)},
        {0x81, 0x0D, {0x00}, "CameraWhiteBalanceModeItem", integer(0)},
        {0x81, 0x0E, {0x15, 0x7C}, "CameraWhiteBalanceItem", integer(5500)},
        {0x81, 0x0F, {0xFF, 0xFE}, "CameraMasterBlackLevelItem", Number::shortNumber(-2)},
        {0x81, 0x10, {0x00, 0x55}, "CameraKneePointItem", integer(85)},
        {0x81, 0x11, rationalPayload(3, 2), "CameraKneeSlopeItem", rationalValue(3, 2)},
        {0x81, 0x12, {0x02, 0x58}, "CameraLuminanceDynamicRangeItem", integer(600)},
        {0x32, 0x10, {0x01, 0x02}, "CameraCaptureGammaEquationItem", labelValue(1, 2)},
        {0x81, 0x16, {0x80}, "CameraGammaForCDLItem", integer(128)},
        {0x81, 0x17, countedVector(3, 2, {0x3C, 0x03, 0xBC, 0x03, 0x40, 0x01}),
         "CameraASCCDLV12Item",
         Array{Number::doubleNumber(0.3), Number::doubleNumber(-0.3), Number::doubleNumber(1e16)}},
        {0x81, 0x13, text("file://setup.a"), "CameraSettingFileURIItem", "file://setup.a"},
        {0x81, 0x14, {}, "CameraAttributesItem", ""},
    };
}

TEST(StandardTranslation, EachItemGivesItsNameAndValueKind) {
    for (const StandardRow& row : standardRows()) {
        SCOPED_TRACE(row.name);
        const Dictionary answer = parse(0, rdd18Item(row.tag1, row.tag2, row.payload));
        EXPECT_EQ(answer, (Dictionary{{row.name, row.expected}}));
    }
}

TEST(StandardTranslation, AllThirtySevenItemsInOneFrameUnderEveryFlavour) {
    Bytes items;
    Dictionary expected;
    for (const StandardRow& row : standardRows()) {
        items = items + rdd18Item(row.tag1, row.tag2, row.payload);
        expected.set(row.name, row.expected);
    }
    ASSERT_EQ(expected.size(), 37u);
    ASSERT_GT(items.size(), 254u);  // the pack spans several packets
    for (std::int32_t type : {0, 1, 2}) {
        EXPECT_EQ(parse(type, items), expected) << "type " << type;
    }
}

TEST(StandardTranslation, ValueEdgeCases) {
    struct Case {
        const char* what;
        Bytes item;
        const char* key;
        Value expected;
    };
    const Case cases[] = {
        {"boolean byte 02", rdd18Item(0x80, 0x03, {0x02}), "LensMacroSettingItem",
         Number::boolean(false)},
        {"boolean byte FF", rdd18Item(0x80, 0x03, {0xFF}), "LensMacroSettingItem",
         Number::boolean(false)},
        {"color matrix count 0", rdd18Item(0x81, 0x18, countedVector(0, 8, {})),
         "CameraColorMatrixItem", Array{}},
        {"CDL count 0", rdd18Item(0x81, 0x17, countedVector(0, 2, {})), "CameraASCCDLV12Item",
         Array{}},
        {"string of length 0", rdd18Item(0x80, 0x07, {}), "LensAttributesItem", ""},
        {"string starting with 00", rdd18Item(0x81, 0x13, {0x00, 0x41}), "CameraSettingFileURIItem",
         ""},
        {"string with 8-bit bytes", rdd18Item(0x81, 0x14, {0xC9, 0x74, 0xE9}),
         "CameraAttributesItem", "\xC3\x89t\xC3\xA9"},
        {"label of a long payload", rdd18Item(0x32, 0x10, {7, 8, 9, 10}),
         "CameraCaptureGammaEquationItem", labelValue(7, 8)},
        {"second of two ISO items",
         rdd18Item(0x81, 0x0B, {0x01, 0x90}) + rdd18Item(0x81, 0x0B, {0x03, 0x20}),
         "CameraISOSensitivityItem", integer(800)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parse(0, c.item), (Dictionary{{c.key, c.expected}})) << c.what;
    }
}

TEST(StandardTranslation, TagsOutsideTheTableStayUnknown) {
    const Bytes items = rdd18Item(0x80, 0x0A, {0x00, 0x01}) + rdd18Item(0x81, 0x19, {0x02}) +
                        rdd18Item(0x10, 0x32, {}) + rdd18Item(0x81, 0x0B, {0x00, 0x64});
    const Dictionary expected{{"Unknown_0x80_0x0a", Data(Bytes{0x00, 0x01})},
                              {"Unknown_0x81_0x19", Data(Bytes{0x02})},
                              {"Unknown_0x10_0x32", Data()},
                              {"CameraISOSensitivityItem", integer(100)}};
    for (std::int32_t type : {0, 1, 2}) EXPECT_EQ(parse(type, items), expected) << "type " << type;
}

TEST(StandardTranslation, FailedParseGivesAnEmptyAnswer) {
    // A good item, then a Uint32 item of length 2: the whole frame is lost.
    EXPECT_TRUE(
        parse(0, rdd18Item(0x81, 0x0B, {0x00, 0x64}) + rdd18Item(0x81, 0x08, {0, 1})).empty());
    EXPECT_TRUE(parse(0, {}).empty());
}

TEST(Dispatch, WritesOnlyItemsOfItsOwnList) {
    const ItemFactory standard = standardItemFactory();
    Dictionary result;
    ItemTranslator<StandardItemTable> translator(standard, result);

    const TaggedItem<ByteVector, 0xE1, 0x01> sonyItem(ByteVector{1, 2});
    EXPECT_FALSE(translator.dispatch(sonyItem, sonyItem.tag()));
    EXPECT_TRUE(result.empty());

    const TaggedItem<Int16, 0x81, 0x0F> blackLevel(Int16{{0x00, 0x05}});
    EXPECT_TRUE(translator.dispatch(blackLevel, blackLevel.tag()));
    EXPECT_EQ(result, (Dictionary{{"CameraMasterBlackLevelItem", Number::shortNumber(5)}}));
}

}  // namespace
