// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.util.Arrays;
import java.util.HexFormat;

/** Kinds of compressed input. */
public enum ImageType {
    /** Found out from the first bytes; not for queues. */
    AUTOMATIC(0),
    /** A JPEG codestream. Unless files are read by contract, it may be a JPEG-LS one: its frame header tells. */
    JPEG(NDecompressor.TYPE_JPEG, "FFD8FF"),
    /** A JPEG-LS codestream; none by contract. */
    JPEG_LS(NDecompressor.TYPE_JPEGLS),
    /** A JPEG 2000 codestream or JP2 file. */
    JPEG2000(NDecompressor.TYPE_JPEG2000, "FF4FFF51", "0000000C6A5020200D0A870A"),
    /** A JPEG 2000 codestream or JP2 file that is known to be without loss. */
    JPEG2000_LOSSLESS(NDecompressor.TYPE_JPEG2000_LOSSLESS),
    /** A DICOM Part 10 stream; not for queues. */
    DICOM(NDecompressor.TYPE_DICOM);

    /** So many bytes of a stream are enough to tell its type. */
    static final int START_LENGTH = 132;

    private static final int PREAMBLE_LENGTH = 128;
    private static final byte[] DICM = {'D', 'I', 'C', 'M'};

    private final int code;
    private final byte[][] starts;

    /** The same as in the library's table of codecs: code and, in hexadecimal, what such streams begin with. */
    ImageType(int code, String... starts) {
        this.code = code;
        this.starts = Arrays.stream(starts).map(HexFormat.of()::parseHex).toArray(byte[][]::new);
    }

    int code() {
        return code;
    }

    /** The type that a stream's first bytes tell; whatever is no bare codestream is taken for DICOM. */
    static ImageType of(byte[] start, int count) {
        // The preamble may hold anything, the start of another kind of file included: look behind it first.
        if (count >= START_LENGTH && Arrays.equals(start, PREAMBLE_LENGTH, START_LENGTH, DICM, 0, DICM.length)) {
            return DICOM;
        }
        for (ImageType type : values()) {
            for (byte[] wanted : type.starts) {
                if (count >= wanted.length && Arrays.equals(start, 0, wanted.length, wanted, 0, wanted.length)) {
                    return type;
                }
            }
        }
        return DICOM;
    }
}
