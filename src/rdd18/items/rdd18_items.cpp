#include "rdd18/items/rdd18_items.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <new>
#include <type_traits>

#include "rdd18/internal/address_sanitizer.h"
#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/decimal_powers.h"
#include "rdd18/items/flavour_table.h"

#ifdef VELMORA_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace rdd18 {

std::uint16_t Uint16::value() const noexcept {
    return internal::loadBigEndian16(bytes);
}

std::int16_t Int16::value() const noexcept {
    return static_cast<std::int16_t>(internal::loadBigEndian16(bytes));
}

std::uint32_t Uint32::value() const noexcept {
    return internal::loadBigEndian32(bytes);
}

namespace {

/// A binary number significand x 2^exponent.
struct Binary {
    std::uint64_t significand;
    int exponent;
};

/// Rounds the integer high:low (high < 2^32) times 2^exponent to at most `bits` significant bits
/// (53 or 64), to nearest with ties to even: one multiply of the x87 unit at precision `bits`.
Binary roundToBits(std::uint64_t high, std::uint64_t low, int exponent, unsigned bits) noexcept {
    const unsigned width = high != 0 ? 128 - static_cast<unsigned>(std::countl_zero(high))
                                     : 64 - static_cast<unsigned>(std::countl_zero(low));
    if (width <= bits) return {low, exponent};  // exact
    const unsigned shift = width - bits;        // 1..43 here
    const std::uint64_t kept = (high << (64 - shift)) | (low >> shift);
    const std::uint64_t dropped = low & ((std::uint64_t{1} << shift) - 1);
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const bool up = dropped > half || (dropped == half && (kept & 1) != 0);
    const std::uint64_t allOnes = ~std::uint64_t{0} >> (64 - bits);
    if (up && kept == allOnes) {  // carries out into 2^bits: one bit fewer, one binade up
        return {std::uint64_t{1} << (bits - 1), exponent + static_cast<int>(shift) + 1};
    }
    return {kept + (up ? 1 : 0), exponent + static_cast<int>(shift)};
}

}  // namespace

// The x87 computation, exactly: the mantissa (exact in any format) times the extended value of
// 10^exponent, rounded to the 64-bit significand, then rounded once more to double. Two roundings
// in a row are not one rounding to 53 bits (a product just above a tie of double can become the
// tie itself in 64 bits and then go to even), so both are done as the hardware does them.
double detail::decimalToDouble(unsigned short mantissa, short exponent) noexcept {
    if (mantissa == 0) return 0.0;
    const internal::DecimalPower power =
        internal::kDecimalPowers[exponent - internal::kFirstDecimalPower];
    // mantissa x significand as the 128-bit integer high:low, from the two 32-bit halves.
    const std::uint64_t lowProduct = (power.significand & 0xFFFFFFFFu) * mantissa;
    const std::uint64_t highProduct = (power.significand >> 32) * mantissa + (lowProduct >> 32);
    const std::uint64_t high = highProduct >> 32;
    const std::uint64_t low = (highProduct << 32) | (lowProduct & 0xFFFFFFFFu);
    const Binary extended = roundToBits(high, low, power.exponent, 64);
    const Binary rounded = roundToBits(0, extended.significand, extended.exponent, 53);
    // The product of a non-zero mantissa and a significand with its top bit set has at least 64
    // bits, so `rounded` has exactly 53: top bit at bit 52. Every value lies in 1e-8..1e27, a
    // normal double, so the exponent field is the weight of bit 52 plus the bias.
    const auto field = static_cast<std::uint64_t>(rounded.exponent + 52 + 1023);
    const std::uint64_t fraction = rounded.significand & ((std::uint64_t{1} << 52) - 1);
    return std::bit_cast<double>((field << 52) | fraction);
}

namespace {

// A block in the cache is poisoned for AddressSanitizer, so that an item used after its delete is
// reported as it would be without the cache.
#ifdef VELMORA_ADDRESS_SANITIZER
void poisonBlock(const void* block, std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(block, size);
}
void unpoisonBlock(const void* block, std::size_t size) noexcept {
    ASAN_UNPOISON_MEMORY_REGION(block, size);
}
#else
void poisonBlock(const void*, std::size_t) noexcept {}
void unpoisonBlock(const void*, std::size_t) noexcept {}
#endif

/// Freed item blocks of each size class (16, 32, 48 and 64 bytes), one list per class, kept by
/// the thread that freed them up to a bound. The lists are trivially destructible, so they stay
/// usable to the thread's last moment: an item freed by a later destructor of the same thread
/// (another thread-local, a static of the main thread) finds the lists closed and goes straight
/// back to the heap.
struct ItemBlockCache {
    static constexpr std::size_t kGrain = 16;
    static constexpr std::size_t kClasses = 4;
    static constexpr unsigned kMostPerClass = 512;

