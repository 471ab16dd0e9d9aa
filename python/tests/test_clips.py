"""read_clip and clip_table against the tool's own output for each kind of clip (records of
-f jsonl, rows of -f csv), their errors, pickling by name; and the tool's batches (-r, --summary)."""
import csv
import io
import json
import os
import pickle
import shutil
import subprocess
import sys

import pytest
import velmora_rdd18 as v
from test_velmora_rdd18 import DUMP, SAMPLES, assert_same, from_typed_json

needs_tool = pytest.mark.skipif(not DUMP, reason="VELMORA_DUMP names no velmora-dump")
needs_clips = pytest.mark.skipif(not v.clips_supported, reason="built without libavformat")
CLIPS = [pytest.param("clips/camera.mxf", None, marks=needs_clips),
         pytest.param("clips/camera.mxf", "sony", marks=needs_clips),
         pytest.param("clips/camera.mp4", None, marks=needs_clips),
         ("arriraw", None)]


def tool(*args, check=True):
    return subprocess.run([DUMP, *args], check=check, capture_output=True, text=True)


def flavour_options(flavour):
    return ["--flavour", flavour] if flavour else []


@needs_tool
@pytest.mark.parametrize("name, flavour", CLIPS)
@pytest.mark.parametrize("units", [False, True])
def test_records_equal_the_tools_json_lines(name, flavour, units):
    path = str(SAMPLES / name)
    lines = tool("-f", "jsonl", "--types", *(["--units"] if units else []),
                 *flavour_options(flavour), path).stdout.splitlines()
    mine = list(v.read_clip(path, flavour=flavour, units=units))
    assert len(mine) == len(lines) >= 3
    for record, line in zip(mine, lines):
        typed = json.loads(line, parse_int=str, parse_float=str)
        assert_same(record, {k: from_typed_json(x)[0] for k, x in typed.items()}, record["file"])


def cell_matches(mine, text):
    """A table cell against the CSV's text: numbers by value (a float is the double of the CSV's
    digits), booleans as true/false, a missing cell as an empty one."""
    if mine is None or (not isinstance(mine, str) and mine != mine and text != "NaN"):
        return text == ""
    if isinstance(mine, bool):
        return text == str(mine).lower()
    if isinstance(mine, float):
        return mine == float(text) or (mine != mine and text == "NaN")
    return str(mine) == text


@needs_tool
@pytest.mark.parametrize("name, flavour", CLIPS)
@pytest.mark.parametrize("pandas", [True, False])
def test_table_rows_equal_the_tools_csv(name, flavour, pandas, monkeypatch):
    if pandas:
        pytest.importorskip("pandas")
    else:
        monkeypatch.setitem(sys.modules, "pandas", None)  # an import of pandas fails
    path = str(SAMPLES / name)
    rows = list(csv.reader(io.StringIO(
        tool("-f", "csv", "--units", *flavour_options(flavour), path).stdout)))
    table = v.clip_table(path, flavour=flavour)
    if pandas:
        assert list(table.columns) == rows[0]
        table = [{k: (None if x is __import__("pandas").NA else x) for k, x in r.items()}
                 for r in table.to_dict("records")]
    assert len(table) == len(rows) - 1
    for mine, row in zip(table, rows[1:]):
        assert [k for k in rows[0] if k in mine] == list(mine)  # the CSV's order
        for key, text in zip(rows[0], row):
            assert cell_matches(mine.get(key), text), (key, mine.get(key), text)


@needs_clips
def test_frames_pick_and_early_close_stops_the_reader():
    path = str(SAMPLES / "clips/camera.mxf")
    assert [r["frame"] for r in v.read_clip(path, frames="3:")] == [3, 4]
    assert [r["frame"] for r in v.read_clip(path, frames=range(1, 3))] == [1, 2]
    assert [r["frame"] for r in v.read_clip(path, frames="2")] == [2]
    with v.read_clip(path) as reader:
        assert next(reader)["frame"] == 0
    assert list(reader) == []  # closed: the rest is not read


