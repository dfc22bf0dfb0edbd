// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.io.IOException;

/** Hears of every read of a decoding, on its thread, and may end it by an exception. */
@FunctionalInterface
interface ReadWatcher {
    ReadWatcher NONE = bytesRead -> { };

    /** Called before each read with the number of bytes read so far. */
    void beforeRead(long bytesRead) throws IOException;
}
