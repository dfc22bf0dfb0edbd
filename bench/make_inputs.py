#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the input files of the benchmarks: drawn images, compressed by the programs of DCMTK, OpenJPEG and OpenJPH.

usage: make_inputs.py FOLDER

With QUORIX_BENCH_QUICK in the environment the largest images are left out.
"""

import functools
import os
import subprocess
import sys

import numpy
from pydicom.encaps import encapsulate
from pydicom.uid import JPEG2000Lossless

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts"))
from make_samples import colour_wheel, data_set, head_phantom, to_ybr_full  # noqa: E402

SIDES = (512, 1024, 2048) if os.environ.get("QUORIX_BENCH_QUICK") else (512, 1024, 2048, 4096)


# Large ones take seconds to draw and are wanted several times.
@functools.lru_cache(2)
def grey16(side):
    """CT-like: signed, noisy in the low bits, flat outside."""
    image = head_phantom(side)
    noise = numpy.random.default_rng(2).normal(0, 12, image.shape)
    return (image + noise * (image > -900)).astype(numpy.int16)


def grey12(side):
    return numpy.clip((grey16(side).astype(int) + 1000) * 4095 // 2600, 0, 4095).astype(numpy.uint16)


def grey8(side):
    return (grey12(side) >> 4).astype(numpy.uint8)


@functools.lru_cache(1)
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


def encode_high_throughput(folder, name, image, *options):
    """One codestream out of a numpy array of 8 or 12 bits, by OpenJPH's program."""
    components = 1 if image.ndim == 2 else 3
    picture = os.path.join(folder, "image." + ("pgm" if components == 1 else "ppm"))
    target = os.path.join(folder, name + ".j2c")
    with open(picture, "wb") as file:
        most = 255 if image.dtype.itemsize == 1 else 4095
        file.write(f"P{5 if components == 1 else 6} {image.shape[1]} {image.shape[0]} {most}\n".encode())
        file.write(image.astype(image.dtype.newbyteorder(">")).tobytes())
    subprocess.run(["ojph_compress", "-i", picture, "-o", target, *options], check=True, stdout=subprocess.DEVNULL)
    os.remove(picture)
    os.replace(target, os.path.join(folder, name + ".j2k"))


def save_jpeg2000(folder, name, frames, *options, encode=encode_jpeg2000, **attributes):
    """Grey frames as a DICOM file of JPEG 2000."""
    codestream = os.path.join(folder, name + ".j2k")
    codestreams = []
    for frame in frames:
        encode(folder, name, frame, *options)
        with open(codestream, "rb") as file:
            codestreams.append(file.read())
    os.remove(codestream)
    image = data_set(frames[0], "MONOCHROME2")
    image.NumberOfFrames = len(frames)
    image.PixelData = encapsulate(codestreams)
    image["PixelData"].is_undefined_length = True
    image.file_meta.TransferSyntaxUID = JPEG2000Lossless  # of some, pydicom does not know their own
    save(folder, name, image, **attributes)


