// The faults of a parse: each layer reports its code with where it happened and the numbers it
// met, in the order met; the answer is the one the plain parse gives; a frame that parses whole
// reports nothing. The item layer's own faults are in test_items.cpp; the texts of the faults are
// checked by the golden files of the samples; each code has its own.
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "frame_builder.h"
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
};

TEST(Faults, RDD18LayersReportTheirCodesWhereTheyHappened) {
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
    };
    for (const Case& c : cases) EXPECT_EQ(faultsOf(c.frame, false), c.expected) << c.name;
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

TEST(Faults, ArriLayersReportTheirCodesWhereTheyHappened) {
    const Case cases[] = {
        {"value cut off",
         FrameBuilder().arriStream(Bytes(kRecord.begin(), kRecord.begin() + 1000)).bytes(),
         {atPosition(FaultCode::ValueIncomplete, 20, 4096, 988),
          closing(FaultCode::NoMetadataItem)}},
        {"marker",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, Bytes(8), 0x82)).bytes(),
         {atPosition(FaultCode::BadLengthMarker, 16, 0, 0x82),
          closing(FaultCode::ArriParseFailed)}},
        {"record short",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, Bytes(100))).bytes(),
         {closing(FaultCode::RecordTooShort, 4096, 100)}},
        {"no ARRI packets: one fault, not two",
         FrameBuilder().rdd18Stream(kPack).bytes(),
         {noPackets(0x44, 0x04, 1, false)}},
        {"whole", FrameBuilder().arriStream(kRecord).bytes(), {}},
    };
    for (const Case& c : cases) EXPECT_EQ(faultsOf(c.frame, true), c.expected) << c.name;
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
