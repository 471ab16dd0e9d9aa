// One 16-bit decimal float decoded to double: the library's integer path, and beside it, where
// long double is the x87 extended format, the former computation through powl that the integer
// path replaces. Both walk the same 65,536 patterns in the same scrambled order, so neither
// profits from a predictable exponent.
#include <benchmark/benchmark.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "rdd18/items/rdd18_items.h"

namespace velmora::bench {
namespace {

using rdd18::HalfFloat;
using rdd18::HalfFloatLensSerial;

template <class T>
std::vector<T> everyPattern() {
    std::vector<T> patterns;
    patterns.reserve(0x10000);
    for (std::uint32_t i = 0; i < 0x10000; ++i) {
        const std::uint32_t p = (i * 40503u) & 0xFFFFu;  // odd multiplier: a permutation
        patterns.push_back(T{{static_cast<unsigned char>(p >> 8), static_cast<unsigned char>(p)}});
    }
    return patterns;
}

template <class T, class Decode>
void runDecodes(benchmark::State& state, Decode decode) {
    const std::vector<T> patterns = everyPattern<T>();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(decode(patterns[i]));
        i = (i + 1) & 0xFFFF;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

template <class T>
void BM_DecimalFloat(benchmark::State& state) {
    runDecodes<T>(state, [](const T& t) { return t.value(); });
}
BENCHMARK_TEMPLATE(BM_DecimalFloat, HalfFloatLensSerial);
BENCHMARK_TEMPLATE(BM_DecimalFloat, HalfFloat);

#if LDBL_MANT_DIG == 64
// The former decode: mantissa times powl(10, e) in extended precision, rounded once to double.
template <class T>
double powlDecode(const T& t) {
    const long double scaled = static_cast<long double>(rdd18::detail::computeMantissa(t.bits)) *
                               powl(10.0L, rdd18::detail::computeExponent(t.bits));
    const double sign = std::is_same_v<T, HalfFloat> && (t.bits.byte0 & 0x80) ? -1.0 : 1.0;
    return static_cast<double>(scaled) * sign;
}

template <class T>
void BM_DecimalFloatPowl(benchmark::State& state) {
    const std::vector<T> patterns = everyPattern<T>();
    for (const T& t : patterns) {
        if (std::bit_cast<std::uint64_t>(powlDecode(t)) !=
            std::bit_cast<std::uint64_t>(t.value())) {
            state.SkipWithError("the powl path and the library differ");
            return;
        }
    }
    runDecodes<T>(state, powlDecode<T>);
}
BENCHMARK_TEMPLATE(BM_DecimalFloatPowl, HalfFloatLensSerial);
BENCHMARK_TEMPLATE(BM_DecimalFloatPowl, HalfFloat);
#endif

}  // namespace
}  // namespace velmora::bench
