#!/usr/bin/env python3
"""Bytes read, frames/s and peak memory of velmora-dump reading a clip's metadata track.

    scripts/clip-io.py --tool build/rel/tools/velmora-dump --make-clip build/rel/tools/make-clip \
        --clip /tmp/clip.mxf                      # 1,500 frames of 1080p25 MPEG-2 at 50 Mb/s
    scripts/clip-io.py ... --size 640x360 --frames 250 --bitrate 20M --check 1.5

An MXF clip is made once when missing (ffmpeg's test pattern, then make-clip adds the ANC track:
the bundled frames mixed.anc and arri.anc as 10-bit samples, sony.anc as 8-bit samples with
checksum bytes) and kept; an MP4 clip is made beforehand (make-rtmd-clip).
Bytes read are the `rchar` of /proc/self/io, which counts what a process reads through system calls
whatever the page cache holds; a waited-for child's count is added to its parent's, so the
difference around one run is that run's. The track's bytes (an MXF's ST 436M ANC track, an MP4's
rtmd track: the clip's data stream) are the sizes of its packets as ffprobe lists them. With
--check R the script fails when a run reads more than R times those.
"""
import argparse
import os
import statistics
import subprocess
import sys
import time

SAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "samples")
FRAME_CYCLE = ["mixed.anc:10", "mixed.anc:10", "arri.anc:10", "sony.anc:8cs"]


def io_counters():
    with open("/proc/self/io") as f:
        return {k: int(v) for k, v in (line.split(": ") for line in f.read().splitlines())}


def make_clip(args):
    pictures = args.clip + ".pictures.mxf"
    seconds = args.frames / 25
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    f"testsrc2=size={args.size}:rate=25", "-t", str(seconds), "-c:v", "mpeg2video",
                    "-b:v", args.bitrate, "-maxrate", args.bitrate, "-minrate", args.bitrate,
                    "-bufsize", "17M", "-g", "12", "-timecode", "10:00:00:00", pictures],
                   check=True)
    frames = [FRAME_CYCLE[i % len(FRAME_CYCLE)] for i in range(args.frames)]
    subprocess.run([os.path.abspath(args.make_clip), pictures, os.path.abspath(args.clip)] + frames, check=True,
                   cwd=SAMPLES)
    os.remove(pictures)


def anc_bytes(clip):
    sizes = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "d", "-show_entries",
                            "packet=size", "-of", "csv=p=0", clip], check=True,
                           capture_output=True, text=True).stdout.split()
    return len(sizes), sum(int(s) for s in sizes)


def run_once(tool, clip):
    before, start = io_counters(), time.monotonic()
    child = subprocess.Popen([tool, "-f", "jsonl", clip], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    wall, after = time.monotonic() - start, io_counters()
    child.returncode = 0  # waited for above
    if status != 0:
        sys.exit(f"{tool} failed on {clip}")
    return (after["rchar"] - before["rchar"], after["syscr"] - before["syscr"], wall,
            usage.ru_utime + usage.ru_stime, usage.ru_maxrss)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--tool", required=True, help="the velmora-dump to measure")
    p.add_argument("--make-clip", help="make-clip, to make the clip when it doesn't exist")
    p.add_argument("--clip", required=True)
    p.add_argument("--size", default="1920x1080")
    p.add_argument("--frames", type=int, default=1500)
    p.add_argument("--bitrate", default="50M")
    p.add_argument("--runs", type=int, default=5)
    p.add_argument("--check", type=float, help="fail above this many times the track's bytes")
    args = p.parse_args()
    if not os.path.exists(args.clip):
        if not args.make_clip:
            sys.exit(f"{args.clip} doesn't exist and --make-clip isn't given")
        make_clip(args)
    frames, track = anc_bytes(args.clip)
    runs = [run_once(args.tool, args.clip) for _ in range(args.runs)]
    read = max(r[0] for r in runs)
    wall, cpu = statistics.median(r[2] for r in runs), statistics.median(r[3] for r in runs)
    print(f"{args.clip}: {os.path.getsize(args.clip):,} bytes, {frames} frames, "
          f"ANC track {track:,} bytes")
    print(f"read {read:,} bytes ({read / track:.2f}x the track, "
          f"{100 * read / os.path.getsize(args.clip):.1f}% of the file) in "
          f"{max(r[1] for r in runs)} reads; {frames / wall:,.0f} frames/s "
          f"(medians of {args.runs}: wall {wall:.3f} s, CPU {cpu:.3f} s); "
          f"peak memory {max(r[4] for r in runs) / 1024:.1f} MB")
    if args.check is not None and read > args.check * track:
        sys.exit(f"read {read / track:.2f}x the ANC track's bytes, more than {args.check}x")


if __name__ == "__main__":
    main()
