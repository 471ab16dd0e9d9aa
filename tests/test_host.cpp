// The host converters: each form of the bundled samples' packets parses to the answers of the
// samples' own bytes, and each converter's failure table (what it drops, why, where, and what it
// keeps).
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/transport/fault.h"

using namespace rdd18;
using namespace rdd18::host;
using C = FaultCode;

namespace {

/// A fault's code, where (offset in the converter's unit, line), and whether it was kept.
struct Seen {
    C code;
    std::uint64_t offset = 0;
    unsigned line = 0;
    bool kept = false;
    friend bool operator==(const Seen&, const Seen&) = default;
};

/// The answer `parser` gives for a packet list, read where the list holds the words.
template <class Parser>
Dictionary answerOf(const Parser& parser, std::span<const Packet> packets) {
    PacketListReader reader(packets);
    return parser.parseData(reader);
}

const std::vector<Packet> kTwo = {{0x43, 0x05, 9, 0, {1, 2, 3}}, {0x44, 0x04, 9, 0, {4, 5}}};

using Form = std::function<std::vector<Packet>(std::span<const Packet>)>;
Form viaLines(VancFormat f, unsigned w) {
    return [=](auto p) { return packetsFromVancLines(vancLinesFromPackets(p, {f, w}), {f, w}); };
}

/// A form converted into one list that each conversion leaves to the next, as hosts reuse it.
Form reused(std::function<void(std::span<const Packet>, std::vector<Packet>&)> convert) {
    return [=, out = std::make_shared<std::vector<Packet>>()](auto p) {
        convert(p, *out);
        return *out;
    };
}

}  // namespace

TEST(HostForms, EveryFormOfTheSamplesParsesToTheSamplesAnswers) {
    const VancLayout hd{VancFormat::V210, 1920}, sd{VancFormat::Uyvy, 720};
    const std::vector<Form> forms = {
        [](auto p) { return packetsFromWords10(words10FromPackets(p)); },
        [](auto p) { return packetsFromRfc8331(rfc8331FromPackets(p)); },
        viaLines(VancFormat::V210, 1920),
        viaLines(VancFormat::V210, 720),
        viaLines(VancFormat::Uyvy, 1920),
        viaLines(VancFormat::Uyvy, 720),
        viaLines(VancFormat::V210, 133),  // a width that ends inside a v210 group
        reused([](auto p, auto& out) { packetsFromWords10(words10FromPackets(p), out); }),
        reused([](auto p, auto& out) { packetsFromRfc8331(rfc8331FromPackets(p), out); }),
        reused(
            [=](auto p, auto& out) { packetsFromVancLines(vancLinesFromPackets(p, hd), hd, out); }),
        reused([=](auto p, auto& out) {
            packetsFromVancLines(vancLinesFromPackets(p, sd), sd, out);
        })};
    for (const auto& e : std::filesystem::directory_iterator(VELMORA_SAMPLES_DIR)) {
        if (e.path().extension() != ".anc") continue;
        const std::vector<unsigned char> bytes = testsupport::fileBytes(e.path());
        const bool flags = e.path().filename().string().find("noflags") == std::string::npos;
        const std::vector<Packet> packets = packetsFromAncillaryBuffer(bytes, flags);
        for (std::size_t f = 0; f < forms.size(); ++f) {
            SCOPED_TRACE(e.path().filename().string() + " form " + std::to_string(f));
            const std::vector<Packet> read = forms[f](packets);
            for (int type : {0, 1, 2})
                EXPECT_EQ(answerOf(VLRDD18Parser(type), read),
                          VLRDD18Parser(type).parseData(bytes, flags));
            EXPECT_EQ(answerOf(VLArriANCParser(), read), VLArriANCParser().parseData(bytes, flags));
        }
    }
}

struct FailureRow {
    const char* name;
    std::function<std::vector<Packet>(FaultSink*)> convert;
    std::vector<int> dids;  ///< of the packets that come out
    std::vector<Seen> faults;
    FaultUnit unit = FaultUnit::Word;  ///< of every fault
};