@needs_clips
def test_paths_as_the_file_system_has_them(tmp_path):
    name = tmp_path / os.fsdecode(b"take\xff.mp4")  # not UTF-8: a lone surrogate in Python
    shutil.copy(SAMPLES / "clips/camera.mp4", name)
    records = list(v.read_clip(name))
    assert len(records) == 5 and records[0]["file"] == str(name)
    assert len(v.read_clip(os.fsencode(name)).__next__()["rdd18"]) > 10
    table = v.clip_table(name, units=False)
    files = [r["file"] for r in table] if isinstance(table, list) else list(table["file"])
    assert files == [str(name)] * 5


@needs_tool
def test_bad_inputs_raise_clip_error_with_the_tools_message(tmp_path):
    (tmp_path / "junk.mxf").write_bytes(b"\x06\x0e\x2b\x34" + b"\0" * 60)
    (tmp_path / "empty").mkdir()
    for name in ["junk.mxf", "missing.mp4", "empty"]:
        path = str(tmp_path / name)
        message = tool(path, check=False).stderr.splitlines()[0]
        with pytest.raises(v.ClipError) as raised:
            list(v.read_clip(path))
        assert "velmora-dump: " + str(raised.value) == message
        assert isinstance(raised.value, OSError) and isinstance(raised.value, ValueError)
    with pytest.raises(v.ClipError):
        v.clip_table(str(tmp_path / "junk.mxf"))
    path = str(SAMPLES / "clips/camera.mxf")
    for bad in [dict(frames="4:2"), dict(frames=range(0, 4, 2)), dict(flavour="arri")]:
        with pytest.raises(ValueError) as raised:
            v.read_clip(path, **bad)
        assert not isinstance(raised.value, v.ClipError)


def test_the_build_says_whether_it_reads_clips():
    expected = os.environ.get("VELMORA_EXPECT_CLIPS")
    if expected is not None:
        assert v.clips_supported == (expected == "1")
    if not v.clips_supported:
        with pytest.raises(v.ClipError, match="libavformat"):
            list(v.read_clip(str(SAMPLES / "clips/camera.mxf")))


def test_functions_pickle_by_name():
    for f in (v.read_clip, v.clip_table, v.parse_rdd18, v.from_vanc):
        assert pickle.loads(pickle.dumps(f)) is f
    assert v.parse_rdd18((SAMPLES / "standard.anc").read_bytes())["CameraISOSensitivityItem"] == 800


@needs_tool
@needs_clips
def test_tool_recurses_into_folders_and_sums_up(tmp_path):
    archive = tmp_path / "archive"
    (archive / "b" / "deeper").mkdir(parents=True)
    shutil.copy(SAMPLES / "clips/camera.mxf", archive / "a.MXF")
    shutil.copy(SAMPLES / "clips/camera.mp4", archive / "b/deeper/c.mp4")
    shutil.copytree(SAMPLES / "arriraw", archive / "b/frames")
    (archive / "b/broken.mov").write_bytes(b"\0\0\0\x08free" * 4)
    (archive / "b/notes.txt").write_text("not a clip")
    (archive / "b/deeper/loop").symlink_to(archive)
    run = tool("-r", "--summary", "-f", "jsonl", str(archive), check=False)
    assert run.returncode == 1
    inputs = ["a.MXF", "b/broken.mov", "b/deeper/c.mp4", "b/frames"]
    files = [json.loads(line)["file"] for line in run.stdout.splitlines()]
    alone = [tool("-f", "jsonl", str(archive / name)).stdout for name in inputs if "broken" not in name]
    assert run.stdout == "".join(alone)
    assert sorted(set(files), key=files.index) == sorted(set(files))
    err = run.stderr.splitlines()
    assert [line for line in err if "broken.mov" in line and line.startswith("velmora-dump")] \
        == [tool(str(archive / "b/broken.mov"), check=False).stderr.strip()]
    summary = err[err.index("velmora-dump: summary: 4 inputs, 3 read, 1 failed, 13 frames") + 1:]
    assert summary == [
        f"  {archive}/a.MXF: 5 frames, timecode 10:00:00:00 to 10:00:00:04",
        f"  {archive}/b/broken.mov: 0 frames, FAILED",
        f"  {archive}/b/deeper/c.mp4: 5 frames, timecode 10:00:00:00 to 10:00:00:04",
        f"  {archive}/b/frames: 3 frames, timecode 01:23:45:12 to 01:23:45:14"]
