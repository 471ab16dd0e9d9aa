// ST 436M ANC elements: what each coding gives, the table of what is dropped, why and where, and
// the writer: its bytes against hand-written elements, and what the reader gives back.
#include <gtest/gtest.h>

#include "frame_builder.h"
#include "rdd18/host/st436m.h"
#include "rdd18/transport/fault.h"

using namespace rdd18::host;
using rdd18::FaultCode;
using rdd18::FaultList;
using rdd18::FaultUnit;
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

using F = FaultCode;
using Codes = std::vector<std::pair<F, std::uint32_t>>;

/// The code and packet index of each fault, checking that each counts packets, has the line
/// (9) once the packet's header was read, and the identifiers of damaged 10-bit words.
Codes codes(const FaultList& faults) {
    Codes out;
    for (const auto& f : faults.faults()) {
        EXPECT_EQ(f.unit, FaultUnit::Packet);
        EXPECT_EQ(f.offset, f.packet);
        EXPECT_EQ(f.line, f.code == F::ElementCountBeyondData ? 0u : 9u);
        if (f.code == F::BadParity || f.code == F::BadChecksum) {
            EXPECT_EQ(f.sdid, 0x05);
        }
        out.emplace_back(f.code, f.packet);
    }
    return out;
}

TEST(St436m, CodingsAndFaults) {
    const Bytes good = packet(4, 4, k8Bit);
    const struct {
        const char* name;
        Bytes element;
        std::size_t packets;
        Codes faults;
    } cases[] = {
        // clang-format off
        {"empty element", {}, 0, {}},
        {"count 0", be16(0), 0, {}},
        {"8-bit, no checksum byte", be16(1) + good, 1, {}},
        {"8-bit with checksum byte", be16(1) + packet(6, 5, k8BitChecksum), 1, {}},
        {"8-bit, parity error noted", be16(1) + packet(10, 4, k8Bit), 1, {}},
        {"10-bit with checksum", be16(1) + packet(7, 5, tenBit(0x143, 0x14A)), 1, {}},
        {"10-bit without checksum", be16(1) + packet(9, 4, tenBit(0x143, 0x3FF)), 1, {}},
        {"10-bit b9 = b8", be16(2) + good + packet(7, 5, tenBit(0x343, 0x14A)), 1, {{F::BadParity, 1}}},
        {"10-bit bad checksum", be16(1) + packet(8, 5, tenBit(0x143, 0x14B)), 0, {{F::BadChecksum, 0}}},
        {"10-bit checksum b9 = b8", be16(1) + packet(8, 5, tenBit(0x143, 0x34A)), 0, {{F::BadChecksum, 0}}},
        {"count cut off", Bytes{0x00}, 0, {{F::ElementCountBeyondData, 0}}},
        {"count beyond the data", be16(2) + good, 1, {{F::ElementCountBeyondData, 1}}},
        {"array count beyond the data", be16(1) + withoutLastByte(good), 0, {{F::ArrayBeyondData, 0}}},
        {"element size 2, walk goes on", be16(2) + packet(4, 4, {1, 2}, 2) + good, 1,
         {{F::ElementSizeNotOne, 0}}},
        {"VBI and unknown codings", be16(5) + packet(1, 4, k8Bit) + packet(13, 4, k8Bit) + packet(3, 4, k8Bit) + packet(0, 4, k8Bit) + good, 1,
         {{F::VbiCoding, 0}, {F::UnknownCoding, 1}, {F::VbiCoding, 2}, {F::UnknownCoding, 3}}},
        {"samples beyond the array", be16(2) + packet(4, 5, k8Bit) + packet(7, 4, k8Bit), 0,
         {{F::SamplesBeyondArray, 0}, {F::SamplesBeyondArray, 1}}},
        {"DC beyond the samples", be16(2) + packet(4, 3, k8Bit) + packet(4, 2, k8Bit), 0,
         {{F::PacketTooShort, 0}, {F::PacketTooShort, 1}}},
        // clang-format on
    };
    for (const auto& c : cases) {
        FaultList faults;
        const St436mElement e = readSt436mElement(c.element, &faults);
        EXPECT_EQ(e.packets.size(), c.packets) << c.name;
        EXPECT_EQ(codes(faults), c.faults) << c.name;
        // Every packet that survives is the same packet, whatever its coding, and the element's
        // size is found from its headers alone when nothing runs past the end.
        for (const auto& p : e.packets) {
            EXPECT_EQ(flaggedBuffer({&p, 1}),
                      (Bytes{0x00, 0xFF, 0xFF, 0x43, 0x05, 0x01, 0x01, 0x4A}))
                << c.name;
            EXPECT_EQ(p.line, 9u) << c.name;
        }
        const bool runsPast =
            !faults.empty() && (faults.faults().back().code == F::ElementCountBeyondData ||
                                faults.faults().back().code == F::ArrayBeyondData);
        EXPECT_EQ(st436mElementSize(c.element),
                  runsPast || c.element.empty() ? std::nullopt : std::optional(c.element.size()))
            << c.name;
    }
}

