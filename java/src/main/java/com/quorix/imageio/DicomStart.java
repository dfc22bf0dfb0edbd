// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Set;

/** Tells DICOM from what other readers are for, by its first bytes. */
final class DicomStart {
    /** So many bytes are enough. */
    static final int LENGTH = 132;

    private static final int PREAMBLE_LENGTH = 128;
    /** Groups that a file without preamble begins with. */
    private static final Set<Integer> GROUPS = Set.of(0x0002, 0x0004, 0x0008);
    /** Value representations that elements of these groups have. */
    private static final Set<String> REPRESENTATIONS =
            Set.of("CS", "DA", "LO", "OB", "PN", "SH", "ST", "TM", "UI", "UL", "UR", "US");
    private static final int LONGEST_FIRST_VALUE = 64;

    private DicomStart() {
    }

    static boolean is(byte[] start) {
        return start.length >= LENGTH && "DICM".equals(text(start, PREAMBLE_LENGTH, 4)) || isElement(start);
    }

    /** Without a preamble there is only the look of the first element, little endian: short, and sensible. */
    private static boolean isElement(byte[] start) {
        if (start.length < LENGTH) {
            return false;
        }
        ByteBuffer bytes = ByteBuffer.wrap(start).order(ByteOrder.LITTLE_ENDIAN);
        int element = bytes.getShort(2) & 0xFFFF;
        if (!GROUPS.contains((int) bytes.getShort(0)) || element > 0x00FF) {
            return false;
        }
        if (REPRESENTATIONS.contains(text(start, 4, 2))) {
            return true;
        }
        int length = bytes.getInt(4);
        return element == 0 ? length == 4
                : length > 0 && length <= LONGEST_FIRST_VALUE && text(start, 8, length).matches("[ -~]+\\x00?");
    }

    private static String text(byte[] bytes, int offset, int length) {
        return new String(bytes, offset, length, StandardCharsets.ISO_8859_1);
    }
}
