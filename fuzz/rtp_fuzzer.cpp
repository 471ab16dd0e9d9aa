// The RTP depacketiser. Each input is read twice:
// - as a sequence of datagrams (each behind a 2-byte big-endian length; the last takes what is
//   left): every frame handed holds at most the datagrams fed, its faults are RTP or host faults,
//   and a frame is complete only when it has no RTP packet lost;
// - as an 8-bit packet buffer: its packets, cut into frames and sent as a clean flow of a shape
//   the input's last bytes choose (packets per RTP packet, an empty marker packet, fields,
//   sequence numbers about to wrap), come back frame by frame, complete, without a fault, and
//   the parsers give each the answers they give its 8-bit buffer.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/rtp.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rtp_sender.h"

using namespace rdd18;
using namespace rdd18::host;

namespace {

struct Frames final : RtpFrameSink {
    std::size_t datagrams = 0;  // fed so far
    std::vector<testsupport::PacketList> clean;
    std::vector<bool> complete;
    void frame(const RtpFrame& f) override {
        VELMORA_FUZZ_CHECK(f.rtpPackets <= datagrams);
        bool lost = false;
        for (const Fault& x : f.faults) {
            VELMORA_FUZZ_CHECK(x.layer() == FaultLayer::Rtp || x.layer() == FaultLayer::Host);
            lost = lost || x.code == FaultCode::RtpPacketsLost;
        }
        VELMORA_FUZZ_CHECK(f.lost == lost);
        complete.push_back(f.complete() && f.faults.empty());
        clean.push_back(packetsFromAncillaryBuffer(ancillaryBufferFromPackets(f.packets), true));
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::InputCopy input(data, size);
    {
        RtpDepacketiser depacketiser;
        Frames frames;
        for (std::span<const unsigned char> rest = input.span(); !rest.empty();) {
            const std::size_t n =
                rest.size() < 2
                    ? rest.size()
                    : std::min<std::size_t>(rest.size() - 2, std::size_t{rest[0]} << 8 | rest[1]);
            const auto datagram = rest.subspan(rest.size() < 2 ? 0 : 2, n);
            ++frames.datagrams;
            depacketiser.push(datagram, frames);
            rest = rest.subspan(static_cast<std::size_t>(datagram.data() - rest.data()) + n);
        }
        depacketiser.finish(frames);
    }
    const auto packets = packetsFromAncillaryBuffer(input.span(), true);
    const std::size_t count = input.fromEnd(0) % 4 + 1;
    std::vector<testsupport::PacketList> sent(count);
    for (std::size_t k = 0; k < packets.size(); ++k)
        sent[k * count / packets.size()].push_back(packets[k]);
    const testsupport::FlowShape shape{.perRtpPacket = input.fromEnd(1) % 8u + 1,
                                       .emptyMarkerPacket = (input.fromEnd(2) & 1) != 0,
                                       .interlaced = (input.fromEnd(2) & 2) != 0,
                                       .firstSequence = 0xFFF0u + input.fromEnd(3)};
    RtpDepacketiser depacketiser;
    Frames frames;
    frames.datagrams = SIZE_MAX;
    for (const auto& datagram : testsupport::rtpFlow(sent, shape))
        depacketiser.push(datagram, frames);
    depacketiser.finish(frames);
    VELMORA_FUZZ_CHECK(frames.clean == sent);
    static const VLRDD18Parser rdd18(Flavour::Sony);
    static const VLArriANCParser arri;
    for (std::size_t f = 0; f < sent.size(); ++f) {
        VELMORA_FUZZ_CHECK(frames.complete[f]);
        const auto buffer = ancillaryBufferFromPackets(sent[f]);
        PacketListReader a(frames.clean[f]), b(frames.clean[f]);
        VELMORA_FUZZ_CHECK(rdd18.parseData(a) == rdd18.parseData(buffer, true));
        VELMORA_FUZZ_CHECK(arri.parseData(b) == arri.parseData(buffer, true));
    }
    return 0;
}
