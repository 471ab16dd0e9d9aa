#!/usr/bin/env python3
"""Peers read the MXF that the ffmpeg program makes from velmora-encode's ST 436M elements.

A lens sweep (focal length, focus and iris changing every frame) is written from units as
elements of one size, muxed by ffmpeg beside test pictures as the clip's ANC track, then read:
- velmora-dump (through libavformat) gives every frame's answer as it gives the elements' own,
  with the pictures' timecodes;
- MediaInfo names the track "Acquisition Metadata", muxed as "Ancillary data / RDD 18", and lists
  each frame's focal length (LensZoomActualFocalLength, mm), focus distance
  (FocusPositionFromImagePlane, m) and T-number (IrisTNumber) in the order the frames carry them:
  lengths and distances with 3 decimals, T-numbers with 6.

    peers_mxf.py VELMORA_DUMP VELMORA_ENCODE WORK_DIR
"""
import json
import os
import subprocess
import sys

dump, encode, work = sys.argv[1:4]
frames, size = 14, 256
track, pictures, clip = (os.path.join(work, f"peers-mxf.{ext}") for ext in ("436", "pictures.mxf", "mxf"))


def run(*command, stdin=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=stdin).stdout


sweep = [{"units": {"focalLengthMm": 24 + 2 * i, "focusDistanceM": 0.5 + 0.25 * i,
                    "irisTNumber": 1.4 + 0.1 * i}} for i in range(frames)]
run(encode, "--from-units", "--to", "st436m", "--element-size", str(size), "-o", track,
    stdin=json.dumps(sweep))
run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "color=c=gray:size=64x36:rate=25",
    "-frames:v", str(frames), "-c:v", "mpeg2video", "-timecode", "01:00:00:00", pictures)
run("ffmpeg", "-v", "error", "-y", "-i", pictures, "-f", "data", "-raw_packet_size", str(size),
    "-i", track, "-map", "0:v", "-map", "1:d", "-c", "copy",
    "-metadata:s:d:0", "data_type=vbi_vanc_smpte_436M", clip)

failures = []


def expect(what, found, wanted):
    if found != wanted:
        failures.append(f"{what}: found {found!r}, wanted {wanted!r}")


def frames_of(*args):
    return [json.loads(line) for line in run(dump, "-f", "jsonl", *args).splitlines()]


elements = frames_of("--input", "st436m", "--element-size", str(size), "--types", track)
typed = frames_of("--types", clip)
ours = frames_of("--units", clip)
expect("frames of the clip", len(ours), frames)
expect("frames of the elements", len(elements), frames)
for i, (frame, answer, element) in enumerate(zip(ours, typed, elements)):
    expect(f"frame {i} answer", answer["rdd18"], element["rdd18"])
    expect(f"frame {i} timecode", frame.get("timecode"), f"01:00:00:{i:02}")
    units = frame["units"]["rdd18"]
    expect(f"frame {i} focal length", units["focalLengthMm"], 24 + 2 * i)
    expect(f"frame {i} focus", round(units["focusDistanceM"], 6), 0.5 + 0.25 * i)
    expect(f"frame {i} T-number", round(units["irisTNumber"], 2), round(1.4 + 0.1 * i, 2))

tracks = json.loads(run("mediainfo", "--Output=JSON", clip))["media"]["track"]
anc = [t for t in tracks if t.get("Format") == "Acquisition Metadata"]
expect("Acquisition Metadata tracks", len(anc), 1)
if anc:
    expect("muxing mode", anc[0].get("MuxingMode"), "Ancillary data / RDD 18")
    expect("frame count", anc[0].get("FrameCount"), str(frames))
    extra = anc[0].get("extra", {})
    for name, key, digits in (("LensZoomActualFocalLength", "focalLengthMm", 3),
                              ("FocusPositionFromImagePlane", "focusDistanceM", 3),
                              ("IrisTNumber", "irisTNumber", 6)):
        wanted = [f"{f['units']['rdd18'][key]:.{digits}f}" for f in ours]
        expect(name, extra.get(f"{name}_Values", "").split(" / "), wanted)

for failure in failures:
    print(failure)
print(f"peers: {0 if failures else 1} passed, {1 if failures else 0} failed")
sys.exit(1 if failures else 0)
