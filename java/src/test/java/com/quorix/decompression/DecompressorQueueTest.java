// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import com.quorix.util.*;
import java.io.IOException;
import java.util.concurrent.CompletableFuture;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Decoding while the data arrives on another thread. */
@Timeout(60)
class DecompressorQueueTest {
    private static final DecodeOptions JPEG = DecodeOptions.DEFAULT.withType(ImageType.JPEG);
    private static final byte[] CODESTREAM = Compressed.jpeg(203, 157, 0);

    private final InputBufferQueue queue = new InputBufferQueue(3);

    /** Puts the first bytes in pieces on another thread, then does what comes at the end. */
    private CompletableFuture<Void> produce(int bytes, int piece, Runnable end) {
        return CompletableFuture.runAsync(() -> {
            try {
                for (int done = 0; done < bytes; done += piece) {
                    ByteArrayInputBuffer buffer = queue.obtain(piece);
                    int count = Math.min(piece, bytes - done);
                    System.arraycopy(CODESTREAM, done, buffer.getArray(), 0, count);
                    buffer.setBytesAvailable(count);
                    queue.put(buffer);
                }
            } catch (InterruptedException exception) {
                throw new AssertionError(exception);
            }
            end.run();
        });
    }

    /** In the smallest, too: more than the references that a native method may have at a time. */
    @ParameterizedTest
    @ValueSource(ints = {1, 7, 1 << 20})
    void piecesOfAnySizeGiveTheImage(int piece) throws Exception {
        CompletableFuture<Void> producer = produce(CODESTREAM.length, piece, queue::finish);
        try (Renderable image = Decompressor.decode(queue, JPEG)) {
            assertArrayEquals(Compressed.jpegPixels(CODESTREAM), Images.pixelsOf(image));
        }
        producer.get();
        assertTrue(queue.takesNoMore());
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void anInterruptedDecodingSaysSo(boolean interruptThread) {
        Thread decoder = Thread.currentThread();
        produce(CODESTREAM.length / 2, 512, interruptThread ? decoder::interrupt : queue::interrupt);
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Decompressor.decode(queue, JPEG));
        assertTrue(queue.takesNoMore());
        assertEquals(DecompressionException.INTERRUPTED, failure.getCode());
        assertFalse(failure.getMessage().isEmpty());
        assertEquals(interruptThread, Thread.interrupted());
    }

    @Test
    void emptyBuffersForEverAreLeftByInterrupting() {
        int[] buffers = {0};
        InputBufferQueue empty = new InputBufferQueue() {
            @Override
            public InputBuffer get() {
                if (++buffers[0] == 50) {
                    Thread.currentThread().interrupt();
                }
                return new ByteArrayInputBuffer(new byte[0]);
            }
        };
        assertEquals(DecompressionException.INTERRUPTED,
                assertThrows(DecompressionException.class, () -> Decompressor.decode(empty, JPEG)).getCode());
        assertTrue(Thread.interrupted());
    }

    @ParameterizedTest
    @ValueSource(strings = {"AUTOMATIC", "DICOM"})
    void theTypeMustBeTold(ImageType type) {
        assertThrows(IllegalArgumentException.class, () -> Decompressor.decode(queue, JPEG.withType(type)));
    }
}
