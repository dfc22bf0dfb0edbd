// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import java.io.IOException;
import java.lang.reflect.*;
import java.util.*;
import java.util.stream.Stream;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The native methods of Renderable and DICOMDataObject with arguments that the classes never hand on. */
class RenderableNativesTest {
    private static final Map<Class<?>, Object> VALUES = Map.of(long.class, 0L, int.class, 1, short.class, (short) 1,
            double.class, 1.0, boolean.class, true, String.class, "text");

    static Stream<Method> methodsWithHandle() {
        return Stream.of(Renderable.class, DICOMDataObject.class).flatMap(type -> Arrays.stream(
                type.getDeclaredMethods())).filter(method -> Modifier.isNative(method.getModifiers())
                        && method.getParameterCount() > 0 && method.getParameterTypes()[0] == long.class);
    }

    private static void expectRefusal(Method method, Object[] arguments, String path, String expected)
            throws ReflectiveOperationException {
        Method handle = Renderable.class.getDeclaredMethod("handle");
        handle.setAccessible(true);
        try (Renderable image = new Renderable()) {
            arguments[0] = handle.invoke(image);
            arguments[1] = path;
            Throwable thrown = assertThrows(InvocationTargetException.class, () -> method.invoke(null, arguments));
            assertInstanceOf(IOException.class, thrown.getCause());
            assertEquals(expected, thrown.getCause().getMessage());
        }
    }

    @ParameterizedTest
    @MethodSource("methodsWithHandle")
    void handleZeroThrowsUnlessThereIsNoPath(Method method) throws ReflectiveOperationException {
        method.setAccessible(true);
        Object[] arguments = Arrays.stream(method.getParameterTypes()).map(VALUES::get).toArray();
        Throwable thrown = assertThrows(InvocationTargetException.class, () -> method.invoke(null, arguments));
        assertInstanceOf(NullPointerException.class, thrown.getCause());
        assertEquals("Native " + method.getDeclaringClass().getSimpleName() + " handle argument is null",
                thrown.getCause().getMessage());
        if (method.getName().matches("native(LoadFrom|SaveTo)File.*")) {
            boolean isSave = method.getReturnType() == void.class;
            arguments[1] = isSave ? null : "";
            assertEquals(isSave ? null : false, method.invoke(null, arguments));
            expectRefusal(method, arguments, "a\0b", "StreamIOException: Renderable: no file has a NUL in its name");
            if (isSave) {
                expectRefusal(method, arguments, "", method.getName().endsWith("Locked")
                        ? "StreamIOException: Renderable::saveToFile: Unable to lock file "
                        : "StreamIOException: Renderable::saveToFile: error writing header to file ");
            }
        }
    }
}
