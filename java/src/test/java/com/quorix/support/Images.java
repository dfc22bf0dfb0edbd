// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assertions.assertDoesNotThrow;

import com.quorix.decompression.*;
import com.quorix.io.ByteBufferSeekableInputStream;
import java.nio.ByteBuffer;

/** Decoded images for tests, made from files in memory, and their pixels as an array. */
public final class Images {
    private Images() {
    }

    public static Renderable decode(DicomFile file) {
        return assertDoesNotThrow(() -> Decompressor.decode(new ByteBufferSeekableInputStream(file.toBytes()),
                DecodeOptions.DEFAULT));
    }

    /** An 8-bit grey gradient. */
    public static Renderable grey8(int columns, int rows) {
        return decode(DicomFile.grey8(columns, rows).nativeFrames(1, Compressed.gradient8(columns, rows, 0)));
    }

    public static byte[] pixelsOf(Renderable image) {
        ByteBuffer buffer = image.getPixelData();
        byte[] pixels = new byte[buffer.remaining()];
        buffer.get(pixels);
        return pixels;
    }
}