TEST(HostForms, FailureTables) {
    const auto words = words10FromPackets(kTwo);  // 3 + 3 + 3 + 1 words, then 3 + 3 + 2 + 1
    auto w10 = [&](std::function<void(std::vector<std::uint16_t>&)> edit, bool keep = false,
                   WordLayout layout = WordLayout::Flagged) {
        return [=](FaultSink* o) {
            auto w = words;
            edit(w);
            return packetsFromWords10(w, layout, {keep}, o);
        };
    };
    const VancLayout sd{VancFormat::V210, 6, VancPlacement::Sd};  // 12 samples a line
    const auto v210 = vancLinesFromPackets(kTwo, sd);             // one packet a line
    auto line = [&](VancLayout l, std::function<void(std::vector<unsigned char>&)> edit) {
        return [=](FaultSink* o) {
            auto b = vancLinesFromPackets(kTwo, l);
            edit(b);
            return packetsFromVancLines(b, l, {}, o);
        };
    };
    const auto rtp = rfc8331FromPackets(kTwo);  // 8 + 16 + 12 bytes
    auto rfc = [&](std::function<void(std::vector<unsigned char>&)> edit) {
        return [=](FaultSink* o) {
            auto b = rtp;
            edit(b);
            return packetsFromRfc8331(b, {}, o);
        };
    };
    constexpr auto kSample = FaultUnit::Sample, kByte = FaultUnit::Byte;
    // clang-format off
    const FailureRow rows[] = {
        {"words: whole", w10([](auto&) {}), {0x43, 0x44}, {}},
        {"words: bare", w10([](auto& w) { w.erase(w.begin(), w.begin() + 3);
                                          w.erase(w.begin() + 7, w.begin() + 10); }, false,
                            WordLayout::Bare), {0x43, 0x44}, {}},
        {"words: composite flag", w10([](auto& w) { w.erase(w.begin(), w.begin() + 2);
                                                    w[0] = 0x3FC; }), {0x43, 0x44}, {}},
        {"words: truncated header", w10([](auto& w) { w.resize(15); }), {0x43}, {{C::HeaderCutOff, 10}}},
        {"words: count beyond data", w10([](auto& w) { w.resize(18); }), {0x43}, {{C::CountBeyondData, 10}}},
        {"words: bad parity (DID)", w10([](auto& w) { w[3] ^= 0x300; }), {0x44}, {{C::BadParity, 0}}},
        {"words: damaged header hides a flag", w10([](auto& w) { w[5] = 0x205; }), {0x44}, {{C::BadParity, 0}}},
        {"words: bad parity, kept", w10([](auto& w) { w[16] ^= 0x300; }, true), {0x43, 0x44},
         {{C::BadParity, 10, 0, true}}},
        {"words: bad checksum", w10([](auto& w) { w[9] ^= 1; }), {0x44}, {{C::BadChecksum, 0}}},
        {"words: b9 of checksum", w10([](auto& w) { w[18] ^= 0x200; }), {0x43}, {{C::BadChecksum, 10}}},
        {"words: b9 of a user word, 20 of them", [](FaultSink* o) {
             auto w = words10FromPackets(std::vector<Packet>{{0x43, 0x05, 9, 0, std::vector<unsigned char>(20, 7)}});
             w[10] ^= 0x200;  // the fifth user word: checked in a block of 16
             return packetsFromWords10(w, WordLayout::Flagged, {}, o); }, {}, {{C::BadParity, 0}}},
        {"v210: whole", line(sd, [](auto&) {}), {0x43, 0x44}, {}, kSample},
        {"v210: last line short", line(sd, [](auto& b) { b.resize(b.size() - 120); }), {0x43},
         {{C::ShortLine, 0, 1}}, kSample},
        {"v210: bad checksum (sample 9)", line(sd, [](auto& b) { b[12] ^= 1; }), {0x44},
         {{C::BadChecksum, 0, 0}}, kSample},
        {"v210: bad parity on line 1", line(sd, [](auto& b) { b[128 + 5] ^= 0x08; }), {0x43},
         {{C::BadParity, 0, 1}}, kSample},
        {"v210: count beyond line", line(sd, [](auto& b) { b[6] ^= 0x80; }), {0x44},
         {{C::CountBeyondData, 0}}, kSample},
        {"v210: line ends inside a group", [](FaultSink* o) { return packetsFromVancLines(
             std::vector<unsigned char>(352), {VancFormat::V210, 133, VancPlacement::Sd, 352}, {}, o); },
         {}, {{C::ShortLine, 0}}, kSample},
        {"v210: stride below width", [&](FaultSink* o) {
             return packetsFromVancLines(v210, {VancFormat::V210, 6, VancPlacement::Sd, 8}, {}, o);
         }, {}, {{C::ShortLine, 0}}, kSample},
        {"uyvy: bad checksum", line({VancFormat::Uyvy, 12}, [](auto& b) { b[18] ^= 1; }), {0x43},
         {{C::BadChecksum, 10}}, kSample},
        {"uyvy: HD, short line", line({VancFormat::Uyvy, 1920}, [](auto& b) { b.resize(3839); }), {},
         {{C::ShortLine, 0}}, kSample},
        {"rfc8331: whole (word_align)", rfc([](auto&) {}), {0x43, 0x44}, {}, kByte},
        {"rfc8331: shorter than header", rfc([](auto& b) { b.resize(7); }), {}, {{C::HeaderCutOff, 0}}, kByte},
        {"rfc8331: Length too large", rfc([](auto& b) { b[3] += 4; }), {0x43, 0x44},
         {{C::LengthMismatch, 2}}, kByte},
        {"rfc8331: Length cuts a packet", rfc([](auto& b) { b[3] -= 4; }), {0x43},
         {{C::LengthMismatch, 2}, {C::CountBeyondData, 24, 9}}, kByte},
        {"rfc8331: header cut off", rfc([](auto& b) { b.resize(30); b[3] = 22; }), {0x43},
         {{C::HeaderCutOff, 24}}, kByte},
        {"rfc8331: ANC_Count beyond data", rfc([](auto& b) { b[4] = 3; }), {0x43, 0x44},
         {{C::CountBeyondData, 4}}, kByte},
        {"rfc8331: bad parity (DID b9)", rfc([](auto& b) { b[12] ^= 0x80; }), {0x44}, {{C::BadParity, 8, 9}}, kByte},
        {"rfc8331: bad checksum (b9)", rfc([](auto& b) { b[19] ^= 0x08; }), {0x44}, {{C::BadChecksum, 8, 9}}, kByte},
        {"packets: 256 words", [](FaultSink* o) {
             const std::vector<Packet> p{kTwo[0], {1, 2, 7, 0, std::vector<unsigned char>(256)}};
             words10FromPackets(p, o);
             PacketListReader reader(p, o);
             VLRDD18Parser(0).parseData(reader);  // the reader passes the packet over
             return packetsFromAncillaryBuffer(ancillaryBufferFromPackets(p, o), true);
         }, {0x43}, {{C::TooManyWords, 1, 7}, {C::TooManyWords, 1, 7}, {C::TooManyWords, 1, 7}},
         FaultUnit::Packet},
        {"packets: longer than a line, more than 255 in a payload", [](FaultSink* o) {
             vancLinesFromPackets(kTwo, {VancFormat::V210, 4, VancPlacement::Sd}, o);  // 8 samples
             return packetsFromRfc8331(rfc8331FromPackets(std::vector<Packet>(256, kTwo[1]), 0, o));
         }, std::vector<int>(255, 0x44), {{C::CountBeyondData, 0, 9}, {C::CountBeyondData, 1, 9},
                                          {C::CountBeyondData, 255, 9}}, FaultUnit::Packet},
    };
    // clang-format on
    for (const FailureRow& row : rows) {
        FaultList faults;
        std::vector<int> dids;
        for (const Packet& p : row.convert(&faults)) dids.push_back(p.did);
        EXPECT_EQ(dids, row.dids) << row.name;
        std::vector<Seen> seen;
        for (const Fault& f : faults.faults()) {
            seen.push_back({f.code, f.offset, f.line, f.kept});
            EXPECT_EQ(f.unit, row.unit) << row.name;
        }
        EXPECT_EQ(seen, row.faults) << row.name;
    }
    EXPECT_EQ(vancLinesFromPackets(kTwo, {VancFormat::Uyvy, 1280})[0], 0x80);  // HD: chroma first
    auto rtp5 = rfc8331FromPackets(std::vector<Packet>{{1, 2, 0, 5, {}}});
    rtp5[11] &= 0x7F;                                     // S = 0: StreamNum is not valid
    EXPECT_EQ(packetsFromRfc8331(rtp5).at(0).stream, 0);  // so the packet has stream 0
    EXPECT_EQ(rtp5[8], 0x7F);                             // line 0 is written as "no line"
}
