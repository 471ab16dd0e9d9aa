// Both facades over a packet list, without building the packet buffer: each packet's words are
// read where the list holds them.
#pragma once

#include <span>

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/packet.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"

namespace rdd18::host {

/// The answer `parser` gives for the 8-bit buffer of `packets` (see `ancillaryBufferFromPackets`).
/// A packet of more than 255 words is passed over and reported to `observer`.
inline Dictionary parseRDD18(const VLRDD18Parser& parser, std::span<const Packet> packets,
                             ParseObserver* observer = nullptr) {
    PacketListReader reader(packets, observer);
    return parser.parseData(reader);
}

/// The same for the ARRI facade.
inline Dictionary parseArri(const VLArriANCParser& parser, std::span<const Packet> packets,
                            ParseObserver* observer = nullptr) {
    PacketListReader reader(packets, observer);
    return parser.parseData(reader);
}

}  // namespace rdd18::host
