"""The Python module against the tool's JSON of every bundled sample (values, Python types and
number kinds), its argument rules, its bytes-like inputs and its answers under threads."""
import array
import json
import os
import random
import struct
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
import velmora_rdd18 as v

SAMPLES = Path(os.environ.get("VELMORA_SAMPLES_DIR",
                              Path(__file__).resolve().parents[2] / "samples"))
DUMP = os.environ.get("VELMORA_DUMP")
METADATA_KEY = bytes.fromhex("060e2b340205010d0e17000000110101")


def sample_rows():
    """(file, velmora-dump options) of every frame file of samples/index.txt (a folder of ARRIRAW
    frames is no buffer of packets)."""
    rows = []
    for line in (SAMPLES / "index.txt").read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            name, *options = line.split()
            if (SAMPLES / name).is_file():
                rows.append((name, options))
    return rows


ROWS = sample_rows()
STANDARD = (SAMPLES / "standard.anc").read_bytes()


def option(options, name, default):
    return options[options.index(name) + 1] if name in options else default


def python_answers(name, options):
    """What the module gives for a sample read as the tool reads it: {parser: (values, kinds)}."""
    data = (SAMPLES / name).read_bytes()
    if "--hex" in options:
        data = bytes.fromhex(data.decode())
    flags = "--no-flags" not in options
    parser = option(options, "--parser", "both")
    out = {}
    if parser in ("rdd18", "both"):
        out["rdd18"] = v.parse_rdd18(data, option(options, "--flavour", "standard"), flags,
                                     kinds=True)
    if parser in ("arri", "both"):
        out["arri"] = v.parse_arri(data, flags, kinds=True)
    return out


def tool_answers(name, options):
    """The tool's typed JSON of a sample as {parser: (values, kinds)}. Numbers are read from
    their text by their kind, so -0, a float's shortest text and 64-bit integers stay exact."""
    keep = [o for o in options if o not in ("--packets", "--explain")]
    out = subprocess.run([DUMP, "-f", "json", "--types", *keep, str(SAMPLES / name)],
                         check=True, capture_output=True, text=True).stdout
    (frame,) = json.loads(out, parse_int=str, parse_float=str)
    return {p: from_typed_json(frame[p]) for p in ("rdd18", "arri") if p in frame}


def from_typed_json(node):
    if isinstance(node, dict) and "$kind" in node:
        kind, text = node["$kind"], node["$value"]
        if isinstance(text, dict):
            text = text["$number"]  # NaN, Infinity, -Infinity
        if kind == "bool":
            return text, kind
        if kind == "float":  # the shortest text of a float reads back to that float
            return struct.unpack("<f", struct.pack("<f", float(text)))[0], kind
        return (float(text) if kind == "double" else int(text)), kind
    if isinstance(node, dict) and list(node) == ["$data"]:
        return bytes.fromhex(node["$data"]), None
    if isinstance(node, str):
        return node, None
    if isinstance(node, list):
        pairs = [from_typed_json(e) for e in node]
        return [p[0] for p in pairs], [p[1] for p in pairs]
    pairs = {k: from_typed_json(e) for k, e in node.items()}
    return {k: p[0] for k, p in pairs.items()}, {k: p[1] for k, p in pairs.items()}


def assert_same(a, b, where="answer"):
    """Equal in type, key order and value; floats bit for bit (-0.0 is not 0.0), NaN as NaN."""
    assert type(a) is type(b), f"{where}: {a!r} vs {b!r}"
    if isinstance(a, float):
        assert (a != a and b != b) or struct.pack("<d", a) == struct.pack("<d", b), \
            f"{where}: {a!r} vs {b!r}"
    elif isinstance(a, (list, tuple)):
        assert len(a) == len(b), where
        for i, (x, y) in enumerate(zip(a, b)):
            assert_same(x, y, f"{where}[{i}]")
    elif isinstance(a, dict):
        assert list(a) == list(b), where
        for k in a:
            assert_same(a[k], b[k], f"{where}.{k}")
    else:
        assert a == b, f"{where}: {a!r} vs {b!r}"


