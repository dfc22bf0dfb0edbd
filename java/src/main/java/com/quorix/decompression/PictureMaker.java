// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.awt.image.BufferedImage;
import java.awt.image.DataBuffer;
import java.awt.image.DataBufferByte;
import java.awt.image.DataBufferUShort;
import java.awt.image.PixelInterleavedSampleModel;
import java.awt.image.Raster;
import java.awt.image.WritableRaster;
import java.nio.ByteBuffer;
import java.util.function.LongToIntFunction;
import java.util.stream.IntStream;

/** Makes pictures and rasters of decoded images. It holds what it needs of the image, which may be closed meanwhile. */
final class PictureMaker {
    private final int columns;
    private final int rows;
    private final int samples;
    private final int bitsAllocated;
    private final int bitsStored;
    private final int highBit;
    private final boolean signed;
    private final boolean inverted;
    private final boolean grey;
    private final boolean colour;
    private final boolean planar;
    private final double slope;
    private final double intercept;
    private final ByteBuffer pixels;

    private PictureMaker(Renderable image) {
        columns = image.getColumns();
        rows = image.getRows();
        samples = image.getSamplesPerPixel();
        bitsAllocated = image.getBitsAllocated();
        signed = image.isSigned();
        planar = image.isPlanarConfiguration();
        int interpretation = image.getPhotometricInterpretation();
        inverted = interpretation == Renderable.getPitMonochrome1();
        grey = inverted || interpretation == Renderable.getPitMonochrome2();
        colour = interpretation == Renderable.getPitRgb();
        slope = image.getRescaleSlope();
        intercept = image.getRescaleIntercept();
        pixels = image.getPixelData();
        int stored = image.getBitsStored();
        int high = image.getHighBit();
        boolean countBits = !colour && bitsAllocated == 16 && stored >= 1 && stored <= 8 && high == stored - 1;
        bitsStored = countBits ? usedBits(stored) : stored;
        highBit = countBits ? bitsStored - 1 : high;
        check();
    }

    static PictureMaker of(Renderable image) {
        synchronized (image) {
            return new PictureMaker(image);
        }
    }

    private void check() {
        boolean fits = bitsAllocated == 8 || bitsAllocated == 16
                || samples == 1 && (bitsAllocated == 1 || bitsAllocated == 32);
        if (!fits || bitsStored < 1 || bitsStored > bitsAllocated
                || highBit < bitsStored - 1 || highBit >= bitsAllocated) {
            throw refusal();
        }
        if (rows < 1 || columns < 1 || samples < 1 || (long) rows * columns > Integer.MAX_VALUE / samples
                || ((long) samples * rows * columns * bitsAllocated + 7) / 8 > pixels.limit()) {
            throw new UnsupportedOperationException("the image has " + pixels.limit() + " bytes of pixels, not those "
                    + "of " + columns + " x " + rows + " with " + samples + " samples of " + bitsAllocated + " bits");
        }
    }

    private void checkPicture() {
        if (colour ? samples != 3 : !grey || samples != 1) {
            throw refusal();
        }
    }

    private UnsupportedOperationException refusal() {
        return new UnsupportedOperationException("no picture can be made of " + samples + " samples per pixel, "
                + bitsAllocated + " bits allocated, " + bitsStored + " stored, high bit " + highBit
                + " and this photometric interpretation");
    }

    /**
     * A frame that was found deeper than its data set says keeps bits stored of 8 and fewer: its samples are to be
     * seen whole. Otherwise what stands above the bits stored, an overlay for instance, is none of the value's.
     */
    private int usedBits(int stored) {
        int used = 0;
        for (int pixel = 0; pixel < pixels.limit() / 2; pixel++) {
            int sample = pixels.getShort(2 * pixel);
            boolean smallNegative = signed && sample >> (stored - 1) == -1;
            used |= smallNegative ? 0 : sample & 0xFFFF;
        }
        return Math.max(stored, Integer.SIZE - Integer.numberOfLeadingZeros(used));
    }

    BufferedImage makeFull() {
        checkPicture();
        if (colour) {
            return makeColour();
        }
        return bitsStored <= 8 ? makeGrey8(this::stretchedTo8) : makeGrey16();
    }

    BufferedImage makeWindowed(double center, double width) {
        checkPicture();
        return colour ? makeColour() : makeGrey8(value -> windowed(value * slope + intercept, center, width));
    }

