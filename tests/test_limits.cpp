// The value model at its exact limits: every typed read at the largest and smallest value its
// target holds and one beyond, the conversions at the edges of int64, uint64 and float, and
// Latin-1 text over every byte.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "rdd18/platform/value.h"

using namespace rdd18;

namespace {

// The number `v` (of a signed or an unsigned kind) read as each integer type: present exactly when
// the type holds it, and then equal to it.
template <class T>
void expectReadsAtLimits() {
    using L = std::numeric_limits<T>;
    const auto top = static_cast<std::uint64_t>(L::max());
    const auto bottom = static_cast<std::int64_t>(L::min());
    // Signed kinds, from the bottom of int64 up; unsigned kinds, up to the top of uint64.
    const std::int64_t signedRows[] = {INT64_MIN, bottom - (bottom > INT64_MIN), bottom, -1, 0, 1};
    for (const std::int64_t v : signedRows) {
        const bool fits = v >= bottom && (v < 0 || static_cast<std::uint64_t>(v) <= top);
        const auto got = Value(Number::integer(v)).tryGet<T>();
        ASSERT_EQ(got.has_value(), fits) << v;
        if (fits) {
            EXPECT_EQ(static_cast<std::int64_t>(*got), v);
        }
    }
    for (const std::uint64_t v : {top - 1, top, top + (top < UINT64_MAX), UINT64_MAX}) {
        const auto got = Value(Number::unsignedLong(v)).tryGet<T>();
        ASSERT_EQ(got.has_value(), v <= top) << v;
        if (v <= top) {
            EXPECT_EQ(static_cast<std::uint64_t>(*got), v);
        }
        // The same value in the signed kind reads alike while int64 holds it.
        if (v <= INT64_MAX) {
            EXPECT_EQ(Value(Number::integer(static_cast<std::int64_t>(v))).tryGet<T>(), got) << v;
        }
    }
}

TEST(Limits, EveryTypedReadIsExactAtItsBoundsAndRefusedBeyond) {
    expectReadsAtLimits<std::int8_t>();
    expectReadsAtLimits<std::uint8_t>();
    expectReadsAtLimits<std::int16_t>();
    expectReadsAtLimits<std::uint16_t>();
    expectReadsAtLimits<std::int32_t>();
    expectReadsAtLimits<std::uint32_t>();
    expectReadsAtLimits<std::int64_t>();
    expectReadsAtLimits<std::uint64_t>();
}

// Each kind at its own extremes keeps its value, its signedness and its kind.
TEST(Limits, EveryKindHoldsItsExtremes) {
    const struct {
        Number n;
        NumberKind kind;
        std::int64_t i;
        std::uint64_t u;
        bool isSigned, isUnsigned;
    } rows[] = {
        {Number::shortNumber(INT16_MIN), NumberKind::Short, INT16_MIN, 0xFFFFFFFFFFFF8000u, 1, 0},
        {Number::shortNumber(INT16_MAX), NumberKind::Short, INT16_MAX, INT16_MAX, 1, 0},
        {Number::intNumber(INT32_MIN), NumberKind::Int, INT32_MIN, 0xFFFFFFFF80000000u, 1, 0},
        {Number::intNumber(INT32_MAX), NumberKind::Int, INT32_MAX, INT32_MAX, 1, 0},
        {Number::integer(INT64_MIN), NumberKind::Integer, INT64_MIN, 1ull << 63, 1, 0},
        {Number::unsignedChar(UINT8_MAX), NumberKind::UnsignedChar, UINT8_MAX, UINT8_MAX, 0, 1},
        {Number::unsignedShort(UINT16_MAX), NumberKind::UnsignedShort, UINT16_MAX, UINT16_MAX, 0,
         1},
        {Number::unsignedInt(UINT32_MAX), NumberKind::UnsignedInt, UINT32_MAX, UINT32_MAX, 0, 1},
        {Number::unsignedLong(UINT64_MAX), NumberKind::UnsignedLong, -1, UINT64_MAX, 0, 1},
        {Number::boolean(true), NumberKind::Bool, 1, 1, 0, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(numberKindName(r.kind));
        EXPECT_EQ(r.n.kind(), r.kind);
        EXPECT_EQ(r.n.int64Value(), r.i);
        EXPECT_EQ(r.n.uint64Value(), r.u);
        EXPECT_EQ(r.n.isSigned(), r.isSigned);
        EXPECT_EQ(r.n.isUnsigned(), r.isUnsigned);
        EXPECT_FALSE(r.n.isFloating());
        EXPECT_EQ(r.n.doubleValue(),
                  r.isSigned ? static_cast<double>(r.i) : static_cast<double>(r.u));
        EXPECT_TRUE(r.n.boolValue());
        EXPECT_EQ(Value(r.n).tryGet<bool>().has_value(), r.kind == NumberKind::Bool);
    }
}

// Floating values saturate at the edges of int64 and uint64 (2^63 and 2^64 are the first values
// beyond), truncate toward zero inside, and narrow to float with IEEE rounding at float's top.
TEST(Limits, FloatingConversionsAtTheEdgesOfTheTargets) {
    constexpr double below63 = 0x1.fffffffffffffp62, below64 = 0x1.fffffffffffffp63;
    const struct {
        double d;
        std::int64_t i;
        std::uint64_t u;
    } rows[] = {
        {-0x1p63, INT64_MIN, 0},
        {-below63, -static_cast<std::int64_t>(below63), 0},
        {0x1p63, INT64_MAX, 1ull << 63},
        {below63, static_cast<std::int64_t>(below63), static_cast<std::uint64_t>(below63)},
        {0x1p64, INT64_MAX, UINT64_MAX},
        {below64, INT64_MAX, static_cast<std::uint64_t>(below64)},
        {-0.75, 0, 0},
        {0.75, 0, 0},
        {1.75, 1, 1},
        {-1.75, -1, 0},
    };
    for (const auto& r : rows) {
        const Number n = Number::doubleNumber(r.d);
        EXPECT_EQ(n.int64Value(), r.i) << r.d;
        EXPECT_EQ(n.uint64Value(), r.u) << r.d;
    }
    constexpr float fmax = std::numeric_limits<float>::max();
    constexpr double halfUlp = 0x1p103, inf = std::numeric_limits<double>::infinity();
    for (const double sign : {1.0, -1.0}) {
        const struct {
            double d, f;
        } narrowing[] = {{fmax, fmax},
                         {fmax + halfUlp / 2, fmax},
                         {std::nextafter(fmax + halfUlp, 0.0), fmax},
                         {fmax + halfUlp, inf},
                         {inf, inf},
                         {0x1p-149, 0x1p-149}};
        for (const auto& r : narrowing) {
            EXPECT_EQ(Number::doubleNumber(sign * r.d).floatValue(), sign * r.f) << sign * r.d;
        }
    }
    EXPECT_EQ(Number::floatNumber(-0.0f).boolValue(), false);
    EXPECT_EQ(Number::doubleNumber(std::nan("")).boolValue(), true);
}

// Every byte 0x00-0xFF goes to UTF-8 and back; outside the two-byte forms of U+0080-U+00FF
// nothing is taken back.
TEST(Limits, Latin1TextOverEveryByte) {
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        const std::string utf8 = stringFromLatin1(&byte, 1);
        SCOPED_TRACE(c);
        if (c < 0x80) {
            EXPECT_EQ(utf8, std::string(1, byte));
        } else {
            ASSERT_EQ(utf8.size(), 2u);
            EXPECT_EQ(static_cast<unsigned char>(utf8[0]), 0xC0 | (c >> 6));
            EXPECT_EQ(static_cast<unsigned char>(utf8[1]), 0x80 | (c & 0x3F));
        }
        const std::string back{byte, 'a', byte};
        EXPECT_EQ(latin1FromString(utf8 + "a" + utf8), back);
        // The lead byte alone, or a lead byte before anything but a continuation, is refused.
        const std::string lead(1, static_cast<char>(0xC2 + (c & 1)));
        const bool continuation = (c & 0xC0) == 0x80;
        EXPECT_EQ(latin1FromString(lead + byte).has_value(), continuation);
        if (c >= 0x80 && c != 0xC2 && c != 0xC3) {
            EXPECT_FALSE(latin1FromString(std::string{byte, '\x80'}));
        }
    }
    EXPECT_FALSE(latin1FromString("\xC3"));
    EXPECT_EQ(stringFromLatin1("", 0), "");
}

}  // namespace
