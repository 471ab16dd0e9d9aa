#include "rdd18/interpret/interpret.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <vector>

#include "rdd18/internal/decimal_text.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18::interpret {

namespace {

using M = CameraModel;
using Conversion = std::optional<double> (*)(const Value&);

std::optional<double> finite(double v) {
    if (!std::isfinite(v)) return std::nullopt;
    return v;
}

// The number of an entry, if it is one and finite.
std::optional<double> numberOf(const Value& v) {
    if (!v.isNumber()) return std::nullopt;
    return finite(v.number().doubleValue());
}

// An integer code of an entry that the wire carries in 16 bits.
std::optional<double> code16(const Value& v) {
    const auto n = numberOf(v);
    if (!n || *n < 0 || *n > 65535 || *n != std::floor(*n)) return std::nullopt;
    return n;
}

// `v` x 10^`places`, rounded once from the shortest decimal text of `v`: scaling by a power of
// ten moves the decimal point, so 0.071 m is 71 mm and not 71.00000000000001. Infinite when the
// result leaves the range of a double.
double shiftDecimal(double v, int places) {
    char text[64];
    const auto written = std::to_chars(text, text + sizeof text - 8, v);
    std::string_view digits(text, static_cast<std::size_t>(written.ptr - text));
    int exponent = places;
    if (const auto e = digits.find('e'); e != std::string_view::npos) {
        int own = 0;
        const char* start = digits.data() + e + 1;
        if (*start == '+') ++start;
        std::from_chars(start, digits.data() + digits.size(), own);
        exponent += own;
        digits = digits.substr(0, e);
    }
    char scaled[96];
    const int n = std::snprintf(scaled, sizeof scaled, "%.*se%d", static_cast<int>(digits.size()),
                                digits.data(), exponent);
    // Beyond the range of a double (either way) the result is no number at all.
    return internal::readDecimal(scaled, scaled + n).value_or(HUGE_VAL);
}

// A single-precision number widened to the double of its shortest decimal text.
std::optional<double> widenedFloat(const Value& v) {
    if (!v.isNumber() || v.number().kind() != NumberKind::Float) return numberOf(v);
    const float f = v.number().floatValue();
    if (!std::isfinite(f)) return std::nullopt;
    return decimalWidened(f);
}

// --- RDD 18 conversions, one per published rule ---------------------------------------------

// Iris: 2^(8 - v / 8192), so 0xC000 is F4 and each 8192 codes are one doubling. Codes below
// 0x2000 would be beyond F128, which no lens reaches.
std::optional<double> irisNumber(const Value& v) {
    const auto c = code16(v);
    if (!c || *c < 8192) return std::nullopt;
    return std::exp2(8.0 - *c / 8192.0);
}

std::optional<double> metres(const Value& v) {
    const auto n = numberOf(v);
    if (!n || *n < 0) return std::nullopt;
    return n;
}

std::optional<double> metresAsMillimetres(const Value& v) {
    const auto n = numberOf(v);
    if (!n || *n <= 0) return std::nullopt;
    return finite(shiftDecimal(*n, 3));
}

std::optional<double> ringPercent(const Value& v) {
    const auto c = code16(v);
    if (!c) return std::nullopt;
    return *c / 65536.0 * 100.0;
}

std::optional<double> asIs(const Value& v) {
    return numberOf(v);
}

// The number over a power of ten: the wire's thousandths, hundredths or tenths of a unit.
template <int Divisor>
std::optional<double> over(const Value& v) {
    const auto n = numberOf(v);
    if (!n) return std::nullopt;
    return *n / Divisor;
}

// A shutter opens for more than nothing and at most a full turn.
std::optional<double> shutterAngle(std::optional<double> degrees) {
    if (!degrees || *degrees <= 0 || *degrees > 360) return std::nullopt;
    return degrees;
}

std::optional<double> positive(std::optional<double> n) {
    if (!n || *n <= 0) return std::nullopt;
    return n;
}

std::optional<double> sixtieths(const Value& v) {
    const auto n = numberOf(v);
    if (!n) return std::nullopt;
    return shutterAngle(*n / 60.0);
}

// A fraction as the answer gives it: a dictionary of "num" and "den".
std::optional<double> fraction(const Value& v) {
    if (!v.isDictionary()) return std::nullopt;
    const Value* num = v.dictionary().find("num");
    const Value* den = v.dictionary().find("den");
    if (!num || !den) return std::nullopt;
    const auto n = numberOf(*num);
    const auto d = numberOf(*den);
    if (!n || !d || *d == 0) return std::nullopt;
    return finite(*n / *d);
}

std::optional<double> frameRate(const Value& v) {
    return positive(fraction(v));
}

std::optional<double> positiveNumber(const Value& v) {
    return positive(numberOf(v));
}

std::optional<double> exposureTime(const Value& v) {
    return positive(fraction(v));
}

// One field of the model: the answer's key it comes from and the conversion into its unit.
struct Row {
    std::string_view key;
    std::optional<double> CameraModel::*member;
    Conversion convert;
};

template <std::size_t N>
void fill(CameraModel& m, const std::array<Row, N>& rows, const Dictionary& answer) {
    for (const Row& row : rows)
        if (const Value* v = answer.find(row.key)) m.*row.member = row.convert(*v);
}

constexpr std::array kRdd18Rows{
    Row{"LensIrisFNumberItem", &M::irisFNumber, irisNumber},
    Row{"LensIrisTNumberItem", &M::irisTNumber, irisNumber},
    Row{"LensIrisRingPositionItem", &M::irisRingPositionPercent, ringPercent},
    Row{"LensFocusPositionFromImagePlaneItem", &M::focusDistanceM, metres},
    Row{"LensFocusPositionFromFrontLensVertexItem", &M::focusDistanceFromFrontVertexM, metres},
    Row{"LensZoomActualFocalLengthItem", &M::focalLengthMm, metresAsMillimetres},
    Row{"LensZoom35mmStillCameraEquivalentItem", &M::focalLength35mmEquivalentMm,
        metresAsMillimetres},
    Row{"LensZoomRingPositionItem", &M::zoomRingPositionPercent, ringPercent},
    Row{"LensOpticalExtenderMagnificationItem", &M::opticalExtenderMagnificationPercent, asIs},
    Row{"CameraImageSensorDimensionEffectiveWidthItem", &M::sensorWidthMm, over<1000>},
    Row{"CameraImageSensorDimensionEffectiveHeightItem", &M::sensorHeightMm, over<1000>},
    Row{"CameraCaptureFrameRateItem", &M::captureFrameRateHz, frameRate},
    Row{"CameraShutterSpeedAngleItem", &M::shutterAngleDeg, sixtieths},
    Row{"CameraShutterSpeedTimeItem", &M::shutterTimeS, exposureTime},
    Row{"CameraMasterGainAdjustmentItem", &M::masterGainDb, over<100>},
    Row{"CameraISOSensitivityItem", &M::iso, positiveNumber},
    Row{"CameraExposureIndexOfPhotoMeterItem", &M::exposureIndex, positiveNumber},
    Row{"CameraElectricalExtenderMagnificationItem", &M::electricalExtenderMagnificationPercent,
        asIs},
    Row{"CameraWhiteBalanceItem", &M::whiteBalanceK, positiveNumber},
    Row{"CameraMasterBlackLevelItem", &M::blackLevelPercent, over<10>},
    Row{"CameraKneePointItem", &M::kneePointPercent, over<10>},
    Row{"CameraLuminanceDynamicRangeItem", &M::dynamicRangePercent, over<10>},
};

std::uint32_t bigEndianWord(const std::vector<unsigned char>& b, std::size_t at) {
    return std::uint32_t{b[at]} << 24 | std::uint32_t{b[at + 1]} << 16 |
           std::uint32_t{b[at + 2]} << 8 | b[at + 3];
}

std::optional<std::string> whiteBalanceMode(const Value& v) {
    static constexpr std::array<const char*, 4> kModes{"preset", "auto", "hold", "one push"};
    const auto c = numberOf(v);
    if (!c || *c < 0 || *c >= static_cast<double>(kModes.size()) || *c != std::floor(*c)) {
        return std::nullopt;
    }
    return kModes[static_cast<std::size_t>(*c)];
}

// --- Sony's own items of rtmd tracks ----------------------------------------------------------
// Tags the Sony flavour doesn't register, so their bytes stand under their Unknown_ key.

const std::vector<unsigned char>* sonyBytes(const Dictionary& answer, std::string_view key,
                                            std::size_t size) {
    const Value* v = answer.find(key);
    return v && v->isData() && v->data().size() == size ? &v->data().bytes : nullptr;
}

// E3 03: one byte.
std::optional<std::string> sonyWhiteBalance(const Dictionary& answer) {
    const auto* b = sonyBytes(answer, "Unknown_0xe3_0x03", 1);
    switch (b ? (*b)[0] : 0) {
        case 1:
            return "incandescent";
        case 2:
            return "fluorescent";
        case 4:
            return "daylight";
        case 5:
            return "cloudy";
        case 6:
            return "custom";
        case 255:
            return "preset";
        default:
            return std::nullopt;
    }
}

// E3 04: a byte, then year (two bytes), month, day, hours, minutes and seconds, each byte two
// BCD digits.
std::optional<std::string> sonyDateTime(const Dictionary& answer) {
    const auto* b = sonyBytes(answer, "Unknown_0xe3_0x04", 8);
    if (!b) return std::nullopt;
    int n[7];
    for (std::size_t i = 0; i < 7; ++i) {
        const unsigned high = (*b)[i + 1] >> 4, low = (*b)[i + 1] & 0xF;
        if (high > 9 || low > 9) return std::nullopt;
        n[i] = static_cast<int>(high * 10 + low);
    }
    if (n[2] < 1 || n[2] > 12 || n[3] < 1 || n[3] > 31 || n[4] > 23 || n[5] > 59 || n[6] > 59)
        return std::nullopt;
    char text[64];  // room for any int, as the compiler can't see the digits' bounds
    std::snprintf(text, sizeof text, "%02d%02d-%02d-%02d %02d:%02d:%02d", n[0], n[1], n[2], n[3],
                  n[4], n[5], n[6]);
    return std::string(text);
}

// 85 01 / 85 03: the reference letter (and a NUL); 85 02 / 85 04: degrees, minutes and seconds,
// three unsigned rationals of two 32-bit numbers. Empty for a zero denominator, another letter,
// or more than `most` degrees.
std::optional<double> sonyGpsDegrees(const Dictionary& answer, std::string_view refKey,
                                     std::string_view key, char plus, char minus, double most) {
    const Value* ref = answer.find(refKey);
    const auto* v = sonyBytes(answer, key, 24);
    if (!ref || !ref->isData() || ref->data().size() == 0 || !v) return std::nullopt;
    const char letter = static_cast<char>(ref->data().bytes[0]);
    if (letter != plus && letter != minus) return std::nullopt;
    double degrees = 0, scale = 1;
    for (std::size_t i = 0; i < 24; i += 8, scale *= 60) {
        const std::uint32_t num = bigEndianWord(*v, i), den = bigEndianWord(*v, i + 4);
        if (den == 0) return std::nullopt;
        degrees += num / static_cast<double>(den) / scale;
    }
    if (degrees > most) return std::nullopt;
    return letter == minus ? -degrees : degrees;
}

// --- ARRI -------------------------------------------------------------------------------------

// The record tells an unset 32-bit word by all bits set; these are that word as each field
// carries it on: the word itself, in thousandths (single precision), and in millionths.
constexpr std::uint32_t kUnsetWord = 0xFFFFFFFF;
constexpr float kUnsetThousandths = static_cast<float>(kUnsetWord) / 1000.0f;
constexpr double kUnsetMillionths = kUnsetWord / 1000.0 / 1000.0;

std::optional<double> arriFocus(const Value& v) {
    const auto n = widenedFloat(v);
    if (!n || *n < 0) return std::nullopt;
    return n;
}

std::optional<double> arriWord(const Value& v) {
    if (v.isNumber() && v.number().kind() == NumberKind::UnsignedInt &&
        v.number().uint64Value() == kUnsetWord) {
        return std::nullopt;
    }
    return numberOf(v);
}

std::optional<double> arriThousandths(const Value& v) {
    if (v.isNumber() && v.number().floatValue() == kUnsetThousandths) return std::nullopt;
    return widenedFloat(v);
}

std::optional<double> arriPositiveWord(const Value& v) {
    return positive(arriWord(v));
}

std::optional<double> arriFrameRate(const Value& v) {
    return positive(arriThousandths(v));
}

std::optional<double> arriShutterAngle(const Value& v) {
    return shutterAngle(arriThousandths(v));
}

std::optional<double> arriPositiveFloat(const Value& v) {
    return positive(widenedFloat(v));
}

std::optional<double> arriFocalLength(const Value& v) {
    if (v.isNumber() && v.number().doubleValue() == kUnsetMillionths) return std::nullopt;
    return metresAsMillimetres(v);
}

constexpr std::array kArriRows{
    Row{"lensDataFocalLength", &M::focalLengthMm, arriFocalLength},
    Row{"lensDataFocusDistance", &M::focusDistanceM, arriFocus},
    Row{"lensDataApertureTstop", &M::irisTNumber, asIs},
    Row{"sensorFps", &M::captureFrameRateHz, arriFrameRate},
    Row{"projectFps", &M::projectFrameRateHz, arriFrameRate},
    Row{"shutterAngle", &M::shutterAngleDeg, arriShutterAngle},
    Row{"ASA", &M::iso, arriPositiveWord},
    Row{"whiteBalance", &M::whiteBalanceK, arriPositiveWord},
    Row{"pixelAspectRatio", &M::pixelAspectRatio, arriPositiveFloat},
    Row{"activeImageWidth", &M::activeImageWidthPx, arriPositiveWord},
    Row{"activeImageHeight", &M::activeImageHeightPx, arriPositiveWord},
};

// The record's text fields that name the camera and the lens.
constexpr std::array<std::pair<std::string_view, std::optional<std::string> CameraModel::*>, 4>
    kArriIdentity{{{"cameraModel", &M::cameraModelName},
                   {"serialNumber", &M::cameraSerialNumber},
                   {"firmwareVersion", &M::cameraFirmwareVersion},
                   {"lensModel", &M::lensModelName}}};

std::optional<std::string> nonEmptyText(const Value* v) {
    if (!v || !v->isString() || v->string().empty()) return std::nullopt;
    return v->string();
}

// "HH:MM:SS:FF" from the record's four BCD-decoded parts; ';' before the frames for drop frame.
std::optional<std::string> arriTimecode(const Dictionary& answer) {
    static constexpr std::array<std::pair<std::string_view, int>, 4> kParts{
        {{"tcHours", 24}, {"tcMinutes", 60}, {"tcSeconds", 60}, {"tcFrames", 100}}};
    int parts[4];
    for (std::size_t i = 0; i < kParts.size(); ++i) {
        const Value* v = answer.find(kParts[i].first);
        const auto n = v ? numberOf(*v) : std::nullopt;
        if (!n || *n < 0 || *n >= kParts[i].second) return std::nullopt;
        parts[i] = static_cast<int>(*n);
    }
    const Value* drop = answer.find("tcDropFrame");
    const bool dropFrame = drop && drop->isNumber() && drop->number().boolValue();
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", parts[0], parts[1], parts[2],
                  dropFrame ? ';' : ':', parts[3]);
    return std::string(text);
}

}  // namespace

