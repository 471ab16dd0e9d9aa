// The memory of one parse's items (the library's own, not installed).
//
// A parse makes an item per metadata item, all small: one heap block each would cost more than
// the rest of the item walk. The arena cuts the items' blocks from a few slabs instead. Each
// block starts with the address of its slab, and each slab counts the blocks not yet freed, so
// that an item is freed as any other (`Item::operator delete`), on any thread, in any order, and
// the slab goes with its last block. The arena holds its current slab until it moves on to the
// next one or ends; a slab it holds is never freed.
#pragma once

#include <atomic>
#include <cstddef>

#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

namespace detail {

/// The head of a slab, or of the block of an item made outside a parse: the blocks not yet freed,
/// plus `kArenaHold` while an arena cuts blocks from it.
struct ItemSlab {
    std::atomic<std::size_t> holds;
};

}  // namespace detail

class ItemArena {
  public:
    ItemArena() noexcept = default;
    ItemArena(const ItemArena&) = delete;
    ItemArena& operator=(const ItemArena&) = delete;
    /// Lets go of the current slab; its items live on.
    ~ItemArena() { release(); }

    /// A block for an item of `size` bytes, aligned as `::operator new` aligns.
    void* allocate(std::size_t size);

  private:
    void release() noexcept;

    detail::ItemSlab* slab_ = nullptr;
    unsigned char* next_ = nullptr;  // where the next item would start
    unsigned char* end_ = nullptr;
    std::size_t blocks_ = 0;  // cut from `slab_` so far
};

}  // namespace rdd18
