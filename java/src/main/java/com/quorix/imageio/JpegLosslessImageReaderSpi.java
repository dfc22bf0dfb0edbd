// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

/** Finds readers for lossless JPEG and for JPEG of 12 bits; never for what Java's own reader decodes. */
public final class JpegLosslessImageReaderSpi extends QuorixImageReaderSpi {
    /** Creates the provider; ImageIO does. */
    public JpegLosslessImageReaderSpi() {
        super(InputFormat.JPEG_LOSSLESS);
    }
}
