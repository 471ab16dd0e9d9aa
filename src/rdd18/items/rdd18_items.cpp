#include "rdd18/items/rdd18_items.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <new>

#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/decimal_powers.h"
#include "rdd18/items/internal_flavour_table.h"
#include "rdd18/items/internal_item_arena.h"

// Whether this build runs under AddressSanitizer: g++ tells with __SANITIZE_ADDRESS__, clang
// through __has_feature.
#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#endif
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

Uint16 Uint16::of(std::uint16_t v) noexcept {
    Uint16 u;
    internal::storeBigEndian16(u.bytes, v);
    return u;
}

Int16 Int16::of(std::int16_t v) noexcept {
    Int16 i;
    internal::storeBigEndian16(i.bytes, static_cast<std::uint16_t>(v));
    return i;
}

Uint32 Uint32::of(std::uint32_t v) noexcept {
    Uint32 u;
    internal::storeBigEndian32(u.bytes, v);
    return u;
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

// The search of a decimal float's record: for each exponent, the mantissas next to v / 10^e (an
// estimate in double, off by less than one), each decoded exactly as a parse decodes it. The
// decoded values grow with the mantissa, so the nearest values below and above v are among them.
detail::DecimalCodes detail::decimalCodes(double v, bool lensSerial) noexcept {
    const unsigned exponentWidth =
        lensSerial ? HalfFloatLensSerialBits::kExponentWidth : HalfFloatBits::kExponentWidth;
    const unsigned mantissaWidth = 8 + (lensSerial ? HalfFloatLensSerialBits::kMantissaHighWidth
                                                   : HalfFloatBits::kMantissaHighWidth);
    const unsigned shift = mantissaWidth;  // the exponent field stands above the mantissa
    const std::uint16_t sign = !lensSerial && std::signbit(v) ? 0x8000 : 0;
    const long maxMantissa = (1L << mantissaWidth) - 1;
    DecimalCodes codes;
    if (std::isnan(v)) return codes;
    if (lensSerial && std::signbit(v)) {  // no negative value, nor -0
        codes.above = 0;
        return codes;
    }
    const double magnitude = std::fabs(v);
    if (magnitude == 0) {
        codes.exact = sign;  // mantissa 0: 80 00 is -0
        return codes;
    }
    // Only the exponents whose mantissas reach v's decade hold its record and its neighbours:
    // 10^e <= v < 10^(e + 5) for a mantissa below 10^4 (the finest such grid included), one more
    // above, and the largest exponent for a v beyond every value.
    const int decade = static_cast<int>(std::floor(std::log10(magnitude)));
    const int largest = lensSerial ? 7 : 23;
    // The field of exponent e: bit 3 of the field counts -8 (see computeExponent).
    const auto fieldOf = [](int e) {
        return static_cast<unsigned>(e < 0 || (e >= 8 && e < 16) ? e + 16 : e);
    };
    // The record: the smallest exponent whose nearest mantissa gives v to the last bit.
    for (int e = std::max(decade - 4, -8); e <= std::min(decade + 1, largest); ++e) {
        const double estimate = std::nearbyint(magnitude / std::pow(10.0, e));
        for (const double m : {estimate, estimate - 1, estimate + 1}) {
            if (m < 0 || m > static_cast<double>(maxMantissa)) continue;
            const auto mantissa = static_cast<unsigned short>(m);
            if (decimalToDouble(mantissa, static_cast<short>(e)) == magnitude) {
                codes.exact = static_cast<std::uint16_t>((fieldOf(e) << shift) | mantissa | sign);
                return codes;
            }
        }
    }
    // Below and above in magnitude; for a negative v they swap at the end.
    std::optional<double> low, high;
    std::uint16_t lowCode = 0, highCode = 0;
    for (unsigned field = 0; field < (1u << exponentWidth); ++field) {
        const int e = static_cast<int>(field) - 2 * static_cast<int>(field & 0x8);
        if ((e < decade - 4 || e > decade + 1) && e != largest &&
            e != -8)  // the smallest exponent: the finest grid of the values below 10^-8
            continue;
        const double estimate = magnitude / std::pow(10.0, e);
        const double first =
            std::isinf(estimate) ? static_cast<double>(maxMantissa) : std::floor(estimate) - 1;
        for (int step = 0; step < 4; ++step) {
            const double m = std::clamp(first + step, 0.0, static_cast<double>(maxMantissa));
            const auto mantissa = static_cast<unsigned short>(m);
            const double value = decimalToDouble(mantissa, static_cast<short>(e));
            const auto code = static_cast<std::uint16_t>((field << shift) | mantissa);
            if (value < magnitude) {
                if (!low || value > *low) low = value, lowCode = code;
            } else if (!high || value < *high) {
                high = value, highCode = code;
            }
        }
    }
    if (low) (sign ? codes.above : codes.below) = static_cast<std::uint16_t>(lowCode | sign);
    if (high) (sign ? codes.below : codes.above) = static_cast<std::uint16_t>(highCode | sign);
    return codes;
}

namespace {

using detail::ItemSlab;

constexpr std::size_t kAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t roundUp(std::size_t n) noexcept {
    return (n + kAlignment - 1) / kAlignment * kAlignment;
}
// A block is the address of its slab, then the item, which starts on the alignment. The first
// item of a slab starts behind the slab's head and its own slab address.
constexpr std::size_t kFirstItem = roundUp(sizeof(ItemSlab) + sizeof(ItemSlab*));
// What an arena adds to the count of the slab it cuts from: more than a slab has blocks, so the
// count can't reach zero while the arena holds the slab.
constexpr std::size_t kArenaHold = std::size_t{1} << (sizeof(std::size_t) * 8 - 2);
// A slab is a small block, which the allocator hands out from its quickest lists. A block past
// 1 KiB made it merge its freed small blocks at every parse, which cost more than the extra slab
// or two of a frame.
constexpr std::size_t kSlabSize = 1024;

void markBlock(unsigned char* item, ItemSlab* slab) noexcept {
    ::new (item - sizeof(ItemSlab*)) ItemSlab*(slab);
}

ItemSlab* slabOf(void* item) noexcept {
    return *std::launder(
        reinterpret_cast<ItemSlab**>(static_cast<unsigned char*>(item) - sizeof(ItemSlab*)));
}

/// Takes `holds` off the count of `slab`, and frees the slab when that was the rest.
void drop(ItemSlab* slab, std::size_t holds) noexcept {
    if (slab->holds.fetch_sub(holds, std::memory_order_acq_rel) == holds) {
        slab->~ItemSlab();
        ::operator delete(slab);
    }
}

}  // namespace

void* Item::operator new(std::size_t size) {
    auto* const base = static_cast<unsigned char*>(::operator new(kFirstItem + size));
    unsigned char* const item = base + kFirstItem;
    markBlock(item, ::new (base) ItemSlab{1});
    return item;
}

void* Item::operator new(std::size_t size, ItemArena& arena) {
#ifdef VELMORA_ADDRESS_SANITIZER
    // Every item a block of its own, so that an item used after its delete is reported even while
    // other items of its slab live.
    (void)arena;
    return Item::operator new(size);
#else
    return arena.allocate(size);
#endif
}

void Item::operator delete(void* block) noexcept {
    if (block) drop(slabOf(block), 1);
}

void Item::operator delete(void* block, ItemArena&) noexcept {
    Item::operator delete(block);
}

void* ItemArena::allocate(std::size_t size) {
    if (static_cast<std::size_t>(end_ - next_) < size) {
        release();
        const std::size_t bytes = std::max(kSlabSize, kFirstItem + size);
        auto* const base = static_cast<unsigned char*>(::operator new(bytes));
        slab_ = ::new (base) ItemSlab{kArenaHold};
        next_ = base + kFirstItem;
        end_ = base + bytes;
    }
    unsigned char* const item = next_;
    markBlock(item, slab_);
    ++blocks_;
    // The next item starts on the alignment, with room for its slab address behind this item.
    const std::size_t step = roundUp(size + sizeof(ItemSlab*));
    next_ = static_cast<std::size_t>(end_ - next_) > step ? next_ + step : end_;
    return item;
}

void ItemArena::release() noexcept {
    if (slab_ == nullptr) return;
    drop(slab_, kArenaHold - blocks_);
    slab_ = nullptr;
    next_ = end_ = nullptr;
    blocks_ = 0;
}

std::optional<Flavour> flavourFromName(std::string_view name) noexcept {
    for (const Flavour flavour : {Flavour::Standard, Flavour::Sony, Flavour::Varicam}) {
        if (flavourName(flavour) == name) return flavour;
    }
    return std::nullopt;
}

std::string_view flavourName(Flavour flavour) noexcept {
    switch (flavour) {
        case Flavour::Varicam:
            return "varicam";
        case Flavour::Sony:
            return "sony";
        case Flavour::Standard:
            break;
    }
    return "standard";
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
    // Factories that no one changes any more: each finds its builders in the constant lookup of
    // the table it was filled from.
    const auto sealed = [](ItemFactory factory, const detail::BuilderTable& table) {
        factory.table_ = &table;
        return factory;
    };
    switch (flavour) {
        case Flavour::Varicam: {
            static const ItemFactory varicam =
                sealed(varicamItemFactory(), VaricamItemTable::kBuilderTable);
            return varicam;
        }
        case Flavour::Sony: {
            static const ItemFactory sony = sealed(sonyItemFactory(), SonyItemTable::kBuilderTable);
            return sony;
        }
        case Flavour::Standard:
            break;
    }
    static const ItemFactory standard =
        sealed(standardItemFactory(), StandardItemTable::kBuilderTable);
    return standard;
}

}  // namespace rdd18
