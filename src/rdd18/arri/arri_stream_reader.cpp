#include "rdd18/arri/arri_stream_reader.h"

#include "rdd18/diagnostics/parse_observer.h"
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
    const std::uint16_t sequence = internal::loadLittleEndian16(packet.payload + 1);
    // Formed in 32 bits: after 0xFFFF the expected number is 0x10000, which no packet can carry.
    const std::uint32_t expected = std::uint32_t{lastSequenceNumber_} + 1;
    if (std::uint32_t{sequence} != expected) {
        if (ParseObserver* o = observer()) o->sequenceBroken(packet, expected, sequence);
        invalidateStream();
        return -1;
    }
    lastSequenceNumber_ = sequence;
    return kHeaderSize;
}

}  // namespace rdd18::arri
