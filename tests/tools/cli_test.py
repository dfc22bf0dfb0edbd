#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs quorix-decompress on small files made here and compares what it writes with the pixels put in.

usage: cli_test.py PROGRAM [unittest arguments]
"""

import contextlib
import fcntl
import hashlib
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import unittest
import zlib

PROGRAM = ""
IMPLICIT, EXPLICIT, BIG, RLE, J2K, BASELINE, LOSSLESS = (
    "1.2.840.10008.1.2" + end for end in ("", ".1", ".2", ".5", ".4.90", ".4.50", ".4.70"))

JSON_FIELDS = """file frame outcome result_code system_error message warnings sop_class_uid sop_instance_uid transfer_syntax
codec lossless rows columns samples_per_pixel bits_allocated bits_stored high_bit signed photometric planar lossy
compression_ratio scale_factor bytes sha256 output
time_total_ms time_open_ms time_header_ms time_allocate_ms time_pixels_ms""".split()


# Input files.

def element(tag, vr, value, order="<", implicit=False):
    if isinstance(value, int):
        value = struct.pack(order + "H", value)
    elif isinstance(value, str):
        value = value.encode() + (b"" if len(value) % 2 == 0 else b"\0" if vr == "UI" else b" ")
    head = struct.pack(order + "HH", tag >> 16, tag & 0xffff)
    length = 0xffffffff if vr == "OB" and value.startswith(b"\xfe\xff\x00\xe0") else len(value)
    if implicit:
        return head + struct.pack(order + "L", length) + value
    long = vr in ("OB", "OW", "UN", "SQ")
    return head + vr.encode() + struct.pack(order + ("HL" if long else "H"), *((0, length) if long else (length,))) + value


def encapsulated(frames):
    return item(b"") + b"".join(item(frame + b"\0" * (len(frame) % 2)) for frame in frames) + b"\xfe\xff\xdd\xe0\0\0\0\0"


def item(content):
    return b"\xfe\xff\x00\xe0" + struct.pack("<L", len(content)) + content


def rle_frame(planes):
    """Literal packets only, a segment for each byte plane, which has at most 128 bytes."""
    segments = [bytes([len(plane) - 1]) + plane + b"\0" * ((len(plane) + 1) % 2) for plane in planes]
    offsets = [64 + sum(map(len, segments[:index])) for index in range(len(segments))]
    return struct.pack("<16L", len(segments), *(offsets + [0] * (15 - len(offsets)))) + b"".join(segments)


def dicom(pixels, rows, columns, *, allocated=16, stored=None, signed=0, photometric="MONOCHROME2", samples=1,
          frames=None, syntax=EXPLICIT, extra=(), word="OW"):
    """A Part 10 file. pixels: the value of Pixel Data, or a list of compressed frames."""
    stored = stored or allocated
    order, implicit = (">" if syntax == BIG else "<"), syntax == IMPLICIT
    meta = element(0x00020002, "UI", "1.2.840.10008.5.1.4.1.1.7") + element(0x00020003, "UI", "1.2.3.4") + \
        element(0x00020010, "UI", syntax)
    meta = element(0x00020000, "UL", struct.pack("<L", len(meta))) + meta
    elements = [(0x00080008, "CS", "ORIGINAL\\PRIMARY"), (0x00080016, "UI", "1.2.840.10008.5.1.4.1.1.7"),
                (0x00080018, "UI", "1.2.3.4"), (0x00280002, "US", samples), (0x00280004, "CS", photometric),
                (0x00280010, "US", rows), (0x00280011, "US", columns), (0x00280100, "US", allocated),
                (0x00280101, "US", stored), (0x00280102, "US", stored - 1), (0x00280103, "US", signed), *extra]
    if samples == 3:
        elements.append((0x00280006, "US", 0))
    if frames is not None:
        elements.append((0x00280008, "IS", str(frames)))
    if isinstance(pixels, list):
        elements.append((0x7fe00010, "OB", encapsulated(pixels)))
    else:
        elements.append((0x7fe00010, word, pixels + b"\0" * (len(pixels) % 2)))
    body = b"".join(element(*one, order=order, implicit=implicit) for one in sorted(elements, key=lambda e: e[0]))
    return b"\0" * 128 + b"DICM" + meta + body


def without_pixels(content):
    return content[:content.index(b"\xe0\x7f\x10\0")]


def without_image(content):
    """Neither Pixel Data nor what describes it."""
    return content[:content.index(b"\x28\0\x02\0")]


def box(kind, contents):
    return struct.pack(">L", len(contents) + 8) + kind + contents


def jp2(codestream):
    return box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + \
        box(b"jp2h", box(b"ihdr", struct.pack(">LLHBBBB", 5, 6, 1, 11, 7, 0, 0))) + box(b"jp2c", codestream)


def deeper(jpeg, process, precision):
    """The same codestream of another process and precision; lossless values start from the new middle."""
    at = jpeg.index(b"\xff\xc3") if b"\xff\xc3" in jpeg else jpeg.index(b"\xff\xc0")
    return jpeg[:at + 1] + bytes([process]) + jpeg[at + 2:at + 4] + bytes([precision]) + jpeg[at + 5:]


# Output files.

def read_png(path):
    """(columns, rows, depth, colour type, values)"""
    with open(path, "rb") as file:
        data = file.read()
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">L4s", data[at:at + 8])
        packed += data[at + 8:at + 8 + length] if kind == b"IDAT" else b""
        at += length + 12
    columns, rows, depth, colour = struct.unpack(">LLBB", data[16:26])
    bits = depth * (3 if colour == 2 else 1)
    stride, step = (columns * bits + 7) // 8, max(1, bits // 8)
    raw, values, above = zlib.decompress(packed), [], bytes(stride)
    for row in range(rows):
        kind, line = raw[row * (stride + 1)], bytearray(raw[row * (stride + 1) + 1:(row + 1) * (stride + 1)])
        for index in range(stride):
            left = line[index - step] if index >= step else 0
            corner = above[index - step] if index >= step else 0
            up, estimate = above[index], left + above[index] - corner
            nearest = min((left, up, corner), key=lambda one: abs(estimate - one))
            line[index] = (line[index] + (0, left, up, (left + up) // 2, nearest)[kind]) & 255
        above = line
        if depth == 1:
            values += [line[index // 8] >> (7 - index % 8) & 1 for index in range(columns)]
        else:
            values += struct.unpack(f">{stride // (depth // 8)}{'H' if depth == 16 else 'B'}", bytes(line))
    return columns, rows, depth, colour, values


def read_pnm(path):
    with open(path, "rb") as file:
        content = file.read()
    lines = content.split(b"\n", 3) if content[3:4] != b"#" else [content[:2], *content.split(b"\n", 4)[2:]]
    data, top = lines[3], int(lines[2])
    kind = f">{len(data) // 2}H" if top > 255 else f">{len(data)}B"
    return lines[0], [int(one) for one in lines[1].split()], top, list(struct.unpack(kind, data))


def words(values, order="<"):
    return struct.pack(f"{order}{len(values)}H", *(value & 0xffff for value in values))


RAMP = [index * 193 % 4096 for index in range(30)]  # 12 bits, 5 x 6
SIGNED = [index * 2001 - 30000 for index in range(30)]
SMALL = [index * 8 for index in range(30)]
STEPS = [112 + index for index in range(30)]
COLOUR = [index * 7 % 256 for index in range(90)]
PALETTE = tuple((0x00281101 + channel, "US", struct.pack("<3H", 32, 0, 16)) for channel in range(3)) + tuple(
    (0x00281201 + channel, "OW", words([(31 - index) * 2048 if channel else index * 256 for index in range(32)]))
    for channel in range(3))
MAPPED = [value for index in range(30) for value in (index, (31 - index) * 8, (31 - index) * 8)]
# RAMP in 12 bits by OpenJPEG 2.5.0, with two levels of the 5/3 transform; the same in lossless JPEG with predictor 1; so
# 0 to 29 in 5 bits and COLOUR times 16 in 12 bits; 8 x 8 pixels of 138 in baseline JPEG.
J2K_RAMP, JPEG_RAMP, JPEG_STEPS, JPEG_COLOUR, JPEG_FLAT = (
    pathlib.Path(__file__).with_name("images").joinpath(name).read_bytes()
    for name in ("ramp.j2k", "ramp.jpg", "steps.jpg", "colour.jpg", "flat.jpg"))
# 3 x 2 pixels by CharLS 2.4.1.
JPEGLS = bytes.fromhex("ffd8fff7000b080002000301011100ffda00080101000000005b4506c0ffd9")
JPEGLS_PIXELS = [1, 2, 3, 250, 5, 6]
J2K_SIGNED = J2K_RAMP[:42] + b"\x8b" + J2K_RAMP[43:]  # the depth, with the sign
HIGH, LOW = bytes(value >> 8 for value in RAMP), bytes(value & 255 for value in RAMP)

# name: (file, depth of a picture, samples of a picture, decoded bytes)
IMAGES = {
    "grey12": (dicom(words(RAMP), 5, 6, stored=12), 16, RAMP, words(RAMP)),
    # Old files keep overlays above High Bit: the values must not be spoilt by them, the bytes stay.
    "overlay": (dicom(words([v | 0xa000 for v in RAMP]), 5, 6, stored=12), 16, RAMP, words([v | 0xa000 for v in RAMP])),
    "signed16": (dicom(words(SIGNED), 5, 6, signed=1), 16, [v + 32768 for v in SIGNED], words(SIGNED)),
    "signed8": (dicom(bytes(v - 120 & 255 for v in SMALL), 5, 6, allocated=8, signed=1), 8,
                [v + 8 for v in SMALL], bytes(v - 120 & 255 for v in SMALL)),
    "bigendian": (dicom(words(RAMP, ">"), 5, 6, stored=12, syntax=BIG), 16, RAMP, words(RAMP)),
    "mono1": (dicom(bytes(SMALL), 5, 6, allocated=8, photometric="MONOCHROME1"), 8, SMALL, bytes(SMALL)),
    "bits": (dicom(b"\x35\xc1\x0f", 3, 8, allocated=1, word="OB"), 1,
             [byte >> bit & 1 for byte in b"\x35\xc1\x0f" for bit in range(8)], b"\x35\xc1\x0f"),
    "rgb": (dicom(bytes(COLOUR), 5, 6, allocated=8, samples=3, photometric="RGB"), 8, COLOUR, bytes(COLOUR)),
    "palette": (dicom(bytes(range(30)), 5, 6, allocated=8, photometric="PALETTE COLOR", extra=PALETTE), 8, MAPPED,
                bytes(MAPPED)),
    "rle16": (dicom([rle_frame([HIGH, LOW])], 5, 6, stored=12, syntax=RLE), 16, RAMP, words(RAMP)),
    "jpegll": (dicom([JPEG_RAMP], 5, 6, stored=12, syntax=LOSSLESS), 16, RAMP, words(RAMP)),
    "bare12": (JPEG_RAMP, 16, RAMP, words(RAMP)),
    "bare8": (deeper(JPEG_STEPS, 0xc3, 8), 8, STEPS, bytes(STEPS)),
    "bare5": (JPEG_STEPS, 8, list(range(30)), bytes(range(30))),
    "barergb12": (JPEG_COLOUR, 16, [v * 16 for v in COLOUR], words([v * 16 for v in COLOUR])),
    "j2k": (dicom([J2K_RAMP], 5, 6, stored=12, syntax=J2K), 16, RAMP, words(RAMP)),
    "j2ksigned": (dicom([jp2(J2K_SIGNED)], 5, 6, stored=12, syntax=J2K), 16, [v - 2048 + 32768 for v in RAMP],
                  words([v - 2048 & 4095 for v in RAMP])),
    "barej2k": (J2K_RAMP, 16, RAMP, words(RAMP)),
    "jp2": (jp2(J2K_RAMP), 16, RAMP, words(RAMP)),
    "jpegls": (dicom([JPEGLS + b"\0"], 2, 3, allocated=8, syntax="1.2.840.10008.1.2.4.81"), 8, JPEGLS_PIXELS,
               bytes(JPEGLS_PIXELS)),
    "flat8": (JPEG_FLAT, 8, [138] * 64, bytes([138] * 64)),
    "flat12": (deeper(JPEG_FLAT, 0xc1, 12)[:-4] + b"\x4f\x11\xff\xd9", 16, [2500] * 64, words([2500] * 64)),
}
MULTI = dicom(b"".join(bytes([value] * 6) for value in (10, 20, 30)), 2, 3, allocated=8, frames=3)


class Program(unittest.TestCase):
    """The program in a folder of its own."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorix-cli-")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def put(self, name, content):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    def get(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_it(self, *arguments, status=0, stdin=b""):
        done = subprocess.run([PROGRAM, *arguments], input=stdin, capture_output=True, cwd=self.folder, timeout=60,
                              check=False)
        self.assertEqual(done.returncode, status, (arguments, done.stdout, done.stderr))
        return done

    def dump(self, name):
        return subprocess.run(["dcmdump", "-q", self.path(name)], capture_output=True, check=True).stdout

    def lines(self, *arguments, **keywords):
        return [json.loads(line) for line in self.run_it("--json", "--quiet", *arguments, **keywords).stdout.splitlines()]


class CommandLine(Program):
    def test_pictures_hold_the_real_values_and_data_the_decoded_bytes(self):
        for name, (content, depth, values, decoded) in IMAGES.items():
            with self.subTest(name):
                self.put("x.in", content)
                line = self.lines("x.in", "-o", "x.png")[0]
                columns, rows, got_depth, colour, got = read_png(self.path("x.png"))
                self.assertEqual((columns, rows, got_depth, got), (line["columns"], line["rows"], depth, list(values)))
                self.assertEqual(colour, 2 if len(values) == 3 * rows * columns else 0)
                self.assertEqual(line["sha256"], hashlib.sha256(decoded).hexdigest())
                for kind in ("pnm", "raw", "rend"):
                    self.run_it("x.in", "--format", kind, "-o", f"x.{kind}")
                self.assertEqual(read_pnm(self.path("x.pnm")),
                                 (b"P6" if colour else b"P5", [columns, rows], (1 << depth) - 1, list(values)))
                self.assertEqual(self.get("x.raw"), decoded)
                saved = self.get("x.rend")
                self.assertEqual((saved[64:], saved[3:7], struct.pack("<H", sum(saved[:62]) & 0xffff)),
                                 (decoded, b"REND", saved[62:64]))

    def test_window(self):
        spread, signed = [750, 1000, 1249, 1250], [-30000, -10501, -500, 9499]
        rescale, padding = ((0x00281052, "DS", "-1024"), (0x00281053, "DS", "2")), ((0x00280120, "US", 5000),)
        def groups(tag, *items):  # functional groups that have Pixel Value Transformation and nothing else
            return ((tag, "SQ", b"".join(item(element(0x00289145, "SQ", item(b"".join(element(*one) for one in values)))) for values in items)),)

        falling, unfit = ((0x00281052, "DS", "1104"), (0x00281053, "DS", "-2")), ((0x00281052, "DS", "5"),)
        for name, content, window, expected in (
                ("rescaled in shared groups", dicom(words([412, 531, 532, 632]), 2, 2, extra=groups(0x52009229, rescale) + falling), "40,400",
                 [0, 127, 128, 255]),
                ("by the frame's own", dicom(words([652, 533, 532, 432]), 2, 2, extra=groups(0x52009229, rescale) +
                                             groups(0x52009230, falling, rescale)), "40,400", [0, 127, 128, 255]),
                ("intercept alone", dicom(words(spread), 2, 2, extra=unfit), "1000,500", [0, 128, 255, 255]),
                ("given", dicom(words(spread), 2, 2), "1000,500", [0, 128, 255, 255]),
                ("negative", dicom(words(signed), 2, 2, signed=1), "-500.5,2e4", [0, 0, 128, 255]),
                ("width one", dicom(words([999, 1000, 0, 4095]), 2, 2), "1000,1", [0, 255, 0, 255]),
                ("rescaled", dicom(words([412, 531, 532, 632]), 2, 2, extra=rescale), "40,400", [0, 127, 128, 255]),
                ("auto", dicom(words(signed), 2, 2, signed=1), "auto", [0, 126, 190, 255]),
                ("overlay bits", dicom(words([v | 0xa000 for v in spread]), 2, 2, stored=12), "auto", [0, 128, 254, 255]),
                ("bits stored left too few", dicom(words(spread), 2, 2, stored=8), "auto", [0, 128, 254, 255]),
                ("auto, rescaled", dicom(words(spread), 2, 2, extra=rescale), "auto", [0, 128, 254, 255]),
                ("inverted", dicom(bytes([8, 100, 108, 108]), 2, 2, allocated=8, photometric="MONOCHROME1"), "auto",
                 [255, 20, 0, 0]),
                ("padding", dicom(words([8, 100, 108, 5000]), 2, 2, extra=padding), "auto", [0, 235, 255, 255]),
                ("32 bits", dicom(struct.pack("<4L", *(v * 1000 for v in spread)), 2, 2, allocated=32), "auto",
                 [0, 128, 254, 255]),
                ("colour stays", IMAGES["rgb"][0], "10,20", COLOUR)):
            with self.subTest(name):
                self.put("w.dcm", content)
                done = self.run_it("w.dcm", "--window", window)
                self.assertEqual(b"w.dcm: frame 0: warning: depth: " in done.stderr, name == "bits stored left too few")
                self.assertEqual(read_png(self.path("w.png"))[2:], (8, 2 if len(expected) == 90 else 0, expected))

    def test_dicom_output_describes_what_it_holds(self):
        cases = [
            ("several frames", MULTI, ["--all-frames"], {"frames": 3, "bits_allocated": 8}, b"\n" * 6),
            ("one of them", MULTI, ["--frame", "1"], {"frames": 1}, b"\x14" * 6),
            ("the last ones", MULTI, ["--frames", "1-"], {"frames": 2}, b"\x14" * 6),
            ("big endian", IMAGES["bigendian"][0], [], {"bits_stored": 12}, IMAGES["bigendian"][3]),
            ("palette", IMAGES["palette"][0], [], {"photometric": "RGB", "samples_per_pixel": 3}, bytes(MAPPED)),
            ("bare, 12 bits", IMAGES["bare12"][0], [], {"bits_stored": 12, "lossy": None}, words(RAMP)),
            ("bare, lossy", IMAGES["flat8"][0], [], {"lossy": True}, bytes([138] * 64)),
            ("signed", IMAGES["signed16"][0], [], {"signed": True}, words(SIGNED)),
        ]
        for name, content, arguments, attributes, first in cases:
            with self.subTest(name):
                self.put("in", content)
                self.run_it("in", "--format", "dicom", "-o", "out.dcm", *arguments)
                info = self.lines("--info", "out.dcm")[0]
                self.assertEqual(info["transfer_syntax"], EXPLICIT)
                self.assertEqual({key: info[key] for key in attributes}, attributes)
                self.assertEqual(self.lines("out.dcm", "--format", "none")[0]["sha256"], hashlib.sha256(first).hexdigest())
        self.put("in", MULTI)
        for frames, expected in (("0,2", [0, 2]), ("1-2", [1, 2]), ("0-0,1-", [0, 1, 2]), ("2-", [2])):
            self.assertEqual([line["frame"] for line in self.lines("in", "--format", "none", "--frames", frames)], expected)
        self.put("in", MULTI[:-6])
        done = self.run_it("in", "--format", "dicom", "--all-frames", "-o", "no.dcm", status=2)
        self.assertIn(b"frames are missing", done.stderr)
        self.assertFalse(os.path.exists(self.path("no.dcm")))

    def test_scale(self):
        for scale, applied, rows, columns in ((1, 1, 5, 6), (2, 2, 3, 3), (3, 3, 2, 2), (9, 3, 2, 2)):
            for name in ("j2k", "barej2k", "jp2"):
                self.put("in", IMAGES[name][0])
                line = self.lines("in", "--scale", str(scale), "-o", "out.png")[0]
                self.assertEqual((line["rows"], line["columns"], line["scale_factor"]), (rows, columns, applied))
                self.assertEqual(read_png(self.path("out.png"))[:2], (columns, rows))
        self.assertEqual(self.lines(self.put("in", IMAGES["rle16"][0]), "--scale", "2")[0]["rows"], 5)

    @unittest.skipUnless(shutil.which("dcmdump"), "dcmdump is not installed")
    def test_region(self):
        position = ((0x00080018, "UI", "1.2.3\0"), (0x00200032, "DS", "10\\-20\\5.5"), (0x00200037, "DS", "1\\0\\0\\0\\0\\-1"))
        self.put("in", dicom(words(RAMP), 5, 6, stored=12, extra=position + ((0x00280030, "DS", "0.5\\0.25"),)))
        cut = words(RAMP[8:11] + RAMP[14:17])
        line = self.lines("in", "--region", "2,1,3,2", "--format", "raw", "-o", "out.raw")[0]
        self.assertEqual(line["region"], {"x": 2, "y": 1, "width": 3, "height": 2})
        self.assertEqual((self.get("out.raw"), line["rows"], line["columns"]), (cut, 2, 3))
        self.run_it("in", "--region", "2,1,3,2", "--format", "dicom", "-o", "out.dcm")
        self.assertEqual(self.lines("out.dcm", "--format", "none")[0]["sha256"], hashlib.sha256(cut).hexdigest())
        dump = self.dump("out.dcm")
        for text, has in ((b"[10.5\\-20\\5]", True), (b"[DERIVED\\PRIMARY]", True), (b"[1.2.3]", False)):
            self.assertEqual(text in dump, has, dump)
        self.put("in", dicom([J2K_RAMP], 5, 6, stored=12, syntax=J2K))
        line = self.lines("in", "--region", "3,1,3,2", "--scale", "2")[0]
        self.assertEqual((line["rows"], line["columns"], line["scale_factor"]), (2, 2, 2))

    @unittest.skipUnless(shutil.which("dcmdump"), "dcmdump is not installed")
    def test_dicom_output_of_a_reduced_image_is_another_image(self):
        spacings = ((0x00280030, "DS", "0.7\\+1.25 "), (0x00181164, "UN", b"0.123456789012  "), (0x00182010, "DS", "x\\1"))
        identity = ((0x00080008, "CS", "ORIGINAL\\PRIMARY\\AXIAL "), (0x00080018, "UI", "1.2.3\0"))
        in_pixels = ((0x00186011, "SQ", b""), (0x00181602, "IS", "3 "), (0x60000010, "US", 5), (0x60023000, "OW", b"\1\2"))
        extra = spacings + identity + in_pixels
        kept = {b"0018,6011", b"0018,1602", b"6000,0010", b"6002,3000", b"0018,2010"}
        for name, content, scale, expected, elements in (
                ("full", dicom([J2K_RAMP], 5, 6, stored=12, syntax=J2K, extra=extra), "1",
                 {b"0.7\\+1.25", b"0.123456789012", b"ORIGINAL\\PRIMARY\\AXIAL", b"1.2.3"}, kept),
                ("reduced", dicom([J2K_RAMP], 5, 6, stored=12, syntax=J2K, extra=extra), "3",
                 {b"2.8\\5", b"0.493827156048", b"DERIVED\\PRIMARY\\AXIAL"}, set()),
                ("not reduced by its codec", dicom(words(RAMP), 5, 6, stored=12, extra=extra), "3",
                 {b"0.7\\+1.25", b"0.123456789012", b"ORIGINAL\\PRIMARY\\AXIAL", b"1.2.3"}, kept)):
            with self.subTest(name):
                self.put("in", content)
                self.run_it("in", "--format", "dicom", "-o", "out.dcm", "--scale", scale)
                dump = self.dump("out.dcm")
                self.assertNotIn(b"\0", dump)  # text is padded with spaces
                values = {part.split(b"]")[0].strip(b" ") for part in dump.split(b"[")[1:]}
                self.assertEqual(expected - values, set(), dump)
                self.assertEqual(b"1.2.3" in values, elements == kept, dump)
                self.assertEqual({tag for tag in kept if b"(" + tag in dump}, elements, dump)
        groups = ((0x52009229, "SQ", b""),)
        self.put("in", dicom([J2K_RAMP], 5, 6, stored=12, syntax=J2K, extra=groups))
        self.run_it("in", "--format", "dicom", "-o", "out.dcm", "--scale", "2", status=2)
        self.run_it("in", "--format", "dicom", "-o", "out.dcm", status=0)

    def test_info_prints_the_boxes_of_a_jp2_file(self):
        info = self.lines("--info", self.put("in.jp2", IMAGES["jp2"][0]))[0]
        self.assertEqual((info["boxes"][4], info["codec_available"], info["bits_stored"]),
                         (f"jp2c: contiguous codestream, {len(J2K_RAMP) + 8} bytes at 62", True, 12))
        self.assertIn(b"  boxes:\n    jP  : signature, 12 bytes at 0\n", self.run_it("--info", "in.jp2").stdout)
        self.assertIsNone(self.lines("--info", self.put("in.j2k", J2K_RAMP))[0]["boxes"])

    def test_info_names_every_transfer_syntax(self):
        for uid, codec, available in (("4.80", "JPEG-LS lossless", True), ("4.102", "MPEG-4 AVC/H.264, high profile at level 4.1", False),
                                      ("7.1", "SMPTE ST 2110-20, uncompressed progressive video", False), ("4.112", "JPEG XL", False)):
            info = self.lines("--info", self.put("in", dicom([JPEGLS], 2, 3, allocated=8, syntax="1.2.840.10008.1.2." + uid)))[0]
            self.assertEqual((info.get("codec"), info.get("codec_available")), (codec, available), info)
        info = self.lines("--info", self.put("in", JPEGLS))[0]
        self.assertEqual((info["type"], info["transfer_syntax"], info["lossy"]), ("JPEG-LS", "1.2.840.10008.1.2.4.80", False))
        for kind in ("auto", "jpeg", "jpegls"):
            self.run_it("in", "--type", kind, "--format", "none")
            self.run_it("in", "--type", kind, "--by-contract", "--format", "none", status=4)

    @unittest.skipUnless(shutil.which("dcmdump"), "dcmdump is not installed")
    def test_lossy_history(self):
        for name, content in (("jpeg", dicom([JPEG_FLAT], 8, 8, allocated=8, syntax=BASELINE)), ("bare", JPEG_FLAT),
                              ("lossless", IMAGES["jpegll"][0])):
            with self.subTest(name):
                self.run_it(self.put("in", content), "--format", "dicom", "-o", "out.dcm")
                dump = self.dump("out.dcm")
                self.assertEqual(b"ISO_10918_1" in dump, name != "lossless", dump)
                self.assertEqual(b"SourceImageSequence" in dump, name == "jpeg")
                # Study and series of a bare image are random UUIDs.
                numbers = [int(number) for number in re.findall(rb"\(0020,000[de]\) UI \[2\.25\.([0-9]+)", dump)]
                self.assertEqual([(number >> 76 & 15, number >> 62 & 3) for number in numbers], [(4, 2)] * (2 * (name == "bare")))

    def test_manual_page_has_every_option_of_the_help(self):
        texts = [self.run_it(option).stdout.decode().replace("\\-", "-") for option in ("--help", "--man")]
        in_help, in_page = (set(re.findall(r"(?<=[ ,B])--[a-z]+(?:-[a-z]+)*", text)) for text in texts)
        self.assertGreater(len(in_help), 15)
        self.assertEqual(in_help, in_page)
        for group in texts[0].split("\n\n\n")[:-1]:  # on terminals of 24 rows; behind them are the notes
            self.assertLessEqual(sum(1 + max(len(line) - 1, 0) // 80 for line in group.splitlines()), 24, group)
        # Bash gets the same options, and knows the words that some of them take.
        self.put("completion", self.run_it("--bash-completion").stdout)
        script = ". ./completion; COMP_WORDS=(x {}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); _quorix_decompress; echo ${{COMPREPLY[@]}}"
        for words, expected in (("--", in_help), ("--format p", {"png", "pnm"}), ("--list comp", {"completion"}),
                                ("comp", {"completion"})):
            done = subprocess.run(["bash", "-c", script.format(words)], capture_output=True, cwd=self.folder, check=True)
            self.assertEqual(set(done.stdout.decode().split()), expected, words)

    def test_exit_status(self):
        good, j2k = IMAGES["grey12"][0], dicom([b"\xff\x4f\xff\x51"], 5, 6, syntax=J2K)
        for name, content in (("good.dcm", good), ("cut.dcm", good[:-20]), ("noise", b"\1" * 500), ("empty", b""),
                              ("j2k.dcm", j2k), ("wide.dcm", dicom(bytes(120), 5, 6, allocated=32)),
                              ("multi.dcm", MULTI), ("bare.jpg", IMAGES["bare12"][0]), ("tree/readme.txt", b"text")):
            self.put(name, content)
        cases = [
            (0, [["--help"], ["--version"], ["good.dcm"], ["good.dcm", "-o", "made/here/"], ["good.dcm", "--scale", "3"],
                 ["bare.jpg", "--region", "1,1,2,2"], ["bare.jpg", "--type", "jpeg"], ["--info", "j2k.dcm"], ["--info", "cut.dcm"], ["multi.dcm", "--frame", "2"]]),
            (1, [[], ["--frobnicate", "good.dcm"], ["good.dcm", "--format", "gif"], ["good.dcm", "--frame", "-1"],
                 ["good.dcm", "--frame", "x"], ["good.dcm", "--frame", "0", "--all-frames"], ["good.dcm", "--jobs", "0"],
                 ["good.dcm", "--region", "0,0,0,1"], ["good.dcm", "--region", "1,2,3"], ["good.dcm", "--region", "0,-1,1,1"],
                 ["good.dcm", "--region", "0,0,1,1x"], ["good.dcm", "--region", "0,0,1,9999999999"],
                 ["good.dcm", "--scale", "0"], ["good.dcm", "--frames", "1-0"], ["good.dcm", "--frames", "0,,1"],
                 ["good.dcm", "--frames", "0-,3"], ["good.dcm", "--frames", "-1"], ["good.dcm", "--frames", "1 2"], ["good.dcm", "--window", "1"], ["good.dcm", "--window", "40,0.5"],
                 ["good.dcm", "--window", "nan,5"], ["good.dcm", "--window", "auto", "--format", "raw"], ["-", "-"],
                 ["good.dcm", "--list", ""]]),
            (2, [["good.dcm", "missing.dcm"], ["cut.dcm", "good.dcm"], ["good.dcm", "tree"], ["--info", "good.dcm", "noise"],
                 ["wide.dcm"], ["good.dcm", "missing.dcm", "wide.dcm"], ["good.dcm", "--format", "dicom", "-o", "good.dcm"],
                 ["good.dcm", "-o", "/dev/null"]]),
            (3, [["good.dcm", "-o", "noise/x.png"], ["good.dcm", "bare.jpg", "-o", "noise"],
                 ["good.dcm", "missing.dcm", "-o", "noise"], ["good.dcm", "-o", "no/such/folder.png"]]),
            (4, [["missing.dcm"], ["noise"], ["empty"], ["cut.dcm"], ["j2k.dcm"], ["tree"], ["multi.dcm", "--frame", "3"],
                 ["good.dcm", "--region", "5,0,2,1"],
                 ["bare.jpg", "--frame", "1"], ["good.dcm", "--type", "jpeg"], ["good.dcm", "--type", "j2k"]]),
        ]
        for status, command in ((status, command) for status, commands in cases for command in commands):
            with self.subTest(command):
                self.run_it(*command, status=status)
        self.assertEqual(self.get("good.dcm"), IMAGES["grey12"][0])
        left = [name for _, _, names in os.walk(self.folder) for name in names if name.endswith(".tmp")]
        self.assertEqual(left, [])

    def test_json_and_errors_name_input_frame_and_code(self):
        self.put("good.dcm", IMAGES["signed16"][0])
        good, bad = self.lines("good.dcm", "bad.dcm", status=2)
        self.assertEqual(list(good), JSON_FIELDS)
        self.assertEqual(list(bad), JSON_FIELDS)
        expected = {"file": "good.dcm", "frame": 0, "result_code": 0, "system_error": 0,
                    "outcome": "decoded", "sop_class_uid": "1.2.840.10008.5.1.4.1.1.7", "sop_instance_uid": "1.2.3.4",
                    "transfer_syntax": EXPLICIT, "codec": "native, explicit little endian", "lossless": True,
                    "message": "Completed successfully", "rows": 5, "columns": 6, "samples_per_pixel": 1,
                    "bits_allocated": 16, "bits_stored": 16, "high_bit": 15, "signed": True,
                    "photometric": "MONOCHROME2", "planar": False, "lossy": False, "compression_ratio": 1,
                    "scale_factor": 1, "bytes": 60, "sha256": hashlib.sha256(words(SIGNED)).hexdigest(),
                    "output": "good.png"}
        self.assertEqual({key: good[key] for key in expected}, expected)
        self.assertTrue(all(good[key] >= 0 for key in JSON_FIELDS if key.startswith("time_")))
        self.assertGreater(good["time_total_ms"], 0)
        self.assertEqual((bad["result_code"], bad["system_error"], bad["rows"], bad["output"]), (3, 2, None, None))
        self.put("cut.dcm", IMAGES["grey12"][0][:-20])
        for name, text in (("cut.dcm", "code 37: Failed to read the pixel data"),
                           ("bad.dcm", "code 3: unable to open the file (No such file or directory)")):
            self.assertEqual(self.run_it(name, status=4).stderr.decode(), f"{name}: frame 0: {text}\n")
        # Some codecs print their errors: nothing but JSON may reach standard output.
        self.put("rle.dcm", dicom([rle_frame([HIGH, LOW])[:64] + b"\x7f" * 4], 5, 6, stored=12, syntax=RLE))
        self.assertNotEqual(self.lines("rle.dcm", status=4)[0]["result_code"], 0)
        lines = self.lines("--all-frames", "--format", "dicom", "-o", "all.dcm", self.put("multi.dcm", MULTI))
        self.assertEqual([(line["frame"], line["output"]) for line in lines], [(n, "all.dcm") for n in range(3)])

    def test_names_with_control_characters_and_files_that_may_not_grow(self):
        name = "a\x1b[31mb.dcm"
        self.put(name, IMAGES["grey12"][0])
        self.assertEqual(self.run_it("--info", name).stdout.splitlines()[0], b"a [31mb.dcm")
        limited = subprocess.run([PROGRAM, "--format", "raw", "-o", "big.raw", name], cwd=self.folder, capture_output=True,
                                 preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1, 1)))
        self.assertEqual((limited.returncode, b"File too large" in limited.stderr), (3, True))
        self.assertFalse([entry for entry in os.listdir(self.folder) if "big" in entry or "tmp" in entry])
        self.put("plain", b"no folder")
        self.put("list", name.encode() + b"\n")
        done = self.run_it("--list", "list", "-o", "plain/sub", status=3)
        self.assertIn(b"unable to make the output folder: Not a directory", done.stderr)

    def test_standard_input(self):
        for name in ("grey12", "bare12", "rle16"):
            self.run_it("-", stdin=IMAGES[name][0])
            self.assertEqual(read_png(self.path("stdin.png"))[4], RAMP, name)
        self.assertEqual([line["sha256"] for line in self.lines("-", "--all-frames", "--format", "none", stdin=MULTI)],
                         [hashlib.sha256(bytes([value] * 6)).hexdigest() for value in (10, 20, 30)])
        self.run_it("-", status=4, stdin=b"")
        for frames in (16000000, 2000000000):  # that are claimed but not there
            done = self.run_it("-", "--all-frames", "--format", "none", status=2, stdin=dicom(bytes(60), 5, 6, frames=frames))
            self.assertLess(len(done.stderr.splitlines()), 20)

    def test_standard_output_gets_one_output(self):
        self.put("in", MULTI)
        for arguments in (["--format", "raw", "--frame", "1"], ["--format", "dicom", "--all-frames"], ["--frame", "2"]):
            self.run_it("in", "-o", "file", *arguments)
            for name, stdin in (("in", b""), ("-", MULTI)):
                done = self.run_it(name, "-o", "-", "--json", "--quiet", *arguments, stdin=stdin)
                self.assertEqual(done.stdout, self.get("file"))
                self.assertEqual({json.loads(line)["output"] for line in done.stderr.splitlines()}, {"-"})
        for wrong in (["in", "in"], ["."], ["in", "--frames", "0-1"], ["--list", "in"]):
            self.assertEqual(self.run_it(*wrong, "-o", "-", status=1).stdout, b"")
        with open("/dev/full", "wb") as full:
            self.assertEqual(subprocess.run([PROGRAM, "in", "-o", "-"], cwd=self.folder, stdout=full, check=False,
                                            stderr=subprocess.DEVNULL).returncode, 3)
        self.assertEqual([name for name in os.listdir(tempfile.gettempdir()) if name.startswith(".quorix-")], [])

    def test_frames_side_by_side_are_the_same_in_the_same_order(self):
        whole = dicom(bytes(range(40)), 1, 1, allocated=8, frames=40)
        later = dicom([rle_frame([b"\1"])] * 3 + [b"x"] * 12 + [rle_frame([b"\1"])] * 30, 1, 1, allocated=8, frames=45, syntax=RLE)
        for name, content, arguments, status in (
                ("all", whole, ["--all-frames"], 0), ("some", whole, ["--frames", "2-7,9,30-"], 0), ("given up", later, ["--all-frames"], 2),
                ("cut", whole[:-12], ["--all-frames"], 2), ("one file", whole, ["--all-frames", "--format", "dicom"], 0)):
            with self.subTest(name):
                self.put("in", content)
                seen = []
                for jobs in ("1", "3", "50"):
                    done = self.run_it("in", "--json", "--quiet", "-o", "out/", "--jobs", jobs, *arguments, status=status)
                    lines = [{key: value for key, value in json.loads(line).items() if not key.startswith("time_")}
                             for line in done.stdout.splitlines()]
                    seen.append((lines, done.stderr, {file: self.get("out/" + file) for file in sorted(os.listdir(self.path("out")))}))
                    shutil.rmtree(self.path("out"))
                self.assertEqual(seen[1:], seen[:1] * 2)

    def test_output_names(self):
        files = {"a/x.dcm": MULTI, "a/deep/x.dcm": IMAGES["grey12"][0], "a/1.2.840.7": IMAGES["grey12"][0],
                 "a/notes.txt": b"no image", "a/DICOMDIR": IMAGES["grey12"][0], "x.jpg": IMAGES["bare8"][0],
                 "x_f0001.dcm": IMAGES["grey12"][0]}
        for name, content in files.items():
            self.put(name, content)
        os.symlink(self.folder, self.path("a/loop"))
        for jobs in ("1", "4"):
            self.run_it("x.jpg", "a", "x_f0001.dcm", "-o", "out", "--jobs", jobs)
            names = sorted(os.listdir(self.path("out")))
            self.assertEqual(names, ["1.2.840.7.png", "DICOMDIR.png", "x-2.png", "x-3.png", "x.png", "x_f0001.png"])
            self.assertEqual(read_png(self.path("out/x.png"))[4], STEPS)
            self.assertEqual(read_png(self.path("out/x-3.png"))[4], RAMP)
        self.run_it("a/x.dcm", "x_f0001.dcm", "-o", "all", "--all-frames")
        self.assertEqual(sorted(os.listdir(self.path("all"))),
                         ["x_f0000.png", "x_f0001-2.png", "x_f0001.png", "x_f0002.png"])
        self.run_it("a/x.dcm", "-o", "named.file", "--all-frames")
        self.assertEqual(read_png(self.path("named_f0002.file"))[4], [30] * 6)
        shutil.copy(self.path("a/x.dcm"), self.path("x.dcm"))
        self.run_it("x.dcm", "--format", "dicom")  # into the folder where the input is
        self.assertEqual(self.get("x.dcm"), MULTI)
        self.assertTrue(os.path.exists(self.path("x-2.dcm")))

    def on_terminal(self, columns, *arguments):
        """What the program sends to a terminal of so many columns, standard output included."""
        try:
            master, slave = pty.openpty()
        except OSError as error:
            self.skipTest(f"no terminal to be had: {error}")
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        with subprocess.Popen([PROGRAM, *arguments], stdout=slave, stderr=slave, cwd=self.folder):
            os.close(slave)
            with os.fdopen(master, "rb", 0) as terminal, contextlib.suppress(OSError):  # how Linux calls the end
                shown = b""
                while part := terminal.read(65536):
                    shown += part
        return shown.decode()

    def replay(self, shown, columns):
        """The lines that are to be seen in the end, put together where the terminal has wrapped them."""
        lines, start, at = [""], 0, 0  # the row of the cursor begins there in its line
        for part in re.findall(r"\x1b\[K|.", shown, re.DOTALL):
            if part == "\n":
                lines, start, at = lines + [""], 0, 0
            elif part == "\x1b[K":
                lines[-1] = lines[-1][:at]
            elif part != "\r":
                self.assertTrue(part.isprintable(), ascii(part))
                start += columns if at == start + columns else 0
                lines[-1] = lines[-1][:at] + part + lines[-1][at + 1:]
            at = start if part == "\r" else at + part.isprintable()
        return lines

    def test_messages_and_the_progress_bar_leave_each_other_whole(self):
        grey = IMAGES["grey12"][0]
        troubles = {"good": grey, "cut\x1b[31m\r": grey[:-20], "sign": IMAGES["j2ksigned"][0], "junk": b"text" * 50, "plan": without_image(grey),
                    "rle": dicom([rle_frame([HIGH, LOW])[:64] + b"\x7f" * 4], 5, 6, stored=12, syntax=RLE),
                    "dirt": dicom([JPEG_FLAT[:-2] + b"\x55" * 9 + JPEG_FLAT[-2:]], 8, 8, allocated=8, syntax=BASELINE),
                    "bits": dicom([deeper(JPEG_RAMP, 0xc3, 16)], 5, 6, allocated=8, stored=7, syntax=LOSSLESS)}
        for number in range(200):
            name = list(troubles)[number % 8]
            self.put(f"in/{number}/{name}", troubles[name])
        bare = [self.put("deep.jpg", JPEG_RAMP)] * 5
        for reading in ([], ["--by-contract"]):
            run = ["in", *bare, "--format", "none", *reading]
            messages = self.run_it(*run, status=2).stderr.decode().splitlines()[:-4]
            self.assertGreater(len(messages), 90)
            for message in messages:  # whoever it comes from
                self.assertRegex(message, r"^(in/\d+/\w+( \[31m )?|.*/deep.jpg): frame 0: (code|warning)")
            for columns, bar, more in ((80, 33, []), (24, 0, ["--json"]), (50, 22, ["--strict"]), (200, 33, ["--jobs", "4"])):
                with self.subTest((reading, columns)):
                    done = subprocess.run([PROGRAM, *run, *more], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.folder, check=False)
                    shown = self.on_terminal(columns, *run, *more)
                    self.assertRegex(shown, r"\r\x1b\[K.{%d}0/\d+  0.0/s" % bar)
                    seen, expected = ([re.sub(r"[\d.]+(e-\d+)?", "#", line) for line in lines] for lines in
                                      (self.replay(shown, columns), done.stdout.decode().split("\n")))
                    self.assertEqual(*(sorted(lines) if "--jobs" in more else lines for lines in (seen, expected)))
        self.assertNotIn("\x1b", self.on_terminal(80, *run, "--no-progress"))


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
