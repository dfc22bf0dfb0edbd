// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertInstanceOf;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.ChildJvm;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

/** The native methods behind Renderable and DICOMDataObject, called directly. */
class RenderableNativesTest {
    private static final Map<Class<?>, Object> VALUES = Map.of(long.class, 0L, int.class, 1, short.class, (short) 1,
            boolean.class, true, String.class, "text");

    @TempDir
    Path folder;

    static Stream<Method> methodsWithHandle() {
        return Stream.of(Renderable.class, DICOMDataObject.class).flatMap(type -> Arrays.stream(
                type.getDeclaredMethods())).filter(method -> Modifier.isNative(method.getModifiers())
                        && method.getParameterCount() > 0 && method.getParameterTypes()[0] == long.class);
    }

    private static Object call(Method method, Object... arguments) throws Throwable {
        method.setAccessible(true);
        try {
            return method.invoke(null, arguments);
        } catch (InvocationTargetException exception) {
            throw exception.getCause();
        }
    }

    private static Object call(String name, Object... arguments) throws Throwable {
        for (Method method : Renderable.class.getDeclaredMethods()) {
            if (method.getName().equals(name) && Modifier.isNative(method.getModifiers())
                    && method.getParameterCount() == arguments.length) {
                return call(method, arguments);
            }
        }
        throw new AssertionError("no " + name);
    }

    @ParameterizedTest
    @MethodSource("methodsWithHandle")
    void handleZeroThrows(Method method) {
        Object[] arguments = Arrays.stream(method.getParameterTypes()).map(VALUES::get).toArray();
        Throwable thrown = assertThrows(NullPointerException.class, () -> call(method, arguments));
        assertEquals("Native " + method.getDeclaringClass().getSimpleName() + " handle argument is null",
                thrown.getMessage());
    }

    @ParameterizedTest
    @CsvSource({"BitsAllocated, short", "BitsStored, short", "HighBit, short", "Rows, int", "Columns, int",
        "SamplesPerPixel, int", "CompressionRatio, int", "ScaleFactor, short", "PixelAspectRatioHorizontal, int",
        "PixelAspectRatioVertical, int", "PhotometricInterpretation, int", "LossyImageCompression, boolean",
        "Signed, boolean", "PixelDataLittleEndian, boolean", "PlanarConfiguration, boolean"})
    void gettersGiveWhatSettersTook(String property, String type) throws Throwable {
        Object[] values = type.equals("boolean") ? new Object[] {true, false, true}
                : type.equals("short") ? new Object[] {(short) 12, Short.MIN_VALUE, Short.MAX_VALUE}
                        : new Object[] {7, Integer.MIN_VALUE, Integer.MAX_VALUE};
        long handle = (long) call("nativeCreateRenderable");
        long other = (long) call("nativeCreateRenderable");
        Object untouched = call("nativeGet" + property, other);
        for (Object value : values) {
            call("nativeSet" + property, handle, value);
            assertEquals(value, call("nativeGet" + property, handle));
        }
        assertEquals(untouched, call("nativeGet" + property, other));
        call("nativeDeleteRenderable", handle);
        call("nativeDeleteRenderable", other);
    }

    @Test
    void pixelsAreAllocatedSharedAndFreed() throws Throwable {
        long handle = (long) call("nativeCreateRenderable");
        assertNull(call("nativeGetPixelBuffer", handle));
        call("nativeSetRows", handle, 3);
        call("nativeSetColumns", handle, 5);
        call("nativeSetBitsAllocated", handle, (short) 16);
        call("nativeSetSamplesPerPixel", handle, 1);
        call("nativeSetPhotometricInterpretation", handle, call("nativeGetPitMonochrome2"));
        assertEquals(30L, call("nativeGetRequiredPixelDataBufferSize", handle));
        assertEquals(false, call("isPixelDataAllocated", handle));
        call("allocatePixelData", handle);
        assertEquals(true, call("isPixelDataAllocated", handle));
        assertEquals(30L, call("nativeGetPixelDataSize", handle));
        ByteBuffer buffer = assertInstanceOf(ByteBuffer.class, call("nativeGetPixelBuffer", handle));
        buffer.put(29, (byte) 77);
        call("allocatePixelData", handle); // a second time: refused, and nothing is thrown
        assertEquals(77, ((ByteBuffer) call("nativeGetPixelBuffer", handle)).get(29));
        call("freePixelData", handle);
        assertEquals(0L, call("nativeGetPixelDataSize", handle));
        call("nativeDeleteRenderable", handle);
    }

    @Test
    void anAllocationThatFailsThrowsNothing() throws Throwable {
        long handle = (long) call("nativeCreateRenderable");
        call("nativeSetRows", handle, 46340);
        call("nativeSetColumns", handle, 46340);
        call("nativeSetBitsAllocated", handle, Short.MAX_VALUE);
        call("nativeSetSamplesPerPixel", handle, Integer.MAX_VALUE);
        call("allocatePixelData", handle);
        call("nativeDeleteRenderable", handle);
    }

    @ParameterizedTest
    @CsvSource({"Invalid, 0, INVALID", "Monochrome1, 1, MONOCHROME1", "Monochrome2, 2, MONOCHROME2",
        "PaletteColor, 3, PALETTE COLOR", "Rgb, 4, RGB", "YbrFull, 5, YBR_FULL", "YbrFull422, 6, YBR_FULL_422",
        "YbrPartial422, 7, YBR_PARTIAL_422", "YbrPartial420, 8, YBR_PARTIAL_420", "YbrIct, 9, YBR_ICT",
        "YbrRct, 10, YBR_RCT"})
    void codesOfInterpretations(String name, int code, String term) throws Throwable {
        assertEquals(code, call("nativeGetPit" + name));
        assertEquals(term, Renderable.photometricInterpretationTypeToString(code));
    }

