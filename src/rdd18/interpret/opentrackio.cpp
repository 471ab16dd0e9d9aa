#include "rdd18/interpret/opentrackio.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

namespace rdd18::interpret::opentrackio {

namespace {

constexpr double kMaxNum = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kMaxTextLength = 1023;  // characters, as the protocol's strings allow

// --- SHA-1 (FIPS 180-4), only for name-based UUIDs ----------------------------------------------

std::uint32_t rotl(std::uint32_t x, int n) {
    return (x << n) | (x >> (32 - n));
}

std::array<unsigned char, 20> sha1(std::string_view message) {
    std::uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    std::string padded(message);
    padded.push_back(static_cast<char>(0x80));
    while (padded.size() % 64 != 56) padded.push_back('\0');
    const std::uint64_t bits = static_cast<std::uint64_t>(message.size()) * 8;
    for (int i = 7; i >= 0; --i) padded.push_back(static_cast<char>(bits >> (8 * i)));
    for (std::size_t block = 0; block < padded.size(); block += 64) {
        std::uint32_t w[80];
        for (int t = 0; t < 16; ++t) {
            const auto* p = reinterpret_cast<const unsigned char*>(padded.data() + block + 4 * t);
            w[t] = std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 |
                   std::uint32_t{p[2]} << 8 | p[3];
        }
        for (int t = 16; t < 80; ++t) w[t] = rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
        for (int t = 0; t < 80; ++t) {
            std::uint32_t f, k;
            if (t < 20) {
                f = (b & c) | (~b & d), k = 0x5A827999;
            } else if (t < 40) {
                f = b ^ c ^ d, k = 0x6ED9EBA1;
            } else if (t < 60) {
                f = (b & c) | (b & d) | (c & d), k = 0x8F1BBCDC;
            } else {
                f = b ^ c ^ d, k = 0xCA62C1D6;
            }
            const std::uint32_t next = rotl(a, 5) + f + e + k + w[t];
            e = d, d = c, c = rotl(b, 30), b = a, a = next;
        }
        h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e;
    }
    std::array<unsigned char, 20> digest{};
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<unsigned char>(h[i / 4] >> (24 - 8 * (i % 4)));
    return digest;
}

// The namespace of this library's source ids (a fixed random UUID).
constexpr std::array<unsigned char, 16> kSourceSpace{
    0x51, 0x78, 0x4b, 0x9d, 0x6d, 0xd3, 0x4b, 0x68, 0x85, 0x43, 0xb9, 0x53, 0xd0, 0xe5, 0x90, 0x61};

// The 16 bytes of "urn:uuid:xxxxxxxx-xxxx-..." (or of the bare text); zeros where the text isn't
// one.
std::array<unsigned char, 16> uuidBytes(std::string_view text) {
    if (text.starts_with("urn:uuid:")) text.remove_prefix(9);
    std::array<unsigned char, 16> bytes{};
    std::size_t n = 0;
    int high = -1;
    for (const char ch : text) {
        int v = -1;
        if (ch >= '0' && ch <= '9') v = ch - '0';
        if (ch >= 'a' && ch <= 'f') v = ch - 'a' + 10;
        if (v < 0 || n == bytes.size()) continue;
        if (high < 0) {
            high = v;
        } else {
            bytes[n++] = static_cast<unsigned char>(high << 4 | v);
            high = -1;
        }
    }
    return bytes;
}

// --- Values in the protocol's ranges ------------------------------------------------------------

std::optional<double> above0(std::optional<double> v) {
    if (!v || !(*v > 0) || !std::isfinite(*v)) return std::nullopt;
    return v;
}

std::optional<std::uint32_t> wholeFrom1(std::optional<double> v) {
    if (!v || !(*v >= 0.5) || *v >= 4294967295.5) return std::nullopt;
    return static_cast<std::uint32_t>(std::llround(*v));
}

// A text of 1 to 1023 characters (UTF-8 sequences count once).
std::optional<std::string> protocolText(const std::optional<std::string>& text) {
    if (!text || text->empty()) return std::nullopt;
    std::size_t characters = 0;
    for (const char c : *text) characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    if (characters > kMaxTextLength) return std::nullopt;
    return text;
}

// A ring position (0 to 100 %, the 16-bit code over 65536) as the encoder's 0 to 1 and its code.
void ring(std::optional<double> percent, std::optional<double>& normalised,
          std::optional<std::uint32_t>& raw) {
    if (!percent || !(*percent >= 0) || !(*percent < 100)) return;
    normalised = *percent / 100;
    raw = static_cast<std::uint32_t>(std::llround(*percent / 100 * 65536));
}

std::optional<Dimensions> dimensions(std::optional<double> width, std::optional<double> height,
                                     bool whole) {
    if (!above0(width) || !above0(height)) return std::nullopt;
    if (whole && (*width != std::floor(*width) || *height != std::floor(*height) ||
                  *width > kMaxNum || *height > kMaxNum))
        return std::nullopt;
    return Dimensions{*width, *height};
}

// "HH:MM:SS:FF", with ';' (or '.') before the frames for drop frame, each part in range.
std::optional<Timecode> timecodeOf(const std::string& text, Rational rate) {
    int h = 0, m = 0, s = 0, f = 0;
    char sep = 0;
    int used = 0;
    if (std::sscanf(text.c_str(), "%2d:%2d:%2d%c%3d%n", &h, &m, &s, &sep, &f, &used) != 5 ||
        static_cast<std::size_t>(used) != text.size())
        return std::nullopt;
    if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59 || f < 0 || f > 119)
        return std::nullopt;
    if (sep != ':' && sep != ';' && sep != '.') return std::nullopt;
    return Timecode{h, m, s, f, rate, sep != ':'};
}

// --- The document ---------------------------------------------------------------------------

Value number(double v) {
    return Number::doubleNumber(v);
}

Value number(std::uint32_t v) {
    return Number::unsignedInt(v);
}

Value number(const std::string& v) {
    return v;
}

Value number(const Rational& r) {
    return Dictionary{{"num", Number::unsignedInt(r.num)}, {"denom", Number::unsignedInt(r.denom)}};
}

Value number(const Dimensions& d) {
    return Dictionary{{"width", Number::doubleNumber(d.width)},
                      {"height", Number::doubleNumber(d.height)}};
}

// Sets `key` to the value of `v`, if it holds one.
template <class T>
void put(Dictionary& d, const char* key, const std::optional<T>& v) {
    if (v) d.set(key, number(*v));
}

void put(Dictionary& d, const char* key, Dictionary block) {
    if (!block.empty()) d.set(key, std::move(block));
}

template <class E>
Dictionary encoders(const E& e) {
    Dictionary d;
    put(d, "focus", e.focus);
    put(d, "iris", e.iris);
    put(d, "zoom", e.zoom);
    return d;
}

Dictionary lensDictionary(const Lens& l) {
    Dictionary d;
    put(d, "focusDistance", l.focusDistance);
    put(d, "fStop", l.fStop);
    put(d, "tStop", l.tStop);
    put(d, "pinholeFocalLength", l.pinholeFocalLength);
    put(d, "encoders", encoders(l.encoders));
    put(d, "rawEncoders", encoders(l.rawEncoders));
    return d;
}

Dictionary staticDictionary(const Static& s) {
    Dictionary camera, lens, block;
    const StaticCamera& c = s.camera;
    put(camera, "captureFrameRate", c.captureFrameRate);
    put(camera, "activeSensorPhysicalDimensions", c.activeSensorPhysicalDimensions);
    if (c.activeSensorResolution)
        camera.set("activeSensorResolution",
                   Dictionary{{"width", Number::unsignedInt(static_cast<std::uint32_t>(
                                            c.activeSensorResolution->width))},
                              {"height", Number::unsignedInt(static_cast<std::uint32_t>(
                                             c.activeSensorResolution->height))}});
    put(camera, "make", c.make);
    put(camera, "model", c.model);
    put(camera, "serialNumber", c.serialNumber);
    put(camera, "firmwareVersion", c.firmwareVersion);
    put(camera, "isoSpeed", c.isoSpeed);
    put(camera, "shutterAngle", c.shutterAngle);
    put(camera, "anamorphicSqueeze", c.anamorphicSqueeze);
    put(lens, "make", s.lens.make);
    put(lens, "model", s.lens.model);
    put(lens, "serialNumber", s.lens.serialNumber);
    put(lens, "firmwareVersion", s.lens.firmwareVersion);
    put(lens, "nominalFocalLength", s.lens.nominalFocalLength);
    put(block, "camera", std::move(camera));
    put(block, "lens", std::move(lens));
    return block;
}

}  // namespace

