// ST 436M ANC data elements, as MXF files carry a frame's ancillary packets: read into packets
// (and so into the 8-bit packet buffer that the parsers read), and written from packets.
//
// Element layout (all numbers big-endian):
//   packet count                 u16   (0: the frame carries no ANC)
//   per packet:
//     line number                u16
//     wrapping type              u8    1 VANC frame, 2 field 1, 3 field 2, 4 progressive;
//                                      0x11-0x14 the same for HANC
//     payload sample coding      u8    4/5/6 8-bit luma / colour difference / both,
//                                      7/8/9 the same in 10 bits,
//                                      10/11/12 8-bit with a parity error noted by the writer;
//                                      1-3 are 1-bit VBI lines, not ANC
//     sample count               u16
//     array count                u32   payload bytes, padding to a multiple of 4 included
//     element size               u32   always 1
//     payload                    array count bytes
// 8-bit payload: DID SDID DC UDW[DC], then a checksum byte or not (writers differ).
// 10-bit payload: three samples per big-endian 32-bit word in bits 31..2 (bits 1..0 zero):
// DID SDID DC UDW[DC] checksum, each with its parity bits (bit 8 even parity of bits 7..0, bit 9
// its inverse); the checksum is the 9-bit sum of the other words with bit 9 the inverse of bit 8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

// --- The packet of an element ---------------------------------------------------------------

/// One ANC packet of an element (`line` from its header, `stream` 0), with how the element
/// stores it.
struct St436mPacket : Packet {
    std::uint8_t wrapping = 0;  ///< wrapping type (VANC/HANC, frame/field/progressive)
    std::uint8_t coding = 0;    ///< payload sample coding it is stored in

    friend bool operator==(const St436mPacket&, const St436mPacket&) = default;
};

/// The packets as the parsers read them with flags, in the given order (see
/// `appendAncillaryBuffer`; a packet of more than `kMaxUserDataWords` words is left out and
/// reported, offset = its index).
VELMORA_RDD18_EXPORT std::vector<unsigned char> flaggedBuffer(std::span<const St436mPacket> packets,
                                                              FaultSink* faults = nullptr);

// --- Reading an element ---------------------------------------------------------------------

/// The packets of a frame's element, in element order.
struct St436mElement {
    std::vector<St436mPacket> packets;
};

/// Reads one element from `element` and never reads outside it. An empty element and a count of
/// 0 give no packets and no fault. A packet that breaks a rule is dropped and reported, and the
/// walk goes on behind it, since the array count says where the next one starts:
/// `ElementSizeNotOne` (`found` the element size), `VbiCoding` and `UnknownCoding` (`found` the
/// coding), `SamplesBeyondArray`, `PacketTooShort`, and for 10-bit codings `BadParity` (DID,
/// SDID or DC) and `BadChecksum`. When a header or payload would run past the end, the walk stops
/// there (`ElementCountBeyondData`, `ArrayBeyondData`). Every fault is reported in unit Packet,
/// `offset` and `packet` the packet's index in the element, with its line once its header was
/// read, and its DID and SDID for `BadParity` and `BadChecksum`. Samples behind the checksum are
/// ignored; 8-bit packets keep their low 8 bits unchanged. Never throws but for allocation
/// failure.
VELMORA_RDD18_EXPORT St436mElement readSt436mElement(std::span<const unsigned char> element,
                                                     FaultSink* faults = nullptr);

/// The size in bytes of the element at the start of `bytes`, found from its headers and array
/// counts alone, or nothing when the element runs past the end of `bytes`. For splitting a run of
/// elements written back to back.
VELMORA_RDD18_EXPORT std::optional<std::size_t> st436mElementSize(
    std::span<const unsigned char> bytes);

/// Bytes of the element header, and of each packet header, ahead of the payload.
inline constexpr std::size_t kSt436mCountSize = 2;
inline constexpr std::size_t kSt436mPacketHeaderSize = 14;

/// The array count (payload size) in a packet header of `kSt436mPacketHeaderSize` bytes, times
/// its element size, in 64 bits so that it can't overflow.
VELMORA_RDD18_EXPORT std::uint64_t st436mPayloadSize(const unsigned char* packetHeader) noexcept;

// --- Writing an element ---------------------------------------------------------------------

/// How `st436mElement` writes packets.
struct St436mWriteOptions {
    /// 8-bit codings: write the 8-bit checksum (see `checksum8`) behind the user data words, as
    /// one more sample. 10-bit codings always carry their checksum word.
    bool checksumByte = false;
};

/// The element of `packets`, in the layout above, packets in the given order: each with its
/// line, wrapping type and coding as given. 8-bit codings (4-6, 10-12) store the samples DID SDID
/// DC UDW[DC] and, with `options.checksumByte`, the 8-bit checksum; 10-bit codings (7-9) store
/// the same values with their parity bits and the 9-bit checksum word, three to a word. Each
/// payload is padded with zeros to a multiple of 4 bytes; the element size is 1.
/// `readSt436mElement` gives back the packets written (with `stream` 0: an element doesn't
/// carry it). A packet is left out and reported (unit
/// Packet, `offset` and `packet` its index in `packets`) when it holds more than
/// `kMaxUserDataWords` words (`TooManyWords`), when its coding is no ANC coding (`VbiCoding`,
/// `UnknownCoding`, `found` the coding), or when 65,535 packets, as many as the packet count
/// holds, were written before it (`CountBeyondData`). Never throws but for allocation failure.
VELMORA_RDD18_EXPORT std::vector<unsigned char> st436mElement(
    std::span<const St436mPacket> packets, const St436mWriteOptions& options = {},
    FaultSink* faults = nullptr);

}  // namespace rdd18::host
