// Counts heap allocations of the whole benchmark program. The global operator new and delete are
// replaced in alloc_counter.cpp; every allocation, the library's and the standard library's alike,
// goes through the counter.
#pragma once

#include <cstdint>

namespace velmora::bench {

/// Calls of operator new in the whole program so far. The benchmarks run on one thread, so the
/// difference of two readings around a piece of work is what that work allocated.
std::uint64_t allocationCount() noexcept;

}  // namespace velmora::bench
