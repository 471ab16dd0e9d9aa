// The RTP depacketiser: each kind of damage to a flow of the sample frames gives its faults and
// spares the other frames (the clean flows of any shape are the fuzz target's).
#include <gtest/gtest.h>

#include "rdd18/host/rtp.h"
#include "rtp_sender.h"

using namespace rdd18;
using namespace rdd18::host;
using testsupport::Bytes;
using testsupport::PacketList;
using C = FaultCode;

namespace {

struct Seen {
    RtpFrame frame;      // its spans are not kept
    PacketList packets;  // without where they travelled
    std::vector<C> codes;
    bool dropped;
};

struct Collect final : RtpFrameSink {
    std::vector<Seen> seen;
    void frame(const RtpFrame& f) override { keep(f, false); }
    void dropped(const RtpFrame& f) override { keep(f, true); }
    void keep(const RtpFrame& f, bool dropped) {
        const auto buffer = ancillaryBufferFromPackets(f.packets);
        Seen& s = seen.emplace_back(Seen{f, packetsFromAncillaryBuffer(buffer, true), {}, dropped});
        for (const Fault& x : f.faults) s.codes.push_back(x.code);
    }
};

std::vector<Seen> depacketise(const std::vector<Bytes>& flow, bool dropIncomplete = false) {
    RtpDepacketiser d({.dropIncomplete = dropIncomplete});
    Collect sink;
    for (const Bytes& datagram : flow) d.push(datagram, sink);
    d.finish(sink);
    return sink.seen;
}

const auto kFrames = testsupport::sampleFlowFrames(VELMORA_SAMPLES_DIR);

}  // namespace

TEST(Rtp, DamageGivesItsFaultsAndLeavesTheOtherFramesWhole) {
    // Frame 1: datagrams 1-18, one ANC packet each, their sequence numbers wrapping after the
    // first (0x1FFFF, then 0x20000: the high half comes from RFC 8331's Extended Sequence Number).
    const auto clean = testsupport::rtpFlow(kFrames, {.firstSequence = 0x1FFFE});
    const auto marker = static_cast<std::ptrdiff_t>(kFrames[1].size());  // frame 1's last datagram
    using Flow = std::vector<Bytes>;
    auto at = [](std::size_t k, std::function<void(Bytes&)> e) {
        return [=](Flow& f) { e(f[k]); };
    };
    const struct {
        const char* what;
        std::function<void(Flow&)> edit;
        std::vector<C> codes;      // of frame 1
        std::size_t missing = 0;   // of frame 1's packets
        std::vector<C> next = {};  // of frame 2
    } cases[] = {
        // clang-format off
        {"cut header", at(2, [](Bytes& d) { d.resize(11); }), {C::RtpHeaderCutOff, C::RtpPacketsLost}, 1},
        {"version 1", at(2, [](Bytes& d) { d[0] = 0x40; }), {C::RtpVersionNotTwo, C::RtpPacketsLost}, 1},
        {"padding", at(2, [](Bytes& d) { d[0] |= 0x20; d.insert(d.end(), {0, 2}); }), {}},
        {"padding beyond", at(2, [](Bytes& d) { d.resize(40); d[0] |= 0x20; d[39] = 29; }), {C::RtpPaddingBeyondData, C::RtpPacketsLost}, 1},
        {"extension", at(2, [](Bytes& d) { d[0] |= 0x10; d.insert(d.begin() + 12, {0xBE, 0xDE, 0, 1, 1, 2, 3, 4}); }), {}},
        {"extension beyond", at(2, [](Bytes& d) { d[0] |= 0x10; d[15] = 0xFF; }), {C::RtpHeaderCutOff, C::RtpPacketsLost}, 1},
        {"extension header cut", at(2, [](Bytes& d) { d = Bytes(d.begin(), d.begin() + 14); d[0] |= 0x10; }), {C::RtpHeaderCutOff, C::RtpPacketsLost}, 1},
        {"CSRC beyond", at(2, [](Bytes& d) { d.resize(20); d[0] |= 3; }), {C::RtpHeaderCutOff, C::RtpPacketsLost}, 1},
        {"Length", at(2, [](Bytes& d) { d[12 + 3] += 4; }), {C::LengthMismatch}},
        {"ANC_Count", at(2, [](Bytes& d) { d[12 + 4] = 2; }), {C::CountBeyondData}},
        {"lost", [](Flow& f) { f.erase(f.begin() + 2); }, {C::RtpPacketsLost}, 1},
        {"lost marker", [=](Flow& f) { f.erase(f.begin() + marker); }, {C::RtpPacketsLost, C::RtpFrameUnclosed}, 1},
        {"reordered", [](Flow& f) { std::swap(f[2], f[3]); }, {C::RtpReordered}},
        {"duplicate", [](Flow& f) { f.insert(f.begin() + 2, f[2]); }, {C::RtpDuplicate}},
        {"late marker", [=](Flow& f) { f.insert(f.begin() + marker + 1, f.begin()[marker]); }, {}, 0, {C::RtpLatePacket}},
        {"stop mid-frame", [=](Flow& f) { f.erase(f.begin() + marker, f.end()); }, {C::RtpFrameUnclosed}, 1},
        {"new SSRC from frame 2, numbered back", [=](Flow& f) { for (auto d = f.begin() + marker + 1; d != f.end(); ++d) (*d)[11] = 1, --(*d)[2]; }, {}},
        // clang-format on
    };
    for (const auto& c : cases) {
        for (const bool drop : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (drop ? ", dropped" : ""));
            auto flow = clean;
            c.edit(flow);
            const auto got = depacketise(flow, drop);
            const bool stopped = flow.size() == kFrames[1].size();
            ASSERT_EQ(got.size(), stopped ? 2 : kFrames.size());
            const Seen& s = got[1];
            const auto has = [&](C code) {
                return std::count(c.codes.begin(), c.codes.end(), code);
            };
            EXPECT_EQ(s.codes, c.codes);
            EXPECT_EQ(s.frame.lost, has(C::RtpPacketsLost) > 0);
            EXPECT_EQ(s.frame.marker, !has(C::RtpFrameUnclosed));
            EXPECT_EQ(s.dropped, drop && !s.frame.complete());
            EXPECT_EQ(s.packets.size(), kFrames[1].size() - c.missing);
            EXPECT_TRUE(c.missing || s.packets == kFrames[1]);
            EXPECT_EQ(s.frame.sequence, 0x1FFFFu);
            for (std::size_t f = 2; f < got.size(); ++f) {
                EXPECT_EQ(got[f].packets, kFrames[f]);
                EXPECT_EQ(got[f].codes, f == 2 ? c.next : std::vector<C>{});
            }
        }
    }
    // The header written is the header read, at the ends of the payload type's 7 bits.
    for (const std::uint8_t type : std::initializer_list<std::uint8_t>{0, 96, 127}) {
        for (const bool marker : {false, true}) {
            std::vector<unsigned char> d;
            host::appendRtpHeader({marker, type, 0xFFFF, 0xFFFFFFFF, 1}, d);
            const auto back = host::readRtpHeader(d);
            ASSERT_TRUE(back);
            EXPECT_EQ(back->payloadType, type);
            EXPECT_EQ(back->marker, marker);
        }
    }
    // Frame 2's first datagram lost: a frame starts right behind its predecessor's marker.
    auto flow = clean;
    flow.erase(flow.begin() + marker + 1);
    const auto got = depacketise(flow, false);
    ASSERT_EQ(got.size(), kFrames.size());
    EXPECT_EQ(got[2].codes, std::vector<C>{C::RtpPacketsLost});
}
