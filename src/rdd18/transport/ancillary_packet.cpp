#include "rdd18/transport/ancillary_packet.h"

#include "rdd18/transport/parse_observer.h"

namespace rdd18 {

AncillaryDataBufferReader::AncillaryDataBufferReader(const unsigned char* data, unsigned long size,
                                                     AncillaryDataBufferContainsFlags flags,
                                                     ParseObserver* observer) noexcept
    : size_(data ? size : 0), cursor_(data), start_(data), flags_(flags), observer_(observer) {}

void AncillaryDataBufferReader::endAtShortTail() {
    if (observer_) observer_->shortTail(offset(), remainingBufferSize());
    cursor_ = start_ + size_;
}

void AncillaryDataBufferReader::reportFlagMismatch() {
    observer_->flagMismatch(offset() - kFlagSize);
}

void AncillaryDataBufferReader::endAtOverrun(std::uint8_t dataCount) {
    if (observer_)
        observer_->packetOverrun(offset() - kHeaderSize, dataCount, remainingBufferSize());
    cursor_ = start_ + size_;
}

unsigned long packetOffset(const utils::AncillaryPacket& packet,
                           const unsigned char* buffer) noexcept {
    constexpr unsigned long kDidSdidDcSize = 3;
    return static_cast<unsigned long>(packet.payload - buffer) - kDidSdidDcSize;
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
