// The RTP depacketiser: flows of the sample frames, packed and split several ways, give each
// frame's packets and its 8-bit answers; each kind of damage to a flow gives its faults, and the
// frames it doesn't touch come through whole.
#include <gtest/gtest.h>

#include <filesystem>

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/rtp.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rtp_sender.h"

using namespace rdd18;
using namespace rdd18::host;
using testsupport::Bytes;
using testsupport::PacketList;
using C = FaultCode;

namespace {

struct Seen {
    RtpFrame frame;
    PacketList packets;
    std::vector<C> codes;
};

struct Collect final : RtpFrameSink {
    std::vector<Seen> frames, lost;
    static Seen keep(const RtpFrame& f) {
        Seen s{f, {f.packets.begin(), f.packets.end()}, {}};
        for (const Fault& x : f.faults) s.codes.push_back(x.code);
        return s;
    }
    void frame(const RtpFrame& f) override { frames.push_back(keep(f)); }
    void dropped(const RtpFrame& f) override { lost.push_back(keep(f)); }
};

Collect depacketise(const std::vector<Bytes>& flow, RtpOptions options = {}) {
    RtpDepacketiser d(options);
    Collect sink;
    for (const Bytes& datagram : flow) d.push(datagram, sink);
    d.finish(sink);
    return sink;
}

/// The packets without where they travelled.
PacketList bare(std::span<const Packet> packets) {
    return packetsFromAncillaryBuffer(ancillaryBufferFromPackets(packets), true);
}

std::vector<PacketList> sampleFrames() {
    std::vector<PacketList> frames{{}};  // a frame without packets among them
    for (const char* name : {"arri.anc", "standard.anc", "sony.anc", "mixed.anc"})
        frames.push_back(packetsFromAncillaryBuffer(
            testsupport::fileBytes(std::string(VELMORA_SAMPLES_DIR) + "/" + name), true));
    return frames;
}

}  // namespace

TEST(Rtp, FlowsOfTheSamplesGiveEachFramesPacketsAndItsAnswers) {
    const auto frames = sampleFrames();
    const VLRDD18Parser rdd18(Flavour::Sony);
    const VLArriANCParser arri;
    using S = testsupport::FlowShape;
    for (const S& shape : {S{}, S{.perRtpPacket = 3, .emptyMarkerPacket = true, .interlaced = true},
                           S{.perRtpPacket = 8, .firstSequence = 0x2FFFE}}) {
        SCOPED_TRACE(shape.perRtpPacket);
        auto flow = testsupport::rtpFlow(frames, shape);
        std::swap(flow[1], flow[2]);  // frame 1 arrives out of order
        const Collect got = depacketise(flow);
        ASSERT_EQ(got.frames.size(), frames.size());
        for (std::size_t f = 0; f < frames.size(); ++f) {
            const Seen& s = got.frames[f];
            EXPECT_TRUE(s.frame.complete());
            EXPECT_EQ(s.codes, f == 1 ? std::vector<C>{C::RtpReordered} : std::vector<C>{});
            EXPECT_EQ(s.frame.field, shape.interlaced ? 2 + f % 2 : 0);
            EXPECT_EQ(s.frame.timestamp, f * 1501);
            ASSERT_EQ(bare(s.packets), frames[f]);
            const auto buffer = ancillaryBufferFromPackets(frames[f]);
            PacketListReader a(s.packets), b(s.packets);
            EXPECT_EQ(rdd18.parseData(a), rdd18.parseData(buffer, true));
            EXPECT_EQ(arri.parseData(b), arri.parseData(buffer, true));
        }
        EXPECT_EQ(got.frames.back().frame.sequence,
                  shape.firstSequence + flow.size() - 1 - (shape.emptyMarkerPacket ? 1 : 0) -
                      (frames.back().size() - 1) / shape.perRtpPacket);
    }
}

