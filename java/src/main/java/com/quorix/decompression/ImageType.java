// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.util.Arrays;

/** Kinds of compressed input. */
public enum ImageType {
    /** Found out from the first bytes; not for queues. */
    AUTOMATIC(0),
    /** A JPEG codestream. Unless files are read by contract, it may be a JPEG-LS one: its frame header tells. */
    JPEG(NDecompressor.TYPE_JPEG),
    /** A JPEG-LS codestream; none by contract. */
    JPEG_LS(NDecompressor.TYPE_JPEGLS),
    /** A JPEG 2000 codestream or JP2 file. */
    JPEG2000(NDecompressor.TYPE_JPEG2000),
    /** A JPEG 2000 codestream or JP2 file that is known to be without loss. */
    JPEG2000_LOSSLESS(NDecompressor.TYPE_JPEG2000_LOSSLESS),
    /** A DICOM Part 10 stream; not for queues. */
    DICOM(NDecompressor.TYPE_DICOM);

    /** So many bytes of a stream are enough to tell its type. */
    static final int START_LENGTH = 132;

    private final int code;

    ImageType(int code) {
        this.code = code;
    }

    int code() {
        return code;
    }

    /** The type that a stream's first bytes tell; whatever is no bare codestream is taken for DICOM. */
    static ImageType of(byte[] start, int count) {
        int code = DecodeRun.findType(start, count);
        return Arrays.stream(values()).filter(type -> type.code == code).findFirst().orElse(DICOM);
    }
}
