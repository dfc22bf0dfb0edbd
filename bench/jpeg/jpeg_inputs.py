#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the JPEG inputs of the benchmarks, by DCMTK's encoder, in the folder's subfolder jpeg.

usage: jpeg_inputs.py FOLDER
"""

import os
import sys

import numpy
import pydicom

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
from make_inputs import SIDES, compress, data_set, grey8, grey12, grey16, rgb, save  # noqa: E402

DCT = {
    "grey8_baseline": ("grey8", "+eb"),
    "rgb_baseline420": ("rgb", "+eb", "+cy", "+n1"),
    "rgb_baseline422": ("rgb", "+eb", "+cy", "+n2"),
    "rgb_baseline444": ("rgb", "+eb", "+cy", "+s4"),
    "rgb_progressive420": ("rgb", "+ep", "+cy", "+n1"),
    "grey12_extended": ("grey12", "+ee", "+bt"),
    "rgb12_extended420": ("rgb12", "+ee", "+bt", "+cy", "+n1"),
    "rgb12_extended422": ("rgb12", "+ee", "+bt", "+cy", "+n2"),
    "rgb12_extended444": ("rgb12", "+ee", "+bt", "+cy", "+s4"),
}


def rgb12(side):
    noise = numpy.random.default_rng(5).integers(0, 16, (side, side, 3))
    return (rgb(side).astype(int) * 16 + noise).astype(numpy.uint16)


def relabel(path):
    """Progressive images travel as extended ones today; their own transfer syntaxes are retired."""
    image = pydicom.dcmread(path)
    image.file_meta.TransferSyntaxUID = pydicom.uid.JPEGExtended12Bit
    image.save_as(path, write_like_original=False)


def main():
    folder = os.path.join(sys.argv[1], "jpeg")
    os.makedirs(folder, exist_ok=True)
    for side in SIDES:
        save(folder, "grey8", data_set(grey8(side), "MONOCHROME2"))
        save(folder, "grey12", data_set(grey12(side), "MONOCHROME2"), BitsStored=12, HighBit=11)
        save(folder, "grey16", data_set(grey16(side), "MONOCHROME2"))
        save(folder, "rgb", data_set(rgb(side), "RGB"))
        save(folder, "rgb12", data_set(rgb12(side), "RGB"), BitsStored=12, HighBit=11)
        for name, (source, *options) in DCT.items():
            compress(folder, "dcmcjpeg", source, f"{name}_{side}", *options)
        relabel(os.path.join(folder, f"rgb_progressive420_{side}.dcm"))
        for source in ("grey8", "grey12", "grey16", "rgb"):
            for predictor in ("1", "4", "6"):
                compress(folder, "dcmcjpeg", source, f"{source}_lossless{predictor}_{side}", "+el", "+sv", predictor)
    for source in ("grey8", "grey12", "grey16", "rgb", "rgb12"):
        os.remove(os.path.join(folder, source + ".dcm"))


if __name__ == "__main__":
    main()
