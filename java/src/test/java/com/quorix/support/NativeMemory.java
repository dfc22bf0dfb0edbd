// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.Renderable;
import java.io.IOException;
import java.lang.reflect.Method;
import java.nio.file.*;

/**
 * How much native memory is in use. {@link #allocatedBlocks} counts the pixel buffers alive in the library's
 * allocator, exactly; {@link #residentBytes} is what the operating system sees of the whole process.
 */
public final class NativeMemory {
    private static final long PATIENCE_MILLIS = 10_000;

    private NativeMemory() {
    }

    public static long allocatedBlocks() {
        return assertDoesNotThrow(() -> {
            Method method = Renderable.class.getDeclaredMethod("nativeGetAllocatedBytes");
            method.setAccessible(true);
            return (long) method.invoke(null);
        });
    }

    public static void collectGarbage() throws InterruptedException {
        for (int i = 0; i < 5; i++) {
            System.gc();
            Thread.sleep(10);
        }
    }

    /** Collects garbage until the allocator holds as much as expected; fails when it never does. */
    public static void awaitAllocatedBlocks(long expected) throws InterruptedException {
        awaitAtMost(expected);
        assertEquals(expected, allocatedBlocks(), "pixel buffers alive");
    }

    /** The same where garbage of earlier tests may have been among what was expected. */
    public static void awaitAtMost(long most) throws InterruptedException {
        long end = System.currentTimeMillis() + PATIENCE_MILLIS;
        while (allocatedBlocks() > most && System.currentTimeMillis() < end) {
            System.gc();
            Thread.sleep(10);
        }
        assertTrue(allocatedBlocks() <= most, "pixel buffers are left");
    }

    public static long residentBytes() throws IOException {
        String pages = Files.readString(Path.of("/proc/self/statm")).split(" ")[1];
        return Long.parseLong(pages) * 4096;
    }
}
