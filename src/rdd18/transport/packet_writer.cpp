// Packets written as the walk and the RDD 18 stream join read them.
#include <algorithm>
#include <string>

#include "rdd18/internal/byte_sum.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/encode_error.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18 {

std::uint8_t checksum8(std::uint8_t did, std::uint8_t sdid,
                       std::span<const unsigned char> payload) noexcept {
    return static_cast<std::uint8_t>(did + sdid + payload.size() +
                                     internal::sumBytes(payload.data(), payload.size()));
}

void appendAncillaryPacket(std::vector<unsigned char>& out, std::uint8_t did, std::uint8_t sdid,
                           std::span<const unsigned char> payload,
                           AncillaryDataBufferContainsFlags flags) {
    if (flags == AncillaryDataBufferWithFlags) out.insert(out.end(), {0x00, 0xFF, 0xFF});
    const auto count = static_cast<std::uint8_t>(payload.size());
    out.insert(out.end(), {did, sdid, count});
    out.insert(out.end(), payload.begin(), payload.end());
    out.push_back(checksum8(did, sdid, payload));
}

void appendRDD18Packets(std::span<const unsigned char> stream, std::vector<unsigned char>& out,
                        AncillaryDataBufferContainsFlags flags) {
    if (stream.size() > kRDD18MaxStreamSize) {
        throw EncodeError(Fault{.code = FaultCode::StreamTooLarge,
                                .expected = kRDD18MaxStreamSize,
                                .found = stream.size()},
                          "",
                          "an RDD 18 stream of " + std::to_string(stream.size()) +
                              " bytes, more than 255 packets carry (" +
                              std::to_string(kRDD18MaxStreamSize) + ")");
    }
    unsigned char payload[1 + kRDD18BytesPerPacket];
    std::uint8_t sequence = 0;
    for (std::size_t at = 0; at < stream.size(); at += kRDD18BytesPerPacket) {
        const std::size_t n = std::min(kRDD18BytesPerPacket, stream.size() - at);
        payload[0] = ++sequence;
        std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), n, payload + 1);
        appendAncillaryPacket(out, RDD18AncillaryDataStreamReader::kDid,
                              RDD18AncillaryDataStreamReader::kSdid, {payload, n + 1}, flags);
    }
}

}  // namespace rdd18
