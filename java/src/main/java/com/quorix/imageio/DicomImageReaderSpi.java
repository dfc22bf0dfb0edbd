// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

/** Finds readers for DICOM files, with and without a preamble. */
public final class DicomImageReaderSpi extends QuorixImageReaderSpi {
    /** Creates the provider; ImageIO does. */
    public DicomImageReaderSpi() {
        super(InputFormat.DICOM);
    }
}