Dictionary sampleDictionary(const Sample& s) {
    Array version;
    for (const std::uint32_t part : kProtocolVersion)
        version.emplace_back(Number::unsignedInt(part));
    Dictionary d{{"protocol", Dictionary{{"name", std::string(kProtocolName)},
                                         {"version", std::move(version)}}},
                 {"sampleId", s.sampleId},
                 {"sourceId", s.sourceId},
                 {"sourceNumber", Number::unsignedInt(s.sourceNumber)}};
    Dictionary timing{{"sequenceNumber", Number::unsignedInt(s.timing.sequenceNumber)}};
    put(timing, "sampleRate", s.timing.sampleRate);
    if (const auto& tc = s.timing.timecode)
        timing.set("timecode", Dictionary{{"hours", Number::intNumber(tc->hours)},
                                          {"minutes", Number::intNumber(tc->minutes)},
                                          {"seconds", Number::intNumber(tc->seconds)},
                                          {"frames", Number::intNumber(tc->frames)},
                                          {"frameRate", number(tc->frameRate)},
                                          {"dropFrame", Number::boolean(tc->dropFrame)}});
    d.set("timing", std::move(timing));
    if (s.lens) d.set("lens", lensDictionary(*s.lens));
    if (s.staticData) d.set("static", staticDictionary(*s.staticData));
    return d;
}

