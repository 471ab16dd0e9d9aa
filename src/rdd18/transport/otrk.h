// OTrk datagrams: the framing that carries OpenTrackIO samples over UDP. Each datagram is a
// 16-byte big-endian header and one segment of the encoded sample:
//   0-3   "OTrk"
//   4     reserved (0)
//   5     encoding: 0x01 JSON, 0x02 CBOR (0x80 and up: a vendor's)
//   6-7   sequence number, one per datagram (each segment has its own)
//   8-11  the segment's offset in the sample's bytes
//   12-13 top bit: the last segment; the low 15 bits: the segment's length
//   14-15 Fletcher-16 (both sums mod 256) over bytes 0-13 and the segment
// Pure functions over bytes: sending them is the host's business.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "rdd18/export.h"

namespace rdd18::otrk {

inline constexpr std::size_t kHeaderSize = 16;
/// The most payload one datagram's length field can hold.
inline constexpr std::size_t kMaxSegment = 0x7FFF;
/// Segments of this many payload bytes make datagrams of 1,500 bytes, what common receivers read
/// at once.
inline constexpr std::size_t kDefaultSegment = 1484;

enum class Encoding : std::uint8_t { Json = 0x01, Cbor = 0x02 };

/// One datagram's header, as read.
struct Header {
    std::uint8_t encoding = 0;
    std::uint16_t sequence = 0;
    std::uint32_t offset = 0;
    bool last = true;
    std::uint16_t length = 0;  ///< the segment's bytes, at most `kMaxSegment`
    std::uint16_t checksum = 0;
};

/// Fletcher-16 with both sums mod 256 over `head` (a header's bytes 0-13) and then `segment`:
/// the second sum in the high byte.
VELMORA_RDD18_EXPORT std::uint16_t fletcher16(std::span<const unsigned char> head,
                                              std::span<const unsigned char> segment) noexcept;

/// The header of the datagram that carries `segment` (at most `kMaxSegment` bytes; of a longer
/// one, the length field holds the low 15 bits of its size and the checksum covers it whole).
VELMORA_RDD18_EXPORT std::array<unsigned char, kHeaderSize> header(
    std::uint8_t encoding, std::uint16_t sequence, std::uint32_t offset, bool last,
    std::span<const unsigned char> segment) noexcept;

/// The header of `datagram`, if it starts with "OTrk" and is 16 bytes or more long. Whether the
/// length and checksum agree with the bytes behind it is the reader's question (see `checksumOk`).
VELMORA_RDD18_EXPORT std::optional<Header> readHeader(
    std::span<const unsigned char> datagram) noexcept;

/// Whether `datagram` holds exactly the segment its header announces and the checksum over it.
VELMORA_RDD18_EXPORT bool checksumOk(std::span<const unsigned char> datagram) noexcept;

/// Cuts `sample` into segments of at most `segmentSize` bytes (1 to `kMaxSegment`, clamped) and
/// hands each datagram (header and segment, valid during the call) to `send`, numbered from
/// `sequence` on (wrapping after 65535). An empty sample is one datagram without payload. A
/// sample longer than 2^32 - 1 bytes, whose offsets the header can't hold, gives no datagram.
/// Returns the sequence number after the last datagram's.
VELMORA_RDD18_EXPORT std::uint16_t segment(
    std::span<const unsigned char> sample, Encoding encoding, std::uint16_t sequence,
    const std::function<void(std::span<const unsigned char>)>& send,
    std::size_t segmentSize = kDefaultSegment);

}  // namespace rdd18::otrk
