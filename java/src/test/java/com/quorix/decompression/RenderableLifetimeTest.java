// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.support.Compressed;
import com.quorix.support.Images;
import com.quorix.support.NativeMemory;
import java.io.IOException;
import java.lang.ref.Reference;
import java.lang.reflect.Field;
import java.nio.Buffer;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.function.Function;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

/** When pixels are freed: not before nobody can reach them, and then indeed. */
@Timeout(120)
class RenderableLifetimeTest {
    private static final int COLUMNS = 300;
    private static final int ROWS = 200;
    private static final byte[] PIXELS = Compressed.gradient8(COLUMNS, ROWS, 0);

    private long before;

    @BeforeEach
    void lookAtTheAllocator() throws InterruptedException {
        System.gc();
        Thread.sleep(50);
        before = NativeMemory.allocatedBlocks();
    }

    private static Renderable image() throws IOException {
        return Images.grey8(COLUMNS, ROWS);
    }

    private long held() {
        return NativeMemory.allocatedBlocks() - before;
    }

    private static void collectGarbage() throws InterruptedException {
        for (int i = 0; i < 5; i++) {
            System.gc();
            Thread.sleep(10);
        }
    }

    @Test
    void closingFreesAtOnce() throws IOException {
        Renderable image = image();
        assertEquals(1, held());
        image.close();
        assertEquals(0, held());
    }

    @Test
    void aForgottenImageIsFreed() throws Exception {
        image();
        NativeMemory.awaitAllocatedBlocks(before);
    }

    @Test
    void aBufferOutlivesItsImage() throws Exception {
        ByteBuffer pixels;
        try (Renderable image = image()) {
            pixels = image.getPixelData();
        }
        collectGarbage();
        byte[] bytes = new byte[pixels.remaining()];
        pixels.get(bytes);
        assertArrayEquals(PIXELS, bytes);
        pixels = null;
        NativeMemory.awaitAllocatedBlocks(before);
    }

    @Test
    void everyKindOfViewKeepsThePixels() throws Exception {
        List<Function<ByteBuffer, Buffer>> kinds = List.of(ByteBuffer::slice, buffer -> buffer.slice(10, 10),
                ByteBuffer::duplicate, ByteBuffer::asReadOnlyBuffer, ByteBuffer::asShortBuffer,
                buffer -> buffer.slice().asIntBuffer().slice(), buffer -> buffer.alignedSlice(2),
                buffer -> buffer.asReadOnlyBuffer().asCharBuffer().duplicate());
        for (Function<ByteBuffer, Buffer> kind : kinds) {
            Buffer view;
            try (Renderable image = image()) {
                view = kind.apply(image.getPixelData());
            }
            collectGarbage();
            assertEquals(1, held(), "pixels freed under view " + kinds.indexOf(kind));
            Reference.reachabilityFence(view);
            view = null;
            NativeMemory.awaitAllocatedBlocks(before);
        }
    }

    @Test
    void droppedBuffersDoNotFreeAnOpenImage() throws Exception {
        try (Renderable image = image()) {
            for (int i = 0; i < 10; i++) {
                image.getPixelData();
                collectGarbage();
            }
            assertArrayEquals(PIXELS, Images.pixelsOf(image));
        }
        NativeMemory.awaitAllocatedBlocks(before);
    }

    @Test
    void freedPixelsStayWithTheirBuffers() throws Exception {
        ByteBuffer pixels;
        try (Renderable image = image()) {
            image.setCompressionRatio(17);
            pixels = image.getPixelData();
            image.freePixelData();
            assertFalse(image.isPixelDataAllocated());
            assertEquals(ROWS, image.getRows());
            assertEquals(17, image.getCompressionRatio());
            assertEquals(Renderable.getPitMonochrome2(), image.getPhotometricInterpretation());
            image.allocatePixelData();
            assertArrayEquals(new byte[PIXELS.length], Images.pixelsOf(image));
            assertEquals(PIXELS[1], pixels.get(1));
        }
        Reference.reachabilityFence(pixels);
        pixels = null;
        NativeMemory.awaitAllocatedBlocks(before);
    }

    @Test
    void pixelsWithoutBuffersAreFreedAtOnce() throws Exception {
        try (Renderable image = image()) {
            image.freePixelData();
            assertEquals(0, held());
        }
    }

    @Test
    void aBorrowedImageIsNeitherFreedNorShared() throws Exception {
        Renderable owner = image();
        ByteBuffer pixels;
        try (Renderable borrower = new Renderable(handleOf(owner), false)) {
            assertEquals(ROWS, borrower.getRows());
            pixels = borrower.getPixelData();
        }
        assertArrayEquals(PIXELS, Images.pixelsOf(owner));
        owner.close();
        NativeMemory.awaitAllocatedBlocks(before);
        assertEquals(PIXELS[5], pixels.get(5), "what a borrower gave out is a copy");
    }

    private static long handleOf(Renderable image) throws ReflectiveOperationException {
        Field field = Renderable.class.getDeclaredField("image");
        field.setAccessible(true);
        return ((NativeImage) field.get(image)).handle();
    }

    @Test
    void closingWhileOthersReadIsSafe() throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(4);
        for (int round = 0; round < 100; round++) {
            Renderable image = image();
            List<Future<?>> readers = new ArrayList<>();
            for (int i = 0; i < 3; i++) {
                readers.add(threads.submit(() -> readUntilClosed(image)));
            }
            readers.add(threads.submit(image::close));
            for (Future<?> reader : readers) {
                reader.get();
            }
        }
        threads.shutdown();
        NativeMemory.awaitAllocatedBlocks(before);
    }

    private static void readUntilClosed(Renderable image) {
        try {
            while (true) {
                assertEquals(ROWS, image.getRows());
                assertEquals(PIXELS[77], image.getPixelData().get(77));
                assertEquals(COLUMNS, image.toBufferedImage().getWidth());
            }
        } catch (IllegalStateException closed) {
            assertTrue(image.isClosed());
        }
    }
}
