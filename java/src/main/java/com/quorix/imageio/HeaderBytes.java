// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.io.EOFException;
import java.io.IOException;
import java.util.Arrays;

/** Big-endian numbers of a codestream's or file's headers. */
final class HeaderBytes {
    private final ImageInput in;
    private long position;

    HeaderBytes(ImageInput in) {
        this.in = in;
    }

    /** As many bytes as there are of so many, from the start; the position is the start afterwards. */
    byte[] start(int count) throws IOException {
        byte[] bytes = new byte[count];
        in.seek(0);
        int total = in.readFully(bytes);
        seek(0);
        return total == count ? bytes : Arrays.copyOf(bytes, total);
    }

    long position() {
        return position;
    }

    void seek(long newPosition) throws IOException {
        position = newPosition;
        in.seek(position);
    }

    int u8() throws IOException {
        return (int) number(1);
    }

    int u16() throws IOException {
        return (int) number(2);
    }

    long u32() throws IOException {
        return number(4);
    }

    /** May come out negative, as no length of ours can. */
    long u64() throws IOException {
        return number(8);
    }

    private long number(int count) throws IOException {
        byte[] bytes = new byte[count];
        if (in.readFully(bytes) < count) {
            throw new EOFException("the stream ends inside a header");
        }
        position += count;
        long number = 0;
        for (byte part : bytes) {
            number = number << 8 | part & 0xFF;
        }
        return number;
    }
}
