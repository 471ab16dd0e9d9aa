#include "rdd18/arri/VLArriANCParser.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/arri/arri_blob.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/platform/internal_key_order_writer.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/encode_error.h"
#include "rdd18/transport/fault.h"

namespace {

using namespace rdd18;
using namespace rdd18::arri;
namespace fh = rdd18::arri::file_header;

// --- Conversions -------------------------------------------------------------------------------

/// Unsigned 32-bit numbers, as stored.
template <fh::U32 F>
Value unsignedInt(const ArriFileHeader& h) {
    return Number::unsignedInt(h.load(F));
}

/// Single-precision floats, as stored, NaN and infinity included.
template <fh::F32 F>
Value asStored(const ArriFileHeader& h) {
    return Number::floatNumber(h.load(F));
}

/// Unsigned thousandths to a float, divided in single precision with no double step.
template <fh::U32 F>
Value thousandths(const ArriFileHeader& h) {
    return Number::floatNumber(static_cast<float>(h.load(F)) / 1000.0f);
}

/// The text rule: unset (empty) when the first byte is the sentinel, else up to the first NUL or
/// the field's width. 8-bit characters are Latin-1.
template <fh::TextField F>
Value text(const ArriFileHeader& h) {
    const unsigned char* first = h.bytes + F.offset;
    if (*first == fh::kUnsetText) return std::string();
    const unsigned char* end = std::find(first, first + F.width, 0);
    return stringFromLatin1(reinterpret_cast<const char*>(first),
                            static_cast<std::size_t>(end - first));
}

Value colorMatrix(const ArriFileHeader& h) {
    Array matrix;
    matrix.reserve(fh::kColorMatrix.count);
    for (std::size_t i = 0; i < fh::kColorMatrix.count; ++i)
        matrix.emplace_back(Number::floatNumber(h.load(fh::kColorMatrix, i)));
    return matrix;
}

Value firmwareVersion(const ArriFileHeader& h) {
    return std::to_string(h.load(fh::kFirmwareVersion));
}

Value serialNumber(const ArriFileHeader& h) {
    return std::to_string(static_cast<std::int32_t>(h.load(fh::kSerialNumber)));
}

/// The four camera ID characters, from the most significant byte of the word to the least. Each
/// byte is one Latin-1 character, a NUL included.
Value cameraId(const ArriFileHeader& h) {
    const std::uint32_t word = h.load(fh::kCameraId);
    const char chars[4] = {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
                           static_cast<char>(word >> 8), static_cast<char>(word)};
    return stringFromLatin1(chars, sizeof chars);
}

/// Two BCD digits of the timecode byte at `Shift`: 10 x high nibble + low nibble; nibbles above
/// 9 are taken as they are (0xFF gives 165).
template <unsigned Shift>
Value timecodeDigits(const ArriFileHeader& h) {
    const std::uint32_t byte = h.load(fh::kTimecode) >> Shift;
    return Number::intNumber(static_cast<std::int32_t>(10 * ((byte >> 4) & 0xF) + (byte & 0xF)));
}

Value dropFrame(const ArriFileHeader& h) {
    return Number::boolean((h.load(fh::kTimecodeFlags) & fh::kDropFrameBit) != 0);
}

Value ndFilter(const ArriFileHeader& h) {
    Dictionary d;
    d.reserve(2);
    KeyOrderWriter w(d);
    w.append("density",
             Number::doubleNumber(static_cast<double>(h.load(fh::kNdFilterDensity)) / 1000.0));
    w.append("type", Number::unsignedShort(h.load(fh::kNdFilterType)));
    return d;
}

/// Focus distance in metres. From thousandths of an inch: x 2.54, / 1000, / 100 in double
/// precision in this order; otherwise / 1000 in double precision. Rounded once to float.
Value focusDistance(const ArriFileHeader& h) {
    const std::uint32_t v = h.load(fh::kFocusDistance);
    if (v == fh::kInfiniteFocusDistance) {
        return Number::floatNumber(std::numeric_limits<float>::infinity());
    }
    if (h.load(fh::kFocusDistanceUnit) == fh::kFocusInThousandthsOfInch) {
        double metres = static_cast<double>(v) * 2.54;
        metres = metres / 1000.0;
        metres = metres / 100.0;
        return Number::floatNumber(static_cast<float>(metres));
    }
    return Number::floatNumber(static_cast<float>(static_cast<double>(v) / 1000.0));
}

Value focalLength(const ArriFileHeader& h) {
    const double millimetres = static_cast<double>(h.load(fh::kFocalLength)) / 1000.0;
    return Number::doubleNumber(millimetres / 1000.0);
}

/// T-stops by stop index. Index 3 is 2.2.
constexpr double kTStops[] = {0.7, 1.0, 1.4, 2.2, 2.8, 4.0, 5.6, 8.0, 11.0, 16.0, 22.0};

Value apertureTStop(const ArriFileHeader& h) {
    const std::uint32_t index = h.load(fh::kIris) / 1000;
    if (index >= std::size(kTStops)) {
        return Number::doubleNumber(std::numeric_limits<double>::quiet_NaN());
    }
    return Number::doubleNumber(kTStops[index]);
}

/// The remainder below 1000 in hundreds, rounded half away from zero: 0 to 10.
Value apertureSecondValue(const ArriFileHeader& h) {
    const std::uint32_t iris = h.load(fh::kIris);
    return Number::unsignedLong(
        static_cast<std::uint64_t>(std::round(static_cast<double>(iris % 1000) / 100.0)));
}

/// The low 16 bits as a signed number of tenths.
template <fh::U32 F>
Value vfx(const ArriFileHeader& h) {
    const std::uint32_t word = h.load(F);
    return Number::doubleNumber(static_cast<double>(static_cast<std::int16_t>(word & 0xFFFF)) /
                                10.0);
}

// --- The inverse: values of an answer back into the record's fields ---------------------------
// Each conversion above has its writer here, which stores the field so that the conversion gives
// the value back to the last bit, or refuses it.

[[noreturn]] void refuse(std::string_view key, FaultCode code, const std::string& why) {
    throw EncodeError(code, std::string(key), why);
}

std::string shortest(double v) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, v).ptr);
}

