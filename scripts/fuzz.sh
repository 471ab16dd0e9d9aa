#!/usr/bin/env bash
# Builds the "fuzz" preset (clang, libFuzzer, AddressSanitizer + UndefinedBehaviorSanitizer) and
# runs every fuzz target, one after the other, for a number of seconds each, with the dictionary,
# the generated seed corpus (sample frames and the largest legal frames included) and the
# committed inputs (fuzz/corpus/<target>/, fuzz/regressions/<target>/). Inputs run up to the
# largest legal frame. Fails on any crash, sanitizer report, input slower than the time budget
# below, or broken invariant; the input that did it is kept under
# build/fuzz/fuzz-work/artifacts/<target>/.
#
#   scripts/fuzz.sh [seconds per target, default 20] [target...]
#   scripts/fuzz.sh 600                  # the longer run
#   scripts/fuzz.sh 60 rdd18_sony        # one target
#
# The corpus each target grows is kept in build/fuzz/fuzz-work/corpus/<target>/ and reused by the
# next run. Extra libFuzzer options can be given in VELMORA_FUZZ_OPTIONS.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-20}
[ $# -gt 0 ] && shift
case $seconds in '' | *[!0-9]*) echo "usage: $0 [seconds] [target...]" >&2; exit 2 ;; esac

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target velmora_fuzzers -j "${VELMORA_FUZZ_JOBS:-2}"

bin=build/fuzz/fuzz
work=build/fuzz/fuzz-work
if [ $# -gt 0 ]; then
  targets=("$@")
else
  mapfile -t targets < "$bin/targets.txt"
fi

# The largest legal frame: 255 RDD 18 packets of 255 payload bytes, each behind a flag
# (3 + 3 + 255 + 1 bytes): 66,810 bytes, which carry a 64,770-byte stream.
max_len=66810
# The time budget of one input. The slowest legal frames (the largest stream of items above, a
# CDL vector of 32,369 half floats) take 1 to 2 s in a frame target under the sanitizers, both
# flag readings, the library and the model included, on a loaded two-core machine; a typical input
# takes well under 10 ms. An input that takes 10 s, five times the slowest legal frame, is a finding
# (a timeout); one over 5 s is reported as slow in the log.
timeout=10
slow=5

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:allocator_may_return_null=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

failed=()
summary=()
for t in "${targets[@]}"; do
  exe="$bin/fuzz_$t"
  [ -x "$exe" ] || { echo "no fuzz target '$t'" >&2; exit 2; }
  mkdir -p "$work/corpus/$t" "$work/artifacts/$t" "$work/logs"
  inputs=("$work/corpus/$t" "$bin/corpus/$t")
  for committed in fuzz/corpus fuzz/regressions; do
    if [ -d "$committed/$t" ]; then inputs+=("$committed/$t"); fi
  done
  log="$work/logs/$t.log"
  echo "==== fuzz_$t: ${seconds}s"
  # shellcheck disable=SC2086 # VELMORA_FUZZ_OPTIONS is a list of options
  if "$exe" -max_total_time="$seconds" -dict=fuzz/velmora.dict -max_len="$max_len" \
      -timeout="$timeout" -report_slow_units="$slow" -rss_limit_mb=4096 -print_final_stats=1 \
      -artifact_prefix="$work/artifacts/$t/" ${VELMORA_FUZZ_OPTIONS:-} \
      "${inputs[@]}" >"$log" 2>&1; then
    status=ok
  else
    status=FAILED
    failed+=("$t")
    tail -n 60 "$log"
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  cov=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -n 1 || true)
  summary+=("$(printf '%-18s %-7s runs: %-10s %s' "$t" "$status" "${runs:-?}" "${cov:-}")")
done

echo
echo "==== fuzzing summary (${seconds}s per target; logs in $work/logs)"
printf '%s\n' "${summary[@]}"
if [ ${#failed[@]} -gt 0 ]; then
  echo "failed: ${failed[*]} (inputs in $work/artifacts/)" >&2
  exit 1
fi
