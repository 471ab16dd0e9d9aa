// The common currency of the host converters: one ancillary packet as a host holds it (DID, SDID,
// user data words as 8-bit values, where it travelled), and the way from a packet list to the
// 8-bit flagged buffer the parsers read. The converters report what they drop, or keep though
// damaged, as `rdd18::Fault` values (host codes, see fault.h) to the `FaultSink` a caller passes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/fault.h"

namespace rdd18::host {

/// One ancillary packet: identifiers, user data words (the 8-bit values, no DC, no checksum) and
/// where it came from. Owns its words.
struct Packet {
    std::uint8_t did = 0;
    std::uint8_t sdid = 0;
    std::uint16_t line = 0;   ///< line number it travelled on; 0 when unknown
    std::uint8_t stream = 0;  ///< stream (link, channel) index; 0 when unknown
    std::vector<unsigned char> udw;

    friend bool operator==(const Packet&, const Packet&) = default;
};

/// The most user data words a packet holds: its data count (DC) is one byte. A packet of more
/// has no 8-bit or 10-bit form; the converters leave it out and report `TooManyWords`.
inline constexpr std::size_t kMaxUserDataWords = 255;

/// Options shared by the converters.
struct ConvertOptions {
    /// Deliver packets with a bad parity or checksum (still reported, with `Fault::kept`).
    bool keepDamaged = false;
};

/// The 8-bit checksum of a packet from its DID, SDID and user data words (the transport's rule:
/// (DID + SDID + DC + every UDW) mod 256).
using rdd18::checksum8;

/// The 8-bit checksum the packet buffer carries for `packet` (see above).
VELMORA_RDD18_EXPORT std::uint8_t checksum8(const Packet& packet) noexcept;

/// Appends `packets` to `out` as the parsers' buffer with flags: 00 FF FF, DID, SDID, DC, the
/// user data words and the 8-bit checksum, packet after packet. A packet of more than
/// `kMaxUserDataWords` words is left out and reported (`TooManyWords`, unit Packet, offset = its
/// index in `packets`). Never throws but for allocation failure.
VELMORA_RDD18_EXPORT void appendAncillaryBuffer(std::span<const Packet> packets,
                                                std::vector<unsigned char>& out,
                                                FaultSink* faults = nullptr);

/// `appendAncillaryBuffer` into a new buffer.
VELMORA_RDD18_EXPORT std::vector<unsigned char> ancillaryBufferFromPackets(
    std::span<const Packet> packets, FaultSink* faults = nullptr);

/// The buffer of `packets` (as `appendAncillaryBuffer` writes it) in `out`, whose storage is
/// reused: a host writing frame after frame into one buffer allocates nothing once it has grown
/// to its frames' size.
VELMORA_RDD18_EXPORT void ancillaryBufferFromPackets(std::span<const Packet> packets,
                                                     std::vector<unsigned char>& out,
                                                     FaultSink* faults = nullptr);

/// The RDD 18 stream that `packets` carry: the payloads of their DID 0x43 / SDID 0x05 packets, in
/// order, each without its first byte (the sequence number, which isn't checked), as a sender's
/// packets are joined to write the stream elsewhere (an rtmd sample, for one).
VELMORA_RDD18_EXPORT std::vector<unsigned char> rdd18Stream(std::span<const Packet> packets);

/// The packets of an 8-bit buffer, walked as the parsers walk it (`flags`: packets carry the
/// 3-byte flag); line and stream are 0. The checksum bytes are not kept.
VELMORA_RDD18_EXPORT std::vector<Packet> packetsFromAncillaryBuffer(
    std::span<const unsigned char> bytes, bool flags);

/// A packet source over a packet list, for the parsers: each packet is handed out as a view of
/// its own words, without a copy. Borrows the list, which must outlive the reader. A packet of
/// more than `kMaxUserDataWords` words is passed over and reported (`TooManyWords`, unit Packet,
/// offset = its index). Both facades parse a packet list through it:
/// `PacketListReader reader(packets); parser.parseData(reader)` gives the answer `parser` gives
/// for the buffer `ancillaryBufferFromPackets(packets)`.
class VELMORA_RDD18_EXPORT PacketListReader : public virtual AncillaryDataReader {
  public:
    explicit PacketListReader(std::span<const Packet> packets,
                              FaultSink* faults = nullptr) noexcept;

    std::optional<utils::AncillaryPacket> readNextPacket() override;
    bool hasNextPacket() override;

  private:
    std::span<const Packet> packets_;
    std::size_t next_ = 0;
    FaultSink* faults_;
};

}  // namespace rdd18::host
