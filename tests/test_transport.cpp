// Packet walk and stream readers: where packets are found in a buffer, how RDD 18 packets join
// into a stream, and the exact bookkeeping of read, skip, position and end detection.
#include <gtest/gtest.h>

#include <optional>
#include <string>
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

struct ExpectedPacket {
    std::uint8_t did, sdid;
    Bytes payload;
    std::size_t payloadOffset;  // where the payload lies in the buffer
    std::uint8_t checksum;
};

struct PacketWalkCase {
    std::string name;
    Bytes buffer;
    AncillaryDataBufferContainsFlags flags;
    std::vector<ExpectedPacket> packets;
};

const Bytes kGood = {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x02, 0xA1, 0xA2, 0x5C};  // 9 bytes
const Bytes kGood2 = {0x00, 0xFF, 0xFF, 0x44, 0x04, 0x01, 0xB1, 0x3E};       // 8 bytes

std::vector<PacketWalkCase> packetWalkCases() {
    const ExpectedPacket good{0x43, 0x05, {0xA1, 0xA2}, 6, 0x5C};
    auto good2At = [](std::size_t start) {
        return ExpectedPacket{0x44, 0x04, {0xB1}, start + 6, 0x3E};
    };
    return {
        {"SixBytesWithFlagGiveNothing", {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x00}, kWith, {}},
        {"SevenBytesWithFlagGiveAnEmptyPacket",
         {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x00, 0x99},
         kWith,
         {{0x43, 0x05, {}, 6, 0x99}}},
        {"FourBytesWithoutFlagGiveAPacketAndZeroIsADid",
         {0x00, 0xFF, 0x00, 0x77},
         kWithout,
         {{0x00, 0xFF, {}, 3, 0x77}}},
        {"ThreeBytesWithoutFlagGiveNothing", {0x43, 0x05, 0x00}, kWithout, {}},
        {"AlternateFlagAccepted",
         {0x04, 0xFB, 0xFB, 0x43, 0x05, 0x01, 0xEE, 0x00},
         kWith,
         {{0x43, 0x05, {0xEE}, 6, 0x00}}},
        {"MixedFlagRejected", {0x00, 0xFB, 0xFB, 0x43, 0x05, 0x01, 0xEE, 0x00}, kWith, {}},
        {"FlagWithWrongThirdByteRejected",
         {0x04, 0xFB, 0xFF, 0x43, 0x05, 0x01, 0xEE, 0x00},
         kWith,
         {}},
        {"FlagWithWrongLastByteRejected",
         {0x00, 0xFF, 0xFB, 0x43, 0x05, 0x01, 0xEE, 0x00},
         kWith,
         {}},
        {"ThreeBytesOfRubbishBetweenPacketsAreSteppedOver",
         kGood + Bytes{0x11, 0x22, 0x33} + kGood2,
         kWith,
         {good, good2At(12)}},
        {"FourBytesOfRubbishPutTheWalkOutOfStep",
         kGood + Bytes{0x11, 0x22, 0x33, 0x44} + kGood2,
         kWith,
         {good}},
        {"DataCountPastTheEndDropsTheLastPacket",
         kGood + Bytes{0x00, 0xFF, 0xFF, 0x43, 0x05, 0x10, 0x01, 0x02},
         kWith,
         {good}},
        {"ShortTailIgnored", kGood + Bytes{0x00, 0xFF, 0xFF, 0x43, 0x05, 0x00}, kWith, {good}},
        {"WrongChecksumNotNoticed",
         FrameBuilder().packetWithChecksum(0x43, 0x05, {0x01}, 0xFF).bytes(),
         kWith,
         {{0x43, 0x05, {0x01}, 6, 0xFF}}},
        {"FlagsValueOtherThanOneMeansNone",
         {0x43, 0x05, 0x01, 0x07, 0x4F},
         static_cast<AncillaryDataBufferContainsFlags>(2),
         {{0x43, 0x05, {0x07}, 3, 0x4F}}},
    };
}

class PacketWalk : public testing::TestWithParam<PacketWalkCase> {};