    struct Block {
        Block* next;
    };
    Block* heads[kClasses];
    unsigned counts[kClasses];
    bool closed;

    static constexpr std::size_t blockSize(std::size_t sizeClass) noexcept {
        return (sizeClass + 1) * kGrain;
    }

    void* take(std::size_t sizeClass);
    void give(void* memory, std::size_t sizeClass) noexcept;
    void drain() noexcept {
        closed = true;
        for (std::size_t sizeClass = 0; sizeClass < kClasses; ++sizeClass) {
            while (Block* const block = heads[sizeClass]) {
                unpoisonBlock(block, blockSize(sizeClass));
                heads[sizeClass] = block->next;
                ::operator delete(block);
            }
        }
    }
};
static_assert(std::is_trivially_destructible_v<ItemBlockCache>);

constinit thread_local ItemBlockCache itemBlocks{};

/// Gives the thread's cached blocks back to the heap when the thread ends. Touched by the first
/// block the thread caches, which registers its destructor.
struct ItemBlockDrain {
    ~ItemBlockDrain() { itemBlocks.drain(); }
};
thread_local ItemBlockDrain itemBlockDrain;

void* ItemBlockCache::take(std::size_t sizeClass) {
    Block* const block = heads[sizeClass];
    if (!block) return ::operator new(blockSize(sizeClass));
    unpoisonBlock(block, blockSize(sizeClass));
    heads[sizeClass] = block->next;
    --counts[sizeClass];
    return block;
}

void ItemBlockCache::give(void* memory, std::size_t sizeClass) noexcept {
    if (closed || counts[sizeClass] == kMostPerClass) {
        ::operator delete(memory);
        return;
    }
    [[maybe_unused]] const ItemBlockDrain* const registered = &itemBlockDrain;
    heads[sizeClass] = ::new (memory) Block{heads[sizeClass]};
    ++counts[sizeClass];
    poisonBlock(memory, blockSize(sizeClass));
}

}  // namespace

void* Item::operator new(std::size_t size) {
    const std::size_t sizeClass = (size - 1) / ItemBlockCache::kGrain;
    if (sizeClass >= ItemBlockCache::kClasses) return ::operator new(size);
    return itemBlocks.take(sizeClass);
}

void Item::operator delete(void* block, std::size_t size) noexcept {
    const std::size_t sizeClass = (size - 1) / ItemBlockCache::kGrain;
    if (sizeClass >= ItemBlockCache::kClasses) {
        ::operator delete(block);
    } else {
        itemBlocks.give(block, sizeClass);
    }
}

namespace {
template <class... Args>
std::string format(const char* pattern, Args... args) {
    char line[160];
    std::snprintf(line, sizeof line, pattern, args...);
    return line;
}
}  // namespace

std::string detail::fixedSizeRejection(unsigned long length, unsigned long size) {
    if (length < size) return format("length %lu, needs %lu", length, size);
    return format("the stream ends inside its %lu-byte value", size);
}

std::string detail::countedVectorRejection(unsigned long length, unsigned long elementSize) {
    constexpr unsigned long kHeaderSize = 8;
    if (length < kHeaderSize) {
        return format("length %lu, needs at least 8 for count and element size", length);
    }
    return format("length %lu, needs a header of element size %lu and a count of %lu", length,
                  elementSize, (length - kHeaderSize) / elementSize) +
           ((length - kHeaderSize) % elementSize
                ? " (length - 8 is no multiple of the element size)"
                : "");
}

std::string detail::textRejection(unsigned long length) {
    return format("the stream ends inside its %lu bytes of text", length);
}

ItemFactory standardItemFactory() {
    ItemFactory factory;
    StandardItemTable::registerInto(factory);
    return factory;
}

ItemFactory sonyItemFactory() {
    ItemFactory factory = standardItemFactory();
    SonyOwnItemTable::registerInto(factory);
    return factory;
}

ItemFactory varicamItemFactory() {
    ItemFactory factory = standardItemFactory();
    VaricamOwnItemTable::registerInto(factory);
    return factory;
}

const ItemFactory& sharedItemFactory(Flavour flavour) {
    switch (flavour) {
        case Flavour::Varicam: {
            static const ItemFactory varicam = varicamItemFactory();
            return varicam;
        }
        case Flavour::Sony: {
            static const ItemFactory sony = sonyItemFactory();
            return sony;
        }
        case Flavour::Standard:
            break;
    }
    static const ItemFactory standard = standardItemFactory();
    return standard;
}

}  // namespace rdd18
