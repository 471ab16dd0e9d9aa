// Packet walk and stream readers: where packets are found in a buffer, how RDD 18 packets join
// into a stream, and the exact bookkeeping of read, skip, position and end detection.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame_builder.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

constexpr auto kWith = AncillaryDataBufferWithFlags;
constexpr auto kWithout = AncillaryDataBufferWithoutFlags;

// --- Packet walk -------------------------------------------------------------------------------

/// The bytes written as hexadecimal digits; spaces are for the reader.
Bytes hex(std::string_view digits) {
    Bytes out;
    for (std::size_t i = 0; i < digits.size(); i += digits[i] == ' ' ? 1 : 2) {
        if (digits[i] != ' ')
            out.push_back(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    }
    return out;
}

TEST(PacketWalk, FindsExactlyTheExpectedPackets) {
    const std::string good = "00FFFF 430502 A1A2 5C", good2 = "00FFFF 440401 B1 3E";
    const std::string p1 = "43 05 A1A2 5C", p2 = "44 04 B1 3E";  // DID SDID payload checksum
    const struct {
        std::string buffer;
        AncillaryDataBufferContainsFlags flags;
        std::vector<std::string> packets;
    } cases[] = {
        {"00FFFF 430500", kWith, {}},  // 6 bytes
        {"00FFFF 430500 99", kWith, {"43 05 99"}},
        {"00FF00 77", kWithout, {"00 FF 77"}},  // 00 is a DID
        {"430500", kWithout, {}},
        {"04FBFB 430501 EE 00", kWith, {"43 05 EE 00"}},
        {"00FBFB 430501 EE 00", kWith, {}},
        {"04FBFF 430501 EE 00", kWith, {}},
        {"00FFFB 430501 EE 00", kWith, {}},
        {good + "112233" + good2, kWith, {p1, p2}},            // a bad flag costs 3 bytes
        {good + "11223344" + good2, kWith, {p1}},              // and 4 put the walk out of step
        {good + "00FFFF 43050B 010203" + good2, kWith, {p1}},  // DC covers all but the checksum
        {good + "00FFFF 430500", kWith, {p1}},                 // a short tail
        {"00FFFF 430501 01 FF", kWith, {"43 05 01 FF"}},       // wrong checksum not noticed
        {"430501 07 4F", static_cast<AncillaryDataBufferContainsFlags>(2), {"43 05 07 4F"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.buffer);
        const Bytes buffer = hex(c.buffer);
        std::vector<Bytes> found, expected;
        for (const auto& p : packetsFromData(buffer.data(), buffer.size(), c.flags))
            found.push_back(Bytes{p.did, p.sdid} + Bytes(p.payload, p.payload + p.size) +
                            Bytes{p.checksum});
        for (const std::string& p : c.packets) expected.push_back(hex(p));
        EXPECT_EQ(found, expected);
        // Walking by hand ends too, and the cursor then stands at the end.
        AncillaryDataBufferReader reader(buffer.data(), buffer.size(), c.flags);
        for (std::size_t calls = 0; reader.hasNextPacket(); ++calls) {
            ASSERT_LE(calls, buffer.size());
            reader.readNextPacket();
        }
        EXPECT_EQ(reader.remainingBufferSize(), 0u);
    }
    EXPECT_TRUE(packetsFromData(nullptr, 0, kWith).empty());
}

// --- RDD 18 packet stream ----------------------------------------------------------------------

/// A frame buffer with its packet walk and the RDD 18 stream on top.
struct PacketStream {
    explicit PacketStream(const FrameBuilder& frame)
        : bytes(frame.bytes()), packets(bytes.data(), bytes.size(), kWith), stream(packets) {}

    Bytes read(unsigned long count) {
        Bytes out(count, 0xEE);
        out.resize(stream.read(out.data(), count));
        return out;
    }

    Bytes bytes;
    AncillaryDataBufferReader packets;
    RDD18AncillaryDataStreamReader stream;
};

Bytes iota(unsigned char first, std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(first + i);
    return b;
}

TEST(StreamSequence, JoinsTheStreamBytesOfTheGoodPackets) {
    const Bytes a = {0xA1, 0xA2}, b = {0xB1, 0xB2, 0xB3}, c = {0xC1};
    FrameBuilder longest;
    Bytes all;
    for (unsigned n = 1; n <= 255; ++n) {
        longest.rdd18Packet(static_cast<std::uint8_t>(n), {static_cast<unsigned char>(n)});
        all.push_back(static_cast<unsigned char>(n));
    }
    FrameBuilder wrapped = longest;
    wrapped.rdd18Packet(0, {0xEE});  // the numbering never wraps: 256 is expected
    const struct {
        const char* name;
        FrameBuilder frame;
        Bytes stream;
    } cases[] = {
        {"1 2 3", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(3, c), a + b + c},
        {"2 3", FrameBuilder().rdd18Packet(2, a).rdd18Packet(3, b), {}},
        {"1 2 2", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(2, c), a + b},
        {"1 3", FrameBuilder().rdd18Packet(1, a).rdd18Packet(3, b), a},
        {"1 2 1", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(1, c), a + b},
        {"foreign packets",
         FrameBuilder()
             .packet(0x44, 0x04, {9, 9})
             .rdd18Packet(1, a)
             .packet(0x43, 0x06, {2, 7})
             .packet(0x42, 0x05, {2, 7})
             .packet(0x43, 0x05, {})
             .rdd18Packet(2, b),
         a + b},
        {"sequence-only packet",
         FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, {}).rdd18Packet(3, b), a + b},
        {"alternate flags", FrameBuilder(Flags::Alternate).rdd18Packet(1, a).rdd18Packet(2, b),
         a + b},
        {"255 packets", longest, all},
        {"packet 0 after 255", wrapped, all},
    };
    for (const auto& t : cases) {
        SCOPED_TRACE(t.name);
        PacketStream s(t.frame);
        EXPECT_EQ(s.read(1000), t.stream);
        EXPECT_EQ(s.stream.position(), 0u);  // the read came up short
        EXPECT_TRUE(s.stream.isAtEnd());
        PacketStream exact(t.frame);
        EXPECT_EQ(exact.read(t.stream.size()), t.stream);
        EXPECT_EQ(exact.stream.position(), t.stream.size());
    }
}

TEST(StreamReader, ReadSkipAndPositionBookkeeping) {
    PacketStream s(FrameBuilder().rdd18Stream(iota(0, 15), 5));
    EXPECT_EQ(s.read(6), (Bytes{0, 1, 2, 3, 4, 5}));  // no sequence byte between packets
    EXPECT_EQ(s.stream.skip(6), 6u);  // the rest of the second packet and two bytes more
    EXPECT_EQ(s.stream.position(), 12u);
    EXPECT_EQ(s.read(1), (Bytes{12}));
    EXPECT_EQ(s.read(5), (Bytes{13, 14}));  // a short read delivers but doesn't move position()
    EXPECT_EQ(s.stream.position(), 13u);
    EXPECT_EQ(s.read(1), Bytes{});
    EXPECT_EQ(s.stream.skip(4), 0u);
    EXPECT_EQ(s.stream.position(), 13u);

    PacketStream past(FrameBuilder().rdd18Stream(iota(0, 15), 5));
    EXPECT_EQ(past.read(2), (Bytes{0, 1}));
    EXPECT_EQ(past.stream.skip(100), 13u);  // counts what it passed
    EXPECT_EQ(past.stream.position(), 15u);
    EXPECT_TRUE(past.stream.isAtEnd());
}

/// A packet source that counts the packets taken from it.
class CountingSource : public virtual AncillaryDataReader {
  public:
    explicit CountingSource(AncillaryDataReader& inner) : inner_(inner) {}
    std::optional<utils::AncillaryPacket> readNextPacket() override {
        ++calls;
        return inner_.readNextPacket();
    }
    bool hasNextPacket() override { return inner_.hasNextPacket(); }
    int calls = 0;

  private:
    AncillaryDataReader& inner_;
};

TEST(StreamReader, IsAtEndAtAPacketEndFetchesOnePacketNotTwo) {
    const Bytes frame =
        FrameBuilder().rdd18Packet(1, {0xA1}).rdd18Packet(2, {0xB1}).rdd18Packet(3, {0xC1}).bytes();
    AncillaryDataBufferReader packets(frame.data(), frame.size(), kWith);
    CountingSource source(packets);
    RDD18AncillaryDataStreamReader stream(source);
    unsigned char byte = 0;
    ASSERT_EQ(stream.read(&byte, 1), 1u);
    EXPECT_FALSE(stream.isAtEnd());
    EXPECT_FALSE(stream.isAtEnd());
    EXPECT_EQ(source.calls, 2);
    ASSERT_EQ(stream.read(&byte, 1), 1u);
    EXPECT_EQ(byte, 0xB1);
    EXPECT_EQ(stream.position(), 2u);  // isAtEnd fetched but consumed nothing
}

TEST(StreamReader, DiscardRestOfPacketAndResynchronize) {
    const FrameBuilder frame =
        FrameBuilder().rdd18Packet(1, {0xA1, 0xA2, 0xA3}).rdd18Packet(2, {0xB1, 0xB2});
    PacketStream fetched(frame);  // after isAtEnd fetched a packet: all its bytes
    EXPECT_FALSE(fetched.stream.isAtEnd());
    fetched.stream.discardRestOfPacket();
    EXPECT_EQ(fetched.stream.position(), 3u);
    EXPECT_EQ(fetched.read(1), (Bytes{0xB1}));

    PacketStream fresh(frame);  // before any packet: nothing
    fresh.stream.discardRestOfPacket();
    EXPECT_EQ(fresh.read(1), (Bytes{0xA1}));

    PacketStream usedUp(frame);  // never into the next packet
    EXPECT_EQ(usedUp.read(3), (Bytes{0xA1, 0xA2, 0xA3}));
    usedUp.stream.discardRestOfPacket();
    EXPECT_EQ(usedUp.stream.position(), 3u);
    EXPECT_EQ(usedUp.read(1), (Bytes{0xB1}));

    PacketStream resync(frame);
    EXPECT_EQ(resync.read(1), (Bytes{0xA1}));
    static_cast<RDD18StreamReader&>(resync.stream).resynchronize();
    EXPECT_EQ(resync.stream.position(), 3u);
    EXPECT_EQ(resync.read(1), (Bytes{0xB1}));
}

/// A stream flavour of packets with DID 0x50: payload byte 0 is 0 for a packet that contributes
/// nothing, else the offset of its first stream byte. It never invalidates by itself.
class OffsetStream : public virtual utils::AncillaryPackagedDataStreamReader<RDD18StreamReader> {
  public:
    explicit OffsetStream(AncillaryDataReader& source)
        : utils::AncillaryPackagedDataStreamReader<RDD18StreamReader>(source, 0x50, 0x00) {}
    void resynchronize() override {}
    bool doesAcceptPacket(const utils::AncillaryPacket& packet) override {
        return packet.did == 0x50 && packet.payloadSize() != 0;
    }
    std::int64_t readHeaderOfPacket(const utils::AncillaryPacket& packet) override {
        return packet.payload[0] == 0 ? -1 : packet.payload[0];
    }
};

TEST(PackagedReader, NegativeHeaderResultSkipsOnlyThatPacket) {
    const Bytes frame = FrameBuilder()
                            .packet(0x50, 0, {0x02, 0xEE, 0xA1, 0xA2})
                            .packet(0x50, 0, {0x00, 0xEE, 0xEE})
                            .packet(0x50, 0, {0x09, 0xEE})  // offset past the payload: no bytes
                            .packet(0x50, 0, {0x01, 0xB1})
                            .bytes();
    AncillaryDataBufferReader packets(frame.data(), frame.size(), kWith);
    OffsetStream stream(packets);
    Bytes out(4, 0);
    EXPECT_EQ(stream.read(out.data(), 4), 3u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 3), (Bytes{0xA1, 0xA2, 0xB1}));
}

TEST(PackagedReader, InvalidatedStreamIsAtEndAndDeliversOnlyTheRestOfItsPacket) {
    const Bytes frame = FrameBuilder()
                            .packet(0x50, 0, {0x01, 0xA1, 0xA2, 0xA3})
                            .packet(0x50, 0, {0x01, 0xB1})
                            .bytes();
    AncillaryDataBufferReader packets(frame.data(), frame.size(), kWith);
    OffsetStream stream(packets);
    unsigned char out[4] = {};
    ASSERT_EQ(stream.read(out, 1), 1u);
    stream.invalidateStream();
    EXPECT_TRUE(stream.isAtEnd());
    EXPECT_EQ(stream.read(out, 4), 2u);
    EXPECT_EQ(out[1], 0xA3);
    EXPECT_EQ(stream.position(), 1u);
}

}  // namespace
