// The harness's own reading of ARRI ancillary data, from the wire format alone: the KLV loop over
// the ARRI stream (0x83 length marker, padding to the end of the packet behind each item), and
// the 4096-byte little-endian record typed out again as offset, key and conversion.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "model/stream_model.h"
#include "rdd18/platform/value.h"

namespace rdd18::fuzz::model {

inline constexpr unsigned char kMetadataKey[16] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x0D,
                                                   0x0E, 0x17, 0x00, 0x00, 0x00, 0x11, 0x01, 0x01};

struct Blob {
    ByteVec key;
    ByteVec value;
};

/// The values the filter keeps, or nothing on a broken key or length field. A kept value that the
/// stream can't hold whole ends the loop without it.
inline std::optional<std::vector<Blob>> blobs(const Stream& s,
                                              const std::function<bool(const ByteVec&)>& keep) {
    const ByteVec& b = s.bytes;
    std::vector<Blob> out;
    std::size_t pos = 0;
    while (pos < b.size()) {
        if (b.size() - pos < 20 || b[pos + 16] != 0x83) return std::nullopt;
        ByteVec key(b.begin() + static_cast<std::ptrdiff_t>(pos),
                    b.begin() + static_cast<std::ptrdiff_t>(pos + 16));
        const std::size_t length = bigEndian(&b[pos + 17], 3);
        pos += 20;
        if (keep(key)) {
            if (b.size() - pos < length) return out;
            out.push_back({std::move(key), ByteVec(&b[pos], &b[pos] + length)});
        }
        pos = s.restOfPacket(std::min(pos + length, b.size()));
    }
    return out;
}

inline bool isMetadataKey(const ByteVec& key) {
    return std::memcmp(key.data(), kMetadataKey, 16) == 0;
}

// --- the record ---------------------------------------------------------------------------------

inline std::uint32_t u32(const unsigned char* r, std::size_t at) {
    return littleEndian(r + at, 4);
}

inline float f32(const unsigned char* r, std::size_t at) {
    float f;
    const std::uint32_t bits = u32(r, at);
    std::memcpy(&f, &bits, 4);
    return f;
}

/// 0xFF first: unset, empty; else up to the first NUL within the field.
inline std::string text(const unsigned char* r, std::size_t at, std::size_t width) {
    if (r[at] == 0xFF) return {};
    std::size_t n = 0;
    while (n < width && r[at + n] != 0) ++n;
    return latin1(r + at, n);
}

