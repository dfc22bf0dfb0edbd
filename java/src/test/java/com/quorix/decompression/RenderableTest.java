// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertInstanceOf;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.support.Compressed;
import com.quorix.support.Images;
import java.io.IOException;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteOrder;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

class RenderableTest {
    static List<Method> getters() {
        return Stream.of(Renderable.class.getMethods())
                .filter(method -> method.getDeclaringClass() == Renderable.class)
                .filter(method -> !Modifier.isStatic(method.getModifiers()) && method.getParameterCount() == 0)
                .filter(method -> method.getName().matches("(get|is).*") && !method.getName().equals("isClosed"))
                .collect(Collectors.toList());
    }

    static List<Method> setters() {
        return Stream.of(Renderable.class.getMethods())
                .filter(method -> !Modifier.isStatic(method.getModifiers()) && method.getName().startsWith("set"))
                .collect(Collectors.toList());
    }

    private static Object get(Renderable image, String property) throws ReflectiveOperationException {
        for (Method getter : getters()) {
            if (getter.getName().matches("(get|is)" + property)) {
                return getter.invoke(image);
            }
        }
        throw new NoSuchMethodException(property);
    }

    /** A setter that writes its neighbour's field would show as a value that does not come back. */
    @Test
    void everyPropertyKeepsAValueOfItsOwn() throws Exception {
        try (Renderable image = new Renderable()) {
            int value = 3;
            for (Method setter : setters()) {
                setter.invoke(image, setter.getParameterTypes()[0] == int.class ? (Object) value++ : (Object) true);
            }
            value = 3;
            for (Method setter : setters()) {
                Object expected = setter.getParameterTypes()[0] == int.class ? (Object) value++ : (Object) true;
                assertEquals(expected, get(image, setter.getName().substring(3)), setter.getName());
            }
        }
    }

    @ParameterizedTest
    @MethodSource("setters")
    void everyFlagCanBeCleared(Method setter) throws Exception {
        if (setter.getParameterTypes()[0] == boolean.class) {
            try (Renderable image = new Renderable()) {
                setter.invoke(image, true);
                setter.invoke(image, false);
                assertEquals(false, get(image, setter.getName().substring(3)));
            }
        }
    }

    @Test
    void valuesThatDoNotFitAreRefused() {
        try (Renderable image = new Renderable()) {
            image.setBitsStored(-32768);
            assertEquals(-32768, image.getBitsStored());
            assertThrows(IllegalArgumentException.class, () -> image.setBitsStored(32768));
            assertThrows(IllegalArgumentException.class, () -> image.setScaleFactor(-32769));
        }
    }

    @Test
    void aNewImageIsEmpty() {
        try (Renderable image = new Renderable()) {
            assertFalse(image.isPixelDataAllocated());
            assertEquals(1, image.getScaleFactor());
            assertEquals(Renderable.getPitInvalid(), image.getPhotometricInterpretation());
            assertThrows(IllegalStateException.class, image::getPixelData);
        }
    }

    @Test
    void interpretationsHaveTheirTerms() {
        List<Integer> codes = List.of(Renderable.getPitInvalid(), Renderable.getPitMonochrome1(),
                Renderable.getPitMonochrome2(), Renderable.getPitPaletteColor(), Renderable.getPitRgb(),
                Renderable.getPitYbrFull(), Renderable.getPitYbrFull422(), Renderable.getPitYbrPartial422(),
                Renderable.getPitYbrPartial420(), Renderable.getPitYbrIct(), Renderable.getPitYbrRct());
        List<String> terms = List.of("INVALID", "MONOCHROME1", "MONOCHROME2", "PALETTE COLOR", "RGB", "YBR_FULL",
                "YBR_FULL_422", "YBR_PARTIAL_422", "YBR_PARTIAL_420", "YBR_ICT", "YBR_RCT");
        for (int code = 0; code < terms.size(); code++) {
            assertEquals(code, codes.get(code));
            assertEquals(terms.get(code), Renderable.photometricInterpretationTypeToString(code));
        }
        assertEquals("INVALID", Renderable.photometricInterpretationTypeToString(99));
    }

    @Test
    void theTransferSizeIsOneForAll() {
        int usual = Renderable.getIOBufferSize();
        assertEquals(4096, Renderable.setIOBufferSize(4096));
        assertEquals(4096, Renderable.getIOBufferSize());
        Renderable.setIOBufferSize(usual);
    }

    @Test
    void pixelsAreAllocatedOnceAndZero() {
        try (Renderable image = new Renderable()) {
            image.setRows(3);
            image.setColumns(5);
            image.setBitsAllocated(16);
            image.setSamplesPerPixel(1);
            assertEquals(30, image.getRequiredPixelDataBufferSize());
            image.allocatePixelData();
            assertEquals(30, image.getPixelDataSize());
            assertArrayEquals(new byte[30], Images.pixelsOf(image));
            assertThrows(IllegalStateException.class, image::allocatePixelData);
            image.freePixelData();
            assertEquals(0, image.getPixelDataSize());
            image.allocatePixelData();
        }
    }

    @Test
    void memoryThatIsNotThereIsReported() {
        try (Renderable image = new Renderable()) {
            image.setRows(40_000);
            image.setColumns(50_000);
            image.setBitsAllocated(1);
            image.setSamplesPerPixel(Integer.MAX_VALUE);
            assertThrows(IllegalStateException.class, image::allocatePixelData);
            assertFalse(image.isPixelDataAllocated());
        }
    }

    @Test
    void pixelsAreReadOnlyAndInTheirByteOrder() throws IOException {
        try (Renderable image = Images.grey8(20, 10)) {
            assertTrue(image.getPixelData().isDirect());
            assertTrue(image.getPixelData().isReadOnly());
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

    @Test
    void handleZeroIsReported() {
        try (Renderable image = new Renderable(0, true)) {
            for (Method getter : getters()) {
                Throwable refusal =
                        assertThrows(InvocationTargetException.class, () -> getter.invoke(image)).getCause();
                assertInstanceOf(NullPointerException.class, refusal, getter.getName());
                assertEquals("Native Renderable handle argument is null", refusal.getMessage());
            }
        }
    }
}
