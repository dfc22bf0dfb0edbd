// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

/** Java streams as the native library reads them. */
class SeekableStreamTest {
    private static final String PREFIX = "Native NDecompressor::decodeSeekableInputStreamToMemory:";
    private static final int ROWS = 40;
    private static final int COLUMNS = 50;

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();

    private static DicomFile grey(int columns, int rows) {
        return DicomFile.grey16(columns, rows);
    }

    private static byte[] oneFrame() {
        return grey(COLUMNS, ROWS).nativeFrames(1, Compressed.gradient16(COLUMNS, ROWS, 0)).toBytes();
    }

    private static byte[] headerOnly() {
        byte[] file = oneFrame();
        return Arrays.copyOf(file, file.length - 2 * COLUMNS * ROWS - 12);
    }

    /** Frames of 80,000 bytes, far more than is read at a time. */
    private static byte[] largeFrames(int count) {
        ByteArrayOutputStream pixels = new ByteArrayOutputStream();
        for (int frame = 0; frame < count; frame++) {
            pixels.writeBytes(Compressed.gradient16(200, 200, frame));
        }
        return grey(200, 200).nativeFrames(count, pixels.toByteArray()).toBytes();
    }

    private Renderable decode(ScriptedStream stream, int imageType, int frame) {
        return decompressor.decodeSeekableInputStreamToMemory(stream, 0, imageType, frame, 1, result);
    }

    static Stream<ScriptedStream> slowStreams() {
        byte[] file = oneFrame();
        return Stream.of(new ScriptedStream(file), new ScriptedStream(file).inBitsOf(1),
                new ScriptedStream(file).inBitsOf(7).withEmptyReads());
    }

    @ParameterizedTest
    @MethodSource("slowStreams")
    void streamsMayDeliverAnyNumberOfBytes(ScriptedStream stream) {
        try (Renderable image = decode(stream, NDecompressor.TYPE_DICOM, 0)) {
            assertEquals("Completed successfully", result.Message);
            assertArrayEquals(Compressed.gradient16(COLUMNS, ROWS, 0), Pixels.bytes(image));
        }
        assertEquals(1, stream.closeCount);
    }

    @Test
    void shortReadsAreReadAheadAndLongOnesCut() {
        // 512 bytes are wanted first; of the pixels more than Java's array holds, and at last 100 bytes.
        ScriptedStream stream = new ScriptedStream(
                grey(175, 211).nativeFrames(1, Compressed.gradient16(175, 211, 0)).toBytes());
        try (Renderable image = decode(stream, NDecompressor.TYPE_DICOM, 0)) {
            assertArrayEquals(Compressed.gradient16(175, 211, 0), Pixels.bytes(image));
        }
        assertEquals(List.of(8704, 16384, 16384, 16384, 16384, 8292), stream.readSizes);
    }

    @Test
    void aFrameFarBehindIsReachedWithoutReadingTheOnesBefore() {
        ScriptedStream stream = new ScriptedStream(largeFrames(10));
        try (Renderable image = decode(stream, NDecompressor.TYPE_DICOM, 9)) {
            assertArrayEquals(Compressed.gradient16(200, 200, 9), Pixels.bytes(image));
        }
        assertTrue(stream.readSizes.size() < 10, stream.readSizes::toString);
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "length | 62 |   JavaStreamIOException: native JavaSeekableInputStream::Length: length()",
        "read | 38 | Error reading Part10Header, possible corruption: native JavaSeekableInputStream::Read: "
            + "read(byte[], int, int)"})
    void aThrowingOperationEndsTheCall(String operation, int code, String text) {
        ScriptedStream stream = new ScriptedStream(oneFrame()).failingIn(operation);
        assertNull(decode(stream, NDecompressor.TYPE_DICOM, 0));
        String expected = (code == 62 ? PREFIX + "  " : "") + text + " threw exception from Java";
        assertEquals(code + " " + expected, result.DLResultCode + " " + result.Message);
        assertEquals(0, stream.closeCount, "the exception has closed the stream");
    }

    @Test
    void aThrowingSkipIsReported() {
        ScriptedStream stream = new ScriptedStream(largeFrames(3)).failingIn("skip");
        assertNull(decode(stream, NDecompressor.TYPE_DICOM, 2));
        assertEquals("67 native JavaSeekableInputStream::Skip: skip(int) threw exception from Java",
                result.DLResultCode + " " + result.Message);
    }

    @Test
    void aStreamThatCannotBeClosedSpoilsASuccess() {
        ScriptedStream stream = new ScriptedStream(oneFrame()).failingIn("close");
        assertNull(decode(stream, NDecompressor.TYPE_DICOM, 0));
        assertEquals(62, result.DLResultCode);
        assertEquals("Completed successfully\n Exception on aSource.Close(): " + PREFIX
                + " JavaStreamIOException: native JavaSeekableInputStream::Close: close() threw exception from Java",
                result.Message);
    }

    @Test
    void aFailureKeepsItsCodeWhenClosingFailsToo() {
        ScriptedStream stream = new ScriptedStream(headerOnly()).failingIn("close");
        assertNull(decode(stream, NDecompressor.TYPE_DICOM, 0));
        assertEquals(6, result.DLResultCode);
        assertTrue(result.Message.contains("no Pixel data found in object being decoded)\n Exception on "
                + "aSource.Close(): " + PREFIX + " JavaStreamIOException: "), result.Message);
    }

    @Test
    void closingAfterAnInvalidTypeIsSilent() {
        ScriptedStream stream = new ScriptedStream(new byte[0]).failingIn("close");
        assertNull(decode(stream, 4, 0));
        assertEquals("48 Native NDecompressor::decodeToMemory: Invalid compressed image type",
                result.DLResultCode + " " + result.Message);
        assertEquals(1, stream.closeCount);
    }

    @Test
    void aStreamThatClaimsMoreBytesThanWereAskedForIsRefused() {
        ScriptedStream stream = new ScriptedStream(oneFrame()) {
            @Override
            public int read(byte[] buffer, int offset, int length) {
                return Integer.MAX_VALUE;
            }
        };
        // Bytes of the array are used until it is exceeded: zeros, which are no DICOM file.
        assertNull(decode(stream, NDecompressor.TYPE_DICOM, 0));
        assertEquals(38, result.DLResultCode, result.Message);
    }

    @Test
    void nullArgumentsAreFailedLookUps() {
        assertNull(decode(null, NDecompressor.TYPE_DICOM, 0));
        assertEquals("62 " + PREFIX + "  StreamIOException: native JavaSeekableInputStream::"
                + "JavaSeekableInputStream(jobject): can't get Java class for SeekableInputStream",
                result.DLResultCode + " " + result.Message);
        byte[] file = oneFrame();
        Renderable image = decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(file), 0,
                NDecompressor.TYPE_DICOM, 0, 1, null);
        assertNotNull(image);
        image.close();
    }

    @Test
    void jpegThroughAStreamIsWhatThePlatformReads() throws IOException {
        byte[] jpeg = Compressed.jpeg(90, 70, 1);
        for (int count : List.of(1, 1000, Integer.MAX_VALUE)) {
            try (Renderable image = decode(new ScriptedStream(jpeg).inBitsOf(count), NDecompressor.TYPE_JPEG, 0)) {
                assertNotNull(image, result.Message);
                assertArrayEquals(Compressed.jpegPixels(jpeg), Pixels.bytes(image));
            }
        }
    }
}
