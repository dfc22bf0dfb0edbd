// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

/** The attributes that the readers look at. */
final class Tags {
    static final int TRANSFER_SYNTAX_UID = 0x00020010;
    static final int SOP_CLASS_UID = 0x00080016;
    static final int IMAGER_PIXEL_SPACING = 0x00181164;
    static final int NOMINAL_SCANNED_PIXEL_SPACING = 0x00182010;
    static final int SAMPLES_PER_PIXEL = 0x00280002;
    static final int PHOTOMETRIC_INTERPRETATION = 0x00280004;
    static final int NUMBER_OF_FRAMES = 0x00280008;
    static final int ROWS = 0x00280010;
    static final int COLUMNS = 0x00280011;
    static final int PIXEL_SPACING = 0x00280030;
    static final int PIXEL_ASPECT_RATIO = 0x00280034;
    static final int BITS_ALLOCATED = 0x00280100;
    static final int BITS_STORED = 0x00280101;
    static final int PIXEL_REPRESENTATION = 0x00280103;
    static final int LOSSY_IMAGE_COMPRESSION = 0x00282110;
    static final int PIXEL_MEASURES = 0x00289110;
    static final int SHARED_FUNCTIONAL_GROUPS = 0x52009229;
    static final int PER_FRAME_FUNCTIONAL_GROUPS = 0x52009230;

    private Tags() {
    }
}