/// The number of an integer kind in 0..`most`.
std::uint64_t unsignedIn(const Value& v, std::string_view key, std::uint64_t most) {
    if (!v.isNumber() || v.number().isFloating() || v.number().kind() == NumberKind::Bool)
        refuse(key, FaultCode::WrongKind, "needs an integer number");
    const Number& n = v.number();
    if ((n.isSigned() && n.int64Value() < 0) || n.uint64Value() > most) {
        refuse(key, FaultCode::OutOfRange,
               (n.isSigned() ? std::to_string(n.int64Value()) : std::to_string(n.uint64Value())) +
                   " is outside 0.." + std::to_string(most));
    }
    return n.uint64Value();
}

/// The double of any number but a bool.
double doubleOf(const Value& v, std::string_view key) {
    if (!v.isNumber() || v.number().kind() == NumberKind::Bool)
        refuse(key, FaultCode::WrongKind, "needs a number");
    return v.number().doubleValue();
}

/// The float of a number whose value a float holds exactly (a NaN included).
float floatOf(const Value& v, std::string_view key) {
    const double d = doubleOf(v, key);
    const auto f = static_cast<float>(d);
    if (!std::isnan(d) &&
        std::bit_cast<std::uint64_t>(static_cast<double>(f)) != std::bit_cast<std::uint64_t>(d))
        refuse(key, FaultCode::NoExactCode, shortest(d) + " is no single-precision number");
    return v.number().kind() == NumberKind::Float ? v.number().floatValue() : f;
}

