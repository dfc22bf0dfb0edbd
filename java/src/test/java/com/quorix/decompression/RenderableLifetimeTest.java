// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import java.lang.ref.Reference;
import java.lang.reflect.Field;
import java.nio.*;
import java.util.List;
import java.util.function.Function;
import org.junit.jupiter.api.*;

/** When pixels are freed: not before nobody can reach them, and then indeed. */
@Timeout(120)
class RenderableLifetimeTest {
    private static final int COLUMNS = 300;
    private static final int ROWS = 200;
    private static final byte[] PIXELS = Compressed.gradient8(COLUMNS, ROWS, 0);

    private long before;

    @BeforeEach
    void lookAtTheAllocator() throws InterruptedException {
        NativeMemory.collectGarbage();
        before = NativeMemory.allocatedBlocks();
    }

    @AfterEach
    void nothingIsLeft() throws InterruptedException {
        NativeMemory.awaitAllocatedBlocks(before);
    }

    private static Renderable image() {
        return Images.grey8(COLUMNS, ROWS);
    }

    private long held() {
        return NativeMemory.allocatedBlocks() - before;
    }

    @Test
    void closingFreesAtOnceAndForgettingSoon() {
        try (Renderable image = image(); Renderable other = image()) {
            assertEquals(2, held());
            other.freePixelData();
            assertEquals(1, held());
            assertEquals(ROWS, image.getRows());
        }
        assertEquals(0, held());
        image(); // nobody has this one: it is gone before the test has ended
    }

    @Test
    void everyKindOfViewKeepsThePixels() throws Exception {
        List<Function<ByteBuffer, Buffer>> kinds = List.of(buffer -> buffer, ByteBuffer::slice,
                buffer -> buffer.slice(10, 10), ByteBuffer::duplicate, ByteBuffer::asReadOnlyBuffer,
                ByteBuffer::asShortBuffer, buffer -> buffer.slice().asIntBuffer().slice(),
                buffer -> buffer.alignedSlice(2), buffer -> buffer.asReadOnlyBuffer().asCharBuffer().duplicate());
        for (Function<ByteBuffer, Buffer> kind : kinds) {
            Buffer view;
            try (Renderable image = image()) {
                kind.apply(image.getPixelData());
                NativeMemory.collectGarbage();
                view = kind.apply(image.getPixelData());
            }
            NativeMemory.collectGarbage();
            assertEquals(1, held(), "pixels freed under view " + kinds.indexOf(kind));
            if (kind == kinds.get(0)) {
                assertEquals(PIXELS[77], ((ByteBuffer) view).get(77));
            }
            Reference.reachabilityFence(view);
            view = null;
            NativeMemory.awaitAllocatedBlocks(before);
        }
    }

    @Test
    void freedPixelsStayWithTheirBuffers() {
        try (Renderable image = image()) {
            ByteBuffer pixels = image.getPixelData();
            image.freePixelData();
            assertFalse(image.isPixelDataAllocated());
            image.allocatePixelData();
            assertArrayEquals(new byte[PIXELS.length], Images.pixelsOf(image));
            assertEquals(PIXELS[1], pixels.get(1));
        }
    }

    @Test
    void aBorrowedImageIsNeitherFreedNorShared() throws Exception {
        Field field = Renderable.class.getDeclaredField("image");
        field.setAccessible(true);
        ByteBuffer pixels;
        try (Renderable owner = image()) {
            try (Renderable borrower = new Renderable(((NativeImage) field.get(owner)).handle(), false)) {
                assertEquals(ROWS, borrower.getRows());
                pixels = borrower.getPixelData();
            }
            assertArrayEquals(PIXELS, Images.pixelsOf(owner));
        }
        NativeMemory.awaitAllocatedBlocks(before);
        assertEquals(PIXELS[5], pixels.get(5), "what a borrower gave out is a copy");
    }

    @Test
    void closingWhileOthersReadIsSafe() throws Exception {
        CloseUnderUse.run(50, RenderableLifetimeTest::image, image -> {
            assertEquals(ROWS, image.getRows());
            assertEquals(PIXELS[77], image.getPixelData().get(77));
            assertEquals(COLUMNS, image.toBufferedImage().getWidth());
        });
    }
}
