// The harness's own reading of an RDD 18 stream, from the wire format alone: the pack loop, the
// item header, each payload type's bytes and the value it gives, and the three flavours' tag
// tables typed out again. A failure anywhere gives no items, as the format's all-or-nothing rule
// says.
#pragma once

#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/stream_model.h"
#include "rdd18/platform/value.h"

namespace rdd18::fuzz::model {

enum class Type {
    U16,
    Byte,
    I16,
    U32,
    Bool,
    LensFloat,
    Text,
    Label,
    Ratio,
    Ratios,
    Halves,
    Raw,
    Clip
};

struct Row {
    unsigned char first, second;
    Type type;
    const char* name;
};

inline constexpr Row kStandardRows[] = {
    {0x80, 0x00, Type::U16, "LensIrisFNumberItem"},
    {0x80, 0x08, Type::U16, "LensIrisTNumberItem"},
    {0x80, 0x09, Type::U16, "LensIrisRingPositionItem"},
    {0x80, 0x01, Type::LensFloat, "LensFocusPositionFromImagePlaneItem"},
    {0x80, 0x02, Type::LensFloat, "LensFocusPositionFromFrontLensVertexItem"},
    {0x80, 0x03, Type::Bool, "LensMacroSettingItem"},
    {0x80, 0x04, Type::LensFloat, "LensZoom35mmStillCameraEquivalentItem"},
    {0x80, 0x05, Type::LensFloat, "LensZoomActualFocalLengthItem"},
    {0x80, 0x0B, Type::U16, "LensZoomRingPositionItem"},
    {0x80, 0x06, Type::U16, "LensOpticalExtenderMagnificationItem"},
    {0x80, 0x07, Type::Text, "LensAttributesItem"},
    {0x81, 0x00, Type::Label, "CameraAutoExposureModeItem"},
    {0x81, 0x15, Type::U16, "CameraExposureIndexOfPhotoMeterItem"},
    {0x81, 0x01, Type::Byte, "CameraAutoFocusSensingAreaSettingItem"},
    {0x81, 0x02, Type::Byte, "CameraCorectionFilterWheelSettingItem"},
    {0x81, 0x03, Type::U16, "CameraNeutralDensityFilterWheelSettingItem"},
    {0x81, 0x04, Type::U16, "CameraImageSensorDimensionEffectiveWidthItem"},
    {0x81, 0x05, Type::U16, "CameraImageSensorDimensionEffectiveHeightItem"},
    {0x81, 0x06, Type::Ratio, "CameraCaptureFrameRateItem"},
    {0x81, 0x07, Type::Byte, "CameraImageSensorReadoutModeItem"},
    {0x81, 0x08, Type::U32, "CameraShutterSpeedAngleItem"},
    {0x81, 0x09, Type::Ratio, "CameraShutterSpeedTimeItem"},
    {0x81, 0x0A, Type::I16, "CameraMasterGainAdjustmentItem"},
    {0x81, 0x0B, Type::U16, "CameraISOSensitivityItem"},
    {0x81, 0x18, Type::Ratios, "CameraColorMatrixItem"},
    {0x81, 0x0C, Type::U16, "CameraElectricalExtenderMagnificationItem"},
    {0x81, 0x0D, Type::Byte, "CameraWhiteBalanceModeItem"},
    {0x81, 0x0E, Type::U16, "CameraWhiteBalanceItem"},
    {0x81, 0x0F, Type::I16, "CameraMasterBlackLevelItem"},
    {0x81, 0x10, Type::U16, "CameraKneePointItem"},
    {0x81, 0x11, Type::Ratio, "CameraKneeSlopeItem"},
    {0x81, 0x12, Type::U16, "CameraLuminanceDynamicRangeItem"},
    {0x32, 0x10, Type::Label, "CameraCaptureGammaEquationItem"},
    {0x81, 0x16, Type::Byte, "CameraGammaForCDLItem"},
    {0x81, 0x17, Type::Halves, "CameraASCCDLV12Item"},
    {0x81, 0x13, Type::Text, "CameraSettingFileURIItem"},
    {0x81, 0x14, Type::Text, "CameraAttributesItem"},
};

inline constexpr Row kSonyRows[] = {
    {0xE1, 0x01, Type::Raw, "SonyEffectiveMarkerCoverageItem"},
    {0xE1, 0x02, Type::Raw, "SonyEffectiveMarkerAspectRatioItem"},
    {0xE1, 0x03, Type::Raw, "SonyCameraProcessDiscriminationCodeItem"},
    {0xE1, 0x04, Type::Raw, "SonyRotaryShutterModeItem"},
    {0xE1, 0x0A, Type::Raw, "SonyImageOrientationItem"},
    {0xE1, 0x05, Type::Raw, "SonyRawBlackCodeValueItem"},
    {0xE1, 0x06, Type::Raw, "SonyGrayCodeValueItem"},
    {0xE1, 0x07, Type::Raw, "SonyWhiteCodeValueItem"},
    {0xE1, 0x0B, Type::Raw, "SonyBaseCurveItem"},
    {0xE1, 0x08, Type::Raw, "SonyMonitoringCharacteristicsItem"},
    {0xE1, 0x09, Type::Raw, "SonyMonitoringDescriptionsItem"},
    {0xE0, 0x11, Type::Raw, "SonyFlashBandDetectionItem"},
    {0xE0, 0x12, Type::Raw, "SonyFlashBandCompensationItem"},
    {0xE2, 0x03, Type::Raw, "SonyCookeProtocolCalibrationTypeItem"},
    {0xE2, 0x01, Type::Raw, "SonyCookeProtocolBinaryMetadataItem"},
    {0xE2, 0x02, Type::Raw, "SonyCookeProtocolUserMetadataItem"},
};

inline constexpr Row kVaricamRows[] = {
    {0xE1, 0x21, Type::Text, "VaricamClipInfoHeaderItem"},
    {0xE1, 0x22, Type::Clip, "VaricamClipInfoValueItem"},
    {0xE1, 0x23, Type::Text, "VaricamClipNameHeaderItem"},
    {0xE1, 0x24, Type::Text, "VaricamClipNameValueItem"},
};

/// The row of a tag in flavour 0 (standard), 1 (Varicam) or 2 (Sony), or none.
inline const Row* findRow(int flavour, unsigned char first, unsigned char second) {
    auto in = [&](const auto& rows) -> const Row* {
        for (const Row& r : rows)
            if (r.first == first && r.second == second) return &r;
        return nullptr;
    };
    if (const Row* r = in(kStandardRows)) return r;
    if (flavour == 1) return in(kVaricamRows);
    if (flavour == 2) return in(kSonyRows);
    return nullptr;
}

/// mantissa x 10^exponent in extended precision, rounded once to double.
inline double decimalFloat(unsigned mantissa, int exponent) {
    return static_cast<double>(static_cast<long double>(mantissa) *
                               powl(10.0L, static_cast<long double>(exponent)));
}

/// 4-bit exponent in two's complement, 12-bit mantissa, no sign.
inline double lensFloat(const unsigned char* p) {
    const int e = p[0] >> 4;
    return decimalFloat(((p[0] & 0x0Fu) << 8) | p[1], e >= 8 ? e - 16 : e);
}

/// Sign bit, 5-bit exponent whose bit 3 weighs -8 (bit 4 +16), 10-bit mantissa.
inline double halfFloat(const unsigned char* p) {
    const int e = (p[0] >> 2) & 0x1F;
    const double v = decimalFloat(((p[0] & 0x03u) << 8) | p[1], (e & 0x17) - (e & 0x08));
    return (p[0] & 0x80) ? v * -1.0 : v;
}

inline Value ratio(const unsigned char* p) {
    return Dictionary{{"num", Number::unsignedInt(bigEndian(p, 4))},
                      {"den", Number::unsignedInt(bigEndian(p + 4, 4))}};
}

/// Bytes a fixed-size payload type takes (0 for the variable ones).
inline std::size_t fixedSize(Type t) {
    switch (t) {
        case Type::U16:
        case Type::I16:
        case Type::LensFloat:
        case Type::Label:
            return 2;
        case Type::Byte:
        case Type::Bool:
            return 1;
        case Type::U32:
            return 4;
        case Type::Ratio:
            return 8;
        case Type::Clip:
            return 7;
        default:
            return 0;
    }
}

/// The value of a fixed-size payload of `t` from its first bytes.
inline Value fixedValue(Type t, const unsigned char* p) {
    switch (t) {
        case Type::U16:
            return Number::integer(bigEndian(p, 2));
        case Type::I16:
            return Number::shortNumber(static_cast<std::int16_t>(bigEndian(p, 2)));
        case Type::Byte:
            return Number::integer(p[0]);
        case Type::Bool:
            return Number::boolean(p[0] == 1);
        case Type::U32:
            return Number::unsignedInt(bigEndian(p, 4));
        case Type::LensFloat:
            return Number::doubleNumber(lensFloat(p));
        case Type::Label:
            return Dictionary{{"value0", Number::unsignedChar(p[0])},
                              {"value1", Number::unsignedChar(p[1])}};
        case Type::Ratio:
            return ratio(p);
        default: {  // Clip
            const char* style = p[6] == 0 ? "P2" : p[6] == 1 ? "CINE" : "UNKNOWN";
            return Dictionary{{"clipNameValid", Number::unsignedChar(p[0])},
                              {"cameraId", Number::unsignedChar(p[1])},
                              {"reelCounter", Number::unsignedShort(bigEndian(p + 2, 2))},
                              {"clipCounter", Number::unsignedShort(bigEndian(p + 4, 2))},
                              {"filenameStyle", style}};
        }
    }
}

/// One item of the answer: its tag, its row (none: raw bytes under the "Unknown_" key), value.
struct ModelItem {
    unsigned char first, second;
    const Row* row;
    Value value;
};

/// The items of the stream for a flavour, or nothing when the format says the parse fails.
/// `packetStream`: a key that isn't one gives up the rest of its packet (a memory block doesn't),
/// and a read cut short at the end leaves the position (a memory block moves it to the end).
inline std::optional<std::vector<ModelItem>> items(const Stream& s, int flavour,
                                                   bool packetStream) {
    const ByteVec& b = s.bytes;
    const std::size_t size = b.size();
    std::vector<ModelItem> out;
    std::size_t pos = 0;
    while (pos < size) {
        if (size - pos < 16) return std::nullopt;
        const bool isKey =
            b[pos] == 0x06 && b[pos + 1] == 0x0E && b[pos + 2] == 0x2B && b[pos + 3] == 0x34;
        pos += 16;
        if (!isKey) {
            if (packetStream) pos = s.restOfPacket(pos);
            continue;
        }
        if (size - pos < 4) return std::nullopt;
        const std::size_t end = pos + 4 + bigEndian(&b[pos + 1], 3);
        pos += 4;
        while (pos < end) {
            if (size - pos < 4) return std::nullopt;
            const unsigned char t1 = b[pos], t2 = b[pos + 1];
            const std::size_t n = bigEndian(&b[pos + 2], 2);
            pos += 4;
            const Row* row = findRow(flavour, t1, t2);
            const Type type = row ? row->type : Type::Raw;
            const std::size_t left = size - pos;
            const unsigned char* p = b.data() + pos;
            if (type == Type::Raw) {
                // Never fails: a payload cut by the end of the stream is filled up with zeros.
                ByteVec raw(p, p + std::min(n, left));
                raw.resize(n, 0);
                out.push_back({t1, t2, row, Data(std::move(raw))});
                if (n <= left) {
                    pos += n;
                    continue;
                }
                // The stream is used up: the next item header fails, or the pack loop ends.
                if ((packetStream ? pos : size) < end) return std::nullopt;
                return out;
            }
            if (const std::size_t fixed = fixedSize(type); fixed != 0) {
                if (n < fixed || left < fixed) return std::nullopt;
                out.push_back({t1, t2, row, fixedValue(type, p)});
                pos += std::min(n, left);  // the rest of the payload is skipped
                continue;
            }
            if (left < n) return std::nullopt;
            if (type == Type::Text) {
                out.push_back(
                    {t1, t2, row, latin1(p, static_cast<std::size_t>(std::find(p, p + n, 0) - p))});
            } else {  // counted vectors: count, element size, elements filling the payload
                const std::size_t element = type == Type::Ratios ? 8 : 2;
                if (n < 8 || bigEndian(p + 4, 4) != element ||
                    std::uint64_t{bigEndian(p, 4)} * element != n - 8)
                    return std::nullopt;
                Array values;
                for (std::size_t at = 8; at < n; at += element)
                    values.push_back(type == Type::Ratios
                                         ? ratio(p + at)
                                         : Value(Number::doubleNumber(halfFloat(p + at))));
                out.push_back({t1, t2, row, std::move(values)});
            }
            pos += n;
        }
    }
    return out;
}

inline std::string unknownKeyOf(unsigned char first, unsigned char second) {
    char key[32];
    std::snprintf(key, sizeof key, "Unknown_0x%02x_0x%02x", first, second);
    return key;
}

/// The facade's answer for a buffer: the items under their names, later over earlier.
inline Dictionary answer(std::span<const unsigned char> buffer, bool flags, int flavour) {
    Dictionary d;
    const auto list = items(rdd18Stream(walk(buffer, flags)), flavour, true);
    if (!list) return d;
    for (const ModelItem& item : *list)
        d.set(item.row ? item.row->name : unknownKeyOf(item.first, item.second), item.value);
    return d;
}

}  // namespace rdd18::fuzz::model
