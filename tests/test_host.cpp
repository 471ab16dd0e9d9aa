// The host converters: each form of the bundled samples' packets parses to the answers of the
// samples' own bytes, and each converter's failure table (what it drops, why, and what it keeps).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include "rdd18/host/parse.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/transport/parse_observer.h"

using namespace rdd18;
using namespace rdd18::host;
using R = DropReason;

namespace {

struct Drops : ParseObserver {
    std::vector<R> reasons;
    void hostInputDropped(const Drop& d) override { reasons.push_back(d.reason); }
};

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
        std::ifstream in(e.path(), std::ios::binary);
        const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(in), {}};
        const bool flags = e.path().filename().string().find("noflags") == std::string::npos;
        const std::vector<Packet> packets = packetsFromAncillaryBuffer(bytes, flags);
        for (std::size_t f = 0; f < forms.size(); ++f) {
            SCOPED_TRACE(e.path().filename().string() + " form " + std::to_string(f));
            const std::vector<Packet> read = forms[f](packets);
            for (int type : {0, 1, 2})
                EXPECT_EQ(parseRDD18(VLRDD18Parser(type), read),
                          VLRDD18Parser(type).parseData(bytes, flags));
            EXPECT_EQ(parseArri(VLArriANCParser(), read),
                      VLArriANCParser().parseData(bytes, flags));
        }
    }
}

struct FailureRow {
    const char* name;
    std::function<std::vector<Packet>(ParseObserver*)> convert;
    std::vector<int> dids;  ///< of the packets that come out
    std::vector<R> reasons;
};

TEST(HostForms, FailureTables) {
    const auto words = words10FromPackets(kTwo);  // 3 + 3 + 3 + 1 words, then 3 + 3 + 2 + 1
    auto w10 = [&](std::function<void(std::vector<std::uint16_t>&)> edit, bool keep = false,
                   WordLayout layout = WordLayout::Flagged) {
        return [=](ParseObserver* o) {
            auto w = words;
            edit(w);
            return packetsFromWords10(w, layout, {keep}, o);
        };
    };
    const VancLayout sd{VancFormat::V210, 6, VancPlacement::Sd};  // 12 samples a line
    const auto v210 = vancLinesFromPackets(kTwo, sd);             // one packet a line
    auto line = [&](VancLayout l, std::function<void(std::vector<unsigned char>&)> edit) {
        return [=](ParseObserver* o) {
            auto b = vancLinesFromPackets(kTwo, l);
            edit(b);
            return packetsFromVancLines(b, l, {}, o);
        };
    };
    const auto rtp = rfc8331FromPackets(kTwo);  // 8 + 16 + 12 bytes
    auto rfc = [&](std::function<void(std::vector<unsigned char>&)> edit) {
        return [=](ParseObserver* o) {
            auto b = rtp;
            edit(b);
            return packetsFromRfc8331(b, {}, o);
        };
    };
    // clang-format off
    const FailureRow rows[] = {
        {"words: whole", w10([](auto&) {}), {0x43, 0x44}, {}},
        {"words: bare", w10([](auto& w) { w.erase(w.begin(), w.begin() + 3);
                                          w.erase(w.begin() + 7, w.begin() + 10); }, false,
                            WordLayout::Bare), {0x43, 0x44}, {}},
        {"words: composite flag", w10([](auto& w) { w.erase(w.begin(), w.begin() + 2);
                                                    w[0] = 0x3FC; }), {0x43, 0x44}, {}},
        {"words: truncated header", w10([](auto& w) { w.resize(15); }), {0x43}, {R::Truncated}},
        {"words: count beyond data", w10([](auto& w) { w.resize(18); }), {0x43}, {R::CountBeyondData}},
        {"words: bad parity (DID)", w10([](auto& w) { w[3] ^= 0x300; }), {0x44}, {R::BadParity}},
        {"words: damaged header hides a flag", w10([](auto& w) { w[5] = 0x205; }), {0x44}, {R::BadParity}},
        {"words: bad parity, kept", w10([](auto& w) { w[6] ^= 0x300; }, true), {0x43, 0x44}, {R::BadParity}},
        {"words: bad checksum", w10([](auto& w) { w[9] ^= 1; }), {0x44}, {R::BadChecksum}},
        {"words: b9 of checksum", w10([](auto& w) { w[9] ^= 0x200; }), {0x44}, {R::BadChecksum}},
        {"words: b9 of a user word, 20 of them", [](ParseObserver* o) {
             auto w = words10FromPackets(std::vector<Packet>{{0x43, 0x05, 9, 0, std::vector<unsigned char>(20, 7)}});
             w[10] ^= 0x200;  // the fifth user word: checked in a block of 16
             return packetsFromWords10(w, WordLayout::Flagged, {}, o); }, {}, {R::BadParity}},
        {"v210: whole", line(sd, [](auto&) {}), {0x43, 0x44}, {}},
        {"v210: last line short", line(sd, [](auto& b) { b.resize(b.size() - 120); }), {0x43}, {R::ShortLine}},
        {"v210: bad checksum (sample 9)", line(sd, [](auto& b) { b[12] ^= 1; }), {0x44}, {R::BadChecksum}},
        {"v210: count beyond line", line(sd, [](auto& b) { b[6] ^= 0x80; }), {0x44}, {R::CountBeyondData}},
        {"v210: line ends inside a group", [](ParseObserver* o) { return packetsFromVancLines(
             std::vector<unsigned char>(352), {VancFormat::V210, 133, VancPlacement::Sd, 352}, {}, o); }, {}, {R::ShortLine}},
        {"v210: stride below width", [&](ParseObserver* o) {
             return packetsFromVancLines(v210, {VancFormat::V210, 6, VancPlacement::Sd, 8}, {}, o);
         }, {}, {R::ShortLine}},
        {"uyvy: bad checksum", line({VancFormat::Uyvy, 12}, [](auto& b) { b[9] ^= 1; }), {0x44}, {R::BadChecksum}},
        {"uyvy: HD, short line", line({VancFormat::Uyvy, 1920}, [](auto& b) { b.resize(3839); }), {}, {R::ShortLine}},
        {"rfc8331: whole (word_align)", rfc([](auto&) {}), {0x43, 0x44}, {}},
        {"rfc8331: shorter than header", rfc([](auto& b) { b.resize(7); }), {}, {R::Truncated}},
        {"rfc8331: Length too large", rfc([](auto& b) { b[3] += 4; }), {0x43, 0x44}, {R::LengthMismatch}},
        {"rfc8331: Length cuts a packet", rfc([](auto& b) { b[3] -= 4; }), {0x43},
         {R::LengthMismatch, R::CountBeyondData}},
        {"rfc8331: ANC_Count beyond data", rfc([](auto& b) { b[4] = 3; }), {0x43, 0x44}, {R::CountBeyondData}},
        {"rfc8331: bad parity (DID b9)", rfc([](auto& b) { b[12] ^= 0x80; }), {0x44}, {R::BadParity}},
        {"rfc8331: bad checksum (b9)", rfc([](auto& b) { b[19] ^= 0x08; }), {0x44}, {R::BadChecksum}},
        {"packets, words: 256 words", [](ParseObserver* o) {
             std::vector<Packet> p{{1, 2, 0, 0, std::vector<unsigned char>(256)}, kTwo[0]};
             words10FromPackets(p, o);
             return packetsFromAncillaryBuffer(ancillaryBufferFromPackets(p, o), true);
         }, {0x43}, {R::TooManyWords, R::TooManyWords}},
    };
    // clang-format on
    for (const FailureRow& row : rows) {
        Drops drops;
        std::vector<int> dids;
        for (const Packet& p : row.convert(&drops)) dids.push_back(p.did);
        EXPECT_EQ(dids, row.dids) << row.name;
        EXPECT_EQ(drops.reasons, row.reasons) << row.name;
    }
    EXPECT_EQ(vancLinesFromPackets(kTwo, {VancFormat::Uyvy, 1280})[0], 0x80);  // HD: chroma first
    auto rtp5 = rfc8331FromPackets(std::vector<Packet>{{1, 2, 0, 5, {}}});
    rtp5[11] &= 0x7F;                                     // S = 0: StreamNum is not valid
    EXPECT_EQ(packetsFromRfc8331(rtp5).at(0).stream, 0);  // so the packet has stream 0
    EXPECT_EQ(rtp5[8], 0x7F);                             // line 0 is written as "no line"
}

