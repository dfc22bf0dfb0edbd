// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.file.*;
import java.util.List;
import java.util.stream.*;

/**
 * Where tests find what is not made by themselves. Methods that return something outside the build skip
 * the calling test, with a message, where it is missing.
 */
public final class Places {
    private static final Path PYDICOM = Path.of("/usr/lib/python3/dist-packages/pydicom/data/test_files");

    private Places() {
    }

    /** The command-line program. */
    public static Path tool() {
        String tool = System.getProperty("quorix.test.tool", "");
        assumeTrue(!tool.isEmpty(), "quorix-decompress was not built");
        return Path.of(tool);
    }

    /** The folder of sample images. */
    public static Path samples() {
        Path folder = Path.of(System.getProperty("quorix.test.samples", ""));
        assumeTrue(Files.isDirectory(folder.resolve("dicom")), "no sample images at " + folder);
        return folder;
    }

    /** A DICOM file that comes with pydicom. */
    public static Path pydicom(String name) {
        Path file = PYDICOM.resolve(name);
        assumeTrue(Files.isRegularFile(file), "no " + file);
        return file;
    }

    /** All files below a folder, in a fixed order. */
    public static List<Path> filesBelow(Path folder) throws IOException {
        try (Stream<Path> files = Files.walk(folder)) {
            return files.filter(Files::isRegularFile).sorted().collect(Collectors.toList());
        }
    }
}
