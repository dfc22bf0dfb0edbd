// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.*;
import java.io.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/** Frames one by one, whoever decodes them. */
@ExtendWith(NoPixelsLeft.class)
@Timeout(60)
class FrameIteratorTest {
    private static final int FRAMES = 40;
    private static final List<byte[]> CODESTREAMS =
            IntStream.range(0, FRAMES).mapToObj(frame -> Compressed.jpeg(24, 16, frame)).toList();
    private static final DecodeOptions DEFAULT = DecodeOptions.DEFAULT;

    @TempDir
    Path folder;

    private static byte[] file(List<byte[]> codestreams) {
        return DicomFile.grey8(24, 16).jpegFrames(codestreams).toBytes();
    }

    /** With the frame of this index damaged, so that it is in doubt or none. */
    private static byte[] damaged(int index, boolean isNone) {
        List<byte[]> codestreams = new ArrayList<>(CODESTREAMS);
        byte[] sound = codestreams.get(index);
        byte[] bytes = isNone ? new byte[64] : sound.clone();
        if (!isNone) {
            bytes[sound.length - 20] = (byte) 0xFF;
            bytes[sound.length - 19] = (byte) 0xD3;
        }
        codestreams.set(index, bytes);
        return file(codestreams);
    }

    static ExecutorService stopped() {
        ExecutorService stopped = Executors.newCachedThreadPool();
        stopped.shutdown();
        return stopped;
    }

    static Stream<Arguments> executors() {
        return Stream.of(Arguments.of("none", null), Arguments.of("busy", (Executor) task -> { }),
                Arguments.of("stopped", stopped()), Arguments.of("the caller", (Executor) Runnable::run),
                Arguments.of("new threads", (Executor) task -> new Thread(task).start()),
                Arguments.of("backwards", backwards()), Arguments.of("common pool", ForkJoinPool.commonPool()));
    }

    /** Begins the youngest of three first, so that no thread goes through the frames in their order. */
    private static Executor backwards() {
        Deque<Runnable> tasks = new ArrayDeque<>();
        return task -> {
            tasks.push(task);
            while (tasks.size() >= 3) {
                tasks.pop().run();
            }
        };
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("executors")
    void framesComeInOrder(String name, Executor executor) throws IOException {
        byte[] plain = DicomFile.grey8(24, 16).nativeFrames(FRAMES, new byte[24 * 16 * FRAMES]).toBytes();
        for (byte[] bytes : List.of(file(CODESTREAMS), plain)) {
            try (Stream<Renderable> frames =
                    Decompressor.frames(bytes, DEFAULT.withFrame(2).withExecutor(executor, 4)).stream().parallel()) {
                assertEquals(IntStream.range(2, FRAMES).boxed().toList(), frames.map(image -> {
                    try (image) {
                        assertArrayEquals(bytes == plain ? new byte[24 * 16]
                                : Compressed.jpegPixels(CODESTREAMS.get(image.getFrame())), Images.pixelsOf(image));
                        return image.getFrame();
                    }
                }).toList());
            }
        }
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("executors")
    void fewAreKeptAndWhatIsNotTakenIsClosed(String name, Executor executor) throws Exception {
        DecodeOptions options = DEFAULT.withExecutor(executor, 5);
        NativeMemory.collectGarbage();
        long before = NativeMemory.allocatedBlocks();
        try (Stream<Renderable> frames = Decompressor.frames(file(CODESTREAMS), options).stream()) {
            long most = frames.limit(FRAMES - 3).mapToLong(image -> {
                try (image) {
                    return NativeMemory.allocatedBlocks() - before;
                }
            }).max().getAsLong();
            assertTrue(most <= 6, "five in flight and the one taken, not " + most);
        }
        assertTrue(NativeMemory.allocatedBlocks() <= before, "frames are left");
        Path path = Files.write(folder.resolve("frames.dcm"), file(CODESTREAMS));
        FrameIterator frames = Decompressor.frames(path, options);
        frames.next().close();
        frames.close();
        frames.close();
        assertFalse(frames.hasNext());
        assertThrows(NoSuchElementException.class, frames::next);
        assertTrue(NativeMemory.allocatedBlocks() <= before, "frames are left");
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("executors")
    void failuresAndWarningsComeWithTheirFrame(String name, Executor executor) throws IOException {
        List<Object> events = new ArrayList<>();
        for (boolean isNone : new boolean[] {false, true}) {
            try (DICOMDataObject dataSet = new DICOMDataObject();
                    FrameIterator frames = Decompressor.frames(damaged(3, isNone), DEFAULT.withExecutor(executor, 3)
                            .withWarningListener(warning -> events.add(warning.identifier())).withDataSet(dataSet))) {
                assertEquals("Doe^Jane", dataSet.getString(0x00100010));
                for (int index = 0; index < 5; index++) {
                    try (Renderable image = frames.next()) {
                        events.add(image.getFrame() + image.getWarnings().size() * 100);
                    }
                }
            } catch (UncheckedIOException failure) {
                assertEquals(38, assertInstanceOf(DecompressionException.class, failure.getCause()).getCode());
            }
        }
        assertEquals(List.of(0, 1, 2, "damaged", 103, 4, 0, 1, 2), events);
    }

    @Test
    void framesThatThereAreNotAreRefused() {
        assertEquals(6, assertThrows(DecompressionException.class,
                () -> Decompressor.frames(file(CODESTREAMS), DEFAULT.withFrame(FRAMES))).getCode());
        ScriptedStream none = new ScriptedStream(new byte[200]);
        assertThrows(DecompressionException.class, () -> Decompressor.frames(none, DEFAULT));
        assertEquals(1, none.closeCount);
    }

    @Test
    void framesOfTwoFilesAreNotMixed() throws IOException {
        Path path = Files.write(folder.resolve("frames.dcm"), file(CODESTREAMS));
        Queue<Runnable> tasks = new ArrayDeque<>();
        try (FrameIterator frames = Decompressor.frames(path, DEFAULT.withExecutor(tasks::add, 4))) {
            frames.next().close();
            Path other = Files.write(folder.resolve("other"), file(CODESTREAMS));
            Files.move(other, path, StandardCopyOption.REPLACE_EXISTING);
            List.copyOf(tasks).get(3).run(); // the first cursor goes ahead to frame 3, so that others are opened
            assertTrue(assertThrows(UncheckedIOException.class, frames::next).getMessage().contains("was replaced"));
        }
    }
}
