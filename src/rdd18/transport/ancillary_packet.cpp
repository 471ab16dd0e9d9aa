#include "rdd18/transport/ancillary_packet.h"

#include "rdd18/transport/parse_observer.h"

namespace rdd18 {

namespace {
constexpr unsigned long kFlagSize = 3;
constexpr unsigned long kHeaderSize = 3;  // DID, SDID, DC
constexpr unsigned long kChecksumSize = 1;

bool isAncillaryDataFlag(const unsigned char* p) noexcept {
    return (p[0] == 0x00 && p[1] == 0xFF && p[2] == 0xFF) ||
           (p[0] == 0x04 && p[1] == 0xFB && p[2] == 0xFB);
}
}  // namespace

AncillaryDataBufferReader::AncillaryDataBufferReader(const unsigned char* data, unsigned long size,
                                                     AncillaryDataBufferContainsFlags flags,
                                                     ParseObserver* observer) noexcept
    : size_(data ? size : 0), cursor_(data), start_(data), flags_(flags), observer_(observer) {}

bool AncillaryDataBufferReader::hasNextPacket() {
    return cursor_ < start_ + size_;
}

unsigned long AncillaryDataBufferReader::remainingBufferSize() const noexcept {
    return static_cast<unsigned long>(start_ + size_ - cursor_);
}

unsigned long AncillaryDataBufferReader::offset() const noexcept {
    return static_cast<unsigned long>(cursor_ - start_);
}

std::optional<utils::AncillaryPacket> AncillaryDataBufferReader::readNextPacket() {
    if (!hasNextPacket()) return std::nullopt;
    const bool withFlags = flags_ == AncillaryDataBufferWithFlags;
    const unsigned long minimum =
        (withFlags ? kFlagSize : 0) + kHeaderSize + kChecksumSize;  // a packet with DC 0
    if (remainingBufferSize() < minimum) {
        if (observer_) observer_->shortTail(offset(), remainingBufferSize());
        cursor_ = start_ + size_;
        return std::nullopt;
    }
    if (withFlags) {
        // Resynchronisation is by whole flag widths: a bad flag costs exactly 3 bytes.
        const bool matched = isAncillaryDataFlag(cursor_);
        cursor_ += kFlagSize;
        if (!matched) {
            if (observer_) observer_->flagMismatch(offset() - kFlagSize);
            return std::nullopt;
        }
    }
    utils::AncillaryPacket packet;
    packet.did = cursor_[0];
    packet.sdid = cursor_[1];
    packet.size = cursor_[2];
    cursor_ += kHeaderSize;
    if (remainingBufferSize() < packet.payloadSize() + kChecksumSize) {
        if (observer_) {
            observer_->packetOverrun(offset() - kHeaderSize, packet.size, remainingBufferSize());
        }
        cursor_ = start_ + size_;  // a packet cut off by the end of the buffer loses the tail
        return std::nullopt;
    }
    packet.payload = cursor_;
    packet.checksum = cursor_[packet.size];
    cursor_ += packet.payloadSize() + kChecksumSize;
    return packet;
}

unsigned long packetOffset(const utils::AncillaryPacket& packet,
                           const unsigned char* buffer) noexcept {
    return static_cast<unsigned long>(packet.payload - buffer) - kHeaderSize;
}

std::vector<utils::AncillaryPacket> packetsFromData(const unsigned char* data, unsigned long size,
                                                    AncillaryDataBufferContainsFlags flags) {
    std::vector<utils::AncillaryPacket> packets;
    AncillaryDataBufferReader reader(data, size, flags);
    while (reader.hasNextPacket()) {
        if (auto packet = reader.readNextPacket()) packets.push_back(*packet);
    }
    return packets;
}

}  // namespace rdd18
