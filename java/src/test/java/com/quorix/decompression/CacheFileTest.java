// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.support.ChildJvm;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.Images;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Arrays;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class CacheFileTest {
    private static final int COLUMNS = 640;
    private static final int ROWS = 480;

    @TempDir
    Path folder;

    private static Renderable image(int seed) throws IOException {
        return Images.decode(DicomFile.grey16(COLUMNS, ROWS).bitsStored(12, false)
                .nativeFrames(1, Compressed.gradient16(COLUMNS, ROWS, seed)));
    }

    @Test
    void anImageComesBack() throws IOException {
        Path file = folder.resolve("Schnitt α.rend");
        try (Renderable saved = image(1); Renderable loaded = new Renderable()) {
            saved.saveToFile(file);
            assertTrue(loaded.loadFromFile(file));
            assertEquals(ROWS, loaded.getRows());
            assertEquals(COLUMNS, loaded.getColumns());
            assertEquals(12, loaded.getBitsStored());
            assertEquals(saved.getPhotometricInterpretation(), loaded.getPhotometricInterpretation());
            assertArrayEquals(Images.pixelsOf(saved), Images.pixelsOf(loaded));
            assertTrue(loaded.getTotalTimeTakenToLoad() > 0);
            assertThrows(IOException.class, () -> loaded.loadFromFile(file), "an image with pixels takes no others");
            assertThrows(IOException.class, () -> saved.saveToFileLocked(folder.resolve("none/file.rend")));
        }
    }

    @Test
    void anUnfitScaleFactorIsNotLoaded() throws IOException {
        Path file = folder.resolve("reduced.rend");
        try (Renderable saved = image(1); Renderable loaded = new Renderable()) {
            saved.setScaleFactor(3);
            saved.saveToFileLocked(file);
            assertFalse(loaded.loadFromFile(file, 2));
            assertFalse(loaded.loadFromFile(file, -2));
            assertFalse(loaded.isPixelDataAllocated());
            assertTrue(loaded.loadFromFile(file, -3));
        }
    }

    /** Saves an image, again and again. */
    static final class Saving {
        private Saving() {
        }

        public static void main(String[] arguments) throws IOException {
            try (Renderable image = image(Integer.parseInt(arguments[1]))) {
                for (int i = 0; i < 100; i++) {
                    image.saveToFileLocked(Path.of(arguments[0]));
                }
            }
        }
    }

    /** Without locks the two images would mix in the file. */
    @Test
    void processesTakeTurns() throws Exception {
        Path file = folder.resolve("shared.rend");
        ChildJvm first = new ChildJvm(Saving.class, file.toString(), "1").withSameLibrary().start();
        ChildJvm second = new ChildJvm(Saving.class, file.toString(), "2").withSameLibrary().start();
        assertEquals(0, first.finish().exitCode());
        assertEquals(0, second.finish().exitCode());
        try (Renderable loaded = new Renderable(); Renderable one = image(1); Renderable two = image(2)) {
            assertTrue(loaded.loadFromFile(file));
            byte[] pixels = Images.pixelsOf(loaded);
            assertTrue(Arrays.equals(pixels, Images.pixelsOf(one)) || Arrays.equals(pixels, Images.pixelsOf(two)),
                    "the file holds one image or the other");
        }
    }
}
