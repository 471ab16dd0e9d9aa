#include "dump/hints.h"

#include <algorithm>
#include <iterator>

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18/transport/rtmd_sample.h"

namespace rdd18::dump {

namespace {

bool isMetadataPacket(const utils::AncillaryPacket& p) {
    return (p.did == RDD18AncillaryDataStreamReader::kDid &&
            p.sdid == RDD18AncillaryDataStreamReader::kSdid) ||
           (p.did == arri::ArriAncillaryDataStreamReader::kDid &&
            p.sdid == arri::ArriAncillaryDataStreamReader::kSdid);
}

bool holdsMetadataPackets(std::span<const unsigned char> bytes, bool flags) {
    const auto packets =
        packetsFromData(bytes.data(), bytes.size(),
                        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    return std::any_of(packets.begin(), packets.end(), isMetadataPacket);
}

// Text of hexadecimal digits and white space, with at least one byte's worth of digits.
bool looksLikeHexText(std::span<const unsigned char> bytes) {
    const auto isSpace = [](unsigned char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
    };
    const auto isHexDigit = [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    const auto digits = std::count_if(bytes.begin(), bytes.end(), isHexDigit);
    return digits >= 2 && std::all_of(bytes.begin(), bytes.end(),
                                      [&](unsigned char c) { return isHexDigit(c) || isSpace(c); });
}

// An rtmd sample: a header of the length cameras write, then a pack key.
bool looksLikeRtmdSample(std::span<const unsigned char> bytes) {
    static constexpr unsigned char kPackKey[] = {0x06, 0x0E, 0x2B, 0x34};
    const RtmdSample sample = readRtmdSample(bytes);
    return sample.header.size() == kRtmdHeaderSize && sample.packs.size() >= sizeof kPackKey &&
           std::equal(std::begin(kPackKey), std::end(kPackKey), sample.packs.begin());
}

}  // namespace

std::string readingHint(std::span<const unsigned char> bytes, bool hex, bool flags) {
    if (holdsMetadataPackets(bytes, flags)) return {};
    if (!hex && looksLikeHexText(bytes)) return "it looks like hexadecimal text: try --hex";
    if (looksLikeRtmdSample(bytes)) {
        return "it looks like rtmd samples (an MP4 rtmd track's raw values): try --input rtmd";
    }
    if (holdsMetadataPackets(bytes, !flags)) {
        return flags ? "its packets look like they carry no flag: try --no-flags"
                     : "its packets look like they carry the 3-byte flag: leave out --no-flags";
    }
    return {};
}

std::string ariRefusal(std::span<const unsigned char> head) {
    if (head.size() >= arri::ArriFileHeader::kSize && arri::file_header::startsWithFileMagic(head))
        return {};
    FaultList faults;
    VLArriANCParser().parseFile(head, faults);
    return faults.empty() ? std::string() : describe(faults.faults().front());
}

}  // namespace rdd18::dump
