#!/usr/bin/env python3
"""Peer readers of the MP4 clips that make-rtmd-clip writes.

exiftool -ee must list, per rtmd sample, the tags and values the writer meant (FNumber,
ExposureTime, MasterGainAdjustment, ISO, WhiteBalance, DateTime, GPS), the same that velmora-dump
reads; ffprobe must show the track as a data stream tagged rtmd (0x646d7472) whose timecode is
the first sample's.

    peers_rtmd.py VELMORA_DUMP MAKE_RTMD_CLIP SONY.anc WORK_DIR
"""
import json
import os
import subprocess
import sys

dump, maker, sony, work = sys.argv[1:5]
clip = os.path.join(work, "peers-rtmd.mp4")
subprocess.run([maker, clip, sony, "10"], check=True)


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


failures = []


def expect(what, found, wanted, close=False):
    same = abs(found - wanted) < 1e-9 if close and found is not None else found == wanted
    if not same:
        failures.append(f"{what}: found {found!r}, wanted {wanted!r}")


ours = [json.loads(line) for line in run(dump, "--units", "-f", "jsonl", clip).splitlines()]
peer = json.loads(run("exiftool", "-ee", "-n", "-G3", "-j", clip))[0]
expect("samples", sum(1 for k in peer if k.endswith(":SampleTime")), len(ours))
for i, frame in enumerate(ours):
    tag = lambda name: peer.get(f"Doc{i + 1}:{name}")
    units, raw = frame["units"]["rdd18"], frame["rdd18"]
    expect(f"frame {i} FNumber", tag("FNumber"), units["irisFNumber"], close=True)
    expect(f"frame {i} ExposureTime", tag("ExposureTime"), units["shutterTimeS"], close=True)
    expect(f"frame {i} MasterGainAdjustment", tag("MasterGainAdjustment"), units["masterGainDb"])
    expect(f"frame {i} ISO", tag("ISO"), raw["CameraISOSensitivityItem"])
    if i % 5 == 0:
        continue  # the bundled Sony frame: no white balance, date or position of Sony's
    k = i % 5
    # What the writer meant for frame k of a five.
    expect(f"frame {i} FNumber meant", tag("FNumber"), 2 ** ((k + 2) / 2), close=True)
    expect(f"frame {i} ISO meant", tag("ISO"), 800 << (k - 1))
    expect(f"frame {i} ExposureTime meant", tag("ExposureTime"), 1 / (50 * k), close=True)
    expect(f"frame {i} MasterGainAdjustment meant", tag("MasterGainAdjustment"), 3 * (k - 1))
    expect(f"frame {i} WhiteBalance", tag("WhiteBalance"), 4 if k % 2 else 5)
    expect(f"frame {i} WhiteBalance ours", units["sonyWhiteBalance"], "daylight" if k % 2 else "cloudy")
    expect(f"frame {i} DateTime", tag("DateTime"), f"2026:11:25 10:00:0{k}")
    expect(f"frame {i} DateTime ours", units["sonyDateTime"], f"2026-11-25 10:00:0{k}")
    expect(f"frame {i} GPSLatitude", tag("GPSLatitude"), units["sonyGpsLatitudeDeg"], close=True)
    expect(f"frame {i} GPSLongitude", tag("GPSLongitude"), units["sonyGpsLongitudeDeg"], close=True)

streams = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-of", "json", clip))["streams"]
data = [s for s in streams if s.get("codec_type") == "data"]
expect("data streams", len(data), 1)
if data:
    expect("codec tag", data[0].get("codec_tag_string"), "rtmd")
    expect("codec tag number", data[0].get("codec_tag"), "0x646d7472")
    expect("timecode", data[0].get("tags", {}).get("timecode"), ours[0]["timecode"])

for failure in failures:
    print(failure)
print(f"peers: {0 if failures else 1} passed, {1 if failures else 0} failed")
sys.exit(1 if failures else 0)
