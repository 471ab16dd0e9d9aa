#!/usr/bin/env python3
"""Frames per second and memory of read_clip beside velmora-dump -f jsonl on the same clips.

    python/bench_clip.py [BUILD_DIR] [FRAMES]     (default build/bench, 10000 frames)

Writes an MP4 clip of FRAMES frames (make-rtmd-clip) and, where ffmpeg and make-clip are there,
an MXF clip of FRAMES frames (standard.anc in each ST 436M element), into a temporary folder.
Each reader runs in a process of its own, three times; the figures are the best wall-clock time
and the process's peak resident memory. read_clip is also run over a tenth of the clip: flat
memory means the same peak for both. Build first:
cmake --build BUILD_DIR --target velmora-dump velmora_rdd18 make-rtmd-clip make-clip
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
build = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "bench").resolve()
frames = int(sys.argv[2]) if len(sys.argv) > 2 else 10000
tools = build / "tools"
READER = """
import resource, sys, time
sys.path.insert(0, sys.argv[1])
import velmora_rdd18
start, n = time.perf_counter(), 0
for record in velmora_rdd18.read_clip(sys.argv[2], frames=sys.argv[3]):
    n += 1
print(n, time.perf_counter() - start, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)
"""


def tool_run(clip):
    """(seconds, peak KiB) of velmora-dump -f jsonl, output thrown away."""
    start = time.perf_counter()
    child = subprocess.Popen([tools / "velmora-dump", "-f", "jsonl", clip],
                             stdout=subprocess.DEVNULL)
    _, _, usage = os.wait4(child.pid, 0)
    return time.perf_counter() - start, usage.ru_maxrss


def python_run(clip, count):
    """(frames, seconds, peak KiB) of iterating read_clip over the first `count` frames."""
    out = subprocess.run([sys.executable, "-c", READER, str(build / "python"), clip, f":{count}"],
                         check=True, capture_output=True, text=True).stdout.split()
    return int(out[0]), float(out[1]), int(out[2])


def make_clips(folder):
    clips = {}
    mp4 = folder / "long.mp4"
    subprocess.run([tools / "make-rtmd-clip", mp4, ROOT / "samples" / "sony.anc", str(frames)],
                   check=True)
    clips["mp4 (rtmd)"] = mp4
    if shutil.which("ffmpeg") and (tools / "make-clip").exists():
        pictures, mxf = folder / "pictures.mxf", folder / "long.mxf"
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                        "color=c=gray:size=16x16:rate=25", "-frames:v", str(frames), "-c:v",
                        "mpeg2video", "-g", "1", "-q:v", "31", "-timecode", "10:00:00:00",
                        pictures], check=True)
        subprocess.run([tools / "make-clip", pictures, mxf] + ["standard.anc:8"] * frames,
                       check=True, cwd=ROOT / "samples")
        clips["mxf (ST 436M)"] = mxf
    return clips


def main():
    with tempfile.TemporaryDirectory() as folder:
        print(f"{'clip':<14} {'tool fr/s':>10} {'python fr/s':>12} {'ratio':>6} "
              f"{'tool MiB':>9} {'py MiB':>7} {'py MiB, 1/10':>13}")
        for kind, clip in make_clips(Path(folder)).items():
            tool_s, tool_kib = min(tool_run(clip) for _ in range(3))
            n, py_s, py_kib = min((python_run(clip, frames) for _ in range(3)),
                                  key=lambda r: r[1])
            assert n == frames, n
            tenth_kib = python_run(clip, frames // 10)[2]
            print(f"{kind:<14} {frames / tool_s:>10.0f} {frames / py_s:>12.0f} "
                  f"{tool_s / py_s:>6.2f} {tool_kib / 1024:>9.1f} {py_kib / 1024:>7.1f} "
                  f"{tenth_kib / 1024:>13.1f}")


if __name__ == "__main__":
    main()
