// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.io.IOException;

/** A decompression that failed, with the native library's result code and message. */
public class DecompressionException extends IOException {
    /** Result code of a decompression that was interrupted. */
    public static final int INTERRUPTED = 63;

    private static final long serialVersionUID = 1L;

    /** The result code. */
    private final int code;
    /** The operating system's error code. */
    private final int systemError;

    /**
     * Creates an exception.
     *
     * @param code the result code
     * @param systemError the operating system's error code, or 0
     * @param message what happened, in words
     */
    public DecompressionException(int code, int systemError, String message) {
        super(message);
        this.code = code;
        this.systemError = systemError;
    }

    /** {@return the result code, never 0} */
    public int getCode() {
        return code;
    }

    /** {@return the operating system's error code, or 0} */
    public int getSystemError() {
        return systemError;
    }

    @Override
    public String toString() {
        return getClass().getName() + ": " + getMessage() + " (code " + code + ")";
    }
}
