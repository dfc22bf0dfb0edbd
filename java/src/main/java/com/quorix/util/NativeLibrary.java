// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

/**
 * Loads the native library, once for all classes that need it.
 *
 * <p>Tried in this order: what the system property {@value #PATH_PROPERTY} names (the library's file or the
 * folder that holds it), the JVM's {@code java.library.path}, and the copy inside the jar, which is
 * unpacked to a folder of the user's own below {@code java.io.tmpdir}.
 */
public final class NativeLibrary {
    /** Name of the system property that holds the library's path. */
    public static final String PATH_PROPERTY = "quorix.library.path";

    private static boolean loaded;

    private NativeLibrary() {
    }

    /**
     * Loads the library unless it is loaded already.
     *
     * @throws UnsatisfiedLinkError if it cannot be loaded; the text names the system and what was tried
     */
    public static synchronized void load() {
        if (!loaded) {
            new NativeLibraryLoader(System::load, System::loadLibrary).load();
            loaded = true;
        }
    }
}
