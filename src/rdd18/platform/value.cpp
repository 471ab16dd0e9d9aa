#include "rdd18/platform/value.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

namespace rdd18 {

std::string_view numberKindName(NumberKind kind) noexcept {
    switch (kind) {
        case NumberKind::Integer:
            return "integer";
        case NumberKind::Short:
            return "short";
        case NumberKind::Int:
            return "int";
        case NumberKind::UnsignedChar:
            return "unsigned char";
        case NumberKind::UnsignedShort:
            return "unsigned short";
        case NumberKind::UnsignedInt:
            return "unsigned int";
        case NumberKind::UnsignedLong:
            return "unsigned long";
        case NumberKind::Bool:
            return "bool";
        case NumberKind::Float:
            return "float";
        case NumberKind::Double:
            return "double";
    }
    return "unknown";
}

Number Number::boolean(bool v) noexcept {
    return Number(NumberKind::Bool, std::uint64_t{v});
}

Number Number::floatNumber(float v) noexcept {
    return Number(NumberKind::Float, std::uint64_t{std::bit_cast<std::uint32_t>(v)});
}

Number Number::doubleNumber(double v) noexcept {
    return Number(NumberKind::Double, std::bit_cast<std::uint64_t>(v));
}

bool Number::isSigned() const noexcept {
    return kind_ == NumberKind::Integer || kind_ == NumberKind::Short || kind_ == NumberKind::Int;
}

bool Number::isUnsigned() const noexcept {
    return kind_ == NumberKind::UnsignedChar || kind_ == NumberKind::UnsignedShort ||
           kind_ == NumberKind::UnsignedInt || kind_ == NumberKind::UnsignedLong;
}

bool Number::isFloating() const noexcept {
    return kind_ == NumberKind::Float || kind_ == NumberKind::Double;
}

std::int64_t Number::int64Value() const noexcept {
    if (!isFloating()) return static_cast<std::int64_t>(bits_);
    // Truncated toward zero; a cast alone is undefined for NaN and for values out of range.
    const double v = doubleValue();
    if (std::isnan(v)) return 0;
    if (v <= -0x1p63) return std::numeric_limits<std::int64_t>::min();
    if (v >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(v);
}

std::uint64_t Number::uint64Value() const noexcept {
    if (!isFloating()) return bits_;  // signed kinds convert modulo 2^64, like a cast
    const double v = doubleValue();
    if (std::isnan(v) || v <= 0.0) return 0;
    if (v >= 0x1p64) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(v);
}

float Number::floatValue() const noexcept {
    if (kind_ == NumberKind::Float) return std::bit_cast<float>(static_cast<std::uint32_t>(bits_));
    const double v = doubleValue();
    // Beyond the largest float a double rounds to infinity, as IEEE narrowing does.
    constexpr double kFloatMax = std::numeric_limits<float>::max();
    if (v > kFloatMax || v < -kFloatMax) {
        // The largest float stays itself when it only rounds down to it.
        const double halfUlp = 0x1p103;  // half the spacing of floats at the top of their range
        if (std::fabs(v) < kFloatMax + halfUlp) return v > 0 ? std::numeric_limits<float>::max()
                                                             : -std::numeric_limits<float>::max();
        return v > 0 ? std::numeric_limits<float>::infinity()
                     : -std::numeric_limits<float>::infinity();
    }
    return static_cast<float>(v);
}

double Number::doubleValue() const noexcept {
    if (kind_ == NumberKind::Double) return std::bit_cast<double>(bits_);
    if (kind_ == NumberKind::Float) return floatValue();
    if (isSigned()) return static_cast<double>(static_cast<std::int64_t>(bits_));
    return static_cast<double>(bits_);
}

bool Number::boolValue() const noexcept {
    if (isFloating()) return doubleValue() != 0.0;
    return bits_ != 0;
}

bool operator==(const Number& a, const Number& b) noexcept {
    return a.kind_ == b.kind_ && a.bits_ == b.bits_;
}

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
    entries_.reserve(entries.size());
    for (const Entry& e : entries) set(e.first, e.second);
}

std::size_t Dictionary::lowerBound(std::string_view key) const noexcept {
    std::size_t low = 0;
    std::size_t high = entries_.size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (std::string_view(entryAt(middle).first) < key) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

void Dictionary::roomForOneMoreIndex() {
    // Grows like the entries do (to their reserved room, or doubling), never one index at a time.
    if (order_.size() == order_.capacity()) {
        order_.reserve(std::max({entries_.capacity(), 2 * order_.size(), std::size_t{4}}));
    }
}

void Dictionary::set(std::string key, Value value) {
    const std::size_t n = entries_.size();
    // Keys that come in ascending order (a literal dictionary, a copy) are appended at once.
    if (n == 0 || entryAt(n - 1).first < key) {
        if (!order_.empty()) roomForOneMoreIndex();
        entries_.emplace_back(std::move(key), std::move(value));
        if (!order_.empty()) order_.push_back(static_cast<std::uint32_t>(n));
        return;
    }
    const std::size_t rank = lowerBound(key);  // below n: the last key doesn't sort below `key`
    if (entryAt(rank).first == key) {
        entryAt(rank).second = std::move(value);
        return;
    }
    // A key among the others: the entry goes behind them and only its index is inserted at its
    // rank. Room is made first, so that nothing can fail between the two insertions.
    if (order_.empty()) {
        roomForOneMoreIndex();
        order_.resize(n);
        std::iota(order_.begin(), order_.end(), std::uint32_t{0});
    }
    roomForOneMoreIndex();
    entries_.emplace_back(std::move(key), std::move(value));
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(rank),
                  static_cast<std::uint32_t>(n));
}

void Dictionary::addEntries(const Dictionary& other) {
    for (const Entry& e : other) set(e.first, e.second);
}

const Value* Dictionary::find(std::string_view key) const noexcept {
    const std::size_t rank = lowerBound(key);
    if (rank < entries_.size() && entryAt(rank).first == key) return &entryAt(rank).second;
    return nullptr;
}

const Value& Dictionary::at(std::string_view key) const {
    if (const Value* v = find(key)) return *v;
    throw std::out_of_range("rdd18::Dictionary: no entry under key " + std::string(key));
}

bool operator==(const Dictionary& a, const Dictionary& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

std::string stringFromLatin1(const char* bytes, std::size_t size) {
    // Bytes 0x00-0x7F are the same in both encodings: text without a high byte (item names, most
    // payloads) is copied whole.
    std::size_t high = 0;
    for (std::size_t i = 0; i < size; ++i) high += static_cast<unsigned char>(bytes[i]) >> 7;
    if (high == 0) return size == 0 ? std::string() : std::string(bytes, size);
    std::string out;
    out.reserve(size + high);
    for (std::size_t i = 0; i < size; ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

}  // namespace rdd18