/// The answer for a record of 4096 bytes.
inline Dictionary record(const unsigned char* r) {
    Dictionary d;
    const struct {
        const char* key;
        std::size_t at;
    } words[] = {{"rawImageWidth", 0x14},
                 {"rawImageHeight", 0x18},
                 {"activeImageLeft", 0x24},
                 {"activeImageTop", 0x28},
                 {"activeImageWidth", 0x2C},
                 {"activeImageHeight", 0x30},
                 {"whiteBalance", 0x5C},
                 {"wbAppliedInCamera", 0x70},
                 {"ASA", 0x74},
                 {"blackLevel", 0x78},
                 {"whiteLevel", 0x7C},
                 {"flip", 0xC8},
                 {"cameraInfoMainVoltage", 0x814},
                 {"cameraInfoOnBoardVoltage", 0x818}};
    for (const auto& w : words) d.set(w.key, Number::unsignedInt(u32(r, w.at)));
    const struct {
        const char* key;
        std::size_t at;
    } floats[] = {
        {"greenTintFactor", 0x60},     {"whiteBalanceFactorR", 0x64}, {"whiteBalanceFactorG", 0x68},
        {"whiteBalanceFactorB", 0x6C}, {"pixelAspectRatio", 0xC4},    {"cdlSlopeR", 0x100},
        {"cdlSlopeG", 0x104},          {"cdlSlopeB", 0x108},          {"cdlOffsetR", 0x10C},
        {"cdlOffsetG", 0x110},         {"cdlOffsetB", 0x114},         {"cdlPowerR", 0x118},
        {"cdlPowerG", 0x11C},          {"cdlPowerB", 0x120}};
    for (const auto& f : floats) d.set(f.key, Number::floatNumber(f32(r, f.at)));
    const struct {
        const char* key;
        std::size_t at;
    } thousandths[] = {{"shutterAngle", 0x190}, {"sensorFps", 0x1A0}, {"projectFps", 0x1A4}};
    for (const auto& t : thousandths)
        d.set(t.key, Number::floatNumber(static_cast<float>(u32(r, t.at)) / 1000.0f));
    const struct {
        const char* key;
        std::size_t at, width;
    } texts[] = {{"lookFile", 0xCC, 32},    {"cameraModel", 0x29C, 8}, {"recorderType", 0x2A4, 32},
                 {"supName", 0x2E0, 24},    {"reelName", 0x4F8, 8},    {"sceneName", 0x500, 16},
                 {"takeName", 0x510, 8},    {"director", 0x518, 32},   {"DoP", 0x538, 32},
                 {"production", 0x558, 32}, {"company", 0x578, 32},    {"clipNotes", 0x598, 256},
                 {"clipName", 0x698, 24}};
    for (const auto& t : texts) d.set(t.key, text(r, t.at, t.width));

    Array matrix;
    for (std::size_t i = 0; i < 12; ++i)
        matrix.push_back(Number::floatNumber(f32(r, 0x80 + 4 * i)));
    d.set("colorMatrix", std::move(matrix));
    d.set("firmwareVersion", std::to_string(u32(r, 0x16C)));
    d.set("serialNumber", std::to_string(static_cast<std::int32_t>(u32(r, 0x170))));
    d.set("cameraID",
          latin1(std::array<unsigned char, 4>{r[0x177], r[0x176], r[0x175], r[0x174]}.data(), 4));
    const char* tcKeys[] = {"tcFrames", "tcSeconds", "tcMinutes", "tcHours"};  // low byte first
    for (int i = 0; i < 4; ++i)
        d.set(tcKeys[i], Number::intNumber(10 * (r[0x1A8 + i] >> 4) + (r[0x1A8 + i] & 0xF)));
    d.set("tcDropFrame", Number::boolean((r[0x1B3] & 0x80) != 0));
    d.set(
        "NDFilter",
        Dictionary{
            {"type", Number::unsignedShort(static_cast<std::uint16_t>(littleEndian(r + 0x388, 2)))},
            {"density", Number::doubleNumber(littleEndian(r + 0x38A, 2) / 1000.0)}});

    const std::uint32_t focus = u32(r, 0x378), iris = u32(r, 0x384);
    if (focus != 0 && iris != 0xFFFFFFFF) {
        float metres = std::numeric_limits<float>::infinity();
        if (focus != 0xFFFFFFFF)
            metres = static_cast<float>(u32(r, 0x374) == 0 ? focus * 2.54 / 1000.0 / 100.0
                                                           : focus / 1000.0);
        const double stops[] = {0.7, 1.0, 1.4, 2.2, 2.8, 4.0, 5.6, 8.0, 11.0, 16.0, 22.0};
        d.set("lensDataFocusDistance", Number::floatNumber(metres));
        d.set("lensDataFocalLength", Number::doubleNumber(u32(r, 0x37C) / 1000.0 / 1000.0));
        d.set("lensDataApertureTstop",
              Number::doubleNumber(iris / 1000 < 11 ? stops[iris / 1000]
                                                    : std::numeric_limits<double>::quiet_NaN()));
        // Hundreds of the remainder, halves away from zero: (r + 50) / 100 for r below 1000.
        d.set("lensDataApertureSecondValue", Number::unsignedLong((iris % 1000 + 50) / 100));
        d.set("lensModel", text(r, 0x398, 32));
    }
    const struct {
        const char* key;
        std::size_t at;
    } vfx[] = {{"vfxInfoPan", 0x458}, {"vfxInfoTilt", 0x45C}, {"vfxInfoRoll", 0x460}};
    for (const auto& v : vfx) {
        if (u32(r, v.at) == 0xFFFFFFFF) continue;
        d.set(v.key, Number::doubleNumber(static_cast<std::int16_t>(u32(r, v.at) & 0xFFFF) / 10.0));
    }
    return d;
}

/// The facade's answer: the first metadata value, when it holds a whole record.
inline Dictionary answer(std::span<const unsigned char> buffer, bool flags) {
    const auto kept = blobs(arriStream(walk(buffer, flags)), isMetadataKey);
    if (!kept || kept->empty() || kept->front().value.size() < 4096) return {};
    return record(kept->front().value.data());
}

}  // namespace rdd18::fuzz::model
