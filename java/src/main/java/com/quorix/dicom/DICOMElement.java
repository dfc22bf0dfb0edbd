// SPDX-License-Identifier: Apache-2.0
package com.quorix.dicom;

import java.util.List;

/**
 * An attribute of a data set, in words.
 *
 * @param tag group * 65536 + element
 * @param keyword the dictionary's name, such as {@code PatientName}; empty for private and unknown attributes
 * @param vr the value representation, two letters
 * @param value all values with backslashes between them, as the data set's Specific Character Set reads them; null for
 *     what is neither text nor number
 * @param items what a sequence holds: the attributes of each item
 */
public record DICOMElement(int tag, String keyword, String vr, String value, List<List<DICOMElement>> items) {
    /** {@return the tag as eight hexadecimal digits, such as 00100010} */
    public String tagText() {
        return String.format("%08X", tag);
    }
}