TEST_P(PacketWalk, FindsExactlyTheExpectedPackets) {
    const PacketWalkCase& c = GetParam();
    const auto packets = packetsFromData(c.buffer.data(), c.buffer.size(), c.flags);
    ASSERT_EQ(packets.size(), c.packets.size());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        SCOPED_TRACE("packet " + std::to_string(i));
        const ExpectedPacket& e = c.packets[i];
        EXPECT_EQ(packets[i].did, e.did);
        EXPECT_EQ(packets[i].sdid, e.sdid);
        EXPECT_EQ(packets[i].payloadSize(), e.payload.size());
        EXPECT_EQ(packets[i].payload, c.buffer.data() + e.payloadOffset);  // a view, not a copy
        EXPECT_EQ(Bytes(packets[i].payload, packets[i].payload + packets[i].size), e.payload);
        EXPECT_EQ(packets[i].checksum, e.checksum);
    }
    // Walking by hand ends too, and the cursor then stands at the end.
    AncillaryDataBufferReader reader(c.buffer.data(), c.buffer.size(), c.flags);
    std::size_t found = 0;
    for (std::size_t calls = 0; reader.hasNextPacket(); ++calls) {
        ASSERT_LE(calls, c.buffer.size());
        if (reader.readNextPacket()) ++found;
    }
    EXPECT_EQ(found, c.packets.size());
    EXPECT_EQ(reader.remainingBufferSize(), 0u);
    EXPECT_FALSE(reader.readNextPacket());
}

void PrintTo(const PacketWalkCase& c, std::ostream* os) {
    *os << c.name;
}

INSTANTIATE_TEST_SUITE_P(Buffers, PacketWalk, testing::ValuesIn(packetWalkCases()),
                         [](const auto& info) { return info.param.name; });

TEST(PacketWalkCursor, BadFlagCostsThreeBytesAndTheWalkGoesOn) {
    const Bytes buffer = Bytes{0x11, 0x22, 0x33} + kGood;
    AncillaryDataBufferReader reader(buffer.data(), buffer.size(), kWith);
    EXPECT_EQ(reader.remainingBufferSize(), 12u);
    EXPECT_FALSE(reader.readNextPacket());
    EXPECT_EQ(reader.remainingBufferSize(), 9u);
    EXPECT_TRUE(reader.hasNextPacket());
    EXPECT_TRUE(reader.readNextPacket());
    EXPECT_FALSE(reader.hasNextPacket());
}

