// SPDX-License-Identifier: Apache-2.0
/** Decompresses medical images: {@link com.quorix.decompression.Decompressor} is where to start. */
module com.quorix.decompression {
    requires transitive java.desktop;

    exports com.quorix.decompression;
    exports com.quorix.dicom;
    exports com.quorix.imageio;
    exports com.quorix.io;
    exports com.quorix.util;

    provides javax.imageio.spi.ImageReaderSpi with
            com.quorix.imageio.DicomImageReaderSpi,
            com.quorix.imageio.Jpeg2000ImageReaderSpi,
            com.quorix.imageio.JpegLsImageReaderSpi,
            com.quorix.imageio.JpegLosslessImageReaderSpi;
}
