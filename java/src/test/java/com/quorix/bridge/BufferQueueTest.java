// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.support.*;
import com.quorix.util.ByteArrayInputBuffer;
import java.io.*;
import java.net.SocketTimeoutException;
import java.util.*;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;

/** Queues of buffers as the native library empties them. */
class BufferQueueTest {
    private static final byte[] JPEG = Compressed.jpeg(120, 90, 3);
    private static final String END = "completed null, autoFlush true";

    private final DecomprResult result = new DecomprResult();

    private Renderable decode(ScriptedQueue queue, int type) {
        return new NDecompressor().decodeInputBufferQueueToMemory(queue, 0, type, false, 1, result);
    }

    private Renderable decode(ScriptedQueue queue) {
        return decode(queue, NDecompressor.TYPE_JPEG);
    }

    static Stream<Arguments> queues() {
        return Stream.of(
                Arguments.of("one buffer", new ScriptedQueue(JPEG, 1 << 20), 0, "get, completed 0, get, " + END),
                Arguments.of("an empty buffer before it", new ScriptedQueue(new ByteArrayInputBuffer(new byte[0]),
                        new ByteArrayInputBuffer(JPEG)), 0, "get, completed 0, get, completed 1, get, " + END),
                // A codec may stop long before the last buffer.
                Arguments.of("more than is read", new ScriptedQueue(Arrays.copyOf(JPEG, 1 << 20), 1 << 19), 0,
                        "get, completed 0, autoFlush true"),
                Arguments.of("less than the header", new ScriptedQueue(Arrays.copyOf(JPEG, 100), 50), 62,
                        "get, completed 0, get, completed 1, get, " + END),
                Arguments.of("none", new ScriptedQueue(), 62, "get, " + END));
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("queues")
    void everyBufferIsHandedBack(String name, ScriptedQueue queue, int code, String events) {
        try (Renderable image = decode(queue)) {
            assertEquals(code, result.DLResultCode, result.Message);
            if (code == 0) {
                assertArrayEquals(Compressed.jpegPixels(JPEG), Images.pixelsOf(image));
            }
        }
        assertEquals(events, String.join(", ", queue.events));
    }

    @Test
    void whatMethodsThrowEndsTheDecoding() {
        byte[] half = Arrays.copyOf(JPEG, JPEG.length / 2);
        assertNull(decode(new ScriptedQueue(half, 50).failingIn("get", new SocketTimeoutException("stop"))));
        assertEquals("63 Decoder exception: DecodingInterruptedException: DecodingInterruptedException: "
                + "Decoding interrupted", result.DLResultCode + " " + result.Message);
        for (String operation : List.of("get", "completed", "autoFlush")) {
            EOFException gone = new EOFException("gone");
            byte[] bytes = operation.equals("get") ? half : JPEG;
            ScriptedQueue lost = new ScriptedQueue(bytes, 50).failingIn(operation, gone);
            assertSame(gone, assertThrows(Exception.class, () -> decode(lost)));
            assertEquals(62, result.DLResultCode);
        }
        assertEquals("Native NDecompressor::decodeInputBufferQueueToMemory:  the input buffer queue threw an exception",
                result.Message);
    }

    @Test
    void anInvalidTypeSendsTheProducerHome() {
        ScriptedQueue queue = new ScriptedQueue(JPEG, 500);
        assertNull(decode(queue, NDecompressor.TYPE_DICOM));
        assertEquals(48, result.DLResultCode);
        assertEquals(List.of("autoFlush true"), queue.events);
        RuntimeException failure = new IllegalStateException("autoFlush");
        queue.failingIn("autoFlush", failure);
        assertSame(failure, assertThrows(RuntimeException.class, () -> decode(queue, NDecompressor.TYPE_DICOM)));
        assertEquals(48, result.DLResultCode);
    }

    @Test
    void nullArgumentsAreFailedLookUps() {
        assertNull(decode(null));
        assertEquals(62, result.DLResultCode, result.Message);
        new NDecompressor().decodeInputBufferQueueToMemory(new ScriptedQueue(JPEG, 500), 0, NDecompressor.TYPE_JPEG,
                false, 1, null).close();
    }
}
