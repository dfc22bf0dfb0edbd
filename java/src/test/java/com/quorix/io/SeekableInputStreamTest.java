// SPDX-License-Identifier: Apache-2.0
package com.quorix.io;

import static org.junit.jupiter.api.Assertions.*;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.*;
import java.util.Arrays;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** All ready streams keep one contract. */
class SeekableInputStreamTest {
    private static final byte[] CONTENT = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};

    @TempDir
    Path folder;

    private SeekableInputStream open(String kind) throws IOException {
        return switch (kind) {
            case "array" -> new ByteBufferSeekableInputStream(CONTENT);
            case "buffer" -> new ByteBufferSeekableInputStream(
                    ByteBuffer.wrap(new byte[] {9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}, 1, 10));
            case "direct" -> new ByteBufferSeekableInputStream(
                    ByteBuffer.allocateDirect(10).put(CONTENT).flip().asReadOnlyBuffer());
            default -> new FileSeekableInputStream(Files.write(folder.resolve("content"), CONTENT));
        };
    }

    @ParameterizedTest
    @ValueSource(strings = {"array", "buffer", "direct", "file"})
    void bytesAreReadWhereverTheyAre(String kind) throws IOException {
        SeekableInputStream in = open(kind);
        byte[] buffer = new byte[8];
        assertEquals(6, in.read(buffer, 1, 6));
        assertArrayEquals(new byte[] {0, 10, 11, 12, 13, 14, 15, 0}, buffer);
        assertEquals(6, in.getFilePointer());
        assertEquals(4, in.read(buffer, 0, 8));
        assertArrayEquals(new byte[] {16, 17, 18, 19}, Arrays.copyOf(buffer, 4));
        assertTrue(in.read(buffer, 0, 8) < 0);
        in.seek(7);
        assertEquals(0, in.read(buffer, 0, 0), "nothing wanted, nothing read");
        assertEquals(1, in.read(buffer, 0, 1));
        assertEquals(17, buffer[0]);
        in.seek(2);
        assertEquals(3, in.skip(3));
        assertEquals(5, in.getFilePointer());
        assertEquals(0, in.skip(0));
        assertEquals(0, in.skip(-2), "never backwards");
        assertEquals(5, in.skip(Integer.MAX_VALUE), "no further than the end");
        assertEquals(10, in.getFilePointer());
        in.seek(1L << 40);
        assertEquals(1L << 40, in.getFilePointer());
        assertTrue(in.read(buffer, 0, 4) < 0);
        assertEquals(0, in.skip(4));
        assertEquals(10, in.length());
        assertThrows(IOException.class, () -> in.seek(-1));
        assertThrows(IndexOutOfBoundsException.class, () -> in.read(new byte[4], 2, 3));
        in.close();
        in.close();
        assertThrows(IOException.class, () -> in.read(new byte[4], 0, 4));
        assertThrows(IOException.class, in::length);
    }

    @Test
    void whatIsBorrowedKeepsItsPosition() throws IOException {
        byte[] bytes = new byte[2];
        ByteBuffer buffer = ByteBuffer.wrap(CONTENT);
        new ByteBufferSeekableInputStream(buffer).read(bytes, 0, 2);
        assertEquals(0, buffer.position());
        try (FileChannel channel = FileChannel.open(Files.write(folder.resolve("content"), CONTENT))) {
            channel.position(3);
            new FileSeekableInputStream(channel).read(bytes, 0, 2);
            assertArrayEquals(new byte[] {10, 11}, bytes);
            assertEquals(3, channel.position());
        }
        assertThrows(NoSuchFileException.class, () -> new FileSeekableInputStream(folder.resolve("none")));
    }
}
