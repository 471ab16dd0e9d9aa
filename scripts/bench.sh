#!/usr/bin/env bash
# Builds the benchmarks in a Release tree (build/bench) and runs them. Arguments go to the
# benchmark program, for example:
#   scripts/bench.sh                                   # every benchmark, once
#   scripts/bench.sh --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#   scripts/bench.sh --benchmark_filter='RDD18'
# On the console the run closes with a table of each figure as a ratio to its floor.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/bench --target velmora_bench -- -j2
exec build/bench/bench/velmora_bench "$@"
