// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.Arrays;

/** Finds the codestream of a JP2 or JPH file and reads the image's size in it. */
final class Jpeg2000Header {
    private static final long SOC_SIZ = 0xFF4FFF51L;
    private static final byte[] SIGNATURE_BOX = {0, 0, 0, 12, 'j', 'P', ' ', ' ', '\r', '\n', (byte) 0x87, '\n'};
    private static final long HEADER_BOX = 0x6A703268;
    private static final long PALETTE_BOX = 0x70636C72;
    private static final long CODESTREAM_BOX = 0x6A703263;
    /** More boxes than any file has before its codestream; a file of nothing else is given up. */
    private static final int MOST_BOXES = 1000;

    private final HeaderBytes in;
    private boolean palette;

    private Jpeg2000Header(HeaderBytes in) {
        this.in = in;
    }

    static boolean beginsWith(byte[] start) {
        return isCodestream(start) || start.length >= SIGNATURE_BOX.length
                && Arrays.equals(start, 0, SIGNATURE_BOX.length, SIGNATURE_BOX, 0, SIGNATURE_BOX.length);
    }

    private static boolean isCodestream(byte[] start) {
        return start.length >= 4 && ByteBuffer.wrap(start).getInt() == (int) SOC_SIZ;
    }

    /** The layout, or null where the headers do not tell. */
    static ImageLayout read(HeaderBytes in) throws IOException {
        Jpeg2000Header header = new Jpeg2000Header(in);
        long codestream = isCodestream(in.start(4)) ? 0 : header.findCodestream();
        return codestream < 0 ? null : header.readSize(codestream);
    }

    private long findCodestream() throws IOException {
        long position = 0;
        for (int i = 0; i < MOST_BOXES; i++) {
            in.seek(position);
            long length = in.u32();
            long type = in.u32();
            length = length == 1 ? in.u64() : length;
            if (type == CODESTREAM_BOX) {
                return in.position();
            }
            palette |= type == PALETTE_BOX;
            if (type == HEADER_BOX) {
                position = in.position(); // the boxes in it are passed like those beside it
                continue;
            }
            if (length < 8) {
                break;
            }
            position += length;
        }
        return -1;
    }

    private ImageLayout readSize(long codestream) throws IOException {
        in.seek(codestream);
        if (in.u32() != SOC_SIZ) {
            return null;
        }
        in.u32(); // the segment's length and the capabilities
        long right = in.u32();
        long bottom = in.u32();
        long left = in.u32();
        long top = in.u32();
        in.seek(in.position() + 16); // the tiles
        int components = in.u16();
        int depth = in.u8();
        int stepX = Math.max(1, in.u8());
        int stepY = Math.max(1, in.u8());
        long width = steps(right, stepX) - steps(left, stepX);
        long height = steps(bottom, stepY) - steps(top, stepY);
        int most = Integer.MAX_VALUE;
        return width > most || height > most ? null
                : new ImageLayout((int) width, (int) height, palette || components > 2, (depth & 0x7F) + 1, true);
    }

    private static long steps(long coordinate, int step) {
        return (coordinate + step - 1) / step;
    }
}