template <class T>
bool sameBits(T a, T b) noexcept {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// The first of the integers near `estimate` (and `extra`) in 0..`most` that `decode` turns into
/// `want` to the last bit.
template <class T, class Decode>
std::optional<std::uint64_t> searchNear(double estimate, std::uint64_t most, T want, Decode decode,
                                        std::initializer_list<double> extra = {}) {
    const auto tryOne = [&](double candidate) -> std::optional<std::uint64_t> {
        if (!(candidate >= 0) || candidate > static_cast<double>(most)) return std::nullopt;
        const auto u = static_cast<std::uint64_t>(candidate);
        if (static_cast<double>(u) != candidate) return std::nullopt;
        return sameBits(decode(u), want) ? std::optional(u) : std::nullopt;
    };
    const double base = std::floor(estimate);
    for (const double step : {0.0, 1.0, -1.0, 2.0, -2.0})
        if (const auto u = tryOne(base + step)) return u;
    for (const double candidate : extra)
        if (const auto u = tryOne(candidate)) return u;
    return tryOne(static_cast<double>(most));
}

template <fh::U32 F>
void storeUnsignedInt(const Value& v, ArriFileHeader& h, std::string_view key) {
    h.store(F, static_cast<std::uint32_t>(unsignedIn(v, key, 0xFFFFFFFF)));
}

template <fh::F32 F>
void storeAsStored(const Value& v, ArriFileHeader& h, std::string_view key) {
    h.store(F, floatOf(v, key));
}

template <fh::U32 F>
void storeThousandths(const Value& v, ArriFileHeader& h, std::string_view key) {
    const float want = floatOf(v, key);
    const auto near = static_cast<float>(static_cast<double>(want) * 1000.0);
    const auto u =
        searchNear(static_cast<double>(want) * 1000.0, 0xFFFFFFFF, want,
                   [](std::uint64_t n) { return static_cast<float>(n) / 1000.0f; },
                   {static_cast<double>(std::nextafter(near, 0.0f)), static_cast<double>(near),
                    static_cast<double>(std::nextafter(near, 1e38f))});
    if (!u) refuse(key, FaultCode::NoExactCode, "no thousandths give " + shortest(want));
    h.store(F, static_cast<std::uint32_t>(*u));
}

/// The 8-bit characters of text for a field of `width`, as `text` reads them back.
std::string latin1Of(const Value& v, std::string_view key, std::size_t width) {
    if (!v.isString()) refuse(key, FaultCode::WrongKind, "needs text");
    const std::optional<std::string> bytes = latin1FromString(v.string());
    if (!bytes) refuse(key, FaultCode::UnwritableText, "holds a character beyond U+00FF");
    if (bytes->size() > width) {
        throw EncodeError(
            Fault{.code = FaultCode::TextTooLong, .expected = width, .found = bytes->size()},
            std::string(key),
            std::to_string(bytes->size()) + " characters, more than the field's " +
                std::to_string(width));
    }
    return *bytes;
}

template <fh::TextField F>
void storeText(const Value& v, ArriFileHeader& h, std::string_view key) {
    const std::string bytes = latin1Of(v, key, F.width);
    if (bytes.find('\0') != std::string::npos)
        refuse(key, FaultCode::UnwritableText, "holds a NUL, which ends the text in the record");
    if (!bytes.empty() && static_cast<unsigned char>(bytes[0]) == fh::kUnsetText)
        refuse(key, FaultCode::UnwritableText, "starts with U+00FF, which marks the field unset");
    unsigned char* field = h.bytes + F.offset;
    std::fill_n(field, F.width, 0);
    std::copy(bytes.begin(), bytes.end(), field);
    if (bytes.empty()) field[0] = fh::kUnsetText;
}

void storeColorMatrix(const Value& v, ArriFileHeader& h, std::string_view key) {
    if (!v.isArray()) refuse(key, FaultCode::NotAnAnswer, "needs an array");
    if (v.array().size() != fh::kColorMatrix.count)
        refuse(key, FaultCode::NotAnAnswer, "needs 12 numbers");
    for (std::size_t i = 0; i < fh::kColorMatrix.count; ++i) {
        const std::string element = std::string(key) + "[" + std::to_string(i) + "]";
        h.store(fh::kColorMatrix, floatOf(v.array()[i], element), i);
    }
}

/// Decimal text that `std::to_string` gives for a number of type `T`.
template <class T>
T decimalOf(const Value& v, std::string_view key) {
    if (!v.isString()) refuse(key, FaultCode::WrongKind, "needs text");
    const std::string& text = v.string();
    T n{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), n);
    if (ec != std::errc() || end != text.data() + text.size() || std::to_string(n) != text)
        refuse(key, FaultCode::OutOfRange, "\"" + text + "\" is no number the field gives");
    return n;
}

void storeFirmwareVersion(const Value& v, ArriFileHeader& h, std::string_view key) {
    h.store(fh::kFirmwareVersion, decimalOf<std::uint32_t>(v, key));
}

void storeSerialNumber(const Value& v, ArriFileHeader& h, std::string_view key) {
    h.store(fh::kSerialNumber, static_cast<std::uint32_t>(decimalOf<std::int32_t>(v, key)));
}

