// Shared pieces of the fuzz targets: the exact-size input copy, the invariant check that aborts,
// packet-buffer rewriting (flags put on and taken off), and the conversions of answer numbers.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "rdd18/interpret/interpret.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"

/// Aborts with a message when an invariant is broken; libFuzzer and the replay driver both treat
/// the abort as a finding.
#define VELMORA_FUZZ_CHECK(cond) \
    ((cond) ? (void)0 : ::rdd18::fuzz::invariantBroken(#cond, __FILE__, __LINE__))

namespace rdd18::fuzz {

using Bytes = std::vector<unsigned char>;

[[noreturn]] inline void invariantBroken(const char* what, const char* file, int line) {
    std::fprintf(stderr, "invariant broken: %s (%s:%d)\n", what, file, line);
    std::fflush(stderr);
    std::abort();
}

/// The fuzzer's bytes copied into a heap block of exactly their size, so that AddressSanitizer
/// reports a read one byte past the end (libFuzzer's own buffer may have slack behind it).
class InputCopy {
  public:
    InputCopy(const std::uint8_t* data, std::size_t size)
        : bytes_(new unsigned char[size]), size_(size) {
        if (size) std::memcpy(bytes_.get(), data, size);
    }
    const unsigned char* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }
    std::span<const unsigned char> span() const noexcept { return {bytes_.get(), size_}; }
    /// Byte `i` counted from the end, or `fallback` when the input is shorter.
    unsigned char fromEnd(std::size_t i, unsigned char fallback = 0) const noexcept {
        return i < size_ ? bytes_[size_ - 1 - i] : fallback;
    }

  private:
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t size_;
};

// --- packet buffers ------------------------------------------------------------------------------

inline constexpr unsigned char kFlagStandard[3] = {0x00, 0xFF, 0xFF};
inline constexpr unsigned char kFlagAlternate[3] = {0x04, 0xFB, 0xFB};

inline bool isFlag(const unsigned char* p) noexcept {
    return std::memcmp(p, kFlagStandard, 3) == 0 || std::memcmp(p, kFlagAlternate, 3) == 0;
}

/// Bytes a packet takes in a buffer: [flag] DID SDID DC payload checksum.
inline std::size_t packetExtent(const utils::AncillaryPacket& p, bool flags) noexcept {
    return (flags ? 3u : 0u) + 3u + p.payloadSize() + 1u;
}

/// Offset of the first byte behind the packet (its checksum included) in the buffer at `base`.
inline std::size_t packetEnd(const unsigned char* base, const utils::AncillaryPacket& p) noexcept {
    return static_cast<std::size_t>(p.payload - base) + p.payloadSize() + 1u;
}

inline void appendPacket(Bytes& out, const utils::AncillaryPacket& p, int flag) {
    if (flag == 1) out.insert(out.end(), kFlagStandard, kFlagStandard + 3);
    if (flag == 2) out.insert(out.end(), kFlagAlternate, kFlagAlternate + 3);
    out.insert(out.end(), {p.did, p.sdid, p.size});
    out.insert(out.end(), p.payload, p.payload + p.payloadSize());
    out.push_back(p.checksum);
}

/// True when the walk took every byte of the buffer into a packet: no bad flag, no tail.
inline bool walkIsExact(const std::vector<utils::AncillaryPacket>& packets, std::size_t size,
                        bool flags) noexcept {
    std::size_t total = 0;
    for (const auto& p : packets) total += packetExtent(p, flags);
    return total == size;
}

/// The same packets written again, without flags (`flagChoice` 0) or each behind a flag; with a
/// non-zero `flagChoice` its bits pick the flag pattern of each packet in turn.
inline Bytes rewritePackets(const std::vector<utils::AncillaryPacket>& packets,
                            unsigned flagChoice) {
    Bytes out;
    unsigned bits = flagChoice;
    for (const auto& p : packets) {
        const int flag = flagChoice == 0 ? 0 : 1 + static_cast<int>(bits & 1u);
        bits = (bits >> 1) | ((bits & 1u) << 7);
        appendPacket(out, p, flag);
    }
    return out;
}

/// Every number of an answer converts to the integer and float types without undefined
/// behaviour (UndefinedBehaviorSanitizer watches the casts), truncated toward zero and
/// saturated, NaN as 0.
inline void checkConversions(const Value& v) {
    if (v.isArray()) {
        for (const Value& e : v.array()) checkConversions(e);
    } else if (v.isDictionary()) {
        for (const auto& entry : v.dictionary()) checkConversions(entry.second);
    } else if (v.isNumber() && v.number().isFloating()) {
        const double d = v.number().doubleValue();
        const std::int64_t i = v.number().int64Value();
        const std::uint64_t u = v.number().uint64Value();
        (void)v.number().floatValue();
        if (std::isnan(d)) VELMORA_FUZZ_CHECK(i == 0 && u == 0);
        if (std::fabs(d) < 0x1p62)
            VELMORA_FUZZ_CHECK(i == static_cast<std::int64_t>(std::trunc(d)));
        if (d >= 0x1p64) VELMORA_FUZZ_CHECK(u == UINT64_MAX && i == INT64_MAX);
        if (d <= -0x1p63) VELMORA_FUZZ_CHECK(u == 0 && i == INT64_MIN);
    }
}

/// The interpreted view of any answer: no field holds a NaN or an infinity, and the dictionary
/// form reads back to the same model.
inline void checkCameraModel(const interpret::CameraModel& model) {
    for (const auto& f : interpret::numberFields()) {
        if (const auto& v = model.*f.member) VELMORA_FUZZ_CHECK(std::isfinite(*v));
    }
    VELMORA_FUZZ_CHECK(interpret::fromDictionary(interpret::toDictionary(model)) == model);
}

}  // namespace rdd18::fuzz
