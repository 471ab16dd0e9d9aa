// RDD 18 items: tags, the item classes, the payload value types and their decoders.
//
// Item wire format, inside the value of a pack:
//   [tag byte 1][tag byte 2][payload length n, 16-bit big-endian][payload, n bytes]
// Payload numbers are big-endian. The value types keep the wire bytes as they came, in stream
// order, and convert in `value()`.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/parsing_error.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18 {

/// A tag: first and second tag byte, in stream order. Ordered by the first byte, then the second.
using tag = std::pair<unsigned char, unsigned char>;

/// The tag of the two bytes, first byte first.
constexpr tag make_tag(unsigned char first, unsigned char second) noexcept {
    return {first, second};
}

/// A fault while building an answer. No operation of the library raises it; the RDD 18 facade
/// answers an empty dictionary when it arrives.
class VELMORA_RDD18_EXPORT AncillaryDataBuildingError {};

// ---------------------------------------------------------------------------------------------
// Payload value types

/// Mixin that lets `Derived` convert implicitly to `To` through its `value()`.
template <class Derived, class To>
struct ConvertibleTo {
    operator To() const noexcept { return static_cast<const Derived&>(*this).value(); }
};

/// Unsigned 16-bit number, 2 wire bytes, big-endian.
struct VELMORA_RDD18_EXPORT Uint16 {
    unsigned char bytes[2];
    std::uint16_t value() const noexcept;
    /// The wire bytes of `v`.
    static Uint16 of(std::uint16_t v) noexcept;
};

/// Signed 16-bit number, 2 wire bytes, big-endian two's complement.
struct VELMORA_RDD18_EXPORT Int16 {
    unsigned char bytes[2];
    std::int16_t value() const noexcept;
    /// The wire bytes of `v`.
    static Int16 of(std::int16_t v) noexcept;
};

/// Unsigned 32-bit number, 4 wire bytes, big-endian.
struct VELMORA_RDD18_EXPORT Uint32 : ConvertibleTo<Uint32, unsigned int> {
    unsigned char bytes[4];
    std::uint32_t value() const noexcept;
    /// The wire bytes of `v`.
    static Uint32 of(std::uint32_t v) noexcept;
};

/// One wire byte; true only for the byte 0x01 (0x02 and 0xFF are false).
struct Boolean {
    unsigned char byte;
    bool value() const noexcept { return byte == 1; }
};

/// Two bytes in stream order, taken as they are.
struct Label {
    unsigned char value0;
    unsigned char value1;
};

/// A fraction of two `Uint32`: numerator first, then denominator. Never divided.
struct Rational {
    Uint32 numerator;
    Uint32 denominator;
};

/// Payload of the Varicam clip information item (225, 34): exactly its first 7 wire bytes, with
/// the `Uint16` fields kept in wire (big-endian) order.
///   [clipNameValid][cameraId][reelCounter, 2][clipCounter, 2][filenameStyle]
/// filenameStyle: 0 is "P2", 1 is "CINE"; any other code is legal.
struct VaricamExtendedMetadata {
    unsigned char clipNameValid;
    unsigned char cameraId;
    Uint16 reelCounter;
    Uint16 clipCounter;
    unsigned char filenameStyle;
};

