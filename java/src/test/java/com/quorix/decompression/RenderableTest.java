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
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

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
    @ParameterizedTest
    @ValueSource(booleans = {true, false})
    void everyPropertyKeepsAValueOfItsOwn(boolean flag) throws Exception {
        Map<Method, Object> values = new LinkedHashMap<>();
        setters().forEach(setter -> values.put(setter,
                setter.getParameterTypes()[0] == int.class ? (Object) (values.size() + 3) : (Object) flag));
        try (Renderable image = new Renderable()) {
            for (Method setter : values.keySet()) {
                setter.invoke(image, values.get(setter));
            }
            for (Method setter : values.keySet()) {
                assertEquals(values.get(setter), get(image, setter.getName().substring(3)), setter.getName());
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
    void interpretationsHaveTheirCodes() {
        assertArrayEquals(IntStream.rangeClosed(0, 10).toArray(), new int[] {Renderable.getPitInvalid(),
            Renderable.getPitMonochrome1(), Renderable.getPitMonochrome2(), Renderable.getPitPaletteColor(),
            Renderable.getPitRgb(), Renderable.getPitYbrFull(), Renderable.getPitYbrFull422(),
            Renderable.getPitYbrPartial422(), Renderable.getPitYbrPartial420(), Renderable.getPitYbrIct(),
            Renderable.getPitYbrRct()});
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
}
