// SPDX-License-Identifier: Apache-2.0
package com.quorix.io;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.Objects;

/** A stream over bytes in memory: an array or the remaining bytes of a {@link ByteBuffer}, not copied. */
public class ByteBufferSeekableInputStream extends SeekableInputStream {
    private final ByteBuffer bytes;
    private long position;
    private boolean closed;

    /**
     * Creates a stream over an array.
     *
     * @param bytes the stream's content
     */
    public ByteBufferSeekableInputStream(byte[] bytes) {
        this(ByteBuffer.wrap(bytes));
    }

    /**
     * Creates a stream over the bytes between a buffer's position and its limit. The buffer's own position
     * stays where it is.
     *
     * @param bytes the stream's content
     */
    public ByteBufferSeekableInputStream(ByteBuffer bytes) {
        this.bytes = bytes.slice();
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
        Objects.checkFromIndexSize(offset, length, buffer.length);
        requireOpen();
        if (length == 0) {
            return 0;
        }
        if (position >= bytes.limit()) {
            return -1;
        }
        int count = (int) Math.min(length, bytes.limit() - position);
        bytes.get((int) position, buffer, offset, count);
        position += count;
        return count;
    }

    @Override
    public void seek(long position) throws IOException {
        requireOpen();
        if (position < 0) {
            throw new IOException("position " + position + " lies before the start");
        }
        this.position = position;
    }

    @Override
    public int skip(int count) throws IOException {
        requireOpen();
        int skipped = (int) Math.max(0, Math.min(count, bytes.limit() - position));
        position += skipped;
        return skipped;
    }

    @Override
    public long length() throws IOException {
        requireOpen();
        return bytes.limit();
    }

    @Override
    public long getFilePointer() throws IOException {
        requireOpen();
        return position;
    }

    @Override
    public void close() {
        closed = true;
    }

    private void requireOpen() throws IOException {
        if (closed) {
            throw new IOException("the stream is closed");
        }
    }
}