void storeCameraId(const Value& v, ArriFileHeader& h, std::string_view key) {
    const std::string chars = latin1Of(v, key, 4);
    if (chars.size() != 4) refuse(key, FaultCode::UnwritableText, "needs 4 characters");
    std::uint32_t word = 0;
    for (const char c : chars) word = word << 8 | static_cast<unsigned char>(c);
    h.store(fh::kCameraId, word);
}

/// The byte at `Shift` of the timecode word: two BCD digits whose 10 x high + low is the value.
template <unsigned Shift>
void storeTimecodeDigits(const Value& v, ArriFileHeader& h, std::string_view key) {
    const auto n = static_cast<std::uint32_t>(unsignedIn(v, key, 165));  // 10 x 15 + 15
    const std::uint32_t high = std::min<std::uint32_t>(n / 10, 15);
    const std::uint32_t byte = high << 4 | (n - 10 * high);
    const std::uint32_t word = h.load(fh::kTimecode) & ~(std::uint32_t{0xFF} << Shift);
    h.store(fh::kTimecode, word | byte << Shift);
}

void storeDropFrame(const Value& v, ArriFileHeader& h, std::string_view key) {
    if (!v.isNumber() || v.number().kind() != NumberKind::Bool)
        refuse(key, FaultCode::WrongKind, "needs a bool");
    const std::uint32_t rest = h.load(fh::kTimecodeFlags) & ~fh::kDropFrameBit;
    h.store(fh::kTimecodeFlags, rest | (v.number().boolValue() ? fh::kDropFrameBit : 0));
}

void storeNdFilter(const Value& v, ArriFileHeader& h, std::string_view key) {
    if (!v.isDictionary()) refuse(key, FaultCode::NotAnAnswer, "needs a dictionary");
    const Dictionary& d = v.dictionary();
    const std::string densityKey = std::string(key) + ".density";
    const std::string typeKey = std::string(key) + ".type";
    for (const auto& [field, value] : d)
        if (field != "density" && field != "type")
            refuse(std::string(key) + "." + field, FaultCode::UnknownKey, "is no field of it");
    const Value* density = d.find("density");
    const Value* type = d.find("type");
    if (!density) refuse(densityKey, FaultCode::KeyMissing, "is missing");
    if (!type) refuse(typeKey, FaultCode::KeyMissing, "is missing");
    const double want = doubleOf(*density, densityKey);
    const auto u = searchNear(want * 1000.0, 0xFFFF, want,
                              [](std::uint64_t n) { return static_cast<double>(n) / 1000.0; });
    if (!u) refuse(densityKey, FaultCode::NoExactCode, "no thousandths give " + shortest(want));
    h.store(fh::kNdFilterDensity, static_cast<std::uint16_t>(*u));
    h.store(fh::kNdFilterType, static_cast<std::uint16_t>(unsignedIn(*type, typeKey, 0xFFFF)));
}

void storeFocusDistance(const Value& v, ArriFileHeader& h, std::string_view key) {
    const float want = floatOf(v, key);
    if (std::isinf(want) && want > 0) {
        h.store(fh::kFocusDistance, fh::kInfiniteFocusDistance);
        return;
    }
    if (!(want > 0) || std::isinf(want))
        refuse(key, FaultCode::OutOfRange, shortest(want) + " is no distance of lens data");
    constexpr std::uint64_t kMost = fh::kInfiniteFocusDistance - 1;
    const auto metric = searchNear(
        static_cast<double>(want) * 1000.0, kMost, want,
        [](std::uint64_t n) { return static_cast<float>(static_cast<double>(n) / 1000.0); });
    if (metric) {
        h.store(fh::kFocusDistanceUnit, fh::kFocusInThousandthsOfInch + 1);
        h.store(fh::kFocusDistance, static_cast<std::uint32_t>(*metric));
        return;
    }
    const auto inch =
        searchNear(static_cast<double>(want) * 100000.0 / 2.54, kMost, want, [](std::uint64_t n) {
            double metres = static_cast<double>(n) * 2.54;
            metres = metres / 1000.0;
            metres = metres / 100.0;
            return static_cast<float>(metres);
        });
    if (!inch) {
        refuse(key, FaultCode::NoExactCode,
               "no thousandths of a metre or an inch give " + shortest(want));
    }
    h.store(fh::kFocusDistanceUnit, fh::kFocusInThousandthsOfInch);
    h.store(fh::kFocusDistance, static_cast<std::uint32_t>(*inch));
}

