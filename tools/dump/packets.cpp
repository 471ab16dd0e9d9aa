#include "dump/packets.h"

#include <algorithm>
#include <cstdio>

#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18/transport/rtmd_sample.h"

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

Array packList(std::span<const unsigned char> sample) {
    constexpr std::size_t kKey = 16, kHeader = 20, kItemHeader = 4;
    const RtmdSample framed = readRtmdSample(sample);
    const auto packs = framed.packs;
    Array list;
    for (std::size_t at = 0; at + kHeader <= packs.size();) {
        const unsigned char* key = packs.data() + at;
        if (key[0] != 0x06 || key[1] != 0x0E || key[2] != 0x2B || key[3] != 0x34) {
            at += kKey;
            continue;
        }
        const std::size_t length = std::size_t{key[17]} << 16 | std::size_t{key[18]} << 8 | key[19];
        const std::size_t end = std::min(packs.size(), at + kHeader + length);
        std::size_t items = 0;
        for (std::size_t i = at + kHeader; i + kItemHeader <= end; ++items)
            i += kItemHeader + (std::size_t{packs[i + 2]} << 8 | packs[i + 3]);
        Dictionary d;
        d.set("offset", Number::integer(framed.header.size() + at));
        d.set("kind", key[12] == 0x01   ? Value("lens")
                      : key[12] == 0x02 ? Value("camera")
                      : key[12] == 0x7F ? Value("user")
                                        : byteText(key[12]));
        d.set("length", Number::integer(length));
        d.set("items", Number::integer(items));
        list.emplace_back(std::move(d));
        at += kHeader + length;
    }
    return list;
}

}  // namespace rdd18::dump
