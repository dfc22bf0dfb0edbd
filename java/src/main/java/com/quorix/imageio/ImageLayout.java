// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import java.awt.image.BufferedImage;
import java.util.List;
import java.util.Set;
import java.util.stream.IntStream;
import javax.imageio.ImageTypeSpecifier;

/**
 * What is known of an image without its pixels.
 *
 * @param bits those stored of a sample
 * @param reducible whether the codec has lower resolutions that show the same picture
 */
record ImageLayout(int width, int height, boolean colour, int bits, boolean reducible) {
    private static final Set<String> JPEG2000 = Set.of("1.2.840.10008.1.2.4.90", "1.2.840.10008.1.2.4.91",
            "1.2.840.10008.1.2.4.201", "1.2.840.10008.1.2.4.202", "1.2.840.10008.1.2.4.203");

    /** Their values are numbers of segments. */
    private static final Set<String> SEGMENTATIONS =
            Set.of("1.2.840.10008.5.1.4.1.1.66.4", "1.2.840.10008.5.1.4.1.1.66.7");

    /** What a data set says. Averages of palette indices and of segments' numbers show something else. */
    static ImageLayout of(DICOMDataObject header) {
        String interpretation = header.getString(Tags.PHOTOMETRIC_INTERPRETATION);
        boolean palette = "PALETTE COLOR".equals(interpretation);
        return new ImageLayout(header.getInteger(Tags.COLUMNS, 0), header.getInteger(Tags.ROWS, 0),
                palette || header.getInteger(Tags.SAMPLES_PER_PIXEL, 1) > 1, header.getInteger(Tags.BITS_STORED, 8),
                !palette && JPEG2000.contains(String.valueOf(header.getString(Tags.TRANSFER_SYNTAX_UID)))
                        && !SEGMENTATIONS.contains(String.valueOf(header.getString(Tags.SOP_CLASS_UID))));
    }

    /** What a decoded image is. */
    static ImageLayout of(Renderable image, boolean reducible) {
        return new ImageLayout(image.getColumns(), image.getRows(),
                image.getPhotometricInterpretation() == Renderable.getPitRgb(), image.getBitsStored(), reducible);
    }

    boolean isComplete() {
        return width > 0 && height > 0;
    }

    List<ImageTypeSpecifier> imageTypes() {
        return imageTypes(colour ? BufferedImage.TYPE_3BYTE_BGR
                : bits <= 8 ? BufferedImage.TYPE_BYTE_GRAY : BufferedImage.TYPE_USHORT_GRAY);
    }

    /** The kinds of picture that a decoded one can be brought to, its own first. */
    static List<ImageTypeSpecifier> imageTypes(int type) {
        IntStream types = switch (type) {
            case BufferedImage.TYPE_3BYTE_BGR -> IntStream.of(type, BufferedImage.TYPE_INT_RGB);
            case BufferedImage.TYPE_USHORT_GRAY -> IntStream.of(type, BufferedImage.TYPE_BYTE_GRAY);
            default -> IntStream.of(type);
        };
        return types.mapToObj(ImageTypeSpecifier::createFromBufferedImageType).toList();
    }
}
