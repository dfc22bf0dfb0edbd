// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

/** A piece of compressed data on its way through an {@link InputBufferQueue}. */
public interface InputBuffer {
    /**
     * Returns how many bytes the buffer holds.
     *
     * @return the number of valid bytes
     */
    int getBytesAvailable();
}
