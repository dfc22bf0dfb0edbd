// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

/** Finds readers for JPEG-LS codestreams. */
public final class JpegLsImageReaderSpi extends QuorixImageReaderSpi {
    /** Creates the provider; ImageIO does. */
    public JpegLsImageReaderSpi() {
        super(InputFormat.JPEG_LS);
    }
}
