// The ARRI byte stream, joined from the ancillary packets with DID 0x44, SDID 0x04.
//
// ARRI packet payload (at least 3 bytes):
//   [stream id, 1 byte][sequence number, 16-bit little-endian][stream bytes, DC - 3]
// The first packet of a stream, and the first packet after any change of stream id, carries
// sequence number 1, and each next packet one more. The numbering never wraps: after 0xFFFF the
// stream ends.
#pragma once

#include <cstdint>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/reader.h"

namespace rdd18::arri {

/// An ARRI byte stream: the four stream operations under a type of its own.
class VELMORA_RDD18_EXPORT ArriReader : public virtual utils::Reader {
  protected:
    virtual ~ArriReader() = default;
};

/// The ARRI stream joined from the packets of a packet source, which it borrows.
///
/// Packets of other kinds, and ARRI packets with fewer than 3 payload bytes, are passed over and
/// touch neither the stream id nor the sequence. A packet with a new stream id restarts the
/// numbering, so it must carry 1. A first packet not numbered 1, or a gap, repeat or reversal of
/// the numbering, ends the stream for good behind the last good packet; nothing is thrown.
class VELMORA_RDD18_EXPORT ArriAncillaryDataStreamReader final
    : public virtual utils::AncillaryPackagedDataStreamReader<ArriReader> {
  public:
    static constexpr std::uint8_t kDid = 0x44;
    static constexpr std::uint8_t kSdid = 0x04;
    /// Stream id and sequence number: the stream bytes start behind them.
    static constexpr std::int64_t kHeaderSize = 3;

    explicit ArriAncillaryDataStreamReader(AncillaryDataReader& source) noexcept
        : utils::AncillaryPackagedDataStreamReader<ArriReader>(source, kDid, kSdid) {}
    /// Over a buffer of packets: the stream walks it without a call per packet.
    explicit ArriAncillaryDataStreamReader(AncillaryDataBufferReader& source) noexcept
        : utils::AncillaryPackagedDataStreamReader<ArriReader>(source, kDid, kSdid) {}

    /// DID 0x44, SDID 0x04 and a payload of at least 3 bytes, tested in that order.
    bool doesAcceptPacket(const utils::AncillaryPacket& packet) override {
        return packet.did == kDid && packet.sdid == kSdid &&
               packet.payloadSize() >= static_cast<unsigned long>(kHeaderSize);
    }

    /// 3 when the packet continues the numbering of its stream id; otherwise the stream is
    /// invalidated and the answer is -1.
    std::int64_t readHeaderOfPacket(const utils::AncillaryPacket& packet) override {
        const std::uint8_t streamId = packet.payload[0];
        if (streamId != streamId_) {
            streamId_ = streamId;
            lastSequenceNumber_ = 0;
        }
        // After 0xFFFF no packet can follow.
        return continuesSequence(packet, lastSequenceNumber_, sequenceNumber(packet)) ? kHeaderSize
                                                                                      : -1;
    }

    /// The packet's sequence number: payload bytes 1 and 2, little-endian.
    static std::uint16_t sequenceNumber(const utils::AncillaryPacket& packet) noexcept {
        return static_cast<std::uint16_t>(packet.payload[1] | (packet.payload[2] << 8));
    }

  private:
    std::uint16_t lastSequenceNumber_ = 0;
    std::uint8_t streamId_ = 0;
};

}  // namespace rdd18::arri