St436mPacket ancPacket(std::uint8_t coding, std::uint16_t line, std::uint8_t did, Bytes udw) {
    return {{did, 0x05, line, 0, std::move(udw)}, 0x01, coding};
}

TEST(St436m, WriterGivesTheElementsReadBack) {
    // The writer's bytes are the hand-written elements the reader is checked against above.
    const St436mPacket eight[] = {ancPacket(4, 9, 0x43, {0x01}), ancPacket(4, 9, 0x43, {0x01})};
    EXPECT_EQ(st436mElement(eight), be16(2) + packet(4, 4, k8Bit) + packet(4, 4, k8Bit));
    const Bytes checksummed = packet(4, 5, k8BitChecksum);  // padded to 8 bytes
    EXPECT_EQ(st436mElement(eight, {true}), be16(2) + checksummed + checksummed);
    const St436mPacket ten[] = {ancPacket(7, 9, 0x43, {0x01})};
    EXPECT_EQ(st436mElement(ten), be16(1) + packet(7, 5, tenBit(0x143, 0x14A)));

    Bytes longest(255);
    for (std::size_t i = 0; i < longest.size(); ++i) longest[i] = static_cast<unsigned char>(i * 7);
    for (int c : {4, 5, 6, 7, 8, 9, 10, 11, 12}) {
        for (bool checksumByte : {false, true}) {
            SCOPED_TRACE(std::to_string(c) + (checksumByte ? " with checksum byte" : ""));
            const auto coding = static_cast<std::uint8_t>(c);
            std::vector<St436mPacket> packets = {ancPacket(coding, 9, 0x43, {1, 2, 3}),
                                                 ancPacket(coding, 570, 0x44, {}),
                                                 ancPacket(coding, 0, 0x41, longest)};
            packets[1].wrapping = 0x13;  // HANC, field 2
            FaultList faults;
            const Bytes element = st436mElement(packets, {checksumByte}, &faults);
            EXPECT_EQ(readSt436mElement(element, &faults).packets, packets);
            EXPECT_TRUE(faults.empty());
            EXPECT_EQ(st436mElementSize(element), element.size());
        }
    }

    // What has no place in an element is left out and reported, the rest written.
    std::vector<St436mPacket> bad = {ancPacket(4, 9, 0x43, Bytes(256)), ancPacket(2, 9, 0x43, {}),
                                     ancPacket(13, 9, 0x43, {}), ancPacket(7, 9, 0x43, {1})};
    bad.resize(65539, bad.back());  // 65,536 packets to write, one more than the count holds
    FaultList faults;
    const Bytes element = st436mElement(bad, {}, &faults);
    EXPECT_EQ(codes(faults), (Codes{{F::TooManyWords, 0},
                                    {F::VbiCoding, 1},
                                    {F::UnknownCoding, 2},
                                    {F::CountBeyondData, 65538}}));
    EXPECT_EQ(readSt436mElement(element).packets.size(), 65535u);
}

}  // namespace
