// The faults of a parse: each layer reports its code with where it happened and the numbers it
// met, in the order met; the answer is the one the plain parse gives; a frame that parses whole
// reports nothing. The item layer's own faults are in test_items.cpp; the texts of the faults are
// checked by the golden files of the samples; each code has its own.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/rtp.h"
#include "rdd18/host/st436m.h"
#include "rdd18/rdd18.h"

namespace rdd18 {
// A failing comparison shows the faults as their code and line.
void PrintTo(const Fault& f, std::ostream* os) {
    *os << codeName(f.code) << ": " << describe(f);
}
}  // namespace rdd18

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

const Bytes kIso = rdd18Item(0x81, 0x0B, be16(800));
const Bytes kPack = rdd18Pack(kIso);
const Bytes kRecord = arriItem(kArriMetadataKey, Bytes(4096, 0));

/// The faults of one parse; the answer must be the one the parse without a sink gives.
std::vector<Fault> faultsOf(const Bytes& frame, bool arri, bool flags = true) {
    FaultList faults;
    const VLRDD18Parser rdd18(Flavour::Standard);
    const VLArriANCParser arriParser;
    EXPECT_EQ(
        arri ? arriParser.parseData(frame, flags, faults) : rdd18.parseData(frame, flags, faults),
        arri ? arriParser.parseData(frame, flags) : rdd18.parseData(frame, flags));
    return faults.take();
}

// The fields the rows below set.
Fault atPosition(FaultCode code, std::uint64_t position, std::uint64_t expected = 0,
                 std::uint64_t found = 0) {
    Fault f{.code = code, .unit = FaultUnit::StreamPosition, .offset = position};
    f.expected = expected, f.found = found;
    return f;
}
Fault closing(FaultCode code, std::uint64_t expected = 0, std::uint64_t found = 0) {
    return {.code = code, .expected = expected, .found = found};
}
Fault noPackets(std::uint8_t did, std::uint8_t sdid, std::uint64_t found, bool withoutFlags) {
    Fault f{.code = FaultCode::NoStreamPackets, .did = did, .sdid = sdid, .found = found};
    f.withoutFlags = withoutFlags;
    return f;
}

struct Case {
    const char* name;
    Bytes frame;
    std::vector<Fault> expected;
    bool arri = false;  // the ARRI parser's faults, else the RDD 18 parser's
};

TEST(Faults, LayersReportTheirCodesWhereTheyHappened) {
    Fault gap{.code = FaultCode::SequenceBroken, .offset = 37, .did = 0x43, .sdid = 0x05};
    gap.expected = 2, gap.found = 3;
    const Case cases[] = {
        {"stream ends in a key",
         FrameBuilder().rdd18Stream(kPack + Bytes{6, 14}).bytes(),
         {atPosition(FaultCode::PackKeyCutOff, 26), closing(FaultCode::ItemsLost)}},
        {"gap at byte 37",
         FrameBuilder().rdd18Packet(1, kPack).rdd18Packet(3, kPack).bytes(),
         {gap}},
        {"bad flags, then a short tail",
         Bytes(10, 0x01),
         {{.code = FaultCode::BadFlag, .found = 6},
          {.code = FaultCode::ShortTail, .offset = 6, .found = 4},
          noPackets(0x43, 0x05, 0, false)}},
        {"whole", FrameBuilder().rdd18Stream(kPack).bytes(), {}},
        {"value cut off",
         FrameBuilder().arriStream(Bytes(kRecord.begin(), kRecord.begin() + 1000)).bytes(),
         {atPosition(FaultCode::ValueIncomplete, 20, 4096, 988),
          closing(FaultCode::NoMetadataItem)},
         true},
        {"marker",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, Bytes(8), 0x82)).bytes(),
         {atPosition(FaultCode::BadLengthMarker, 16, 0, 0x82), closing(FaultCode::ArriParseFailed)},
         true},
        {"record short",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, Bytes(100))).bytes(),
         {closing(FaultCode::RecordTooShort, 4096, 100)},
         true},
        {"no ARRI packets: one fault, not two",
         FrameBuilder().rdd18Stream(kPack).bytes(),
         {noPackets(0x44, 0x04, 1, false)},
         true},
        {"whole", FrameBuilder().arriStream(kRecord).bytes(), {}, true},
    };
    for (const Case& c : cases) EXPECT_EQ(faultsOf(c.frame, c.arri), c.expected) << c.name;
    EXPECT_EQ(Fault{.code = FaultCode::ShortTail}.layer(), FaultLayer::PacketWalk);
    EXPECT_EQ(Fault{.code = FaultCode::VbiCoding}.layer(), FaultLayer::St436m);
    EXPECT_EQ(faultsOf(FrameBuilder(Flags::None).packet(0x61, 0x01, {1, 2}).bytes(), false, false),
              std::vector{noPackets(0x43, 0x05, 1, true)});

    // Over a packet list, a broken numbering is placed by the packet's index.
    const std::vector<host::Packet> packets = host::packetsFromAncillaryBuffer(
        FrameBuilder().packet(0x61, 0x01, {1}).rdd18Packet(2, kPack).bytes(), true);
    host::PacketListReader reader(packets);
    FaultList faults;
    EXPECT_TRUE(VLRDD18Parser(Flavour::Standard).parseData(reader, &faults).empty());
    gap.unit = FaultUnit::Packet, gap.offset = 1, gap.expected = 1, gap.found = 2;
    EXPECT_EQ(faults.take(), std::vector{gap});
}

