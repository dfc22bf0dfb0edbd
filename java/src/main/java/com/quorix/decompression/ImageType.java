// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.util.Arrays;

/** Kinds of compressed input. */
public enum ImageType {
    /** Found out from the first bytes; not for queues. */
    AUTOMATIC(0),
    /** A JPEG codestream. */
    JPEG(NDecompressor.TYPE_JPEG),
    /** A JPEG 2000 codestream or JP2 file. */
    JPEG2000(NDecompressor.TYPE_JPEG2000),
    /** A JPEG 2000 codestream or JP2 file that is known to be without loss. */
    JPEG2000_LOSSLESS(NDecompressor.TYPE_JPEG2000_LOSSLESS),
    /** A DICOM Part 10 stream; not for queues. */
    DICOM(NDecompressor.TYPE_DICOM);

    private static final byte[] JP2_SIGNATURE = {0, 0, 0, 12, 'j', 'P', ' ', ' '};

    private final int code;

    ImageType(int code) {
        this.code = code;
    }

    int code() {
        return code;
    }

    /** The type that a stream's first bytes tell; whatever is no bare codestream is taken for DICOM. */
    static ImageType of(byte[] start, int count) {
        if (count >= 3 && startsWith(start, new byte[] {(byte) 0xFF, (byte) 0xD8, (byte) 0xFF})) {
            return JPEG;
        }
        boolean isCodestream = count >= 4
                && startsWith(start, new byte[] {(byte) 0xFF, 0x4F, (byte) 0xFF, 0x51});
        boolean isBoxed = count >= JP2_SIGNATURE.length && startsWith(start, JP2_SIGNATURE);
        return isCodestream || isBoxed ? JPEG2000 : DICOM;
    }

    private static boolean startsWith(byte[] bytes, byte[] start) {
        return Arrays.equals(bytes, 0, start.length, start, 0, start.length);
    }
}
