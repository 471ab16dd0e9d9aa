#include "rdd18/transport/fault.h"

#include <cstdio>

#include "rdd18/transport/encode_error.h"

namespace rdd18 {

namespace {

template <class... Args>
std::string format(const char* pattern, Args... args) {
    char line[256];
    std::snprintf(line, sizeof line, pattern, args...);
    return line;
}

/// "RDD 18" or "ARRI" for the two streams' identifiers, else the identifiers themselves.
std::string streamName(const Fault& f) {
    if (f.did == 0x43 && f.sdid == 0x05) return "RDD 18";
    if (f.did == 0x44 && f.sdid == 0x04) return "ARRI";
    return format("DID 0x%02x SDID 0x%02x", unsigned{f.did}, unsigned{f.sdid});
}

}  // namespace

const char* unitName(FaultUnit unit) noexcept {
    switch (unit) {
        case FaultUnit::Byte:
            return "byte";
        case FaultUnit::StreamPosition:
            return "stream position";
        case FaultUnit::Packet:
            return "packet";
        case FaultUnit::Word:
            return "word";
        case FaultUnit::Sample:
            return "sample";
    }
    return "offset";
}

namespace {

unsigned long ul(std::uint64_t n) {
    return static_cast<unsigned long>(n);
}

std::string itemAt(const Fault& f) {
    return format("RDD 18 stream: item 0x%02x 0x%02x at stream position %lu: ", unsigned{f.tag[0]},
                  unsigned{f.tag[1]}, ul(f.offset));
}

std::string cutOff(const char* stream, const char* field, const Fault& f) {
    return format("%s stream: the stream ends inside %s at stream position %lu", stream, field,
                  ul(f.offset));
}

/// A host converter's fault: what, where in the input, and what became of the packet.
std::string hostLine(const char* what, const Fault& f) {
    return format("input: %s at %s %lu%s%u, DID 0x%02x SDID 0x%02x, %s", what, unitName(f.unit),
                  ul(f.offset), f.unit == FaultUnit::Sample ? " of line " : ", line ",
                  unsigned{f.line}, unsigned{f.did}, unsigned{f.sdid}, f.kept ? "kept" : "dropped");
}

/// Where an RTP packet's fault lies: the packet's index in its frame.
std::string rtpLine(const Fault& f) {
    return format("RTP packet %lu of the frame: ", static_cast<unsigned long>(f.packet));
}

std::string elementLine(const char* what, const Fault& f) {
    return format("packet %lu (line %u): %s", static_cast<unsigned long>(f.packet),
                  unsigned{f.line}, what);
}

/// A refusal of the writer: what, and the item's tag when it names one.
std::string writerLine(const char* what, const Fault& f) {
    if (f.tag[0] == 0 && f.tag[1] == 0) return format("writer: %s", what);
    return format("writer: item 0x%02x 0x%02x: %s", unsigned{f.tag[0]}, unsigned{f.tag[1]}, what);
}

}  // namespace

void FaultList::report(const Fault& fault) {
    if (fault.code == FaultCode::BadFlag && !faults_.empty()) {
        Fault& last = faults_.back();
        if (last.code == FaultCode::BadFlag && last.offset + last.found == fault.offset) {
            last.found += fault.found;
            return;
        }
    }
    faults_.push_back(fault);
}

std::string_view codeName(FaultCode code) noexcept {
    switch (code) {
#define VELMORA_FAULT_NAME(name) \
    case FaultCode::name:        \
        return #name;
        VELMORA_FAULT_NAME(BadFlag)
        VELMORA_FAULT_NAME(ShortTail)
        VELMORA_FAULT_NAME(PacketOverrun)
        VELMORA_FAULT_NAME(SequenceBroken)
        VELMORA_FAULT_NAME(NoStreamPackets)
        VELMORA_FAULT_NAME(KeyRejected)
        VELMORA_FAULT_NAME(PackKeyCutOff)
        VELMORA_FAULT_NAME(PackLengthCutOff)
        VELMORA_FAULT_NAME(ItemHeaderCutOff)
        VELMORA_FAULT_NAME(PayloadTooShort)
        VELMORA_FAULT_NAME(PayloadCutOff)
        VELMORA_FAULT_NAME(VectorShapeRejected)
        VELMORA_FAULT_NAME(TextCutOff)
        VELMORA_FAULT_NAME(PayloadZeroFilled)
        VELMORA_FAULT_NAME(ItemsLost)
        VELMORA_FAULT_NAME(ArriKeyCutOff)
        VELMORA_FAULT_NAME(ArriLengthCutOff)
        VELMORA_FAULT_NAME(BadLengthMarker)
        VELMORA_FAULT_NAME(ValueIncomplete)
        VELMORA_FAULT_NAME(ArriParseFailed)
        VELMORA_FAULT_NAME(NoMetadataItem)
        VELMORA_FAULT_NAME(RecordTooShort)
        VELMORA_FAULT_NAME(NotArriRawFile)
        VELMORA_FAULT_NAME(FileCutShort)
        VELMORA_FAULT_NAME(BadParity)
        VELMORA_FAULT_NAME(BadChecksum)
        VELMORA_FAULT_NAME(HeaderCutOff)
        VELMORA_FAULT_NAME(CountBeyondData)
        VELMORA_FAULT_NAME(ShortLine)
        VELMORA_FAULT_NAME(LengthMismatch)
        VELMORA_FAULT_NAME(TooManyWords)
        VELMORA_FAULT_NAME(ElementCountBeyondData)
        VELMORA_FAULT_NAME(ArrayBeyondData)
        VELMORA_FAULT_NAME(ElementSizeNotOne)
        VELMORA_FAULT_NAME(VbiCoding)
        VELMORA_FAULT_NAME(UnknownCoding)
        VELMORA_FAULT_NAME(SamplesBeyondArray)
        VELMORA_FAULT_NAME(PacketTooShort)
        VELMORA_FAULT_NAME(RtmdHeaderBeyondSample)
        VELMORA_FAULT_NAME(RtmdHeaderTooShort)
        VELMORA_FAULT_NAME(RtmdPackCutOff)
        VELMORA_FAULT_NAME(RtmdNoPacks)
        VELMORA_FAULT_NAME(RtpHeaderCutOff)
        VELMORA_FAULT_NAME(RtpVersionNotTwo)
        VELMORA_FAULT_NAME(RtpPaddingBeyondData)
        VELMORA_FAULT_NAME(RtpPacketsLost)
        VELMORA_FAULT_NAME(RtpDuplicate)
        VELMORA_FAULT_NAME(RtpReordered)
        VELMORA_FAULT_NAME(RtpLatePacket)
        VELMORA_FAULT_NAME(RtpFrameUnclosed)
        VELMORA_FAULT_NAME(NotAnAnswer)
        VELMORA_FAULT_NAME(UnknownKey)
        VELMORA_FAULT_NAME(WrongKind)
        VELMORA_FAULT_NAME(OutOfRange)
        VELMORA_FAULT_NAME(NoExactCode)
        VELMORA_FAULT_NAME(TextTooLong)
        VELMORA_FAULT_NAME(UnwritableText)
        VELMORA_FAULT_NAME(KeyMissing)
        VELMORA_FAULT_NAME(StreamTooLarge)
#undef VELMORA_FAULT_NAME
    }
    return {};
}

std::string describe(const Fault& f) {
    switch (f.code) {
        case FaultCode::BadFlag:
            return format(
                "packet walk: bytes %lu-%lu are no ancillary data flag%s; the walk goes on at "
                "byte %lu",
                ul(f.offset), ul(f.offset + f.found - 1), f.found > 3 ? "s" : "",
                ul(f.offset + f.found));
        case FaultCode::ShortTail:
            return format("packet walk: %lu bytes at byte %lu are too few for a packet; ignored",
                          ul(f.found), ul(f.offset));
        case FaultCode::PacketOverrun:
            return format(
                "packet walk: the packet at byte %lu needs %lu payload bytes and a checksum, but "
                "only %lu bytes follow its header; the rest of the buffer is ignored",
                ul(f.offset), ul(f.expected), ul(f.found));
        case FaultCode::SequenceBroken:
            return format(
                "%s stream: the packet at %s %lu breaks the sequence (expected %lu, found %lu); "
                "the stream ends behind the packet before it",
                streamName(f).c_str(), unitName(f.unit), ul(f.offset), ul(f.expected), ul(f.found));
        case FaultCode::NoStreamPackets:
            return format("%s: none of the %lu packets has DID 0x%02x and SDID 0x%02x%s",
                          streamName(f).c_str(), ul(f.found), unsigned{f.did}, unsigned{f.sdid},
                          f.withoutFlags ? " (read without flags)" : "");
        case FaultCode::KeyRejected:
            return format(
                "RDD 18 stream: the 16 bytes at stream position %lu (%02x %02x %02x %02x ...) are "
                "no pack key; passed over",
                ul(f.offset), unsigned(f.found >> 24 & 0xFF), unsigned(f.found >> 16 & 0xFF),
                unsigned(f.found >> 8 & 0xFF), unsigned(f.found & 0xFF));
        case FaultCode::PackKeyCutOff:
            return cutOff("RDD 18", "the 16-byte key of a pack", f);
        case FaultCode::PackLengthCutOff:
            return cutOff("RDD 18", "the 4-byte length field of a pack", f);
        case FaultCode::ItemHeaderCutOff:
            return cutOff("RDD 18", "the 4-byte header of an item", f);
        case FaultCode::PayloadTooShort:
            return itemAt(f) + format("length %lu, needs %lu", ul(f.found), ul(f.expected));
        case FaultCode::PayloadCutOff:
            return itemAt(f) + format("the stream ends inside its %lu-byte value", ul(f.expected));
        case FaultCode::VectorShapeRejected: {
            constexpr std::uint64_t kHeaderSize = 8;  // count and element size
            if (f.found < kHeaderSize) {
                return itemAt(f) + format("length %lu, needs at least 8 for count and element size",
                                          ul(f.found));
            }
            const std::uint64_t size = f.expected ? f.expected : 1;
            return itemAt(f) +
                   format("length %lu, needs a header of element size %lu and a count of %lu%s",
                          ul(f.found), ul(f.expected), ul((f.found - kHeaderSize) / size),
                          (f.found - kHeaderSize) % size
                              ? " (length - 8 is no multiple of the element size)"
                              : "");
        }
        case FaultCode::TextCutOff:
            return itemAt(f) +
                   format("the stream ends inside its %lu bytes of text", ul(f.expected));
        case FaultCode::PayloadZeroFilled:
            return itemAt(f) + format(
                                   "the stream ends inside its %lu bytes; the missing bytes are "
                                   "given as zeros",
                                   ul(f.expected));
        case FaultCode::ItemsLost:
            return "RDD 18: the parse failed, so every item of the frame is dropped";
        case FaultCode::ArriKeyCutOff:
            return cutOff("ARRI", "the 16-byte key of an item", f);
        case FaultCode::ArriLengthCutOff:
            return cutOff("ARRI", "the 4-byte length field of an item", f);
        case FaultCode::BadLengthMarker:
            return format(
                "ARRI stream: the length field at stream position %lu starts with 0x%02x, not "
                "0x83",
                ul(f.offset), unsigned(f.found & 0xFF));
        case FaultCode::ValueIncomplete:
            return format(
                "ARRI stream: the value of %lu bytes at stream position %lu ends after %lu "
                "bytes; the item is dropped",
                ul(f.expected), ul(f.offset), ul(f.found));
        case FaultCode::ArriParseFailed:
            return "ARRI: the parse failed, so the answer is empty";
        case FaultCode::NoMetadataItem:
            return "ARRI: no complete item under the metadata key";
        case FaultCode::RecordTooShort:
            return format("ARRI: the first metadata item has %lu bytes, needs %lu", ul(f.found),
                          ul(f.expected));
        case FaultCode::NotArriRawFile:
            return format(
                "ARRI file: starts with 0x%lx, not \"ARRI\": no ARRIRAW frame, the answer is empty",
                ul(f.found));
        case FaultCode::FileCutShort:
            return format(
                "ARRI file: ends after %lu bytes, inside the %lu-byte header record; the answer "
                "is empty",
                ul(f.found), ul(f.expected));
        case FaultCode::BadParity:
            return hostLine("bad parity", f);
        case FaultCode::BadChecksum:
            return hostLine("bad checksum", f);
        case FaultCode::HeaderCutOff:
            return hostLine("data ends inside a packet header", f);
        case FaultCode::CountBeyondData:
            return hostLine("count beyond the data", f);
        case FaultCode::ShortLine:
            return hostLine("line shorter than its width", f);
        case FaultCode::LengthMismatch:
            return format(
                "input: the Length field at byte %lu says %lu bytes, but the payload holds %lu; "
                "read as far as both reach",
                ul(f.offset), ul(f.found), ul(f.expected));
        case FaultCode::TooManyWords:
            return hostLine("more than 255 user data words", f);
        case FaultCode::ElementCountBeyondData:
            return format(
                "packet %lu: the packet count runs past the end of the element; the "
                "rest is lost",
                static_cast<unsigned long>(f.packet));
        case FaultCode::ArrayBeyondData:
            return elementLine("the array count runs past the end of the element; the rest is lost",
                               f);
        case FaultCode::ElementSizeNotOne:
            return elementLine("element size is not 1", f);
        case FaultCode::VbiCoding:
            return elementLine(format("coding %lu is a VBI line, not ANC", ul(f.found)).c_str(), f);
        case FaultCode::UnknownCoding:
            return elementLine(format("coding %lu is not a sample coding", ul(f.found)).c_str(), f);
        case FaultCode::SamplesBeyondArray:
            return elementLine("the sample count needs more bytes than the array count gives", f);
        case FaultCode::PacketTooShort:
            return elementLine("fewer samples than DID, SDID, DC and the user data words", f);
        case FaultCode::RtmdHeaderBeyondSample:
            return format("rtmd sample: the header needs %lu bytes, the sample has %lu; no packs",
                          ul(f.expected), ul(f.found));
        case FaultCode::RtmdHeaderTooShort:
            return format(
                "rtmd sample: header length %lu is shorter than its own 2-byte field; no packs",
                ul(f.found));
        case FaultCode::RtmdPackCutOff:
            return format(
                "rtmd sample: the pack at byte %lu needs %lu bytes, only %lu are left; read as a "
                "cut stream",
                ul(f.offset), ul(f.expected), ul(f.found));
        case FaultCode::RtmdNoPacks:
            return format("rtmd sample: the %lu bytes behind the header at byte %lu are padding",
                          ul(f.found), ul(f.offset));
        case FaultCode::RtpHeaderCutOff:
            return rtpLine(f) + format(
                                    "its %lu bytes end inside the RTP header, which needs %lu; "
                                    "dropped",
                                    ul(f.found), ul(f.expected));
        case FaultCode::RtpVersionNotTwo:
            return rtpLine(f) + format("RTP version %lu, not 2; dropped", ul(f.found));
        case FaultCode::RtpPaddingBeyondData:
            return rtpLine(f) + format("padding of %lu bytes, but %lu follow the header; dropped",
                                       ul(f.found), ul(f.expected));
        case FaultCode::RtpPacketsLost:
            return rtpLine(f) + format("sequence number %lu, expected %lu: %lu packet%s lost",
                                       ul(f.found), ul(f.expected),
                                       ul((f.found - f.expected) & 0xFFFF),
                                       ((f.found - f.expected) & 0xFFFF) == 1 ? "" : "s");
        case FaultCode::RtpDuplicate:
            return rtpLine(f) + format("sequence number %lu arrived twice; dropped", ul(f.found));
        case FaultCode::RtpReordered:
            return rtpLine(f) + format("sequence number %lu came after %lu; put back in order",
                                       ul(f.found), ul((f.expected - 1) & 0xFFFF));
        case FaultCode::RtpLatePacket:
            return rtpLine(f) + format(
                                    "sequence number %lu belongs to a frame already handed back "
                                    "(its last: %lu); dropped",
                                    ul(f.found), ul(f.expected));
        case FaultCode::RtpFrameUnclosed:
            return f.expected ? "RTP: the flow ends before the frame's marker bit"
                              : format("RTP: timestamp %lu begins before the frame's marker bit",
                                       ul(f.found));
        case FaultCode::NotAnAnswer:
            return writerLine("a value of the wrong shape", f);
        case FaultCode::UnknownKey:
            return writerLine("a key the flavour or record has no place for", f);
        case FaultCode::WrongKind:
            return writerLine("a value of a kind the key can't hold", f);
        case FaultCode::OutOfRange:
            return writerLine("a number outside the wire range", f);
        case FaultCode::NoExactCode:
            return writerLine("a number no code gives back exactly", f);
        case FaultCode::TextTooLong:
            return writerLine(
                format("%lu bytes where the item holds %lu", ul(f.found), ul(f.expected)).c_str(),
                f);
        case FaultCode::UnwritableText:
            return writerLine("text the wire can't give back", f);
        case FaultCode::KeyMissing:
            return writerLine("a key the others need is missing", f);
        case FaultCode::StreamTooLarge:
            return format("writer: a stream of %lu bytes, more than packets carry (%lu)",
                          ul(f.found), ul(f.expected));
    }
    return format("fault %u", unsigned(f.code));
}

std::vector<std::string> describe(const std::vector<Fault>& faults) {
    std::vector<std::string> lines;
    lines.reserve(faults.size());
    for (const Fault& f : faults) lines.push_back(describe(f));
    return lines;
}

EncodeError::EncodeError(const Fault& fault, std::string key, const std::string& why)
    : std::runtime_error(key.empty() ? why : key + ": " + why),
      fault_(fault),
      key_(std::move(key)) {}

}  // namespace rdd18
