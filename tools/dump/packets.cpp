#include "dump/packets.h"

#include <cstdio>

#include "rdd18/transport/ancillary_packet.h"

namespace rdd18::dump {

namespace {

constexpr std::uint8_t kRdd18Did = 0x43, kRdd18Sdid = 0x05;
constexpr std::uint8_t kArriDid = 0x44, kArriSdid = 0x04;

Value byteText(std::uint8_t b) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%02x", b);
    return Value(std::string(buf));
}

std::uint8_t senderChecksum(const utils::AncillaryPacket& p) {
    unsigned sum = p.did + p.sdid + p.size;
    for (unsigned long i = 0; i < p.payloadSize(); ++i) sum += p.payload[i];
    return static_cast<std::uint8_t>(sum);
}

}  // namespace

Array packetWalk(std::span<const unsigned char> bytes, bool flags) {
    const auto packets =
        packetsFromData(bytes.data(), bytes.size(),
                        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    Array out;
    out.reserve(packets.size());
    for (const auto& p : packets) {
        const bool rdd18 = p.did == kRdd18Did && p.sdid == kRdd18Sdid;
        const bool arri = p.did == kArriDid && p.sdid == kArriSdid;
        Dictionary d;
        // The DID, SDID and DC bytes stand right in front of the payload.
        d.set("offset", Number::integer(p.payload - bytes.data() - 3));
        d.set("did", byteText(p.did));
        d.set("sdid", byteText(p.sdid));
        d.set("dc", Number::integer(p.size));
        d.set("checksum", byteText(p.checksum));
        d.set("checksumOk", Number::boolean(senderChecksum(p) == p.checksum));
        d.set("kind", Value(rdd18 ? "rdd18" : arri ? "arri" : "other"));
        if (rdd18 && p.payloadSize() >= 1) d.set("sequence", Number::integer(p.payload[0]));
        if (arri && p.payloadSize() >= 3) {
            d.set("stream", Number::integer(p.payload[0]));
            d.set("sequence", Number::integer(p.payload[1] | p.payload[2] << 8));
        }
        out.emplace_back(std::move(d));
    }
    return out;
}

}  // namespace rdd18::dump
