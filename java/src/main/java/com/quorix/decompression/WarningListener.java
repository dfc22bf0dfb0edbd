// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/** Hears what is in doubt about images as they are decoded. */
@FunctionalInterface
public interface WarningListener {
    /**
     * Takes one warning, on the thread that decodes, before the image it speaks of is handed out; also when
     * there will be none, because decoding fails. An exception ends the decoding and reaches the caller.
     *
     * @param warning the warning
     */
    void warningNoticed(DecodeWarning warning);
}