namespace detail {

/// The 16-bit record of `HalfFloatLensSerial`: byte 0 = EEEE MMMM, byte 1 = MMMM MMMM.
/// A decimal float mantissa x 10^exponent with no sign.
struct HalfFloatLensSerialBits {
    unsigned char byte0;
    unsigned char byte1;
    static constexpr unsigned kExponentShift = 4;
    static constexpr unsigned kExponentWidth = 4;
    static constexpr unsigned kMantissaHighWidth = 4;
};

/// The 16-bit record of `HalfFloat`: byte 0 = S EEEEE MM, byte 1 = MMMM MMMM. The field widths of
/// IEEE binary16, but a decimal float: no bias, no hidden bit, no subnormals, no NaN.
struct HalfFloatBits {
    unsigned char byte0;
    unsigned char byte1;
    static constexpr unsigned kExponentShift = 2;
    static constexpr unsigned kExponentWidth = 5;
    static constexpr unsigned kMantissaHighWidth = 2;
    bool negative() const noexcept { return (byte0 & 0x80) != 0; }
};

/// Mantissa: the high mantissa bits of byte 0, times 256, plus byte 1.
template <class Bits>
unsigned short computeMantissa(Bits bits) noexcept {
    const unsigned high = bits.byte0 & ((1u << Bits::kMantissaHighWidth) - 1);
    return static_cast<unsigned short>(high * 256u + bits.byte1);
}

/// Exponent: the field E read as a plain number, except that its bit 3 counts -8. For the 4-bit
/// field that is two's complement (-8..7); for the 5-bit field bit 4 keeps +16, giving -8..23.
template <class Bits>
short computeExponent(Bits bits) noexcept {
    const int e = (bits.byte0 >> Bits::kExponentShift) & ((1 << Bits::kExponentWidth) - 1);
    return static_cast<short>(e - 2 * (e & 0x8));
}

/// mantissa x 10^exponent as x87 extended precision gives it: the mantissa times the extended
/// value of 10^exponent, rounded to 64 significand bits, then once more to double. Integer
/// arithmetic, so the same bits on every target. Exact for every value that is exact in 64
/// significand bits (3e-1 gives 0.3, 1e23 gives 1e23). `exponent` is in -8..23.
VELMORA_RDD18_EXPORT double decimalToDouble(unsigned short mantissa, short exponent) noexcept;

template <class Bits>
double convertToDouble(Bits bits) noexcept {
    return decimalToDouble(computeMantissa(bits), computeExponent(bits));
}

/// The 16-bit records (byte 0 high) of a decimal float format for a double: the record whose
/// value is the double to the last bit, if one is; else the records of the nearest values below
/// and above it, where the format has such values.
struct DecimalCodes {
    std::optional<std::uint16_t> exact;
    std::optional<std::uint16_t> below;
    std::optional<std::uint16_t> above;
};

/// `DecimalCodes` of `v` in the format of `HalfFloatLensSerial` (`lensSerial`) or `HalfFloat`.
/// Of several records of one value, the one of the smallest exponent. A NaN or an infinity has
/// no record and no neighbours but the largest value below an infinity of its sign.
VELMORA_RDD18_EXPORT DecimalCodes decimalCodes(double v, bool lensSerial) noexcept;

}  // namespace detail

/// Unsigned 16-bit decimal float of lens values; `value()` is never negative.
struct HalfFloatLensSerial {
    detail::HalfFloatLensSerialBits bits;
    double value() const noexcept { return detail::convertToDouble(bits); }
};

/// Signed 16-bit decimal float, the element of the ASC CDL vector. 80 00 is negative zero.
struct HalfFloat {
    detail::HalfFloatBits bits;
    double value() const noexcept {
        return detail::convertToDouble(bits) * (bits.negative() ? -1.0 : 1.0);
    }
};

/// Raw bytes of a payload.
using ByteVector = std::vector<unsigned char>;

static_assert(sizeof(Uint16) == 2 && sizeof(Int16) == 2 && sizeof(Uint32) == 4);
static_assert(sizeof(Boolean) == 1 && sizeof(Label) == 2 && sizeof(Rational) == 8);
static_assert(sizeof(HalfFloatLensSerial) == 2 && sizeof(HalfFloat) == 2);
static_assert(sizeof(VaricamExtendedMetadata) == 7);

// ---------------------------------------------------------------------------------------------
// Decoders: make_type_from_reader<T>::make(reader, length) reads one T whose item length field
// is `length`. A payload the type can't hold throws ParsingError; nothing else does. `reader` is
// any RDD 18 stream: the abstract class, or a final stream class whose reads then need no
// dispatch. make_type_from_reader<T>::refusal(length) is the fault of a payload with length field
// `length` that `make` refused: its code, `expected` and `found` (where it is, the caller adds).

template <class T>
struct make_type_from_reader;

namespace detail {

/// Fixed-size rule: ask for min(size, length) bytes straight into the value; anything short of
/// the type's size (a short stream, or a length below the size) is a ParsingError. A longer
/// payload leaves its rest in the stream for the caller to skip.
template <class T>
struct FixedSizeDecoder {
    static_assert(std::is_trivially_copyable_v<T>);
    template <class Reader>
    static T make(Reader& reader, unsigned long length) {
        T value{};
        auto* bytes = reinterpret_cast<unsigned char*>(&value);
        if (length < sizeof(T)) {  // the short payload is still consumed before the refusal
            reader.read(bytes, length);
            throw ParsingError();
        }
        if (reader.read(bytes, sizeof(T)) < sizeof(T)) throw ParsingError();
        return value;
    }
    static constexpr Fault refusal(unsigned long length) noexcept {
        return length < sizeof(T) ? Fault{.code = FaultCode::PayloadTooShort,
                                          .expected = sizeof(T),
                                          .found = length}
                                  : Fault{.code = FaultCode::PayloadCutOff, .expected = sizeof(T)};
    }
};

/// Counted vector rule: [count, Uint32][element size, Uint32][count elements]. The element size
/// must be the type's, and the elements must fill the payload exactly.
template <class E>
struct CountedVectorDecoder {
    template <class Reader>
    static std::vector<E> make(Reader& reader, unsigned long length);
    /// The rule's shape for `length`, also when the stream ended inside a payload of that shape.
    static constexpr Fault refusal(unsigned long length) noexcept {
        return {.code = FaultCode::VectorShapeRejected, .expected = sizeof(E), .found = length};
    }
};

}  // namespace detail

