// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import java.io.IOException;
import java.lang.reflect.*;
import java.nio.*;
import java.nio.channels.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.stream.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;

class RenderableTest {
    private static final int COLUMNS = 640;
    private static final int ROWS = 480;

    @TempDir
    Path folder;

    private static Stream<Method> methods(String names) {
        return Stream.of(Renderable.class.getDeclaredMethods()).filter(method -> method.getName().matches(names)
                && Modifier.isPublic(method.getModifiers()) && !Modifier.isStatic(method.getModifiers()));
    }

    static List<Method> getters() {
        return methods("(get|is)(?!Closed).*").collect(Collectors.toList());
    }

    /** A setter that writes its neighbour's field would show as a value that does not come back; so would what
     * is forgotten when the pixels are left to their buffers. */
    @ParameterizedTest
    @ValueSource(ints = {3, Short.MIN_VALUE, Integer.MIN_VALUE, Integer.MAX_VALUE - 100})
    void everyPropertyKeepsAValueOfItsOwn(int first) throws Exception {
        Map<String, Object> values = new LinkedHashMap<>();
        try (Renderable image = Images.grey8(4, 4)) {
            ByteBuffer pixels = image.getPixelData();
            for (Method setter : methods("set.*").collect(Collectors.toList())) {
                boolean isNumber = setter.getParameterTypes()[0] == int.class;
                Object value = isNumber ? (Object) (first + values.size()) : (Object) (first % 2 != 0);
                if (isNumber && setter.getName().matches("set(Bits.*|HighBit|ScaleFactor)") && first != (short) first) {
                    Throwable thrown = assertThrows(Exception.class, () -> setter.invoke(image, value)).getCause();
                    assertInstanceOf(IllegalArgumentException.class, thrown);
                } else {
                    setter.invoke(image, value);
                    values.put(setter.getName().substring(3), value);
                }
            }
            assertTrue(values.size() > 10, values::toString);
            for (int i = 0; i < 2; i++) {
                for (String property : values.keySet()) {
                    Method getter = methods("(get|is)" + property).findFirst().orElseThrow();
                    assertEquals(values.get(property), getter.invoke(image), property);
                }
                image.freePixelData();
            }
            assertEquals(0, pixels.get(0));
        }
    }

    @Test
    void interpretationsHaveTheirCodesAndNames() throws ReflectiveOperationException {
        for (PhotometricInterpretation value : PhotometricInterpretation.values()) {
            StringBuilder getter = new StringBuilder("getPit");
            for (String word : value.getTerm().split("[_ ]")) {
                getter.append(word.charAt(0)).append(word.substring(1).toLowerCase(Locale.ROOT));
            }
            assertEquals(value.getCode(), Renderable.class.getMethod(getter.toString()).invoke(null));
            assertEquals(value.getTerm(), Renderable.photometricInterpretationTypeToString(value.getCode()));
            assertSame(value, PhotometricInterpretation.of(value.getCode()));
        }
        assertSame(PhotometricInterpretation.INVALID, PhotometricInterpretation.of(11));
        assertSame(PhotometricInterpretation.INVALID, PhotometricInterpretation.of(-1));
        assertEquals("INVALID", Renderable.photometricInterpretationTypeToString(Integer.MIN_VALUE));
    }

    @Test
    void itSaysWhatItIs() throws IOException {
        byte[] signed = DicomFile.grey16(6, 4).bitsStored(12, true).nativeFrames(3, new byte[6 * 4 * 2 * 3]).toBytes();
        Renderable image = Decompressor.decode(signed, DecodeOptions.DEFAULT.withFrame(2));
        try (image; Renderable rgb = Images.decode(DicomFile.rgb8(2, 3).nativeFrames(1, new byte[18]));
                Renderable none = new Renderable(); Renderable nothing = new Renderable(0, false)) {
            assertEquals("6x4 MONOCHROME2, 12 of 16 bits signed, frame 2; 2x3 RGB, 3 samples of 8 bits, frame 0; "
                    + "0x0 INVALID, 0 samples of 0 bits, frame 0; no image",
                    image + "; " + rgb + "; " + none + "; " + nothing);
        }
        assertEquals("closed image", image.toString());
    }