// A frame file is refused by its magic first (however short), then by its size.
TEST(Faults, ArriFilesAreRefusedByMagicThenBySize) {
    const Bytes file = ariFile(ArriHeaderBuilder().u32(0x14, 3424).bytes(), 100);
    const Bytes cut(file.begin(), file.begin() + 4095);
    const Case cases[] = {
        {"magic", text("ARRJ") + Bytes(5000), {closing(FaultCode::NotArriRawFile, 0, 0x4152524A)}},
        {"cut", cut, {closing(FaultCode::FileCutShort, 4096, 4095)}},
        {"magic's 2 bytes", text("AR"), {closing(FaultCode::FileCutShort, 4096, 2)}},
        {"whole", file, {}},
    };
    for (const Case& c : cases) {
        FaultList faults;
        const Dictionary answer = VLArriANCParser().parseFile(c.frame, faults);
        EXPECT_EQ(answer.size(), c.expected.empty() ? 57u : 0u) << c.name;
        EXPECT_EQ(faults.take(), c.expected) << c.name;
    }
}

// Every header form cut at each of its bytes by the end of the input: the code its layer
// documents for the part the cut falls in, no read outside the cut input, and the whole units
// ahead of the cut still out (none of a parse whose items are lost).
TEST(Faults, EveryHeaderCutAtEachOfItsBytes) {
    using enum FaultCode;
    using Reader = std::function<std::size_t(Bytes, FaultList&)>;  // the units that come out
    const VLRDD18Parser rdd18(Flavour::Standard);
    const Reader items = [&](Bytes b, FaultList& f) {
        return rdd18.parseData(FrameBuilder().rdd18Stream(b).bytes(), true, f).size();
    };
    const std::vector<host::Packet> two = {{0x43, 0x05, 9, 0, {1, 2, 3}},
                                           {0x44, 0x04, 9, 0, {4, 5}}};
    const std::vector<host::St436mPacket> tenBit = {{two[0], 1, 7}, {two[1], 1, 7}};
    Bytes rtp;
    host::appendRtpHeader({true, 100, 1, 2, 3}, rtp);
    rtp[0] |= 0x11;  // one CSRC and a header extension of one word
    rtp = rtp + be32(9) + Bytes{0xBE, 0xDE, 0, 1} + be32(7) + Bytes(4, 0);
    struct Part {
        std::size_t end;  // cuts below it and at or above the previous part's end
        FaultCode code;   // the first fault, none for a cut between units
        std::size_t kept;
    };
    const struct {
        const char* name;
        Bytes whole;
        std::size_t from;  // the first cut
        std::vector<Part> parts;
        Reader read;
    } rows[] = {
        // clang-format off
        {"ANC packet", FrameBuilder().rdd18Stream(kPack).packet(0x61, 1, {1}).bytes(), 35,
         {{41, ShortTail, 1}, {42, PacketOverrun, 1}},
         [&](Bytes b, FaultList& f) { return rdd18.parseData(b, true, f).size(); }},
        {"pack key and length", kPack + kPack, 27, {{42, PackKeyCutOff, 0}, {46, PackLengthCutOff, 0}}, items},
        {"item tag and length", rdd18Pack(kIso + kIso), 26, {{30, ItemHeaderCutOff, 0}}, items},
        {"ARRI key and length", kRecord, 1, {{16, ArriKeyCutOff, 0}, {20, ArriLengthCutOff, 0}},
         [](Bytes b, FaultList& f) {
             const FrameBuilder lut = FrameBuilder().arriStream(arriItem(kArriLUTKey, {1}));
             return VLArriANCParser().parseData(FrameBuilder(lut).arriStream(b, 252, false).bytes(), true, f).size();
         }},
        {"ST 436M count and packet headers", host::st436mElement(tenBit), 0,
         {{1, {}, 0}, {16, ElementCountBeyondData, 0}, {28, ArrayBeyondData, 0}, {29, ElementCountBeyondData, 1}, {42, ElementCountBeyondData, 1}},
         [](Bytes b, FaultList& f) { return host::readSt436mElement(b, &f).packets.size(); }},
        {"RFC 8331 header and ANC headers", host::rfc8331FromPackets(two), 0,
         {{8, HeaderCutOff, 0}, {9, CountBeyondData, 0}, {16, HeaderCutOff, 0}, {21, CountBeyondData, 0},
          {25, CountBeyondData, 1}, {32, HeaderCutOff, 1}},
         [](Bytes b, FaultList& f) {
             if (b.size() >= 8) b[3] = static_cast<unsigned char>(b.size() - 8);  // Length
             return host::packetsFromRfc8331(b, {}, &f).size();
         }},
        {"rtmd sample header", writeRtmdSample(kPack, RtmdTimecode{1, 2, 3, 4, false}), 0,
         {{0x1C, RtmdHeaderBeyondSample, 0}},
         [&](Bytes b, FaultList& f) { return rdd18.parseRtmdSample(b, f).size(); }},
        {"RTP header, CSRC and extension", rtp, 0, {{24, RtpHeaderCutOff, 0}},
         [](Bytes b, FaultList& f) { return std::size_t{host::readRtpHeader(b, &f).has_value()}; }},
        // clang-format on
    };
    for (const auto& row : rows) {
        auto part = row.parts.begin();
        for (std::size_t n = row.from; n < row.parts.back().end; ++n) {
            if (n == part->end) ++part;
            const Bytes cut(row.whole.begin(), row.whole.begin() + static_cast<std::ptrdiff_t>(n));
            FaultList faults;
            EXPECT_EQ(row.read(cut, faults), part->kept) << row.name << " cut at " << n;
            EXPECT_EQ(codeName(faults.empty() ? FaultCode{} : faults.faults()[0].code),
                      codeName(part->code))
                << row.name << " cut at " << n;
        }
    }
}

// Every code (named in codeName) has a name and a text of its own, and docs/faults.md lists it.
TEST(Faults, EveryCodeHasItsOwnNameAndText) {
    const Bytes doc = fileBytes(VELMORA_SOURCE_DIR "/docs/faults.md");
    const std::string table(doc.begin(), doc.end());
    std::set<std::string> names, texts;
    for (int c = 0; c < 1000; ++c) {
        const Fault f{.code = static_cast<FaultCode>(c)};
        const std::string name(codeName(f.code));
        if (name.empty()) continue;
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_FALSE(describe(f).empty()) << name;
        EXPECT_TRUE(texts.insert(describe(f)).second) << name << ": " << describe(f);
        EXPECT_NE(table.find("| " + std::to_string(c) + " | `" + name + "`"), table.npos) << name;
    }
    EXPECT_GT(names.size(), 40u);
}

}  // namespace
