// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.*;
import java.util.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;

/** Java streams as the native library reads them, and the image types that each method takes. */
class StreamTest {
    private static final String PREFIX = "Native NDecompressor::decodeSeekableInputStreamToMemory:";
    private static final byte[] FILE =
            DicomFile.grey16(175, 211).nativeFrames(1, Compressed.gradient16(175, 211, 0)).toBytes();

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();

    private Renderable decode(ScriptedStream stream, int imageType, int frame) {
        return decompressor.decodeSeekableInputStreamToMemory(stream, 0, imageType, frame, 1, result);
    }

    private void expectFailure(ScriptedStream stream, int imageType, int frame, int closeCount, String expected) {
        assertNull(decode(stream, imageType, frame));
        assertEquals(expected, result.DLResultCode + " " + result.Message);
        assertEquals(closeCount, stream.closeCount);
    }

    /** A file that is still being written says too little. */
    @ParameterizedTest
    @ValueSource(longs = {0, 3, 700, Long.MAX_VALUE, -5})
    void whereAStreamEndsIsForItsReadsToSay(long length) {
        byte[] jpeg = Compressed.jpeg(101, 81, 0);
        byte[] frames = DicomFile.grey8(101, 81).jpegFrames(List.of(jpeg, jpeg)).toBytes();
        try (Renderable grey = decode(new ScriptedStream(FILE).claiming(length), 3, 0);
                Renderable frame = decode(new ScriptedStream(frames).claiming(length), 3, 1);
                Renderable bare = decode(new ScriptedStream(jpeg).claiming(length), 1, 0)) {
            assertArrayEquals(Compressed.gradient16(175, 211, 0), Images.pixelsOf(grey));
            assertArrayEquals(Compressed.jpegPixels(jpeg), Images.pixelsOf(frame));
            assertArrayEquals(Compressed.jpegPixels(jpeg), Images.pixelsOf(bare));
        }
    }

    @Test
    void whatAStreamThrowsIsReported() {
        String thrown = " threw exception from Java";
        expectFailure(new ScriptedStream(FILE).failingIn("length", 0), 3, 0, 0,
                "62 " + PREFIX + "  JavaStreamIOException: native JavaSeekableInputStream::Length: length()" + thrown);
        String closing = "\n Exception on aSource.Close(): " + PREFIX
                + " JavaStreamIOException: native JavaSeekableInputStream::Close: close()" + thrown;
        expectFailure(new ScriptedStream(FILE).failingIn("close", 0), 3, 0, 1, "62 Completed successfully" + closing);
        // A failure keeps its code when closing fails too.
        ScriptedStream header = new ScriptedStream(Arrays.copyOf(FILE, FILE.length - 2 * 175 * 211 - 12));
        assertNull(decode(header.failingIn("close", 0), 3, 0));
        assertEquals(6, result.DLResultCode);
        assertTrue(result.Message.endsWith("no Pixel data found in object being decoded)" + closing), result.Message);
        expectFailure(new ScriptedStream(new byte[0]).failingIn("close", 0), 4, 0, 1,
                "48 Native NDecompressor::decodeToMemory: Invalid compressed image type");
    }

    @Test
    void nullArgumentsAreFailedLookUps() {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            for (String method : List.of("SeekableInputStreamToMemory", "MultiFrameImageToMemory", "Ortho")) {
                for (DecomprResult to : new DecomprResult[] {null, result}) {
                    switch (method) {
                        case "Ortho" -> decompressor.decodeOrtho(null, 3, true, dataSet.getHandle(), null, 1, to);
                        case "MultiFrameImageToMemory" -> decompressor.decodeMultiFrameImageToMemory(null, 0, 0, to);
                        default -> decompressor.decodeSeekableInputStreamToMemory(null, 0, 3, 0, 1, to);
                    }
                }
                assertEquals("62 Native NDecompressor::decode" + method + ":  StreamIOException: native "
                        + "JavaSeekableInputStream::JavaSeekableInputStream(jobject): can't get Java class for "
                        + "SeekableInputStream", result.DLResultCode + " " + result.Message);
            }
        }
        decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(FILE), 0, 3, 0, 1, null).close();
    }

    private void expectType(boolean accepted) {
        String report = result.DLResultCode + " " + result.SystemError + " " + result.Message;
        assertNotEquals(0, result.DLResultCode); // there is no image in eight bytes
        assertEquals(!accepted,
                report.equals("48 0 Native NDecompressor::decodeToMemory: Invalid compressed image type"), report);
    }

    @ParameterizedTest
    @ValueSource(ints = {Integer.MIN_VALUE, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 257, 65537})
    void everyMethodHasItsOwnTypes(int type) {
        boolean bare = Set.of(1, 2, 7).contains(type);
        for (boolean lossless : new boolean[] {false, true}) {
            assertNull(decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(new byte[8], 8), 0, type, lossless,
                    1, result));
            expectType(bare);
            assertNull(decode(new ScriptedStream(new byte[8]), type, 0));
            expectType(bare || type == 3);
            try (DICOMDataObject dataSet = new DICOMDataObject()) {
                ScriptedStream stream = new ScriptedStream(new byte[8]);
                assertFalse(decompressor.decodeOrtho(stream, type, lossless, dataSet.getHandle(), null, 1, result));
                expectType(bare || type == 3);
                assertEquals(0, stream.closeCount, "decodeOrtho leaves the stream open");
            }
        }
    }

    /** The lossless transfer syntax has even an irreversible codestream taken as not lossy. */
    @ParameterizedTest
    @CsvSource({"2, false, false, true", "2, true, false, true", "7, false, true, false", "7, true, false, false"})
    void eachMethodChoosesTheTransferSyntaxItsOwnWay(int type, boolean lossless, boolean queueLossy,
            boolean streamLossy) {
        byte[] codestream = Compressed.jpeg2000();
        try (Renderable fromQueue = decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(codestream, 100), 0,
                type, lossless, 1, result);
                Renderable fromStream = decode(new ScriptedStream(codestream), type, 0)) {
            assertEquals(queueLossy + " " + streamLossy,
                    fromQueue.isLossyImageCompression() + " " + fromStream.isLossyImageCompression());
        }
    }
}
