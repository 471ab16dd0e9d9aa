// The 8-bit sum of bytes (the checksum of an ancillary packet's 8-bit form), a block at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rdd18/internal/byte_order.h"

namespace rdd18::internal {

/// The sum of the 8 bytes of `x`, mod 256: byte pairs added in 16-bit lanes, the lanes added by
/// one multiplication into the top lane (no lane sum reaches 65,536, so nothing carries into it).
constexpr std::uint8_t byteSum(std::uint64_t x) noexcept {
    constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FFu;
    const std::uint64_t pairs = (x & kEvenBytes) + (x >> 8 & kEvenBytes);
    return static_cast<std::uint8_t>(pairs * 0x0001000100010001u >> 48);
}

/// Bytes summed as one block: a fixed count, so that compilers run each block on whole vectors at
/// -O2 as well as at -O3.
inline constexpr std::size_t kSumBlock = 16;

/// The sum of `count` bytes, mod 256 (the 8-bit checksum): whole blocks of 16 in byte lanes, then
/// the last 16 bytes once more with those already counted masked off, rather than a byte-by-byte
/// tail.
inline std::uint8_t sumBytes(const unsigned char* bytes, std::size_t count) noexcept {
    const std::size_t whole = count - count % kSumBlock;
    std::uint8_t sum = 0;
    for (std::size_t k = 0; k < whole; ++k) sum = static_cast<std::uint8_t>(sum + bytes[k]);
    std::size_t k = whole;
    if (k == count) return sum;
    if (count < kSumBlock) {
        for (; k < count; ++k) sum = static_cast<std::uint8_t>(sum + bytes[k]);
        return sum;
    }
    // Byte i of the last block sits at bits 8i of a little-endian load, so the counted bytes are
    // the low ones.
    const auto counted = static_cast<unsigned>(kSumBlock - (count - k));  // 1 to 15
    std::uint64_t low = loadLittleEndian64(bytes + count - kSumBlock);
    std::uint64_t high = loadLittleEndian64(bytes + count - kSumBlock + 8);
    if (counted >= 8) {
        low = 0;
        high &= ~std::uint64_t{0} << (8 * (counted - 8));
    } else {
        low &= ~std::uint64_t{0} << (8 * counted);
    }
    return static_cast<std::uint8_t>(sum + byteSum(low) + byteSum(high));
}

}  // namespace rdd18::internal
