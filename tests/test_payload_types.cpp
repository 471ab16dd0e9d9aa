// Payload decoders and the value types: the exact failure rules of each decoder, and the two
// 16-bit decimal floats to the last bit.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

/// Decodes a T whose item length field is `length` from a stream holding `bytes`; reports how far
/// the stream moved.
template <class T>
T decode(const Bytes& bytes, unsigned long length, unsigned long* consumed = nullptr) {
    RDD18BufferReader reader(bytes.data(), bytes.size());
    T value = make_type_from_reader<T>::make(reader, length);
    if (consumed) *consumed = reader.position();
    return value;
}

template <class T>
T decode(const Bytes& bytes) {
    return decode<T>(bytes, bytes.size());
}

// --- Fixed-size decoders -----------------------------------------------------------------------

/// A length below the size fails however much the stream holds; a stream that runs out fails; a
/// longer length consumes exactly the size.
template <class T>
void checkFixedSizeRule(const char* name, unsigned long size) {
    SCOPED_TRACE(name);
    const Bytes plenty(size + 6, 0x01);
    for (unsigned long length = 0; length < size; ++length) {
        EXPECT_THROW(decode<T>(plenty, length), ParsingError) << "length " << length;
    }
    const Bytes shortStream(size - 1, 0x01);
    EXPECT_THROW(decode<T>(shortStream, size), ParsingError);
    unsigned long consumed = 0;
    EXPECT_NO_THROW(decode<T>(plenty, size + 6, &consumed));
    EXPECT_EQ(consumed, size);
    EXPECT_NO_THROW(decode<T>(plenty, size, &consumed));
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

TEST(FixedSizeDecoders, IntegerValuesAreBigEndian) {
    EXPECT_EQ(decode<Uint16>({0x01, 0x02}).value(), 258);
    EXPECT_EQ(decode<Uint16>({0xFF, 0xFF}).value(), 65535);
    EXPECT_EQ(decode<Int16>({0xFF, 0xFE}).value(), -2);
    EXPECT_EQ(decode<Int16>({0xFF, 0xFF}).value(), -1);
    EXPECT_EQ(decode<Int16>({0x80, 0x00}).value(), -32768);
    EXPECT_EQ(decode<Int16>({0x7F, 0xFF}).value(), 32767);
    EXPECT_EQ(decode<Uint32>({0x00, 0x00, 0x01, 0x00}).value(), 256u);
    EXPECT_EQ(decode<Uint32>({0xFF, 0xFF, 0xFF, 0xFE}).value(), 4294967294u);
    const unsigned int converted = decode<Uint32>({0x12, 0x34, 0x56, 0x78});
    EXPECT_EQ(converted, 0x12345678u);
    EXPECT_EQ(decode<unsigned char>({0xFF}), 0xFF);
}

TEST(FixedSizeDecoders, BooleanIsTrueOnlyForOne) {
    EXPECT_TRUE(decode<Boolean>({0x01}).value());
    for (unsigned char b : {0x00, 0x02, 0x80, 0xFF})
        EXPECT_FALSE(decode<Boolean>({b}).value()) << int(b);
}

TEST(FixedSizeDecoders, LabelAndRationalKeepTheirBytes) {
    unsigned long consumed = 0;
    const Bytes sixteen = {0x12, 0xFE, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const Label label = decode<Label>(sixteen, 16, &consumed);
    EXPECT_EQ(label.value0, 0x12);
    EXPECT_EQ(label.value1, 0xFE);
    EXPECT_EQ(consumed, 2u);
    const Rational r = decode<Rational>({0x00, 0x00, 0x00, 0x19, 0x00, 0x00, 0x00, 0x01});
    EXPECT_EQ(r.numerator.value(), 25u);
    EXPECT_EQ(r.denominator.value(), 1u);
}

// --- String and byte vector --------------------------------------------------------------------

TEST(StringDecoder, EndsAtTheFirstZeroByteAndConsumesAll) {
    struct Case {
        Bytes payload;
        std::string text;
    };
    for (const Case& c :
         {Case{{0x41, 0x42, 0x00, 0x43}, "AB"}, Case{{0x41, 0x42, 0x43}, "ABC"}, Case{{}, ""},
          Case{{0x00, 0x41, 0x42}, ""}, Case{{0xC9, 0x7F}, "\xC9\x7F"}}) {
        SCOPED_TRACE(testing::PrintToString(c.payload));
        unsigned long consumed = 0;
        EXPECT_EQ(decode<std::string>(c.payload + Bytes{0x55}, c.payload.size(), &consumed),
                  c.text);
        EXPECT_EQ(consumed, c.payload.size());
    }
    EXPECT_THROW(decode<std::string>({0x41, 0x42}, 3), ParsingError);
}

TEST(ByteVectorDecoder, NeverFailsAndZeroFillsWhatTheStreamLacks) {
    EXPECT_EQ(decode<ByteVector>({1, 2, 3, 4}, 10), (Bytes{1, 2, 3, 4, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(decode<ByteVector>({1, 2, 3, 4}, 0), Bytes{});
    EXPECT_EQ(decode<ByteVector>({}, 3), (Bytes{0, 0, 0}));
    EXPECT_EQ(decode<ByteVector>({0, 9, 0}, 2), (Bytes{0, 9}));
}

// --- Counted vectors ---------------------------------------------------------------------------

struct CountedCase {
    std::string name;
    Bytes stream;
    unsigned long length;
    long expectedCount;    // -1: ParsingError
    unsigned long failAt;  // stream position when the ParsingError leaves
};

const Bytes kTwoRationals = rationalPayload(1, 2) + rationalPayload(3, 4);
const Bytes kThreeHalfFloats = {0x3C, 0x03, 0xBC, 0x03, 0x40, 0x01};

std::vector<CountedCase> rationalCases() {
    return {
        {"EmptyVector", countedVector(0, 8, {}), 8, 0, 0},
        {"ElementSizeFour", countedVector(0, 4, {}), 8, -1, 8},
        {"TwoElements", countedVector(2, 8, kTwoRationals), 24, 2, 0},
        {"LengthOneShort", countedVector(2, 8, kTwoRationals), 23, -1, 8},
        {"LengthOneOver", countedVector(2, 8, kTwoRationals) + Bytes{0}, 25, -1, 8},
        {"LengthSeven", countedVector(0, 8, {}), 7, -1, 0},
        {"CountTimesSizeOverflows32Bits", countedVector(0x20000000, 8, kTwoRationals), 8, -1, 8},
        {"HeaderCutShort", Bytes{0, 0, 0, 0, 0, 0}, 8, -1, 6},
        {"ElementCutShort", countedVector(2, 8, rationalPayload(1, 2) + Bytes{0, 0}), 24, -1, 18},
    };
}

std::vector<CountedCase> halfFloatCases() {
    return {
        {"ThreeElements", countedVector(3, 2, kThreeHalfFloats), 14, 3, 0},
        {"LengthFifteen", countedVector(3, 2, kThreeHalfFloats) + Bytes{0}, 15, -1, 8},
        {"ElementSizeEight", countedVector(3, 8, kThreeHalfFloats), 14, -1, 8},
        {"EmptyVector", countedVector(0, 2, {}), 8, 0, 0},
        {"CountTimesSizeOverflows32Bits", countedVector(0x80000000, 2, kThreeHalfFloats), 8, -1, 8},
        {"ElementCutShort", countedVector(3, 2, Bytes{0x3C, 0x03, 0xBC}), 14, -1, 11},
    };
}

template <class E>
void checkCounted(const CountedCase& c) {
    SCOPED_TRACE(c.name);
    if (c.expectedCount < 0) {
        RDD18BufferReader reader(c.stream.data(), c.stream.size());
        EXPECT_THROW(make_type_from_reader<std::vector<E>>::make(reader, c.length), ParsingError);
        EXPECT_EQ(reader.position(), c.failAt);  // a length below 8 fails before any read
        return;
    }
    unsigned long consumed = 0;
    const auto v = decode<std::vector<E>>(c.stream, c.length, &consumed);
    EXPECT_EQ(v.size(), static_cast<std::size_t>(c.expectedCount));
    EXPECT_EQ(consumed, c.length);
}

TEST(CountedVectorDecoders, RationalRules) {
    for (const auto& c : rationalCases()) checkCounted<Rational>(c);
    const auto v = decode<std::vector<Rational>>(countedVector(2, 8, kTwoRationals));
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[1].numerator.value(), 3u);
    EXPECT_EQ(v[1].denominator.value(), 4u);
}

TEST(CountedVectorDecoders, HalfFloatRules) {
    for (const auto& c : halfFloatCases()) checkCounted<HalfFloat>(c);
    const auto v = decode<std::vector<HalfFloat>>(countedVector(3, 2, kThreeHalfFloats));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(v[0].value()), std::bit_cast<std::uint64_t>(0.3));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(v[1].value()), std::bit_cast<std::uint64_t>(-0.3));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(v[2].value()), std::bit_cast<std::uint64_t>(1e16));
}

// --- 16-bit decimal floats ---------------------------------------------------------------------

struct FloatCase {
    unsigned char byte0, byte1;
    unsigned short mantissa;
    short exponent;
    double value;
};

// Worked values: mantissa x 10^exponent, rounded once from extended precision.
const FloatCase kLensSerialCases[] = {
    {0x00, 0x01, 1, 0, 1.0},      {0x0F, 0xFF, 4095, 0, 4095.0},
    {0x10, 0x64, 100, 1, 1000.0}, {0x7F, 0xFF, 4095, 7, 40950000000.0},
    {0x80, 0x01, 1, -8, 1e-08},   {0xE0, 0x7B, 123, -2, 1.23},
    {0xF0, 0x03, 3, -1, 0.3},
};

const FloatCase kHalfFloatCases[] = {
    {0x00, 0x01, 1, 0, 1.0},           {0x80, 0x01, 1, 0, -1.0},
    {0x03, 0xFF, 1023, 0, 1023.0},     {0x04, 0x0A, 10, 1, 100.0},
    {0x20, 0x01, 1, -8, 1e-08},        {0x3C, 0x03, 3, -1, 0.3},
    {0xBC, 0x03, 3, -1, -0.3},         {0x40, 0x01, 1, 16, 1e+16},
    {0x5C, 0x01, 1, 23, 1e+23},        {0x60, 0x01, 1, 8, 100000000.0},
    {0x7F, 0xFF, 1023, 15, 1.023e+18},
};

template <class T, class Bits>
void checkFloat(const FloatCase& c) {
    SCOPED_TRACE(testing::PrintToString(Bytes{c.byte0, c.byte1}));
    const Bits bits{c.byte0, c.byte1};
    EXPECT_EQ(detail::computeMantissa(bits), c.mantissa);
    EXPECT_EQ(detail::computeExponent(bits), c.exponent);
    const T value = decode<T>({c.byte0, c.byte1});
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value.value()), std::bit_cast<std::uint64_t>(c.value))
        << value.value() << " vs " << c.value;
}

