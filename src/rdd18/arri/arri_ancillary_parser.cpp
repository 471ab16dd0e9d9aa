#include "rdd18/arri/arri_ancillary_parser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/internal/byte_order.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/internal_klv.h"

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

template <class Packets>
std::vector<ArriAncBlob> parseStream(Packets& packets, const ArriAncKeyFilter& filter,
                                     FaultSink* faults) {
    std::vector<ArriAncBlob> blobs;
    ArriAncillaryDataStreamReader stream(packets);
    stream.setFaultSink(faults);

    while (!stream.isAtEnd()) {
        const unsigned long itemStart = stream.position();
        ArriAncKey key{};
        static_assert(sizeof key.bytes == kKlvKeySize);
        internal::readOrThrow(stream, key.bytes.data(), kKlvKeySize, FaultCode::ArriKeyCutOff,
                              itemStart, faults);
        unsigned char lengthField[kKlvLengthFieldSize];
        internal::readOrThrow(stream, lengthField, kKlvLengthFieldSize, FaultCode::ArriLengthCutOff,
                              itemStart + kKlvKeySize, faults);
        // Only the BER long form with three length bytes is valid here.
        if (lengthField[0] != internal::kKlvLengthMarker) {
            if (faults) {
                faults->report({.code = FaultCode::BadLengthMarker,
                                .unit = FaultUnit::StreamPosition,
                                .offset = itemStart + kKlvKeySize,
                                .found = lengthField[0]});
            }
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
            if (faults) {
                faults->report({.code = FaultCode::ValueIncomplete,
                                .unit = FaultUnit::StreamPosition,
                                .offset = valueStart,
                                .expected = length,
                                .found = delivered});
            }
            return blobs;
        }
        blobs.emplace_back(key, std::move(value), length);
        // Items start at a packet boundary: the rest of this packet is padding.
        stream.discardRestOfPacket();
    }
    return blobs;
}

}  // namespace

std::vector<ArriAncBlob> parseAncillaryData(AncillaryDataReader& reader,
                                            const ArriAncKeyFilter& filter, FaultSink* faults) {
    // A buffer's packets are walked by the stream itself, without a call per packet.
    if (auto* buffer = dynamic_cast<AncillaryDataBufferReader*>(&reader))
        return parseStream(*buffer, filter, faults);
    return parseStream(reader, filter, faults);
}

}  // namespace rdd18::arri