CameraModel fromRDD18(const Dictionary& answer) {
    CameraModel m;
    fill(m, kRdd18Rows, answer);
    if (const Value* v = answer.find("CameraWhiteBalanceModeItem")) {
        m.whiteBalanceMode = whiteBalanceMode(*v);
    }
    // Varicam: the clip name value, unless the clip info of the same frame flags it invalid.
    m.clipName = nonEmptyText(answer.find("VaricamClipNameValueItem"));
    if (const Value* info = answer.find("VaricamClipInfoValueItem"); info && info->isDictionary()) {
        const Value* valid = info->dictionary().find("clipNameValid");
        if (valid && valid->isNumber() && valid->number().uint64Value() == 0) m.clipName.reset();
    }
    m.sonyWhiteBalance = sonyWhiteBalance(answer);
    m.sonyDateTime = sonyDateTime(answer);
    m.sonyGpsLatitudeDeg =
        sonyGpsDegrees(answer, "Unknown_0x85_0x01", "Unknown_0x85_0x02", 'N', 'S', 90);
    m.sonyGpsLongitudeDeg =
        sonyGpsDegrees(answer, "Unknown_0x85_0x03", "Unknown_0x85_0x04", 'E', 'W', 180);
    return m;
}

CameraModel fromArri(const Dictionary& answer) {
    CameraModel m;
    fill(m, kArriRows, answer);
    if (const Value* nd = answer.find("NDFilter"); nd && nd->isDictionary()) {
        if (const Value* density = nd->dictionary().find("density")) {
            m.ndDensity = numberOf(*density);
        }
    }
    m.timecode = arriTimecode(answer);
    m.clipName = nonEmptyText(answer.find("clipName"));
    for (const auto& [key, member] : kArriIdentity) m.*member = nonEmptyText(answer.find(key));
    // The file header record is its camera maker's own format: the answer of a record (which
    // always has the camera model's key) names the maker.
    if (answer.find("cameraModel")) m.cameraMake = "ARRI";
    return m;
}

