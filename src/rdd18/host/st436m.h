// ST 436M ANC data elements, as MXF files carry a frame's ancillary packets, turned into the 8-bit
// packet buffer that the parsers read.
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
#include <string>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

// --- The packet of an element ---------------------------------------------------------------

/// One ANC packet taken from an element (`line` from its header, `stream` 0), with how the
/// element stored it.
struct St436mPacket : Packet {
    std::uint8_t wrapping = 0;  ///< wrapping type (VANC/HANC, frame/field/progressive)
    std::uint8_t coding = 0;    ///< payload sample coding it was stored in
};

/// The packets as the parsers read them with flags, in the given order (see
/// `appendAncillaryBuffer`).
VELMORA_RDD18_EXPORT std::vector<unsigned char> flaggedBuffer(
    std::span<const St436mPacket> packets);

// --- Reading an element ---------------------------------------------------------------------

/// Why a packet, or the rest of an element, was dropped.
enum class St436mFault : std::uint8_t {
    CountBeyondData,     ///< the packet count promises more packets than the element holds
    PayloadBeyondData,   ///< a packet's array count runs past the end of the element
    ElementSizeNotOne,   ///< element size other than 1
    VbiCoding,           ///< coding 1-3: a 1-bit VBI line, not an ANC packet
    UnknownCoding,       ///< a coding outside 1-12
    SamplesBeyondArray,  ///< the sample count needs more bytes than the array count gives
    PacketTooShort,      ///< fewer samples than DID, SDID, DC and the DC user data words
    BadParity,           ///< 10-bit DID, SDID or DC with wrong parity bits
    BadChecksum,         ///< 10-bit checksum word that doesn't match the other words
};

/// A dropped packet: its index in the element (0-based), its line and coding, and the reason.
struct St436mDrop {
    std::size_t index = 0;
    std::uint16_t line = 0;
    std::uint8_t coding = 0;
    St436mFault fault{};
};

/// Everything a frame's element gives: the packets in element order and what was dropped.
struct St436mElement {
    std::vector<St436mPacket> packets;
    std::vector<St436mDrop> drops;
};

/// Reads one element from `element` and never reads outside it. An empty element and a count of
/// 0 give no packets and no drop. A packet that breaks a rule is dropped with its fault and the
/// walk goes on behind it, since the array count says where the next one starts; when a header or
/// payload would run past the end the walk stops there (CountBeyondData, PayloadBeyondData).
/// Samples behind the checksum are ignored; 8-bit packets keep their low 8 bits unchanged.
VELMORA_RDD18_EXPORT St436mElement readSt436mElement(std::span<const unsigned char> element);

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

/// One line of text for a drop, e.g. "packet 2 (line 9): coding 1 is a VBI line, not ANC".
VELMORA_RDD18_EXPORT std::string describe(const St436mDrop& drop);

}  // namespace rdd18::host
