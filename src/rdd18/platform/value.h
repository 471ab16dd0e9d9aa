// The value model of every answer the library gives: numbers that remember their kind, strings,
// byte data, arrays and dictionaries. Values own their contents; nothing points into the caller's
// frame buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "rdd18/export.h"

namespace rdd18 {

/// The kind a number was made with. A consumer that asks a number for its kind gets exactly the
/// kind its constructor named; nothing is widened or narrowed on the way.
enum class NumberKind : std::uint8_t {
    Integer,        ///< signed 64-bit
    Short,          ///< signed 16-bit
    Int,            ///< signed 32-bit
    UnsignedChar,   ///< unsigned 8-bit
    UnsignedShort,  ///< unsigned 16-bit
    UnsignedInt,    ///< unsigned 32-bit
    UnsignedLong,   ///< unsigned 64-bit
    Bool,
    Float,   ///< IEEE 754 single precision; NaN and infinity pass unchanged
    Double,  ///< IEEE 754 double precision; NaN and infinity pass unchanged
};

/// Name of a kind as used in diagnostics and tool output ("integer", "unsigned int", ...).
VELMORA_RDD18_EXPORT std::string_view numberKindName(NumberKind kind) noexcept;

/// A number with its kind. Construct it with the named factory of its kind.
class VELMORA_RDD18_EXPORT Number {
  public:
    static Number integer(std::int64_t v) noexcept { return Number(NumberKind::Integer, v); }
    static Number shortNumber(std::int16_t v) noexcept {
        return Number(NumberKind::Short, std::int64_t{v});
    }
    static Number intNumber(std::int32_t v) noexcept {
        return Number(NumberKind::Int, std::int64_t{v});
    }
    static Number unsignedChar(std::uint8_t v) noexcept {
        return Number(NumberKind::UnsignedChar, std::uint64_t{v});
    }
    static Number unsignedShort(std::uint16_t v) noexcept {
        return Number(NumberKind::UnsignedShort, std::uint64_t{v});
    }
    static Number unsignedInt(std::uint32_t v) noexcept {
        return Number(NumberKind::UnsignedInt, std::uint64_t{v});
    }
    static Number unsignedLong(std::uint64_t v) noexcept {
        return Number(NumberKind::UnsignedLong, v);
    }
    static Number boolean(bool v) noexcept;
    static Number floatNumber(float v) noexcept;
    static Number doubleNumber(double v) noexcept;

    NumberKind kind() const noexcept { return kind_; }
    bool isSigned() const noexcept;    ///< Integer, Short, Int
    bool isUnsigned() const noexcept;  ///< UnsignedChar .. UnsignedLong
    bool isFloating() const noexcept;  ///< Float, Double

    /// Exact value of a signed kind (also of Bool: 0 or 1); an unsigned kind converts modulo
    /// 2^64. A floating kind is truncated toward zero and saturates: NaN gives 0, values beyond
    /// the range (infinities included) give the smallest or largest int64. Defined for every
    /// number; ask `kind()` first when exactness matters.
    std::int64_t int64Value() const noexcept;
    /// Exact value of an unsigned kind (also of Bool); a signed kind converts modulo 2^64. A
    /// floating kind is truncated toward zero and saturates: NaN and every negative value give 0,
    /// values of 2^64 and above (infinity included) give the largest uint64.
    std::uint64_t uint64Value() const noexcept;
    /// The float of a Float number, exactly; other kinds round to nearest. A double beyond the
    /// float range gives the infinity of its sign (IEEE narrowing), NaN stays NaN.
    float floatValue() const noexcept;
    /// The double of a Double number, exactly; a Float widens exactly; integers convert.
    double doubleValue() const noexcept;
    bool boolValue() const noexcept;

    /// Equal when kind and stored bits are equal: NaN equals a NaN of the same bits, and -0.0
    /// differs from +0.0. This is the equality of "exact to the last bit".
    VELMORA_RDD18_EXPORT friend bool operator==(const Number& a, const Number& b) noexcept;

  private:
    Number(NumberKind k, std::int64_t v) noexcept
        : kind_(k), bits_(static_cast<std::uint64_t>(v)) {}
    Number(NumberKind k, std::uint64_t v) noexcept : kind_(k), bits_(v) {}

    NumberKind kind_;
    // Signed kinds: two's complement of the value. Unsigned kinds and Bool: the value. Float: the
    // 32 bits of the float in the low half. Double: the 64 bits of the double.
    std::uint64_t bits_;
};

/// An owned byte buffer (the data object of an answer).
struct Data {
    std::vector<unsigned char> bytes;

