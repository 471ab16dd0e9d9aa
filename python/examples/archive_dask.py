#!/usr/bin/env python3
"""The per-frame metadata of a folder of clips, read on a Dask cluster.

    archive_dask.py ARCHIVE OUT [--scheduler tcp://HOST:8786] [--workers N]

Finds every clip below ARCHIVE (.mxf, .mp4, .mov) and every folder of ARRIRAW frames (.ari), and
reads each on a worker, one task per clip: the worker writes the clip's frames to
OUT/frames/<clip's path below ARCHIVE>.csv (one row per frame, the columns of
`velmora-dump -f csv --units`) and returns the clip's summary, which the client writes to
OUT/summary.csv: frames, frames with lens data, the focal lengths seen (mm) and the first and
last timecode. A clip that can't be read is a summary row with its error; the others go on.

With --scheduler the tasks go to a running cluster (`dask scheduler` and `dask worker` on the
machines, each of which sees ARCHIVE and OUT at the same paths and has velmora_rdd18 and this
file importable); else a LocalCluster of --workers processes (default 2) runs them here.
Each task reads its clip with constant memory besides the clip's table, without the GIL.
"""
import argparse
import csv
import os
from pathlib import Path

import dask.bag
import distributed

import velmora_rdd18

CLIP_SUFFIXES = {".mxf", ".mp4", ".mov"}
SUMMARY_COLUMNS = ["clip", "frames", "lens_frames", "focal_lengths_mm", "first_timecode",
                   "last_timecode", "error"]
# Where a frame's focal length stands in units, RDD 18 first, as the camera model reads it.
FOCAL_LENGTH_COLUMNS = ["units.rdd18.focalLengthMm", "units.arri.focalLengthMm"]


def find_clips(archive):
    """The clips below `archive` and the folders holding .ari frames, sorted by path."""
    clips = []
    for folder, _, names in os.walk(archive):
        if any(n.lower().endswith(".ari") for n in names):
            clips.append(folder)
        clips += [os.path.join(folder, n) for n in names if Path(n).suffix.lower() in CLIP_SUFFIXES]
    return sorted(clips)


def table_columns(table):
    """{column: values, one per frame (None where a frame has none)}: a DataFrame's or rows'."""
    if isinstance(table, list):
        names = dict.fromkeys(k for row in table for k in row)
        return {n: [row.get(n) for row in table] for n in names}
    import pandas
    return {n: [None if pandas.isna(x) else x for x in table[n]] for n in table.columns}


def write_frames(table, path):
    """One row per frame, in the table's columns; empty where a frame has no such key."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not isinstance(table, list):
        table.to_csv(path, index=False)
        return
    names = list(dict.fromkeys(k for row in table for k in row))
    with open(path, "w", newline="") as out:
        writer = csv.DictWriter(out, names)
        writer.writeheader()
        writer.writerows(table)


def read_clip_task(clip, archive, out):
    """One task, run on a worker: reads `clip`, writes its frames, returns its summary row."""
    name = os.path.relpath(clip, archive)
    summary = dict.fromkeys(SUMMARY_COLUMNS, "")
    summary["clip"] = name
    try:
        table = velmora_rdd18.clip_table(clip, units=True)
    except velmora_rdd18.ClipError as error:
        summary["error"] = str(error)
        return summary
    write_frames(table, Path(out) / "frames" / (name + ".csv"))
    columns = table_columns(table)
    timecodes = [t for t in columns.get("timecode", []) if t is not None]
    lens = [next((c[i] for c in (columns.get(k, []) for k in FOCAL_LENGTH_COLUMNS)
                  if c and c[i] is not None), None) for i in range(len(table))]
    summary.update(frames=len(table), lens_frames=sum(f is not None for f in lens),
                   focal_lengths_mm=" ".join(f"{f:g}" for f in sorted({f for f in lens if f})),
                   first_timecode=timecodes[0] if timecodes else "",
                   last_timecode=timecodes[-1] if timecodes else "")
    return summary


def read_archive(archive, out, client):
    """Reads every clip below `archive` on the cluster of `client`; returns the summaries, after
    writing them to OUT/summary.csv."""
    clips = find_clips(archive)
    bag = dask.bag.from_sequence(clips, npartitions=max(len(clips), 1))
    summaries = client.compute(bag.map(read_clip_task, archive=archive, out=str(out))).result()
    Path(out).mkdir(parents=True, exist_ok=True)
    with open(Path(out) / "summary.csv", "w", newline="") as file:
        writer = csv.DictWriter(file, SUMMARY_COLUMNS)
        writer.writeheader()
        writer.writerows(summaries)
    return summaries


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("archive")
    parser.add_argument("out")
    parser.add_argument("--scheduler", help="address of a running scheduler")
    parser.add_argument("--workers", type=int, default=2, help="local worker processes")
    args = parser.parse_args()
    if args.scheduler:
        cluster = None
        client = distributed.Client(args.scheduler)
    else:
        cluster = distributed.LocalCluster(n_workers=args.workers, threads_per_worker=1)
        client = distributed.Client(cluster)
    with client:
        for s in read_archive(args.archive, args.out, client):
            print(f"{s['clip']}: {s['frames'] or 0} frames, {s['lens_frames'] or 0} with lens "
                  f"data {s['error']}")
    if cluster:
        cluster.close()


if __name__ == "__main__":
    main()
