// The packet walk of a frame, as a value tree that every output format can show.
#pragma once

#include <span>

#include "rdd18/host/st436m.h"
#include "rdd18/platform/value.h"

namespace rdd18::dump {

/// One dictionary per packet that the library's packet walk finds in `bytes` (`flags`: whether
/// packets carry the 3-byte flag), in buffer order:
/// - "offset": buffer offset of the packet's DID byte (integer);
/// - "did", "sdid", "checksum": the bytes as text "0x43";
/// - "dc": the data count (integer);
/// - "checksumOk": whether the checksum byte is the one a sender computes in 8-bit form,
///   (DID + SDID + DC + all payload bytes) mod 256 (bool);
/// - "kind": "rdd18" (DID 0x43, SDID 0x05), "arri" (DID 0x44, SDID 0x04) or "other";
/// - "sequence": the packet's sequence number, for an RDD 18 packet with a payload and an ARRI
///   packet with at least 3 payload bytes; "stream": the stream id of such an ARRI packet.
/// - "line", "wrapping", "coding": where the packet was stored in an ST 436M element, when
///   `origins` (the element's packets the buffer was made from, in the same order) is given.
/// Bytes the walk passes over (bad flags, a short tail, a packet cut off by the end) are not
/// listed: they are what the explanation of a frame reports.
Array packetList(std::span<const unsigned char> bytes, bool flags,
                 std::span<const host::St436mPacket> origins);

/// One dictionary per pack of the rtmd sample `sample`, in order, as its framing finds them:
/// - "offset": the sample offset of the pack's key (integer);
/// - "kind": "lens", "camera" or "user" by the key's 13th byte (01, 02, 7F), else that byte as
///   text "0x..";
/// - "length": the pack's length field (integer); "items": the item headers that stand whole
///   inside the pack (integer).
/// A pack cut off by the end of the sample is listed with the length its field gives; bytes that
/// are no pack key are not listed.
Array packList(std::span<const unsigned char> sample);

}  // namespace rdd18::dump