    Data() = default;
    explicit Data(std::vector<unsigned char> b) : bytes(std::move(b)) {}
    Data(const unsigned char* p, std::size_t n) : bytes(p, p + n) {}
    std::size_t size() const noexcept { return bytes.size(); }
    friend bool operator==(const Data&, const Data&) = default;
};

class Value;

/// An ordered list of values.
using Array = std::vector<Value>;

class KeyOrderWriter;

/// A dictionary from string keys to values: one vector of entries sorted by key. Setting a key
/// replaces its entry. Iteration runs in ascending byte order of the keys, so output built from a
/// dictionary is stable; the order has no other meaning. A key set behind the others is appended
/// at once; a key among them is inserted at its place (binary search, then a shift), so a producer
/// of many keys writes them in order or hands them over together (`fromEntries`).
class VELMORA_RDD18_EXPORT Dictionary {
  public:
    using Entry = std::pair<std::string, Value>;
    /// Walks the entries in ascending key order; random access.
    using const_iterator = typename std::vector<Entry>::const_iterator;
    using iterator = const_iterator;
    using value_type = Entry;
    using size_type = std::size_t;

    Dictionary() = default;
    Dictionary(std::initializer_list<Entry> entries);

    /// A dictionary of `entries` in any order, made with one stable sort: of several entries under
    /// one key the later replaces the earlier, as successive `set` calls would.
    static Dictionary fromEntries(std::vector<Entry> entries);

    /// Sets `value` under `key`, replacing an entry under the same key.
    void set(std::string key, Value value);
    /// Merges all entries of `other`; its entries replace entries under the same keys.
    void addEntries(const Dictionary& other);

    /// The value under `key`, or null when there is none.
    const Value* find(std::string_view key) const noexcept;
    bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
    /// The value under `key`; throws std::out_of_range when there is none.
    const Value& at(std::string_view key) const;
    /// The value under `key` as a `T` (see `Value::get`), or nothing when there is no entry under
    /// `key` or its value doesn't convert to `T`. Never throws but for allocation failure.
    template <class T>
    std::optional<T> get(std::string_view key) const;

    // Defined below `Value`: the entries' type is complete only there.
    std::size_t size() const noexcept;
    bool empty() const noexcept;
    void reserve(std::size_t n);
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;

    VELMORA_RDD18_EXPORT friend bool operator==(const Dictionary& a, const Dictionary& b);

  private:
    friend class KeyOrderWriter;
    std::vector<Entry> entries_;  // ascending by key, keys unique
};

/// Thrown by the typed accessors of `Value` when the value is of another kind.
class VELMORA_RDD18_EXPORT BadValueAccess : public std::exception {
  public:
    const char* what() const noexcept override { return "rdd18::Value: wrong kind of value"; }
};

/// One value of an answer: a number, a string (UTF-8), data, an array or a dictionary.
class VELMORA_RDD18_EXPORT Value {
  public:
    Value(Number n) : v_(n) {}
    Value(std::string s) : v_(std::move(s)) {}
    Value(const char* s) : v_(std::string(s)) {}
    Value(Data d) : v_(std::move(d)) {}
    Value(Array a) : v_(std::move(a)) {}
    Value(Dictionary d) : v_(std::move(d)) {}

    Value(const Value&) = default;
    /// Moves the one alternative `other` holds. Written out rather than defaulted: g++ 12 at -O2
    /// takes the variant's own move of a freshly made number for a read of the containers'
    /// uninitialized members (-Wmaybe-uninitialized) in every caller that moves such a temporary.
    Value(Value&& other) noexcept : v_(Number::integer(0)) {
        switch (other.v_.index()) {
            case 0:
                v_.emplace<0>(*std::get_if<0>(&other.v_));
                break;
            case 1:
                v_.emplace<1>(std::move(*std::get_if<1>(&other.v_)));
                break;
            case 2:
                v_.emplace<2>(std::move(*std::get_if<2>(&other.v_)));
                break;
            case 3:
                v_.emplace<3>(std::move(*std::get_if<3>(&other.v_)));
                break;
            case 4:
                v_.emplace<4>(std::move(*std::get_if<4>(&other.v_)));
                break;
            default:
                break;  // never valueless: every alternative moves without throwing
        }
    }
    Value& operator=(const Value&) = default;
    /// A number moved onto a number is copied as it is, without the variant's general dispatch:
    /// that is most of what a dictionary does when it shifts its entries to insert a key.
    Value& operator=(Value&& other) noexcept {
        Number* mine = std::get_if<Number>(&v_);
        const Number* theirs = std::get_if<Number>(&other.v_);
        if (mine && theirs) {
            *mine = *theirs;
        } else {
            v_ = std::move(other.v_);
        }
        return *this;
    }

    bool isNumber() const noexcept { return std::holds_alternative<Number>(v_); }
    bool isString() const noexcept { return std::holds_alternative<std::string>(v_); }
    bool isData() const noexcept { return std::holds_alternative<Data>(v_); }
    bool isArray() const noexcept { return std::holds_alternative<Array>(v_); }
    bool isDictionary() const noexcept { return std::holds_alternative<Dictionary>(v_); }

    /// Typed access; each throws `BadValueAccess` when the value is of another kind.
    const Number& number() const { return alternative<Number>(); }
    const std::string& string() const { return alternative<std::string>(); }
    const Data& data() const { return alternative<Data>(); }
    const Array& array() const { return alternative<Array>(); }
    const Dictionary& dictionary() const { return alternative<Dictionary>(); }

