// Opt-in notifications from the parsers at every place where the wire rules drop data. It sits with
// the transport, the lowest layer that calls it, so every layer above can call it. A plain parse
// passes no observer and stays silent; a parse with faults (see diagnostics/fault_lines.h) passes
// one to the same parsing code to learn why an answer came out empty or short.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"

namespace rdd18 {

namespace host {
struct Drop;
}

/// Which field a stream ended inside.
enum class TruncatedField : std::uint8_t {
    PackKey,     ///< the 16-byte key of an RDD 18 pack
    PackLength,  ///< the 4-byte length field of an RDD 18 pack
    ItemHeader,  ///< the 2 tag bytes or 2 length bytes of an RDD 18 item
    ArriKey,     ///< the 16-byte key of an ARRI item
    ArriLength,  ///< the 4-byte length field of an ARRI item
};

/// Receives the events; every operation does nothing unless overridden. Buffer offsets count from
/// the first byte of the caller's buffer; stream positions are those of `utils::Reader::position`.
/// An observer must not throw.
class VELMORA_RDD18_EXPORT ParseObserver {
  public:
    virtual ~ParseObserver() = default;

    /// Packet walk: the 3 bytes at `offset` are no ancillary data flag; the walk resumes 3 bytes
    /// on.
    virtual void flagMismatch(unsigned long /*offset*/) {}
    /// Packet walk: `remaining` bytes at `offset` are too few for a packet and are ignored.
    virtual void shortTail(unsigned long /*offset*/, unsigned long /*remaining*/) {}
    /// Packet walk: the packet whose DID is at `offset` promises `dataCount` payload bytes and a
    /// checksum, but only `remaining` bytes follow its header; the rest of the buffer is ignored.
    virtual void packetOverrun(unsigned long /*offset*/, unsigned /*dataCount*/,
                               unsigned long /*remaining*/) {}

    /// A stream's packet numbering broke at `packet`: the stream ends behind the previous packet.
    virtual void sequenceBroken(const utils::AncillaryPacket& /*packet*/,
                                std::uint32_t /*expected*/, std::uint32_t /*found*/) {}

    /// RDD 18: 16 bytes read as a pack key at `position` don't start with 06 0E 2B 34.
    virtual void keyRejected(unsigned long /*position*/, const unsigned char* /*key16*/) {}
    /// The stream ended inside `field`, which starts at `position`.
    virtual void truncated(TruncatedField /*field*/, unsigned long /*position*/) {}
    /// RDD 18: the payload of the known item `tag` with length field `length`, starting at
    /// `position`, can't be decoded to its type; `reason` is its decoder's rule, in words.
    virtual void payloadRejected(std::pair<unsigned char, unsigned char> /*tag*/,
                                 unsigned long /*length*/, unsigned long /*position*/,
                                 std::string_view /*reason*/) {}
    /// RDD 18: the stream ends inside the raw payload of item `tag` (length field `length`,
    /// starting at `position`); the item is kept with zeros in place of the missing bytes.
    virtual void payloadZeroFilled(std::pair<unsigned char, unsigned char> /*tag*/,
                                   unsigned long /*length*/, unsigned long /*position*/) {}

    /// ARRI: the length field at `position` starts with `marker` instead of 0x83.
    virtual void badLengthMarker(unsigned long /*position*/, unsigned char /*marker*/) {}
    /// ARRI: a kept value of `length` bytes starting at `position` ended after `delivered` bytes
    /// and is dropped.
    virtual void valueIncomplete(unsigned long /*position*/, unsigned long /*length*/,
                                 unsigned long /*delivered*/) {}

    /// Host converters (rdd18/host/): a packet or bytes dropped, or kept though damaged, on the
    /// way from the host's form to the packet buffer (see host/packet.h).
    virtual void hostInputDropped(const host::Drop& /*drop*/) {}
};

}  // namespace rdd18
