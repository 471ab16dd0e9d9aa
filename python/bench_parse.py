#!/usr/bin/env python3
"""Cost of a parse through the Python module beside the same parse in C++, in one run.

    python/bench_parse.py [BUILD_DIR]        (default build/bench, as scripts/bench.sh makes it)

Imports velmora_rdd18 from BUILD_DIR/python and runs BUILD_DIR/bench/velmora_bench on the same
sample files (BM_SampleParse), then prints one table. Both sides are CPU time, medians of 5.
Then the batch call, parse_frames over 100 and 1,000 copies of the frame, per frame, beside the
same C++ parse. Last, wall-clock frames per second of parse_rdd18 on 1 and 2 threads (GIL released in the
parse).
Build both first: cmake --build build/bench --target velmora_bench velmora_rdd18
"""
import json
import statistics
import subprocess
import sys
import time
import timeit
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

REPETITIONS = 5
BATCHES = (100, 1000)
ROOT = Path(__file__).resolve().parents[1]
build = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "bench")
sys.path.insert(0, str(build / "python"))
import velmora_rdd18 as v  # noqa: E402

standard = (ROOT / "samples" / "standard.anc").read_bytes()
arri = (ROOT / "samples" / "arri.anc").read_bytes()


def python_us(statement):
    """Median over the repetitions of the CPU time of one call, in microseconds."""
    timer = timeit.Timer(statement, timer=time.process_time, globals=globals())
    number, _ = timer.autorange()
    number = max(number, 1) * 4  # about 0.8 s a repetition
    return statistics.median(timer.repeat(REPETITIONS, number)) / number * 1e6


def cpp_us():
    """The C++ medians of BM_SampleParse, CPU time in microseconds, by file name."""
    out = subprocess.run(
        [str(build / "bench" / "velmora_bench"), "--benchmark_filter=BM_SampleParse",
         f"--benchmark_repetitions={REPETITIONS}", "--benchmark_report_aggregates_only=true",
         "--benchmark_format=json"], check=True, capture_output=True, text=True).stdout
    medians = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3}[b["time_unit"]]
            medians[b["run_name"].split("/")[-1]] = b["cpu_time"] * scale
    return medians


cpp = cpp_us()
rows = [
    ("standard.anc, parse_rdd18", cpp["standard.anc"], python_us("v.parse_rdd18(standard)"),
     python_us("v.parse_rdd18(standard, kinds=True)")),
    ("arri.anc, parse_arri", cpp["arri.anc"], python_us("v.parse_arri(arri)"),
     python_us("v.parse_arri(arri, kinds=True)")),
]
print(f"{'frame':28} {'C++ parse':>10} {'Python':>10} {'ratio':>6} {'kinds=True':>11}")
for name, c, p, k in rows:
    print(f"{name:28} {c:8.2f}us {p:8.2f}us {p / c:5.2f}x {k:9.2f}us")
empty = python_us("v.parse_rdd18(b'')")
print(f"{'empty frame, parse_rdd18':28} {'':>10} {empty:8.2f}us")
for batch in BATCHES:
    standard_batch, arri_batch = [standard] * batch, [arri] * batch
    for name, c, p in [
            ("standard.anc, parse_frames", cpp["standard.anc"],
             python_us("v.parse_frames(standard_batch)")),
            ("arri.anc, parse_frames", cpp["arri.anc"],
             python_us("v.parse_frames(arri_batch, 'arri')"))]:
        p /= batch
        print(f"{name:28} {c:8.2f}us {p:8.2f}us {p / c:5.2f}x  (a frame of a batch of {batch:,})")

def frames_per_second(threads, frames=40000):
    def work(n):
        for _ in range(n):
            v.parse_rdd18(standard)
    start = time.perf_counter()
    with ThreadPoolExecutor(threads) as pool:
        list(pool.map(work, [frames // threads] * threads))
    return frames / (time.perf_counter() - start)


for threads in (1, 2):
    print(f"parse_rdd18 on {threads} thread(s): {frames_per_second(threads):,.0f} frames/s (wall)")
