#include "rdd18/host/st436m.h"

#include "rdd18/host/internal_word_scan.h"
#include "rdd18/host/words10.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::host {

namespace {

using internal::loadBigEndian16;
using internal::loadBigEndian32;
using internal::storeBigEndian16;
using internal::storeBigEndian32;

// Offsets inside a packet header.
constexpr std::size_t kLineAt = 0, kWrappingAt = 2, kCodingAt = 3, kSamplesAt = 4,
                      kArrayCountAt = 6, kElementSizeAt = 10;

/// The most packets an element holds: its packet count is 16 bits.
constexpr std::size_t kMaxPackets = 0xFFFF;

enum class Coding { Vbi, EightBit, TenBit, Unknown };

Coding codingKind(std::uint8_t coding) noexcept {
    if (coding >= 1 && coding <= 3) return Coding::Vbi;
    if ((coding >= 4 && coding <= 6) || (coding >= 10 && coding <= 12)) return Coding::EightBit;
    if (coding >= 7 && coding <= 9) return Coding::TenBit;
    return Coding::Unknown;
}

/// The fault of a coding that is no ANC coding, if it is one.
std::optional<FaultCode> notAnc(Coding kind) noexcept {
    if (kind == Coding::Vbi) return FaultCode::VbiCoding;
    if (kind == Coding::Unknown) return FaultCode::UnknownCoding;
    return std::nullopt;
}

using detail::packetFault;

// Three 10-bit samples in a big-endian 32-bit word: bits 31..22, 21..12, 11..2.
constexpr unsigned sampleShift(std::size_t i) noexcept {
    return static_cast<unsigned>(22 - 10 * (i % 3));
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
        return static_cast<std::uint16_t>((word >> sampleShift(i)) & 0x3FFu);
    }

  private:
    const unsigned char* payload_;
    std::size_t count_;
    bool tenBit_;
};

// The packet in `samples`, or the fault that drops it.
std::optional<FaultCode> readPacket(const Samples& samples, bool tenBit, St436mPacket& packet) {
    if (samples.size() < 3) return FaultCode::PacketTooShort;
    const std::size_t dc = samples[2] & 0xFFu;
    if (samples.size() < 3 + dc) return FaultCode::PacketTooShort;
    packet.did = static_cast<std::uint8_t>(samples[0]);
    packet.sdid = static_cast<std::uint8_t>(samples[1]);
    if (tenBit) {
        for (std::size_t i = 0; i < 3; ++i) {
            if (samples[i] != withParity(static_cast<std::uint8_t>(samples[i])))
                return FaultCode::BadParity;
        }
        if (samples.size() >= 4 + dc) {
            unsigned sum = 0;
            for (std::size_t i = 0; i < 3 + dc; ++i) sum += samples[i] & 0x1FFu;
            if (samples[3 + dc] != detail::checksumFromSum(sum)) return FaultCode::BadChecksum;
        }
    }
    packet.udw.resize(dc);
    for (std::size_t i = 0; i < dc; ++i) packet.udw[i] = static_cast<unsigned char>(samples[3 + i]);
    return std::nullopt;
}

/// Appends the payload of `p` in 8-bit samples; returns the sample count.
std::size_t appendEightBit(const St436mPacket& p, bool checksumByte,
                           std::vector<unsigned char>& out) {
    out.insert(out.end(), {p.did, p.sdid, static_cast<unsigned char>(p.udw.size())});
    out.insert(out.end(), p.udw.begin(), p.udw.end());
    if (checksumByte) out.push_back(checksum8(p));
    return 3 + p.udw.size() + (checksumByte ? 1 : 0);
}

/// Appends the payload of `p` in 10-bit samples, three to a word; returns the sample count.
std::size_t appendTenBit(const St436mPacket& p, std::vector<unsigned char>& out) {
    std::uint16_t words[3 + kMaxUserDataWords + 1];
    std::size_t n = 0;
    words[n++] = withParity(p.did);
    words[n++] = withParity(p.sdid);
    words[n++] = withParity(static_cast<std::uint8_t>(p.udw.size()));
    for (unsigned char v : p.udw) words[n++] = withParity(v);
    words[n] = checksumWord({words, n});
    ++n;
    for (std::size_t i = 0; i < n; i += 3) {
        std::uint32_t packed = 0;
        for (std::size_t j = i; j < i + 3 && j < n; ++j)
            packed |= std::uint32_t{words[j]} << sampleShift(j);
        out.resize(out.size() + 4);
        storeBigEndian32(out.data() + out.size() - 4, packed);
    }
    return n;
}

}  // namespace

