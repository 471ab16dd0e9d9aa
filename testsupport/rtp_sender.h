// A sender of ST 2110-40 flows for the tests and benchmarks: frames (packet lists) into the RTP
// datagrams a network would carry, packed and split as a sender chooses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame_builder.h"
#include "rdd18/host/packet.h"

namespace rdd18::testsupport {

using PacketList = std::vector<host::Packet>;

struct FlowShape {
    std::size_t perRtpPacket = 1;     ///< ANC packets per RTP packet, at least 1
    bool emptyMarkerPacket = false;   ///< each frame closed by an empty RTP packet with the marker
    bool interlaced = false;          ///< frames are fields: F alternates 2, 3
    std::uint32_t firstSequence = 0;  ///< extended: the high 16 bits go into each payload
    std::uint32_t timestampStep = 1501;
};

/// The datagrams of `frames`, in order: RTP header (payload type 100, SSRC 0x90), RFC 8331
/// payload; sequence numbers run on across frames, each frame has a timestamp of its own and
/// its last datagram the marker bit (a frame of no packet is one empty datagram).
std::vector<Bytes> rtpFlow(const std::vector<PacketList>& frames, const FlowShape& shape = {});

}  // namespace rdd18::testsupport