template <>
struct make_type_from_reader<Uint16> : detail::FixedSizeDecoder<Uint16> {};
template <>
struct make_type_from_reader<Int16> : detail::FixedSizeDecoder<Int16> {};
template <>
struct make_type_from_reader<Boolean> : detail::FixedSizeDecoder<Boolean> {};
template <>
struct make_type_from_reader<unsigned char> : detail::FixedSizeDecoder<unsigned char> {};
template <>
struct make_type_from_reader<Label> : detail::FixedSizeDecoder<Label> {};
template <>
struct make_type_from_reader<Rational> : detail::FixedSizeDecoder<Rational> {};
template <>
struct make_type_from_reader<HalfFloatLensSerial> : detail::FixedSizeDecoder<HalfFloatLensSerial> {
};
template <>
struct make_type_from_reader<HalfFloat> : detail::FixedSizeDecoder<HalfFloat> {};
/// Reads min(7, length) bytes; fewer than 7 delivered (so any length under 7) is a ParsingError.
template <>
struct make_type_from_reader<VaricamExtendedMetadata>
    : detail::FixedSizeDecoder<VaricamExtendedMetadata> {};

template <>
struct make_type_from_reader<Uint32> : detail::FixedSizeDecoder<Uint32> {
    using detail::FixedSizeDecoder<Uint32>::make;
    /// One `Uint32` of 4 bytes; the header words of the counted vectors.
    template <class Reader>
    static Uint32 make(Reader& reader) {
        return make(reader, sizeof(Uint32));
    }
};

/// String: all `length` bytes are read (short: ParsingError); the text ends at the first zero
/// byte or at the end. No character conversion happens here.
template <>
struct make_type_from_reader<std::string> {
    template <class Reader>
    static std::string make(Reader& reader, unsigned long length) {
        std::string text(length, '\0');
        if (reader.read(reinterpret_cast<unsigned char*>(text.data()), length) < length) {
            throw ParsingError();
        }
        text.resize(std::strlen(text.c_str()));  // the text ends at the first zero byte
        return text;
    }
    static constexpr Fault refusal(unsigned long length) noexcept {
        return {.code = FaultCode::TextCutOff, .expected = length};
    }
};

/// Byte vector: exactly `length` bytes. Never fails: bytes the stream doesn't have stay zero.
template <>
struct make_type_from_reader<ByteVector> {
    template <class Reader>
    static ByteVector make(Reader& reader, unsigned long length) {
        ByteVector bytes(length, 0);
        reader.read(bytes.data(), length);  // a short stream leaves a zero tail
        return bytes;
    }
    /// Never refuses; a short stream is `PayloadZeroFilled`, which the caller tells.
    static constexpr Fault refusal(unsigned long length) noexcept {
        return {.code = FaultCode::PayloadZeroFilled, .expected = length};
    }
};

template <>
struct make_type_from_reader<std::vector<Rational>> : detail::CountedVectorDecoder<Rational> {};
template <>
struct make_type_from_reader<std::vector<HalfFloat>> : detail::CountedVectorDecoder<HalfFloat> {};

template <class E>
template <class Reader>
std::vector<E> detail::CountedVectorDecoder<E>::make(Reader& reader, unsigned long length) {
    constexpr unsigned long kHeaderSize = 8;
    if (length < kHeaderSize) throw ParsingError();
    const std::uint32_t count = make_type_from_reader<Uint32>::make(reader);
    const std::uint32_t elementSize = make_type_from_reader<Uint32>::make(reader);
    if (elementSize != sizeof(E)) throw ParsingError();
    if (std::uint64_t{count} * sizeof(E) != length - kHeaderSize) throw ParsingError();
    std::vector<E> elements;
    elements.reserve(count);  // bounded: count * size fits the 16-bit length
    for (std::uint32_t i = 0; i < count; ++i) {
        elements.push_back(make_type_from_reader<E>::make(reader, elementSize));
    }
    return elements;
}

// ---------------------------------------------------------------------------------------------
// Encoders: make_bytes_from_type<T>::append(value, out) appends the payload of `value`, the bytes
// that make_type_from_reader<T>::make reads back as `value`; `size(value)` is their number.