void storeFocalLength(const Value& v, ArriFileHeader& h, std::string_view key) {
    const double want = doubleOf(v, key);
    const auto u = searchNear(want * 1e6, 0xFFFFFFFF, want, [](std::uint64_t n) {
        return static_cast<double>(n) / 1000.0 / 1000.0;
    });
    if (!u)
        refuse(key, FaultCode::NoExactCode,
               "no thousandths of a millimetre give " + shortest(want));
    h.store(fh::kFocalLength, static_cast<std::uint32_t>(*u));
}

// The iris word is stop index x 1000 + remainder. The answer's keys come in order, so the second
// value (the remainder) is stored first and the T-stop adds its index to it.
void storeApertureSecondValue(const Value& v, ArriFileHeader& h, std::string_view key) {
    const auto hundreds = static_cast<std::uint32_t>(unsignedIn(v, key, 10));
    h.store(fh::kIris, std::min<std::uint32_t>(hundreds * 100, 950));  // 950 rounds to 10
}

void storeApertureTStop(const Value& v, ArriFileHeader& h, std::string_view key) {
    const double want = doubleOf(v, key);
    std::uint32_t index = std::size(kTStops);  // the first index past the table reads as NaN
    if (!std::isnan(want)) {
        const auto* at = std::find_if(std::begin(kTStops), std::end(kTStops),
                                      [want](double t) { return sameBits(t, want); });
        if (at == std::end(kTStops))
            refuse(key, FaultCode::NoExactCode, shortest(want) + " is no T-stop of the table");
        index = static_cast<std::uint32_t>(at - std::begin(kTStops));
    }
    h.store(fh::kIris, index * 1000 + h.load(fh::kIris) % 1000);
}

template <fh::U32 F>
void storeVfx(const Value& v, ArriFileHeader& h, std::string_view key) {
    const double want = doubleOf(v, key);
    const double estimate = want * 10.0 + 32768.0;  // the search runs over 0..65535
    const auto u = searchNear(estimate, 0xFFFF, want, [](std::uint64_t n) {
        return static_cast<double>(static_cast<std::int64_t>(n) - 32768) / 10.0;
    });
    if (!u) refuse(key, FaultCode::NoExactCode, "no tenths give " + shortest(want));
    h.store(F, static_cast<std::uint32_t>(static_cast<std::uint16_t>(*u - 32768)));
}

// --- The answer's rows, in the order of their keys ----------------------------------------------

/// Whether a record gives the row's key; null for the keys every record gives.
using Presence = bool (*)(const ArriFileHeader&);

/// Lens keys: only with lens data (focus distance not 0 and iris word not 0xFFFFFFFF).
bool hasLensData(const ArriFileHeader& header) {
    return header.load(fh::kFocusDistance) != fh::kNoFocusDistance &&
           header.load(fh::kIris) != fh::kNoIris;
}

/// A VFX key: unless its own word is the absent sentinel.
template <fh::U32 F>
bool vfxPresent(const ArriFileHeader& h) {
    return h.load(F) != fh::kAbsentVfx;
}

struct Row {
    std::string_view key;
    Presence present;
    Value (*make)(const ArriFileHeader&);
    void (*store)(const Value&, ArriFileHeader&, std::string_view key);
};