TEST(PacketWalkCursor, DataCountOverrunSetsTheCursorToTheEnd) {
    const Bytes buffer = {0x43, 0x05, 0x09, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
    AncillaryDataBufferReader reader(buffer.data(), buffer.size(), kWithout);
    EXPECT_FALSE(reader.readNextPacket());
    EXPECT_FALSE(reader.hasNextPacket());
    EXPECT_EQ(reader.remainingBufferSize(), 0u);
}

TEST(PacketWalkCursor, EmptyAndNullBuffersHaveNoPacket) {
    AncillaryDataBufferReader nullReader(nullptr, 0, kWith);
    EXPECT_FALSE(nullReader.hasNextPacket());
    EXPECT_FALSE(nullReader.readNextPacket());
    EXPECT_TRUE(packetsFromData(nullptr, 0, kWithout).empty());
    const Bytes empty;
    EXPECT_TRUE(packetsFromData(empty.data(), 0, kWith).empty());
}

// --- RDD 18 packet stream ----------------------------------------------------------------------

/// A frame buffer with its packet walk and the RDD 18 stream on top.
struct PacketStream {
    explicit PacketStream(Bytes b, AncillaryDataBufferContainsFlags flags = kWith)
        : bytes(std::move(b)), packets(bytes.data(), bytes.size(), flags), stream(packets) {}
    explicit PacketStream(const FrameBuilder& frame) : PacketStream(frame.bytes()) {}

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

struct SequenceCase {
    std::string name;
    FrameBuilder frame;
    Bytes stream;  // what the joined stream must hold
};

std::vector<SequenceCase> sequenceCases() {
    const Bytes a = {0xA1, 0xA2}, b = {0xB1, 0xB2, 0xB3}, c = {0xC1};
    return {
        {"InOrder", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(3, c),
         a + b + c},
        {"FirstNotOne", FrameBuilder().rdd18Packet(2, a).rdd18Packet(3, b), {}},
        {"Repeat", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(2, c), a + b},
        {"Gap", FrameBuilder().rdd18Packet(1, a).rdd18Packet(3, b), a},
        {"Reversal", FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, b).rdd18Packet(1, c), a + b},
        {"ForeignPacketsPassedOver",
         FrameBuilder()
             .packet(0x44, 0x04, {9, 9})
             .rdd18Packet(1, a)
             .packet(0x43, 0x06, {2, 7})
             .packet(0x42, 0x05, {2, 7})
             .rdd18Packet(2, b),
         a + b},
        {"EmptyRdd18PacketPassedOver",
         FrameBuilder().rdd18Packet(1, a).packet(0x43, 0x05, {}).rdd18Packet(2, b), a + b},
        {"SequenceOnlyPacketAdvancesTheSequence",
         FrameBuilder().rdd18Packet(1, a).rdd18Packet(2, {}).rdd18Packet(3, b), a + b},
        {"AlternateFlags", FrameBuilder(Flags::Alternate).rdd18Packet(1, a).rdd18Packet(2, b),
         a + b},
    };
}

class StreamSequence : public testing::TestWithParam<SequenceCase> {};

TEST_P(StreamSequence, JoinsTheStreamBytesOfTheGoodPackets) {
    PacketStream s(GetParam().frame);
    const Bytes& expected = GetParam().stream;
    EXPECT_EQ(s.read(1000), expected);
    EXPECT_EQ(s.stream.position(), 0u);  // the read came up short
    EXPECT_TRUE(s.stream.isAtEnd());
    EXPECT_EQ(s.stream.read(nullptr, 0), 0u);

    // Read exactly the stream's length: position() moves by it.
    PacketStream exact(GetParam().frame);
    EXPECT_EQ(exact.read(expected.size()), expected);
    EXPECT_EQ(exact.stream.position(), expected.size());
    EXPECT_TRUE(exact.stream.isAtEnd());
}

void PrintTo(const SequenceCase& c, std::ostream* os) {
    *os << c.name;
}

INSTANTIATE_TEST_SUITE_P(Packets, StreamSequence, testing::ValuesIn(sequenceCases()),
                         [](const auto& info) { return info.param.name; });

TEST(StreamSequenceLimit, TwoHundredFiftyFivePacketsAreWholeAndTheNumberingNeverWraps) {
    FrameBuilder frame;
    Bytes expected;
    for (unsigned n = 1; n <= 255; ++n) {
        frame.rdd18Packet(static_cast<std::uint8_t>(n), {static_cast<unsigned char>(n)});
        expected.push_back(static_cast<unsigned char>(n));
    }
    {
        PacketStream s(frame);
        EXPECT_EQ(s.read(255), expected);
        EXPECT_EQ(s.stream.position(), 255u);
        EXPECT_TRUE(s.stream.isAtEnd());
    }
    frame.rdd18Packet(0, {0xEE});
    PacketStream s(frame);
    EXPECT_EQ(s.read(256), expected);
    EXPECT_TRUE(s.stream.isAtEnd());
}

TEST(StreamReader, ReadAcrossPacketBoundariesDropsTheSequenceByte) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0xA1, 0xA2}).rdd18Packet(2, {0xB1, 0xB2}));
    EXPECT_EQ(s.read(3), (Bytes{0xA1, 0xA2, 0xB1}));
    EXPECT_EQ(s.stream.position(), 3u);
    EXPECT_EQ(s.read(1), (Bytes{0xB2}));
    EXPECT_EQ(s.stream.position(), 4u);
    EXPECT_EQ(s.read(1), Bytes{});
    EXPECT_EQ(s.stream.position(), 4u);
}

TEST(StreamReader, ShortReadDeliversItsBytesButLeavesThePosition) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0x0A}).rdd18Packet(2, {0x0B, 0x0C, 0x0D}));
    EXPECT_EQ(s.read(1), (Bytes{0x0A}));
    EXPECT_EQ(s.read(5), (Bytes{0x0B, 0x0C, 0x0D}));
    EXPECT_EQ(s.stream.position(), 1u);
    EXPECT_EQ(s.read(1), Bytes{});
    EXPECT_EQ(s.stream.position(), 1u);
    EXPECT_EQ(s.stream.skip(4), 0u);
    EXPECT_EQ(s.stream.position(), 1u);
}

