// The ARRI writer: an answer, as the ARRI facade gives it, back into a file header record, its
// KLV item and ARRI packets.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "rdd18/arri/arri_blob.h"
#include "rdd18/arri/arri_file_header.h"
#include "rdd18/export.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"

namespace rdd18::arri {

/// The record whose translation (`VLArriANCParser::translateFileHeaderToDictionary`) gives
/// `answer` back, number kinds and bits included (a NaN comes back as a quiet NaN). Every field
/// the answer doesn't hold is written as the record marks it unset: all bits set (text fields
/// then read as empty, the lens and VFX keys as absent); so are the bytes no key reads. The five
/// lens keys come together or not at all.
///
/// Throws `EncodeError` naming the key for: a key the record has no field for (`UnknownKey`); a
/// value of a kind the field can't hold (`WrongKind`) or of the wrong shape (`NotAnAnswer`); a
/// lens key without the other four (`KeyMissing`); a number outside the field's range
/// (`OutOfRange`: a focus distance of 0 with lens data, ...); a number no stored value gives back
/// exactly (`NoExactCode`: 23.9761 frames per second, a T-stop off the table, ...); text longer
/// than its field (`TextTooLong`) or that the field can't give back (`UnwritableText`: beyond
/// Latin-1, a NUL inside, a first character U+00FF, a camera ID of other than 4 characters).
VELMORA_RDD18_EXPORT ArriFileHeader fileHeaderFromAnswer(const Dictionary& answer);

/// How ARRI packets are written.
struct ArriEncodeOptions {
    bool flags = true;          ///< each packet behind the 3-byte flag 00 FF FF
    std::uint8_t streamId = 1;  ///< the stream id of every packet
};

/// Appends the ARRI packets (DID 0x44, SDID 0x04) of one KLV item to `out`: the key, the length
/// field (0x83, then the 24-bit big-endian length) and `value`, split into packets of 252
/// stream bytes behind the stream id and the 16-bit little-endian sequence number, numbered from
/// 1. A value beyond the 24-bit length, or an item beyond 65,535 packets, throws `EncodeError`
/// (`StreamTooLarge`) and appends nothing.
VELMORA_RDD18_EXPORT void appendArriItem(const ArriAncKey& key,
                                         std::span<const unsigned char> value,
                                         std::vector<unsigned char>& out,
                                         const ArriEncodeOptions& options = {});

/// The 8-bit packet buffer whose ARRI parse gives `answer` back: `fileHeaderFromAnswer`, as the
/// item under `ArriAncMetadataKey`. An empty answer gives no packets. Throws `EncodeError` as
/// `fileHeaderFromAnswer` does.
VELMORA_RDD18_EXPORT std::vector<unsigned char> encodeArri(const Dictionary& answer,
                                                           const ArriEncodeOptions& options = {});

}  // namespace rdd18::arri
