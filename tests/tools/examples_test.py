#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the programs of examples/cpp on small files made here.

usage: examples_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""

import os
import sys
import unittest

import cli_test
from cli_test import IMAGES, MULTI, RLE, dicom, read_pnm, rle_frame

FOLDER = ""


class Examples(cli_test.Program):
    def run_example(self, name, *arguments, status=0):
        cli_test.PROGRAM = os.path.join(FOLDER, name)
        done = self.run_it(*arguments, status=status)
        return done.stdout.decode() if status == 0 else done.stderr.decode()

    def test_decode_to_pnm_writes_the_values(self):
        for name, (content, depth, values, _) in IMAGES.items():
            with self.subTest(name):
                self.put("in", content)
                if depth == 1:
                    self.assertIn("samples of 1 bits", self.run_example("DecodeToPnm", "in", "out", status=1))
                    continue
                self.run_example("DecodeToPnm", "in", "out")
                _, _, top, got = read_pnm(self.path("out"))
                # A signed value comes with half of its own range added, not of the picture's.
                shift = (1 << depth >> 1) - (top + 1 >> 1) if name == "j2ksigned" else 0
                self.assertEqual(got, [value - shift for value in values])
        self.put("multi.dcm", MULTI)
        self.run_example("DecodeToPnm", "multi.dcm", "out", "2")
        self.assertEqual(read_pnm(self.path("out"))[3], [30] * 6)
        for arguments, text in ((("missing.dcm", "out"), "code 3: missing.dcm: No such file"), (("multi.dcm", "no/out"), "cannot be written"),
                                (("multi.dcm", "out", "3"), "code 37: "), ((), "usage")):
            self.assertIn(text, self.run_example("DecodeToPnm", *arguments, status=1))

    def test_read_frames_sums_up_every_frame(self):
        coded = [rle_frame([bytes([value] * 9)]) for value in (10, 20, 30)]
        sums = [f"frame {index}: sum of bytes {90 + index * 90}\n" for index in range(3)]
        for content, expected in (
                (dicom(coded, 3, 3, allocated=8, frames=3, syntax=RLE), ["28 bytes\n", *sums]),
                (dicom(coded[:2], 3, 3, allocated=8, frames=3, syntax=RLE), ["28 bytes\n", *sums[:2], "the frames end early\n"]),
                (MULTI, ["18 bytes\n", *(f"frame {index}: sum of bytes {60 + index * 60}\n" for index in range(3))])):
            self.put("in.dcm", content)
            self.assertEqual(self.run_example("ReadFrames", "in.dcm"), "".join(expected))
        self.put("bad.dcm", dicom([b"\1\0\0\0" + bytes(60)], 3, 3, allocated=8, syntax=RLE))
        self.put("text", b"no image")
        for name in ("bad.dcm", "text", "missing"):
            self.assertRegex(self.run_example("ReadFrames", name, status=1), "^code [0-9]+: .")

    def test_cache_file_is_made_once(self):
        self.put("in.dcm", IMAGES["grey12"][0])
        self.assertEqual(self.run_example("CacheFile", "in.dcm", "cache"), "6 x 5, decoded and cached\n")
        cached = self.get("cache")
        self.assertEqual(cached[64:], IMAGES["grey12"][3])
        self.assertEqual(self.run_example("CacheFile", "missing", "cache"), "6 x 5, from the cache\n")
        self.put("cache", cached[:40])
        self.assertEqual(self.run_example("CacheFile", "in.dcm", "cache"), "6 x 5, decoded and cached\n")
        self.assertEqual(self.get("cache"), cached)
        self.assertIn("code 3: ", self.run_example("CacheFile", "missing", "none", status=1))


if __name__ == "__main__":
    FOLDER = os.path.abspath(sys.argv.pop(1))
    unittest.main()
