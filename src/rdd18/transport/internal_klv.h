// KLV framing shared by both streams (the library's own, not installed): a 16-byte key, then a
// 4-byte length field (a marker byte and a 24-bit big-endian length, see byte_order.h), then the
// value.
#pragma once

#include "rdd18/transport/fault.h"
#include "rdd18/transport/parsing_error.h"

namespace rdd18::internal {

inline constexpr unsigned long kKlvKeySize = 16;
inline constexpr unsigned long kKlvLengthFieldSize = 4;

/// Reads `count` bytes or throws ParsingError, reporting `code` (a field cut off by the end of the
/// stream) at stream position `start` to `faults` when given.
/// `Reader` is `utils::Reader` or a final stream class, whose calls then need no dispatch.
template <class Reader>
void readOrThrow(Reader& reader, unsigned char* buffer, unsigned long count, FaultCode code,
                 unsigned long start, FaultSink* faults) {
    if (reader.read(buffer, count) < count) {
        if (faults) {
            Fault fault{.code = code, .unit = FaultUnit::StreamPosition, .offset = start};
            faults->report(fault);
        }
        throw ParsingError();
    }
}

/// The same, for a field that starts at the reader's position.
template <class Reader>
void readOrThrow(Reader& reader, unsigned char* buffer, unsigned long count, FaultCode code,
                 FaultSink* faults) {
    readOrThrow(reader, buffer, count, code, reader.position(), faults);
}

}  // namespace rdd18::internal