#ifdef VELMORA_HAVE_DUMP_TOOL
#include "dump/host_input.h"

TEST(HostForms, ToolReadsAnalyserSpellingsAndOneFramePerLine) {
    using namespace rdd18::dump;
    auto frames = [](std::string text, HostInputOptions o) {
        return framesOf({"f", {text.begin(), text.end()}}, o);
    };
    const HostInputOptions hex{InputForm::Packets, 1920, true};
    for (const char* text : {"00 FF FF 43 05 00 48", "0x00,0xFF,0xff, 0x43 0X05 00 48 # c",
                             "00000000: 00ff ff43 0500 48  ...C..H\n"})
        EXPECT_EQ(frames(text, hex).at(0).bytes,
                  (std::vector<unsigned char>{0, 0xFF, 0xFF, 0x43, 0x05, 0, 0x48}))
            << text;
    HostInputOptions words{InputForm::Words10, 1920, true, true};
    const auto perLine =
        frames("# a\n000 3FF 3FF 143 205 203 101 102 203 151\n\n3FC 143 205 200 149\n", words);
    ASSERT_EQ(perLine.size(), 2u);
    EXPECT_EQ(perLine[0].name, "f:2");
    EXPECT_EQ(perLine[0].bytes, ancillaryBufferFromPackets(std::vector<Packet>{kTwo[0]}));
    EXPECT_EQ(perLine[1].faults,
              std::vector<std::string>{
                  "input: bad checksum at word 0, line 0, DID 0x43 SDID 0x05, dropped"});
    EXPECT_THROW(frames("0001F", words), InputError);
}
#endif
