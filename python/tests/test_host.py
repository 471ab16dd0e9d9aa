"""The module's host converters against forms written here from the wire rules (10-bit words,
UYVY and v210 lines, RFC 8331 payloads), its drop reports, and the units view against the tool."""
import array
import json
import os
import subprocess
from pathlib import Path

import pytest
import velmora_rdd18 as v

SAMPLES = Path(os.environ.get("VELMORA_SAMPLES_DIR",
                              Path(__file__).resolve().parents[2] / "samples"))
DUMP = os.environ.get("VELMORA_DUMP")


def packets_of(buffer):
    """(did, sdid, udw) of a flagged 8-bit buffer whose packets are all whole."""
    out, i = [], 0
    while i < len(buffer):
        assert buffer[i:i + 3] == b"\x00\xff\xff"
        did, sdid, dc = buffer[i + 3], buffer[i + 4], buffer[i + 5]
        out.append((did, sdid, bytes(buffer[i + 6:i + 6 + dc])))
        i += 7 + dc
    return out


def parity(value):
    odd = bin(value).count("1") & 1
    return value | odd << 8 | (odd ^ 1) << 9


def words10(packets):
    words = []
    for did, sdid, udw in packets:
        body = [parity(x) for x in (did, sdid, len(udw), *udw)]
        nine = sum(w & 0x1FF for w in body) & 0x1FF
        words += [0, 0x3FF, 0x3FF, *body, nine | ((nine >> 8) ^ 1) << 9]
    return words


def hd_samples(words, width, blank_luma, blank_chroma):
    """A line's samples in Cb Y Cr Y order, the words in luma first, then in chroma."""
    run = words + [None] * (2 * width - len(words))
    luma, chroma = run[:width], run[width:]
    line = []
    for c, y in zip(chroma, luma):
        line += [blank_chroma if c is None else c, blank_luma if y is None else y]
    return line


def v210(samples):
    out = bytearray()
    for k in range(0, len(samples), 3):
        a, b, c = (samples[k:k + 3] + [0, 0])[:3]
        out += (a | b << 10 | c << 20).to_bytes(4, "little")
    return bytes(out)


def rfc8331(packets):
    body = bytearray()
    for did, sdid, udw in packets:
        bits = "0" + format(9, "011b") + format(0xFFF, "012b") + "0" + "0" * 7
        words = words10([(did, sdid, udw)])[3:]
        bits += "".join(format(w, "010b") for w in words)
        bits += "0" * (-len(bits) % 32)
        body += int(bits, 2).to_bytes(len(bits) // 8, "big")
    header = (0).to_bytes(2, "big") + len(body).to_bytes(2, "big") + bytes([len(packets), 0, 0, 0])
    return header + bytes(body)


STANDARD = (SAMPLES / "standard.anc").read_bytes()
PACKETS = packets_of(STANDARD)


@pytest.mark.parametrize("form", ["packets", "words10", "uyvy", "v210", "rfc8331"])
def test_every_form_gives_the_packet_buffer(form):
    if form == "packets":
        got = v.from_packets(PACKETS)
    elif form == "words10":
        got = v.from_words10(array.array("H", words10(PACKETS)))
    elif form == "uyvy":
        eight = [w & 0xFF for w in words10(PACKETS)]
        got = v.from_vanc(bytes(hd_samples(eight, 1920, 0x10, 0x80)), "uyvy")
    elif form == "v210":
        line = v210(hd_samples(words10(PACKETS), 1920, 0x040, 0x200))
        got = v.from_vanc(line, "v210")
    else:
        got = v.from_rfc8331(rfc8331(PACKETS))
    assert got == STANDARD
    assert v.parse_rdd18(got) == v.parse_rdd18(STANDARD) != {}


def test_damaged_packets_are_reported_and_kept_on_request():
    words = words10(PACKETS)
    words[6] ^= 0x100  # the first user data word's parity
    buffer, drops = v.from_words10(array.array("H", words), drops=True)
    assert packets_of(buffer) == PACKETS[1:]
    assert [{k: d[k] for k in d if k != "reason"} for d in drops] == [
        {"code": "BadParity", "unit": "word", "offset": 0, "line": 0, "did": PACKETS[0][0], "sdid": PACKETS[0][1],
         "kept": False}]
    assert drops[0]["reason"]
    kept, drops = v.from_words10(array.array("H", words), keep_damaged=True, drops=True)
    assert len(packets_of(kept)) == len(PACKETS) and drops[0]["kept"]


@pytest.mark.parametrize("call", [
    lambda: v.from_words10(b"\x00\x01\x02"),
    lambda: v.from_vanc(b"", "yuv"),
    lambda: v.from_packets([(256, 0, b"")]),
])
def test_bad_arguments_raise_value_error(call):
    with pytest.raises(ValueError):
        call()


@pytest.mark.skipif(not DUMP, reason="needs velmora-dump")
@pytest.mark.parametrize("name,parse", [("standard.anc", v.units_rdd18), ("arri.anc", v.units_arri)])
def test_units_match_the_tool(name, parse):
    data = (SAMPLES / name).read_bytes()
    out = subprocess.run([DUMP, "--units=only", "-f", "json", str(SAMPLES / name)], check=True,
                         capture_output=True, text=True).stdout
    units = json.loads(out)[0]["units"]["rdd18" if parse is v.units_rdd18 else "arri"]
    assert parse(data) == units != {}


@pytest.mark.skipif(not DUMP, reason="needs velmora-dump")
@pytest.mark.parametrize("name", ["standard.anc", "arri.anc", "mixed.anc", "rubbish.anc"])
def test_opentrackio_sample_matches_the_tool(name):
    path = str(SAMPLES / name)
    out = subprocess.run([DUMP, "-f", "opentrackio", path], check=True, capture_output=True,
                         text=True).stdout
    sample = v.opentrackio_sample((SAMPLES / name).read_bytes(), source=path)
    assert sample == json.loads(out) and sample["protocol"]["version"] == [1, 0, 1]
    later = v.opentrackio_sample(b"", source=path, index=1, rate=(25, 1), timecode="01:02:03:04",
                                 static=False)
    assert later["timing"]["timecode"]["frames"] == 4 and "static" not in later
    assert later["sampleId"] != sample["sampleId"] and later["sourceId"] == sample["sourceId"]