std::uint64_t st436mPayloadSize(const unsigned char* packetHeader) noexcept {
    return std::uint64_t{loadBigEndian32(packetHeader + kArrayCountAt)} *
           loadBigEndian32(packetHeader + kElementSizeAt);
}

std::vector<unsigned char> flaggedBuffer(std::span<const St436mPacket> packets, FaultSink* faults) {
    std::vector<unsigned char> out;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        if (!detail::tooManyWords(p, i, faults)) appendAncillaryBuffer({&p, 1}, out);
    }
    return out;
}

St436mElement readSt436mElement(std::span<const unsigned char> element, FaultSink* faults) {
    St436mElement result;
    if (element.empty()) return result;
    auto report = [&](const Fault& f) {
        if (faults) faults->report(f);
    };
    if (element.size() < kSt436mCountSize) {
        report(packetFault(FaultCode::ElementCountBeyondData, 0, 0));
        return result;
    }
    const std::size_t count = loadBigEndian16(element.data());
    std::size_t at = kSt436mCountSize;
    for (std::size_t index = 0; index < count; ++index) {
        if (element.size() - at < kSt436mPacketHeaderSize) {
            report(packetFault(FaultCode::ElementCountBeyondData, index, 0));
            break;
        }
        const unsigned char* header = element.data() + at;
        const std::uint16_t line = loadBigEndian16(header + kLineAt);
        const std::uint8_t coding = header[kCodingAt];
        const std::uint64_t payloadSize = st436mPayloadSize(header);
        at += kSt436mPacketHeaderSize;
        auto drop = [&](FaultCode code, std::uint64_t found = 0) {
            Fault f = packetFault(code, index, line);
            f.found = found;
            report(f);
        };
        if (payloadSize > element.size() - at) {
            drop(FaultCode::ArrayBeyondData);
            break;
        }
        const unsigned char* payload = element.data() + at;
        at += static_cast<std::size_t>(payloadSize);

        if (const std::uint32_t size = loadBigEndian32(header + kElementSizeAt); size != 1) {
            drop(FaultCode::ElementSizeNotOne, size);
            continue;
        }
        const Coding kind = codingKind(coding);
        if (const auto code = notAnc(kind)) {
            drop(*code, coding);
            continue;
        }
        const bool tenBit = kind == Coding::TenBit;
        const Samples samples(payload, loadBigEndian16(header + kSamplesAt), tenBit);
        if (samples.bytesNeeded() > payloadSize) {
            drop(FaultCode::SamplesBeyondArray);
            continue;
        }
        St436mPacket packet;
        packet.line = line;
        packet.wrapping = header[kWrappingAt];
        packet.coding = coding;
        if (const auto code = readPacket(samples, tenBit, packet)) {
            Fault f = packetFault(*code, index, line);
            if (*code == FaultCode::BadParity || *code == FaultCode::BadChecksum) {
                f.did = packet.did;
                f.sdid = packet.sdid;
            }
            report(f);
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

std::vector<unsigned char> st436mElement(std::span<const St436mPacket> packets,
                                         const St436mWriteOptions& options, FaultSink* faults) {
    std::vector<unsigned char> out(kSt436mCountSize);
    std::size_t written = 0;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const St436mPacket& p = packets[i];
        if (detail::tooManyWords(p, i, faults)) continue;
        const Coding kind = codingKind(p.coding);
        const auto code = written == kMaxPackets ? FaultCode::CountBeyondData : notAnc(kind);
        if (code) {
            detail::reportListFault(faults, *code, p, i,
                                    *code == FaultCode::CountBeyondData ? 0 : p.coding);
            continue;
        }
        const std::size_t header = out.size();
        const std::size_t payload = header + kSt436mPacketHeaderSize;
        out.resize(payload);
        const std::size_t samples = kind == Coding::TenBit
                                        ? appendTenBit(p, out)
                                        : appendEightBit(p, options.checksumByte, out);
        out.resize(payload + (out.size() - payload + 3) / 4 * 4);  // padded with zeros
        unsigned char* h = out.data() + header;
        storeBigEndian16(h + kLineAt, p.line);
        h[kWrappingAt] = p.wrapping;
        h[kCodingAt] = p.coding;
        storeBigEndian16(h + kSamplesAt, static_cast<std::uint16_t>(samples));
        storeBigEndian32(h + kArrayCountAt, static_cast<std::uint32_t>(out.size() - payload));
        storeBigEndian32(h + kElementSizeAt, 1);
        ++written;
    }
    storeBigEndian16(out.data(), static_cast<std::uint16_t>(written));
    return out;
}

}  // namespace rdd18::host
