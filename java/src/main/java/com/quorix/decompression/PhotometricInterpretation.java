// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/** What the samples of an image mean, as {@link Renderable#getPhotometricInterpretation} has it in codes. */
public enum PhotometricInterpretation {
    // In the order of their codes.
    /** Not known. */
    INVALID("INVALID"),
    /** Grey; the least value is white. */
    MONOCHROME1("MONOCHROME1"),
    /** Grey; the least value is black. */
    MONOCHROME2("MONOCHROME2"),
    /** Indices of a palette. */
    PALETTE_COLOR("PALETTE COLOR"),
    /** Red, green and blue. */
    RGB("RGB"),
    /** Luminance and two chrominances. */
    YBR_FULL("YBR_FULL"),
    /** The same, chrominances at half the width. */
    YBR_FULL_422("YBR_FULL_422"),
    /** The same in video levels. */
    YBR_PARTIAL_422("YBR_PARTIAL_422"),
    /** The same, chrominances at half the width and height. */
    YBR_PARTIAL_420("YBR_PARTIAL_420"),
    /** Of the irreversible component transform of JPEG 2000. */
    YBR_ICT("YBR_ICT"),
    /** Of the reversible component transform of JPEG 2000. */
    YBR_RCT("YBR_RCT");

    private final String term;

    PhotometricInterpretation(String term) {
        this.term = term;
    }

    /** {@return the defined term of DICOM, such as "PALETTE COLOR"} */
    public String getTerm() {
        return term;
    }

    /** {@return the code, as {@link Renderable} has it} */
    public int getCode() {
        return ordinal();
    }

    /**
     * Returns the interpretation with a code.
     *
     * @param code any number
     * @return the interpretation; {@link #INVALID} for a number that is no code
     */
    public static PhotometricInterpretation of(int code) {
        return code >= 0 && code < values().length ? values()[code] : INVALID;
    }

    @Override
    public String toString() {
        return term;
    }
}
