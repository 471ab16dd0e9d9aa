#include "dump/st436m_writer.h"

#include "rdd18/transport/ancillary_packet.h"

namespace rdd18::dump {

namespace {

void putBigEndian(std::vector<unsigned char>& out, std::uint32_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

// An 8-bit value as a 10-bit word: bit 8 the even parity of bits 7..0, bit 9 its inverse.
std::uint32_t withParity(unsigned value) {
    unsigned ones = 0;
    for (unsigned v = value; v != 0; v >>= 1) ones += v & 1u;
    const unsigned parity = ones & 1u;
    return value | parity << 8 | (parity ^ 1u) << 9;
}

}  // namespace

std::vector<unsigned char> st436mElement(std::span<const unsigned char> frame, ElementCoding coding,
                                         std::uint16_t line) {
    const auto packets = packetsFromData(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    std::vector<unsigned char> out;
    putBigEndian(out, static_cast<std::uint32_t>(packets.size()), 2);
    for (const auto& p : packets) {
        std::vector<std::uint32_t> samples{p.did, p.sdid, p.size};
        samples.insert(samples.end(), p.payload, p.payload + p.size);
        std::vector<unsigned char> payload;
        if (coding == ElementCoding::TenBit) {
            unsigned sum = 0;
            for (auto& s : samples) {
                s = withParity(s);
                sum += s & 0x1FFu;
            }
            sum &= 0x1FFu;
            samples.push_back(sum | ((~sum & 0x100u) << 1));
            for (std::size_t i = 0; i < samples.size(); i += 3) {
                std::uint32_t word = 0;
                for (std::size_t j = 0; j < 3 && i + j < samples.size(); ++j) {
                    word |= samples[i + j] << (22 - 10 * j);
                }
                putBigEndian(payload, word, 4);
            }
        } else {
            if (coding == ElementCoding::EightBitWithChecksum) {
                unsigned sum = 0;
                for (auto s : samples) sum += s;
                samples.push_back(sum & 0xFFu);
            }
            for (auto s : samples) payload.push_back(static_cast<unsigned char>(s));
            payload.resize((payload.size() + 3) / 4 * 4, 0);
        }
        putBigEndian(out, line, 2);
        out.push_back(1);
        out.push_back(coding == ElementCoding::TenBit ? 7 : 4);
        putBigEndian(out, static_cast<std::uint32_t>(samples.size()), 2);
        putBigEndian(out, static_cast<std::uint32_t>(payload.size()), 4);
        putBigEndian(out, 1, 4);
        out.insert(out.end(), payload.begin(), payload.end());
    }
    return out;
}

}  // namespace rdd18::dump
