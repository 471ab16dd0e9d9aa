// Helpers shared by the benchmarks: allocation tallies around the measured work, and the counters
// they report.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "alloc_counter.h"

namespace velmora::bench {

/// Counts the allocations of the work between `begin` and `end` of each iteration, and nothing of
/// the benchmark harness around it.
class AllocationTally {
  public:
    void begin() noexcept { start_ = allocationCount(); }
    void end() noexcept { total_ += allocationCount() - start_; }
    std::uint64_t total() const noexcept { return total_; }

    /// Reports the allocations per iteration as the counter `name`.
    void report(benchmark::State& state, const char* name = "allocs/frame") const {
        state.counters[name] =
            benchmark::Counter(static_cast<double>(total_), benchmark::Counter::kAvgIterations);
    }

    /// Fails the benchmark when the work allocated at all.
    void requireNone(benchmark::State& state, const char* what) const {
        report(state, "allocs/iter");
        if (total_ != 0) {
            const std::string message =
                std::string(what) + " allocated " + std::to_string(total_) + " times";
            state.SkipWithError(message.c_str());
        }
    }

  private:
    std::uint64_t start_ = 0;
    std::uint64_t total_ = 0;
};

/// Times `measured` and `floor` in alternating batches of the same thread, and reports the ratio of
/// their total times as the counter "ratio" (with "measured_ns" and "floor_ns" per call). A
/// machine whose speed drifts (a shared or virtual one) slows both alike, so the ratio holds where
/// two separate benchmarks, seconds apart, would each see another machine.
template <class Measured, class Floor>
void pairedCost(benchmark::State& state, Measured&& measured, Floor&& floor) {
    using Clock = std::chrono::steady_clock;
    constexpr int kBatch = 8;
    Clock::duration measuredTime{}, floorTime{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        for (int i = 0; i < kBatch; ++i) measured();
        const auto t1 = Clock::now();
        for (int i = 0; i < kBatch; ++i) floor();
        const auto t2 = Clock::now();
        measuredTime += t1 - t0;
        floorTime += t2 - t1;
    }
    const double calls = static_cast<double>(state.iterations()) * kBatch;
    const double m = std::chrono::duration<double, std::nano>(measuredTime).count();
    const double f = std::chrono::duration<double, std::nano>(floorTime).count();
    state.counters["measured_ns"] = m / calls;
    state.counters["floor_ns"] = f / calls;
    state.counters["ratio"] = f > 0 ? m / f : 0;
}

}  // namespace velmora::bench
