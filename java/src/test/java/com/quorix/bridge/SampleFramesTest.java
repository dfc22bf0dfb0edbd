// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.Places;
import java.io.IOException;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.TestFactory;

/** On every sample file the data set receives the pixels that the image has. */
@Tag("samples")
class SampleFramesTest {
    private final NDecompressor decompressor = new NDecompressor();

    @TestFactory
    List<DynamicTest> files() throws IOException {
        List<DynamicTest> tests = new ArrayList<>();
        for (Path file : Places.filesBelow(Places.samples().resolve("dicom"))) {
            tests.add(DynamicTest.dynamicTest(file.getFileName().toString(), () -> compare(Files.readAllBytes(file))));
        }
        return tests;
    }

    private void compare(byte[] file) {
        DecomprResult result = new DecomprResult();
        try (DICOMDataObject dataSet = new DICOMDataObject();
                Renderable image = decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(file),
                        dataSet.getHandle(), NDecompressor.TYPE_DICOM, 0, 1, result)) {
            if (image == null) {
                assertTrue(result.DLResultCode != 0, result::toString);
            } else {
                assertArrayEquals(Pixels.bytes(image), ortho(file));
            }
        }
    }

    /** In the byte order that the image has by the other paths. */
    private byte[] ortho(byte[] file) {
        DecomprResult result = new DecomprResult();
        boolean bigEndian;
        try (Renderable image = decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(file), 0,
                NDecompressor.TYPE_DICOM, 0, 1, result)) {
            bigEndian = image.getBitsAllocated() > 8 && image.getPixelData().order() == ByteOrder.BIG_ENDIAN;
        }
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            boolean success = decompressor.decodeOrtho(new ScriptedStream(file), NDecompressor.TYPE_DICOM, true,
                    dataSet.getHandle(), null, 1, result);
            assertEquals(dataSet.getInteger(0x00280008, 1) == 1, success, result::toString);
            byte[] pixels = dataSet.getPixelBytes();
            for (int n = 1; bigEndian && n < pixels.length; n += 2) {
                byte first = pixels[n - 1];
                pixels[n - 1] = pixels[n];
                pixels[n] = first;
            }
            return pixels;
        }
    }
}
