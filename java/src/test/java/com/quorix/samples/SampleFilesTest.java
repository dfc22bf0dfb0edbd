// SPDX-License-Identifier: Apache-2.0
package com.quorix.samples;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.DecompressionException;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.Renderable;
import com.quorix.support.Images;
import com.quorix.support.NativeMemory;
import com.quorix.support.Places;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;
import org.junit.jupiter.api.io.TempDir;

/** Every DICOM file of the samples, sound or damaged: Java gets what the command line gets. */
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
    }

    private static List<Path> dicomFiles() throws IOException {
        return Places.filesBelow(Places.samples()).stream().filter(file -> file.toString().endsWith(".dcm"))
                .collect(Collectors.toList());
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
        List<Path> dicomFiles = dicomFiles();
        Map<String, List<Frame>> files = decodeByCommandLine(dicomFiles);
        assertEquals(dicomFiles.size(), files.size(), "each file has its answer");
        List<DynamicTest> tests = new ArrayList<>();
        files.forEach((file, frames) -> {
            String name = Path.of(file).getFileName().toString();
            tests.add(DynamicTest.dynamicTest(name + ", each frame", () -> compareEach(frames)));
            tests.add(DynamicTest.dynamicTest(name + ", all at once", () -> compareAll(file, frames)));
        });
        long decoded = files.values().stream().filter(frames -> frames.get(0).code() == 0).count();
        assertTrue(decoded > 60, "only " + decoded + " of " + files.size() + " files can be decoded");
        return tests;
    }

    private static void compareEach(List<Frame> frames) throws IOException {
        for (Frame frame : frames) {
            try (Renderable image = Decompressor.decode(Path.of(frame.file()), DICOM.withFrame(frame.index()))) {
                assertEquals(0, frame.code(), "only Java decodes frame " + frame.index());
                assertSamePixels(frame, image);
            } catch (DecompressionException failure) {
                frame.assertFailedAlike(failure);
            }
        }
    }

    private static void compareAll(String file, List<Frame> frames) throws IOException {
        int[] delivered = {0};
        try {
            Decompressor.decodeFrames(Path.of(file), DICOM, (index, image) -> {
                try (image) {
                    assertSamePixels(frames.get(index), image);
                }
                return ++delivered[0] < frames.size();
            });
            assertEquals(frames.size(), delivered[0]);
        } catch (DecompressionException failure) {
            frames.get(delivered[0]).assertFailedAlike(failure);
        }
    }

    private static void assertSamePixels(Frame frame, Renderable image) {
        try {
            assertTrue(frame.output() != null, "only Java decodes frame " + frame.index());
            assertArrayEquals(Files.readAllBytes(Path.of(frame.output())), Images.pixelsOf(image));
        } catch (IOException exception) {
            throw new AssertionError(exception);
        }
    }

    @Test
    void nothingIsLeftOfAllThese() throws Exception {
        long before = NativeMemory.allocatedBlocks();
        for (Path file : Places.filesBelow(Places.samples().resolve("damaged"))) {
            try {
                Decompressor.decode(file, DecodeOptions.DEFAULT).close();
            } catch (DecompressionException failure) {
                assertTrue(failure.getCode() != 0 && !failure.getMessage().isEmpty(), file.toString());
            }
        }
        NativeMemory.awaitAllocatedBlocks(before);
    }
}
