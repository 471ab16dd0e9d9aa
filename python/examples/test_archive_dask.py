"""archive_dask.py on a LocalCluster of two worker processes over an archive of clips: each clip's
rows equal the tool's CSV of it, its summary its frames and timecodes, a broken clip its error."""
import csv
import os
import shutil
import subprocess
from pathlib import Path

import pytest

dask = pytest.importorskip("dask.bag")
distributed = pytest.importorskip("distributed")
import archive_dask  # noqa: E402
import velmora_rdd18  # noqa: E402

SAMPLES = Path(os.environ.get("VELMORA_SAMPLES_DIR", Path(__file__).resolve().parents[2] / "samples"))
DUMP = os.environ.get("VELMORA_DUMP")
MAKE_RTMD_CLIP = os.environ.get("VELMORA_MAKE_RTMD_CLIP")
pytestmark = pytest.mark.skipif(not (DUMP and velmora_rdd18.clips_supported),
                                reason="needs velmora-dump (VELMORA_DUMP) and clips")


def csv_rows(text):
    return list(csv.reader(text.splitlines()))


def same_cell(mine, tools):
    """pandas writes 50.0 for the CSV's 50 and True for true; anything else is equal text."""
    if mine == tools or mine == tools.capitalize():
        return True
    try:
        return float(mine) == float(tools)
    except ValueError:
        return False


@pytest.fixture
def archive(tmp_path):
    root = tmp_path / "archive"
    for name, source in [("day1/A001.mxf", "clips/camera.mxf"), ("day1/A002.MXF", "clips/camera.mxf"),
                         ("day2/B001.mp4", "clips/camera.mp4")]:
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(SAMPLES / source, root / name)
    if MAKE_RTMD_CLIP:
        subprocess.run([MAKE_RTMD_CLIP, root / "day2/B002.mov", SAMPLES / "sony.anc", "15"], check=True)
    shutil.copytree(SAMPLES / "arriraw", root / "day3/A012C003")
    (root / "day3/bad.mov").write_bytes(b"\0\0\0\x08free" * 4)
    return root


def test_rows_and_summaries_equal_the_tools_output(archive, tmp_path):
    out = tmp_path / "out"
    # Workers are processes of their own: they import the module and the example from the path.
    os.environ["PYTHONPATH"] = os.pathsep.join(
        [str(Path(velmora_rdd18.__file__).parent), str(Path(archive_dask.__file__).parent),
         os.environ.get("PYTHONPATH", "")])
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, \
            distributed.Client(cluster) as client:
        assert len(client.scheduler_info()["workers"]) == 2
        summaries = archive_dask.read_archive(str(archive), str(out), client)
    clips = archive_dask.find_clips(str(archive))
    assert [s["clip"] for s in summaries] == [os.path.relpath(c, archive) for c in clips]
    assert len(clips) == 5 + bool(MAKE_RTMD_CLIP)
    with open(out / "summary.csv", newline="") as f:
        assert [r["clip"] for r in csv.DictReader(f)] == [s["clip"] for s in summaries]
    for clip, summary in zip(clips, summaries):
        run = subprocess.run([DUMP, "-f", "csv", "--units", clip], capture_output=True, text=True)
        if run.returncode:
            assert "velmora-dump: " + summary["error"] == run.stderr.strip()
            continue
        tools = csv_rows(run.stdout)
        mine = csv_rows((out / "frames" / (summary["clip"] + ".csv")).read_text())
        assert mine[0] == tools[0] and len(mine) == len(tools) > 1
        for row, expected in zip(mine[1:], tools[1:]):
            for key, a, b in zip(tools[0], row, expected):
                assert same_cell(a, b), (clip, key, a, b)
        column = {k: [r[i] for r in tools[1:]] for i, k in enumerate(tools[0])}
        focal = [a or b for a, b in zip(*(column.get(k, [""] * (len(tools) - 1))
                                          for k in archive_dask.FOCAL_LENGTH_COLUMNS))]
        timecodes = [t for t in column["timecode"] if t]
        assert summary["frames"] == len(tools) - 1
        assert summary["lens_frames"] == sum(bool(f) for f in focal)
        assert summary["focal_lengths_mm"].split() == \
            [f"{x:g}" for x in sorted({float(f) for f in focal if f and float(f)})]
        assert (summary["first_timecode"], summary["last_timecode"]) == (timecodes[0], timecodes[-1])
