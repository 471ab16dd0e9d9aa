#include "rdd18/platform/value.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "rdd18/internal/decimal_text.h"

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
        if (std::fabs(v) < kFloatMax + halfUlp)
            return v > 0 ? std::numeric_limits<float>::max() : -std::numeric_limits<float>::max();
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

namespace {
bool keyLess(const Dictionary::Entry& a, const Dictionary::Entry& b) noexcept {
    return a.first < b.first;
}
}  // namespace

Dictionary Dictionary::fromEntries(std::vector<Entry> entries) {
    // Stable: entries under one key stay in their given order, and the last of them is kept.
    if (!std::is_sorted(entries.begin(), entries.end(), keyLess)) {
        std::stable_sort(entries.begin(), entries.end(), keyLess);
    }
    Dictionary d;
    d.entries_ = std::move(entries);
    auto& e = d.entries_;
    auto out = e.begin();
    for (auto in = e.begin(); in != e.end(); ++in) {
        const auto next = in + 1;
        if (next != e.end() && next->first == in->first) continue;  // a later entry replaces it
        if (out != in) *out = std::move(*in);
        ++out;
    }
    e.erase(out, e.end());
    return d;
}

void Dictionary::set(std::string key, Value value) {
    // Keys that come in ascending order (answers, literals, copies) are appended at once.
    if (entries_.empty() || entries_.back().first < key) {
        entries_.emplace_back(std::move(key), std::move(value));
        return;
    }
    const auto at =
        std::lower_bound(entries_.begin(), entries_.end(), key,
                         [](const Entry& e, const std::string& k) { return e.first < k; });
    if (at->first == key) {
        at->second = std::move(value);
    } else {
        entries_.emplace(at, std::move(key), std::move(value));
    }
}

void Dictionary::addEntries(const Dictionary& other) {
    for (const Entry& e : other) set(e.first, e.second);
}

const Value* Dictionary::find(std::string_view key) const noexcept {
    const auto at = std::lower_bound(
        entries_.begin(), entries_.end(), key,
        [](const Entry& e, std::string_view k) { return std::string_view(e.first) < k; });
    if (at != entries_.end() && at->first == key) return &at->second;
    return nullptr;
}

const Value& Dictionary::at(std::string_view key) const {
    if (const Value* v = find(key)) return *v;
    throw std::out_of_range("rdd18::Dictionary: no entry under key " + std::string(key));
}

bool operator==(const Dictionary& a, const Dictionary& b) {
    return a.entries_ == b.entries_;
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

std::optional<std::string> latin1FromString(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
            continue;
        }
        // Only the two-byte forms of U+0080-U+00FF: lead byte C2 or C3, then one continuation.
        if ((c != 0xC2 && c != 0xC3) || i + 1 == text.size()) return std::nullopt;
        const auto next = static_cast<unsigned char>(text[++i]);
        if ((next & 0xC0) != 0x80) return std::nullopt;
        out.push_back(static_cast<char>(((c & 0x03) << 6) | (next & 0x3F)));
    }
    return out;
}

double decimalWidened(float f) noexcept {
    if (!std::isfinite(f)) return f;
    char text[64];
    const auto written = std::to_chars(text, text + sizeof text, f);
    return internal::readDecimal(text, written.ptr).value_or(f);
}

}  // namespace rdd18
