#include "rdd18/items/rdd18_items.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "rdd18/internal/byte_order.h"
#include "rdd18/items/flavour_table.h"

static_assert(std::numeric_limits<long double>::digits >= 64,
              "the 16-bit decimal floats are defined by x87 extended precision arithmetic; this "
              "target's long double has fewer than 64 significand bits and would give other values");

namespace rdd18 {

std::uint16_t Uint16::value() const noexcept { return internal::loadBigEndian16(bytes); }

std::int16_t Int16::value() const noexcept {
    return static_cast<std::int16_t>(internal::loadBigEndian16(bytes));
}

std::uint32_t Uint32::value() const noexcept { return internal::loadBigEndian32(bytes); }

double detail::decimalToDouble(unsigned short mantissa, short exponent) noexcept {
    const long double scaled = static_cast<long double>(mantissa) * powl(10.0L, exponent);
    return static_cast<double>(scaled);
}

std::string make_type_from_reader<std::string>::make(RDD18StreamReader& reader,
                                                     unsigned long length) {
    std::string buffer(length, '\0');
    if (reader.read(reinterpret_cast<unsigned char*>(buffer.data()), length) < length) {
        throw ParsingError();
    }
    buffer.resize(std::strlen(buffer.c_str()));  // the text ends at the first zero byte
    return buffer;
}

ByteVector make_type_from_reader<ByteVector>::make(RDD18StreamReader& reader,
                                                   unsigned long length) {
    ByteVector bytes(length, 0);
    reader.read(bytes.data(), length);  // a short stream leaves a zero tail
    return bytes;
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
