// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.awt.image.BufferedImage;
import java.awt.image.DataBufferByte;
import java.awt.image.DataBufferUShort;
import java.nio.ByteBuffer;
import java.util.function.IntUnaryOperator;

/** Makes pictures of decoded images. It holds what it needs of the image, which may be closed meanwhile. */
final class PictureMaker {
    private final int columns;
    private final int rows;
    private final int bitsAllocated;
    private final int bitsStored;
    private final int highBit;
    private final boolean signed;
    private final boolean inverted;
    private final boolean colour;
    private final boolean planar;
    private final ByteBuffer pixels;

    private PictureMaker(Renderable image) {
        columns = image.getColumns();
        rows = image.getRows();
        bitsAllocated = image.getBitsAllocated();
        signed = image.isSigned();
        planar = image.isPlanarConfiguration();
        int interpretation = image.getPhotometricInterpretation();
        inverted = interpretation == Renderable.getPitMonochrome1();
        colour = interpretation == Renderable.getPitRgb();
        pixels = image.getPixelData();
        int stored = image.getBitsStored();
        int high = image.getHighBit();
        boolean countBits = !colour && bitsAllocated == 16 && stored >= 1 && stored <= 8 && high == stored - 1;
        bitsStored = countBits ? usedBits(stored) : stored;
        highBit = countBits ? bitsStored - 1 : high;
        check(image.getSamplesPerPixel(), inverted || interpretation == Renderable.getPitMonochrome2());
    }

    static PictureMaker of(Renderable image) {
        synchronized (image) {
            return new PictureMaker(image);
        }
    }

    private void check(int samplesPerPixel, boolean grey) {
        boolean fits = colour ? samplesPerPixel == 3 : grey && samplesPerPixel == 1;
        if (!fits || bitsAllocated != 8 && bitsAllocated != 16 || bitsStored < 1 || bitsStored > bitsAllocated
                || highBit < bitsStored - 1 || highBit >= bitsAllocated) {
            throw new UnsupportedOperationException("no picture can be made of " + samplesPerPixel
                    + " samples per pixel, " + bitsAllocated + " bits allocated, " + bitsStored
                    + " stored, high bit " + highBit + " and this photometric interpretation");
        }
        long needed = (long) samplesPerPixel * (bitsAllocated / 8) * rows * columns;
        if (rows < 1 || columns < 1 || (long) rows * columns > Integer.MAX_VALUE || needed > pixels.limit()) {
            throw new UnsupportedOperationException(
                    "the image has " + pixels.limit() + " bytes of pixels, not " + needed);
        }
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
        if (colour) {
            return makeColour();
        }
        return bitsStored <= 8 ? makeGrey8(this::stretchedTo8) : makeGrey16();
    }

    BufferedImage makeWindowed(double center, double width) {
        return colour ? makeColour() : makeGrey8(value -> windowed(value, center, width));
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
        return bitsAllocated == 8 ? pixels.get(sample) : (byte) stretchedTo8(bitsOf(sample));
    }

    private BufferedImage makeGrey8(IntUnaryOperator toGrey) {
        BufferedImage picture = new BufferedImage(columns, rows, BufferedImage.TYPE_BYTE_GRAY);
        byte[] target = ((DataBufferByte) picture.getRaster().getDataBuffer()).getData();
        byte[] table = new byte[1 << bitsStored];
        for (int bits = 0; bits < table.length; bits++) {
            table[bits] = (byte) toGrey.applyAsInt(valueOf(bits));
        }
        for (int pixel = 0; pixel < target.length; pixel++) {
            target[pixel] = table[bitsOf(pixel)];
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
    private int bitsOf(int pixel) {
        int sample = bitsAllocated == 8 ? pixels.get(pixel) : pixels.getShort(2 * pixel);
        return sample >> (highBit + 1 - bitsStored) & (1 << bitsStored) - 1;
    }

    private int valueOf(int bits) {
        return signed && bits >> (bitsStored - 1) != 0 ? bits - (1 << bitsStored) : bits;
    }

    private int stretchedTo8(int value) {
        return stretched(value, 255);
    }

    /** From the range of the bits stored to 0 … white, rounded to nearest. */
    private int stretched(int value, int white) {
        long most = (1L << bitsStored) - 1;
        long aboveLeast = signed ? value + (1L << (bitsStored - 1)) : value;
        int grey = (int) ((aboveLeast * white + most / 2) / most);
        return inverted ? white - grey : grey;
    }

    /** The linear window function of DICOM PS3.3 C.11.2.1.2.1. */
    private int windowed(int value, double center, double width) {
        double fraction = width == 1.0 ? (value <= center - 0.5 ? 0.0 : 1.0)
                : (value - (center - 0.5)) / (width - 1.0) + 0.5;
        int grey = (int) Math.round(255.0 * Math.max(0.0, Math.min(1.0, fraction)));
        return inverted ? 255 - grey : grey;
    }
}
