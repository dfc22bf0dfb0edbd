// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.NativeMemory;
import java.io.InterruptedIOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** All native methods at once, on threads that share the NDecompressor and nothing else. */
class ThreadsTest {
    private static final int THREADS = 8;
    private static final int ROUNDS = 25;
    private static final int COLUMNS = 61;
    private static final int ROWS = 47;

    @TempDir
    Path folder;

    private final NDecompressor decompressor = new NDecompressor();

    @Test
    void threadsDoNotDisturbEachOther() throws Exception {
        List<Callable<Void>> tasks = new ArrayList<>();
        for (int n = 0; n < THREADS; n++) {
            int thread = n;
            tasks.add(() -> {
                for (int round = 0; round < ROUNDS; round++) {
                    decodeEveryWay(thread * ROUNDS + round, folder.resolve("thread" + thread));
                }
                return null;
            });
        }
        ExecutorService threads = Executors.newFixedThreadPool(THREADS);
        for (Future<Void> outcome : threads.invokeAll(tasks)) {
            outcome.get();
        }
        threads.shutdown();
        NativeMemory.awaitAllocatedBlocks(0);
    }

    /** Every seed has pixels of its own. */
    private void decodeEveryWay(int seed, Path cacheFile) throws Exception {
        byte[] pixels = Compressed.gradient16(COLUMNS, ROWS, seed);
        byte[] file = DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE,
                List.of(Compressed.rle(pixels, 1, 2))).toBytes();
        byte[] jpeg = Compressed.jpeg(COLUMNS, ROWS, seed);
        DecomprResult result = new DecomprResult() {
            @Override
            public boolean renderableAvailable(int frameIndex, Renderable image) {
                assertArrayEquals(pixels, Pixels.bytes(image));
                image.close();
                return true;
            }
        };
        assertTrue(decompressor.decodeMultiFrameImageToMemory(new ScriptedStream(file), 0, 0, result),
                result::toString);
        try (Renderable image = decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(file), 0,
                NDecompressor.TYPE_DICOM, 0, 1, result); Renderable loaded = new Renderable()) {
            image.saveToFileLocked(cacheFile);
            assertTrue(loaded.loadFromFile(cacheFile));
            assertArrayEquals(pixels, Pixels.bytes(loaded));
        }
        try (Renderable image = decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(jpeg, 100), 0,
                NDecompressor.TYPE_JPEG, true, 1, result)) {
            assertNotNull(image, result::toString);
            assertArrayEquals(Compressed.jpegPixels(jpeg), Pixels.bytes(image));
        }
        decompressor.decodeInputBufferQueueToMemory(new ScriptedQueue(Arrays.copyOf(jpeg, 300), 100)
                .endingWith(new InterruptedIOException()), 0, NDecompressor.TYPE_JPEG, true, 1, result);
        assertEquals(63, result.DLResultCode, result.Message);
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertTrue(decompressor.decodeOrtho(new ScriptedStream(file), NDecompressor.TYPE_DICOM, true,
                    dataSet.getHandle(), null, 1, result), result::toString);
            assertArrayEquals(pixels, dataSet.getPixelBytes());
        }
    }
}
