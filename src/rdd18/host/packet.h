// The common currency of the host converters: one ancillary packet as a host holds it (DID, SDID,
// user data words as 8-bit values, where it travelled), what a converter dropped and why, and the
// way from a packet list to the 8-bit flagged buffer the parsers read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"

namespace rdd18 {
class ParseObserver;
}

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

/// Why a converter dropped (or, under `ConvertOptions::keepDamaged`, flagged) a packet or bytes.
enum class DropReason : std::uint8_t {
    BadParity,        ///< a DID, SDID, DC or user data word whose b8 isn't the even parity of
                      ///< b0-b7, or whose b9 isn't the inverse of b8
    BadChecksum,      ///< the checksum word isn't the 9-bit sum of DID..last UDW (b9 = not b8);
                      ///< on 8-bit lines, the 8-bit sum
    Truncated,        ///< the data ends inside a packet's header (flag, DID, SDID, DC)
    CountBeyondData,  ///< a DC (or an ANC_Count) promises more than the data holds
    ShortLine,        ///< a VANC line holds fewer bytes than its width needs
    LengthMismatch,   ///< an RFC 8331 Length field that disagrees with the payload's size
    TooManyWords,     ///< a packet of more than 255 user data words has no 8-bit form
};

/// A short text for `reason`, e.g. "bad parity".
VELMORA_RDD18_EXPORT std::string_view describe(DropReason reason) noexcept;

/// One drop, as the observer hears of it.
struct Drop {
    DropReason reason;
    std::size_t offset = 0;  ///< where, in the form's own unit: word, sample, byte or packet index
    std::uint16_t line = 0;  ///< the line (VANC: index of the line in the caller's bytes; RFC 8331:
                             ///< Line_Number), 0 elsewhere
    std::uint8_t did = 0;    ///< of the packet, when its header was read
    std::uint8_t sdid = 0;
    bool kept = false;  ///< the packet was delivered anyway (`keepDamaged`)
};

/// Options shared by the converters.
struct ConvertOptions {
    /// Deliver packets with a bad parity or checksum (still reported, with `Drop::kept`).
    bool keepDamaged = false;
};

/// The 8-bit checksum the packet buffer carries: (DID + SDID + DC + every UDW) mod 256.
VELMORA_RDD18_EXPORT std::uint8_t checksum8(const Packet& packet) noexcept;

/// Appends `packets` to `out` as the parsers' buffer with flags: 00 FF FF, DID, SDID, DC, the
/// user data words and the 8-bit checksum, packet after packet. A packet of more than 255 words
/// is left out and reported (`TooManyWords`, offset = its index). Never throws but for
/// allocation failure.
VELMORA_RDD18_EXPORT void appendAncillaryBuffer(std::span<const Packet> packets,
                                                std::vector<unsigned char>& out,
                                                ParseObserver* observer = nullptr);

/// `appendAncillaryBuffer` into a new buffer.
VELMORA_RDD18_EXPORT std::vector<unsigned char> ancillaryBufferFromPackets(
    std::span<const Packet> packets, ParseObserver* observer = nullptr);

/// The buffer of `packets` (as `appendAncillaryBuffer` writes it) in `out`, whose storage is
/// reused: a host writing frame after frame into one buffer allocates nothing once it has grown
/// to its frames' size.
VELMORA_RDD18_EXPORT void ancillaryBufferFromPackets(std::span<const Packet> packets,
                                                     std::vector<unsigned char>& out,
                                                     ParseObserver* observer = nullptr);

/// The packets of an 8-bit buffer, walked as the parsers walk it (`flags`: packets carry the
/// 3-byte flag); line and stream are 0. The checksum bytes are not kept.
VELMORA_RDD18_EXPORT std::vector<Packet> packetsFromAncillaryBuffer(
    std::span<const unsigned char> bytes, bool flags);

/// A packet source over a packet list, for the parsers: each packet is handed out as a view of
/// its own words, without a copy. Borrows the list, which must outlive the reader. A packet of
/// more than 255 words is passed over and reported (`TooManyWords`).
class VELMORA_RDD18_EXPORT PacketListReader : public virtual AncillaryDataReader {
  public:
    explicit PacketListReader(std::span<const Packet> packets,
                              ParseObserver* observer = nullptr) noexcept;

    std::optional<utils::AncillaryPacket> readNextPacket() override;
    bool hasNextPacket() override;

  private:
    std::span<const Packet> packets_;
    std::size_t next_ = 0;
    ParseObserver* observer_;
};

}  // namespace rdd18::host
