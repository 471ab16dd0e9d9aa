// The RDD 18 byte stream: over a memory block, or joined from packets with DID 0x43, SDID 0x05.
//
// RDD 18 packet payload: [sequence number, 1 byte][stream bytes, DC - 1]. The first packet of a
// stream carries 1 and each next packet one more; the numbering never wraps, so a stream holds at
// most 255 packets of 254 stream bytes (64,770 bytes).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/reader.h"

namespace rdd18 {

/// An RDD 18 byte stream. `resynchronize` brings it to a place where a pack key may stand; it is
/// called when 16 bytes read as a key did not start with the universal label header.
class VELMORA_RDD18_EXPORT RDD18StreamReader : public virtual utils::Reader {
  public:
    virtual void resynchronize() = 0;

  protected:
    virtual ~RDD18StreamReader() = default;
};

/// An RDD 18 stream held in memory without packets. `resynchronize` does nothing: the next key is
/// looked for directly behind the bytes that failed.
class VELMORA_RDD18_EXPORT RDD18BufferReader final
    : public virtual utils::BufferReader<RDD18StreamReader> {
  public:
    RDD18BufferReader(const unsigned char* data, std::size_t size) noexcept
        : utils::BufferReader<RDD18StreamReader>(data, size) {}
    void resynchronize() override {}
};

/// The RDD 18 stream joined from the packets of a packet source.
///
/// Packets of other kinds and RDD 18 packets with DC 0 are passed over. A first packet not
/// numbered 1, or a gap, repeat or reversal of the numbering, ends the stream behind the last good
/// packet. `resynchronize` gives up the rest of the current packet.
class VELMORA_RDD18_EXPORT RDD18AncillaryDataStreamReader final
    : public virtual utils::AncillaryPackagedDataStreamReader<RDD18StreamReader> {
  public:
    static constexpr std::uint8_t kDid = 0x43;
    static constexpr std::uint8_t kSdid = 0x05;

    explicit RDD18AncillaryDataStreamReader(AncillaryDataReader& source) noexcept
        : utils::AncillaryPackagedDataStreamReader<RDD18StreamReader>(source, kDid, kSdid) {}
    /// Over a buffer of packets: the stream walks it without a call per packet.
    explicit RDD18AncillaryDataStreamReader(AncillaryDataBufferReader& source) noexcept
        : utils::AncillaryPackagedDataStreamReader<RDD18StreamReader>(source, kDid, kSdid) {}

    void resynchronize() override {
        utils::AncillaryPackagedDataStreamReader<RDD18StreamReader>::discardRestOfPacket();
    }

    bool doesAcceptPacket(const utils::AncillaryPacket& packet) override {
        return packet.did == kDid && packet.sdid == kSdid && packet.payloadSize() != 0;
    }

    std::int64_t readHeaderOfPacket(const utils::AncillaryPacket& packet) override {
        // After 255 no packet can follow: the stream holds at most 255 packets.
        return continuesSequence(packet, lastSequenceNumber_, std::uint8_t{packet.payload[0]}) ? 1
                                                                                               : -1;
    }

  private:
    std::uint8_t lastSequenceNumber_ = 0;
};

/// Stream bytes of one RDD 18 packet (a DC of 255 less the sequence number), and of a stream.
inline constexpr std::size_t kRDD18BytesPerPacket = 254;
inline constexpr std::size_t kRDD18MaxStreamSize = 255 * kRDD18BytesPerPacket;

/// Appends the packets of the RDD 18 stream `stream` to `out` (see `appendAncillaryPacket`):
/// DID 0x43, SDID 0x05, numbered from 1, each full but the last. No stream bytes, no packet.
/// A stream of more than `kRDD18MaxStreamSize` bytes throws `EncodeError` (`StreamTooLarge`)
/// and appends nothing.
VELMORA_RDD18_EXPORT void appendRDD18Packets(std::span<const unsigned char> stream,
                                             std::vector<unsigned char>& out,
                                             AncillaryDataBufferContainsFlags flags);

}  // namespace rdd18
