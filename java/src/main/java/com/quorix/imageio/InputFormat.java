// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.decompression.ImageType;
import java.io.EOFException;
import java.io.IOException;
import javax.imageio.stream.ImageInputStream;

/** The kinds of input, one for each provider: what they are called, and how they are told from their first bytes. */
enum InputFormat {
    DICOM(ImageType.DICOM, "DICOM images", names("DICOM", "dcm"), names("dcm", "dicom", "dic"),
            names("application/dicom")),
    JPEG2000(ImageType.JPEG2000, "JPEG 2000 images, of high throughput too",
            names("JPEG 2000", "JPEG2000", "jp2", "j2k", "j2c", "jph", "jhc", "htj2k"),
            names("jp2", "j2k", "j2c", "jpc", "jph", "jhc"),
            names("image/jp2", "image/jpeg2000", "image/j2c", "image/jph", "image/jphc", "image/jhc",
                    "image/dicom+jp2")),
    JPEG_LS(ImageType.JPEG, "JPEG-LS images", names("JPEG-LS", "jls"), names("jls"),
            names("image/jls", "image/dicom+jpeg-ls")),
    /** Never a name, suffix or type of plain JPEG: who asks for that is to get Java's own reader. */
    JPEG_LOSSLESS(ImageType.JPEG, "JPEG images, lossless or of 12 bits",
            names("JPEG-LOSSLESS", "JPEG-EXTENDED", "ljpeg"), names("ljpeg", "ljpg"), names("image/dicom+jpeg"));

    private final ImageType type;
    private final String description;
    private final String[] names;
    private final String[] suffixes;
    private final String[] mimeTypes;

    InputFormat(ImageType type, String description, String[] names, String[] suffixes, String[] mimeTypes) {
        this.type = type;
        this.description = description;
        this.names = names;
        this.suffixes = suffixes;
        this.mimeTypes = mimeTypes;
    }

    private static String[] names(String... names) {
        return names;
    }

    ImageType type() {
        return type;
    }

    String description() {
        return description;
    }

    String[] names() {
        return names.clone();
    }

    String[] suffixes() {
        return suffixes.clone();
    }

    String[] mimeTypes() {
        return mimeTypes.clone();
    }

    /** The format of what stands at a stream's position, or null; the stream's position is where it was. */
    static InputFormat at(ImageInputStream stream) throws IOException {
        stream.mark();
        try {
            return of(new HeaderBytes(new ImageInput(stream, stream.getStreamPosition(), ReadWatcher.NONE)));
        } catch (EOFException tooShort) {
            return null;
        } finally {
            stream.reset();
        }
    }

    private static InputFormat of(HeaderBytes in) throws IOException {
        byte[] start = in.start(DicomStart.LENGTH);
        if (Jpeg2000Header.beginsWith(start)) {
            return JPEG2000;
        }
        if (!JpegFrameHeader.beginsWith(start)) {
            return DicomStart.is(start) ? DICOM : null;
        }
        JpegFrameHeader frame = JpegFrameHeader.read(in);
        return frame == null ? null : frame.isJpegLs() ? JPEG_LS : frame.isForUs() ? JPEG_LOSSLESS : null;
    }
}
