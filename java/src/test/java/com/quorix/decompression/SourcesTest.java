// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import java.io.*;
import java.net.URI;
import java.nio.ByteBuffer;
import java.nio.channels.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** From wherever the bytes come, the image is the same. */
@ExtendWith(NoPixelsLeft.class)
@Timeout(60)
class SourcesTest {
    private static final DecodeOptions DEFAULT = DecodeOptions.DEFAULT;
    private static final byte[] JPEG = Compressed.jpeg(33, 21, 2);
    private static final byte[] DICOM = DicomFile.grey8(33, 21)
            .jpegFrames(List.of(Compressed.jpeg(33, 21, 0), Compressed.jpeg(33, 21, 1), JPEG)).toBytes();
    private static final byte[] NATIVE =
            DicomFile.grey8(33, 21).nativeFrames(3, nativePixels()).toBytes();

    @TempDir
    static Path folder;

    private static byte[] nativePixels() {
        return Arrays.copyOf(Compressed.gradient8(33, 21 * 3, 0), 33 * 21 * 3 + 1);
    }

    private static Renderable closed(Renderable image, InputStream in) {
        assertThrows(IOException.class, in::available);
        return image;
    }

    /** Yields three bytes, then none, then three again. */
    private static InputStream trickle(byte[] bytes) {
        return new BufferedInputStream(new ByteArrayInputStream(bytes)) {
            private int reads;

            @Override
            public synchronized int read(byte[] buffer, int offset, int length) throws IOException {
                return super.read(buffer, offset, Math.min(length, reads++ % 2 == 0 ? 3 : 0));
            }

            @Override
            public synchronized long skip(long count) {
                return 0;
            }
        };
    }

    private static Path file(byte[] bytes) throws IOException {
        return Files.write(Files.createTempFile(folder, "Größe 大", ".dcm"), bytes);
    }

    private static ByteBuffer mapped(byte[] bytes) throws IOException {
        try (FileChannel channel = FileChannel.open(file(bytes))) {
            return channel.map(FileChannel.MapMode.READ_ONLY, 0, bytes.length).slice();
        }
    }

    private static ByteBuffer among(ByteBuffer large, byte[] bytes) {
        return large.position(5).put(bytes).flip().position(5);
    }

    private static ByteBuffer heap(byte[] bytes) {
        return among(ByteBuffer.allocate(bytes.length + 9).position(2).slice(), bytes);
    }

    private static ByteBuffer direct(byte[] bytes) {
        return among(ByteBuffer.allocateDirect(bytes.length + 9), bytes);
    }

    private static Path zipped(byte[] bytes) throws IOException {
        URI uri = URI.create("jar:" + folder.resolve(UUID.randomUUID() + ".zip").toUri());
        FileSystem zip = FileSystems.newFileSystem(uri, Map.of("create", "true"));
        return Files.write(zip.getPath("scan"), bytes);
    }

    private static SeekableByteChannel channel(byte[] bytes) throws IOException {
        return FileChannel.open(file(bytes));
    }

    private interface Open {
        Object open(byte[] bytes) throws IOException;
    }

    enum Kind {
        FILE(SourcesTest::file), ZIPPED(SourcesTest::zipped), ARRAY(bytes -> bytes), HEAP(SourcesTest::heap),
        READ_ONLY(bytes -> heap(bytes).asReadOnlyBuffer()), DIRECT(SourcesTest::direct),
        READ_ONLY_DIRECT(bytes -> direct(bytes).asReadOnlyBuffer()), MAPPED(SourcesTest::mapped),
        INPUT_STREAM(SourcesTest::trickle), CHANNEL(SourcesTest::channel), STREAM(ScriptedStream::new);

        private final Open way;

        Kind(Open way) {
            this.way = way;
        }

        /** Through the public method for this kind. */
        Renderable decode(byte[] bytes, DecodeOptions options) throws IOException {
            Object source = way.open(bytes);
            if (source instanceof Path file) {
                return Decompressor.decode(file, options);
            } else if (source instanceof byte[] array) {
                return Decompressor.decode(array, options);
            } else if (source instanceof ByteBuffer buffer) {
                int position = buffer.position();
                Renderable image = Decompressor.decode(buffer, options);
                assertEquals(position, buffer.position());
                return image;
            } else if (source instanceof SeekableByteChannel channel) {
                Renderable image = Decompressor.decode(channel, options);
                assertFalse(channel.isOpen());
                return image;
            }
            return source instanceof InputStream in ? closed(Decompressor.decode(in, options), in)
                    : Decompressor.decode((ScriptedStream) source, options);
        }

        void decodeFrames(byte[] bytes, DecodeOptions options, FrameListener listener) throws IOException {
            Object source = way.open(bytes);
            if (source instanceof Path file) {
                Decompressor.decodeFrames(file, options, listener);
            } else if (source instanceof byte[] array) {
                Decompressor.decodeFrames(array, options, listener);
            } else if (source instanceof ByteBuffer buffer) {
                Decompressor.decodeFrames(buffer, options, listener);
            } else if (source instanceof SeekableByteChannel channel) {
                Decompressor.decodeFrames(channel, options, listener);
            } else if (source instanceof InputStream in) {
                Decompressor.decodeFrames(in, options, listener);
            } else {
                Decompressor.decodeFrames((ScriptedStream) source, options, listener);
            }
        }

