// ST 2110-40 flows: RTP packets (RFC 3550) whose payloads are RFC 8331 payloads of ancillary
// packets. All RTP packets of a frame (or field) share one RTP timestamp and the last carries the
// marker bit; the sequence number counts packets, so a gap is a loss. The depacketiser here is
// fed the UDP payloads one by one, by whatever receives or reads them, and hands back frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

/// The fixed part of an RTP header, and where the payload lies in its datagram.
struct RtpHeader {
    bool marker = false;
    std::uint8_t payloadType = 0;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::size_t payloadOffset = 0;  ///< behind the CSRC list and the header extension
    std::size_t payloadSize = 0;    ///< up to the padding
};

/// The RTP header of `datagram` (a UDP payload), checked against it: version 2; the CSRC list
/// (CC), the header extension (X) and the padding (P, its count in the last byte) inside the
/// datagram. Nothing when it is no such packet, reported in unit Byte: `RtpHeaderCutOff`,
/// `RtpVersionNotTwo` (offset 0), `RtpPaddingBeyondData` (offset of the count). Never reads
/// outside `datagram`.
VELMORA_RDD18_EXPORT std::optional<RtpHeader> readRtpHeader(std::span<const unsigned char> datagram,
                                                            FaultSink* faults = nullptr);

/// Appends the 12-byte RTP header of `header` to `out`: version 2, no padding, extension or
/// CSRC (`payloadOffset` and `payloadSize` are not used).
VELMORA_RDD18_EXPORT void appendRtpHeader(const RtpHeader& header, std::vector<unsigned char>& out);

/// One frame (or field) of a flow, as `RtpDepacketiser` hands it back. Its spans are views into
/// the depacketiser, valid until its next `push` or `finish`.
struct RtpFrame {
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::uint8_t payloadType = 0;
    std::uint8_t field = 0;        ///< F of its first payload: 0 progressive, 2 and 3 the fields
    std::uint32_t sequence = 0;    ///< extended sequence number of its first RTP packet (RFC
                                   ///< 8331: Extended Sequence Number << 16 | RTP sequence number)
    std::uint32_t rtpPackets = 0;  ///< RTP packets it was gathered from
    bool marker = false;           ///< closed by the marker bit (else by a new timestamp or the
                                   ///< end of the flow: `RtpFrameUnclosed`)
    bool lost = false;             ///< RTP packets of it never came (`RtpPacketsLost`)
    std::span<const Packet> packets;  ///< the ancillary packets, in sequence order
    std::span<const Fault> faults;    ///< what was dropped, put back in order or found missing

    /// Closed by its marker with no RTP packet lost.
    bool complete() const noexcept { return marker && !lost; }
};

/// Where the depacketiser hands frames. A sink must not throw.
class VELMORA_RDD18_EXPORT RtpFrameSink {
  public:
    /// A frame to answer.
    virtual void frame(const RtpFrame& frame) = 0;
    /// A frame left out under `RtpOptions::dropIncomplete`; by default passed over.
    virtual void dropped(const RtpFrame&) {}

  protected:
    ~RtpFrameSink() = default;
};

struct RtpOptions {
    ConvertOptions convert = {};  ///< for the RFC 8331 payloads
    bool dropIncomplete =
        false;  ///< hand frames that aren't `complete()` to `dropped`, not `frame`
};

/// Gathers the RTP packets of one flow into frames. Pure: the caller feeds datagrams
/// in arrival order and the frames come back through the sink as they close, each once:
/// - the marker bit closes a frame at once; a packet with a new timestamp closes the open one
///   (`RtpFrameUnclosed`) and opens its own; `finish` closes the last (same fault);
/// - within a frame, packets are put in sequence order (`RtpReordered`) and gaps reported
///   (`RtpPacketsLost`), as are packets lost between the last frame's marker and a frame's first
///   packet, and those lost behind the packets of a frame closed by a new timestamp;
/// - a packet whose sequence number the frame holds is dropped (`RtpDuplicate`), as is one at or
///   up to 1,024 before the last of a frame already handed back (`RtpLatePacket`); further back
///   is taken for a sender that started again;
/// - a packet of another SSRC (another sender, or one started again) closes the open frame
///   (`RtpFrameUnclosed`) and numbers start afresh;
/// - a datagram that is no RTP packet is dropped (see `readRtpHeader`); its RFC 8331 payload is
///   read by `packetsFromRfc8331`'s rules, with its faults (`Fault::packet` is then the RTP
///   packet's index in the frame, in arrival order, and `offset` a byte of its payload).
/// A fault goes with the frame open when it is met (a dropped datagram with no frame open, with
/// the next frame). Once its storage has grown to the flow's frames, a frame costs no allocation
/// (faults aside). Never throws but for allocation failure.
class VELMORA_RDD18_EXPORT RtpDepacketiser {
  public:
    explicit RtpDepacketiser(const RtpOptions& options = {});

    /// Feeds one RTP packet, the bytes of a UDP payload; hands back the frames it closes (none,
    /// one, or two: the open one and, with the marker bit, its own).
    void push(std::span<const unsigned char> datagram, RtpFrameSink& sink);

    /// The flow has ended: hands back the open frame (a frame of no RTP packet when only
    /// faults are waiting) and starts afresh, as a new depacketiser.
    void finish(RtpFrameSink& sink);

  private:
    struct Segment {
        std::uint16_t sequence;
        std::uint16_t extended;    // RFC 8331's Extended Sequence Number
        std::uint32_t begin, end;  // its packets in store_
    };
    class FrameFaults;

    void open(const RtpHeader& header, std::span<const unsigned char> payload);
    void close(bool marker, RtpFrameSink& sink);
    void putInOrder();
    void report(Fault fault);
    void reportSequence(FaultCode code, std::size_t index, unsigned expected, unsigned found,
                        bool kept = false);

    RtpOptions options_;
    std::vector<Packet> store_, spare_;  // elements past `used_` keep their word storage
    std::size_t used_ = 0;
    std::vector<Segment> segments_;  // the open frame's RTP packets, in arrival order
    std::vector<Fault> faults_;
    RtpFrame frame_;  // the open frame's header fields
    bool open_ = false;
    bool reordered_ = false;
    std::uint16_t highest_ = 0;              // of the open frame
    std::optional<std::uint16_t> handed_;    // the last sequence number of the last frame handed
    std::optional<std::uint16_t> expected_;  // where the open frame should start
    std::optional<std::uint32_t> ssrc_;      // of the last packet
};

}  // namespace rdd18::host
