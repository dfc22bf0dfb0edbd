// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.util.Objects;

/**
 * A buffer over a byte array, valid from index 0 on. It is the one kind of buffer that the native library
 * takes from a queue. Not thread-safe: it belongs to the producer, then to the queue, then to the consumer,
 * and to the producer again once completed.
 */
public class ByteArrayInputBuffer implements InputBuffer {
    private final byte[] array;
    private int bytesAvailable;

    /**
     * Creates a buffer over all bytes of an array.
     *
     * @param array the bytes, not copied
     */
    public ByteArrayInputBuffer(byte[] array) {
        this(array, array.length);
    }

    /**
     * Creates a buffer over the first bytes of an array.
     *
     * @param array the bytes, not copied
     * @param bytesAvailable number of valid bytes
     */
    public ByteArrayInputBuffer(byte[] array, int bytesAvailable) {
        this.array = Objects.requireNonNull(array, "array");
        setBytesAvailable(bytesAvailable);
    }

    /**
     * Returns the array.
     *
     * @return the array itself, not a copy
     */
    public byte[] getArray() {
        return array;
    }

    @Override
    public int getBytesAvailable() {
        return bytesAvailable;
    }

    /**
     * Sets the number of valid bytes after the array was filled anew.
     *
     * @param bytesAvailable from 0 to the array's length
     */
    public final void setBytesAvailable(int bytesAvailable) {
        Objects.checkFromToIndex(0, bytesAvailable, array.length);
        this.bytesAvailable = bytesAvailable;
    }
}
