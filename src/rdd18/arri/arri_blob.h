// ARRI ancillary items in memory: the 16-byte key that names an item, and the blob that owns one
// item's value under its key.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "rdd18/export.h"

namespace rdd18::arri {

/// The key of an ARRI KLV item: 16 bytes in wire order, shaped like a SMPTE universal label
/// (06 0E 2B 34 ...). No part of it is interpreted; keys are only ever compared whole.
struct ArriAncKey {
    std::array<unsigned char, 16> bytes;
};

/// True when all 16 bytes are equal.
VELMORA_RDD18_EXPORT bool operator==(const ArriAncKey& a, const ArriAncKey& b) noexcept;

/// The item whose value is the 4096-byte file header record of a frame:
/// 06 0E 2B 34 02 05 01 0D 0E 17 00 00 00 11 01 01.
extern VELMORA_RDD18_EXPORT const ArriAncKey ArriAncMetadataKey;
/// The item that carries a look-up table: 06 0E 2B 34 02 05 01 0D 0E 17 00 00 00 A1 01 01.
/// The library never selects it by itself; name it in a filter of `parseAncillaryData`.
extern VELMORA_RDD18_EXPORT const ArriAncKey ArriAncLUTKey;

/// What the raw-pointer constructor of `ArriAncBlob` does with the bytes it is given. Only the
/// value 1 adopts the pointer; every other value copies.
enum ArriAncBlobMemoryManagement : int {
    ArriAncBlobMemoryCopy = 0,           ///< copy the bytes; the caller keeps its buffer
    ArriAncBlobMemoryTakeOwnership = 1,  ///< adopt the pointer (from `new unsigned char[]`)
};

/// One item's value, owned, under its key. Move-only: moving hands over the buffer without
/// moving it, so `data()` of the moved-to blob is the address the moved-from blob had; the
/// moved-from blob is left empty (null data, size 0).
class VELMORA_RDD18_EXPORT ArriAncBlob {
  public:
    /// Copies `size` bytes from `data` into a buffer of its own, or, when `mode` is
    /// `ArriAncBlobMemoryTakeOwnership`, adopts `data`, which must then come from
    /// `new unsigned char[]` and is released with `delete[]`. In copy mode `data` may be null
    /// when `size` is 0. A failed allocation of the copy throws std::bad_alloc.
    ArriAncBlob(ArriAncKey key, unsigned char* data, unsigned long size,
                ArriAncBlobMemoryManagement mode);
    /// Takes `data` over without copying; the caller's pointer is null afterwards.
    ArriAncBlob(ArriAncKey key, std::unique_ptr<unsigned char[]> data, unsigned long size) noexcept;

    ArriAncBlob(ArriAncBlob&& other) noexcept;
    ArriAncBlob& operator=(ArriAncBlob&& other) noexcept;
    ArriAncBlob(const ArriAncBlob&) = delete;
    ArriAncBlob& operator=(const ArriAncBlob&) = delete;
    ~ArriAncBlob() = default;

    /// Number of value bytes.
    std::uint64_t size() const noexcept { return size_; }
    /// The first value byte, valid for as long as the blob (or the blob it is moved into) lives.
    /// Never null for a blob that was constructed (rather than moved from), also at size 0.
    const unsigned char* data() const noexcept { return data_.get(); }
    /// The key the value was found under (a moved-from blob keeps it).
    const ArriAncKey& key() const noexcept { return key_; }

  private:
    std::unique_ptr<unsigned char[]> data_;
    std::uint64_t size_;
    ArriAncKey key_;
};

}  // namespace rdd18::arri
