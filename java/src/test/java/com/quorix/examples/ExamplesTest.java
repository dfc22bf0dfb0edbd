// SPDX-License-Identifier: Apache-2.0
package com.quorix.examples;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.Decompressor;
import com.quorix.support.*;
import java.io.File;
import java.nio.file.*;
import java.util.List;
import javax.imageio.ImageIO;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The examples run as they are, each in a JVM of its own. */
class ExamplesTest {
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
}
