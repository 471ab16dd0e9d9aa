#!/usr/bin/env python3
"""Every OpenTrackIO sample velmora-dump writes from the bundled samples, the clips (MXF and MP4)
and the folder of ARRIRAW frames validates against the published OpenTrackIO 1.0.1 schema (JSON
Schema Draft 2020-12), carries protocol
version [1, 0, 1] exactly, and has a sampleId of its own within its run (ids are made from the
input's name and the sample's place, so a second run gives the same ones).

  opentrackio_schema.py VELMORA_DUMP SAMPLES_DIR SCHEMA

Exits 77 (skipped) when the schema file is absent."""
import json
import pathlib
import subprocess
import sys

SKIP = 77


def samples_of(tool, samples, args):
    run = subprocess.run([tool, "-f", "opentrackio", *args], cwd=samples, capture_output=True,
                         text=True, timeout=60, check=False)
    if run.returncode != 0 and "libavformat" in run.stderr:
        return []  # a build without clips
    if run.returncode != 0:
        sys.exit(f"velmora-dump {' '.join(args)}: status {run.returncode}: {run.stderr}")
    return [(args, json.loads(line)) for line in run.stdout.splitlines()]


def main(tool, samples_dir, schema_path):
    schema_file = pathlib.Path(schema_path)
    if not schema_file.exists():
        print(f"{schema_file} is absent: skipped")
        return SKIP
    import jsonschema  # only registered where it imports

    validator = jsonschema.Draft202012Validator(json.loads(schema_file.read_text()))
    samples = pathlib.Path(samples_dir)
    frames = sorted(p.name for p in samples.glob("*.anc"))
    runs = [[name] + (["--no-flags"] if "noflags" in name else []) for name in frames]
    runs += [frames, ["--hex", "standard-log.hex"], ["clips/camera.mxf"],
             ["--flavour", "sony", "clips/camera.mxf"], ["clips/camera.mp4"], ["arriraw"]]
    written = [s for args in runs for s in samples_of(tool, samples, args)]
    failures = []
    for args, sample in written:
        failures += [f"{args}: {e.message} at {list(e.path)}" for e in validator.iter_errors(sample)]
        if sample.get("protocol") != {"name": "OpenTrackIO", "version": [1, 0, 1]}:
            failures.append(f"{args}: protocol {sample.get('protocol')}")
    for args in runs:
        ids = [sample["sampleId"] for a, sample in written if a is args]
        if len(set(ids)) != len(ids):
            failures.append(f"{args}: a sampleId is given twice")
    with_lens = sum("lens" in s for _, s in written)
    with_static = sum("static" in s for _, s in written)
    print(f"{len(written)} samples ({with_lens} with lens, {with_static} with static) checked")
    for f in failures:
        print(f, file=sys.stderr)
    return 1 if failures or not written else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