// One row per key the record can give, sorted by key bytes, so that the answer is written by
// appending (see the static_assert below).
constexpr Row kRows[] = {
    {"ASA", nullptr, &unsignedInt<fh::kAsa>, &storeUnsignedInt<fh::kAsa>},
    {"DoP", nullptr, &text<fh::kDoP>, &storeText<fh::kDoP>},
    {"NDFilter", nullptr, &ndFilter, &storeNdFilter},
    {"activeImageHeight", nullptr, &unsignedInt<fh::kActiveImageHeight>,
     &storeUnsignedInt<fh::kActiveImageHeight>},
    {"activeImageLeft", nullptr, &unsignedInt<fh::kActiveImageLeft>,
     &storeUnsignedInt<fh::kActiveImageLeft>},
    {"activeImageTop", nullptr, &unsignedInt<fh::kActiveImageTop>,
     &storeUnsignedInt<fh::kActiveImageTop>},
    {"activeImageWidth", nullptr, &unsignedInt<fh::kActiveImageWidth>,
     &storeUnsignedInt<fh::kActiveImageWidth>},
    {"blackLevel", nullptr, &unsignedInt<fh::kBlackLevel>, &storeUnsignedInt<fh::kBlackLevel>},
    {"cameraID", nullptr, &cameraId, &storeCameraId},
    {"cameraInfoMainVoltage", nullptr, &unsignedInt<fh::kCameraInfoMainVoltage>,
     &storeUnsignedInt<fh::kCameraInfoMainVoltage>},
    {"cameraInfoOnBoardVoltage", nullptr, &unsignedInt<fh::kCameraInfoOnBoardVoltage>,
     &storeUnsignedInt<fh::kCameraInfoOnBoardVoltage>},
    {"cameraModel", nullptr, &text<fh::kCameraModel>, &storeText<fh::kCameraModel>},
    {"cdlOffsetB", nullptr, &asStored<fh::kCdlOffsetB>, &storeAsStored<fh::kCdlOffsetB>},
    {"cdlOffsetG", nullptr, &asStored<fh::kCdlOffsetG>, &storeAsStored<fh::kCdlOffsetG>},
    {"cdlOffsetR", nullptr, &asStored<fh::kCdlOffsetR>, &storeAsStored<fh::kCdlOffsetR>},
    {"cdlPowerB", nullptr, &asStored<fh::kCdlPowerB>, &storeAsStored<fh::kCdlPowerB>},
    {"cdlPowerG", nullptr, &asStored<fh::kCdlPowerG>, &storeAsStored<fh::kCdlPowerG>},
    {"cdlPowerR", nullptr, &asStored<fh::kCdlPowerR>, &storeAsStored<fh::kCdlPowerR>},
    {"cdlSlopeB", nullptr, &asStored<fh::kCdlSlopeB>, &storeAsStored<fh::kCdlSlopeB>},
    {"cdlSlopeG", nullptr, &asStored<fh::kCdlSlopeG>, &storeAsStored<fh::kCdlSlopeG>},
    {"cdlSlopeR", nullptr, &asStored<fh::kCdlSlopeR>, &storeAsStored<fh::kCdlSlopeR>},
    {"clipName", nullptr, &text<fh::kClipName>, &storeText<fh::kClipName>},
    {"clipNotes", nullptr, &text<fh::kClipNotes>, &storeText<fh::kClipNotes>},
    {"colorMatrix", nullptr, &colorMatrix, &storeColorMatrix},
    {"company", nullptr, &text<fh::kCompany>, &storeText<fh::kCompany>},
    {"director", nullptr, &text<fh::kDirector>, &storeText<fh::kDirector>},
    {"firmwareVersion", nullptr, &firmwareVersion, &storeFirmwareVersion},
    {"flip", nullptr, &unsignedInt<fh::kFlip>, &storeUnsignedInt<fh::kFlip>},
    {"greenTintFactor", nullptr, &asStored<fh::kGreenTintFactor>,
     &storeAsStored<fh::kGreenTintFactor>},
    {"lensDataApertureSecondValue", &hasLensData, &apertureSecondValue, &storeApertureSecondValue},
    {"lensDataApertureTstop", &hasLensData, &apertureTStop, &storeApertureTStop},
    {"lensDataFocalLength", &hasLensData, &focalLength, &storeFocalLength},
    {"lensDataFocusDistance", &hasLensData, &focusDistance, &storeFocusDistance},
    {"lensModel", &hasLensData, &text<fh::kLensModel>, &storeText<fh::kLensModel>},
    {"lookFile", nullptr, &text<fh::kLookFile>, &storeText<fh::kLookFile>},
    {"pixelAspectRatio", nullptr, &asStored<fh::kPixelAspectRatio>,
     &storeAsStored<fh::kPixelAspectRatio>},
    {"production", nullptr, &text<fh::kProduction>, &storeText<fh::kProduction>},
    {"projectFps", nullptr, &thousandths<fh::kProjectFps>, &storeThousandths<fh::kProjectFps>},
    {"rawImageHeight", nullptr, &unsignedInt<fh::kRawImageHeight>,
     &storeUnsignedInt<fh::kRawImageHeight>},
    {"rawImageWidth", nullptr, &unsignedInt<fh::kRawImageWidth>,
     &storeUnsignedInt<fh::kRawImageWidth>},
    {"recorderType", nullptr, &text<fh::kRecorderType>, &storeText<fh::kRecorderType>},
    {"reelName", nullptr, &text<fh::kReelName>, &storeText<fh::kReelName>},
    {"sceneName", nullptr, &text<fh::kSceneName>, &storeText<fh::kSceneName>},
    {"sensorFps", nullptr, &thousandths<fh::kSensorFps>, &storeThousandths<fh::kSensorFps>},
    {"serialNumber", nullptr, &serialNumber, &storeSerialNumber},
    {"shutterAngle", nullptr, &thousandths<fh::kShutterAngle>,
     &storeThousandths<fh::kShutterAngle>},
    {"supName", nullptr, &text<fh::kSupName>, &storeText<fh::kSupName>},
    {"takeName", nullptr, &text<fh::kTakeName>, &storeText<fh::kTakeName>},
    {"tcDropFrame", nullptr, &dropFrame, &storeDropFrame},
    {"tcFrames", nullptr, &timecodeDigits<0>, &storeTimecodeDigits<0>},
    {"tcHours", nullptr, &timecodeDigits<24>, &storeTimecodeDigits<24>},
    {"tcMinutes", nullptr, &timecodeDigits<16>, &storeTimecodeDigits<16>},
    {"tcSeconds", nullptr, &timecodeDigits<8>, &storeTimecodeDigits<8>},
    {"vfxInfoPan", &vfxPresent<fh::kVfxPan>, &vfx<fh::kVfxPan>, &storeVfx<fh::kVfxPan>},
    {"vfxInfoRoll", &vfxPresent<fh::kVfxRoll>, &vfx<fh::kVfxRoll>, &storeVfx<fh::kVfxRoll>},
    {"vfxInfoTilt", &vfxPresent<fh::kVfxTilt>, &vfx<fh::kVfxTilt>, &storeVfx<fh::kVfxTilt>},
    {"wbAppliedInCamera", nullptr, &unsignedInt<fh::kWbAppliedInCamera>,
     &storeUnsignedInt<fh::kWbAppliedInCamera>},
    {"whiteBalance", nullptr, &unsignedInt<fh::kWhiteBalance>,
     &storeUnsignedInt<fh::kWhiteBalance>},
    {"whiteBalanceFactorB", nullptr, &asStored<fh::kWhiteBalanceFactorB>,
     &storeAsStored<fh::kWhiteBalanceFactorB>},
    {"whiteBalanceFactorG", nullptr, &asStored<fh::kWhiteBalanceFactorG>,
     &storeAsStored<fh::kWhiteBalanceFactorG>},
    {"whiteBalanceFactorR", nullptr, &asStored<fh::kWhiteBalanceFactorR>,
     &storeAsStored<fh::kWhiteBalanceFactorR>},
    {"whiteLevel", nullptr, &unsignedInt<fh::kWhiteLevel>, &storeUnsignedInt<fh::kWhiteLevel>},
};

