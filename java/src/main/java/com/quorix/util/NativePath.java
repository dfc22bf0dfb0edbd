// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;

/** File names as the native library takes them. */
public final class NativePath {
    private static final Charset FILE_NAMES = fileNameCharset();

    private NativePath() {
    }

    /**
     * Returns the text to hand to a native method that takes a file name. The native side makes one byte of
     * each character; this text is made so that these bytes are the ones by which the operating system
     * knows the file, whatever letters its name has.
     *
     * @param file the file
     * @return the text
     */
    public static String of(Path file) {
        return new String(file.toString().getBytes(FILE_NAMES), StandardCharsets.ISO_8859_1);
    }

    private static Charset fileNameCharset() {
        String name = System.getProperty("sun.jnu.encoding", "UTF-8");
        return Charset.isSupported(name) ? Charset.forName(name) : StandardCharsets.UTF_8;
    }
}