namespace {

// --- The inverse conversions, for the writer --------------------------------------------------

/// `n` rounded to an integer in [low, high], or nothing.
std::optional<std::int64_t> codeIn(double n, std::int64_t low, std::int64_t high) {
    const double r = std::round(n);
    if (!std::isfinite(r) || r < static_cast<double>(low) || r > static_cast<double>(high))
        return std::nullopt;
    return static_cast<std::int64_t>(r);
}

/// The value of the 16-bit lens decimal float nearest to `metres`, as a parse decodes it.
std::optional<Value> lensDecimal(double metres) {
    const detail::DecimalCodes codes = detail::decimalCodes(metres, true);
    std::optional<std::uint16_t> record = codes.exact;
    if (!record && codes.below && codes.above) {
        const auto valueOf = [](std::uint16_t r) {
            return HalfFloatLensSerial{
                {static_cast<unsigned char>(r >> 8), static_cast<unsigned char>(r)}}
                .value();
        };
        record = metres - valueOf(*codes.below) <= valueOf(*codes.above) - metres ? codes.below
                                                                                  : codes.above;
    }
    if (!record) return std::nullopt;
    return Number::doubleNumber(HalfFloatLensSerial{
        {static_cast<unsigned char>(*record >> 8), static_cast<unsigned char>(*record)}}
                                    .value());
}

Value rational(std::uint32_t num, std::uint32_t den) {
    return Dictionary{{"den", Number::unsignedInt(den)}, {"num", Number::unsignedInt(num)}};
}

std::optional<Value> frameRateRational(double hz) {
    const double ntsc = hz * 1.001;
    if (const auto n = codeIn(ntsc, 1, 4294967);
        n && std::fabs(ntsc - static_cast<double>(*n)) < 1e-3)
        return rational(static_cast<std::uint32_t>(*n * 1000), 1001);
    if (const auto n = codeIn(hz * 1000, 1, 0xFFFFFFFF))
        return rational(static_cast<std::uint32_t>(*n), 1000);
    return std::nullopt;
}

std::optional<Value> exposureRational(double seconds) {
    if (!(seconds > 0)) return std::nullopt;
    const double per = 1.0 / seconds;
    if (const auto n = codeIn(per, 1, 0xFFFFFFFF);
        n && std::fabs(per - static_cast<double>(*n)) < 1e-6 * per)
        return rational(1, static_cast<std::uint32_t>(*n));
    if (const auto n = codeIn(seconds * 1e6, 1, 0xFFFFFFFF))
        return rational(static_cast<std::uint32_t>(*n), 1000000);
    return std::nullopt;
}

/// An item of an integer code: `scale` x the field, rounded, in [low, high], as the kind `make`.
template <class Make>
std::optional<Value> scaled(double n, double scale, std::int64_t low, std::int64_t high,
                            Make make) {
    const auto c = codeIn(n * scale, low, high);
    if (!c) return std::nullopt;
    return Value(make(*c));
}

Number integerNumber(std::int64_t c) {
    return Number::integer(c);
}
Number shortNumber(std::int64_t c) {
    return Number::shortNumber(static_cast<std::int16_t>(c));
}

std::optional<Value> irisCode(double n) {
    if (!(n > 0)) return std::nullopt;
    return scaled(8.0 - std::log2(n), 8192.0, 0x2000, 0xFFFF, integerNumber);
}

}  // namespace

