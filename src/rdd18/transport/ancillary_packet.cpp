#include "rdd18/transport/ancillary_packet.h"

#include "rdd18/transport/fault.h"

namespace rdd18 {

AncillaryDataBufferReader::AncillaryDataBufferReader(const unsigned char* data, std::size_t size,
                                                     AncillaryDataBufferContainsFlags flags,
                                                     FaultSink* faults) noexcept
    : size_(data ? size : 0), cursor_(data), start_(data), flags_(flags), faults_(faults) {}

void AncillaryDataBufferReader::endAtShortTail() {
    if (faults_) {
        faults_->report(
            {.code = FaultCode::ShortTail, .offset = offset(), .found = remainingBufferSize()});
    }
    cursor_ = start_ + size_;
}

void AncillaryDataBufferReader::reportFlagMismatch() {
    faults_->report(
        {.code = FaultCode::BadFlag, .offset = offset() - kFlagSize, .found = kFlagSize});
}

void AncillaryDataBufferReader::endAtOverrun(std::uint8_t dataCount) {
    if (faults_) {
        faults_->report({.code = FaultCode::PacketOverrun,
                         .offset = offset() - kHeaderSize,
                         .expected = dataCount,
                         .found = remainingBufferSize()});
    }
    cursor_ = start_ + size_;
}

std::vector<utils::AncillaryPacket> packetsFromData(const unsigned char* data, std::size_t size,
                                                    AncillaryDataBufferContainsFlags flags) {
    std::vector<utils::AncillaryPacket> packets;
    AncillaryDataBufferReader reader(data, size, flags);
    while (reader.hasNextPacket()) {
        if (auto packet = reader.readNextPacket()) packets.push_back(*packet);
    }
    return packets;
}

}  // namespace rdd18
