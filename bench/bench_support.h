// Helpers shared by the benchmarks: allocation tallies around the measured work, and the counters
// they report.
#pragma once

#include <benchmark/benchmark.h>

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

}  // namespace velmora::bench
