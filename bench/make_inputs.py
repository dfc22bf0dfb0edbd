#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the input files of the benchmarks: drawn images, compressed by DCMTK's and OpenJPEG's programs.

usage: make_inputs.py FOLDER
"""

import os
import subprocess
import sys

import numpy

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts"))
from make_samples import colour_wheel, data_set, head_phantom, to_ybr_full  # noqa: E402


def grey16(side):
    """CT-like: signed, noisy in the low bits, flat outside."""
    image = head_phantom(side)
    noise = numpy.random.default_rng(2).normal(0, 12, image.shape)
    return (image + noise * (image > -900)).astype(numpy.int16)


def grey12(side):
    return numpy.clip((grey16(side).astype(int) + 1000) * 4095 // 2600, 0, 4095).astype(numpy.uint16)


def grey8(side):
    return (grey12(side) >> 4).astype(numpy.uint8)


def rgb(side):
    noise = numpy.random.default_rng(3).integers(-3, 4, (side, side, 3))
    return numpy.clip(colour_wheel(side).astype(int) + noise, 0, 255).astype(numpy.uint8)


def save(folder, name, image, **attributes):
    for keyword, value in attributes.items():
        setattr(image, keyword, value)
    image.save_as(os.path.join(folder, name + ".dcm"), write_like_original=False)


def compress(folder, program, source, target, *options):
    subprocess.run([program, *options, os.path.join(folder, source + ".dcm"),
                    os.path.join(folder, target + ".dcm")], check=True)


def encode_jpeg2000(folder, name, image, *options):
    """One codestream out of a numpy array, by OpenJPEG's program."""
    depth = image.dtype.itemsize * 8
    components = 1 if image.ndim == 2 else 3
    raw = os.path.join(folder, "image.raw")
    image.astype(image.dtype.newbyteorder("<")).transpose(*((0, 1) if components == 1 else (2, 0, 1))).tofile(raw)
    shape = f"{image.shape[1]},{image.shape[0]},{components},{depth},{'s' if image.dtype.kind == 'i' else 'u'}"
    # RAWL: little endian.
    os.replace(raw, raw + "l")
    subprocess.run(["opj_compress", "-i", raw + "l", "-o", os.path.join(folder, name + ".j2k"), "-F", shape,
                    *options], check=True, stdout=subprocess.DEVNULL)
    os.remove(raw + "l")


def mr16(side):
    """MR-like: 12 bits in 16, noise everywhere."""
    image = numpy.clip((head_phantom(side).astype(int) + 1000) * 1500 // 2600, 0, 4095)
    noise = numpy.random.default_rng(4).normal(0, 25, (2, side, side))
    return numpy.hypot(image + noise[0], noise[1]).astype(numpy.uint16)


def make_jpeg2000(folder):
    os.makedirs(folder, exist_ok=True)
    tiles = ("-t", "512,512")
    lossy = ("-I", "-r", "10")
    cr, colour = grey12(2048), rgb(2048)
    encode_jpeg2000(folder, "ct_512", grey16(512))
    encode_jpeg2000(folder, "ct_1024", grey16(1024))
    encode_jpeg2000(folder, "mr_512", mr16(512))
    for name, image, options in (("cr_2048", cr, ()), ("rgb_2048", colour, ("-mct", "1"))):
        encode_jpeg2000(folder, name, image, *options)
        encode_jpeg2000(folder, name + "_tiled", image, *options, *tiles)
        encode_jpeg2000(folder, name + "_lossy", image, *options, *lossy)
        encode_jpeg2000(folder, name + "_lossy_tiled", image, *options, *lossy, *tiles)


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    for side in (512, 2048):
        save(folder, f"grey16_{side}", data_set(grey16(side), "MONOCHROME2"))
        save(folder, f"grey12_{side}", data_set(grey12(side), "MONOCHROME2"), BitsStored=12, HighBit=11)
        save(folder, f"grey8_{side}", data_set(grey8(side), "MONOCHROME2"))
        save(folder, f"rgb_{side}", data_set(rgb(side), "RGB"))
        for kind in ("grey16", "grey8", "rgb"):
            compress(folder, "dcmcrle", f"{kind}_{side}", f"{kind}_{side}_rle")
            compress(folder, "dcmcjpeg", f"{kind}_{side}", f"{kind}_{side}_lossless", "+e1")
        compress(folder, "dcmcjpeg", f"grey8_{side}", f"grey8_{side}_baseline", "+eb")
        compress(folder, "dcmcjpeg", f"grey12_{side}", f"grey12_{side}_extended", "+ee", "+bt")
        compress(folder, "dcmcjpeg", f"rgb_{side}", f"rgb_{side}_baseline420", "+eb", "+cy", "+n1")
        compress(folder, "dcmcjpeg", f"rgb_{side}", f"rgb_{side}_baseline444", "+eb", "+cy", "+s4")
    make_jpeg2000(os.path.join(folder, "jpeg2000"))
    save(folder, "ybr_full_2048", data_set(to_ybr_full(rgb(2048)), "YBR_FULL"))

    # A thousand frames that differ, for the way to one of them.
    frame = grey16(256)
    frames = numpy.stack([frame + shift for shift in range(1000)]).astype(numpy.int16)
    image = data_set(frames[0], "MONOCHROME2")
    image.NumberOfFrames, image.PixelData = 1000, frames.tobytes()
    save(folder, "frames1000", image)
    compress(folder, "dcmcrle", "frames1000", "frames1000_rle_table")
    compress(folder, "dcmcrle", "frames1000", "frames1000_rle", "--offset-table-empty")


if __name__ == "__main__":
    main()
