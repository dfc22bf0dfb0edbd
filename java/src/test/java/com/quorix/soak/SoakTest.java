// SPDX-License-Identifier: Apache-2.0
package com.quorix.soak;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.DecompressionException;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.Renderable;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.Images;
import com.quorix.support.NativeMemory;
import com.quorix.support.Places;
import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.lang.ref.WeakReference;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Queue;
import java.util.Random;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/** Many requests, good and damaged, from many threads: memory stays flat and nothing native is left. */
@Tag("soak")
class SoakTest {
    private static final int THREADS = 8;
    private static final int COLUMNS = 160;
    private static final int ROWS = 120;
    private static final int FRAMES = 3;
    /** What the whole run may add to the process, whose Java heap has been touched to its end before. */
    private static final long GROWTH = 24L << 20;

    private final byte[] pixels16 = Compressed.gradient16(COLUMNS, ROWS, 0);
    private final AtomicInteger failures = new AtomicInteger();
    /** Streams and queues that were given to the library; a global reference left behind would keep one. */
    private final Queue<WeakReference<Object>> inputs = new ConcurrentLinkedQueue<>();
    private byte[] jpeg;
    private byte[] jpegPixels;
    private final byte[] jpeg2000 = Compressed.jpeg2000();
    private final byte[] jpeg2000Pixels = Compressed.jpeg2000Pixels();
    private byte[] rleFile;
    private byte[] nativeFile;

    @BeforeEach
    void makeInputs() throws IOException {
        jpeg = Compressed.jpeg(COLUMNS, ROWS, 0);
        jpegPixels = Compressed.jpegPixels(jpeg);
        byte[] frame = Compressed.rle(pixels16, 1, 2);
        rleFile = DicomFile.grey16(COLUMNS, ROWS)
                .encapsulated(DicomFile.RLE, Arrays.asList(frame, frame, frame)).toBytes();
        nativeFile = DicomFile.grey16(COLUMNS, ROWS).nativeFrames(1, pixels16).toBytes();
    }

    @Test
    void memoryStaysFlat() throws Exception {
        int requests = Places.isLongRun() ? 20_000 : 2_000;
        run(requests / 4);
        settle();
        long blocksBefore = NativeMemory.allocatedBlocks();
        long residentBefore = NativeMemory.residentBytes();
        failures.set(0);
        run(requests);
        settle();
        NativeMemory.awaitAllocatedBlocks(blocksBefore);
        assertTrue(inputs.stream().allMatch(input -> input.get() == null), "a Java object is still referred to");
        long growth = NativeMemory.residentBytes() - residentBefore;
        // The RLE codec leaves the line of its messages open.
        System.out.println("\n" + requests + " requests, " + failures
                + " failed as they should; resident memory grew by " + growth / 1024 + " KB");
        assertTrue(growth < GROWTH, "resident memory grew by " + growth + " bytes");
        assertTrue(failures.get() > requests / 10, "too few of the damaged ones failed: " + failures);
    }

    private static void settle() throws InterruptedException {
        for (int i = 0; i < 5; i++) {
            System.gc();
            Thread.sleep(20);
        }
    }

    private void run(int requests) throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(THREADS);
        List<Future<?>> outcomes = new ArrayList<>();
        for (int request = 0; request < requests; request++) {
            int seed = request;
            outcomes.add(threads.submit(() -> {
                perform(seed);
                return null;
            }));
        }
        for (Future<?> outcome : outcomes) {
            outcome.get();
        }
        threads.shutdown();
    }

    private void perform(int seed) throws IOException {
        switch (seed % 10) {
            case 0 -> decode(jpeg, jpegPixels);
            case 1 -> decode(rleFile, pixels16);
            case 2 -> decode(nativeFile, pixels16);
            case 3 -> decodeQueue(seed);
            case 4 -> decodeFrames(seed);
            case 5 -> decodeDamaged(jpeg, seed);
            case 6 -> decodeDamaged(rleFile, seed);
            case 7 -> decodeDamaged(jpeg2000, seed);
            case 8 -> decode(jpeg2000, jpeg2000Pixels);
            default -> decodeDamaged(nativeFile, seed);
        }
    }

    private ByteBufferSeekableInputStream stream(byte[] bytes) {
        ByteBufferSeekableInputStream stream = new ByteBufferSeekableInputStream(bytes);
        inputs.add(new WeakReference<>(stream));
        return stream;
    }

    private void decode(byte[] input, byte[] expected) throws IOException {
        try (Renderable image = Decompressor.decode(stream(input), DecodeOptions.DEFAULT)) {
            assertArrayEquals(expected, Images.pixelsOf(image));
        }
    }

    /** Bytes lost or changed: the outcome does not matter, as long as there is one. */
    private void decodeDamaged(byte[] input, int seed) throws IOException {
        Random random = new Random(seed);
        byte[] damaged = Arrays.copyOf(input, 1 + random.nextInt(input.length));
        for (int i = 0; i < 4; i++) {
            damaged[random.nextInt(damaged.length)] = (byte) random.nextInt();
        }
        try {
            // The pixels are left to the garbage collector.
            Renderable image = Decompressor.decode(stream(damaged), DecodeOptions.DEFAULT);
            ByteBuffer pixels = image.getPixelData();
            image.close();
            pixels.get(pixels.limit() - 1);
        } catch (DecompressionException failure) {
            failures.incrementAndGet();
        }
    }

    private void decodeQueue(int seed) throws IOException {
        InputBufferQueue queue = new InputBufferQueue(1 + jpeg.length / 1000);
        inputs.add(new WeakReference<>(queue));
        boolean complete = seed % 3 != 0;
        put(queue, complete ? jpeg : Arrays.copyOf(jpeg, jpeg.length / 2));
        if (complete) {
            queue.finish();
        } else {
            queue.interrupt();
        }
        try (Renderable image = Decompressor.decode(queue, DecodeOptions.DEFAULT.withType(ImageType.JPEG))) {
            assertArrayEquals(jpegPixels, Images.pixelsOf(image));
        } catch (DecompressionException failure) {
            assertTrue(!complete && failure.getCode() == DecompressionException.INTERRUPTED, failure.toString());
            failures.incrementAndGet();
        }
    }

    private static void put(InputBufferQueue queue, byte[] bytes) {
        try {
            for (int done = 0; done < bytes.length; done += 1000) {
                queue.put(new ByteArrayInputBuffer(Arrays.copyOfRange(bytes, done,
                        Math.min(bytes.length, done + 1000))));
            }
        } catch (InterruptedException exception) {
            throw new AssertionError(exception);
        }
    }

    private void decodeFrames(int seed) throws IOException {
        int wanted = 1 + seed / 10 % FRAMES;
        int[] delivered = {0};
        Decompressor.decodeFrames(stream(rleFile), DecodeOptions.DEFAULT, (index, image) -> {
            try (image) {
                assertArrayEquals(pixels16, Images.pixelsOf(image));
            }
            return ++delivered[0] < wanted;
        });
        assertTrue(delivered[0] == wanted, delivered[0] + " frames instead of " + wanted);
    }
}