TEST(Rtp, DamageGivesItsFaultsAndLeavesTheOtherFramesWhole) {
    const auto frames = sampleFrames();
    const auto clean = testsupport::rtpFlow(frames);  // frame 1: datagrams 1..n, one ANC each
    const std::size_t second = 1 + frames[1].size();  // frame 2's first datagram
    using Edit = std::function<void(std::vector<Bytes>&)>;
    auto at = [](std::size_t k, std::function<void(Bytes&)> e) {
        return [=](std::vector<Bytes>& flow) { e(flow[k]); };
    };
    struct Case {
        const char* what;
        Edit edit;
        std::vector<C> codes;  // of frame 1
        bool lost = false, marker = true;
        std::size_t packets = SIZE_MAX;  // of frame 1, when not all
        std::vector<C> next = {};        // of frame 2
    } cases[] = {
        {"datagram cut in the header",
         at(2, [](Bytes& d) { d.resize(11); }),
         {C::RtpHeaderCutOff, C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"version 1",
         at(2, [](Bytes& d) { d[0] = 0x40; }),
         {C::RtpVersionNotTwo, C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"padding of 2",
         at(2,
            [](Bytes& d) {
                d[0] |= 0x20;
                d.push_back(0);
                d.push_back(2);
            }),
         {}},
        {"padding beyond",
         at(2,
            [](Bytes& d) {
                d.resize(40);
                d[0] |= 0x20;
                d.back() = 29;
            }),
         {C::RtpPaddingBeyondData, C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"extension",
         at(2,
            [](Bytes& d) {
                d[0] |= 0x10;
                d.insert(d.begin() + 12, {0xBE, 0xDE, 0, 1, 1, 2, 3, 4});
            }),
         {}},
        {"extension beyond",
         at(2,
            [](Bytes& d) {
                d[0] |= 0x10;
                d[15] = 0xFF;
            }),
         {C::RtpHeaderCutOff, C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"CSRC count beyond",
         at(2,
            [](Bytes& d) {
                d.resize(20);
                d[0] |= 3;
            }),
         {C::RtpHeaderCutOff, C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"Length too large", at(2, [](Bytes& d) { d[12 + 3] += 4; }), {C::LengthMismatch}},
        {"ANC_Count beyond", at(2, [](Bytes& d) { d[12 + 4] = 2; }), {C::CountBeyondData}},
        {"lost packet",
         [](auto& f) { f.erase(f.begin() + 2); },
         {C::RtpPacketsLost},
         true,
         true,
         frames[1].size() - 1},
        {"lost marker packet",
         [=](auto& f) { f.erase(f.begin() + second - 1); },
         {C::RtpPacketsLost, C::RtpFrameUnclosed},
         true,
         false,
         frames[1].size() - 1},
        {"duplicate", [](auto& f) { f.insert(f.begin() + 2, f[2]); }, {C::RtpDuplicate}},
        {"late duplicate of the marker",
         [=](auto& f) { f.insert(f.begin() + second, f[second - 1]); },
         {},
         false,
         true,
         SIZE_MAX,
         {C::RtpLatePacket}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto flow = clean;
        c.edit(flow);
        const Collect got = depacketise(flow);
        ASSERT_EQ(got.frames.size(), frames.size());
        const Seen& s = got.frames[1];
        EXPECT_EQ(s.codes, c.codes);
        EXPECT_EQ(s.frame.lost, c.lost);
        EXPECT_EQ(s.frame.marker, c.marker);
        EXPECT_EQ(s.packets.size(), std::min(c.packets, frames[1].size()));
        for (std::size_t f = 2; f < frames.size(); ++f) {
            EXPECT_EQ(bare(got.frames[f].packets), frames[f]);
            EXPECT_EQ(got.frames[f].codes, f == 2 ? c.next : std::vector<C>{});
        }
    }
}

TEST(Rtp, AFlowStoppingMidFrameAndDroppedFrames) {
    const auto frames = sampleFrames();
    auto flow = testsupport::rtpFlow(frames);
    flow.erase(flow.begin() + 2);  // frame 1 loses a packet
    flow.pop_back();               // the last frame its marker packet
    const Collect got = depacketise(flow, {.dropIncomplete = true});
    ASSERT_EQ(got.frames.size(), frames.size() - 2);
    ASSERT_EQ(got.lost.size(), 2u);
    EXPECT_EQ(got.lost[0].codes, std::vector<C>{C::RtpPacketsLost});
    EXPECT_EQ(got.lost[1].codes, std::vector<C>{C::RtpFrameUnclosed});
    EXPECT_EQ(got.lost[1].packets.size(), frames.back().size() - 1);
}
