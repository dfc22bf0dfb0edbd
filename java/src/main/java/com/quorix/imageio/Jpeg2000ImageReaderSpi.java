// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

/** Finds readers for JPEG 2000 codestreams and JP2 and JPH files, of high throughput too. */
public final class Jpeg2000ImageReaderSpi extends QuorixImageReaderSpi {
    /** Creates the provider; ImageIO does. */
    public Jpeg2000ImageReaderSpi() {
        super(InputFormat.JPEG2000);
    }
}
