// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.support.Compressed;
import com.quorix.support.Images;
import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.util.Arrays;
import java.util.concurrent.CompletableFuture;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Decoding while the data arrives on another thread. */
@Timeout(60)
class DecompressorQueueTest {
    private static final DecodeOptions JPEG = DecodeOptions.DEFAULT.withType(ImageType.JPEG);
    private static byte[] codestream;

    private final InputBufferQueue queue = new InputBufferQueue(3);

    @BeforeAll
    static void makeCodestream() throws IOException {
        codestream = Compressed.jpeg(203, 157, 0);
    }

    /** Puts bytes in pieces; returns how many the decoder took. */
    private int put(byte[] bytes, int piece) {
        try {
            for (int done = 0; done < bytes.length; done += piece) {
                ByteArrayInputBuffer buffer = queue.obtain(piece);
                int count = Math.min(piece, bytes.length - done);
                System.arraycopy(bytes, done, buffer.getArray(), 0, count);
                buffer.setBytesAvailable(count);
                if (!queue.put(buffer)) {
                    return done;
                }
            }
            return bytes.length;
        } catch (InterruptedException exception) {
            throw new AssertionError(exception);
        }
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 7, 1000, 1 << 20})
    void piecesOfAnySizeGiveTheImage(int piece) throws Exception {
        CompletableFuture<Integer> producer = CompletableFuture.supplyAsync(() -> {
            int count = put(codestream, piece);
            queue.finish();
            return count;
        });
        try (Renderable image = Decompressor.decode(queue, JPEG)) {
            assertArrayEquals(Compressed.jpegPixels(codestream), Images.pixelsOf(image));
        }
        producer.get();
        assertTrue(queue.takesNoMore());
    }

    @Test
    void aProducerOutlastsTheDecoder() throws Exception {
        byte[] longer = Arrays.copyOf(codestream, codestream.length + 1_000_000);
        CompletableFuture<Integer> producer = CompletableFuture.supplyAsync(() -> put(longer, 512));
        Decompressor.decode(queue, JPEG).close();
        assertTrue(producer.get() < longer.length, "the decoder does not wait for what it has no use for");
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void anInterruptedDecodingSaysSo(boolean interruptThread) {
        Thread decoder = Thread.currentThread();
        CompletableFuture.runAsync(() -> {
            put(Arrays.copyOf(codestream, codestream.length / 2), 512);
            if (interruptThread) {
                decoder.interrupt();
            } else {
                queue.interrupt();
            }
        });
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Decompressor.decode(queue, JPEG));
        assertEquals(DecompressionException.INTERRUPTED, failure.getCode());
        assertEquals(interruptThread, Thread.interrupted());
        assertTrue(queue.takesNoMore());
    }

    @Test
    void whatTheProducerSaysToHaveFailedReachesTheCaller() {
        IOException lost = new IOException("connection lost");
        CompletableFuture.runAsync(() -> {
            put(Arrays.copyOf(codestream, codestream.length / 2), 512);
            queue.fail(lost);
        });
        assertSame(lost, assertThrows(IOException.class, () -> Decompressor.decode(queue, JPEG)));
        assertTrue(queue.takesNoMore());
    }

    @Test
    void dataThatBreaksOffQuietlyIsNoCleanSuccess() {
        CompletableFuture.runAsync(() -> {
            put(Arrays.copyOf(codestream, 100), 50);
            queue.finish();
        });
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Decompressor.decode(queue, JPEG));
        assertEquals(62, failure.getCode());
        assertFalse(failure.getMessage().isEmpty());
    }

    @Test
    void theTypeMustBeTold() {
        for (ImageType type : new ImageType[] {ImageType.AUTOMATIC, ImageType.DICOM}) {
            assertThrows(IllegalArgumentException.class,
                    () -> Decompressor.decode(queue, DecodeOptions.DEFAULT.withType(type)));
        }
    }
}
