// Payload decoders: the exact failure rules of each decoder, and the two 16-bit decimal floats to
// the last bit. The values of the other types are pinned by the item translation tests.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/internal_varicam_items.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

/// Decodes a T whose item length field is `length` from a stream holding `bytes`; reports how far
/// the stream moved, also when the decoder throws.
template <class T>
T decode(const Bytes& bytes, unsigned long length, unsigned long* consumed = nullptr) {
    RDD18BufferReader reader(bytes.data(), bytes.size());
    struct Report {
        RDD18BufferReader& reader;
        unsigned long* consumed;
        ~Report() {
            if (consumed) *consumed = reader.position();
        }
    } report{reader, consumed};
    return make_type_from_reader<T>::make(reader, length);
}

/// A length below the size fails however much the stream holds; a stream that runs out fails; a
/// longer length consumes exactly the size.
template <class T>
void checkFixedSizeRule(const char* name, unsigned long size) {
    SCOPED_TRACE(name);
    const Bytes plenty(size + 6, 0x01);
    for (unsigned long length = 0; length < size; ++length) {
        EXPECT_THROW(decode<T>(plenty, length), ParsingError) << "length " << length;
    }
    EXPECT_THROW(decode<T>(Bytes(size - 1, 0x01), size), ParsingError);
    unsigned long consumed = 0;
    decode<T>(plenty, size + 6, &consumed);
    EXPECT_EQ(consumed, size);
}

TEST(FixedSizeDecoders, FailExactlyWhenFewerThanTheSizeArrive) {
    checkFixedSizeRule<Uint16>("Uint16", 2);
    checkFixedSizeRule<Int16>("Int16", 2);
    checkFixedSizeRule<Uint32>("Uint32", 4);
    checkFixedSizeRule<Boolean>("Boolean", 1);
    checkFixedSizeRule<unsigned char>("unsigned char", 1);
    checkFixedSizeRule<Label>("Label", 2);
    checkFixedSizeRule<Rational>("Rational", 8);
    checkFixedSizeRule<HalfFloat>("HalfFloat", 2);
    checkFixedSizeRule<HalfFloatLensSerial>("HalfFloatLensSerial", 2);
    checkFixedSizeRule<VaricamExtendedMetadata>("VaricamExtendedMetadata", 7);
}

TEST(CountedVectorDecoders, CountSizeAndLengthRules) {
    const Bytes twoRationals = rationalPayload(1, 2) + rationalPayload(3, 4);
    const Bytes threeHalfFloats = {0x3C, 0x03, 0xBC, 0x03, 0x40, 0x01};
    const struct {
        const char* name;
        bool halfFloats;  // else rationals
        Bytes stream;
        unsigned long length;
        long count;                 // -1: ParsingError
        unsigned long endPosition;  // where the stream stands afterwards
    } cases[] = {
        {"empty", false, countedVector(0, 8, {}), 8, 0, 8},
        {"two", false, countedVector(2, 8, twoRationals), 24, 2, 24},
        {"element size 4", false, countedVector(0, 4, {}), 8, -1, 8},
        {"length one short", false, countedVector(2, 8, twoRationals), 23, -1, 8},
        {"length one over", false, countedVector(2, 8, twoRationals) + Bytes{0}, 25, -1, 8},
        {"length 7 fails before reading", false, countedVector(0, 8, {}), 7, -1, 0},
        {"count x size past 32 bits", false, countedVector(0x20000000, 8, twoRationals), 8, -1, 8},
        {"header cut short", false, Bytes{0, 0, 0, 0, 0, 0}, 8, -1, 6},
        {"element cut short", false, countedVector(2, 8, rationalPayload(1, 2) + Bytes{0, 0}), 24,
         -1, 18},
        {"three", true, countedVector(3, 2, threeHalfFloats), 14, 3, 14},
        {"length 15", true, countedVector(3, 2, threeHalfFloats) + Bytes{0}, 15, -1, 8},
        {"element size 8", true, countedVector(3, 8, threeHalfFloats), 14, -1, 8},
        {"count x size past 32 bits", true, countedVector(0x80000000, 2, threeHalfFloats), 8, -1,
         8},
        {"element cut short", true, countedVector(3, 2, Bytes{0x3C, 0x03, 0xBC}), 14, -1, 11},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        unsigned long position = 0;
        long count = -1;
        try {
            count = c.halfFloats
                        ? static_cast<long>(
                              decode<std::vector<HalfFloat>>(c.stream, c.length, &position).size())
                        : static_cast<long>(
                              decode<std::vector<Rational>>(c.stream, c.length, &position).size());
        } catch (const ParsingError&) {
        }
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(position, c.endPosition);
    }
}

