// ARRI ancillary items: the KLV loop over the ARRI stream that collects the values a filter wants.
//
// Stream bytes, item after item, each item starting at the first stream byte of a packet:
//   [key, 16 bytes][0x83][value length L, 24-bit big-endian][value, L bytes]
// Whatever follows a value in the packet that holds its last byte is padding.
#pragma once

#include <functional>
#include <vector>

#include "rdd18/arri/arri_blob.h"
#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/parsing_error.h"

namespace rdd18 {
class FaultSink;
}

namespace rdd18::arri {

/// Decides whether an item is kept, by its key.
using ArriAncKeyFilter = std::function<bool(const ArriAncKey&)>;

/// Reads the ARRI items of the packets of `reader` and returns the values that `filter` keeps,
/// in stream order (the same key may come more than once). Any callable bool(const ArriAncKey&)
/// will do as filter; it is called once per item with a valid length field, before any value
/// byte is read. An empty filter throws std::bad_function_call at the first item.
///
/// Each value is read straight into the buffer its blob owns; a rejected value is skipped without
/// being copied. Never reads outside the packets' bytes.
///
/// Bad input:
/// - No ARRI packet, a first packet not numbered 1, a break of the packet numbering between items,
///   or a stream that ends inside a kept value: the complete values so far, without an error
///   (the incomplete value is dropped).
/// - A stream that ends or breaks inside a key or a length field, or a length marker other than
///   0x83: throws `rdd18::ParsingError`, and the values read so far are lost.
///
/// `faults`, when given, hears of a broken numbering, a bad length marker, a cut-off field, a
/// dropped value and a source without ARRI packets (see fault.h); it changes nothing of the
/// result.
VELMORA_RDD18_EXPORT std::vector<ArriAncBlob> parseAncillaryData(AncillaryDataReader& reader,
                                                                 const ArriAncKeyFilter& filter,
                                                                 FaultSink* faults = nullptr);

}  // namespace rdd18::arri
