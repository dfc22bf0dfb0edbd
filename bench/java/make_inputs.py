#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the input files of the Java benchmark: small and large images, and one of 500 frames.

usage: make_inputs.py FOLDER
"""

import importlib.util
import os
import sys

import numpy

HERE = os.path.dirname(os.path.abspath(__file__))
SPEC = importlib.util.spec_from_file_location("bench", os.path.join(HERE, "..", "make_inputs.py"))
bench = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(bench)


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    for side in (64, 2048):
        bench.save(folder, f"grey16_{side}", bench.data_set(bench.grey16(side), "MONOCHROME2"))
        bench.save(folder, f"grey8_{side}", bench.data_set(bench.grey8(side), "MONOCHROME2"))
        bench.save_jpeg2000(folder, f"grey16_{side}_jpeg2000", [bench.grey16(side)])
        bench.compress(folder, "dcmcrle", f"grey16_{side}", f"grey16_{side}_rle")
        bench.compress(folder, "dcmcjpeg", f"grey16_{side}", f"grey16_{side}_lossless", "+e1")
        bench.compress(folder, "dcmcjpeg", f"grey8_{side}", f"grey8_{side}_baseline", "+eb")
        os.remove(os.path.join(folder, f"grey8_{side}.dcm"))

    frame = bench.grey16(256)
    frames = numpy.stack([frame + shift for shift in range(500)]).astype(numpy.int16)
    image = bench.data_set(frames[0], "MONOCHROME2")
    image.NumberOfFrames, image.PixelData = 500, frames.tobytes()
    bench.save(folder, "frames500", image)
    bench.compress(folder, "dcmcrle", "frames500", "frames500_rle")
    os.remove(os.path.join(folder, "frames500.dcm"))


if __name__ == "__main__":
    main()
