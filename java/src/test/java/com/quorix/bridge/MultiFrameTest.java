// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.support.*;
import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;

/** Frame after frame to a listener. */
class MultiFrameTest {
    private static final int COLUMNS = 20;
    private static final int ROWS = 16;
    private static final int FRAME_BYTES = 2 * COLUMNS * ROWS;

    /** Collects frames and frees them. */
    private static class Listener extends DecomprResult {
        final List<Integer> indices = new ArrayList<>();
        final List<byte[]> pixels = new ArrayList<>();

        @Override
        public boolean renderableAvailable(int frameIndex, Renderable image) {
            indices.add(frameIndex);
            pixels.add(Images.pixelsOf(image));
            image.close();
            return true;
        }
    }

    private final Listener listener = new Listener();

    @AfterEach
    void nothingIsLeft() throws InterruptedException {
        NativeMemory.awaitAllocatedBlocks(0);
    }

    private static byte[] jpeg(int frame) {
        return Compressed.jpeg(COLUMNS, ROWS, 5 * frame);
    }

    private static byte[] file(String kind, int frames) {
        if (kind.equals("jpeg")) {
            List<byte[]> codestreams = new ArrayList<>();
            for (int frame = 0; frame < frames; frame++) {
                codestreams.add(jpeg(frame));
            }
            return DicomFile.grey8(COLUMNS, ROWS).jpegFrames(codestreams).toBytes();
        }
        ByteArrayOutputStream pixels = new ByteArrayOutputStream();
        for (int frame = 0; frame < frames; frame++) {
            pixels.writeBytes(Compressed.gradient16(COLUMNS, ROWS, frame));
        }
        return DicomFile.grey16(COLUMNS, ROWS).nativeFrames(frames, pixels.toByteArray()).toBytes();
    }

    private boolean decode(ScriptedStream stream, int firstFrame) {
        boolean success = new NDecompressor().decodeMultiFrameImageToMemory(stream, 0, firstFrame, listener);
        assertEquals(1, stream.closeCount);
        return success;
    }

    private void expect(String report, String kind, int first, int last) {
        assertEquals(report, listener.DLResultCode + " " + listener.Message);
        assertEquals(last - first + 1, listener.indices.size());
        for (int frame = first; frame <= last; frame++) {
            assertEquals(frame, listener.indices.get(frame - first));
            assertArrayEquals(kind.equals("jpeg") ? Compressed.jpegPixels(jpeg(frame))
                    : Compressed.gradient16(COLUMNS, ROWS, frame), listener.pixels.get(frame - first));
        }
    }

    /** A thousand are more than the references that a native method may have at a time. */
    @ParameterizedTest
    @CsvSource({"native, 5, 0, 0", "native, 5, 3, 3", "native, 1, 0, 0", "native, 5, -4, 0", "native, 5, 9, 5",
        "native, 1000, 0, 0", "jpeg, 5, 0, 0", "jpeg, 5, 3, 3", "jpeg, 1, 0, 0", "jpeg, 5, 5, 5"})
    void framesArriveFromTheFirstAskedFor(String kind, int frames, int argument, int first) {
        // Nobody asks how long the stream is.
        assertTrue(decode(new ScriptedStream(file(kind, frames)).failingIn("length", 0), argument));
        expect("0 Completed successfully", kind, first, frames - 1);
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "native | 37 Failed to read the pixel data",
        "jpeg   | 38 MultiFramePart10StreamDecompressor::Decode: anImageFrameInputStream->GetFrame(4) failed"})
    void aMissingFrameEndsTheCallAndTheOthersStay(String kind, String expected) {
        byte[] file = Arrays.copyOf(file("native", 5), file("native", 5).length - 10);
        if (kind.equals("jpeg")) {
            file = new String(file(kind, 4), StandardCharsets.ISO_8859_1).replace("IS\2\0004 ", "IS\2\0005 ")
                    .getBytes(StandardCharsets.ISO_8859_1);
        }
        assertFalse(decode(new ScriptedStream(file), 1));
        expect(expected, kind, 1, 3);
    }

    /** Below the first frame it is only fetched. */
    @Test
    void aDamagedFrameBeforeTheFirstDoesNotMatter() {
        byte[] file = DicomFile.grey8(COLUMNS, ROWS).jpegFrames(List.of(jpeg(0), new byte[64], jpeg(3))).toBytes();
        assertTrue(decode(new ScriptedStream(file), 2), listener::toString);
        assertEquals(List.of(2), listener.indices);
    }

    @Test
    void whereThereIsNoFrameTheReasonIsNamed() {
        byte[] file = file("native", 1);
        assertFalse(decode(new ScriptedStream(Arrays.copyOf(file, file.length - FRAME_BYTES - 12)), 0));
        expect("6 MultiFramePart10StreamDecompressor::Decode: (no Renderable at end - no Pixel data found in "
                + "object being decoded)", "native", 0, -1);
        // A result of the library's own wants no frames.
        assertTrue(new NDecompressor().decodeMultiFrameImageToMemory(new ScriptedStream(file), 0, 0,
                new DecomprResult()));
    }

    @Test
    void closingFailsTheCall() {
        assertFalse(decode(new ScriptedStream(file("native", 1)).failingIn("close", 0), 0));
        expect("62 Completed successfully\n Exception on aSource.Close(): Native "
                + "NDecompressor::decodeMultiFrameImageToMemory: JavaStreamIOException: native "
                + "JavaSeekableInputStream::Close: close() threw exception from Java", "native", 0, 0);
    }
}
