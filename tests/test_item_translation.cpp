// Item translation: every standard item reaches the answer under its name, with the value kind of
// its payload type, under every flavour.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/output/VLRDD18Parser.h"

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
constexpr auto integer = &Number::integer;
constexpr auto dbl = &Number::doubleNumber;

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
        {0x80, 0x01, {0x10, 0x64}, "LensFocusPositionFromImagePlaneItem", dbl(1000.0)},
        {0x80, 0x02, {0xF0, 0x03}, "LensFocusPositionFromFrontLensVertexItem", dbl(0.3)},
        {0x80, 0x03, {0x01}, "LensMacroSettingItem", Number::boolean(true)},
        {0x80, 0x04, {0xE0, 0x7B}, "LensZoom35mmStillCameraEquivalentItem", dbl(1.23)},
        {0x80, 0x05, {0x80, 0x01}, "LensZoomActualFocalLengthItem", dbl(1e-08)},
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
         "CameraASCCDLV12Item", Array{dbl(0.3), dbl(-0.3), dbl(1e16)}},
        {0x81, 0x13, text("file://setup.a"), "CameraSettingFileURIItem", "file://setup.a"},
        {0x81, 0x14, {}, "CameraAttributesItem", ""},
    };
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
    const struct {
        Bytes item;
        const char* key;
        Value expected;
    } cases[] = {
        {rdd18Item(0x80, 0x03, {0x02}), "LensMacroSettingItem", Number::boolean(false)},
        {rdd18Item(0x80, 0x03, {0xFF}), "LensMacroSettingItem", Number::boolean(false)},
        {rdd18Item(0x81, 0x18, countedVector(0, 8, {})), "CameraColorMatrixItem", Array{}},
        {rdd18Item(0x81, 0x13, {0x00, 0x41}), "CameraSettingFileURIItem", ""},
        {rdd18Item(0x81, 0x14, {0xC9, 0x74, 0xE9}), "CameraAttributesItem", "\xC3\x89t\xC3\xA9"},
        {rdd18Item(0x32, 0x10, {7, 8, 9, 10}), "CameraCaptureGammaEquationItem", labelValue(7, 8)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(parse(0, c.item), (Dictionary{{c.key, c.expected}}))
            << testing::PrintToString(c.item);
    }
}

}  // namespace
