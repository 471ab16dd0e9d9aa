// The value model of every answer the library gives: numbers that remember their kind, strings,
// byte data, arrays and dictionaries. Values own their contents; nothing points into the caller's
// frame buffer.
#pragma once

#include "rdd18/export.h"
#include <compare>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace rdd18 {

/// The kind a number was made with. A consumer that asks a number for its kind gets exactly the
/// kind its constructor named; nothing is widened or narrowed on the way.
enum class NumberKind : std::uint8_t {
    Integer,        ///< signed 64-bit (NSInteger)
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

    /// Exact value of a signed kind (also of Bool: 0 or 1). Unsigned and floating kinds convert
    /// as a C++ cast would; ask `kind()` first when exactness matters.
    std::int64_t int64Value() const noexcept;
    /// Exact value of an unsigned kind (also of Bool).
    std::uint64_t uint64Value() const noexcept;
    /// The float of a Float number, exactly; other kinds convert.
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

/// A dictionary from string keys to values. Setting a key replaces its entry. Iteration runs in
/// ascending byte order of the keys, so output built from a dictionary is stable; the order has
/// no other meaning. Keys may be set in any order: a key that doesn't sort behind the others
/// moves no entry, only a small index.
class VELMORA_RDD18_EXPORT Dictionary {
  public:
    using Entry = std::pair<std::string, Value>;

    /// Walks the entries in ascending key order; random access.
    class const_iterator {
      public:
        using iterator_category = std::random_access_iterator_tag;
        using iterator_concept = std::random_access_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        const_iterator() = default;

        reference operator*() const noexcept;
        pointer operator->() const noexcept;
        reference operator[](difference_type n) const noexcept;

        const_iterator& operator++() noexcept {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) noexcept {
            const_iterator t = *this;
            ++index_;
            return t;
        }
        const_iterator& operator--() noexcept {
            --index_;
            return *this;
        }
        const_iterator operator--(int) noexcept {
            const_iterator t = *this;
            --index_;
            return t;
        }
        const_iterator& operator+=(difference_type n) noexcept {
            index_ += n;
            return *this;
        }
        const_iterator& operator-=(difference_type n) noexcept {
            index_ -= n;
            return *this;
        }
        friend const_iterator operator+(const_iterator i, difference_type n) noexcept {
            return i += n;
        }
        friend const_iterator operator+(difference_type n, const_iterator i) noexcept {
            return i += n;
        }
        friend const_iterator operator-(const_iterator i, difference_type n) noexcept {
            return i -= n;
        }
        friend difference_type operator-(const const_iterator& a,
                                         const const_iterator& b) noexcept {
            return a.index_ - b.index_;
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b) noexcept {
            return a.index_ == b.index_;
        }
        friend std::strong_ordering operator<=>(const const_iterator& a,
                                                const const_iterator& b) noexcept {
            return a.index_ <=> b.index_;
        }

      private:
        friend class Dictionary;
        const_iterator(const Dictionary* owner, difference_type index) noexcept
            : owner_(owner), index_(index) {}

        const Dictionary* owner_ = nullptr;
        difference_type index_ = 0;
    };

    Dictionary() = default;
    Dictionary(std::initializer_list<Entry> entries);

    /// Sets `value` under `key`, replacing an entry under the same key.
    void set(std::string key, Value value);
    /// Merges all entries of `other`; its entries replace entries under the same keys.
    void addEntries(const Dictionary& other);

    /// The value under `key`, or null when there is none.
    const Value* find(std::string_view key) const noexcept;
    bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
    /// The value under `key`; throws std::out_of_range when there is none.
    const Value& at(std::string_view key) const;

    // Defined below `Value`: the entries' type is complete only there.
    std::size_t size() const noexcept;
    bool empty() const noexcept;
    void reserve(std::size_t n);
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;

    VELMORA_RDD18_EXPORT friend bool operator==(const Dictionary& a, const Dictionary& b);

  private:
    const Entry& entryAt(std::size_t rank) const noexcept;
    Entry& entryAt(std::size_t rank) noexcept;
    std::size_t lowerBound(std::string_view key) const noexcept;
    void roomForOneMoreIndex();

    // Entries in the order their keys were first set, keys unique. `order_` lists them by
    // ascending key; it stays empty as long as the keys came in ascending order, which most
    // dictionaries (literals, copies, answers built in key order) never leave.
    std::vector<Entry> entries_;
    std::vector<std::uint32_t> order_;
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
    const Number& number() const { return get<Number>(); }
    const std::string& string() const { return get<std::string>(); }
    const Data& data() const { return get<Data>(); }
    const Array& array() const { return get<Array>(); }
    const Dictionary& dictionary() const { return get<Dictionary>(); }

    /// The underlying variant, for `std::visit`.
    const auto& variant() const noexcept { return v_; }

    friend bool operator==(const Value& a, const Value& b) { return a.v_ == b.v_; }

  private:
    template <class T>
    const T& get() const {
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
    return {this, 0};
}
inline Dictionary::const_iterator Dictionary::end() const noexcept {
    return {this, static_cast<std::ptrdiff_t>(entries_.size())};
}
inline const Dictionary::Entry& Dictionary::entryAt(std::size_t rank) const noexcept {
    return entries_[order_.empty() ? rank : order_[rank]];
}
inline Dictionary::Entry& Dictionary::entryAt(std::size_t rank) noexcept {
    return entries_[order_.empty() ? rank : order_[rank]];
}
inline Dictionary::const_iterator::reference Dictionary::const_iterator::operator*()
    const noexcept {
    return owner_->entryAt(static_cast<std::size_t>(index_));
}
inline Dictionary::const_iterator::pointer Dictionary::const_iterator::operator->() const noexcept {
    return &**this;
}
inline Dictionary::const_iterator::reference Dictionary::const_iterator::operator[](
    difference_type n) const noexcept {
    return *(*this + n);
}

/// Text from 8-bit characters: bytes 0x00-0x7F are themselves, bytes 0x80-0xFF are taken as
/// ISO 8859-1 (Latin-1) and stored as their UTF-8 form. Nothing is dropped; the conversion stops
/// at `size` and not at a NUL.
VELMORA_RDD18_EXPORT std::string stringFromLatin1(const char* bytes, std::size_t size);
inline std::string stringFromLatin1(std::string_view s) {
    return stringFromLatin1(s.data(), s.size());
}

}  // namespace rdd18
