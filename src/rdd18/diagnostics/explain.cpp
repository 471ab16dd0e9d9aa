#include "rdd18/diagnostics/explain.h"

#include <cstdio>
#include <string_view>
#include <type_traits>

#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/arri/arri_file_header.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/diagnostics/parse_observer.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18 {

namespace {

template <class... Args>
std::string format(const char* pattern, Args... args) {
    char line[256];
    std::snprintf(line, sizeof line, pattern, args...);
    return line;
}

const char* fieldName(TruncatedField field) {
    switch (field) {
        case TruncatedField::PackKey:
            return "the 16-byte key of a pack";
        case TruncatedField::PackLength:
            return "the 4-byte length field of a pack";
        case TruncatedField::ItemHeader:
            return "the 4-byte header of an item";
        case TruncatedField::ArriKey:
            return "the 16-byte key of an item";
        case TruncatedField::ArriLength:
            return "the 4-byte length field of an item";
    }
    return "a field";
}

/// What a payload type demands of its length field.
template <class T>
std::string payloadRequirement(unsigned long length) {
    if constexpr (std::is_same_v<T, std::string>) {
        return format("the stream ends inside its %lu bytes of text", length);
    } else if constexpr (std::is_same_v<T, std::vector<Rational>> ||
                         std::is_same_v<T, std::vector<HalfFloat>>) {
        constexpr unsigned long size = sizeof(typename T::value_type);
        if (length < 8)
            return format("length %lu, needs at least 8 for count and element size", length);
        return format("length %lu, needs a header of element size %lu and a count of %lu", length,
                      size, (length - 8) / size) +
               ((length - 8) % size ? " (length - 8 is no multiple of the element size)" : "");
    } else {
        if (length < sizeof(T)) return format("length %lu, needs %zu", length, sizeof(T));
        return format("the stream ends inside its %zu-byte value", sizeof(T));
    }
}

template <class... Rows>
std::string payloadRequirement(ItemTable<Rows...>, rdd18::tag tag, unsigned long length) {
    std::string text = "its payload can't be decoded";
    ((Rows::ItemType::Tag() == tag
          ? void(text = payloadRequirement<typename Rows::ItemType::PayloadType>(length))
          : void()),
     ...);
    return text;
}

/// Collects one line per event; `stream` names the stream in the lines.
class LineObserver : public ParseObserver {
  public:
    LineObserver(const unsigned char* buffer, const char* stream)
        : buffer_(buffer), stream_(stream) {}

    std::vector<std::string> lines;
    bool failed = false;

    void flagMismatch(unsigned long offset) override {
        // A run of bad flags, 3 bytes at a time, is one line.
        if (flagRunLine_ != 0 && flagRunLine_ == lines.size() && offset == flagRunEnd_) {
            lines.pop_back();
        } else {
            flagRunStart_ = offset;
        }
        flagRunEnd_ = offset + 3;
        lines.push_back(
            format("packet walk: bytes %lu-%lu are no ancillary data flag%s; the walk "
                   "goes on at byte %lu",
                   flagRunStart_, flagRunEnd_ - 1, flagRunEnd_ - flagRunStart_ > 3 ? "s" : "",
                   flagRunEnd_));
        flagRunLine_ = lines.size();
    }
    void shortTail(unsigned long offset, unsigned long remaining) override {
        lines.push_back(
            format("packet walk: %lu bytes at byte %lu are too few for a packet; ignored",
                   remaining, offset));
    }
    void packetOverrun(unsigned long offset, unsigned dataCount, unsigned long remaining) override {
        lines.push_back(
            format("packet walk: the packet at byte %lu needs %u payload bytes and a "
                   "checksum, but only %lu bytes follow its header; the rest of the "
                   "buffer is ignored",
                   offset, dataCount, remaining));
    }
    void sequenceBroken(const utils::AncillaryPacket& packet, std::uint32_t expected,
                        std::uint32_t found) override {
        const auto offset = static_cast<unsigned long>(packet.payload - buffer_) - 3;
        lines.push_back(
            format("%s stream: the packet at byte %lu breaks the sequence (expected %u, "
                   "found %u); the stream ends behind the packet before it",
                   stream_, offset, unsigned{expected}, unsigned{found}));
    }
    void keyRejected(unsigned long position, const unsigned char* key) override {
        lines.push_back(
            format("%s stream: the 16 bytes at stream position %lu (%02x %02x %02x %02x "
                   "...) are no pack key; passed over",
                   stream_, position, key[0], key[1], key[2], key[3]));
    }
    void truncated(TruncatedField field, unsigned long position) override {
        failed = true;
        lines.push_back(format("%s stream: the stream ends inside %s at stream position %lu",
                               stream_, fieldName(field), position));
    }
    void payloadRejected(std::pair<unsigned char, unsigned char> tag, unsigned long length,
                         unsigned long position) override {
        failed = true;
        lines.push_back(format("%s stream: item 0x%02x 0x%02x at stream position %lu: ", stream_,
                               tag.first, tag.second, position) +
                        requirement(tag, length));
    }
    void badLengthMarker(unsigned long position, unsigned char marker) override {
        failed = true;
        lines.push_back(
            format("%s stream: the length field at stream position %lu starts with "
                   "0x%02x, not 0x83",
                   stream_, position, marker));
    }
    void valueIncomplete(unsigned long position, unsigned long length,
                         unsigned long delivered) override {
        lines.push_back(
            format("%s stream: the value of %lu bytes at stream position %lu ends after "
                   "%lu bytes; the item is dropped",
                   stream_, length, position, delivered));
    }

