#include "rdd18/host/rfc8331.h"

#include <cstring>

#include "rdd18/host/internal_rfc8331.h"
#include "rdd18/host/internal_word_scan.h"
#include "rdd18/host/words10.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::host {

namespace {

using internal::loadBigEndian16;
using internal::storeBigEndian16;

constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kPacketHeaderBits = 32;  // C, Line_Number, Horizontal_Offset, S, StreamNum
constexpr unsigned kNoLine = 0x7FF;
constexpr unsigned kNoOffset = 0xFFF;

/// Big-endian bit fields of a byte range; the caller checks `left()` before each read.
class BitReader {
  public:
    BitReader(const unsigned char* data, std::size_t bytes, std::size_t bit) noexcept
        : data_(data), bytes_(bytes), end_(bytes * 8), bit_(bit) {}
    std::size_t left() const noexcept { return end_ - bit_; }
    std::size_t bit() const noexcept { return bit_; }
    /// The next `count` (at most 25) bits.
    unsigned read(unsigned count) noexcept {
        const std::size_t byte = bit_ / 8;
        const unsigned skip = static_cast<unsigned>(bit_ % 8);
        // Four bytes hold any field of up to 25 bits at any bit position; near the end of the
        // range the missing bytes read as zero (the caller has checked that the field fits).
        std::uint32_t window = 0;
        if (byte + 4 <= bytes_) {
            window = internal::loadBigEndian32(data_ + byte);  // the fields are big-endian
        } else {
            for (std::size_t k = 0; k < 4; ++k)
                window = window << 8 | (byte + k < bytes_ ? data_[byte + k] : 0u);
        }
        bit_ += count;
        return (window << skip) >> (32 - count);
    }
    void skip(std::size_t count) noexcept { bit_ += count; }
    void alignTo32() noexcept { bit_ = std::min(end_, (bit_ + 31) / 32 * 32); }

  private:
    const unsigned char* data_;
    std::size_t bytes_;
    std::size_t end_;
    std::size_t bit_;
};

/// Reads `count` 10-bit words that start at bit `bit` of `data` into `out`; the caller has
/// checked that they lie in the first `bytes` bytes, and nothing past those is read.
void readWords(const unsigned char* data, std::size_t bytes, std::size_t bit, std::size_t count,
               std::uint16_t* out) noexcept {
    std::size_t k = 0;
    // Four words (40 bits) at a time from a big-endian 64-bit window, while it lies in the data.
    for (; k + 4 <= count && bit / 8 + 8 <= bytes; k += 4, bit += 40) {
        const std::uint64_t window = internal::loadBigEndian64(data + bit / 8) << (bit % 8);
        out[k] = static_cast<std::uint16_t>(window >> 54);
        out[k + 1] = static_cast<std::uint16_t>(window >> 44 & 0x3FFu);
        out[k + 2] = static_cast<std::uint16_t>(window >> 34 & 0x3FFu);
        out[k + 3] = static_cast<std::uint16_t>(window >> 24 & 0x3FFu);
    }
    // The last few from a 16-bit window: a word starts at an even bit, so it spans two bytes.
    for (; k < count; ++k, bit += 10) {
        const std::size_t byte = bit / 8;
        const unsigned window =
            unsigned{data[byte]} << 8 | (byte + 1 < bytes ? data[byte + 1] : 0u);
        out[k] = static_cast<std::uint16_t>((window << (bit % 8) & 0xFFFFu) >> 6);
    }
}

class BitWriter {
  public:
    explicit BitWriter(std::vector<unsigned char>& out) : out_(out) {}
    void write(unsigned value, unsigned count) {
        while (count) {
            if (bit_ % 8 == 0) out_.push_back(0);
            const unsigned room = 8 - static_cast<unsigned>(bit_ % 8);
            const unsigned take = count < room ? count : room;
            const unsigned part = (value >> (count - take)) & ((1u << take) - 1);
            out_.back() = static_cast<unsigned char>(out_.back() | (part << (room - take)));
            bit_ += take;
            count -= take;
        }
    }
    void alignTo32() {
        while (bit_ % 32)
            write(0, static_cast<unsigned>(std::min<std::size_t>(8 - bit_ % 8, 32 - bit_ % 32)));
    }

  private:
    std::vector<unsigned char>& out_;
    std::size_t bit_ = 0;
};

}  // namespace

std::optional<Rfc8331Header> readRfc8331Header(std::span<const unsigned char> payload) noexcept {
    if (payload.size() < kHeaderBytes) return std::nullopt;
    return Rfc8331Header{loadBigEndian16(payload.data()), loadBigEndian16(payload.data() + 2),
                         payload[4], static_cast<std::uint8_t>(payload[5] >> 6)};
}

