#!/usr/bin/env python3
"""Writes the corpora in fuzz/corpus: small inputs of each kind, made and not recorded."""

import os
import plistlib
import struct

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def atom(kind, *contents):
    content = b"".join(contents)
    return struct.pack(">I4s", 8 + len(content), kind) + content


def record(kind, sizes, data):
    same = len(set(sizes)) == 1
    head = struct.pack(">4sIII", kind, len(data), len(sizes), sizes[0] if same else 0)
    return head + (b"" if same else struct.pack(f">{len(sizes)}I", *sizes)) + data


def frame(size=400):
    return bytes([0x1F, 0x07, 0x00, 0xBF]) + bytes(size - 4)


def cut_off(*records):
    head = atom(b"ftyp", b"qt  ", bytes(4), b"qt  ") + atom(b"wide")
    return head + struct.pack(">I4s", 0, b"mdat") + b"".join(records)


def track(kind, offsets, sizes, target=b""):
    alias = bytes(150) + struct.pack(">HH", 18, len(target)) + target + b"\xff\xff\0\0"
    reference = atom(b"alis", bytes(4), alias) if target else atom(b"alis", bytes([0, 0, 0, 1]))
    tables = atom(
        b"stbl",
        atom(b"stsd", struct.pack(">III4s", 0, 1, 16, b"dvcp"), bytes(8)),
        atom(b"stts", struct.pack(">IIII", 0, 1, len(sizes), 100)),
        atom(b"stsc", struct.pack(">IIIII", 0, 1, 1, len(sizes) // max(1, len(offsets)), 1)),
        atom(b"stsz", struct.pack(">III", 0, 0, len(sizes)), struct.pack(f">{len(sizes)}I", *sizes)),
        atom(b"stco", struct.pack(">II", 0, len(offsets)), struct.pack(f">{len(offsets)}I", *offsets)))
    return atom(b"trak", atom(
        b"mdia", atom(b"mdhd", struct.pack(">IIIII", 0, 0, 0, 2500, 100 * len(sizes)), bytes(4)),
        atom(b"hdlr", struct.pack(">I4s4s", 0, b"mhlr", kind), bytes(13)),
        atom(b"minf", atom(b"dinf", atom(b"dref", struct.pack(">II", 0, 1), reference)), tables)))


def recovery():
    pictures = record(b"vide", [400] * 5, frame() * 5)
    sound = record(b"soun", [4] * 100, bytes(400))
    yield "pictures", cut_off(pictures, sound, pictures)
    yield "different_sizes", cut_off(record(b"vide", [400, 300], frame() + frame(300)))
    yield "cut_in_a_frame", cut_off(pictures, sound)[:-1000]
    yield "holes", cut_off(pictures, record(b"vide", [400] * 2, bytes(800)))
    data = frame() * 2
    movie = atom(b"moov", track(b"vide", [28], [400, 400]), track(b"soun", [828], [4, 4]),
                 track(b"tmcd", [836], [4]))
    yield "complete", atom(b"ftyp", b"qt  ", bytes(4), b"qt  ") + atom(b"mdat", data, bytes(12)) + movie
    yield "reference", (atom(b"ftyp", b"qt  ", bytes(4), b"qt  ") +
                        atom(b"moov", track(b"vide", [0], [400], b"takes/Take.dv"),
                             track(b"soun", [0], [4], b"takes/Take.aud")))
    yield "long_size", struct.pack(">I4sQ", 1, b"mdat", 40) + pictures


def dv_frames():
    for standard in (0, 1):
        for name, repeat in (("one", 0), ("whole", 0xFFFF)):
            yield f"{name}_{standard}", bytes([standard]) + struct.pack(">H", repeat) + frame(480)
    yield "no_time_code", bytes([1, 0xFF, 0xFF]) + b"\xff" * 80


def property_lists():
    values = {"Scheduling Events": [{"UUID": "x", "Start Time": 1.5}], "Flag": True, "Data": b"abc"}
    yield "xml", plistlib.dumps(values, fmt=plistlib.FMT_XML)
    yield "binary", plistlib.dumps(values, fmt=plistlib.FMT_BINARY)
    yield "empty", plistlib.dumps({}, fmt=plistlib.FMT_XML)


def commands():
    for word in ("STATUS 1", "RECORD 2", "SETDURATION 1 60", "SETRECNAME 1 A name", "HELP", "FRAME 1",
                 "setrawcapturepath 1 /tmp", "COUNT", "NONSENSE"):
        yield word.split(" ", maxsplit=1)[0].lower(), word.encode() + b"\r\n"


def scripts():
    yield "decks", b"for _, deck in ipairs(takebox.decks) do deck:start() end\n"
    yield "function", b"local function f(...) return select('#', ...) end\nreturn f(1, nil, {})\n"
    yield "strings", b"return [==[ long ]] ]==] .. '\\x41\\u{48}' --[[ comment ]]\n"
    yield "byte_code", b"\x1bLua\x54\x00\x19\x93\r\n\x1a\n"


CORPORA = {"RecoveryFuzzer": recovery, "DVFrameFuzzer": dv_frames, "ScriptFuzzer": scripts,
           "PropertyListFuzzer": property_lists, "RemoteCommandFuzzer": commands}

for fuzzer, inputs in CORPORA.items():
    os.makedirs(os.path.join(FOLDER, fuzzer), exist_ok=True)
    for name, content in inputs():
        with open(os.path.join(FOLDER, fuzzer, name), "wb") as file:
            file.write(content)
