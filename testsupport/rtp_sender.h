// A sender of ST 2110-40 flows for the tests, benchmarks and fuzzers: frames (packet lists) into
// RTP datagrams, packed and split as a sender chooses.
#pragma once

#include <string>

#include "frame_builder.h"
#include "rdd18/host/packet.h"

namespace rdd18::testsupport {

using PacketList = std::vector<host::Packet>;

struct FlowShape {
    std::size_t perRtpPacket = 1;     ///< ANC packets per RTP packet, at least 1
    bool emptyMarkerPacket = false;   ///< each frame closed by an empty RTP packet with the marker
    bool interlaced = false;          ///< frames are fields: F alternates 2, 3
    std::uint32_t firstSequence = 0;  ///< extended: the high 16 bits go into each payload
};

/// The datagrams of `frames` (payload type 100, SSRC 0x90): sequence numbers run on across
/// frames, frame `f` has timestamp 1501 f and its last datagram the marker bit.
std::vector<Bytes> rtpFlow(const std::vector<PacketList>& frames, const FlowShape& shape = {});

/// An empty frame, then the packets of the samples arri.anc (18), standard, sony and mixed.anc.
std::vector<PacketList> sampleFlowFrames(const std::string& samplesDir);

}  // namespace rdd18::testsupport
