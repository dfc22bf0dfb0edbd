// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import com.quorix.decompression.Renderable;
import java.nio.ByteBuffer;

/** A copy of an image's pixels. */
final class Pixels {
    private Pixels() {
    }

    static byte[] bytes(Renderable image) {
        ByteBuffer buffer = image.getPixelData();
        byte[] bytes = new byte[buffer.remaining()];
        buffer.get(bytes);
        return bytes;
    }
}
