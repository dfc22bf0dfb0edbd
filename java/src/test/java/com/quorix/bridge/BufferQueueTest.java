// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.support.Compressed;
import com.quorix.support.NativeMemory;
import com.quorix.support.Places;
import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBuffer;
import java.io.EOFException;
import java.io.IOException;
import java.io.InterruptedIOException;
import java.net.SocketTimeoutException;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Queues of buffers as the native library empties them. */
class BufferQueueTest {
    private static final int COLUMNS = 120;
    private static final int ROWS = 90;

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();

    private Renderable decode(ScriptedQueue queue) {
        return decompressor.decodeInputBufferQueueToMemory(queue, 0, NDecompressor.TYPE_JPEG, false, 1, result);
    }

    private static byte[] jpeg() {
        try {
            return Compressed.jpeg(COLUMNS, ROWS, 3);
        } catch (IOException exception) {
            throw new AssertionError(exception);
        }
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 100, 1 << 20})
    void buffersOfAnySizeGiveTheImage(int bufferSize) throws IOException {
        ScriptedQueue queue = new ScriptedQueue(jpeg(), bufferSize);
        try (Renderable image = decode(queue)) {
            assertNotNull(image, result.Message);
            assertArrayEquals(Compressed.jpegPixels(jpeg()), Pixels.bytes(image));
        }
        List<String> expected = new ArrayList<>();
        for (int n = 0; n * bufferSize < jpeg().length; n++) {
            expected.addAll(List.of("get", "completed " + n));
        }
        expected.addAll(List.of("get", "completed null", "autoFlush true"));
        assertEquals(expected, queue.events);
    }

    @Test
    void emptyBuffersAreHandedBackToo() {
        ScriptedQueue queue = new ScriptedQueue(new byte[0], 1).add(new ByteArrayInputBuffer(new byte[0]))
                .add(new ByteArrayInputBuffer(jpeg()));
        try (Renderable image = decode(queue)) {
            assertNotNull(image, result.Message);
        }
        assertEquals(List.of("get", "completed 0", "get", "completed 1", "get", "completed null", "autoFlush true"),
                queue.events);
    }

    @Test
    void aPartlyReadBufferIsHandedBack() {
        // The picture stands in the first of many buffers; a codec may stop long before the last.
        byte[] bytes = Arrays.copyOf(jpeg(), 1 << 20);
        ScriptedQueue queue = new ScriptedQueue(bytes, 1 << 19);
        try (Renderable image = decode(queue)) {
            assertNotNull(image, result.Message);
        }
        assertEquals(List.of("get", "completed 0", "autoFlush true"), queue.events);
    }

    @Test
    void anEmptyQueueIsAFailure() {
        ScriptedQueue queue = new ScriptedQueue(new byte[0], 1);
        assertNull(decode(queue));
        assertEquals(62, result.DLResultCode);
        assertEquals(List.of("get", "completed null", "autoFlush true"), queue.events);
    }

    static Stream<IOException> interruptions() {
        return Stream.of(new InterruptedIOException("stop"), new SocketTimeoutException("stop"));
    }

    @ParameterizedTest
    @MethodSource("interruptions")
    void anInterruptionIsACode(IOException interruption) {
        ScriptedQueue queue = new ScriptedQueue(Arrays.copyOf(jpeg(), 600), 200).endingWith(interruption);
        assertNull(decode(queue));
        assertEquals("63 Decoder exception: DecodingInterruptedException: DecodingInterruptedException: Decoding "
                + "interrupted", result.DLResultCode + " " + result.Message);
        assertEquals("autoFlush true", queue.events.get(queue.events.size() - 1));
    }

    @ParameterizedTest
    @ValueSource(ints = {4, 100, 3000, 7400})
    void jpeg2000DecodingEndsTheSameWay(int bytes) throws Exception {
        byte[] codestream = Files.readAllBytes(Places.samples().resolve("jpeg2000/gen_rev_u16_n_1.j2k"));
        byte[] start = Arrays.copyOf(codestream, bytes);
        assertNull(decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(start, 50).endingWith(
                new InterruptedIOException("stop")), 0, NDecompressor.TYPE_JPEG2000, false, 1, result));
        assertEquals("63 Decoder exception: DecodingInterruptedException: DecodingInterruptedException: Decoding "
                + "interrupted", result.DLResultCode + " " + result.Message);
        EOFException failure = new EOFException("gone");
        assertSame(failure, assertThrows(Exception.class, () -> decompressor.decodeInputBufferQueueToMemory(
                new ScriptedQueue(start, 50).endingWith(failure), 0, NDecompressor.TYPE_JPEG2000, false, 1, result)));
        assertEquals(62, result.DLResultCode, result.Message);
        NativeMemory.awaitAllocatedBlocks(0);
    }

    static Stream<Exception> failures() {
        return Stream.of(new EOFException("gone"), new IllegalStateException("broken"));
    }

    @ParameterizedTest
    @MethodSource("failures")
    void otherExceptionsReachTheCaller(Exception failure) throws InterruptedException {
        // All but the end of the image: a codec that takes this for a truncated file must not show it.
        ScriptedQueue queue = new ScriptedQueue(Arrays.copyOf(jpeg(), jpeg().length - 20), 300).endingWith(failure);
        assertSame(failure, assertThrows(Exception.class, () -> decode(queue)));
        assertEquals(62, result.DLResultCode, result.Message);
        assertNotNull(result.Message);
        assertEquals("autoFlush true", queue.events.get(queue.events.size() - 1));
        assertEquals(1, Collections.frequency(queue.events, "autoFlush true"));
        NativeMemory.awaitAllocatedBlocks(0);
    }

    @Test
    void exceptionsOfTheOtherMethodsReachTheCallerToo() {
        RuntimeException failure = new IllegalStateException("completed");
        ScriptedQueue first = new ScriptedQueue(jpeg(), 100).failingInCompleted(failure);
        assertSame(failure, assertThrows(RuntimeException.class, () -> decode(first)));
        ScriptedQueue second = new ScriptedQueue(jpeg(), 100).failingInAutoFlush(failure);
        assertSame(failure, assertThrows(RuntimeException.class, () -> decode(second)));
        assertEquals("62 Native NDecompressor::decodeInputBufferQueueToMemory:  the input buffer queue threw an "
                + "exception", result.DLResultCode + " " + result.Message);
    }

    static Stream<InputBuffer> nonsense() {
        return Stream.of(new InputBuffer() {
            @Override
            public int getBytesAvailable() {
                return 10;
            }
        }, new ByteArrayInputBuffer(new byte[10]) {
            @Override
            public int getBytesAvailable() {
                return -5;
            }
        }, new ByteArrayInputBuffer(new byte[10]) {
            @Override
            public byte[] getArray() {
                return null;
            }
        });
    }

    @ParameterizedTest
    @MethodSource("nonsense")
    void buffersThatMakeNoSenseEndTheData(InputBuffer buffer) {
        assertNull(decode(new ScriptedQueue(new byte[0], 1).add(buffer)));
        assertEquals(62, result.DLResultCode, result.Message);
    }

    @Test
    void aBufferThatClaimsMoreThanItsArrayHoldsThrows() {
        ScriptedQueue queue = new ScriptedQueue(new byte[0], 1).add(new ByteArrayInputBuffer(new byte[10]) {
            @Override
            public int getBytesAvailable() {
                return Integer.MAX_VALUE;
            }
        });
        assertThrows(ArrayIndexOutOfBoundsException.class, () -> decode(queue));
        assertEquals(List.of("get", "completed 0", "autoFlush true"), queue.events);
    }

    @Test
    void nullArgumentsAreFailedLookUps() {
        assertNull(decode(null));
        assertEquals(62, result.DLResultCode, result.Message);
        Renderable image = decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(jpeg(), 500), 0,
                NDecompressor.TYPE_JPEG, false, 1, null);
        assertNotNull(image);
        image.close();
    }

    @Test
    void anInvalidTypeSendsTheProducerHome() {
        ScriptedQueue queue = new ScriptedQueue(jpeg(), 500);
        assertNull(decompressor.decodeInputBufferQueueToMemory(queue, 0, NDecompressor.TYPE_DICOM, true, 1, result));
        assertEquals("48 Native NDecompressor::decodeToMemory: Invalid compressed image type",
                result.DLResultCode + " " + result.Message);
        assertEquals(List.of("autoFlush true"), queue.events);
        RuntimeException failure = new IllegalStateException("autoFlush");
        ScriptedQueue failing = new ScriptedQueue(jpeg(), 500).failingInAutoFlush(failure);
        assertSame(failure, assertThrows(RuntimeException.class, () -> decompressor.decodeInputBufferQueueToMemory(
                failing, 0, NDecompressor.TYPE_DICOM, true, 1, result)));
        assertEquals(48, result.DLResultCode);
    }

    @Test
    void aHundredThousandBuffersLeaveNoReferences() {
        byte[] bytes = Arrays.copyOf(jpeg(), 100_000);
        System.arraycopy(jpeg(), 4, bytes, 100_000 - jpeg().length + 4, jpeg().length - 4);
        // The image after one long comment, so that every buffer is read.
        int position = 2;
        int target = 100_000 - jpeg().length + 2;
        while (position < target) {
            int length = Math.min(60_000, target - position - 2);
            if (target - position - 2 - length < 4 && length != target - position - 2) {
                length -= 10;
            }
            bytes[position] = (byte) 0xff;
            bytes[position + 1] = (byte) 0xfe;
            bytes[position + 2] = (byte) (length >> 8);
            bytes[position + 3] = (byte) length;
            position += 2 + length;
        }
        bytes[target] = (byte) 0xff;
        bytes[target + 1] = jpeg()[3];
        ScriptedQueue queue = new ScriptedQueue(bytes, 1);
        try (Renderable image = decode(queue)) {
            assertNotNull(image, result.Message);
        }
        assertEquals(100_000, queue.events.stream().filter(event -> event.startsWith("completed "))
                .filter(event -> !event.endsWith("null")).count());
    }
}
