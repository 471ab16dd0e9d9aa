#include "dump/packets.h"

#include <cstdio>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18::dump {

namespace {

Value byteText(std::uint8_t b) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%02x", b);
    return Value(std::string(buf));
}

}  // namespace

Array packetList(std::span<const unsigned char> bytes, bool flags,
                 std::span<const host::St436mPacket> origins) {
    Array list;
    AncillaryDataBufferReader reader(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    std::size_t index = 0;
    while (reader.hasNextPacket()) {
        const auto found = reader.readNextPacket();
        if (!found) continue;
        const auto& p = *found;
        const bool rdd18 = p.did == RDD18AncillaryDataStreamReader::kDid &&
                           p.sdid == RDD18AncillaryDataStreamReader::kSdid;
        const bool arri = p.did == arri::ArriAncillaryDataStreamReader::kDid &&
                          p.sdid == arri::ArriAncillaryDataStreamReader::kSdid;
        Dictionary d;
        d.set("offset", Number::integer(reader.offsetOf(p)));
        d.set("did", byteText(p.did));
        d.set("sdid", byteText(p.sdid));
        d.set("dc", Number::integer(p.size));
        d.set("checksum", byteText(p.checksum));
        const std::uint8_t sent = host::checksum8(p.did, p.sdid, {p.payload, p.payloadSize()});
        d.set("checksumOk", Number::boolean(sent == p.checksum));
        d.set("kind", Value(rdd18 ? "rdd18" : arri ? "arri" : "other"));
        if (rdd18 && p.payloadSize() >= 1) d.set("sequence", Number::integer(p.payload[0]));
        if (arri && p.payloadSize() >= 3) {
            d.set("stream", Number::integer(p.payload[0]));
            d.set("sequence",
                  Number::integer(arri::ArriAncillaryDataStreamReader::sequenceNumber(p)));
        }
        if (index < origins.size()) {
            d.set("line", Number::integer(origins[index].line));
            d.set("wrapping", byteText(origins[index].wrapping));
            d.set("coding", Number::integer(origins[index].coding));
        }
        ++index;
        list.emplace_back(std::move(d));
    }
    return list;
}

}  // namespace rdd18::dump
