// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.Renderable;
import com.quorix.io.ByteBufferSeekableInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;

/** Decoded images for tests, made from files in memory, and their pixels as an array. */
public final class Images {
    private Images() {
    }

    public static Renderable decode(DicomFile file) throws IOException {
        return decode(file, DecodeOptions.DEFAULT);
    }

    public static Renderable decode(DicomFile file, DecodeOptions options) throws IOException {
        return Decompressor.decode(new ByteBufferSeekableInputStream(file.toBytes()), options);
    }

    /** An 8-bit grey gradient. */
    public static Renderable grey8(int columns, int rows) throws IOException {
        byte[] pixels = Compressed.gradient8(columns, rows, 0);
        return decode(DicomFile.grey8(columns, rows).nativeFrames(1, pixels));
    }

    public static byte[] pixelsOf(Renderable image) {
        ByteBuffer buffer = image.getPixelData();
        byte[] pixels = new byte[buffer.remaining()];
        buffer.get(pixels);
        return pixels;
    }
}
