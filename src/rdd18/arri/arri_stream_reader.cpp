#include "rdd18/arri/arri_stream_reader.h"

#include "rdd18/internal/byte_order.h"

namespace rdd18::arri {

bool ArriAncillaryDataStreamReader::doesAcceptPacket(const utils::AncillaryPacket& packet) {
    return packet.did == kDid && packet.sdid == kSdid &&
           packet.payloadSize() >= static_cast<unsigned long>(kHeaderSize);
}

std::int64_t ArriAncillaryDataStreamReader::readHeaderOfPacket(
    const utils::AncillaryPacket& packet) {
    const std::uint8_t streamId = packet.payload[0];
    if (streamId != streamId_) {
        streamId_ = streamId;
        lastSequenceNumber_ = 0;
    }
    // After 0xFFFF no packet can follow.
    const std::uint16_t sequence = internal::loadLittleEndian16(packet.payload + 1);
    return continuesSequence(packet, lastSequenceNumber_, sequence) ? kHeaderSize : -1;
}

}  // namespace rdd18::arri
