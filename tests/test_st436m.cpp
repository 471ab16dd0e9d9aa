// ST 436M ANC elements: what each coding gives, and the table of what is dropped and why.
#include <gtest/gtest.h>

#include "frame_builder.h"
#include "rdd18/host/st436m.h"

using namespace rdd18::host;
using rdd18::testsupport::be16;
using rdd18::testsupport::be32;
using rdd18::testsupport::Bytes;
using rdd18::testsupport::operator+;

namespace {

// A packet header (line 9, VANC frame) and its payload of array count x element size bytes.
Bytes packet(std::uint8_t coding, std::uint16_t samples, const Bytes& payload,
             std::uint32_t elementSize = 1) {
    return be16(9) + Bytes{0x01, coding} + be16(samples) +
           be32(static_cast<std::uint32_t>(payload.size() / elementSize)) + be32(elementSize) +
           payload;
}

Bytes withoutLastByte(Bytes b) {
    b.pop_back();
    return b;
}

// DID 43, SDID 05, DC 1, UDW 01: in 8 bits, with the checksum byte 4A, and in 10 bits as the
// words 143 205 101 101 and the checksum 14A, three to a big-endian word.
const Bytes k8Bit = {0x43, 0x05, 0x01, 0x01};
const Bytes k8BitChecksum = {0x43, 0x05, 0x01, 0x01, 0x4A, 0, 0, 0};
Bytes tenBit(std::uint32_t did, std::uint32_t checksum) {
    return be32(did << 22 | 0x205u << 12 | 0x101u << 2) + be32(0x101u << 22 | checksum << 12);
}

TEST(St436m, CodingsAndFaults) {
    using F = St436mFault;
    const Bytes good = packet(4, 4, k8Bit);
    const struct {
        const char* name;
        Bytes element;
        std::size_t packets;
        std::vector<std::pair<std::size_t, F>> drops;
    } cases[] = {
        {"empty element", {}, 0, {}},
        {"count 0", be16(0), 0, {}},
        {"8-bit, no checksum byte", be16(1) + good, 1, {}},
        {"8-bit with checksum byte", be16(1) + packet(6, 5, k8BitChecksum), 1, {}},
        {"8-bit, parity error noted", be16(1) + packet(10, 4, k8Bit), 1, {}},
        {"10-bit with checksum", be16(1) + packet(7, 5, tenBit(0x143, 0x14A)), 1, {}},
        {"10-bit without checksum", be16(1) + packet(9, 4, tenBit(0x143, 0x3FF)), 1, {}},
        {"10-bit b9 = b8", be16(1) + packet(7, 5, tenBit(0x343, 0x14A)), 0, {{0, F::BadParity}}},
        {"10-bit bad checksum",
         be16(1) + packet(8, 5, tenBit(0x143, 0x14B)),
         0,
         {{0, F::BadChecksum}}},
        {"10-bit checksum b9 = b8",
         be16(1) + packet(8, 5, tenBit(0x143, 0x34A)),
         0,
         {{0, F::BadChecksum}}},
        {"count cut off", Bytes{0x00}, 0, {{0, F::CountBeyondData}}},
        {"count beyond the data", be16(2) + good, 1, {{1, F::CountBeyondData}}},
        {"array count beyond the data",
         be16(1) + withoutLastByte(good),
         0,
         {{0, F::PayloadBeyondData}}},
        {"element size 2, walk goes on",
         be16(2) + packet(4, 4, {1, 2}, 2) + good,
         1,
         {{0, F::ElementSizeNotOne}}},
        {"VBI and unknown codings",
         be16(3) + packet(1, 4, k8Bit) + packet(13, 4, k8Bit) + good,
         1,
         {{0, F::VbiCoding}, {1, F::UnknownCoding}}},
        {"samples beyond the array",
         be16(2) + packet(4, 5, k8Bit) + packet(7, 4, k8Bit),
         0,
         {{0, F::SamplesBeyondArray}, {1, F::SamplesBeyondArray}}},
        {"DC beyond the samples",
         be16(2) + packet(4, 3, k8Bit) + packet(4, 2, k8Bit),
         0,
         {{0, F::PacketTooShort}, {1, F::PacketTooShort}}},
    };
    for (const auto& c : cases) {
        const St436mElement e = readSt436mElement(c.element);
        EXPECT_EQ(e.packets.size(), c.packets) << c.name;
        std::vector<std::pair<std::size_t, F>> drops;
        for (const auto& d : e.drops) drops.emplace_back(d.index, d.fault);
        EXPECT_EQ(drops, c.drops) << c.name;
        // Every packet that survives is the same packet, whatever its coding, and the element's
        // size is found from its headers alone when nothing runs past the end.
        for (const auto& p : e.packets) {
            EXPECT_EQ(flaggedBuffer({&p, 1}),
                      (Bytes{0x00, 0xFF, 0xFF, 0x43, 0x05, 0x01, 0x01, 0x4A}))
                << c.name;
            EXPECT_EQ(p.line, 9u) << c.name;
        }
        const bool runsPast = !e.drops.empty() && (e.drops.back().fault == F::CountBeyondData ||
                                                   e.drops.back().fault == F::PayloadBeyondData);
        EXPECT_EQ(st436mElementSize(c.element),
                  runsPast || c.element.empty() ? std::nullopt : std::optional(c.element.size()))
            << c.name;
    }
}

}  // namespace
