#include "rdd18_frames.h"

#include <stdexcept>

namespace velmora::bench {

using rdd18::Array;
using rdd18::Data;
using rdd18::Dictionary;
using rdd18::Number;
using rdd18::Value;
using namespace rdd18::testsupport;

namespace {

void append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

Value label(unsigned char v0, unsigned char v1) {
    return Dictionary{{"value0", Number::unsignedChar(v0)}, {"value1", Number::unsignedChar(v1)}};
}

Value rational(std::uint32_t num, std::uint32_t den) {
    return Dictionary{{"den", Number::unsignedInt(den)}, {"num", Number::unsignedInt(num)}};
}

ItemSample u16(unsigned char t1, unsigned char t2, const char* name, std::uint16_t v) {
    return {t1, t2, be16(v), name, [v] { return Value(Number::integer(v)); }};
}

ItemSample u8(unsigned char t1, unsigned char t2, const char* name, unsigned char v) {
    return {t1, t2, Bytes{v}, name, [v] { return Value(Number::integer(v)); }};
}

ItemSample i16(unsigned char t1, unsigned char t2, const char* name, std::int16_t v) {
    return {t1, t2, be16(static_cast<std::uint16_t>(v)), name,
            [v] { return Value(Number::shortNumber(v)); }};
}

ItemSample str(unsigned char t1, unsigned char t2, const char* name, const char* s) {
    return {t1, t2, text(s), name, [s] { return Value(s); }};
}

ItemSample lensFloat(unsigned char t1, unsigned char t2, const char* name, Bytes wire, double v) {
    return {t1, t2, std::move(wire), name, [v] { return Value(Number::doubleNumber(v)); }};
}

ItemSample rationalItem(unsigned char t1, unsigned char t2, const char* name, std::uint32_t num,
                        std::uint32_t den) {
    return {t1, t2, rationalPayload(num, den), name, [num, den] { return rational(num, den); }};
}

ItemSample opaque(unsigned char t1, unsigned char t2, const char* name, Bytes bytes) {
    const Bytes copy = bytes;
    return {t1, t2, std::move(bytes), name,
            [copy] { return Value(Data(copy.data(), copy.size())); }};
}

// A 3x3 colour matrix of rationals, row by row: near the identity, in thousandths.
constexpr std::uint32_t kMatrix[9][2] = {{1024, 1000}, {12, 1000},  {3, 1000},
                                         {8, 1000},    {998, 1000}, {5, 1000},
                                         {2, 1000},    {17, 1000},  {1010, 1000}};

ItemSample colorMatrix() {
    Bytes elements;
    for (const auto& r : kMatrix) append(elements, rationalPayload(r[0], r[1]));
    return {0x81, 0x18, countedVector(9, 8, elements), "CameraColorMatrixItem", [] {
                Array a;
                a.reserve(9);
                for (const auto& r : kMatrix) a.push_back(rational(r[0], r[1]));
                return Value(std::move(a));
            }};
}

// Ten signed decimal floats, each with the value that the decoding rule gives its bytes
// (mantissa x 10^exponent, bit 3 of the exponent field counting -8, bit 4 counting +16).
ItemSample ascCdl() {
    const Bytes elements = Bytes{0x00, 0x01} +  // 1 x 10^0
                           Bytes{0x3C, 0x03} +  // 3 x 10^-1
                           Bytes{0xBC, 0x03} +  // -(3 x 10^-1)
                           Bytes{0x04, 0x0A} +  // 10 x 10^1
                           Bytes{0x03, 0xFF} +  // 1023 x 10^0
                           Bytes{0x80, 0x01} +  // -(1 x 10^0)
                           Bytes{0x20, 0x01} +  // 1 x 10^-8
                           Bytes{0x60, 0x01} +  // 1 x 10^8
                           Bytes{0x00, 0x01} +  // 1 x 10^0
                           Bytes{0x3C, 0x03};   // 3 x 10^-1
    return {0x81, 0x17, countedVector(10, 2, elements), "CameraASCCDLV12Item", [] {
                static constexpr double kValues[] = {1.0,  0.3,   -0.3, 100.0, 1023.0,
                                                     -1.0, 1e-08, 1e8,  1.0,   0.3};
                Array a;
                a.reserve(10);
                for (double v : kValues) a.push_back(Number::doubleNumber(v));
                return Value(std::move(a));
            }};
}

std::vector<ItemSample> standardItems() {
    return {
        u16(0x80, 0x00, "LensIrisFNumberItem", 280),
        u16(0x80, 0x08, "LensIrisTNumberItem", 290),
        u16(0x80, 0x09, "LensIrisRingPositionItem", 12000),
        lensFloat(0x80, 0x01, "LensFocusPositionFromImagePlaneItem", {0x10, 0x64}, 1000.0),
        lensFloat(0x80, 0x02, "LensFocusPositionFromFrontLensVertexItem", {0x0D, 0xAC}, 3500.0),
        {0x80, 0x03, Bytes{0x00}, "LensMacroSettingItem",
         [] { return Value(Number::boolean(false)); }},
        lensFloat(0x80, 0x04, "LensZoom35mmStillCameraEquivalentItem", {0x00, 0x32}, 50.0),
        lensFloat(0x80, 0x05, "LensZoomActualFocalLengthItem", {0xE0, 0x7B}, 1.23),
        u16(0x80, 0x0B, "LensZoomRingPositionItem", 8000),
        u16(0x80, 0x06, "LensOpticalExtenderMagnificationItem", 100),
        str(0x80, 0x07, "LensAttributesItem", "Master Prime 50mm T1.3"),
        {0x81, 0x00, Bytes{0x01, 0x02}, "CameraAutoExposureModeItem", [] { return label(1, 2); }},
        u16(0x81, 0x15, "CameraExposureIndexOfPhotoMeterItem", 800),
        u8(0x81, 0x01, "CameraAutoFocusSensingAreaSettingItem", 1),
        u8(0x81, 0x02, "CameraCorectionFilterWheelSettingItem", 0),
        u16(0x81, 0x03, "CameraNeutralDensityFilterWheelSettingItem", 1),
        u16(0x81, 0x04, "CameraImageSensorDimensionEffectiveWidthItem", 2496),
        u16(0x81, 0x05, "CameraImageSensorDimensionEffectiveHeightItem", 1404),
        rationalItem(0x81, 0x06, "CameraCaptureFrameRateItem", 24000, 1001),
        u8(0x81, 0x07, "CameraImageSensorReadoutModeItem", 3),
        {0x81, 0x08, be32(180000), "CameraShutterSpeedAngleItem",
         [] { return Value(Number::unsignedInt(180000)); }},
        rationalItem(0x81, 0x09, "CameraShutterSpeedTimeItem", 1, 48),
        i16(0x81, 0x0A, "CameraMasterGainAdjustmentItem", -3),
        u16(0x81, 0x0B, "CameraISOSensitivityItem", 800),
        colorMatrix(),
        u16(0x81, 0x0C, "CameraElectricalExtenderMagnificationItem", 100),
        u8(0x81, 0x0D, "CameraWhiteBalanceModeItem", 2),
        u16(0x81, 0x0E, "CameraWhiteBalanceItem", 5600),
        i16(0x81, 0x0F, "CameraMasterBlackLevelItem", -12),
        u16(0x81, 0x10, "CameraKneePointItem", 950),
        rationalItem(0x81, 0x11, "CameraKneeSlopeItem", 3, 20),
        u16(0x81, 0x12, "CameraLuminanceDynamicRangeItem", 800),
        {0x32, 0x10, Bytes{0x0E, 0x06}, "CameraCaptureGammaEquationItem",
         [] { return label(14, 6); }},
        u8(0x81, 0x16, "CameraGammaForCDLItem", 1),
        ascCdl(),
        str(0x81, 0x13, "CameraSettingFileURIItem", "file:///A001/settings/look_01.xml"),
        str(0x81, 0x14, "CameraAttributesItem", "A-camera; firmware 5.1.2"),
    };
}

std::vector<ItemSample> sonyItems() {
    return {
        opaque(0xE1, 0x01, "SonyEffectiveMarkerCoverageItem", {0x5A}),
        opaque(0xE1, 0x02, "SonyEffectiveMarkerAspectRatioItem", {0x00, 0x10, 0x00, 0x09}),
        opaque(0xE1, 0x03, "SonyCameraProcessDiscriminationCodeItem", {0x01, 0x02}),
        opaque(0xE1, 0x04, "SonyRotaryShutterModeItem", {0x00}),
        opaque(0xE1, 0x0A, "SonyImageOrientationItem", {0x00}),
        opaque(0xE1, 0x05, "SonyRawBlackCodeValueItem", {0x00, 0x80}),
        opaque(0xE1, 0x06, "SonyGrayCodeValueItem", {0x01, 0x9A}),
        opaque(0xE1, 0x07, "SonyWhiteCodeValueItem", {0x03, 0x50}),
        opaque(0xE1, 0x0B, "SonyBaseCurveItem", {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D}),
        opaque(0xE1, 0x08, "SonyMonitoringCharacteristicsItem", {0x06, 0x0E, 0x2B, 0x34}),
        opaque(0xE1, 0x09, "SonyMonitoringDescriptionsItem", text("S-Log3/S-Gamut3.Cine")),
        opaque(0xE0, 0x11, "SonyFlashBandDetectionItem", {0x00}),
        opaque(0xE0, 0x12, "SonyFlashBandCompensationItem", {0x01}),
        opaque(0xE2, 0x03, "SonyCookeProtocolCalibrationTypeItem", {0x02}),
        opaque(0xE2, 0x01, "SonyCookeProtocolBinaryMetadataItem",
               {0x41, 0x12, 0x40, 0x33, 0x7F, 0x01, 0x20, 0x44, 0x10, 0x00, 0x3A, 0x15}),
        opaque(0xE2, 0x02, "SonyCookeProtocolUserMetadataItem", text("take 3")),
    };
}

std::vector<ItemSample> varicamItems() {
    return {
        str(0xE1, 0x21, "VaricamClipInfoHeaderItem", "CLIPINFO"),
        // clipNameValid 1, cameraId 5, reelCounter 0x1234, clipCounter 0x002A, style 1 (CINE).
        {0xE1, 0x22, Bytes{0x01, 0x05, 0x12, 0x34, 0x00, 0x2A, 0x01}, "VaricamClipInfoValueItem",
         [] {
             return Value(Dictionary{{"clipNameValid", Number::unsignedChar(1)},
                                     {"cameraId", Number::unsignedChar(5)},
                                     {"reelCounter", Number::unsignedShort(4660)},
                                     {"clipCounter", Number::unsignedShort(42)},
                                     {"filenameStyle", "CINE"}});
         }},
        str(0xE1, 0x23, "VaricamClipNameHeaderItem", "CLIPNAME"),
        str(0xE1, 0x24, "VaricamClipNameValueItem", "A001C003_230612_R1AB"),
    };
}

Bytes itemBytes(const std::vector<ItemSample>& items) {
    Bytes out;
    for (const ItemSample& item : items) append(out, rdd18Item(item.tag1, item.tag2, item.payload));
    return out;
}

RDD18Frame frameOfStream(const Bytes& stream, std::size_t items) {
    RDD18Frame frame;
    frame.bytes = FrameBuilder(Flags::Standard).rdd18Stream(stream, 254).bytes();
    frame.streamBytes = stream.size();
    frame.packets = (stream.size() + 253) / 254;
    frame.items = items;
    return frame;
}

}  // namespace

const char* flavourName(int flavour) {
    switch (flavour) {
        case kVaricam:
            return "varicam";
        case kSony:
            return "sony";
        default:
            return "standard";
    }
}

std::vector<ItemSample> typicalItems(int flavour) {
    std::vector<ItemSample> items = standardItems();
    std::vector<ItemSample> vendor;
    if (flavour == kSony) vendor = sonyItems();
    if (flavour == kVaricam) vendor = varicamItems();
    items.insert(items.end(), vendor.begin(), vendor.end());
    return items;
}

RDD18Frame frameOf(const std::vector<ItemSample>& items) {
    const Bytes stream = rdd18Pack(itemBytes(items));
    if (stream.size() > 255 * 254) throw std::invalid_argument("frame over 255 packets");
    return frameOfStream(stream, items.size());
}

Dictionary buildAnswer(const std::vector<ItemSample>& items) {
    Dictionary answer;
    answer.reserve(items.size());
    for (const ItemSample& item : items) answer.set(item.name, item.value());
    return answer;
}

RDD18Frame filledFrame(std::size_t packets) {
    if (packets < 1 || packets > 255) throw std::invalid_argument("1 to 255 packets");
    constexpr std::size_t kPackHeader = 20;
    constexpr std::size_t kItemHeader = 4;
    const std::size_t room = packets * 254 - kPackHeader;
    const std::vector<ItemSample> cycle = standardItems();
    Bytes items;
    std::size_t count = 0;
    for (std::size_t i = 0;; ++i) {
        const ItemSample& next = cycle[i % cycle.size()];
        // Keep room for the header of the closing item.
        if (items.size() + kItemHeader + next.payload.size() + kItemHeader > room) break;
        append(items, rdd18Item(next.tag1, next.tag2, next.payload));
        ++count;
    }
    const std::size_t fill = room - items.size() - kItemHeader;
    append(items, rdd18Item(0xF0, 0x01, Bytes(fill, 0x5A)));
    return frameOfStream(rdd18Pack(items), count + 1);
}

}  // namespace velmora::bench
