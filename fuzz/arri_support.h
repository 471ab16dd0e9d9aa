// What every ARRI answer must look like, written from the record's layout independently of the
// translation: the 54 keys that are always present, the five lens keys that come as a group, the
// three VFX keys, the kind of each value, the text rule, and the sentinels that decide presence.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "rdd18/platform/value.h"

namespace rdd18::fuzz::arri_answer {

enum class Kind {
    UnsignedInt,
    Float,
    FloatArray12,
    TimecodeInt,  // signed 32-bit, two BCD nibbles: 0..165
    Bool,
    Text,           // text field; width and offset below
    Decimal,        // "%u"
    SignedDecimal,  // "%i"
    FourChars,
    NDFilter,
    Double,
    StopRemainder,  // unsigned 64-bit, 0..10
    Tenths,         // double, a signed 16-bit number / 10
};

struct Key {
    std::string_view name;
    Kind kind;
    std::size_t offset = 0;  // text fields: where the field starts
    std::size_t width = 0;   // text fields: its width
};

inline constexpr Key kAlwaysPresent[] = {
    {"rawImageWidth", Kind::UnsignedInt},
    {"rawImageHeight", Kind::UnsignedInt},
    {"activeImageLeft", Kind::UnsignedInt},
    {"activeImageTop", Kind::UnsignedInt},
    {"activeImageWidth", Kind::UnsignedInt},
    {"activeImageHeight", Kind::UnsignedInt},
    {"whiteBalance", Kind::UnsignedInt},
    {"greenTintFactor", Kind::Float},
    {"whiteBalanceFactorR", Kind::Float},
    {"whiteBalanceFactorG", Kind::Float},
    {"whiteBalanceFactorB", Kind::Float},
    {"wbAppliedInCamera", Kind::UnsignedInt},
    {"ASA", Kind::UnsignedInt},
    {"blackLevel", Kind::UnsignedInt},
    {"whiteLevel", Kind::UnsignedInt},
    {"colorMatrix", Kind::FloatArray12},
    {"pixelAspectRatio", Kind::Float},
    {"flip", Kind::UnsignedInt},
    {"lookFile", Kind::Text, 0x00CC, 32},
    {"cdlSlopeR", Kind::Float},
    {"cdlSlopeG", Kind::Float},
    {"cdlSlopeB", Kind::Float},
    {"cdlOffsetR", Kind::Float},
    {"cdlOffsetG", Kind::Float},
    {"cdlOffsetB", Kind::Float},
    {"cdlPowerR", Kind::Float},
    {"cdlPowerG", Kind::Float},
    {"cdlPowerB", Kind::Float},
    {"firmwareVersion", Kind::Decimal},
    {"serialNumber", Kind::SignedDecimal},
    {"cameraID", Kind::FourChars},
    {"shutterAngle", Kind::Float},
    {"sensorFps", Kind::Float},
    {"projectFps", Kind::Float},
    {"tcHours", Kind::TimecodeInt},
    {"tcMinutes", Kind::TimecodeInt},
    {"tcSeconds", Kind::TimecodeInt},
    {"tcFrames", Kind::TimecodeInt},
    {"tcDropFrame", Kind::Bool},
    {"cameraModel", Kind::Text, 0x029C, 8},
    {"recorderType", Kind::Text, 0x02A4, 32},
    {"supName", Kind::Text, 0x02E0, 24},
    {"NDFilter", Kind::NDFilter},
    {"reelName", Kind::Text, 0x04F8, 8},
    {"sceneName", Kind::Text, 0x0500, 16},
    {"takeName", Kind::Text, 0x0510, 8},
    {"director", Kind::Text, 0x0518, 32},
    {"DoP", Kind::Text, 0x0538, 32},
    {"production", Kind::Text, 0x0558, 32},
    {"company", Kind::Text, 0x0578, 32},
    {"clipNotes", Kind::Text, 0x0598, 256},
    {"clipName", Kind::Text, 0x0698, 24},
    {"cameraInfoMainVoltage", Kind::UnsignedInt},
    {"cameraInfoOnBoardVoltage", Kind::UnsignedInt},
};
static_assert(std::size(kAlwaysPresent) == 54);

inline constexpr Key kLensKeys[] = {
    {"lensDataFocusDistance", Kind::Float},  {"lensDataFocalLength", Kind::Double},
    {"lensDataApertureTstop", Kind::Double}, {"lensDataApertureSecondValue", Kind::StopRemainder},
    {"lensModel", Kind::Text, 0x0398, 32},
};

struct VfxKey {
    std::string_view name;
    std::size_t offset;
};
inline constexpr VfxKey kVfxKeys[] = {
    {"vfxInfoPan", 0x0458}, {"vfxInfoTilt", 0x045C}, {"vfxInfoRoll", 0x0460}};

inline constexpr std::size_t kCameraId = 0x0174;
inline constexpr std::size_t kFocusDistance = 0x0378;
inline constexpr std::size_t kIris = 0x0384;

inline std::uint32_t loadLe32(const unsigned char* p) {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

/// Characters of a UTF-8 string (each of them from one 8-bit character of the record).
inline std::size_t characters(const std::string& s) {
    std::size_t n = 0;
    for (unsigned char c : s) n += (c & 0xC0) != 0x80;
    return n;
}

inline bool isDecimal(std::string_view s) {
    return !s.empty() && s.size() <= 10 &&
           s.find_first_not_of("0123456789") == std::string_view::npos &&
           (s.size() == 1 || s[0] != '0');
}

/// The text rule: 0xFF first means unset (empty); otherwise the 8-bit text up to the first NUL,
/// at most the field's width.
inline std::string expectedText(const unsigned char* record, const Key& key) {
    const unsigned char* p = record + key.offset;
    if (p[0] == 0xFF) return {};
    std::size_t n = 0;
    while (n < key.width && p[n] != 0) ++n;
    return stringFromLatin1(reinterpret_cast<const char*>(p), n);
}

inline bool matches(const Value& v, const Key& key, const unsigned char* record) {
    switch (key.kind) {
        case Kind::UnsignedInt:
            return isNumberOf(v, NumberKind::UnsignedInt);
        case Kind::Float:
            return isNumberOf(v, NumberKind::Float);
        case Kind::FloatArray12:
            return v.isArray() && v.array().size() == 12 &&
                   std::all_of(v.array().begin(), v.array().end(),
                               [](const Value& e) { return isNumberOf(e, NumberKind::Float); });
        case Kind::TimecodeInt:
            return isNumberOf(v, NumberKind::Int) && v.number().int64Value() >= 0 &&
                   v.number().int64Value() <= 165;
        case Kind::Bool:
            return isNumberOf(v, NumberKind::Bool);
        case Kind::Text:
            return v.isString() && characters(v.string()) <= key.width &&
                   (record == nullptr || v.string() == expectedText(record, key));
        case Kind::Decimal:
            return v.isString() && isDecimal(v.string());
        case Kind::SignedDecimal:
            return v.isString() &&
                   isDecimal(std::string_view(v.string())
                                 .substr(!v.string().empty() && v.string()[0] == '-'));
        case Kind::FourChars: {
            // What a NUL among the four bytes gives is the implementation's choice; four
            // characters otherwise.
            if (!v.isString() || characters(v.string()) > 4) return false;
            const unsigned char* id = record ? record + kCameraId : nullptr;
            return !id || std::find(id, id + 4, 0) != id + 4 || characters(v.string()) == 4;
        }
        case Kind::NDFilter: {
            if (!v.isDictionary() || !hasExactly(v.dictionary(), {"type", "density"})) return false;
            const Value& density = v.dictionary().at("density");
            return isNumberOf(v.dictionary().at("type"), NumberKind::UnsignedShort) &&
                   isNumberOf(density, NumberKind::Double) &&
                   density.number().doubleValue() >= 0.0 &&
                   density.number().doubleValue() <= 65.535;
        }
        case Kind::Double:
            return isNumberOf(v, NumberKind::Double);
        case Kind::StopRemainder:
            return isNumberOf(v, NumberKind::UnsignedLong) && v.number().uint64Value() <= 10;
        case Kind::Tenths:
            return isNumberOf(v, NumberKind::Double) && v.number().doubleValue() >= -3276.8 &&
                   v.number().doubleValue() <= 3276.7;
    }
    return false;
}

/// A non-empty ARRI answer: 54 to 62 keys, every one of the 54 present, the lens keys all or
/// none, every value of its kind. With the `record` at hand, also which optional keys are there
/// (by the sentinels) and the text of every text field.
inline void checkArriAnswer(const Dictionary& answer, const unsigned char* record = nullptr) {
    VELMORA_FUZZ_CHECK(answer.size() >= 54 && answer.size() <= 62);
    std::size_t known = 0;
    for (const Key& key : kAlwaysPresent) {
        const Value* v = answer.find(key.name);
        VELMORA_FUZZ_CHECK(v != nullptr && matches(*v, key, record));
        ++known;
    }
    std::size_t lens = 0;
    for (const Key& key : kLensKeys) {
        if (const Value* v = answer.find(key.name)) {
            VELMORA_FUZZ_CHECK(matches(*v, key, record));
            ++lens;
        }
    }
    VELMORA_FUZZ_CHECK(lens == 0 || lens == std::size(kLensKeys));
    std::size_t vfx = 0;
    for (const VfxKey& key : kVfxKeys) {
        if (const Value* v = answer.find(key.name)) {
            VELMORA_FUZZ_CHECK(matches(*v, Key{key.name, Kind::Tenths}, record));
            ++vfx;
        }
        if (record) {
            VELMORA_FUZZ_CHECK(answer.contains(key.name) ==
                               (loadLe32(record + key.offset) != 0xFFFFFFFFu));
        }
    }
    VELMORA_FUZZ_CHECK(known + lens + vfx == answer.size());
    if (record) {
        const bool lensData =
            loadLe32(record + kFocusDistance) != 0 && loadLe32(record + kIris) != 0xFFFFFFFFu;
        VELMORA_FUZZ_CHECK((lens != 0) == lensData);
    }
}

}  // namespace rdd18::fuzz::arri_answer
