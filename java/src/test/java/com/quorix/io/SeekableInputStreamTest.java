// SPDX-License-Identifier: Apache-2.0
package com.quorix.io;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.Arrays;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** All ready streams keep one contract. */
class SeekableInputStreamTest {
    private static final byte[] CONTENT = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};

    @TempDir
    Path folder;

    enum Kind {
        ARRAY, BUFFER, DIRECT, FILE
    }

    private SeekableInputStream open(Kind kind) throws IOException {
        switch (kind) {
            case ARRAY:
                return new ByteBufferSeekableInputStream(CONTENT);
            case BUFFER:
                return new ByteBufferSeekableInputStream(
                        ByteBuffer.wrap(new byte[] {9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}, 1, 10));
            case DIRECT:
                return new ByteBufferSeekableInputStream(
                        ByteBuffer.allocateDirect(10).put(CONTENT).flip().asReadOnlyBuffer());
            default:
                return new FileSeekableInputStream(Files.write(folder.resolve("content"), CONTENT));
        }
    }

    @ParameterizedTest
    @EnumSource
    void readsToTheEnd(Kind kind) throws IOException {
        try (SeekableInputStream in = open(kind)) {
            byte[] buffer = new byte[8];
            assertEquals(6, in.read(buffer, 1, 6));
            assertArrayEquals(new byte[] {0, 10, 11, 12, 13, 14, 15, 0}, buffer);
            assertEquals(6, in.getFilePointer());
            assertEquals(4, in.read(buffer, 0, 8));
            assertArrayEquals(new byte[] {16, 17, 18, 19}, Arrays.copyOf(buffer, 4));
            assertTrue(in.read(buffer, 0, 8) < 0);
            in.seek(0);
            assertEquals(0, in.read(buffer, 0, 0), "nothing wanted, nothing read");
            assertEquals(10, in.length());
        }
    }

    @ParameterizedTest
    @EnumSource
    void seeksAndSkips(Kind kind) throws IOException {
        try (SeekableInputStream in = open(kind)) {
            byte[] buffer = new byte[1];
            in.seek(7);
            assertEquals(1, in.read(buffer, 0, 1));
            assertEquals(17, buffer[0]);
            in.seek(2);
            assertEquals(3, in.skip(3));
            assertEquals(5, in.getFilePointer());
            assertEquals(0, in.skip(0));
            assertEquals(0, in.skip(-2), "never backwards");
            assertEquals(5, in.skip(Integer.MAX_VALUE), "no further than the end");
            assertEquals(10, in.getFilePointer());
        }
    }

    @ParameterizedTest
    @EnumSource
    void behindTheEndThereIsNothing(Kind kind) throws IOException {
        try (SeekableInputStream in = open(kind)) {
            in.seek(1L << 40);
            assertEquals(1L << 40, in.getFilePointer());
            assertTrue(in.read(new byte[4], 0, 4) < 0);
            assertEquals(0, in.skip(4));
            assertThrows(IOException.class, () -> in.seek(-1));
        }
    }

    @ParameterizedTest
    @EnumSource
    void aClosedStreamRefuses(Kind kind) throws IOException {
        SeekableInputStream in = open(kind);
        in.close();
        in.close();
        assertThrows(IOException.class, () -> in.read(new byte[4], 0, 4));
        assertThrows(IOException.class, in::length);
    }

    @ParameterizedTest
    @EnumSource
    void rangesOutsideTheBufferAreRefused(Kind kind) throws IOException {
        try (SeekableInputStream in = open(kind)) {
            assertThrows(IndexOutOfBoundsException.class, () -> in.read(new byte[4], 2, 3));
        }
    }

    @Test
    void aBorrowedBufferKeepsItsPosition() throws IOException {
        ByteBuffer buffer = ByteBuffer.wrap(CONTENT);
        new ByteBufferSeekableInputStream(buffer).read(new byte[5], 0, 5);
        assertEquals(0, buffer.position());
    }

    @Test
    void anOpenFileKeepsItsPosition() throws IOException {
        Path file = Files.write(folder.resolve("content"), CONTENT);
        try (FileChannel channel = FileChannel.open(file)) {
            channel.position(3);
            SeekableInputStream in = new FileSeekableInputStream(channel);
            byte[] buffer = new byte[2];
            in.read(buffer, 0, 2);
            assertArrayEquals(new byte[] {10, 11}, buffer);
            assertEquals(3, channel.position());
        }
    }

    @Test
    void aMissingFileIsReported() {
        assertThrows(NoSuchFileException.class, () -> new FileSeekableInputStream(folder.resolve("none")));
    }
}