def mr16(side):
    """MR-like: 12 bits in 16, noise everywhere."""
    image = numpy.clip((head_phantom(side).astype(int) + 1000) * 1500 // 2600, 0, 4095)
    noise = numpy.random.default_rng(4).normal(0, 25, (2, side, side))
    return numpy.hypot(image + noise[0], noise[1]).astype(numpy.uint16)


def make_jpeg2000(folder):
    os.makedirs(folder, exist_ok=True)
    tiles = ("-t", "512,512")
    lossy = ("-I", "-r", "10")
    encode_jpeg2000(folder, "ct_512", grey16(512))
    encode_jpeg2000(folder, "ct_1024", grey16(1024))
    encode_jpeg2000(folder, "mr_512", mr16(512))
    for side in SIDES:
        encode_jpeg2000(folder, f"cr_{side}", grey12(side))
        encode_jpeg2000(folder, f"cr_{side}_lossy", grey12(side), *lossy)
    encode_jpeg2000(folder, "cr_2048_tiled", grey12(2048), *tiles)
    encode_jpeg2000(folder, "cr_2048_lossy_tiled", grey12(2048), *lossy, *tiles)
    for suffix, options in (("", ()), ("_tiled", tiles), ("_lossy", lossy), ("_lossy_tiled", lossy + tiles)):
        encode_jpeg2000(folder, "rgb_2048" + suffix, rgb(2048), "-mct", "1", *options)


def make_high_throughput(folder):
    for name, image, step in (("cr_512", grey12(512), "0.002"), ("cr_2048", grey12(2048), "0.002"),
                              ("rgb_2048", rgb(2048), "0.008")):
        encode_high_throughput(folder, f"ht_{name}", image, "-reversible", "true")
        encode_high_throughput(folder, f"ht_{name}_lossy", image, "-qstep", step)
    if SIDES[-1] != 2048:
        encode_high_throughput(folder, f"ht_cr_{SIDES[-1]}", grey12(SIDES[-1]), "-reversible", "true")


def make_rle(folder):
    for side in SIDES:
        for kind, pixels in (("grey8", grey8(side)), ("grey16", grey16(side)), ("rgb", rgb(side))):
            name = f"{kind}_{side}"
            save(folder, name, data_set(pixels, "RGB" if kind == "rgb" else "MONOCHROME2"))
            compress(folder, "dcmcrle", name, name + "_rle")


def shrink(image, side):
    """Sixteen small images out of every so many pixels of a large one, each of other pixels."""
    step = image.shape[0] // side
    return [image[i % step::step, 5 * i % step::step].copy() for i in range(16)]


def save_frames(folder, name, frames, photometric, **attributes):
    image = data_set(frames[0], photometric)
    image.NumberOfFrames, image.PixelData = len(frames), numpy.stack(frames).tobytes()
    save(folder, name, image, **attributes)


def make_small(folder):
    """Images so small that what a frame costs apart from its pixels shows: sixteen, since a processor learns by heart
    how one of them goes. The native one is alone: nothing in it can be predicted or not."""
    folder = os.path.join(folder, "small")
    os.makedirs(folder, exist_ok=True)
    twelve = {"BitsStored": 12, "HighBit": 11}
    for side in (64, 128):
        grey_frames, deep_frames = shrink(grey12(2048), side), shrink(grey16(2048), side)
        save(folder, f"grey16_{side}", data_set(deep_frames[0], "MONOCHROME2"))
        save_frames(folder, f"grey8_frames_{side}", shrink(grey8(2048), side), "MONOCHROME2")
        save_frames(folder, f"grey12_frames_{side}", grey_frames, "MONOCHROME2", **twelve)
        save_frames(folder, f"grey16_frames_{side}", deep_frames, "MONOCHROME2")
        save_frames(folder, f"rgb_frames_{side}", shrink(rgb(2048), side), "RGB")
        for name, program, *options in (
                ("grey16_rle", "dcmcrle"), ("grey8_baseline", "dcmcjpeg", "+eb"),
                ("rgb_baseline420", "dcmcjpeg", "+eb", "+cy", "+n1"), ("grey12_extended", "dcmcjpeg", "+ee", "+bt"),
                ("grey16_lossless1", "dcmcjpeg", "+el", "+sv", "1"), ("grey16_jpegls", "dcmcjpls")):
            compress(folder, program, f"{name.split('_')[0]}_frames_{side}", f"{name}_{side}", *options)
        save_jpeg2000(folder, f"grey16_jpeg2000_{side}", deep_frames)
        save_jpeg2000(folder, f"grey12_jpeg2000_lossy_{side}", grey_frames, "-I", "-r", "10")
        save_jpeg2000(folder, f"grey12_htj2k_{side}", grey_frames, "-reversible", "true",
                      encode=encode_high_throughput, **twelve)


def make_frames(folder):
    """A thousand frames that differ, for the way to one of them."""
    frame = grey16(256)
    save_frames(folder, "frames1000", [frame + numpy.int16(shift) for shift in range(1000)], "MONOCHROME2")
    compress(folder, "dcmcrle", "frames1000", "frames1000_rle_table")
    compress(folder, "dcmcrle", "frames1000", "frames1000_rle", "--offset-table-empty")


def make_tiles(folder):
    """The tiles of a slide: 2,000 frames of 256 x 256 in an order of their own, without an offset table."""
    slide = rgb(2048)
    tiles = [slide[row:row + 256, column:column + 256] for row in range(0, 2048, 512) for column in range(0, 2048, 512)]
    codestreams = []
    for tile in tiles:
        encode_high_throughput(folder, "tile", tile, "-reversible", "true")
        with open(os.path.join(folder, "tile.j2k"), "rb") as file:
            codestreams.append(file.read())
    os.remove(os.path.join(folder, "tile.j2k"))
    image = data_set(tiles[0], "YBR_RCT")
    image.NumberOfFrames = 2000
    image.PixelData = encapsulate([codestreams[number * 7 % len(tiles)] for number in range(2000)], has_bot=False)
    image["PixelData"].is_undefined_length = True
    image.file_meta.TransferSyntaxUID = JPEG2000Lossless  # of the new ones pydicom does not know yet
    save(folder, "tiles2000_htj2k", image)


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    make_rle(folder)
    make_jpeg2000(os.path.join(folder, "jpeg2000"))
    make_high_throughput(os.path.join(folder, "jpeg2000"))
    save_jpeg2000(folder, "grey16_2048_jpeg2000", [grey16(2048)])
    save(folder, "ybr_full_2048", data_set(to_ybr_full(rgb(2048)), "YBR_FULL"))
    make_small(folder)
    make_frames(folder)
    make_tiles(folder)
    # It takes images and encoders from here.
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "jpeg", "jpeg_inputs.py")
    subprocess.run([sys.executable, script, folder], check=True)


if __name__ == "__main__":
    main()