    @Test
    void pixelsAreAllocatedOnceAndZero() {
        try (Renderable image = new Renderable()) {
            assertFalse(image.isPixelDataAllocated());
            assertEquals(1, image.getScaleFactor());
            assertEquals(Renderable.getPitInvalid(), image.getPhotometricInterpretation());
            assertThrows(IllegalStateException.class, image::getPixelData);
            image.setRows(3);
            image.setColumns(5);
            image.setBitsAllocated(16);
            image.setSamplesPerPixel(1);
            assertEquals(30, image.getRequiredPixelDataBufferSize());
            for (int i = 0; i < 2; i++) {
                image.allocatePixelData();
                assertArrayEquals(new byte[30], Images.pixelsOf(image));
                assertThrows(IllegalStateException.class, image::allocatePixelData);
                image.freePixelData();
                assertEquals(0, image.getPixelDataSize());
            }
            image.setRows(46_340);
            image.setColumns(46_340);
            image.setSamplesPerPixel(Integer.MAX_VALUE);
            assertThrows(IllegalStateException.class, image::allocatePixelData, "so much memory is not there");
            assertFalse(image.isPixelDataAllocated());
        }
    }

    @Test
    void pixelsAreReadOnlyAndInTheirByteOrder() throws IOException {
        try (Renderable image = Images.grey8(20, 10)) {
            assertTrue(image.getPixelData().isDirect() && image.getPixelData().isReadOnly());
            assertEquals(ByteOrder.LITTLE_ENDIAN, image.getPixelData().order());
            image.setPixelDataLittleEndian(false);
            assertEquals(ByteOrder.BIG_ENDIAN, image.getPixelData().order());
            assertArrayEquals(Compressed.gradient8(20, 10, 0), Images.pixelsOf(image));
        }
    }

    @ParameterizedTest
    @MethodSource("getters")
    void aClosedImageRefuses(Method getter) throws Exception {
        Renderable image = Images.grey8(4, 4);
        image.close();
        image.close();
        assertTrue(image.isClosed());
        Throwable refusal = assertThrows(InvocationTargetException.class, () -> getter.invoke(image)).getCause();
        assertInstanceOf(IllegalStateException.class, refusal);
        assertEquals("the image is closed", refusal.getMessage());
    }

    private static Renderable image(int seed) throws IOException {
        return Images.decode(DicomFile.grey16(COLUMNS, ROWS).bitsStored(12, false)
                .nativeFrames(1, Compressed.gradient16(COLUMNS, ROWS, seed)));
    }

    @Test
    void aSavedImageComesBack() throws IOException {
        Path file = folder.resolve("Schnitt α.rend");
        Path damaged = Files.writeString(folder.resolve("damaged"), "RENDxxx");
        Path missing = folder.resolve("missing/file");
        try (Renderable saved = image(1); Renderable loaded = new Renderable()) {
            saved.setScaleFactor(3);
            saved.saveToFile(file);
            assertFalse(loaded.loadFromFile(file, 2) || loaded.loadFromFile(file, -2) || loaded.isPixelDataAllocated());
            assertTrue(loaded.loadFromFile(file, -3));
            assertEquals("480 640 12", loaded.getRows() + " " + loaded.getColumns() + " " + loaded.getBitsStored());
            assertEquals(Renderable.getPitMonochrome2(), loaded.getPhotometricInterpretation());
            assertArrayEquals(Images.pixelsOf(saved), Images.pixelsOf(loaded));
            assertTrue(loaded.getTotalTimeTakenToLoad() > 0);
            for (Executable call : List.<Executable>of(() -> saved.saveToFileLocked(missing),
                    () -> saved.saveToFile(missing), () -> new Renderable().loadFromFile(missing),
                    () -> new Renderable().loadFromFile(damaged, 1))) {
                String text = assertThrows(IOException.class, call).getMessage();
                assertTrue(text.startsWith("StreamIOException: "), text);
            }
            assertThrows(IOException.class, () -> loaded.loadFromFile(file), "an image with pixels takes no others");
        }
        int before = Renderable.getIOBufferSize();
        assertEquals(4096, Renderable.setIOBufferSize(4096));
        assertEquals(4096, Renderable.getIOBufferSize());
        Renderable.setIOBufferSize(before);
    }

    /** Without a lock two processes would mix their images in the file. */
    @Test
    void aLockedFileIsWaitedFor() throws Exception {
        Path file = Files.createFile(folder.resolve("shared.rend"));
        try (Renderable image = image(1); FileChannel other = FileChannel.open(file, StandardOpenOption.WRITE)) {
            FileLock lock = other.lock();
            Future<?> saving = Executors.newSingleThreadExecutor().submit(() -> {
                image.saveToFileLocked(file);
                return null;
            });
            assertThrows(TimeoutException.class, () -> saving.get(50, TimeUnit.MILLISECONDS));
            assertEquals(0, Files.size(file));
            lock.release();
            saving.get();
        }
        assertTrue(Files.size(file) > 2 * COLUMNS * ROWS);
    }
}