    /** The stored values, bands interleaved, in the least type that holds the sign as well. */
    WritableRaster makeRaster() {
        int type = bitsStored > 16 ? DataBuffer.TYPE_INT : signed ? DataBuffer.TYPE_SHORT
                : bitsStored > 8 ? DataBuffer.TYPE_USHORT : DataBuffer.TYPE_BYTE;
        int[] offsets = IntStream.range(0, samples).toArray();
        WritableRaster raster = Raster.createWritableRaster(
                new PixelInterleavedSampleModel(type, columns, rows, samples, samples * columns, offsets), null);
        DataBuffer target = raster.getDataBuffer();
        int count = rows * columns;
        for (int band = 0; band < samples; band++) {
            for (int pixel = 0; pixel < count; pixel++) {
                int source = planar ? band * count + pixel : pixel * samples + band;
                target.setElem(pixel * samples + band, (int) valueOf(bitsOf(source)));
            }
        }
        return raster;
    }

    /** Interleaved as Java wants it: blue, green, red. */
    private BufferedImage makeColour() {
        BufferedImage picture = new BufferedImage(columns, rows, BufferedImage.TYPE_3BYTE_BGR);
        byte[] target = ((DataBufferByte) picture.getRaster().getDataBuffer()).getData();
        int count = rows * columns;
        int pixelStep = planar ? 1 : 3;
        int sampleStep = planar ? count : 1;
        for (int pixel = 0; pixel < count; pixel++) {
            int source = pixel * pixelStep;
            target[3 * pixel] = colourOf(source + 2 * sampleStep);
            target[3 * pixel + 1] = colourOf(source + sampleStep);
            target[3 * pixel + 2] = colourOf(source);
        }
        return picture;
    }

    /** A byte as it is, a deeper sample stretched to one. */
    private byte colourOf(int sample) {
        return bitsAllocated == 8 ? pixels.get(sample) : (byte) stretchedTo8(Integer.toUnsignedLong(bitsOf(sample)));
    }

    private BufferedImage makeGrey8(LongToIntFunction toGrey) {
        BufferedImage picture = new BufferedImage(columns, rows, BufferedImage.TYPE_BYTE_GRAY);
        byte[] target = ((DataBufferByte) picture.getRaster().getDataBuffer()).getData();
        byte[] table = new byte[bitsStored <= 16 ? 1 << bitsStored : 0];
        for (int bits = 0; bits < table.length; bits++) {
            table[bits] = (byte) toGrey.applyAsInt(valueOf(bits));
        }
        for (int pixel = 0; pixel < target.length; pixel++) {
            int bits = bitsOf(pixel);
            target[pixel] = table.length > 0 ? table[bits] : (byte) toGrey.applyAsInt(valueOf(bits));
        }
        return picture;
    }

    private BufferedImage makeGrey16() {
        BufferedImage picture = new BufferedImage(columns, rows, BufferedImage.TYPE_USHORT_GRAY);
        short[] target = ((DataBufferUShort) picture.getRaster().getDataBuffer()).getData();
        for (int pixel = 0; pixel < target.length; pixel++) {
            target[pixel] = (short) stretched(valueOf(bitsOf(pixel)), 65535);
        }
        return picture;
    }

    /** The bits of a sample that carry its value, without what may stand above and below them. */
    private int bitsOf(int index) {
        return sampleAt(index) << (31 - highBit) >>> (32 - bitsStored);
    }

    /** Single bits are packed, the first in the lowest bit of a byte. */
    private int sampleAt(int index) {
        return switch (bitsAllocated) {
            case 1 -> pixels.get(index / 8) >> index % 8;
            case 8 -> pixels.get(index);
            case 16 -> pixels.getShort(2 * index);
            default -> pixels.getInt(4 * index);
        };
    }

    private long valueOf(int bits) {
        int unused = 32 - bitsStored;
        return signed ? bits << unused >> unused : Integer.toUnsignedLong(bits);
    }

    private int stretchedTo8(long value) {
        return stretched(value, 255);
    }

    /** From the range of the bits stored to 0 … white, rounded to nearest. */
    private int stretched(long value, int white) {
        long most = (1L << bitsStored) - 1;
        long aboveLeast = signed ? value + (1L << (bitsStored - 1)) : value;
        int grey = (int) ((aboveLeast * white + most / 2) / most);
        return inverted ? white - grey : grey;
    }

    /** The linear window function of DICOM PS3.3 C.11.2.1.2.1. */
    private int windowed(double value, double center, double width) {
        double fraction = width == 1.0 ? (value <= center - 0.5 ? 0.0 : 1.0)
                : (value - (center - 0.5)) / (width - 1.0) + 0.5;
        int grey = (int) Math.round(255.0 * Math.max(0.0, Math.min(1.0, fraction)));
        return inverted ? 255 - grey : grey;
    }
}
