#include "rdd18/arri/arri_blob.h"

#include <cstring>
#include <utility>

namespace rdd18::arri {

const ArriAncKey ArriAncMetadataKey{{0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x0D, 0x0E, 0x17,
                                     0x00, 0x00, 0x00, 0x11, 0x01, 0x01}};
const ArriAncKey ArriAncLUTKey{{0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x0D, 0x0E, 0x17, 0x00,
                                0x00, 0x00, 0xA1, 0x01, 0x01}};

bool operator==(const ArriAncKey& a, const ArriAncKey& b) noexcept {
    return std::memcmp(a.bytes.data(), b.bytes.data(), a.bytes.size()) == 0;
}

namespace {

std::unique_ptr<unsigned char[]> adoptOrCopy(unsigned char* data, unsigned long size,
                                             ArriAncBlobMemoryManagement mode) {
    if (mode == ArriAncBlobMemoryTakeOwnership) return std::unique_ptr<unsigned char[]>(data);
    // new[] of 0 elements still gives a distinct, valid pointer: an empty blob has a buffer.
    auto copy = std::make_unique_for_overwrite<unsigned char[]>(size);
    if (size != 0) std::memcpy(copy.get(), data, size);
    return copy;
}

}  // namespace

ArriAncBlob::ArriAncBlob(ArriAncKey key, unsigned char* data, unsigned long size,
                         ArriAncBlobMemoryManagement mode)
    : data_(adoptOrCopy(data, size, mode)), size_(size), key_(key) {}

ArriAncBlob::ArriAncBlob(ArriAncKey key, std::unique_ptr<unsigned char[]> data,
                         unsigned long size) noexcept
    : data_(std::move(data)), size_(size), key_(key) {}

ArriAncBlob::ArriAncBlob(ArriAncBlob&& other) noexcept
    : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)), key_(other.key_) {}

ArriAncBlob& ArriAncBlob::operator=(ArriAncBlob&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    key_ = other.key_;
    return *this;
}

}  // namespace rdd18::arri
