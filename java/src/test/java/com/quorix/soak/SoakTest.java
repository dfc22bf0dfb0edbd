// SPDX-License-Identifier: Apache-2.0
package com.quorix.soak;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.support.*;
import com.quorix.util.*;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.lang.ref.WeakReference;
import java.util.*;
import java.util.concurrent.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/**
 * Many requests of every kind from many threads that share the data set of none: they do not disturb each other,
 * memory stays flat and nothing native is left, in Java either.
 */
@Tag("soak")
class SoakTest {
    private static final int THREADS = 8;
    private static final int COLUMNS = 160;
    private static final int ROWS = 120;
    private static final int REQUESTS = "1".equals(System.getenv("QUORIX_TEST_LONG")) ? 20_000 : 2_000;
    /** What the whole run may add to the process, whose Java heap has been touched to its end before. */
    private static final long GROWTH = 24L << 20;


    /** Streams and queues that were given to the library; a global reference left behind would keep one. */
    private final Queue<WeakReference<Object>> inputs = new ConcurrentLinkedQueue<>();

    @Test
    void memoryStaysFlat() throws Exception {
        run(REQUESTS / 4);
        NativeMemory.collectGarbage();
        long blocksBefore = NativeMemory.allocatedBlocks();
        long residentBefore = NativeMemory.residentBytes();
        run(REQUESTS);
        NativeMemory.collectGarbage();
        NativeMemory.awaitAllocatedBlocks(blocksBefore);
        assertTrue(inputs.stream().allMatch(input -> input.get() == null), "a Java object is still referred to");
        long growth = NativeMemory.residentBytes() - residentBefore;
        assertTrue(growth < GROWTH, "resident memory grew by " + growth + " bytes");
    }

    private void run(int requests) throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(THREADS);
        List<Callable<Void>> calls = IntStream.range(0, requests)
                .<Callable<Void>>mapToObj(seed -> () -> perform(seed)).toList();
        for (Future<?> outcome : threads.invokeAll(calls)) {
            outcome.get();
        }
        threads.shutdown();
    }

    /** Seeds have pixels of their own. */
    private Void perform(int seed) throws Exception {
        byte[] pixels = Compressed.gradient16(COLUMNS, ROWS, seed);
        byte[] nativeFile = DicomFile.grey16(COLUMNS, ROWS).nativeFrames(1, pixels).toBytes();
        byte[] jpeg = Compressed.jpeg(COLUMNS, ROWS, seed % 64);
        switch (seed % 4) {
            case 0 -> decode(Compressed.jpeg2000(), Compressed.jpeg2000Pixels());
            case 1 -> decodeQueue(jpeg, seed / 4 % 3 != 0);
            case 2 -> decodeFrames(jpeg, 1 + seed / 4 % 3);
            default -> decodeIntoDataSet(nativeFile, pixels);
        }
        return null;
    }

    private ByteBufferSeekableInputStream stream(byte[] bytes) {
        ByteBufferSeekableInputStream stream = new ByteBufferSeekableInputStream(bytes);
        inputs.add(new WeakReference<>(stream));
        return stream;
    }

    private void decode(byte[] input, byte[] expected) throws IOException {
        // The decoded image is left to the garbage collector.
        assertArrayEquals(expected, Images.pixelsOf(Decompressor.decode(stream(input), DecodeOptions.DEFAULT)));
    }

    private void decodeIntoDataSet(byte[] input, byte[] expected) {
        DecomprResult result = new DecomprResult();
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertTrue(new NDecompressor().decodeOrtho(stream(input), NDecompressor.TYPE_DICOM, true,
                    dataSet.getHandle(), null, 1, result), result::toString);
            assertArrayEquals(expected, dataSet.getPixelBytes());
        }
    }

    private void decodeQueue(byte[] jpeg, boolean isComplete) throws Exception {
        InputBufferQueue queue = new InputBufferQueue(2);
        inputs.add(new WeakReference<>(queue));
        queue.put(new ByteArrayInputBuffer(isComplete ? jpeg : Arrays.copyOf(jpeg, jpeg.length / 2)));
        Runnable end = isComplete ? queue::finish : queue::interrupt;
        end.run();
        try (Renderable image = Decompressor.decode(queue, DecodeOptions.DEFAULT.withType(ImageType.JPEG))) {
            assertArrayEquals(Compressed.jpegPixels(jpeg), Images.pixelsOf(image));
        } catch (DecompressionException failure) {
            assertTrue(!isComplete && failure.getCode() == DecompressionException.INTERRUPTED, failure.toString());
        }
    }

    private void decodeFrames(byte[] jpeg, int wanted) throws IOException {
        byte[] file = DicomFile.grey8(COLUMNS, ROWS).jpegFrames(List.of(jpeg, jpeg, jpeg)).toBytes();
        byte[] expected = Compressed.jpegPixels(jpeg);
        int[] delivered = {0};
        FrameListener listener = (index, image) -> {
            try (image) {
                assertArrayEquals(expected, Images.pixelsOf(image));
            }
            return ++delivered[0] < wanted;
        };
        if (wanted == 2) {
            DecodeOptions ahead = DecodeOptions.DEFAULT.withExecutor(ForkJoinPool.commonPool(), 2);
            try (Stream<Renderable> frames = Decompressor.frames(ByteBuffer.allocateDirect(file.length).put(file).flip(),
                    ahead).stream()) {
                frames.limit(wanted).forEach(image -> listener.frameAvailable(image.getFrame(), image));
            }
        } else {
            Decompressor.decodeFrames(stream(file), DecodeOptions.DEFAULT, listener);
        }
        assertEquals(wanted, delivered[0]);
    }
}
