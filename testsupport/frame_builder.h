// Builds ancillary frame buffers for tests, benchmarks, fuzz seeds and the bundled samples:
// RDD 18 items and packs, ARRI KLV items and file header records, and packets with or without the
// 3-byte flag, with chosen sequence numbers, packet sizes, foreign packets and rubbish.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace rdd18::testsupport {

using Bytes = std::vector<unsigned char>;

Bytes operator+(Bytes a, const Bytes& b);

/// The bytes of the file at `path`; empty when it can't be read.
Bytes fileBytes(const std::filesystem::path& path);

// --- RDD 18 stream -----------------------------------------------------------------------------

Bytes be16(std::uint16_t v);
Bytes be32(std::uint32_t v);
Bytes le16(std::uint16_t v);
Bytes le32(std::uint32_t v);
Bytes text(std::string_view s);  ///< the bytes of `s`, no terminator

/// One item: tag bytes, 16-bit big-endian length = payload size, payload.
Bytes rdd18Item(unsigned char tag1, unsigned char tag2, const Bytes& payload);
/// One item whose length field says `length`, whatever the payload holds.
Bytes rdd18ItemWithLength(unsigned char tag1, unsigned char tag2, std::uint16_t length,
                          const Bytes& payload);

/// The default pack key: 06 0E 2B 34 followed by the 12 bytes of an acquisition metadata label.
std::array<unsigned char, 16> rdd18PackKey();
/// A pack: key, length field (marker byte, then 24-bit big-endian length of `items`), items.
Bytes rdd18Pack(const Bytes& items);
Bytes rdd18Pack(const Bytes& items, const std::array<unsigned char, 16>& key,
                unsigned char lengthMarker = 0x83);

/// Payload encoders.
Bytes rationalPayload(std::uint32_t numerator, std::uint32_t denominator);
/// Counted vector: count, element size, then the elements as given.
Bytes countedVector(std::uint32_t count, std::uint32_t elementSize, const Bytes& elements);
/// A 16-bit decimal float record of the lens format: exponent field (4 bits) and 12-bit mantissa.
Bytes halfFloatLensSerial(unsigned exponentField, unsigned mantissa);
/// A 16-bit decimal float record of the signed format: sign, exponent field (5 bits), mantissa.
Bytes halfFloat(bool negative, unsigned exponentField, unsigned mantissa);

// --- ARRI --------------------------------------------------------------------------------------

inline constexpr std::array<unsigned char, 16> kArriMetadataKey = {
    0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x0D, 0x0E, 0x17, 0x00, 0x00, 0x00, 0x11, 0x01, 0x01};
inline constexpr std::array<unsigned char, 16> kArriLUTKey = {
    0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x0D, 0x0E, 0x17, 0x00, 0x00, 0x00, 0xA1, 0x01, 0x01};

/// One ARRI KLV item: key, 0x83 (or `marker`), 24-bit big-endian length, value.
Bytes arriItem(const std::array<unsigned char, 16>& key, const Bytes& value,
               unsigned char marker = 0x83);

/// A 4096-byte ARRI file header record, little-endian, written field by field.
class ArriHeaderBuilder {
  public:
    explicit ArriHeaderBuilder(unsigned char fill = 0x00);
    ArriHeaderBuilder& u8(std::size_t offset, std::uint8_t v);
    ArriHeaderBuilder& u16(std::size_t offset, std::uint16_t v);
    ArriHeaderBuilder& u32(std::size_t offset, std::uint32_t v);
    ArriHeaderBuilder& f32(std::size_t offset, float v);
    /// Text of at most `width` bytes, NUL-padded to `width` when shorter.
    ArriHeaderBuilder& textField(std::size_t offset, std::size_t width, std::string_view s);
    const Bytes& bytes() const { return bytes_; }

  private:
    Bytes bytes_;
};

/// `record` as an ARRIRAW frame file: the magic "ARRI" over its first 4 bytes, `picture` behind.
inline Bytes ariFile(Bytes record, std::size_t picture) {
    return Bytes{'A', 'R', 'R', 'I'} + Bytes(record.begin() + 4, record.end()) +
           Bytes(picture, 0x5A);
}

// --- Packets -----------------------------------------------------------------------------------

/// The checksum byte a sender computes in 8-bit form: DID + SDID + DC + all payload bytes, mod 256.
std::uint8_t packetChecksum(std::uint8_t did, std::uint8_t sdid, const Bytes& payload);

/// Which 3-byte flag precedes each packet, if any.
enum class Flags { None, Standard /* 00 FF FF */, Alternate /* 04 FB FB */ };

/// Builds one frame's packet buffer, packet by packet, in buffer order.
class FrameBuilder {
  public:
    explicit FrameBuilder(Flags flags = Flags::Standard) : flags_(flags) {}

    /// Any packet; payload up to 255 bytes, the checksum a sender would compute.
    FrameBuilder& packet(std::uint8_t did, std::uint8_t sdid, const Bytes& payload);
    /// A packet with a chosen checksum byte.
    FrameBuilder& packetWithChecksum(std::uint8_t did, std::uint8_t sdid, const Bytes& payload,
                                     std::uint8_t checksum);
    /// Bytes as they are: rubbish, a truncated packet, a bad flag.
    FrameBuilder& raw(const Bytes& bytes);

    /// One RDD 18 packet (DID 0x43, SDID 0x05) with this sequence number and up to 254 stream
    /// bytes.
    FrameBuilder& rdd18Packet(std::uint8_t sequence, const Bytes& streamBytes);
    /// The stream split into RDD 18 packets of at most `perPacket` stream bytes (1..254), numbered
    /// on from the last RDD 18 packet this builder made (1 for the first).
    FrameBuilder& rdd18Stream(const Bytes& stream, std::size_t perPacket = 254);

    /// One ARRI packet (DID 0x44, SDID 0x04): stream id, 16-bit little-endian sequence number,
    /// up to 252 stream bytes.
    FrameBuilder& arriPacket(std::uint8_t streamId, std::uint16_t sequence,
                             const Bytes& streamBytes);
    /// One ARRI KLV item split into packets of `perPacket` stream bytes (1..252), the last packet
    /// padded with zeros to full size when `pad` is true. Numbered on from the last ARRI packet
    /// of this builder under stream id `streamId`.
    FrameBuilder& arriStream(const Bytes& item, std::size_t perPacket = 252, bool pad = true,
                             std::uint8_t streamId = 1);

    const Bytes& bytes() const { return bytes_; }

  private:
    Flags flags_;
    Bytes bytes_;
    std::uint8_t rdd18Sequence_ = 0;
    std::uint16_t arriSequence_ = 0;
    std::uint8_t arriStreamId_ = 0;
};

}  // namespace rdd18::testsupport
