// SPDX-License-Identifier: Apache-2.0
package com.quorix.dicom;

import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Set;

/** Makes a tree of the lines in which the native library tells what a data set holds. */
final class ElementTree {
    private static final int SPECIFIC_CHARACTER_SET = 0x00080005;
    private static final int ITEM = 0xFFFEE000;
    /** The value representations that Specific Character Set is for. */
    private static final Set<String> TEXTS = Set.of("LO", "LT", "PN", "SH", "ST", "UC", "UT");
    /** Defined terms of one character set, and of one beside ASCII that needs no escape sequences. */
    private static final Map<String, String> CHARSETS = Map.ofEntries(Map.entry("ISO_IR 101", "ISO-8859-2"),
            Map.entry("ISO_IR 109", "ISO-8859-3"), Map.entry("ISO_IR 110", "ISO-8859-4"),
            Map.entry("ISO_IR 144", "ISO-8859-5"), Map.entry("ISO_IR 127", "ISO-8859-6"),
            Map.entry("ISO_IR 126", "ISO-8859-7"), Map.entry("ISO_IR 138", "ISO-8859-8"),
            Map.entry("ISO_IR 148", "ISO-8859-9"), Map.entry("ISO_IR 203", "ISO-8859-15"),
            Map.entry("ISO_IR 166", "TIS-620"), Map.entry("ISO_IR 13", "Shift_JIS"), Map.entry("ISO_IR 192", "UTF-8"),
            Map.entry("GB18030", "GB18030"), Map.entry("GBK", "GBK"),
            Map.entry("\\ISO 2022 IR 87", "ISO-2022-JP"), Map.entry("\\ISO 2022 IR 149", "EUC-KR"),
            Map.entry("\\ISO 2022 IR 58", "GB2312"));

    private final String[] lines;
    private int next;

    private ElementTree(String[] lines) {
        this.lines = lines;
    }

    /** Takes what {@link DICOMDataObject#getElements} gets from the native side. */
    static List<DICOMElement> of(String[] lines) {
        return new ElementTree(lines).elements(0, StandardCharsets.ISO_8859_1);
    }

    /** The elements of this depth that follow; a data set inside another has its character set unless it says. */
    private List<DICOMElement> elements(int depth, Charset outer) {
        List<DICOMElement> elements = new ArrayList<>();
        Charset charset = outer;
        while (next < lines.length && depthOf(next) == depth && tagOf(next) != ITEM) {
            String[] head = lines[next].split(" ", -1);
            int tag = tagOf(next);
            String value = lines[next + 1];
            next += 2;
            if (tag == SPECIFIC_CHARACTER_SET) {
                charset = charsetOf(value);
            }
            if (value != null && TEXTS.contains(head[2])) {
                value = new String(value.getBytes(StandardCharsets.ISO_8859_1), charset);
            }
            elements.add(new DICOMElement(tag, head[3], head[2], value, items(depth + 1, charset)));
        }
        return List.copyOf(elements);
    }

    private List<List<DICOMElement>> items(int depth, Charset charset) {
        List<List<DICOMElement>> items = new ArrayList<>();
        while (next < lines.length && depthOf(next) == depth && tagOf(next) == ITEM) {
            next += 2;
            items.add(elements(depth + 1, charset));
        }
        return List.copyOf(items);
    }

    private int depthOf(int line) {
        return Integer.parseInt(lines[line], 0, lines[line].indexOf(' '), 10);
    }

    private int tagOf(int line) {
        int start = lines[line].indexOf(' ') + 1;
        return Integer.parseUnsignedInt(lines[line], start, start + 8, 16);
    }

    /** Latin-1 where the term is another or the JVM lacks the set: bytes are then seen as they are. */
    private static Charset charsetOf(String terms) {
        String trimmed = terms == null ? "" : terms.strip();
        String name = CHARSETS.get(trimmed.startsWith("\\") ? trimmed : trimmed.split("\\\\", -1)[0]
                .replace("ISO 2022 IR", "ISO_IR"));
        return name != null && Charset.isSupported(name) ? Charset.forName(name) : StandardCharsets.ISO_8859_1;
    }
}