TEST(StreamReader, SkipStopsExactlyAtTheCountInALaterPacket) {
    PacketStream s(FrameBuilder().rdd18Stream(iota(0, 15), 5));
    EXPECT_EQ(s.stream.skip(7), 7u);
    EXPECT_EQ(s.stream.position(), 7u);
    EXPECT_EQ(s.read(1), (Bytes{7}));
    EXPECT_EQ(s.stream.skip(2), 2u);  // ends exactly at the second packet's end
    EXPECT_EQ(s.stream.position(), 10u);
    EXPECT_EQ(s.read(1), (Bytes{10}));
    EXPECT_EQ(s.stream.position(), 11u);
}

TEST(StreamReader, SkipPastTheEndCountsWhatItPassed) {
    PacketStream s(FrameBuilder().rdd18Stream(iota(0, 15), 5));
    EXPECT_EQ(s.read(2), (Bytes{0, 1}));
    EXPECT_EQ(s.stream.skip(100), 13u);
    EXPECT_EQ(s.stream.position(), 15u);
    EXPECT_TRUE(s.stream.isAtEnd());

    PacketStream broken(FrameBuilder().rdd18Packet(1, iota(0, 4)).rdd18Packet(3, iota(4, 4)));
    EXPECT_EQ(broken.stream.skip(6), 4u);
    EXPECT_EQ(broken.stream.position(), 4u);
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
    EXPECT_EQ(source.calls, 1);
    EXPECT_FALSE(stream.isAtEnd());
    EXPECT_EQ(source.calls, 2);
    EXPECT_FALSE(stream.isAtEnd());
    EXPECT_EQ(source.calls, 2);
    ASSERT_EQ(stream.read(&byte, 1), 1u);
    EXPECT_EQ(byte, 0xB1);
    EXPECT_EQ(stream.position(), 2u);  // isAtEnd fetched but consumed nothing
}

TEST(StreamReader, IsAtEndOnAnEmptyOrBrokenStream) {
    PacketStream empty(Bytes{});
    EXPECT_TRUE(empty.stream.isAtEnd());
    PacketStream foreign(FrameBuilder().packet(0x44, 0x04, {1, 2, 3}));
    EXPECT_TRUE(foreign.stream.isAtEnd());
    PacketStream badStart(FrameBuilder().rdd18Packet(2, {1}).rdd18Packet(1, {2}));
    EXPECT_TRUE(badStart.stream.isAtEnd());
    EXPECT_EQ(badStart.read(2), Bytes{});  // invalidated for good: the later "1" is never taken
}

TEST(StreamReader, DiscardRestOfPacketAfterIsAtEndPassesOverThePacket) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0xA1, 0xA2, 0xA3}).rdd18Packet(2, {0xB1, 0xB2}));
    EXPECT_FALSE(s.stream.isAtEnd());
    s.stream.discardRestOfPacket();
    EXPECT_EQ(s.stream.position(), 3u);
    EXPECT_EQ(s.read(1), (Bytes{0xB1}));
}

TEST(StreamReader, DiscardRestOfPacketBeforeAnyPacketDoesNothing) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0xA1, 0xA2}));
    s.stream.discardRestOfPacket();
    EXPECT_EQ(s.stream.position(), 0u);
    EXPECT_EQ(s.read(1), (Bytes{0xA1}));
}

TEST(StreamReader, DiscardRestOfPacketNeverLeavesThePacket) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0xA1, 0xA2}).rdd18Packet(2, {0xB1, 0xB2}));
    EXPECT_EQ(s.read(2), (Bytes{0xA1, 0xA2}));
    s.stream.discardRestOfPacket();  // packet used up: nothing left to pass over
    EXPECT_EQ(s.stream.position(), 2u);
    EXPECT_EQ(s.read(1), (Bytes{0xB1}));
}

TEST(StreamReader, ResynchronizeGivesUpTheRestOfTheCurrentPacket) {
    PacketStream s(FrameBuilder().rdd18Packet(1, {0xA1, 0xA2, 0xA3, 0xA4}).rdd18Packet(2, {0xB1}));
    EXPECT_EQ(s.read(1), (Bytes{0xA1}));
    RDD18StreamReader& base = s.stream;
    base.resynchronize();
    EXPECT_EQ(s.stream.position(), 4u);
    EXPECT_EQ(s.read(1), (Bytes{0xB1}));
}