@pytest.mark.skipif(not DUMP, reason="VELMORA_DUMP names no velmora-dump to compare with")
@pytest.mark.parametrize("name, options", ROWS, ids=[r[0] for r in ROWS])
def test_every_sample_equals_the_tools_json(name, options):
    mine, tool = python_answers(name, options), tool_answers(name, options)
    assert list(mine) == list(tool)
    for parser in tool:
        values, kinds = mine[parser]
        assert_same(values, tool[parser][0], parser)
        assert kinds == tool[parser][1]


def test_translate_file_header_gives_the_frames_answer():
    frame = (SAMPLES / "arri.anc").read_bytes()
    stream, i = b"", 0
    while i + 6 <= len(frame):  # flag, DID, SDID, DC; ARRI payloads: stream id, sequence, bytes
        dc = frame[i + 5]
        if frame[i + 3:i + 5] == b"\x44\x04":
            stream += frame[i + 9:i + 6 + dc]
        i += 6 + dc + 1
    at = stream.index(METADATA_KEY) + 16
    at += 1 + (stream[at] & 0x7F)  # a long-form length
    record = stream[at:at + 4096]
    assert_same(v.translate_file_header(record, kinds=True), v.parse_arri(frame, kinds=True))
    assert len(v.translate_file_header(memoryview(bytearray(record)))) >= 54


def test_rtmd_sample_answers_as_its_packs_in_packets():
    frame = (SAMPLES / "sony.anc").read_bytes()
    packs, i = b"", 0
    while i + 6 <= len(frame):  # flag, DID, SDID, DC; RDD 18 payloads: sequence number, bytes
        dc = frame[i + 5]
        if frame[i + 3:i + 5] == b"\x43\x05":
            packs += frame[i + 7:i + 6 + dc]
        i += 6 + dc + 1
    header = b"\x00\x1c" + bytes(26)
    sample = header + packs + bytes(100)
    assert v.parse_rtmd_sample(sample, kinds=True) == v.parse_rdd18(frame, "sony", kinds=True)
    assert len(v.parse_rtmd_sample(sample)) == 53
    assert v.parse_rtmd_sample(sample, "standard") == v.parse_rdd18(frame)
    assert v.parse_rtmd_sample(header + packs[:-1]) == {}  # cut inside a pack, as in packets
    assert v.parse_rtmd_sample(b"\x00\x40" + packs[:10]) == {}


@pytest.mark.parametrize("data", [
    bytearray(STANDARD),
    memoryview(STANDARD),
    array.array("B", STANDARD),
    memoryview(bytes(b for b in STANDARD for _ in (0, 1)))[::2],  # strided: copied once
], ids=["bytearray", "memoryview", "array", "strided"])
def test_every_bytes_like_reads_as_bytes(data):
    assert v.parse_rdd18(data) == v.parse_rdd18(STANDARD) != {}


@pytest.mark.parametrize("call, error", [
    (lambda: v.parse_rdd18("00ffff"), TypeError),
    (lambda: v.parse_rdd18(None), TypeError),
    (lambda: v.parse_rdd18(STANDARD, b"sony"), TypeError),
    (lambda: v.parse_rdd18(STANDARD, flags=1), TypeError),
    (lambda: v.parse_arri(STANDARD, kinds="yes"), TypeError),
    (lambda: v.translate_file_header([0] * 4096), TypeError),
    (lambda: v.parse_rdd18(STANDARD, "Sony"), ValueError),
    (lambda: v.translate_file_header(bytes(4095)), ValueError),
    (lambda: v.translate_file_header(bytes(4097)), ValueError),
])
def test_wrong_arguments_raise(call, error):
    with pytest.raises(error):
        call()


