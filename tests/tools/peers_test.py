#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what quorix-decompress delivers with what pydicom and DCMTK make of the same real files.

usage: peers_test.py QUORIX_DECOMPRESS

The files are those of Debian's python3-pydicom. Native and RLE data are read by pydicom itself, JPEG is
decompressed by DCMTK's dcmdjpeg first. Colour is brought to RGB by pydicom, which rounds where this library cuts off.
"""

import glob
import json
import os
import subprocess
import sys
import tempfile
import warnings

import numpy
import pydicom
from pydicom.pixel_data_handlers.util import apply_color_lut, convert_color_space

# Files that pydicom reads and this library deliberately does not, with the code and why.
REFUSED = {
    "ExplVR_BigEndNoMeta.dcm": 6, "ExplVR_LitEndNoMeta.dcm": 6,  # without a preamble, and without pixels
    "no_meta.dcm": 38,  # its first element is no element: DCMTK cannot read it either
    "SC_rgb_rle_32bit.dcm": 12, "SC_rgb_rle_32bit_2frame.dcm": 12,  # colour of 32 bits
    "MR_truncated.dcm": 37,
}
# Read by both, with a known difference.
SKIPPED = {"badVR.dcm": "NumberOfFrames is no number",
           "meta_missing_tsyntax.dcm": "no transfer syntax is stated"}
RLE = "1.2.840.10008.1.2.5"
JPEG = {"1.2.840.10008.1.2.4.50", "1.2.840.10008.1.2.4.51", "1.2.840.10008.1.2.4.57", "1.2.840.10008.1.2.4.70"}


def expected(image):
    """Frames as the library delivers them, or None where there is nothing to compare with."""
    pixels = image.pixel_array
    if int(image.get("NumberOfFrames") or 1) == 1:
        pixels = pixels[numpy.newaxis]
    if image.PhotometricInterpretation == "PALETTE COLOR":
        pixels = numpy.stack([apply_color_lut(frame, image) for frame in pixels])
    elif image.PhotometricInterpretation.startswith("YBR_FULL"):
        return list(convert_color_space(pixels, "YBR_FULL", "RGB"))
    if pixels.ndim == 4 and pixels.dtype.itemsize == 2:
        pixels = (pixels >> 8).astype(numpy.uint8)
    return list(pixels)


def read_by_peer(path, folder):
    image = pydicom.dcmread(path, force=True)
    if "PixelData" not in image or "TransferSyntaxUID" not in image.file_meta:
        return None
    syntax = image.file_meta.TransferSyntaxUID
    if syntax in JPEG:
        plain = os.path.join(folder, "plain.dcm")
        if subprocess.run(["dcmdjpeg", "+cp", path, plain], capture_output=True).returncode != 0:
            return None
        return pydicom.dcmread(plain)
    return image if syntax == RLE or not syntax.is_compressed else None


def check(program, path, folder):
    """Number of frames that were compared."""
    name = os.path.basename(path)
    image = None if name in SKIPPED or name in REFUSED else read_by_peer(path, folder)
    if name not in REFUSED and (image is None or image.get("BitsAllocated", 1) == 1):
        return 0
    run = subprocess.run([program, "--format", "raw", "--all-frames", "--json", "--quiet", "-o", folder + "/", path],
                         capture_output=True, text=True, check=False)
    results = [json.loads(line) for line in run.stdout.splitlines()]
    if name in REFUSED:
        assert REFUSED[name] in [result["result_code"] for result in results], results
        return 1
    frames = expected(image)
    assert len(results) == len(frames), (len(results), len(frames))
    for result, frame in zip(results, frames):
        assert result["result_code"] == 0, result["message"]
        with open(result["output"], "rb") as file:
            ours = numpy.frombuffer(file.read(), frame.dtype.newbyteorder("<"))
        most = 1 if image.PhotometricInterpretation.startswith("YBR_FULL") else 0
        assert ours.size == frame.size and numpy.abs(ours.astype(int) - frame.ravel()).max() <= most, \
            f"frame {result['frame']} differs"
    return len(frames)


def main():
    warnings.simplefilter("ignore")  # the files are odd on purpose
    folder = os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files")
    compared, failures = 0, []
    for path in sorted(glob.glob(os.path.join(folder, "*.dcm"))):
        with tempfile.TemporaryDirectory() as work:
            try:
                compared += check(sys.argv[1], path, work)
            except AssertionError as error:
                failures.append(f"{os.path.basename(path)}: {error}")
    print(f"{compared} frames compared")
    print("\n".join(failures))
    # The package's own set has more than this; fewer means that the comparison itself is broken.
    sys.exit(1 if failures or compared < 50 else 0)


if __name__ == "__main__":
    main()
