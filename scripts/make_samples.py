#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Draws a few images and writes them as DICOM files: no patient, known pixels, every kind of storage.

usage: make_samples.py FOLDER
"""

import os
import sys

import numpy
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.encaps import encapsulate
from pydicom.uid import ExplicitVRLittleEndian, RLELossless, generate_uid

# The ellipses of Shepp and Logan's head phantom with the contrast of Toft's variant: grey level added,
# half axes, centre, angle in degrees.
HEAD = [
    (1.0, 0.69, 0.92, 0.0, 0.0, 0.0), (-0.8, 0.6624, 0.874, 0.0, -0.0184, 0.0),
    (-0.2, 0.11, 0.31, 0.22, 0.0, -18.0), (-0.2, 0.16, 0.41, -0.22, 0.0, 18.0),
    (0.1, 0.21, 0.25, 0.0, 0.35, 0.0), (0.1, 0.046, 0.046, 0.0, 0.1, 0.0),
    (0.1, 0.046, 0.046, 0.0, -0.1, 0.0), (0.1, 0.046, 0.023, -0.08, -0.605, 0.0),
    (0.1, 0.023, 0.023, 0.0, -0.606, 0.0), (0.1, 0.023, 0.046, 0.06, -0.605, 0.0)]


def head_phantom(side):
    """Hounsfield-like values from -1000 (air) to 1500, with a little noise from a fixed seed."""
    y, x = numpy.mgrid[1:-1:side * 1j, -1:1:side * 1j]
    image = numpy.zeros((side, side))
    for value, a, b, x0, y0, angle in HEAD:
        c, s = numpy.cos(numpy.radians(angle)), numpy.sin(numpy.radians(angle))
        inside = (((x - x0) * c + (y - y0) * s) / a) ** 2 + ((y - y0) * c - (x - x0) * s) ** 2 / b ** 2 <= 1
        image[inside] += value
    noise = numpy.random.default_rng(1).normal(0, 8, image.shape)
    return numpy.clip(image * 2500 - 1000 + noise, -1000, 1500).astype(numpy.int16)


def colour_wheel(side):
    """RGB: hue by angle, saturation by radius."""
    y, x = numpy.mgrid[1:-1:side * 1j, -1:1:side * 1j]
    hue, radius = numpy.arctan2(y, x), numpy.hypot(x, y)
    channels = [0.5 + 0.5 * numpy.cos(hue - offset) for offset in (0, 2.0944, 4.1888)]
    image = numpy.stack([1 - radius + radius * channel for channel in channels], axis=-1)
    image[radius > 1] = 0.05
    return (image * 255).round().astype(numpy.uint8)


def to_ybr_full(rgb):
    r, g, b = (rgb[..., k].astype(float) for k in range(3))
    ybr = numpy.stack([0.299 * r + 0.587 * g + 0.114 * b, 128 - 0.168736 * r - 0.331264 * g + 0.5 * b,
                       128 + 0.5 * r - 0.418688 * g - 0.081312 * b], axis=-1)
    return numpy.clip(ybr.round(), 0, 255).astype(numpy.uint8)


def data_set(pixels, photometric):
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = "1.2.840.10008.5.1.4.1.1.7"
    meta.MediaStorageSOPInstanceUID = generate_uid(entropy_srcs=[photometric, str(pixels.shape)])
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    image = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
    image.is_little_endian, image.is_implicit_VR = True, False
    image.SOPClassUID = meta.MediaStorageSOPClassUID
    image.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
    image.PatientName, image.PatientID = "Phantom^Drawn", "0"
    image.Rows, image.Columns = pixels.shape[:2]
    image.SamplesPerPixel = 1 if pixels.ndim == 2 else 3
    if image.SamplesPerPixel == 3:
        image.PlanarConfiguration = 0
    image.PhotometricInterpretation = photometric
    image.BitsAllocated = image.BitsStored = pixels.dtype.itemsize * 8
    image.HighBit = image.BitsStored - 1
    image.PixelRepresentation = int(pixels.dtype.kind == "i")
    image.PixelData = pixels.tobytes()
    image["PixelData"].VR = "OW" if pixels.dtype.itemsize > 1 else "OB"
    return image


def pack_bits(plane):
    """PackBits of one byte plane, row by row (PS3.5 Annex G)."""
    out = bytearray()
    for row in plane:
        row, position = bytes(row), 0
        while position < len(row):
            run = 1
            while run < 128 and position + run < len(row) and row[position + run] == row[position]:
                run += 1
            if run > 1:
                out += bytes((257 - run, row[position]))
            else:
                while (run < 128 and position + run < len(row) and
                       (position + run + 1 >= len(row) or row[position + run] != row[position + run + 1])):
                    run += 1
                out += bytes((run - 1,)) + row[position:position + run]
            position += run
    return bytes(out) + b"\0" * (len(out) % 2)


def rle(image, pixels):
    planes = pixels.reshape(pixels.shape[0], pixels.shape[1], -1).view(numpy.uint8)
    size = pixels.dtype.itemsize
    order = [sample * size + byte for sample in range(planes.shape[2] // size) for byte in reversed(range(size))]
    segments = [pack_bits(planes[..., k]) for k in order]
    offsets, position = [], 64
    for segment in segments:
        offsets.append(position)
        position += len(segment)
    header = numpy.zeros(16, "<u4")
    header[0], header[1:1 + len(offsets)] = len(offsets), offsets
    image.file_meta.TransferSyntaxUID = RLELossless
    image.PixelData = encapsulate([header.tobytes() + b"".join(segments)])
    image["PixelData"].VR = "OB"
    image["PixelData"].is_undefined_length = True
    return image


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    head, wheel = head_phantom(512), colour_wheel(384)
    images = {
        "phantom_native_16bit": data_set(head, "MONOCHROME2"),
        "phantom_rle_16bit": rle(data_set(head, "MONOCHROME2"), head),
        "wheel_rle_rgb": rle(data_set(wheel, "RGB"), wheel),
        "wheel_ybr_full": data_set(to_ybr_full(wheel), "YBR_FULL"),
    }
    for name, image in images.items():
        image.save_as(os.path.join(folder, name + ".dcm"), write_like_original=False)


if __name__ == "__main__":
    main()