def test_bad_bytes_never_raise():
    rng = random.Random(19)
    frames = [STANDARD[:n] for n in range(len(STANDARD))]
    frames += [bytes(rng.randrange(256) for _ in range(rng.randrange(600))) for _ in range(200)]
    for data in frames:
        for flags in (True, False):
            for flavour in ("standard", "sony", "varicam"):
                assert isinstance(v.parse_rdd18(data, flavour, flags), dict)
            assert isinstance(v.parse_arri(data, flags), dict)
    assert v.parse_rdd18(STANDARD[:-1]) == {}  # cut inside its last packet: all or nothing
    record = bytes(rng.randrange(256) for _ in range(4096))
    assert isinstance(v.translate_file_header(record), dict)


def test_a_batch_answers_as_a_call_per_frame():
    arri, sony = (SAMPLES / "arri.anc").read_bytes(), (SAMPLES / "sony.anc").read_bytes()
    frames = [STANDARD, arri, sony, STANDARD[:-1], b""] * 7  # more than one run of frames
    for parser, flavour, one in [("rdd18", None, v.parse_rdd18), ("arri", None, v.parse_arri),
                                 ("rdd18", "sony", lambda f, **k: v.parse_rdd18(f, "sony", **k)),
                                 ("rtmd", None, v.parse_rtmd_sample)]:
        batch = v.parse_frames(iter(frames), parser, flavour, kinds=True)
        assert batch == [one(f, kinds=True) for f in frames]
    for call, error in [(lambda: v.parse_frames([STANDARD, "00"]), TypeError),
                        (lambda: v.parse_frames([arri], "arri", "sony"), ValueError),
                        (lambda: v.parse_frames([arri], "both"), ValueError)]:
        with pytest.raises(error):
            call()


def test_threads_give_the_serial_answers():
    jobs = ROWS * 8
    serial = [python_answers(*job) for job in jobs]
    with ThreadPoolExecutor(4) as pool:
        threaded = list(pool.map(lambda job: python_answers(*job), jobs))
    assert_same(threaded, serial)


@pytest.mark.parametrize("name,options", sample_rows())
def test_encoders_give_every_sample_answer_back(name, options):
    if not name.endswith(".anc"):
        return
    frame = (SAMPLES / name).read_bytes()
    flags = "--no-flags" not in options
    for flavour in ("standard", "sony", "varicam"):
        answer = v.parse_rdd18(frame, flavour, flags, kinds=True)
        assert v.parse_rdd18(v.encode_rdd18(answer[0], flavour), flavour, kinds=True) == answer
    header = v.parse_arri(frame, flags, kinds=True)
    if not any(x != x for x in header[0].values() if isinstance(x, float)):  # NaN != NaN
        assert v.parse_arri(v.encode_arri(header[0]), kinds=True) == header


def test_encoders_refuse_naming_the_key():
    with pytest.raises(ValueError, match="CameraISOSensitivityItem"):
        v.encode_rdd18({"CameraISOSensitivityItem": 70000})
    with pytest.raises(ValueError, match="LensZoomActualFocalLengthItem.*3.142"):
        v.encode_rdd18({"LensZoomActualFocalLengthItem": 3.14159})
    with pytest.raises(TypeError):
        v.encode_arri({"ASA": None})


def test_host_writers_carry_an_encoded_frame_to_every_form():
    answer = v.parse_rdd18((SAMPLES / "sony.anc").read_bytes(), "sony")
    buffer = v.encode_rdd18(answer, "sony")
    data = v.to_words10(buffer)
    words = array.array("H", struct.unpack(f"<{len(data) // 2}H", data))  # little-endian values
    for back in (v.from_words10(words), v.from_vanc(v.to_vanc(buffer, "uyvy", 1920), "uyvy"),
                 v.from_vanc(v.to_vanc(buffer)), v.from_rfc8331(v.to_rfc8331(buffer))):
        assert v.parse_rdd18(back, "sony") == answer
    assert len(v.to_st436m(buffer)) > len(buffer)
    with pytest.raises(ValueError):
        v.to_vanc(buffer, "v210", 16)