    @Test
    void anUnknownInterpretationIsInvalid() {
        assertEquals("INVALID", Renderable.photometricInterpretationTypeToString(Integer.MIN_VALUE));
    }

    @Test
    void theTransferSizeIsOneForTheProcess() throws Throwable {
        Object before = call("nativeGetIOBufferSize");
        assertEquals(4096, call("nativeSetIOBufferSize", 4096));
        assertEquals(4096, call("nativeGetIOBufferSize"));
        call("nativeSetIOBufferSize", before);
    }

    private static Renderable image() {
        return new NDecompressor().decodeSeekableInputStreamToMemory(new ScriptedStream(
                DicomFile.grey16(30, 20).nativeFrames(1, Compressed.gradient16(30, 20, 4)).toBytes()), 0,
                NDecompressor.TYPE_DICOM, 0, 1, new DecomprResult());
    }

    private static Method load(boolean withScaleFactor) throws NoSuchMethodException {
        return withScaleFactor
                ? Renderable.class.getDeclaredMethod("nativeLoadFromFile", long.class, String.class, short.class)
                : Renderable.class.getDeclaredMethod("nativeLoadFromFile", long.class, String.class);
    }

    @Test
    void bothLoadsReadTheCacheFile() throws Throwable {
        String path = folder.resolve("caf\u00e9.rend").toString();
        long source = (long) call("nativeCreateRenderable");
        call("nativeSetRows", source, 20);
        call("nativeSetColumns", source, 30);
        call("nativeSetBitsAllocated", source, (short) 16);
        call("nativeSetSamplesPerPixel", source, 1);
        call("nativeSetPhotometricInterpretation", source, 2);
        call("allocatePixelData", source);
        ((ByteBuffer) call("nativeGetPixelBuffer", source)).put(Compressed.gradient16(30, 20, 4));
        call("nativeSaveToFile", source, path);
        call("nativeDeleteRenderable", source);
        for (boolean withScaleFactor : new boolean[] {false, true}) {
            long handle = (long) call("nativeCreateRenderable");
            Object loaded = withScaleFactor ? call(load(true), handle, path, (short) 1)
                    : call(load(false), handle, path);
            assertEquals(true, loaded);
            try (Renderable image = new Renderable(handle, true)) {
                assertEquals(30, image.getColumns());
                assertArrayEquals(Compressed.gradient16(30, 20, 4), Pixels.bytes(image));
            }
        }
        long handle = (long) call("nativeCreateRenderable");
        assertEquals(false, call(load(true), handle, path, (short) -2), "another scale factor was asked for");
        call("nativeDeleteRenderable", handle);
    }

    @Test
    void fileErrorsAreIoExceptions() throws Throwable {
        long handle = (long) call("nativeCreateRenderable");
        String missing = folder.resolve("missing/file").toString();
        Path damaged = Files.writeString(folder.resolve("damaged"), "RENDxxx");
        for (Throwable thrown : new Throwable[] {
            assertThrows(IOException.class, () -> call(load(false), handle, missing)),
            assertThrows(IOException.class, () -> call(load(true), handle, damaged.toString(), (short) 1)),
            assertThrows(IOException.class, () -> call("nativeSaveToFile", handle, missing)),
            assertThrows(IOException.class, () -> call("nativeSaveToFileLocked", handle, missing))}) {
            assertTrue(thrown.getMessage().startsWith("StreamIOException: "), thrown.getMessage());
        }
        call("nativeDeleteRenderable", handle);
    }

    @Test
    void withoutAPathNothingHappensNotEvenForHandleZero() throws Throwable {
        for (String path : new String[] {null, ""}) {
            assertEquals(false, call(load(false), 0L, path));
            assertEquals(false, call(load(true), 0L, path, (short) 1));
            call("nativeSaveToFile", 0L, path);
            call("nativeSaveToFileLocked", 0L, path);
        }
    }

    /** Saves the image under its lock time and again, until the file "stop" appears. */
    static final class Saver {
        public static void main(String[] arguments) throws Exception {
            Path folder = Path.of(arguments[0]);
            int saves = 0;
            try (Renderable image = image()) {
                while (!Files.exists(folder.resolve("stop")) && saves < 100_000) {
                    image.saveToFileLocked(folder.resolve("shared.rend"));
                    saves++;
                }
            }
            System.out.println("saves " + saves);
        }
    }

    @Test
    void anotherProcessSeesTheSavedFile() throws Throwable {
        ChildJvm child = new ChildJvm(Saver.class, folder.toString()).withSameLibrary().start();
        Path file = folder.resolve("shared.rend");
        long end = System.currentTimeMillis() + 60_000;
        while (!Files.exists(file) && System.currentTimeMillis() < end) {
            Thread.sleep(1); // until the other process is at it
        }
        int saved = 0;
        while (saved < 50 && System.currentTimeMillis() < end) {
            try (Renderable image = image()) {
                image.saveToFileLocked(file); // takes turns with the other process
                saved++;
            }
        }
        Files.createFile(folder.resolve("stop"));
        ChildJvm.Outcome outcome = child.finish();
        assertEquals(0, outcome.exitCode(), outcome.output());
        assertFalse(outcome.output().contains("saves 0"), outcome.output());
        assertEquals(50, saved);
        try (RandomAccessFile content = new RandomAccessFile(file.toFile(), "r")) {
            assertEquals(64 + 2 * 30 * 20, content.length());
        }
        try (Renderable image = new Renderable()) {
            assertTrue(image.loadFromFile(file));
            assertArrayEquals(Compressed.gradient16(30, 20, 4), Pixels.bytes(image));
        }
        assertNotNull(outcome.output());
    }
}
