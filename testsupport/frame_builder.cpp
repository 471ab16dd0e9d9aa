#include "frame_builder.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace rdd18::testsupport {

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes be16(std::uint16_t v) {
    return {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
}

Bytes be32(std::uint32_t v) {
    return {static_cast<unsigned char>(v >> 24), static_cast<unsigned char>(v >> 16),
            static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
}

Bytes le16(std::uint16_t v) {
    return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
}

Bytes le32(std::uint32_t v) {
    return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
            static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
}

Bytes fileBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes text(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

Bytes rdd18Item(unsigned char tag1, unsigned char tag2, const Bytes& payload) {
    if (payload.size() > 0xFFFF) throw std::invalid_argument("RDD 18 payload over 65535 bytes");
    return rdd18ItemWithLength(tag1, tag2, static_cast<std::uint16_t>(payload.size()), payload);
}

Bytes rdd18ItemWithLength(unsigned char tag1, unsigned char tag2, std::uint16_t length,
                          const Bytes& payload) {
    return Bytes{tag1, tag2} + be16(length) + payload;
}

std::array<unsigned char, 16> rdd18PackKey() {
    return {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
            0x0C, 0x02, 0x01, 0x01, 0x01, 0x01, 0x00, 0x00};
}

Bytes rdd18Pack(const Bytes& items) {
    return rdd18Pack(items, rdd18PackKey());
}

Bytes rdd18Pack(const Bytes& items, const std::array<unsigned char, 16>& key,
                unsigned char lengthMarker) {
    const auto n = static_cast<std::uint32_t>(items.size());
    Bytes out(key.begin(), key.end());
    out.push_back(lengthMarker);
    out.push_back(static_cast<unsigned char>(n >> 16));
    out.push_back(static_cast<unsigned char>(n >> 8));
    out.push_back(static_cast<unsigned char>(n));
    return out + items;
}

Bytes rationalPayload(std::uint32_t numerator, std::uint32_t denominator) {
    return be32(numerator) + be32(denominator);
}

Bytes countedVector(std::uint32_t count, std::uint32_t elementSize, const Bytes& elements) {
    return be32(count) + be32(elementSize) + elements;
}

Bytes halfFloatLensSerial(unsigned exponentField, unsigned mantissa) {
    return {static_cast<unsigned char>(((exponentField & 0xF) << 4) | ((mantissa >> 8) & 0xF)),
            static_cast<unsigned char>(mantissa)};
}

Bytes halfFloat(bool negative, unsigned exponentField, unsigned mantissa) {
    return {static_cast<unsigned char>((negative ? 0x80 : 0) | ((exponentField & 0x1F) << 2) |
                                       ((mantissa >> 8) & 0x3)),
            static_cast<unsigned char>(mantissa)};
}

Bytes arriItem(const std::array<unsigned char, 16>& key, const Bytes& value, unsigned char marker) {
    const auto n = static_cast<std::uint32_t>(value.size());
    Bytes out(key.begin(), key.end());
    out.push_back(marker);
    out.push_back(static_cast<unsigned char>(n >> 16));
    out.push_back(static_cast<unsigned char>(n >> 8));
    out.push_back(static_cast<unsigned char>(n));
    return out + value;
}

ArriHeaderBuilder::ArriHeaderBuilder(unsigned char fill) : bytes_(4096, fill) {}

ArriHeaderBuilder& ArriHeaderBuilder::u8(std::size_t offset, std::uint8_t v) {
    bytes_.at(offset) = v;
    return *this;
}

ArriHeaderBuilder& ArriHeaderBuilder::u16(std::size_t offset, std::uint16_t v) {
    const Bytes b = le16(v);
    std::copy(b.begin(), b.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    return *this;
}

ArriHeaderBuilder& ArriHeaderBuilder::u32(std::size_t offset, std::uint32_t v) {
    const Bytes b = le32(v);
    std::copy(b.begin(), b.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    return *this;
}

ArriHeaderBuilder& ArriHeaderBuilder::f32(std::size_t offset, float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return u32(offset, bits);
}

ArriHeaderBuilder& ArriHeaderBuilder::textField(std::size_t offset, std::size_t width,
                                                std::string_view s) {
    for (std::size_t i = 0; i < width; ++i) bytes_.at(offset + i) = i < s.size() ? s[i] : 0;
    return *this;
}

std::uint8_t packetChecksum(std::uint8_t did, std::uint8_t sdid, const Bytes& payload) {
    unsigned sum = did + sdid + static_cast<unsigned>(payload.size());
    for (unsigned char b : payload) sum += b;
    return static_cast<std::uint8_t>(sum);
}

FrameBuilder& FrameBuilder::packet(std::uint8_t did, std::uint8_t sdid, const Bytes& payload) {
    return packetWithChecksum(did, sdid, payload, packetChecksum(did, sdid, payload));
}

FrameBuilder& FrameBuilder::packetWithChecksum(std::uint8_t did, std::uint8_t sdid,
                                               const Bytes& payload, std::uint8_t checksum) {
    if (payload.size() > 255) throw std::invalid_argument("packet payload over 255 bytes");
    if (flags_ == Flags::Standard) bytes_.insert(bytes_.end(), {0x00, 0xFF, 0xFF});
    if (flags_ == Flags::Alternate) bytes_.insert(bytes_.end(), {0x04, 0xFB, 0xFB});
    bytes_.insert(bytes_.end(), {did, sdid, static_cast<unsigned char>(payload.size())});
    bytes_.insert(bytes_.end(), payload.begin(), payload.end());
    bytes_.push_back(checksum);
    return *this;
}

FrameBuilder& FrameBuilder::raw(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

FrameBuilder& FrameBuilder::rdd18Packet(std::uint8_t sequence, const Bytes& streamBytes) {
    rdd18Sequence_ = sequence;
    return packet(0x43, 0x05, Bytes{sequence} + streamBytes);
}

FrameBuilder& FrameBuilder::rdd18Stream(const Bytes& stream, std::size_t perPacket) {
    if (perPacket < 1 || perPacket > 254) throw std::invalid_argument("1..254 stream bytes");
    for (std::size_t at = 0; at < stream.size(); at += perPacket) {
        const std::size_t n = std::min(perPacket, stream.size() - at);
        const auto first = stream.begin() + static_cast<std::ptrdiff_t>(at);
        rdd18Packet(static_cast<std::uint8_t>(rdd18Sequence_ + 1),
                    Bytes(first, first + static_cast<std::ptrdiff_t>(n)));
    }
    return *this;
}

FrameBuilder& FrameBuilder::arriPacket(std::uint8_t streamId, std::uint16_t sequence,
                                       const Bytes& streamBytes) {
    arriStreamId_ = streamId;
    arriSequence_ = sequence;
    return packet(0x44, 0x04, Bytes{streamId} + le16(sequence) + streamBytes);
}

FrameBuilder& FrameBuilder::arriStream(const Bytes& item, std::size_t perPacket, bool pad,
                                       std::uint8_t streamId) {
    if (perPacket < 1 || perPacket > 252) throw std::invalid_argument("1..252 stream bytes");
    if (streamId != arriStreamId_) arriSequence_ = 0;
    for (std::size_t at = 0; at < item.size(); at += perPacket) {
        const std::size_t n = std::min(perPacket, item.size() - at);
        const auto first = item.begin() + static_cast<std::ptrdiff_t>(at);
        Bytes chunk(first, first + static_cast<std::ptrdiff_t>(n));
        if (pad) chunk.resize(perPacket, 0);
        arriPacket(streamId, static_cast<std::uint16_t>(arriSequence_ + 1), chunk);
    }
    return *this;
}

}  // namespace rdd18::testsupport
