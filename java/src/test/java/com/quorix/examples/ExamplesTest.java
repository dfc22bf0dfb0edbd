// SPDX-License-Identifier: Apache-2.0
package com.quorix.examples;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.Decompressor;
import com.quorix.support.*;
import java.io.File;
import java.nio.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.TimeUnit;
import java.util.function.Predicate;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import javax.imageio.ImageIO;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The examples run as they are, each in a JVM of its own. */
class ExamplesTest {
    private static final String ADDRESS = "@[0-9a-f]+";
    private static final String JAR = System.getProperty("quorix.test.jar");

    @TempDir
    Path folder;

    private static ChildJvm.Outcome run(String example, Object... arguments) throws Exception {
        String[] texts = List.of(arguments).stream().map(Object::toString).toArray(String[]::new);
        return new ChildJvm(Class.forName(example), texts).withSameLibrary().start().finish();
    }

    @Test
    void aFileBecomesAPng() throws Exception {
        Path input = DicomFile.grey16(40, 30).nativeFrames(1, Compressed.gradient16(40, 30, 0))
                .writeTo(folder.resolve("image.dcm"));
        File output = folder.resolve("image.png").toFile();
        ChildJvm.Outcome outcome = run("DecodeToPng", input, output);
        assertEquals(0, outcome.exitCode(), outcome.output());
        assertTrue(outcome.output().startsWith("40 x 30, "), outcome.output());
        assertEquals(301, ImageIO.read(output).getRaster().getSample(1, 0, 0));
        assertEquals(0, run("DecodeToPng", input, output, "301", "1").exitCode());
        assertEquals(255, ImageIO.read(output).getRaster().getSample(1, 0, 0));
    }

    @Test
    void aDownloadIsDecodedWhileItRuns() throws Exception {
        Path input = Files.write(folder.resolve("image.jpg"), Compressed.jpeg(400, 300, 0));
        assertEquals(new ChildJvm.Outcome(0, "400 x 300 decoded\n"), run("DecodeWhileDownloading", input, "jpeg"));
    }

    /** With nothing of ours but the jar, from which the native library comes as well. */
    @Test
    void aProgramThatKnowsOnlyImageIOReadsDicom() throws Exception {
        Path input = DicomFile.grey16(40, 30).bitsStored(12, false).nativeFrames(2, new byte[4800])
                .writeTo(folder.resolve("image.dcm"));
        Path output = folder.resolve("image.png");
        Class<?> example = Class.forName("ReadThroughImageIO");
        ChildJvm.Outcome outcome = new ChildJvm(example, input.toString(), output.toString(), "1")
                .withJarsOf(Decompressor.class, example).property("java.io.tmpdir", folder).start().finish();
        assertEquals(new ChildJvm.Outcome(0, "DICOM, image 1 of 2, 40 x 30, patient: Doe^Jane\n"), outcome);
        assertEquals(16, ImageIO.read(output.toFile()).getColorModel().getPixelSize());
    }

    @Test
    void framesArePlayed() throws Exception {
        Path input = DicomFile.grey8(8, 6).nativeFrames(3, new byte[144]).writeTo(folder.resolve("frames.dcm"));
        assertEquals(new ChildJvm.Outcome(0, "frame 1: 8 x 6\nframe 2: 8 x 6\n"), run("PlayFrames", input, 1));
    }

    /** Runs a program of the JDK in the folder; what it prints. The native library comes out of the jar. */
    private String runTool(String tool, Path input, String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of(Path.of(System.getProperty("java.home"), "bin", tool).toString()));
        command.addAll(List.of(arguments));
        Path output = folder.resolve("output");
        Process process = new ProcessBuilder(command).directory(folder.toFile()).redirectInput(input.toFile())
                .redirectErrorStream(true).redirectOutput(output.toFile()).start();
        assertTrue(process.waitFor(120, TimeUnit.SECONDS));
        assertEquals(0, process.exitValue(), () -> assertDoesNotThrow(() -> Files.readString(output)));
        return Files.readString(output);
    }

    @Test
    void theJarIsAModule() throws Exception {
        Files.writeString(folder.resolve("module-info.java"), "module app { requires com.quorix.decompression; }");
        Path main = Files.createDirectory(folder.resolve("app")).resolve("Main.java");
        Files.writeString(main, """
                package app;
                public class Main {
                    public static void main(String[] arguments) throws Exception {
                        System.out.println(com.quorix.decompression.Decompressor.decode(java.nio.file.Path.of(arguments[0])));
                    }
                }""");
        Path none = Files.createFile(folder.resolve("none"));
        runTool("javac", none, "--module-path", JAR, "-d", "classes", "module-info.java", "app/Main.java");
        DicomFile.grey8(8, 6).nativeFrames(1, new byte[48]).writeTo(folder.resolve("scan.dcm"));
        assertEquals("8x6 MONOCHROME2, 8 bits, frame 0\n", runTool("java", none, "-Xcheck:jni",
                "-Djava.io.tmpdir=" + folder, "--module-path", JAR + ":classes", "--module", "app/app.Main", "scan.dcm"));
    }

    /** Session on the page: what is typed behind the prompts, with all that is printed. */
    @Test
    void thePageForJshellShowsWhatHappens() throws Exception {
        String page = Files.readString(Path.of(System.getProperty("quorix.test.docs"), "jshell.md"));
        String session = Pattern.compile("```text\n(.*?)```", Pattern.DOTALL).matcher(page).results()
                .map(block -> block.group(1)).collect(Collectors.joining());
        Predicate<String> isTyped = line -> line.startsWith("jshell> ") || line.startsWith("   ...> ");
        String typed = session.lines().filter(isTyped).map(line -> line.substring(8) + "\n").collect(Collectors.joining());
        assertTrue(typed.length() > 200, typed);
        DicomFile.grey16(64, 48).bitsStored(12, true).nativeFrames(1, ramp()).writeTo(folder.resolve("scan.dcm"));
        DicomFile.grey8(33, 21).jpegFrames(Collections.nCopies(3, Compressed.jpeg(33, 21, 0)))
                .writeTo(folder.resolve("cine.dcm"));
        Files.createDirectories(folder.resolve(".java/.userPrefs"));
        String output = runTool("jshell", Files.writeString(folder.resolve("typed"), typed), "--class-path", JAR,
                "-R-Djava.io.tmpdir=" + folder, "-R-Xcheck:jni", "-J-Djava.util.prefs.userRoot=" + folder);
        // Not every JDK takes back a space of its prompt.
        List<String> printed = output.replaceAll("jshell>  \b?|   ...>  \b?|" + ADDRESS, "").lines()
                .filter(line -> !line.isBlank() && !line.startsWith("|  Welcome") && !line.startsWith("|  For an intro"))
                .toList();
        assertEquals(session.replaceAll(ADDRESS, "").lines().filter(isTyped.negate()).toList(), printed);
    }

    /** Of 12 bits: -1120 and one more from pixel to pixel. */
    private static byte[] ramp() {
        ByteBuffer pixels = ByteBuffer.allocate(64 * 48 * 2).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 0; i < 64 * 48; i++) {
            pixels.putShort((short) (-1120 + i));
        }
        return pixels.array();
    }
}