constexpr bool sortedByKey() {
    for (std::size_t i = 1; i < std::size(kRows); ++i)
        if (!(kRows[i - 1].key < kRows[i].key)) return false;
    return true;
}
static_assert(sortedByKey(), "the answer's rows must stand in ascending key order");

}  // namespace

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes,
                                             bool flags) const {
    return parse(bytes, flags, nullptr);
}

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes, bool flags,
                                             rdd18::FaultSink& faults) const {
    return parse(bytes, flags, &faults);
}

rdd18::Dictionary VLArriANCParser::parseData(rdd18::AncillaryDataReader& packets,
                                             rdd18::FaultSink* faults) const {
    return parse(packets, faults);
}

rdd18::Dictionary VLArriANCParser::parse(std::span<const unsigned char> bytes, bool flags,
                                         rdd18::FaultSink* faults) const {
    AncillaryDataBufferReader walk(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, faults);
    return parse(walk, faults);
}

namespace {

/// Passes faults on and notes whether the stream had no packet at all: then the facade's own
/// faults (no metadata item, a short record) would only repeat that.
struct StreamWatch final : FaultSink {
    explicit StreamWatch(FaultSink& next) noexcept : next(next) {}
    void report(const Fault& fault) override {
        noStream = noStream || fault.code == FaultCode::NoStreamPackets;
        next.report(fault);
    }
    FaultSink& next;
    bool noStream = false;
};

}  // namespace

