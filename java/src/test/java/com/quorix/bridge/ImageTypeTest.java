// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.Places;
import java.io.IOException;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

/** Which image types each method takes: the sets differ on purpose. */
class ImageTypeTest {
    private static final String INVALID = "48 0 Native NDecompressor::decodeToMemory: Invalid compressed image type";
    private static final Set<Integer> BARE = Set.of(1, 2, 7);

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();

    static Stream<Arguments> typesAndFlags() {
        List<Arguments> all = new ArrayList<>();
        for (int type : new int[] {Integer.MIN_VALUE, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 257, 65537}) {
            all.add(Arguments.of(type, false));
            all.add(Arguments.of(type, true));
        }
        return all.stream();
    }

    private void expect(boolean accepted) {
        String report = result.DLResultCode + " " + result.SystemError + " " + result.Message;
        if (accepted) {
            assertNotEquals(INVALID, report);
            assertNotEquals(0, result.DLResultCode); // there is no image in eight bytes
        } else {
            assertEquals(INVALID, report);
        }
    }

    @ParameterizedTest
    @MethodSource("typesAndFlags")
    void everyMethodHasItsOwnTypes(int type, boolean lossless) {
        assertNull(decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(new byte[8], 8), 0, type, lossless,
                1, result));
        expect(BARE.contains(type));
        assertNull(decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(new byte[8]), 0, type, 0, 1,
                result));
        expect(BARE.contains(type) || type == 3);
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            ScriptedStream stream = new ScriptedStream(new byte[8]);
            assertFalse(decompressor.decodeOrtho(stream, type, lossless, dataSet.getHandle(), null, 1, result));
            expect(BARE.contains(type) || type == 3);
            assertEquals(0, stream.closeCount, "decodeOrtho leaves the stream open");
        }
    }

    /** The lossless transfer syntax has even an irreversible codestream taken as not lossy. */
    @ParameterizedTest
    @CsvSource({"2, false, false, true", "2, true, false, true", "7, false, true, false", "7, true, false, false"})
    void eachMethodChoosesTheTransferSyntaxItsOwnWay(int type, boolean lossless, boolean queueLossy,
            boolean streamLossy) throws IOException {
        byte[] codestream = Files.readAllBytes(Places.samples().resolve("jpeg2000/gray-33x29-off31-97.j2k"));
        try (Renderable fromQueue = decompressor.decodeInputBufferQueueToMemory(
                new ScriptedQueue(codestream, 100), 0, type, lossless, 1, result);
                Renderable fromStream = decompressor.decodeSeekableInputStreamToMemory(
                        new ScriptedStream(codestream), 0, type, 0, 1, result)) {
            assertEquals(queueLossy + " " + streamLossy,
                    fromQueue.isLossyImageCompression() + " " + fromStream.isLossyImageCompression());
        }
    }

    @Test
    void markingHandleZeroIsRefused() {
        assertFalse(decompressor.markReconstituted(0));
    }
}