TEST(StreamReader, HeaderRuleAcceptsOnlyTheNextNumber) {
    const Bytes payload1 = {0x01, 0xAA}, payload2 = {0x02, 0xAA}, payload4 = {0x04, 0xAA};
    Bytes none;
    AncillaryDataBufferReader packets(none.data(), 0, kWith);
    RDD18AncillaryDataStreamReader stream(packets);
    const utils::AncillaryPacket p1{0x43, 0x05, 2, payload1.data(), 0};
    const utils::AncillaryPacket p2{0x43, 0x05, 2, payload2.data(), 0};
    const utils::AncillaryPacket p4{0x43, 0x05, 2, payload4.data(), 0};
    EXPECT_TRUE(stream.doesAcceptPacket(p1));
    EXPECT_FALSE(stream.doesAcceptPacket({0x43, 0x05, 0, nullptr, 0}));
    EXPECT_FALSE(stream.doesAcceptPacket({0x43, 0x04, 2, payload1.data(), 0}));
    EXPECT_FALSE(stream.doesAcceptPacket({0x44, 0x05, 2, payload1.data(), 0}));
    EXPECT_EQ(stream.readHeaderOfPacket(p1), 1);
    EXPECT_EQ(stream.readHeaderOfPacket(p2), 1);
    EXPECT_EQ(stream.readHeaderOfPacket(p4), -1);
    EXPECT_TRUE(stream.isAtEnd());
}

TEST(StreamReader, EachReaderStartsTheSequenceAfresh) {
    const Bytes frame = FrameBuilder().rdd18Packet(1, {0x01}).rdd18Packet(2, {0x02}).bytes();
    for (int round = 0; round < 2; ++round) {
        PacketStream s{Bytes(frame)};
        EXPECT_EQ(s.read(2), (Bytes{0x01, 0x02}));
    }
}

// --- The packaged reader with another header rule ---------------------------------------------

/// A stream flavour of packets with DID 0x50: payload byte 0 is 0 for a packet that contributes
/// nothing, else the offset of its first stream byte. It never invalidates by itself.
class OffsetStream : public virtual utils::AncillaryPackagedDataStreamReader<RDD18StreamReader> {
  public:
    explicit OffsetStream(AncillaryDataReader& source)
        : utils::AncillaryPackagedDataStreamReader<RDD18StreamReader>(source) {}
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

TEST(PackagedReader, InvalidatedStreamDeliversOnlyTheRestOfItsPacket) {
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
    EXPECT_EQ(out[0], 0xA2);
    EXPECT_EQ(out[1], 0xA3);
    EXPECT_EQ(stream.read(out, 1), 0u);
    EXPECT_EQ(stream.position(), 1u);
}

// --- Memory block reader -----------------------------------------------------------------------

TEST(BufferReader, ReadsSkipsAndCountsOverAMemoryBlock) {
    const Bytes block = {1, 2, 3, 4, 5};
    RDD18BufferReader r(block.data(), block.size());
    unsigned char out[8] = {};
    EXPECT_EQ(r.read(out, 2), 2u);
    EXPECT_EQ(out[1], 2);
    EXPECT_EQ(r.skip(1), 1u);
    EXPECT_EQ(r.position(), 3u);
    r.resynchronize();  // does nothing on a memory block
    EXPECT_EQ(r.position(), 3u);
    EXPECT_FALSE(r.isAtEnd());
    // A short read on a memory block moves the position by what it delivered.
    EXPECT_EQ(r.read(out, 8), 2u);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[1], 5);
    EXPECT_EQ(r.position(), 5u);
    EXPECT_TRUE(r.isAtEnd());
    EXPECT_EQ(r.skip(3), 0u);
    EXPECT_EQ(r.read(out, 1), 0u);
    EXPECT_EQ(r.position(), 5u);

    RDD18BufferReader empty(nullptr, 0);
    EXPECT_TRUE(empty.isAtEnd());
    EXPECT_EQ(empty.read(out, 1), 0u);
}

}  // namespace