rdd18::Dictionary VLArriANCParser::parse(rdd18::AncillaryDataReader& packets,
                                         rdd18::FaultSink* faults) const {
    std::optional<StreamWatch> watch;
    if (faults) watch.emplace(*faults);
    const auto report = [&](Fault fault) {
        if (watch && !watch->noStream) faults->report(fault);
    };
    std::vector<ArriAncBlob> blobs;
    try {
        blobs = parseAncillaryData(
            packets, [](const ArriAncKey& key) { return key == ArriAncMetadataKey; },
            watch ? &*watch : nullptr);
    } catch (const ParsingError&) {
        report({.code = FaultCode::ArriParseFailed});
        return {};
    }
    // Only the first metadata item counts, and only when it holds a whole record.
    if (blobs.empty()) {
        report({.code = FaultCode::NoMetadataItem});
        return {};
    }
    if (blobs.front().size() < ArriFileHeader::kSize) {
        report({.code = FaultCode::RecordTooShort,
                .expected = ArriFileHeader::kSize,
                .found = blobs.front().size()});
        return {};
    }
    // The blob's buffer is a byte array, so a record may be read in place.
    return translateFileHeaderToDictionary(
        reinterpret_cast<const ArriFileHeader*>(blobs.front().data()));
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file) const {
    return parseFile(file, nullptr);
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file,
                                             rdd18::FaultSink& faults) const {
    return parseFile(file, &faults);
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file,
                                             rdd18::FaultSink* faults) const {
    // A file of fewer than four bytes that matches the magic as far as it goes is a frame file
    // cut short; any other mismatch says it is no frame file at all.
    const std::size_t head = std::min(file.size(), fh::kFileMagic.size());
    if (!std::equal(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(head),
                    fh::kFileMagic.begin())) {
        std::uint64_t found = 0;
        for (std::size_t i = 0; i < head; ++i) found = found << 8 | file[i];
        if (faults) faults->report({.code = FaultCode::NotArriRawFile, .found = found});
        return {};
    }
    if (file.size() < ArriFileHeader::kSize) {
        if (faults)
            faults->report({.code = FaultCode::FileCutShort,
                            .expected = ArriFileHeader::kSize,
                            .found = file.size()});
        return {};
    }
    // The record is a byte image without alignment needs, so the file's bytes are read in place.
    return translateFileHeaderToDictionary(reinterpret_cast<const ArriFileHeader*>(file.data()));
}

rdd18::Dictionary VLArriANCParser::translateFileHeaderToDictionary(
    const rdd18::arri::ArriFileHeader* header) const {
    if (header == nullptr) return {};
    Dictionary result;
    result.reserve(std::size(kRows));
    KeyOrderWriter writer(result);
    for (const Row& row : kRows) {
        if (row.present == nullptr || row.present(*header)) {
            writer.append(std::string(row.key), row.make(*header));
        }
    }
    return result;
}

namespace rdd18::arri {

ArriFileHeader fileHeaderFromAnswer(const Dictionary& answer) {
    ArriFileHeader record;
    std::fill(std::begin(record.bytes), std::end(record.bytes), 0xFF);
    // The lens keys: all of them, or none.
    std::size_t lensKeys = 0;
    const Row* missing = nullptr;
    for (const Row& row : kRows) {
        if (row.present != &hasLensData) continue;
        if (answer.contains(row.key)) {
            ++lensKeys;
        } else if (!missing) {
            missing = &row;
        }
    }
    if (lensKeys != 0 && missing)
        refuse(missing->key, FaultCode::KeyMissing, "is missing beside the other lens keys");
    for (const auto& [key, value] : answer) {
        const Row* row =
            std::lower_bound(std::begin(kRows), std::end(kRows), key,
                             [](const Row& r, const std::string& k) { return r.key < k; });
        if (row == std::end(kRows) || row->key != key)
            refuse(key, FaultCode::UnknownKey, "no field of the ARRI record has this key");
        row->store(value, record, key);
    }
    return record;
}

}  // namespace rdd18::arri
