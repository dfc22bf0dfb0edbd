// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.NativeMemory;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Frame after frame to a listener. */
class MultiFrameTest {
    private static final int COLUMNS = 20;
    private static final int ROWS = 16;

    private final NDecompressor decompressor = new NDecompressor();

    /** Collects frames and frees them. */
    private static class Listener extends DecomprResult {
        final List<Integer> indices = new ArrayList<>();
        final List<byte[]> pixels = new ArrayList<>();
        int last = Integer.MAX_VALUE;
        RuntimeException failure;

        @Override
        public boolean renderableAvailable(int frameIndex, Renderable image) {
            indices.add(frameIndex);
            pixels.add(Pixels.bytes(image));
            image.close();
            if (failure != null) {
                throw failure;
            }
            return frameIndex < last;
        }
    }

    private final Listener listener = new Listener();

    private static byte[] nativeFile(int frames) {
        ByteArrayOutputStream pixels = new ByteArrayOutputStream();
        for (int frame = 0; frame < frames; frame++) {
            pixels.writeBytes(Compressed.gradient16(COLUMNS, ROWS, frame));
        }
        return DicomFile.grey16(COLUMNS, ROWS).nativeFrames(frames, pixels.toByteArray()).toBytes();
    }

    private static byte[] rleFile(int frames) {
        List<byte[]> codestreams = new ArrayList<>();
        for (int frame = 0; frame < frames; frame++) {
            codestreams.add(Compressed.rle(Compressed.gradient16(COLUMNS, ROWS, frame), 1, 2));
        }
        return DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE, codestreams).toBytes();
    }

    private static byte[] file(String kind, int frames) {
        return kind.equals("native") ? nativeFile(frames) : rleFile(frames);
    }

    private boolean decode(ScriptedStream stream, int firstFrame) {
        boolean success = decompressor.decodeMultiFrameImageToMemory(stream, 0, firstFrame, listener);
        assertEquals(1, stream.closeCount);
        return success;
    }

    private void expectFrames(int first, int last) {
        for (int frame = first; frame <= last; frame++) {
            assertEquals(frame, listener.indices.get(frame - first));
            assertArrayEquals(Compressed.gradient16(COLUMNS, ROWS, frame), listener.pixels.get(frame - first));
        }
        assertEquals(last - first + 1, listener.indices.size());
    }

    @ParameterizedTest
    @CsvSource({"native, 5, 0, 0", "native, 5, 3, 3", "native, 1, 0, 0", "native, 5, -4, 0", "rle, 5, 0, 0",
        "rle, 5, 3, 3", "rle, 1, 0, 0", "rle, 5, 5, 5", "native, 5, 9, 5"})
    void framesArriveFromTheFirstAskedFor(String kind, int frames, int argument, int first) {
        assertTrue(decode(new ScriptedStream(file(kind, frames)), argument), () -> listener.Message);
        assertEquals("0 Completed successfully", listener.DLResultCode + " " + listener.Message);
        expectFrames(first, frames - 1);
    }

    @ParameterizedTest
    @CsvSource({"native", "rle"})
    void theListenerStopsTheDecoding(String kind) {
        // What comes after the second frame is damaged: nobody looks at it any more.
        byte[] file = file(kind, 5);
        listener.last = 1;
        assertTrue(decode(new ScriptedStream(Arrays.copyOf(file, file.length - 2 * COLUMNS * ROWS)), 0));
        assertEquals(0, listener.DLResultCode);
        expectFrames(0, 1);
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "native | 37 Failed to read the pixel data",
        "rle    | 38 MultiFramePart10StreamDecompressor::Decode: anImageFrameInputStream->GetFrame(4) failed"})
    void aMissingFrameEndsTheCallAndTheOthersStay(String kind, String expected) throws InterruptedException {
        byte[] file;
        if (kind.equals("native")) {
            file = Arrays.copyOf(nativeFile(5), nativeFile(5).length - 10);
        } else {
            file = new String(rleFile(4), java.nio.charset.StandardCharsets.ISO_8859_1)
                    .replace("IS\2\0004 ", "IS\2\0005 ").getBytes(java.nio.charset.StandardCharsets.ISO_8859_1);
        }
        assertFalse(decode(new ScriptedStream(file), 1));
        assertEquals(expected, listener.DLResultCode + " " + listener.Message);
        expectFrames(1, 3);
        NativeMemory.awaitAllocatedBlocks(0);
    }

    @Test
    void aDamagedFrameEndsTheCall() {
        List<byte[]> codestreams = new ArrayList<>();
        for (int frame = 0; frame < 4; frame++) {
            codestreams.add(frame == 2 ? new byte[64]
                    : Compressed.rle(Compressed.gradient16(COLUMNS, ROWS, frame), 1, 2));
        }
        byte[] file = DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE, codestreams).toBytes();
        assertFalse(decode(new ScriptedStream(file), 0));
        assertTrue(listener.DLResultCode != 0 && listener.DLResultCode != 6, listener.toString());
        expectFrames(0, 1);
        // Below the first frame it is only fetched.
        Listener later = new Listener();
        assertTrue(decompressor.decodeMultiFrameImageToMemory(new ScriptedStream(file), 0, 3, later),
                later::toString);
        assertEquals(List.of(3), later.indices);
    }

    @Test
    void theListenersExceptionReachesTheCaller() throws InterruptedException {
        listener.failure = new IllegalStateException("enough");
        ScriptedStream stream = new ScriptedStream(nativeFile(3));
        assertSame(listener.failure, assertThrows(IllegalStateException.class, () -> decode(stream, 0)));
        assertEquals(1, stream.closeCount);
        assertEquals(List.of(0), listener.indices);
        assertEquals("Completed successfully", listener.Message);
        NativeMemory.awaitAllocatedBlocks(0);
    }

    @Test
    void aFileWithoutPixelDataIsNamed() {
        byte[] file = nativeFile(1);
        assertFalse(decode(new ScriptedStream(Arrays.copyOf(file, file.length - 2 * COLUMNS * ROWS - 12)), 0));
        assertEquals("6 MultiFramePart10StreamDecompressor::Decode: (no Renderable at end - no Pixel data found in "
                + "object being decoded)", listener.DLResultCode + " " + listener.Message);
    }

    @Test
    void framesWithoutPixelsAreNotCountedTo() {
        // Two thousand million frames of no bytes at all.
        byte[] file = DicomFile.grey16(COLUMNS, 0).nativeFrames(1, new byte[0]).text(0x00280008, "IS", "2000000000")
                .toBytes();
        decode(new ScriptedStream(file), 0);
        assertTrue(listener.indices.size() <= 1);
    }

    @Test
    void aHundredThousandFramesLeaveNoReferences() {
        byte[] file = DicomFile.grey8(2, 1).nativeFrames(100_000, Compressed.gradient8(2, 100_000, 0)).toBytes();
        int[] delivered = {0};
        DecomprResult counter = new DecomprResult() {
            @Override
            public boolean renderableAvailable(int frameIndex, Renderable image) {
                image.close();
                return delivered[0]++ == frameIndex;
            }
        };
        assertTrue(decompressor.decodeMultiFrameImageToMemory(new ScriptedStream(file), 0, 0, counter));
        assertEquals(100_000, delivered[0]);
    }

    @Test
    void colourFramesComeAsRgb() {
        byte[] file = DicomFile.rgb8(8, 8).nativeFrames(2, Compressed.gradientRgb(8, 16, 0)).toBytes();
        assertTrue(decode(new ScriptedStream(file), 0), listener::toString);
        assertArrayEquals(Compressed.gradientRgb(8, 16, 0), concatenated(listener.pixels));
    }

    private static byte[] concatenated(List<byte[]> parts) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        parts.forEach(out::writeBytes);
        return out.toByteArray();
    }

    @Test
    void nullArgumentsAreFailedLookUps() {
        assertFalse(decompressor.decodeMultiFrameImageToMemory(null, 0, 0, listener));
        assertEquals("62 Native NDecompressor::decodeMultiFrameImageToMemory:  StreamIOException: native "
                + "JavaSeekableInputStream::JavaSeekableInputStream(jobject): can't get Java class for "
                + "SeekableInputStream", listener.DLResultCode + " " + listener.Message);
        assertFalse(decompressor.decodeMultiFrameImageToMemory(new ScriptedStream(nativeFile(2)), 0, 0, null));
    }

    @Test
    void closingFailsTheCall() {
        ScriptedStream stream = new ScriptedStream(nativeFile(1)).failingIn("close");
        assertFalse(decode(stream, 0));
        assertEquals("62 Completed successfully\n Exception on aSource.Close(): Native "
                + "NDecompressor::decodeMultiFrameImageToMemory: JavaStreamIOException: native "
                + "JavaSeekableInputStream::Close: close() threw exception from Java",
                listener.DLResultCode + " " + listener.Message);
    }

    @Test
    void jpegFramesAreWhatThePlatformReads() throws IOException {
        List<byte[]> codestreams = List.of(Compressed.jpeg(40, 30, 0), Compressed.jpeg(40, 30, 9));
        byte[] file = DicomFile.grey8(40, 30).encapsulated(DicomFile.JPEG_BASELINE, codestreams).toBytes();
        assertTrue(decode(new ScriptedStream(file), 0), listener::toString);
        for (int frame = 0; frame < 2; frame++) {
            assertArrayEquals(Compressed.jpegPixels(codestreams.get(frame)), listener.pixels.get(frame));
        }
    }
}
