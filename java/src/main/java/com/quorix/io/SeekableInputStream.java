// SPDX-License-Identifier: Apache-2.0
package com.quorix.io;

import java.io.Closeable;
import java.io.IOException;

/**
 * A byte stream with a position that can be set, as the native library reads it.
 *
 * <p>One stream belongs to one decoding call, on the calling thread. The native side reads through its own
 * buffer of 16384 bytes, so that a further buffer here gains nothing.
 */
public abstract class SeekableInputStream implements Closeable {
    /** Creates a stream; for subclasses. */
    protected SeekableInputStream() {
    }

    /**
     * Reads bytes at the present position and moves behind them.
     *
     * @param buffer where the bytes go
     * @param offset index of the first byte in the buffer
     * @param length most bytes to read
     * @return the number of bytes read (0 only for length 0, or when the caller shall simply ask again, which
     *     {@link com.quorix.decompression.Decompressor} does until its thread is interrupted), or a negative value at
     *     the end of the stream
     * @throws IOException if reading fails
     */
    public abstract int read(byte[] buffer, int offset, int length) throws IOException;

    /**
     * Moves to a position. A position behind the end is allowed; reading there finds the end.
     *
     * @param position bytes from the start
     * @throws IOException if the position cannot be set
     */
    public abstract void seek(long position) throws IOException;

    /**
     * Moves forward.
     *
     * @param count bytes to skip
     * @return the number of bytes skipped, fewer than asked for at the end of the stream
     * @throws IOException if skipping fails
     */
    public abstract int skip(int count) throws IOException;

    /**
     * Returns the stream's length. It is asked once for a single image or a bare codestream, and may be out of
     * date: where the stream ends, {@link #read} says.
     *
     * @return the length in bytes
     * @throws IOException if it cannot be told; read by contract, the decoding of an image fails then
     */
    public abstract long length() throws IOException;

    /**
     * Returns the present position.
     *
     * @return bytes from the start
     * @throws IOException if it cannot be told
     */
    public abstract long getFilePointer() throws IOException;

    /**
     * Closes the stream; a second close does nothing.
     *
     * @throws IOException if closing fails
     */
    @Override
    public abstract void close() throws IOException;
}