template <class T>
struct make_bytes_from_type {
    static_assert(std::is_trivially_copyable_v<T>, "a fixed-size payload keeps its wire bytes");
    static constexpr std::size_t size(const T&) noexcept { return sizeof(T); }
    static void append(const T& value, std::vector<unsigned char>& out) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
        out.insert(out.end(), bytes, bytes + sizeof(T));
    }
};

/// Text: its bytes as they are, without a terminating zero (the length field ends it).
template <>
struct make_bytes_from_type<std::string> {
    static std::size_t size(const std::string& text) noexcept { return text.size(); }
    static void append(const std::string& text, std::vector<unsigned char>& out) {
        out.insert(out.end(), text.begin(), text.end());
    }
};

template <>
struct make_bytes_from_type<ByteVector> {
    static std::size_t size(const ByteVector& bytes) noexcept { return bytes.size(); }
    static void append(const ByteVector& bytes, std::vector<unsigned char>& out) {
        out.insert(out.end(), bytes.begin(), bytes.end());
    }
};

/// Counted vector: [count, Uint32][element size, Uint32][the elements].
template <class E>
struct make_bytes_from_type<std::vector<E>> {
    static std::size_t size(const std::vector<E>& elements) noexcept {
        return 8 + elements.size() * sizeof(E);
    }
    static void append(const std::vector<E>& elements, std::vector<unsigned char>& out) {
        make_bytes_from_type<Uint32>::append(
            Uint32::of(static_cast<std::uint32_t>(elements.size())), out);
        make_bytes_from_type<Uint32>::append(Uint32::of(sizeof(E)), out);
        for (const E& e : elements) make_bytes_from_type<E>::append(e, out);
    }
};

// ---------------------------------------------------------------------------------------------
// Items

/// The memory of the items of one parse (see `Item`). Made and ended by the parse; a builder
/// only passes it on to `new (arena) ...`.
class ItemArena;

/// One metadata item of a parse. Items own their payloads; nothing points into the stream.
class VELMORA_RDD18_EXPORT Item {
  public:
    virtual rdd18::tag tag() const = 0;
    virtual ~Item() = default;
    /// True when the payload was decoded to its type; false for an `UnsupportedItem`.
    virtual bool isSupported() const = 0;
    /// Address of the payload value inside the item.
    virtual const void* payload() const = 0;
    /// Appends the payload's wire bytes, those a parse decodes back into this payload.
    virtual void appendPayload(std::vector<unsigned char>& out) const = 0;
    /// The number of bytes `appendPayload` appends.
    virtual std::size_t payloadSize() const = 0;

    /// A parse cuts the blocks of its items from a few larger slabs (`new (arena) ...`); any
    /// other `new` gives the item a block of its own. Either way `delete` (the item's
    /// `unique_ptr`) frees it, on any thread, in any order, also after the parse has ended; a slab
    /// goes back to the heap with the last of its items. Blocks are aligned as `::operator new`
    /// aligns, which bounds the alignment of an item class.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, ItemArena& arena);
    static void operator delete(void* block) noexcept;
    /// Frees the block of an item whose constructor threw.
    static void operator delete(void* block, ItemArena& arena) noexcept;

    /// The payload as a `T`. Unchecked: the caller knows the type from the tag.
    template <class T>
    const T& payloadAs() const {
        return *static_cast<const T*>(payload());
    }
    /// The same, to change or to take over: the item owns its payload.
    template <class T>
    T& payloadAs() {
        return *static_cast<T*>(const_cast<void*>(payload()));
    }
};

/// The items of a parse in stream order; a tag may occur more than once.
using ItemList = std::vector<std::unique_ptr<Item>>;

/// Creates one kind of item from the stream.
class VELMORA_RDD18_EXPORT ItemBuilder {
  public:
    constexpr ItemBuilder() noexcept = default;
    constexpr virtual ~ItemBuilder() = default;
    /// Decodes the payload of `length` bytes at the stream's position into a new item. Throws
    /// ParsingError when the payload can't be decoded; `refusal` then says why.
    virtual std::unique_ptr<Item> build(rdd18::tag itemTag, RDD18StreamReader& reader,
                                        unsigned long length) const = 0;
    /// The same with the item made in `arena` (`new (arena) ...`), as a parse asks; by default
    /// the `build` above.
    virtual std::unique_ptr<Item> buildIn(ItemArena& /*arena*/, rdd18::tag itemTag,
                                          RDD18StreamReader& reader, unsigned long length) const {
        return build(itemTag, reader, length);
    }
    /// The same over the packet stream itself, which a builder may read without dispatch; by
    /// default the `buildIn` above.
    virtual std::unique_ptr<Item> buildIn(ItemArena& arena, rdd18::tag itemTag,
                                          RDD18AncillaryDataStreamReader& reader,
                                          unsigned long length) const {
        return buildIn(arena, itemTag, static_cast<RDD18StreamReader&>(reader), length);
    }
    /// The fault of a payload with length field `length` that `build` refused: its code,
    /// `expected` and `found`. Where it is and the tag, the caller adds.
    virtual Fault refusal(unsigned long length) const = 0;
    /// True when a payload cut off by the end of the stream is kept with a zero tail.
    virtual bool zeroFillsShortPayload() const = 0;
};

