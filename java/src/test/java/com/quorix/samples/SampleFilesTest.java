// SPDX-License-Identifier: Apache-2.0
package com.quorix.samples;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.FileSeekableInputStream;
import com.quorix.support.*;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.*;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;

/** Every DICOM file of the samples, sound or damaged: Java gets what the command line gets, however it asks. */
@Tag("samples")
class SampleFilesTest {
    private static final DecodeOptions DICOM = DecodeOptions.DEFAULT.withType(ImageType.DICOM);

    @TempDir
    static Path folder;

    /** What the command line says of one frame. */
    private record Frame(String file, int index, int code, String message, String output) {
        private static final Pattern LINE = Pattern.compile("\\{\"file\":\"([^\"]*)\",\"frame\":(\\d+),"
                + "\"result_code\":(\\d+),.*\"message\":\"((?:[^\"\\\\]|\\\\.)*)\",.*"
                + "\"output\":(?:\"([^\"]*)\"|null).*");

        static Frame of(String line) {
            Matcher matcher = LINE.matcher(line);
            assertTrue(matcher.matches(), line);
            return new Frame(matcher.group(1), Integer.parseInt(matcher.group(2)),
                    Integer.parseInt(matcher.group(3)), matcher.group(4).replaceAll("\\\\(.)", "$1"),
                    matcher.group(5));
        }

        /** Messages of the way to all frames begin with that way's own name. */
        void assertFailedAlike(DecompressionException failure) {
            String failed = failure.getMessage().replaceFirst("^MultiFramePart10", "DICOMPart10");
            assertEquals(code + " " + message, failure.getCode() + " " + failed, "frame " + index);
        }

        void assertSame(Renderable image) {
            try {
                assertTrue(output != null, "only Java decodes frame " + index);
                assertArrayEquals(Files.readAllBytes(Path.of(output)), Images.pixelsOf(image));
            } catch (IOException exception) {
                throw new AssertionError(exception);
            }
        }
    }

    @AfterEach
    void nothingIsLeft() throws InterruptedException {
        NativeMemory.awaitAllocatedBlocks(0);
    }

    private static Map<String, List<Frame>> decodeByCommandLine(List<Path> files)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(Places.tool().toString(), "--format", "raw", "--all-frames",
                "--json", "--no-progress", "-o", folder + "/"));
        files.forEach(file -> command.add(file.toString()));
        Process tool = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.DISCARD).start();
        Map<String, List<Frame>> frames = new TreeMap<>();
        tool.inputReader().lines().map(Frame::of)
                .forEach(frame -> frames.computeIfAbsent(frame.file(), name -> new ArrayList<>()).add(frame));
        tool.waitFor();
        return frames;
    }

    @TestFactory
    List<DynamicTest> javaGetsWhatTheCommandLineGets() throws Exception {
        List<Path> dicomFiles = Places.filesBelow(Places.samples()).stream()
                .filter(file -> file.toString().endsWith(".dcm")).collect(Collectors.toList());
        Map<String, List<Frame>> files = decodeByCommandLine(dicomFiles);
        assertEquals(dicomFiles.size(), files.size(), "each file has its answer");
        long decoded = files.values().stream().filter(frames -> frames.get(0).code() == 0).count();
        assertTrue(decoded > 60, "only " + decoded + " of " + files.size() + " files can be decoded");
        return files.entrySet().stream().map(entry -> DynamicTest.dynamicTest(
                Path.of(entry.getKey()).getFileName().toString(), () -> {
                    compareEach(entry.getValue());
                    compareAll(Path.of(entry.getKey()), entry.getValue());
                })).collect(Collectors.toList());
    }

    private static void compareEach(List<Frame> frames) throws IOException {
        for (Frame frame : frames) {
            Path file = Path.of(frame.file());
            try (Renderable image = Decompressor.decode(file, DICOM.withFrame(frame.index()))) {
                assertEquals(0, frame.code(), "only Java decodes frame " + frame.index());
                frame.assertSame(image);
                if (frame.index() == 0) {
                    compareDataSet(file, image);
                }
            } catch (DecompressionException failure) {
                frame.assertFailedAlike(failure);
            }
        }
    }

    /** The data set receives the pixels that the image has, little endian. */
    private static void compareDataSet(Path file, Renderable image) throws IOException {
        ByteBuffer expected = image.getPixelData();
        if (expected.order() == ByteOrder.BIG_ENDIAN && image.getBitsAllocated() > 8) {
            ByteBuffer swapped = ByteBuffer.allocate(expected.capacity()).order(ByteOrder.LITTLE_ENDIAN);
            swapped.asShortBuffer().put(expected.asShortBuffer());
            expected = swapped;
        }
        DecomprResult result = new DecomprResult();
        try (DICOMDataObject dataSet = new DICOMDataObject();
                FileSeekableInputStream in = new FileSeekableInputStream(file)) {
            boolean success = new NDecompressor().decodeOrtho(in, NDecompressor.TYPE_DICOM, true, dataSet.getHandle(),
                    null, 1, result);
            assertEquals(dataSet.getInteger(0x00280008, 1) == 1, success, result::toString);
            assertEquals(expected, ByteBuffer.wrap(dataSet.getPixelBytes()));
        }
    }

    private static void compareAll(Path file, List<Frame> frames) throws IOException {
        int[] delivered = {0};
        try {
            Decompressor.decodeFrames(file, DICOM, (index, image) -> {
                try (image) {
                    frames.get(index).assertSame(image);
                }
                return ++delivered[0] < frames.size();
            });
            assertEquals(frames.size(), delivered[0]);
        } catch (DecompressionException failure) {
            frames.get(delivered[0]).assertFailedAlike(failure);
        }
    }
}
