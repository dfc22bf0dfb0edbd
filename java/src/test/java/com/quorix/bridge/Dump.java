// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import com.quorix.dicom.DICOMDataObject;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** A data set as DCMTK's dcmdump sees it after it was saved: an opinion that is not the library's own. */
final class Dump {
    private static final Pattern LINE = Pattern.compile(
            "^(\\s*)\\((\\p{XDigit}{4},\\p{XDigit}{4})\\) (\\w\\w) (.*?)\\s+#\\s+\\S+,\\s*\\d+ .*$");

    private final List<Matcher> lines = new ArrayList<>();
    private final byte[] pixels;

    Dump(DICOMDataObject dataSet, Path folder) throws IOException, InterruptedException {
        Path file = folder.resolve("saved.dcm");
        dataSet.save(file);
        Path raw = Files.createTempDirectory(folder, "raw");
        Process process = new ProcessBuilder("dcmdump", "-q", "+L", "+W", raw.toString(), file.toString())
                .redirectErrorStream(true).start();
        String text = new String(process.getInputStream().readAllBytes(), java.nio.charset.StandardCharsets.ISO_8859_1);
        if (process.waitFor() != 0) {
            throw new AssertionError(text);
        }
        for (String line : text.split("\n")) {
            Matcher matcher = LINE.matcher(line);
            if (matcher.matches()) {
                lines.add(matcher);
            }
        }
        try (Stream<Path> files = Files.list(raw)) {
            pixels = files.findFirst().map(Dump::read).orElse(null);
        }
    }

    /** The value, without the brackets of text, of an element of the data set itself; null when absent. */
    String value(String tag) {
        return find(tag, "");
    }

    /** The value of the first element of this tag inside a sequence. */
    String nested(String tag) {
        return find(tag, "    ");
    }

    String vr(String tag) {
        return lines.stream().filter(line -> line.group(2).equals(tag)).map(line -> line.group(3)).findFirst()
                .orElse(null);
    }

    /** The value of Pixel Data as it stands in the file; null when there is none. */
    byte[] pixels() {
        return pixels;
    }

    private String find(String tag, String indent) {
        return lines.stream().filter(line -> line.group(2).equals(tag) && line.group(1).equals(indent))
                .map(line -> line.group(4).replaceAll("^\\[|[ \\x00]*\\]$", "").strip()).findFirst().orElse(null);
    }

    private static byte[] read(Path file) {
        try {
            return Files.readAllBytes(file);
        } catch (IOException exception) {
            throw new UncheckedIOException(exception);
        }
    }
}