/// An item whose payload type and tag are fixed at compile time: each tag is a class of its own.
template <class T, unsigned char Tag1, unsigned char Tag2>
class TaggedItem : public Item {
  public:
    using PayloadType = T;

    static constexpr rdd18::tag Tag() noexcept { return make_tag(Tag1, Tag2); }

    explicit TaggedItem(T value) : value_(std::move(value)) {}

    rdd18::tag tag() const override { return Tag(); }
    bool isSupported() const override { return true; }
    const void* payload() const override { return &value_; }
    void appendPayload(std::vector<unsigned char>& out) const override {
        make_bytes_from_type<T>::append(value_, out);
    }
    std::size_t payloadSize() const override { return make_bytes_from_type<T>::size(value_); }
    const T& value() const noexcept { return value_; }
    /// The payload, to change or to take over.
    T& value() noexcept { return value_; }

    class Builder : public ItemBuilder {
      public:
        constexpr Builder() noexcept = default;
        constexpr ~Builder() override = default;  // a table's builders are constants
        std::unique_ptr<Item> build(rdd18::tag itemTag, RDD18StreamReader& reader,
                                    unsigned long length) const override {
            return std::make_unique<TaggedItem>(decode(itemTag, reader, length));
        }
        std::unique_ptr<Item> buildIn(ItemArena& arena, rdd18::tag itemTag,
                                      RDD18StreamReader& reader,
                                      unsigned long length) const override {
            return buildFrom(arena, itemTag, reader, length);
        }
        std::unique_ptr<Item> buildIn(ItemArena& arena, rdd18::tag itemTag,
                                      RDD18AncillaryDataStreamReader& reader,
                                      unsigned long length) const override {
            return buildFrom(arena, itemTag, reader, length);
        }
        Fault refusal(unsigned long length) const override {
            return make_type_from_reader<T>::refusal(length);
        }
        bool zeroFillsShortPayload() const override { return std::is_same_v<T, ByteVector>; }

      private:
        template <class Reader>
        static T decode(rdd18::tag itemTag, Reader& reader, unsigned long length) {
            assert(itemTag == make_tag(Tag1, Tag2) && "itemTag == make_tag(Tag1, Tag2)");
            (void)itemTag;
            return make_type_from_reader<T>::make(reader, length);
        }
        // Decoded before the block is taken: a refused payload takes none.
        template <class Reader>
        static std::unique_ptr<Item> buildFrom(ItemArena& arena, rdd18::tag itemTag, Reader& reader,
                                               unsigned long length) {
            T value = decode(itemTag, reader, length);
            return std::unique_ptr<Item>(new (arena) TaggedItem(std::move(value)));
        }
    };

  private:
    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "see Item::operator new");
    T value_;
};

/// An item of a tag that the flavour doesn't know: its raw payload bytes and its tag. Bytes that
/// the stream doesn't have are zero.
class VELMORA_RDD18_EXPORT UnsupportedItem : public Item {
  public:
    template <class Reader>
    UnsupportedItem(rdd18::tag itemTag, Reader& reader, unsigned long length)
        : bytes_(make_type_from_reader<ByteVector>::make(reader, length)), tag_(itemTag) {}
    /// The item of `bytes` under `itemTag`, as a writer makes it.
    UnsupportedItem(rdd18::tag itemTag, ByteVector bytes) noexcept
        : bytes_(std::move(bytes)), tag_(itemTag) {}

    rdd18::tag tag() const override { return tag_; }
    bool isSupported() const override { return false; }
    /// Address of the `ByteVector` of raw bytes.
    const void* payload() const override { return &bytes_; }
    void appendPayload(std::vector<unsigned char>& out) const override {
        make_bytes_from_type<ByteVector>::append(bytes_, out);
    }
    std::size_t payloadSize() const override { return bytes_.size(); }
    const ByteVector& bytes() const noexcept { return bytes_; }

  private:
    ByteVector bytes_;
    rdd18::tag tag_;
};

}  // namespace rdd18