TEST(DecimalFloats, LensSerialWorkedValuesAreBitExact) {
    for (const FloatCase& c : kLensSerialCases) {
        checkFloat<HalfFloatLensSerial, detail::HalfFloatLensSerialBits>(c);
    }
}

TEST(DecimalFloats, HalfFloatWorkedValuesAreBitExact) {
    for (const FloatCase& c : kHalfFloatCases) checkFloat<HalfFloat, detail::HalfFloatBits>(c);
}

TEST(DecimalFloats, SignedZeros) {
    const double negative = decode<HalfFloat>({0x80, 0x00}).value();
    EXPECT_EQ(negative, 0.0);
    EXPECT_TRUE(std::signbit(negative));
    const double positive = decode<HalfFloat>({0x3C, 0x00}).value();  // not 1.0 as in binary16
    EXPECT_EQ(std::bit_cast<std::uint64_t>(positive), 0u);
}

TEST(DecimalFloats, ExponentFieldWeights) {
    for (int e = 0; e < 32; ++e) {
        // Bit 3 of the field counts -8, bit 4 counts +16.
        const int expected = (e < 8 || (e >= 16 && e < 24)) ? e : e - 16;
        const detail::HalfFloatBits bits{static_cast<unsigned char>(e << 2), 0};
        EXPECT_EQ(detail::computeExponent(bits), expected) << "E " << e;
    }
    for (int e = 0; e < 16; ++e) {
        const detail::HalfFloatLensSerialBits bits{static_cast<unsigned char>(e << 4), 0};
        EXPECT_EQ(detail::computeExponent(bits), e < 8 ? e : e - 16) << "E " << e;
    }
}

TEST(DecimalFloats, EveryPatternIsFiniteAndLensValuesAreNeverNegative) {
    for (unsigned p = 0; p <= 0xFFFF; ++p) {
        const auto hi = static_cast<unsigned char>(p >> 8), lo = static_cast<unsigned char>(p);
        const double lens = HalfFloatLensSerial{{hi, lo}}.value();
        const double half = HalfFloat{{hi, lo}}.value();
        ASSERT_TRUE(std::isfinite(lens) && std::isfinite(half)) << p;
        ASSERT_FALSE(std::signbit(lens)) << p;
        ASSERT_EQ(std::signbit(half), (hi & 0x80) != 0) << p;
    }
}

}  // namespace