// --- 16-bit decimal floats ---------------------------------------------------------------------

struct FloatCase {
    unsigned char byte0, byte1;
    double value;  // mantissa x 10^exponent, rounded once from extended precision
};

const FloatCase kLensSerialCases[] = {
    {0x00, 0x01, 1.0},
    {0x0F, 0xFF, 4095.0},
    {0x10, 0x64, 1000.0},
    {0x7F, 0xFF, 40950000000.0},
    {0x80, 0x01, 1e-08},
    {0xE0, 0x7B, 1.23},
    {0xF0, 0x03, 0.3},
    // where one rounding from a wider significand gives the neighbour
    {0x81, 0xEB, 4.9100000000000004e-06},
    {0x83, 0xD6, 9.8200000000000008e-06},
    {0x87, 0xAC, 1.9640000000000002e-05},
    {0x8F, 0x58, 3.9280000000000003e-05},
    {0xAB, 0x3D, 0.0028770000000000002}};
const FloatCase kHalfFloatCases[] = {{0x00, 0x01, 1.0},
                                     {0x80, 0x01, -1.0},
                                     {0x03, 0xFF, 1023.0},
                                     {0x04, 0x0A, 100.0},
                                     {0x20, 0x01, 1e-08},
                                     {0x3C, 0x03, 0.3},
                                     {0xBC, 0x03, -0.3},
                                     {0x40, 0x01, 1e+16},
                                     {0x5C, 0x01, 1e+23},
                                     {0x60, 0x01, 1e+08},
                                     {0x7F, 0xFF, 1.023e+18},
                                     {0x3C, 0x00, 0.0},  // not 1.0 as in binary16
                                     {0x80, 0x00, -0.0},
                                     {0x21, 0xEB, 4.9100000000000004e-06},
                                     {0xA3, 0xD6, -9.8200000000000008e-06}};

template <class T>
void checkWorkedValues(const FloatCase& c) {
    const double value = decode<T>({c.byte0, c.byte1}, 2).value();
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(c.value))
        << testing::PrintToString(Bytes{c.byte0, c.byte1}) << ": " << value << " vs " << c.value;
}

TEST(DecimalFloats, WorkedValuesAreBitExact) {
    for (const FloatCase& c : kLensSerialCases) checkWorkedValues<HalfFloatLensSerial>(c);
    for (const FloatCase& c : kHalfFloatCases) checkWorkedValues<HalfFloat>(c);
}

/// FNV-1a over the bits of the values of all 65,536 patterns in order, each fed low byte first so
/// that byte order doesn't matter. With x87 extended precision at hand, each value is also held to
/// the defining computation: mantissa times powl(10, e) in 64 significand bits, then to double.
template <class T>
std::uint64_t digestOfEveryPattern() {
    std::uint64_t digest = 0xCBF29CE484222325u;
    for (unsigned p = 0; p < 0x10000; ++p) {
        const T t{{static_cast<unsigned char>(p >> 8), static_cast<unsigned char>(p)}};
        std::uint64_t bits = std::bit_cast<std::uint64_t>(t.value());
#if LDBL_MANT_DIG == 64 && \
    defined(__GLIBC__)  // glibc's powl is exact here; not every C library's is
        const long double x87 = static_cast<long double>(detail::computeMantissa(t.bits)) *
                                powl(10.0L, detail::computeExponent(t.bits));
        const double sign = std::is_same_v<T, HalfFloat> && (p & 0x8000) ? -1.0 : 1.0;
        EXPECT_EQ(bits, std::bit_cast<std::uint64_t>(static_cast<double>(x87) * sign)) << p;
#endif
        for (int i = 0; i < 8; ++i, bits >>= 8) digest = (digest ^ (bits & 0xFF)) * 0x100000001B3u;
    }
    return digest;
}

TEST(DecimalFloats, EveryPatternGivesTheX87Bits) {
    EXPECT_EQ(digestOfEveryPattern<HalfFloatLensSerial>(), 0x677F4247F79FF541u);
    EXPECT_EQ(digestOfEveryPattern<HalfFloat>(), 0x1EA149F699C496B5u);
}

}  // namespace