    /// Set by the RDD 18 walk: describes what a tag's payload type demands.
    std::string (*requirement)(rdd18::tag, unsigned long) = nullptr;

  private:
    const unsigned char* buffer_;
    const char* stream_;
    std::size_t flagRunLine_ = 0;  // lines.size() right behind the line of the current run
    unsigned long flagRunStart_ = 0;
    unsigned long flagRunEnd_ = 0;
};

template <class Table>
std::string tableRequirement(rdd18::tag tag, unsigned long length) {
    return payloadRequirement(Table{}, tag, length);
}

ItemFactory factoryOf(std::int32_t type) {
    switch (type) {
        case 1:
            return varicamItemFactory();
        case 2:
            return sonyItemFactory();
        default:
            return standardItemFactory();
    }
}

unsigned long countPackets(std::span<const unsigned char> bytes, bool flags, std::uint8_t did,
                           std::uint8_t sdid, unsigned long* all) {
    const auto packets =
        packetsFromData(bytes.data(), bytes.size(),
                        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    unsigned long n = 0;
    for (const auto& p : packets) n += p.did == did && p.sdid == sdid;
    *all = packets.size();
    return n;
}

}  // namespace

std::vector<std::string> explainRDD18Frame(std::span<const unsigned char> bytes, bool flags,
                                           std::int32_t type) {
    LineObserver observer(bytes.data(), "RDD 18");
    observer.requirement = type == 1   ? &tableRequirement<VaricamItemTable>
                           : type == 2 ? &tableRequirement<SonyItemTable>
                                       : &tableRequirement<StandardItemTable>;
    const ItemFactory factory = factoryOf(type);
    AncillaryDataBufferReader packets(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, &observer);
    RDD18AncillaryDataStreamReader stream(packets);
    stream.setObserver(&observer);
    const ItemList items = parseDataForItems(stream, factory, &observer);

    unsigned long all = 0;
    if (countPackets(bytes, flags, RDD18AncillaryDataStreamReader::kDid,
                     RDD18AncillaryDataStreamReader::kSdid, &all) == 0) {
        observer.lines.push_back(
            format("RDD 18: none of the %lu packets has DID 0x43 and SDID 0x05%s", all,
                   flags ? "" : " (read without flags)"));
    } else if (observer.failed) {
        observer.lines.push_back("RDD 18: the parse failed, so every item of the frame is dropped");
    }
    return std::move(observer.lines);
}

std::vector<std::string> explainArriFrame(std::span<const unsigned char> bytes, bool flags) {
    LineObserver observer(bytes.data(), "ARRI");
    AncillaryDataBufferReader packets(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, &observer);
    std::vector<arri::ArriAncBlob> blobs;
    try {
        blobs = arri::parseAncillaryData(
            packets, [](const arri::ArriAncKey& key) { return key == arri::ArriAncMetadataKey; },
            &observer);
    } catch (const ParsingError&) {
        observer.lines.push_back("ARRI: the parse failed, so the answer is empty");
        return std::move(observer.lines);
    }
    unsigned long all = 0;
    if (countPackets(bytes, flags, arri::ArriAncillaryDataStreamReader::kDid,
                     arri::ArriAncillaryDataStreamReader::kSdid, &all) == 0) {
        observer.lines.push_back(
            format("ARRI: none of the %lu packets has DID 0x44 and SDID 0x04%s", all,
                   flags ? "" : " (read without flags)"));
    } else if (blobs.empty()) {
        observer.lines.push_back("ARRI: no complete item under the metadata key");
    } else if (blobs.front().size() < arri::ArriFileHeader::kSize) {
        observer.lines.push_back(format("ARRI: the first metadata item has %lu bytes, needs %lu",
                                        static_cast<unsigned long>(blobs.front().size()),
                                        static_cast<unsigned long>(arri::ArriFileHeader::kSize)));
    }
    return std::move(observer.lines);
}

}  // namespace rdd18