namespace detail {

void scanRfc8331(std::span<const unsigned char> payload, const ConvertOptions& options,
                 FaultSink* faults, PacketSink& sink) {
    auto report = [&](FaultCode code, std::size_t at, unsigned line, unsigned did, unsigned sdid,
                      bool kept) {
        if (faults)
            faults->report(detail::hostFault(code, FaultUnit::Byte, at, line, did, sdid, kept));
    };
    const auto header = readRfc8331Header(payload);
    if (!header) return report(FaultCode::HeaderCutOff, 0, 0, 0, 0, false);
    const std::size_t length = header->length;
    const unsigned count = header->ancCount;
    const std::size_t available = payload.size() - kHeaderBytes;
    if (length != available && faults) {
        Fault f = detail::hostFault(FaultCode::LengthMismatch, FaultUnit::Byte, 2);
        f.expected = available;
        f.found = length;
        faults->report(f);
    }
    const std::size_t bytes = kHeaderBytes + std::min(length, available);
    BitReader bits(payload.data(), bytes, kHeaderBytes * 8);
    std::uint16_t words[3 + kMaxUserDataWords + 1];  // DID, SDID, DC, the user data words, checksum
    for (unsigned k = 0; k < count; ++k) {
        const std::size_t at = bits.bit() / 8;
        if (bits.left() < kPacketHeaderBits + 30) {
            // No bits left at all: ANC_Count (byte 4) promised more packets than there are.
            if (bits.left() == 0) {
                report(FaultCode::CountBeyondData, 4, 0, 0, 0, false);
            } else {
                report(FaultCode::HeaderCutOff, at, 0, 0, 0, false);
            }
            break;
        }
        bits.read(1);  // C: luma or chroma channel; both reach the same buffer
        const unsigned line = bits.read(11);
        bits.read(12);  // Horizontal_Offset
        const unsigned streamValid = bits.read(1);
        const unsigned stream = bits.read(7);
        for (int w = 0; w < 3; ++w) words[w] = static_cast<std::uint16_t>(bits.read(10));
        const unsigned did = words[0] & 0xFFu, sdid = words[1] & 0xFFu, dc = words[2] & 0xFFu;
        if (bits.left() < 10 * (std::size_t{dc} + 1)) {
            report(FaultCode::CountBeyondData, at, line, did, sdid, false);
            break;
        }
        readWords(payload.data(), bytes, bits.bit(), dc + 1, words + 3);
        bits.skip(10 * (std::size_t{dc} + 1));
        bits.alignTo32();
        // The user data words go straight into the packet; it is taken back if it is dropped.
        Packet& p = sink.next();
        p.udw.resize(dc);
        std::uint16_t sum = 0;
        unsigned char header[3];
        const bool headerParity = detail::takeWords10(words, 3, header, sum);
        const bool parity = detail::takeWords10(words + 3, dc, p.udw.data(), sum) && headerParity;
        const bool sumOk = words[3 + dc] == detail::checksumFromSum(sum);
        if (!parity || !sumOk) {
            report(parity ? FaultCode::BadChecksum : FaultCode::BadParity, at, line, did, sdid,
                   options.keepDamaged);
            if (!options.keepDamaged) continue;
        }
        p.did = static_cast<std::uint8_t>(did);
        p.sdid = static_cast<std::uint8_t>(sdid);
        p.line = static_cast<std::uint16_t>(line);
        p.stream = static_cast<std::uint8_t>(streamValid ? stream : 0);
        sink.keep();
    }
}

}  // namespace detail

void packetsFromRfc8331(std::span<const unsigned char> payload, std::vector<Packet>& out,
                        const ConvertOptions& options, FaultSink* faults) {
    detail::PacketSink sink(out);
    detail::scanRfc8331(payload, options, faults, sink);
    sink.finish();
}

std::vector<Packet> packetsFromRfc8331(std::span<const unsigned char> payload,
                                       const ConvertOptions& options, FaultSink* faults) {
    std::vector<Packet> packets;
    packetsFromRfc8331(payload, packets, options, faults);
    return packets;
}

std::vector<unsigned char> rfc8331FromPackets(std::span<const Packet> packets,
                                              std::uint16_t extendedSequenceNumber,
                                              FaultSink* faults, std::uint8_t field) {
    std::vector<unsigned char> out(kHeaderBytes, 0);
    storeBigEndian16(out.data(), extendedSequenceNumber);
    out[5] = static_cast<unsigned char>((field & 3u) << 6);
    BitWriter bits(out);
    unsigned count = 0;
    std::vector<std::uint16_t> words;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        if (detail::tooManyWords(p, i, faults)) continue;
        // Bits of the packet, word_align included; ANC_Count (8 bits) bounds the packets and
        // Length (16 bits) the bytes of the payload.
        const std::size_t bytes = (32 + 10 * (4 + p.udw.size()) + 31) / 32 * 4;
        if (count == 255 || out.size() - kHeaderBytes + bytes > 0xFFFF) {
            detail::reportListFault(faults, FaultCode::CountBeyondData, p, i);
            continue;
        }
        ++count;
        bits.write(0, 1);
        bits.write(p.line ? p.line & kNoLine : kNoLine, 11);
        bits.write(kNoOffset, 12);
        bits.write(p.stream ? 1 : 0, 1);
        bits.write(p.stream & 0x7Fu, 7);
        words.assign({withParity(p.did), withParity(p.sdid),
                      withParity(static_cast<std::uint8_t>(p.udw.size()))});
        for (unsigned char v : p.udw) words.push_back(withParity(v));
        for (std::uint16_t w : words) bits.write(w, 10);
        bits.write(checksumWord(words), 10);
        bits.alignTo32();
    }
    storeBigEndian16(out.data() + 2, static_cast<std::uint16_t>(out.size() - kHeaderBytes));
    out[4] = static_cast<unsigned char>(count);
    return out;
}

}  // namespace rdd18::host
