#include "rtp_sender.h"

#include <algorithm>
#include <span>

#include "rdd18/host/rfc8331.h"
#include "rdd18/host/rtp.h"

namespace rdd18::testsupport {

std::vector<Bytes> rtpFlow(const std::vector<PacketList>& frames, const FlowShape& shape) {
    std::vector<Bytes> flow;
    std::uint32_t sequence = shape.firstSequence;
    for (std::size_t f = 0; f < frames.size(); ++f) {
        const std::span<const host::Packet> packets = frames[f];
        bool last = false;
        for (std::size_t at = 0, n = 0; !last; at += n, ++sequence) {
            n = std::min(shape.perRtpPacket, packets.size() - at);
            last = at + n == packets.size() && (!shape.emptyMarkerPacket || n == 0);
            Bytes datagram;
            host::appendRtpHeader({last, 100, static_cast<std::uint16_t>(sequence),
                                   static_cast<std::uint32_t>(f * 1501), 0x90},
                                  datagram);
            flow.push_back(datagram +
                           host::rfc8331FromPackets(
                               packets.subspan(at, n), static_cast<std::uint16_t>(sequence >> 16),
                               nullptr,
                               static_cast<std::uint8_t>(shape.interlaced ? 2 + f % 2 : 0)));
        }
    }
    return flow;
}

std::vector<PacketList> sampleFlowFrames(const std::string& samplesDir) {
    std::vector<PacketList> frames{{}};
    for (const char* name : {"arri.anc", "standard.anc", "sony.anc", "mixed.anc"})
        frames.push_back(
            host::packetsFromAncillaryBuffer(fileBytes(samplesDir + "/" + name), true));
    return frames;
}

}  // namespace rdd18::testsupport