Dictionary toRDD18(const CameraModel& m) {
    std::vector<Dictionary::Entry> entries;
    const auto put = [&entries](std::string_view key, const std::optional<double>& field,
                                auto convert) {
        if (!field) return;
        if (std::optional<Value> v = convert(*field)) entries.emplace_back(key, std::move(*v));
    };
    const auto percent16 = [](double p) {
        return scaled(p, 65536.0 / 100.0, 0, 0xFFFF, integerNumber);
    };
    const auto millimetres = [](double mm) { return lensDecimal(shiftDecimal(mm, -3)); };
    const auto asCode = [](double n) { return scaled(n, 1.0, 0, 0xFFFF, integerNumber); };
    const auto tenths = [](double p) { return scaled(p, 10.0, 0, 0xFFFF, integerNumber); };
    put("LensIrisFNumberItem", m.irisFNumber, irisCode);
    put("LensIrisTNumberItem", m.irisTNumber, irisCode);
    put("LensIrisRingPositionItem", m.irisRingPositionPercent, percent16);
    put("LensFocusPositionFromImagePlaneItem", m.focusDistanceM, lensDecimal);
    put("LensFocusPositionFromFrontLensVertexItem", m.focusDistanceFromFrontVertexM, lensDecimal);
    put("LensZoomActualFocalLengthItem", m.focalLengthMm, millimetres);
    put("LensZoom35mmStillCameraEquivalentItem", m.focalLength35mmEquivalentMm, millimetres);
    put("LensZoomRingPositionItem", m.zoomRingPositionPercent, percent16);
    put("LensOpticalExtenderMagnificationItem", m.opticalExtenderMagnificationPercent, asCode);
    put("CameraImageSensorDimensionEffectiveWidthItem", m.sensorWidthMm,
        [](double mm) { return scaled(mm, 1000.0, 0, 0xFFFF, integerNumber); });
    put("CameraImageSensorDimensionEffectiveHeightItem", m.sensorHeightMm,
        [](double mm) { return scaled(mm, 1000.0, 0, 0xFFFF, integerNumber); });
    put("CameraCaptureFrameRateItem", m.captureFrameRateHz, frameRateRational);
    put("CameraShutterSpeedAngleItem", m.shutterAngleDeg, [](double deg) {
        return scaled(deg, 60.0, 1, 0xFFFFFFFF, [](std::int64_t c) {
            return Number::unsignedInt(static_cast<std::uint32_t>(c));
        });
    });
    put("CameraShutterSpeedTimeItem", m.shutterTimeS, exposureRational);
    put("CameraMasterGainAdjustmentItem", m.masterGainDb,
        [](double db) { return scaled(db, 100.0, -0x8000, 0x7FFF, shortNumber); });
    put("CameraISOSensitivityItem", m.iso, asCode);
    put("CameraExposureIndexOfPhotoMeterItem", m.exposureIndex, asCode);
    put("CameraElectricalExtenderMagnificationItem", m.electricalExtenderMagnificationPercent,
        asCode);
    put("CameraWhiteBalanceItem", m.whiteBalanceK, asCode);
    put("CameraMasterBlackLevelItem", m.blackLevelPercent,
        [](double p) { return scaled(p, 10.0, -0x8000, 0x7FFF, shortNumber); });
    put("CameraKneePointItem", m.kneePointPercent, tenths);
    put("CameraLuminanceDynamicRangeItem", m.dynamicRangePercent, tenths);
    if (m.whiteBalanceMode) {
        static constexpr std::array<std::string_view, 4> kModes{"preset", "auto", "hold",
                                                                "one push"};
        for (std::size_t i = 0; i < kModes.size(); ++i)
            if (kModes[i] == *m.whiteBalanceMode)
                entries.emplace_back("CameraWhiteBalanceModeItem",
                                     Number::integer(static_cast<std::int64_t>(i)));
    }
    return Dictionary::fromEntries(std::move(entries));
}

}  // namespace rdd18::interpret