std::optional<Rational> rateOf(double hertz) {
    if (!std::isfinite(hertz) || hertz <= 0 || hertz > kMaxNum) return std::nullopt;
    const double whole = std::round(hertz);
    if (whole >= 1 && std::abs(hertz - whole) < 1e-9 * hertz)
        return Rational{static_cast<std::uint32_t>(whole), 1};
    const double ntsc = std::round(hertz * 1.001);
    if (ntsc >= 1 && ntsc * 1000 <= kMaxNum && std::abs(hertz - ntsc * 1000 / 1001) < 0.0005)
        return Rational{static_cast<std::uint32_t>(ntsc * 1000), 1001};
    const double thousandths = std::round(hertz * 1000);
    if (thousandths < 1 || thousandths > kMaxNum) return std::nullopt;
    const auto num = static_cast<std::uint32_t>(thousandths);
    const std::uint32_t divisor = std::gcd(num, 1000u);
    return Rational{num / divisor, 1000 / divisor};
}

std::uint32_t staticPeriod(std::optional<Rational> rate) noexcept {
    if (!rate || rate->denom == 0) return 48;
    const double period = std::round(2.0 * rate->num / rate->denom);
    return period < 1 ? 1 : static_cast<std::uint32_t>(std::min(period, 4294967295.0));
}

std::string uuidFromName(const std::array<unsigned char, 16>& space, std::string_view name) {
    std::string message(reinterpret_cast<const char*>(space.data()), space.size());
    message.append(name);
    auto digest = sha1(message);
    digest[6] = static_cast<unsigned char>((digest[6] & 0x0F) | 0x50);  // version 5
    digest[8] = static_cast<unsigned char>((digest[8] & 0x3F) | 0x80);  // the RFC 4122 variant
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
        text.push_back(kHex[digest[i] >> 4]);
        text.push_back(kHex[digest[i] & 0x0F]);
    }
    return text;
}

std::string sourceIdFor(std::string_view inputName) {
    return "urn:uuid:" + uuidFromName(kSourceSpace, inputName);
}

Sample makeSample(const CameraModel& m, const SampleContext& context) {
    Sample s;
    s.sourceId = context.sourceId;
    s.sampleId =
        "urn:uuid:" + uuidFromName(uuidBytes(context.sourceId), std::to_string(context.index));
    s.sourceNumber = context.sourceNumber;

    s.timing.sampleRate = context.rate;
    for (const auto& hz : {m.projectFrameRateHz, m.captureFrameRateHz})
        if (!s.timing.sampleRate && hz) s.timing.sampleRate = rateOf(*hz);
    s.timing.sequenceNumber = static_cast<std::uint32_t>(context.index);
    if (const auto& text = context.timecode ? context.timecode : m.timecode;
        text && s.timing.sampleRate)
        s.timing.timecode = timecodeOf(*text, *s.timing.sampleRate);

    Lens lens;
    lens.focusDistance = above0(m.focusDistanceM);
    lens.fStop = above0(m.irisFNumber);
    lens.tStop = above0(m.irisTNumber);
    lens.pinholeFocalLength = above0(m.focalLengthMm);
    ring(m.irisRingPositionPercent, lens.encoders.iris, lens.rawEncoders.iris);
    ring(m.zoomRingPositionPercent, lens.encoders.zoom, lens.rawEncoders.zoom);
    if (lens != Lens{}) s.lens = lens;

    if (!context.withStatic) return s;
    Static block;
    StaticCamera& camera = block.camera;
    if (m.captureFrameRateHz) camera.captureFrameRate = rateOf(*m.captureFrameRateHz);
    camera.activeSensorPhysicalDimensions = dimensions(m.sensorWidthMm, m.sensorHeightMm, false);
    camera.activeSensorResolution = dimensions(m.activeImageWidthPx, m.activeImageHeightPx, true);
    camera.make = protocolText(m.cameraMake);
    camera.model = protocolText(m.cameraModelName);
    camera.serialNumber = protocolText(m.cameraSerialNumber);
    camera.firmwareVersion = protocolText(m.cameraFirmwareVersion);
    camera.isoSpeed = wholeFrom1(m.iso);
    if (m.shutterAngleDeg && *m.shutterAngleDeg >= 0 && *m.shutterAngleDeg <= 360)
        camera.shutterAngle = m.shutterAngleDeg;
    if (const auto squeeze = above0(m.pixelAspectRatio))
        camera.anamorphicSqueeze = rateOf(*squeeze);
    block.lens.model = protocolText(m.lensModelName);
    if (block != Static{}) s.staticData = block;
    return s;
}

}  // namespace rdd18::interpret::opentrackio
