// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.function.Consumer;

/** The places where the native library may be, tried one after the other. */
final class NativeLibraryLoader {
    static final String NAME = "QuorixDecompLib";
    private static final String RESOURCES = "/com/quorix/native/";

    private final Consumer<String> loadFile;
    private final Consumer<String> loadByName;
    private final List<String> tried = new ArrayList<>();

    /** Takes the two ways of loading: by a file's absolute path and by name. */
    NativeLibraryLoader(Consumer<String> loadFile, Consumer<String> loadByName) {
        this.loadFile = loadFile;
        this.loadByName = loadByName;
    }

    void load() {
        if (!loadFromProperty() && !loadFromLibraryPath() && !loadFromJar()) {
            throw new UnsatisfiedLinkError("Cannot load the native library " + NAME + " on "
                    + System.getProperty("os.name") + ", " + System.getProperty("os.arch") + ", "
                    + libc() + ". Tried:\n  " + String.join("\n  ", tried));
        }
    }

    private boolean loadFromProperty() {
        String place = "system property " + NativeLibrary.PATH_PROPERTY;
        String value = System.getProperty(NativeLibrary.PATH_PROPERTY);
        if (value == null || value.isEmpty()) {
            tried.add(place + ": not set");
            return false;
        }
        return attempt(place + " = " + value, () -> {
            Path path = Path.of(value).toAbsolutePath();
            Path file = Files.isDirectory(path) ? path.resolve(System.mapLibraryName(NAME)) : path;
            loadFile.accept(file.toString());
        });
    }

    private boolean loadFromLibraryPath() {
        return attempt("java.library.path", () -> loadByName.accept(NAME));
    }

    private boolean loadFromJar() {
        String resource = RESOURCES + platform() + "/" + System.mapLibraryName(NAME);
        return attempt("copy in the jar, " + resource, () -> {
            byte[] content = readResource(resource);
            String version =
                    new String(readResource(RESOURCES + "version"), StandardCharsets.US_ASCII).trim();
            Path folder = Path.of(System.getProperty("java.io.tmpdir"));
            loadFile.accept(new NativeLibraryUnpacker(folder).unpack(content, version).toString());
        });
    }

    private boolean attempt(String place, Attempt attempt) {
        try {
            attempt.run();
            return true;
        } catch (IOException | UnsatisfiedLinkError | RuntimeException failure) {
            tried.add(place + ": " + failure);
            return false;
        }
    }

    private static byte[] readResource(String name) throws IOException {
        try (InputStream in = NativeLibraryLoader.class.getResourceAsStream(name)) {
            if (in == null) {
                throw new IOException("there is no " + name + " on the class path");
            }
            return in.readAllBytes();
        }
    }

    /** The folder of this platform's copy, such as linux-x86_64. */
    static String platform() {
        String system = System.getProperty("os.name").toLowerCase(Locale.ROOT).replace(' ', '_');
        String architecture = System.getProperty("os.arch");
        return system + "-" + (architecture.equals("amd64") ? "x86_64" : architecture);
    }

    /** Which C library this JVM runs on, read from the files mapped into it. */
    static String libc() {
        try {
            String maps = Files.readString(Path.of("/proc/self/maps"), StandardCharsets.ISO_8859_1);
            if (maps.contains("/ld-musl-")) {
                return "musl";
            }
            return maps.contains("/libc.so.6") || maps.contains("/libc-2.") ? "glibc" : "unknown libc";
        } catch (IOException exception) {
            return "unknown libc";
        }
    }

    private interface Attempt {
        void run() throws IOException;
    }
}
