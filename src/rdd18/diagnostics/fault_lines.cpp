#include "rdd18/diagnostics/fault_lines.h"

#include <cstdio>
#include <utility>

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

}  // namespace

std::vector<std::string> FaultLines::take() {
    flushFlagRun();
    return std::move(lines_);
}

void FaultLines::add(std::string line) {
    flushFlagRun();
    lines_.push_back(std::move(line));
}

void FaultLines::close(bool flags, const char* lostAll) {
    if (streamPackets_ == 0) {
        add(format("%s: none of the %lu packets has DID 0x%02x and SDID 0x%02x%s", stream_,
                   packets_, unsigned{did_}, unsigned{sdid_},
                   flags ? "" : " (read without flags)"));
    } else if (failed_ && lostAll) {
        add(lostAll);
    }
}

void FaultLines::flushFlagRun() {
    if (flagRunEnd_ == flagRunStart_) return;
    lines_.push_back(format(
        "packet walk: bytes %lu-%lu are no ancillary data flag%s; the walk goes on at byte "
        "%lu",
        flagRunStart_, flagRunEnd_ - 1, flagRunEnd_ - flagRunStart_ > 3 ? "s" : "", flagRunEnd_));
    flagRunStart_ = flagRunEnd_;
}

void FaultLines::flagMismatch(unsigned long offset) {
    // A run of bad flags, 3 bytes at a time, is one line, written when the run ends.
    if (offset != flagRunEnd_) {
        flushFlagRun();
        flagRunStart_ = offset;
    }
    flagRunEnd_ = offset + 3;
}

void FaultLines::shortTail(unsigned long offset, unsigned long remaining) {
    add(format("packet walk: %lu bytes at byte %lu are too few for a packet; ignored", remaining,
               offset));
}

void FaultLines::packetOverrun(unsigned long offset, unsigned dataCount, unsigned long remaining) {
    add(
        format("packet walk: the packet at byte %lu needs %u payload bytes and a checksum, but "
               "only %lu bytes follow its header; the rest of the buffer is ignored",
               offset, dataCount, remaining));
}

void FaultLines::sequenceBroken(const utils::AncillaryPacket& packet, std::uint32_t expected,
                                std::uint32_t found) {
    add(
        format("%s stream: the packet at byte %lu breaks the sequence (expected %u, found %u); "
               "the stream ends behind the packet before it",
               stream_, packetOffset(packet, buffer_), unsigned{expected}, unsigned{found}));
}

void FaultLines::keyRejected(unsigned long position, const unsigned char* key) {
    add(
        format("%s stream: the 16 bytes at stream position %lu (%02x %02x %02x %02x ...) are no "
               "pack key; passed over",
               stream_, position, key[0], key[1], key[2], key[3]));
}

void FaultLines::truncated(TruncatedField field, unsigned long position) {
    failed_ = true;
    add(format("%s stream: the stream ends inside %s at stream position %lu", stream_,
               fieldName(field), position));
}

void FaultLines::payloadRejected(std::pair<unsigned char, unsigned char> itemTag,
                                 unsigned long /*length*/, unsigned long position,
                                 std::string_view reason) {
    failed_ = true;
    add(format("%s stream: item 0x%02x 0x%02x at stream position %lu: ", stream_, itemTag.first,
               itemTag.second, position) +
        std::string(reason));
}

void FaultLines::payloadZeroFilled(std::pair<unsigned char, unsigned char> itemTag,
                                   unsigned long length, unsigned long position) {
    add(
        format("%s stream: item 0x%02x 0x%02x at stream position %lu: the stream ends inside its "
               "%lu bytes; the missing bytes are given as zeros",
               stream_, itemTag.first, itemTag.second, position, length));
}

void FaultLines::badLengthMarker(unsigned long position, unsigned char marker) {
    failed_ = true;
    add(format("%s stream: the length field at stream position %lu starts with 0x%02x, not 0x83",
               stream_, position, marker));
}

void FaultLines::valueIncomplete(unsigned long position, unsigned long length,
                                 unsigned long delivered) {
    add(
        format("%s stream: the value of %lu bytes at stream position %lu ends after %lu bytes; "
               "the item is dropped",
               stream_, length, position, delivered));
}

}  // namespace rdd18
