#include "rdd18/items/rdd18_items.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "rdd18/internal/byte_order.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"

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

}  // namespace rdd18
