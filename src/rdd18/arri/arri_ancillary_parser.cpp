#include "rdd18/arri/arri_ancillary_parser.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/diagnostics/parse_observer.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::arri {

namespace {

constexpr unsigned long kKeySize = 16;
constexpr unsigned long kLengthFieldSize = 4;

}  // namespace

std::vector<ArriAncBlob> parseAncillaryData(AncillaryDataReader& reader,
                                            const ArriAncKeyFilter& filter,
                                            ParseObserver* observer) {
    std::vector<ArriAncBlob> blobs;
    ArriAncillaryDataStreamReader stream(reader);
    stream.setObserver(observer);
    const auto fail = [&](TruncatedField field, unsigned long position) {
        if (observer) observer->truncated(field, position);
        throw ParsingError();
    };

    while (!stream.isAtEnd()) {
        const unsigned long itemStart = stream.position();
        ArriAncKey key{};
        static_assert(sizeof key.bytes == kKeySize);
        if (stream.read(key.bytes.data(), kKeySize) < kKeySize) {
            fail(TruncatedField::ArriKey, itemStart);
        }

        unsigned char lengthField[kLengthFieldSize];
        if (stream.read(lengthField, kLengthFieldSize) < kLengthFieldSize) {
            fail(TruncatedField::ArriLength, itemStart + kKeySize);
        }
        // Only the BER long form with three length bytes is valid here.
        if (lengthField[0] != internal::kKlvLengthMarker) {
            if (observer) observer->badLengthMarker(itemStart + kKeySize, lengthField[0]);
            throw ParsingError();
        }
        const std::uint32_t length = internal::klvLength(lengthField);

        if (!filter(key)) {
            // A short skip means the stream has ended; the next isAtEnd says so.
            stream.skip(length);
            stream.discardRestOfPacket();
            continue;
        }

        auto value = std::make_unique_for_overwrite<unsigned char[]>(length);
        // A value cut off by the end of the stream is dropped without an error.
        const unsigned long valueStart = stream.position();
        const unsigned long delivered = stream.read(value.get(), length);
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
