// KLV framing shared by both streams (internal, not installed): a 16-byte key, then a 4-byte
// length field (a marker byte and a 24-bit big-endian length, see byte_order.h), then the value.
#pragma once

#include "rdd18/transport/parse_observer.h"
#include "rdd18/transport/parsing_error.h"
#include "rdd18/transport/reader.h"

namespace rdd18::internal {

inline constexpr unsigned long kKlvKeySize = 16;
inline constexpr unsigned long kKlvLengthFieldSize = 4;

/// Reads `count` bytes or throws ParsingError, telling `observer` (when given) that the stream
/// ended inside `field`, which starts at `start`.
/// `Reader` is `utils::Reader` or a final stream class, whose calls then need no dispatch.
template <class Reader>
void readOrThrow(Reader& reader, unsigned char* buffer, unsigned long count, TruncatedField field,
                 unsigned long start, ParseObserver* observer) {
    if (reader.read(buffer, count) < count) {
        if (observer) observer->truncated(field, start);
        throw ParsingError();
    }
}

/// The same, for a field that starts at the reader's position.
template <class Reader>
void readOrThrow(Reader& reader, unsigned char* buffer, unsigned long count, TruncatedField field,
                 ParseObserver* observer) {
    readOrThrow(reader, buffer, count, field, reader.position(), observer);
}

}  // namespace rdd18::internal
