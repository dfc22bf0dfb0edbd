// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.support.*;
import java.io.*;
import java.net.SocketTimeoutException;
import java.util.*;
import org.junit.jupiter.api.Test;

/** Queues of buffers as the native library empties them. */
class BufferQueueTest {
    private static final byte[] JPEG = Compressed.jpeg(120, 90, 3);

    private final DecomprResult result = new DecomprResult();

    private Renderable decode(ScriptedQueue queue, int type) {
        return new NDecompressor().decodeInputBufferQueueToMemory(queue, 0, type, false, 1, result);
    }

    private Renderable decode(ScriptedQueue queue) {
        return decode(queue, NDecompressor.TYPE_JPEG);
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