        FrameIterator frames(byte[] bytes, DecodeOptions options) throws IOException {
            Object source = way.open(bytes);
            if (source instanceof Path file) {
                return Decompressor.frames(file, options);
            } else if (source instanceof byte[] array) {
                return Decompressor.frames(array, options);
            } else if (source instanceof ByteBuffer buffer) {
                return Decompressor.frames(buffer, options);
            } else if (source instanceof SeekableByteChannel channel) {
                return Decompressor.frames(channel, options);
            }
            return source instanceof InputStream in ? Decompressor.frames(in, options)
                    : Decompressor.frames((ScriptedStream) source, options);
        }

        int numberOfFrames(byte[] bytes) throws IOException {
            Object source = way.open(bytes);
            if (source instanceof Path file) {
                return Decompressor.numberOfFrames(file);
            } else if (source instanceof byte[] array) {
                return Decompressor.numberOfFrames(array);
            } else if (source instanceof ByteBuffer buffer) {
                return Decompressor.numberOfFrames(buffer);
            } else if (source instanceof SeekableByteChannel channel) {
                return Decompressor.numberOfFrames(channel);
            }
            return source instanceof InputStream in ? Decompressor.numberOfFrames(in)
                    : Decompressor.numberOfFrames((ScriptedStream) source);
        }
    }

    @ParameterizedTest
    @EnumSource
    void framesAreCountedAndTaken(Kind kind) throws IOException {
        assertEquals("3, 3, 1", kind.numberOfFrames(DICOM) + ", " + kind.numberOfFrames(NATIVE) + ", "
                + kind.numberOfFrames(JPEG));
        assertThrows(DecompressionException.class, () -> kind.numberOfFrames(new byte[200]));
        ExecutorService threads = Executors.newFixedThreadPool(2);
        for (DecodeOptions options : List.of(DEFAULT, DEFAULT.withExecutor(threads, 3))) {
            for (byte[] bytes : List.of(DICOM, NATIVE, JPEG)) {
                try (FrameIterator frames = kind.frames(bytes, options)) {
                    for (int index = 0; index < (bytes == JPEG ? 1 : 3); index++) {
                        try (Renderable image = frames.next();
                                Renderable alone = Decompressor.decode(bytes, DEFAULT.withFrame(index))) {
                            assertArrayEquals(Images.pixelsOf(alone), Images.pixelsOf(image));
                            assertEquals(index, image.getFrame());
                        }
                    }
                    assertFalse(frames.hasNext());
                    assertThrows(NoSuchElementException.class, frames::next);
                }
            }
        }
        threads.shutdown();
    }

    @ParameterizedTest
    @EnumSource
    void theImageIsTheSame(Kind kind) throws IOException {
        byte[] lastNative = Arrays.copyOfRange(nativePixels(), 2 * 33 * 21, 3 * 33 * 21);
        try (Renderable bare = kind.decode(JPEG, DEFAULT);
                Renderable told = kind.decode(JPEG, DEFAULT.withType(ImageType.JPEG).withByContract(true));
                Renderable jpeg2000 = kind.decode(Compressed.jpeg2000(), DEFAULT);
                Renderable last = kind.decode(DICOM, DEFAULT.withFrame(2));
                Renderable plain = kind.decode(NATIVE, DEFAULT.withFrame(2))) {
            assertArrayEquals(Compressed.jpegPixels(JPEG), Images.pixelsOf(bare));
            assertArrayEquals(Compressed.jpegPixels(JPEG), Images.pixelsOf(told));
            assertArrayEquals(Compressed.jpeg2000Pixels(), Images.pixelsOf(jpeg2000));
            assertArrayEquals(Compressed.jpegPixels(JPEG), Images.pixelsOf(last));
            assertArrayEquals(lastNative, Images.pixelsOf(plain));
        }
        List<Integer> frames = new ArrayList<>();
        kind.decodeFrames(DICOM, DEFAULT.withFrame(1), (index, image) -> {
            image.close();
            return frames.add(index);
        });
        assertEquals(List.of(1, 2), frames);
    }

    @ParameterizedTest
    @EnumSource
    void whatIsCutOrNoImageFailsAndIsNotRead(Kind kind) {
        for (int length : new int[] {0, 1, 131, 200, NATIVE.length - 100}) {
            byte[] cut = Arrays.copyOf(NATIVE, length);
            int code = assertThrows(DecompressionException.class, () -> kind.decode(cut, DEFAULT.withFrame(2)), kind::name)
                    .getCode();
            assertTrue(length > 200 ? code == 37 : code == 38, () -> length + " bytes: code " + code);
        }
    }

    /** Native code that read such a buffer would be killed, and the JVM with it. */
    @Test
    void aMappedFileThatShrinksIsAFailure() throws IOException {
        Path file = file(DicomFile.grey16(512, 512).nativeFrames(1, new byte[512 * 512 * 2]).toBytes());
        try (FileChannel channel = FileChannel.open(file, StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            ByteBuffer mapped = channel.map(FileChannel.MapMode.READ_ONLY, 0, channel.size());
            channel.truncate(8192);
            for (ByteBuffer buffer : List.of(mapped, mapped.duplicate(), mapped.slice(), mapped.asReadOnlyBuffer())) {
                assertThrows(DecompressionException.class, () -> Decompressor.decode(buffer));
            }
        }
    }
}
