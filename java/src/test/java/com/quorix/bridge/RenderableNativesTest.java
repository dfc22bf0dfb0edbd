// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import java.lang.reflect.*;
import java.util.Arrays;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The native methods of Renderable and DICOMDataObject with arguments that the classes never hand on. */
class RenderableNativesTest {
    private static final Map<Class<?>, Object> VALUES = Map.of(long.class, 0L, int.class, 1, short.class, (short) 1,
            boolean.class, true, String.class, "text");

    static Stream<Method> methodsWithHandle() {
        return Stream.of(Renderable.class, DICOMDataObject.class).flatMap(type -> Arrays.stream(
                type.getDeclaredMethods())).filter(method -> Modifier.isNative(method.getModifiers())
                        && method.getParameterCount() > 0 && method.getParameterTypes()[0] == long.class);
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
            for (String path : new String[] {null, ""}) {
                arguments[1] = path;
                assertEquals(method.getReturnType() == void.class ? null : false, method.invoke(null, arguments));
            }
        }
    }
}
