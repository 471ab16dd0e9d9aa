#include "rdd18/arri/arri_ancillary_parser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/klv.h"

namespace rdd18::arri {

namespace {

using internal::kKlvKeySize;
using internal::kKlvLengthFieldSize;

/// A kept value's bytes are read in chunks into a buffer that grows (doubling, from
/// `kFirstChunk`) only as the stream delivers them: a length field that promises more than the
/// stream holds costs no memory for the bytes that never come. A whole value ends in a buffer of
/// exactly its length.
constexpr unsigned long kFirstChunk = 64 * 1024;

std::unique_ptr<unsigned char[]> readValue(utils::Reader& stream, unsigned long length,
                                           unsigned long& delivered) {
    unsigned long capacity = std::min(length, kFirstChunk);
    auto buffer = std::make_unique_for_overwrite<unsigned char[]>(capacity);
    delivered = 0;
    for (;;) {
        delivered += stream.read(buffer.get() + delivered, capacity - delivered);
        if (delivered < capacity || capacity == length) return buffer;
        const unsigned long grown = std::min(length, 2 * capacity);
        auto larger = std::make_unique_for_overwrite<unsigned char[]>(grown);
        std::memcpy(larger.get(), buffer.get(), delivered);
        buffer = std::move(larger);
        capacity = grown;
    }
}

}  // namespace

std::vector<ArriAncBlob> parseAncillaryData(AncillaryDataReader& reader,
                                            const ArriAncKeyFilter& filter,
                                            ParseObserver* observer) {
    std::vector<ArriAncBlob> blobs;
    ArriAncillaryDataStreamReader stream(reader);
    stream.setObserver(observer);

    while (!stream.isAtEnd()) {
        const unsigned long itemStart = stream.position();
        ArriAncKey key{};
        static_assert(sizeof key.bytes == kKlvKeySize);
        internal::readOrThrow(stream, key.bytes.data(), kKlvKeySize, TruncatedField::ArriKey,
                              itemStart, observer);
        unsigned char lengthField[kKlvLengthFieldSize];
        internal::readOrThrow(stream, lengthField, kKlvLengthFieldSize, TruncatedField::ArriLength,
                              itemStart + kKlvKeySize, observer);
        // Only the BER long form with three length bytes is valid here.
        if (lengthField[0] != internal::kKlvLengthMarker) {
            if (observer) observer->badLengthMarker(itemStart + kKlvKeySize, lengthField[0]);
            throw ParsingError();
        }
        const std::uint32_t length = internal::klvLength(lengthField);

        if (!filter(key)) {
            // A short skip means the stream has ended; the next isAtEnd says so.
            stream.skip(length);
            stream.discardRestOfPacket();
            continue;
        }

        // A value cut off by the end of the stream is dropped without an error.
        const unsigned long valueStart = stream.position();
        unsigned long delivered = 0;
        auto value = readValue(stream, length, delivered);
        if (delivered < length) {
            if (observer) observer->valueIncomplete(valueStart, length, delivered);
            return blobs;
        }
        blobs.emplace_back(key, std::move(value), length);
        // Items start at a packet boundary: the rest of this packet is padding.
        stream.discardRestOfPacket();
    }
    return blobs;
}

}  // namespace rdd18::arri
