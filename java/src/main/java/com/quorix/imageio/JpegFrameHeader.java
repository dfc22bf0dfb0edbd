// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.io.IOException;

/**
 * What the frame header of a JPEG or JPEG-LS codestream says.
 *
 * @param marker the second byte of its marker, which tells the process
 * @param rows 0 where the scans tell
 */
record JpegFrameHeader(int marker, int bits, int rows, int columns, int components) {
    private static final int SOI = 0xD8;
    private static final int EOI = 0xD9;
    private static final int SOS = 0xDA;
    private static final int TEM = 0x01;
    private static final int LOSSLESS = 0xC3;
    private static final int SOF_LS = 0xF7;
    /** More than any stream has before its frame header; one of nothing else is given up. */
    private static final int MOST_MARKERS = 10_000;

    static boolean beginsWith(byte[] start) {
        return start.length > 2 && (start[0] & 0xFF) == 0xFF && (start[1] & 0xFF) == SOI && (start[2] & 0xFF) == 0xFF;
    }

    boolean isJpegLs() {
        return marker == SOF_LS;
    }

    /**
     * Whether it is a process that our codecs have and Java's own reader does not: the lossless one, or 12 bits of a
     * sequential or progressive one.
     */
    boolean isForUs() {
        boolean hasDct = marker >= 0xC0 && marker <= 0xC2;
        return (marker == LOSSLESS || hasDct && bits == 12) && (components == 1 || components == 3);
    }

    /** The first frame header behind the start, or null where there is none before the scans. */
    static JpegFrameHeader read(HeaderBytes in) throws IOException {
        in.seek(2);
        for (int i = 0; i < MOST_MARKERS && in.u8() == 0xFF; i++) {
            int marker = in.u8();
            if (marker == EOI || marker == SOS) {
                return null;
            }
            if (isFrameHeader(marker)) {
                in.u16();
                int bits = in.u8();
                int rows = in.u16();
                return new JpegFrameHeader(marker, bits, rows, in.u16(), in.u8());
            }
            if (marker == 0xFF) {
                in.seek(in.position() - 1); // the first was to fill up
            } else if (!isAlone(marker)) {
                long start = in.position();
                in.seek(start + Math.max(2, in.u16()));
            }
        }
        return null;
    }

    /** DHT, JPG and DAC lie among the frame headers. */
    private static boolean isFrameHeader(int marker) {
        boolean isOther = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
        return marker == SOF_LS || marker >= 0xC0 && marker <= 0xCF && !isOther;
    }

    private static boolean isAlone(int marker) {
        return marker == TEM || marker >= 0xD0 && marker <= SOI;
    }

    ImageLayout layout() {
        return new ImageLayout(columns, rows, components > 1, bits, false);
    }
}
