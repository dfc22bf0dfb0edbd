// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import java.lang.reflect.Method;
import java.nio.file.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;

/** ImageJ, which reads through ImageIO what it does not know itself, and knows nothing of us. */
@Tag("imagej")
class ImageJTest {
    @TempDir
    Path folder;

    private static Object call(Object target, String name, Object... arguments) throws Exception {
        Class<?>[] types = new Class<?>[arguments.length];
        for (int i = 0; i < types.length; i++) {
            types[i] = arguments[i] instanceof Integer ? int.class : arguments[i].getClass();
        }
        Class<?> type = target instanceof Class<?> itself ? itself : target.getClass();
        Method method = type.getMethod(name, types);
        return method.invoke(target, arguments);
    }

    @Test
    void imageJOpensJpeg2000AndDicom() throws Exception {
        Path codestream = Files.write(folder.resolve("ramp.j2k"), Compressed.jpeg2000());
        Object image = call(Class.forName("ij.io.Opener"), "openUsingImageIO", codestream.toString());
        byte[] pixels = (byte[]) call(call(image, "getProcessor"), "getPixels");
        assertArrayEquals(Compressed.jpeg2000Pixels(), pixels);
        Path dicom = DicomFile.grey16(9, 7).nativeFrames(1, Compressed.gradient16(9, 7, 0))
                .writeTo(folder.resolve("a.dcm"));
        image = call(Class.forName("ij.io.Opener"), "openUsingImageIO", dicom.toString());
        Object processor = call(image, "getProcessor");
        assertEquals(16, call(processor, "getBitDepth"));
        assertEquals(8 * 301 + 6 * 507, call(processor, "get", 8, 6));
    }
}
