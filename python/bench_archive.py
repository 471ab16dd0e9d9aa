#!/usr/bin/env python3
"""Frames per second and memory per worker of examples/archive_dask.py on a LocalCluster.

    python/bench_archive.py [BUILD_DIR] [CLIPS] [FRAMES] [WORKERS]   (build/bench, 6, 10000, 2)

Writes CLIPS copies of an MP4 clip of FRAMES frames (make-rtmd-clip) into a temporary folder and
reads them with read_archive on WORKERS worker processes of one thread each; prints the wall-clock
frames per second, per worker, and each worker's peak resident memory. Needs python3-dask,
python3-distributed and python3-pandas. Build first:
cmake --build BUILD_DIR --target velmora_rdd18 make-rtmd-clip
"""
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
build = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "bench").resolve()
given = [int(a) for a in sys.argv[2:5]]
clips, frames, workers = given + [6, 10000, 2][len(given):]
paths = [str(build / "python"), str(ROOT / "python" / "examples")]
sys.path[:0] = paths
os.environ["PYTHONPATH"] = os.pathsep.join(paths)  # the workers import from there too
import archive_dask  # noqa: E402
import distributed  # noqa: E402


def peak_kib():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        archive = Path(folder) / "archive"
        archive.mkdir()
        first = archive / "clip0.mp4"
        subprocess.run([build / "tools" / "make-rtmd-clip", first, ROOT / "samples" / "sony.anc",
                        str(frames)], check=True)
        for i in range(1, clips):
            shutil.copy(first, archive / f"clip{i}.mp4")
        with distributed.LocalCluster(n_workers=workers, threads_per_worker=1,
                                      dashboard_address=None) as cluster, \
                distributed.Client(cluster) as client:
            start = time.perf_counter()
            summaries = archive_dask.read_archive(str(archive), str(Path(folder) / "out"), client)
            seconds = time.perf_counter() - start
            peaks = client.run(peak_kib)
    total = sum(s["frames"] for s in summaries)
    print(f"{len(summaries)} clips, {total} frames in {seconds:.2f} s: {total / seconds:.0f} "
          f"frames/s, {total / seconds / workers:.0f} per worker; peak memory per worker: "
          + ", ".join(f"{kib / 1024:.0f} MiB" for kib in peaks.values()))
