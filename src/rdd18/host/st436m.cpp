#include "rdd18/host/st436m.h"

#include "rdd18/host/word_scan.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::host {

namespace {

using internal::loadBigEndian16;
using internal::loadBigEndian32;

// Offsets inside a packet header.
constexpr std::size_t kLineAt = 0, kWrappingAt = 2, kCodingAt = 3, kSamplesAt = 4,
                      kArrayCountAt = 6, kElementSizeAt = 10;

enum class Coding { Vbi, EightBit, TenBit, Unknown };

Coding codingKind(std::uint8_t coding) noexcept {
    if (coding >= 1 && coding <= 3) return Coding::Vbi;
    if ((coding >= 4 && coding <= 6) || (coding >= 10 && coding <= 12)) return Coding::EightBit;
    if (coding >= 7 && coding <= 9) return Coding::TenBit;
    return Coding::Unknown;
}

// The samples of one packet payload, 8 or 10 bits each.
class Samples {
  public:
    Samples(const unsigned char* payload, std::size_t count, bool tenBit)
        : payload_(payload), count_(count), tenBit_(tenBit) {}

    std::size_t size() const noexcept { return count_; }

    // Bytes the samples take in the payload: three 10-bit samples per 4-byte word.
    std::uint64_t bytesNeeded() const noexcept {
        return tenBit_ ? (std::uint64_t{count_} + 2) / 3 * 4 : count_;
    }

    std::uint16_t operator[](std::size_t i) const noexcept {
        if (!tenBit_) return payload_[i];
        const std::uint32_t word = loadBigEndian32(payload_ + i / 3 * 4);
        return static_cast<std::uint16_t>((word >> (22 - 10 * (i % 3))) & 0x3FFu);
    }

  private:
    const unsigned char* payload_;
    std::size_t count_;
    bool tenBit_;
};

// The packet in `samples`, or the fault that drops it.
std::optional<St436mFault> readPacket(const Samples& samples, bool tenBit, St436mPacket& packet) {
    if (samples.size() < 3) return St436mFault::PacketTooShort;
    const std::size_t dc = samples[2] & 0xFFu;
    if (samples.size() < 3 + dc) return St436mFault::PacketTooShort;
    if (tenBit) {
        for (std::size_t i = 0; i < 3; ++i) {
            if (samples[i] != withParity(static_cast<std::uint8_t>(samples[i])))
                return St436mFault::BadParity;
        }
        if (samples.size() >= 4 + dc) {
            unsigned sum = 0;
            for (std::size_t i = 0; i < 3 + dc; ++i) sum += samples[i] & 0x1FFu;
            if (samples[3 + dc] != detail::checksumFromSum(sum)) return St436mFault::BadChecksum;
        }
    }
    packet.did = static_cast<std::uint8_t>(samples[0]);
    packet.sdid = static_cast<std::uint8_t>(samples[1]);
    packet.udw.resize(dc);
    for (std::size_t i = 0; i < dc; ++i) packet.udw[i] = static_cast<unsigned char>(samples[3 + i]);
    return std::nullopt;
}

}  // namespace

std::uint64_t st436mPayloadSize(const unsigned char* packetHeader) noexcept {
    return std::uint64_t{loadBigEndian32(packetHeader + kArrayCountAt)} *
           loadBigEndian32(packetHeader + kElementSizeAt);
}

std::vector<unsigned char> flaggedBuffer(std::span<const St436mPacket> packets) {
    std::vector<unsigned char> out;
    for (const Packet& p : packets) appendAncillaryBuffer({&p, 1}, out);
    return out;
}

St436mElement readSt436mElement(std::span<const unsigned char> element) {
    St436mElement result;
    if (element.empty()) return result;
    if (element.size() < kSt436mCountSize) {
        result.drops.push_back({0, 0, 0, St436mFault::CountBeyondData});
        return result;
    }
    const std::size_t count = loadBigEndian16(element.data());
    std::size_t at = kSt436mCountSize;
    for (std::size_t index = 0; index < count; ++index) {
        if (element.size() - at < kSt436mPacketHeaderSize) {
            result.drops.push_back({index, 0, 0, St436mFault::CountBeyondData});
            break;
        }
        const unsigned char* header = element.data() + at;
        const std::uint16_t line = loadBigEndian16(header + kLineAt);
        const std::uint8_t coding = header[kCodingAt];
        const std::uint64_t payloadSize = st436mPayloadSize(header);
        at += kSt436mPacketHeaderSize;
        auto drop = [&](St436mFault fault) {
            result.drops.push_back({index, line, coding, fault});
        };
        if (payloadSize > element.size() - at) {
            drop(St436mFault::PayloadBeyondData);
            break;
        }
        const unsigned char* payload = element.data() + at;
        at += static_cast<std::size_t>(payloadSize);

        if (loadBigEndian32(header + kElementSizeAt) != 1) {
            drop(St436mFault::ElementSizeNotOne);
            continue;
        }
        const Coding kind = codingKind(coding);
        if (kind == Coding::Vbi || kind == Coding::Unknown) {
            drop(kind == Coding::Vbi ? St436mFault::VbiCoding : St436mFault::UnknownCoding);
            continue;
        }
        const bool tenBit = kind == Coding::TenBit;
        const Samples samples(payload, loadBigEndian16(header + kSamplesAt), tenBit);
        if (samples.bytesNeeded() > payloadSize) {
            drop(St436mFault::SamplesBeyondArray);
            continue;
        }
        St436mPacket packet;
        packet.line = line;
        packet.wrapping = header[kWrappingAt];
        packet.coding = coding;
        if (const auto fault = readPacket(samples, tenBit, packet)) {
            drop(*fault);
            continue;
        }
        result.packets.push_back(std::move(packet));
    }
    return result;
}

std::optional<std::size_t> st436mElementSize(std::span<const unsigned char> bytes) {
    if (bytes.size() < kSt436mCountSize) return std::nullopt;
    const std::size_t count = loadBigEndian16(bytes.data());
    std::size_t at = kSt436mCountSize;
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes.size() - at < kSt436mPacketHeaderSize) return std::nullopt;
        const std::uint64_t payloadSize = st436mPayloadSize(bytes.data() + at);
        at += kSt436mPacketHeaderSize;
        if (payloadSize > bytes.size() - at) return std::nullopt;
        at += static_cast<std::size_t>(payloadSize);
    }
    return at;
}

std::string describe(const St436mDrop& drop) {
    std::string text =
        "packet " + std::to_string(drop.index) + " (line " + std::to_string(drop.line) + "): ";
    const std::string coding = std::to_string(drop.coding);
    switch (drop.fault) {
        case St436mFault::CountBeyondData:
            return "packet " + std::to_string(drop.index) +
                   ": the packet count runs past the end of the element; the rest is lost";
        case St436mFault::PayloadBeyondData:
            return text + "the array count runs past the end of the element; the rest is lost";
        case St436mFault::ElementSizeNotOne:
            return text + "element size is not 1";
        case St436mFault::VbiCoding:
            return text + "coding " + coding + " is a VBI line, not ANC";
        case St436mFault::UnknownCoding:
            return text + "coding " + coding + " is not a sample coding";
        case St436mFault::SamplesBeyondArray:
            return text + "the sample count needs more bytes than the array count gives";
        case St436mFault::PacketTooShort:
            return text + "fewer samples than DID, SDID, DC and the user data words";
        case St436mFault::BadParity:
            return text + "DID, SDID or DC with wrong parity bits";
        case St436mFault::BadChecksum:
            return text + "the checksum word doesn't match";
    }
    return text;
}

}  // namespace rdd18::host
