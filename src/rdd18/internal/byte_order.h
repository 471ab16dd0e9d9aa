// Byte order of the wire formats, in one place (internal, not installed).
//   Big-endian:    RDD 18 numbers, RDD 18 item lengths, KLV value lengths of both streams,
//                  ST 436M element fields and 10-bit sample words, RFC 8331 payloads.
//   Little-endian: the ARRI file header record, ARRI packet sequence numbers (read in the
//                  public arri_stream_reader.h, so that the stream join inlines it), v210 words
//                  and the 8-byte loads of the 8-bit checksum's byte lanes.
// Loads and stores go byte by byte: no unaligned access, no dependence on the host's byte order.
#pragma once

#include <cstdint>

namespace rdd18::internal {

constexpr std::uint16_t loadBigEndian16(const unsigned char* p) noexcept {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

constexpr std::uint32_t loadBigEndian24(const unsigned char* p) noexcept {
    return (std::uint32_t{p[0]} << 16) | (std::uint32_t{p[1]} << 8) | std::uint32_t{p[2]};
}

constexpr std::uint32_t loadBigEndian32(const unsigned char* p) noexcept {
    return (std::uint32_t{p[0]} << 24) | loadBigEndian24(p + 1);
}

constexpr std::uint64_t loadBigEndian64(const unsigned char* p) noexcept {
    return (std::uint64_t{loadBigEndian32(p)} << 32) | loadBigEndian32(p + 4);
}

constexpr std::uint16_t loadLittleEndian16(const unsigned char* p) noexcept {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

constexpr std::uint32_t loadLittleEndian32(const unsigned char* p) noexcept {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
           (std::uint32_t{p[3]} << 24);
}

constexpr std::uint64_t loadLittleEndian64(const unsigned char* p) noexcept {
    return std::uint64_t{loadLittleEndian32(p)} | (std::uint64_t{loadLittleEndian32(p + 4)} << 32);
}

constexpr void storeBigEndian16(unsigned char* p, std::uint16_t v) noexcept {
    p[0] = static_cast<unsigned char>(v >> 8);
    p[1] = static_cast<unsigned char>(v);
}

constexpr void storeBigEndian32(unsigned char* p, std::uint32_t v) noexcept {
    storeBigEndian16(p, static_cast<std::uint16_t>(v >> 16));
    storeBigEndian16(p + 2, static_cast<std::uint16_t>(v));
}

constexpr void storeLittleEndian16(unsigned char* p, std::uint16_t v) noexcept {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

constexpr void storeLittleEndian32(unsigned char* p, std::uint32_t v) noexcept {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

/// KLV length field of 4 bytes as both streams write it: a BER long-form marker (0x83) followed by
/// a 24-bit big-endian length. Only the 3 length bytes are read here; whether the marker is checked
/// is the caller's rule.
constexpr std::uint32_t klvLength(const unsigned char* field) noexcept {
    return loadBigEndian24(field + 1);
}
inline constexpr unsigned char kKlvLengthMarker = 0x83;

/// The first 4 bytes of a SMPTE universal label: the start of every pack key.
inline constexpr unsigned char kUniversalLabelHeader[4] = {0x06, 0x0E, 0x2B, 0x34};

}  // namespace rdd18::internal
