#include "rdd18/arri/arri_encoder.h"

#include <algorithm>
#include <string>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/internal/byte_order.h"
#include "rdd18/transport/encode_error.h"
#include "rdd18/transport/internal_klv.h"

namespace rdd18::arri {

void appendArriItem(const ArriAncKey& key, std::span<const unsigned char> value,
                    std::vector<unsigned char>& out, const ArriEncodeOptions& options) {
    constexpr std::size_t kMaxValue = 0xFFFFFF;  // the 24-bit length
    constexpr std::size_t kPerPacket = 255 - ArriAncillaryDataStreamReader::kHeaderSize;
    constexpr std::size_t kMaxPackets = 0xFFFF;
    const std::size_t total = internal::kKlvKeySize + internal::kKlvLengthFieldSize + value.size();
    if (value.size() > kMaxValue || total > kMaxPackets * kPerPacket) {
        throw EncodeError(
            Fault{.code = FaultCode::StreamTooLarge, .expected = kMaxValue, .found = value.size()},
            "",
            "an ARRI value of " + std::to_string(value.size()) +
                " bytes, more than an item carries");
    }
    std::vector<unsigned char> stream(key.bytes.begin(), key.bytes.end());
    const auto length = static_cast<std::uint32_t>(value.size());
    stream.insert(stream.end(),
                  {internal::kKlvLengthMarker, static_cast<unsigned char>(length >> 16),
                   static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length)});
    stream.insert(stream.end(), value.begin(), value.end());
    unsigned char payload[255];
    payload[0] = options.streamId;
    std::uint16_t sequence = 0;
    for (std::size_t at = 0; at < stream.size(); at += kPerPacket) {
        const std::size_t n = std::min(kPerPacket, stream.size() - at);
        internal::storeLittleEndian16(payload + 1, ++sequence);
        std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), n, payload + 3);
        appendAncillaryPacket(
            out, ArriAncillaryDataStreamReader::kDid, ArriAncillaryDataStreamReader::kSdid,
            {payload, n + 3},
            options.flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    }
}

std::vector<unsigned char> encodeArri(const Dictionary& answer, const ArriEncodeOptions& options) {
    std::vector<unsigned char> out;
    if (answer.empty()) return out;
    const ArriFileHeader record = fileHeaderFromAnswer(answer);
    appendArriItem(ArriAncMetadataKey, record.bytes, out, options);
    return out;
}

}  // namespace rdd18::arri
