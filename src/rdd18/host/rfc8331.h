// ST 2110-40 / RFC 8331 RTP payloads of ancillary data. After the 8-byte header (Extended
// Sequence Number 16 bits, Length 16, ANC_Count 8, F 2, reserved 22) each packet is a bit
// string: C (1), Line_Number (11), Horizontal_Offset (12), S (1), StreamNum (7), then DID, SDID,
// Data_Count, the user data words and Checksum_Word, 10 bits each, then zero bits up to the next
// 32-bit boundary of the payload (word_align) before the next packet.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

/// The 8-byte header of an RFC 8331 payload.
struct Rfc8331Header {
    std::uint16_t extendedSequenceNumber = 0;  ///< the high 16 bits of the 32-bit sequence number
    std::uint16_t length = 0;                  ///< bytes behind the header, as the sender says
    std::uint8_t ancCount = 0;                 ///< ANC packets in the payload
    std::uint8_t field = 0;  ///< F: 0 progressive, 2 first field, 3 second field (1 is invalid)
};

/// The header of `payload`; nothing when it holds fewer than 8 bytes. Nothing is checked
/// against the bytes behind it (that is `packetsFromRfc8331`'s part).
VELMORA_RDD18_EXPORT std::optional<Rfc8331Header> readRfc8331Header(
    std::span<const unsigned char> payload) noexcept;

/// The packets of one RTP payload (without the RTP header), with their Line_Number and, when S
/// is set, StreamNum. Length counts the bytes behind the 8-byte header; when it disagrees with
/// the payload, that is reported (`LengthMismatch`, `found` the Length, `expected` the bytes
/// there are) and only the bytes both allow are read. A payload shorter than its header is
/// `HeaderCutOff`; an ANC_Count or a Data_Count beyond the bytes ends the walk
/// (`CountBeyondData`, or `HeaderCutOff` inside a packet header); a bad parity or checksum drops
/// the packet unless `options.keepDamaged` (`BadParity`, `BadChecksum`). Faults are reported in
/// unit Byte at the byte offset in `payload` of the packet, or of the header field at fault
/// (Length: 2, ANC_Count: 4), with `Fault::line` the packet's Line_Number when it was read.
/// Never reads outside `payload`; never throws but for allocation failure.
VELMORA_RDD18_EXPORT std::vector<Packet> packetsFromRfc8331(std::span<const unsigned char> payload,
                                                            const ConvertOptions& options = {},
                                                            FaultSink* faults = nullptr);

/// `packetsFromRfc8331` into `out`, which ends holding exactly the packets found (the same
/// packets and drops as the call above, on any input). Its elements and their word storage are
/// reused, so a host converting payload after payload into one list allocates nothing once the
/// list has grown to its payloads' shape.
VELMORA_RDD18_EXPORT void packetsFromRfc8331(std::span<const unsigned char> payload,
                                             std::vector<Packet>& out,
                                             const ConvertOptions& options = {},
                                             FaultSink* faults = nullptr);

/// One RTP payload carrying `packets` (at most 255 of them in at most 65,535 bytes behind the
/// header, as ANC_Count and Length allow; packets beyond that (`CountBeyondData`), and packets of
/// more than `kMaxUserDataWords` words (`TooManyWords`), are left out and reported in unit
/// Packet, offset = the packet's index). Each packet goes out with C = 0,
/// its line (0x7FF when 0: no particular line), Horizontal_Offset 0xFFF (no particular place),
/// S set and StreamNum given when its stream isn't 0; F is `field` (its low 2 bits).
VELMORA_RDD18_EXPORT std::vector<unsigned char> rfc8331FromPackets(
    std::span<const Packet> packets, std::uint16_t extendedSequenceNumber = 0,
    FaultSink* faults = nullptr, std::uint8_t field = 0);

}  // namespace rdd18::host
