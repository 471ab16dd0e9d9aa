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
        const auto field = static_cast<std::uint8_t>(shape.interlaced ? 2 + f % 2 : 0);
        std::size_t at = 0;
        do {
            const std::size_t n = std::min(shape.perRtpPacket, packets.size() - at);
            const bool last = at + n == packets.size() && (!shape.emptyMarkerPacket || n == 0);
            host::RtpHeader h{.marker = last,
                              .payloadType = 100,
                              .sequence = static_cast<std::uint16_t>(sequence),
                              .timestamp = static_cast<std::uint32_t>(f * shape.timestampStep),
                              .ssrc = 0x90};
            Bytes datagram;
            host::appendRtpHeader(h, datagram);
            const auto payload = host::rfc8331FromPackets(
                packets.subspan(at, n), static_cast<std::uint16_t>(sequence >> 16), nullptr, field);
            datagram.insert(datagram.end(), payload.begin(), payload.end());
            flow.push_back(std::move(datagram));
            ++sequence;
            at += n;
            if (last) break;
        } while (true);
    }
    return flow;
}

}  // namespace rdd18::testsupport