    /// `get<T>()` for T one of Number, std::string, Data, Array, Dictionary: a reference to that
    /// alternative. For an arithmetic T: the number as a T, exactly: an integral T takes a
    /// number of an integer kind or Bool whose value it can hold; bool takes Bool only; a
    /// floating T takes any number (an integer converts, a Double narrows to float as a cast
    /// does). Throws `BadValueAccess` for any other kind or a value out of T's range.
    template <class T>
    decltype(auto) get() const {
        if constexpr (std::is_arithmetic_v<T>) {
            if (const std::optional<T> v = tryGet<T>()) return static_cast<T>(*v);
            throw BadValueAccess();
        } else {
            return alternative<T>();
        }
    }

    /// `get<T>()`, or `fallback` where it would throw. Never throws but for allocation failure.
    template <class T>
    T value_or(T fallback) const {
        if constexpr (std::is_arithmetic_v<T>) {
            return tryGet<T>().value_or(fallback);
        } else {
            const T* p = std::get_if<T>(&v_);
            return p ? *p : std::move(fallback);
        }
    }

    /// The number as an arithmetic T under the rules of `get<T>()`, or nothing.
    template <class T>
    std::optional<T> tryGet() const noexcept {
        static_assert(std::is_arithmetic_v<T>, "tryGet reads numbers");
        const Number* n = std::get_if<Number>(&v_);
        if (!n) return std::nullopt;
        if constexpr (std::is_same_v<T, bool>) {
            if (n->kind() != NumberKind::Bool) return std::nullopt;
            return n->boolValue();
        } else if constexpr (std::is_floating_point_v<T>) {
            if (n->kind() == NumberKind::Float) return static_cast<T>(n->floatValue());
            return static_cast<T>(n->doubleValue());
        } else {
            if (n->isFloating()) return std::nullopt;
            if (n->isUnsigned() || n->kind() == NumberKind::Bool) {
                const std::uint64_t u = n->uint64Value();
                if (u > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
                    return std::nullopt;
                }
                return static_cast<T>(u);
            }
            const std::int64_t i = n->int64Value();
            if constexpr (std::is_unsigned_v<T>) {
                if (i < 0 || static_cast<std::uint64_t>(i) > std::numeric_limits<T>::max()) {
                    return std::nullopt;
                }
            } else {
                if (i < std::numeric_limits<T>::min() || i > std::numeric_limits<T>::max()) {
                    return std::nullopt;
                }
            }
            return static_cast<T>(i);
        }
    }

    /// The underlying variant, for `std::visit`.
    const auto& variant() const noexcept { return v_; }

    friend bool operator==(const Value& a, const Value& b) { return a.v_ == b.v_; }

  private:
    template <class T>
    const T& alternative() const {
        if (const T* p = std::get_if<T>(&v_)) return *p;
        throw BadValueAccess();
    }

    std::variant<Number, std::string, Data, Array, Dictionary> v_;
};

inline std::size_t Dictionary::size() const noexcept {
    return entries_.size();
}
inline bool Dictionary::empty() const noexcept {
    return entries_.empty();
}
inline void Dictionary::reserve(std::size_t n) {
    entries_.reserve(n);
}
inline Dictionary::const_iterator Dictionary::begin() const noexcept {
    return entries_.begin();
}
inline Dictionary::const_iterator Dictionary::end() const noexcept {
    return entries_.end();
}
template <class T>
std::optional<T> Dictionary::get(std::string_view key) const {
    const Value* v = find(key);
    if (!v) return std::nullopt;
    if constexpr (std::is_arithmetic_v<T>) {
        return v->tryGet<T>();
    } else {
        const T* p = std::get_if<T>(&v->variant());
        if (!p) return std::nullopt;
        return *p;
    }
}
/// The double that the shortest decimal text of `f` reads as: 0.1f gives 0.1, not
/// 0.100000001490116..., which is how a float written as text comes back as a double. NaN and
/// the infinities are kept. The result is the same whatever the process's locale.
VELMORA_RDD18_EXPORT double decimalWidened(float f) noexcept;

/// Text from 8-bit characters: bytes 0x00-0x7F are themselves, bytes 0x80-0xFF are taken as
/// ISO 8859-1 (Latin-1) and stored as their UTF-8 form. Nothing is dropped; the conversion stops
/// at `size` and not at a NUL.
VELMORA_RDD18_EXPORT std::string stringFromLatin1(const char* bytes, std::size_t size);
inline std::string stringFromLatin1(std::string_view s) {
    return stringFromLatin1(s.data(), s.size());
}
/// The inverse of `stringFromLatin1`: the 8-bit characters of UTF-8 text, or nothing when the
/// text holds a character beyond U+00FF or isn't UTF-8.
VELMORA_RDD18_EXPORT std::optional<std::string> latin1FromString(std::string_view text);

}  // namespace rdd18
