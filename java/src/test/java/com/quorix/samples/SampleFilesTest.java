// SPDX-License-Identifier: Apache-2.0
package com.quorix.samples;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.support.*;
import java.awt.image.BufferedImage;
import java.io.File;
import java.nio.file.*;
import java.security.MessageDigest;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import javax.imageio.ImageIO;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;

/** Every DICOM file of the samples, sound or damaged: Java gets what the command line gets. */
@Tag("samples")
class SampleFilesTest {
    private static final DecodeOptions DICOM = DecodeOptions.DEFAULT.withType(ImageType.DICOM);
    private static final Pattern LINE = Pattern.compile("\\{\"file\":\"([^\"]*)\",.*\"result_code\":(\\d+),.*"
            + "\"message\":\"((?:[^\"\\\\]|\\\\.)*)\",.*\"sha256\":(?:\"([^\"]*)\"|null).*");

    @AfterEach
    void nothingIsLeft() throws InterruptedException {
        NativeMemory.awaitAllocatedBlocks(0);
    }

    /** The outcomes of all frames of each file: the hash of the pixels, or the code and the message. */
    private static Map<Path, List<String>> decodeByCommandLine() throws Exception {
        List<String> command = new ArrayList<>(List.of(Places.tool().toString(), "--format", "none", "--all-frames",
                "--json", "--quiet"));
        Places.filesBelow(Places.samples()).stream().map(Path::toString).filter(file -> file.endsWith(".dcm"))
                .forEach(command::add);
        Process tool = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.DISCARD).start();
        return tool.inputReader().lines().map(LINE::matcher).peek(Matcher::matches).collect(Collectors.groupingBy(
                line -> Path.of(line.group(1)), TreeMap::new, Collectors.mapping(line -> line.group(2).equals("0")
                        ? line.group(4) : line.group(2) + " " + line.group(3).replaceAll("\\\\(.)", "$1"),
                        Collectors.toList())));
    }

    /** Messages of the way to all frames begin with that way's own name. */
    private static String outcome(DecompressionException failure) {
        return failure.getCode() + " " + failure.getMessage().replaceFirst("^MultiFramePart10", "DICOMPart10");
    }

    private static String outcome(Renderable image) {
        try (image) {
            MessageDigest hash = assertDoesNotThrow(() -> MessageDigest.getInstance("SHA-256"));
            return HexFormat.of().formatHex(hash.digest(Images.pixelsOf(image)));
        }
    }

    @TestFactory
    Stream<DynamicTest> javaGetsWhatTheCommandLineGets() throws Exception {
        Map<Path, List<String>> files = decodeByCommandLine();
        long decoded = files.values().stream().filter(frames -> !frames.get(0).contains(" ")).count();
        assertTrue(decoded > 60, "only " + decoded + " of " + files.size() + " files can be decoded");
        return files.entrySet().stream().map(file -> DynamicTest.dynamicTest(file.getKey().getFileName().toString(),
                () -> compare(file.getKey(), file.getValue())));
    }

    @Test
    void aWindowIsThatOfTheCommandLine(@TempDir Path folder) throws Exception {
        List<String> files = Places.filesBelow(Places.samples().toRealPath()).stream().map(Path::toString)
                .filter(file -> file.endsWith(".dcm")).toList();
        new ProcessBuilder(Places.tool().toString(), "--list", Files.write(folder.resolve("list"), files).toString(),
                "-o", folder.toString(), "--window", "40,400").redirectError(ProcessBuilder.Redirect.DISCARD).start().waitFor();
        List<String> decoded = files.stream().filter(file -> new File(folder + file + ".png").exists()).toList();
        for (String file : decoded) {
            try (Renderable image = Decompressor.decode(Path.of(file), DICOM)) {
                assertArrayEquals(samples(ImageIO.read(new File(folder + file + ".png"))),
                        samples(image.toBufferedImage(40, 400)), file);
            }
        }
        assertTrue(decoded.size() > 60, "only " + decoded.size() + " pictures");
    }

    private static int[] samples(BufferedImage picture) {
        return picture.getRaster().getPixels(0, 0, picture.getWidth(), picture.getHeight(), (int[]) null);
    }

    private static void compare(Path file, List<String> expected) throws Exception {
        List<String> outcomes = new ArrayList<>();
        try {
            Decompressor.decodeFrames(file, DICOM, (index, image) -> {
                outcomes.add(outcome(image));
                return outcomes.size() < expected.size();
            });
            assertEquals(expected.size(), outcomes.size());
        } catch (DecompressionException failure) {
            outcomes.add(outcome(failure));
        }
        assertEquals(expected.subList(0, outcomes.size()), outcomes);
    }
}
