// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.List;
import java.util.function.Consumer;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

class PictureMakerTest {
    /** An image, its window (none of width 0), and the samples of its picture: 8 bits if windowed, else as it has. */
    private record Row(DicomFile file, double center, double width, int... expected) {
    }

    private static DicomFile grey16(int bitsStored, boolean signed, int... values) {
        return grey(DicomFile.grey16(values.length, 1), 2, bitsStored, signed, values);
    }

    private static DicomFile grey8(int bitsStored, boolean signed, int... values) {
        return grey(DicomFile.grey8(values.length, 1), 1, bitsStored, signed, values);
    }

    private static DicomFile grey(DicomFile file, int bytes, int bitsStored, boolean signed, int... values) {
        byte[] pixels = new byte[bytes * values.length];
        for (int i = 0; i < pixels.length; i++) {
            pixels[i] = (byte) (values[i / bytes] >> i % bytes * 8);
        }
        return file.bitsStored(bitsStored, signed).nativeFrames(1, pixels);
    }

    private static DicomFile inverted(DicomFile file) {
        return file.text(0x00280004, "CS", "MONOCHROME1");
    }

    private static DicomFile rescaled(DicomFile file, String slope, String intercept) {
        return file.text(0x00281052, "DS", intercept).text(0x00281053, "DS", slope);
    }

    private static int[] samples(BufferedImage picture) {
        return picture.getRaster().getPixels(0, 0, picture.getWidth(), picture.getHeight(), (int[]) null);
    }

    static Stream<Row> rows() {
        return Stream.of(
                // Full depth is shown as it is, less is stretched, signed values start at black.
                new Row(grey8(8, false, 0, 1, 127, 128, 255, 40), 0, 0, 0, 1, 127, 128, 255, 40),
                new Row(grey8(4, false, 0, 1, 15, 8), 0, 0, 0, 17, 255, 136),
                new Row(grey8(8, true, -128, -1, 0, 127), 0, 0, 0, 127, 128, 255),
                new Row(grey16(12, false, 0, 4095, 2048, 1), 0, 0, 0, 65535, 32776, 16),
                new Row(grey16(16, false, 0, 1, 32767, 32768, 65535), 0, 0, 0, 1, 32767, 32768, 65535),
                new Row(grey16(16, true, -32768, -1, 0, 32767), 0, 0, 0, 32767, 32768, 65535),
                new Row(grey16(12, true, -2048, 0, 2047), 0, 0, 0, 32776, 65535),
                // Bits above those stored, an overlay say, are none of the value's.
                new Row(grey16(12, false, 0xF000, 0x1FFF), 0, 0, 0, 65535),
                // Unless they were left too few: words of 8 bits and fewer are shown whole.
                new Row(grey16(8, false, 0, 255, 4095), 0, 0, 0, 4081, 65535),
                new Row(grey16(8, true, -2048, 2047), 0, 0, 30720, 34815),
                new Row(grey16(8, true, -128, 0, 127), 0, 256, 0, 128, 255),
                new Row(inverted(grey8(8, false, 0, 1, 255, 7)), 0, 0, 255, 254, 0, 248),
                new Row(inverted(grey16(12, true, -2048, 2047)), 0, 0, 65535, 0),
                new Row(inverted(grey8(8, false, 0, 50, 100, 255)), 50.5, 101, 255, 127, 0, 0),
                // A window means what the modality measured, where slope and intercept are both there.
                new Row(rescaled(grey16(16, true, 412, 531, 532, 632), "2", "-1024"), 40, 400, 0, 127, 128, 255),
                new Row(rescaled(grey8(8, false, 0, 64, 255), "1.0", ""), 128, 256, 0, 64, 255),
                new Row(rescaled(grey8(8, false, 0, 64, 255), "0", "-1024"), 128, 256, 0, 64, 255),
                // The window is that of the standard.
                new Row(grey16(16, true, -1025, -1024, 0, 1023, 1024, 32767), 0, 2048, 0, 0, 128, 255, 255, 255),
                new Row(grey16(12, false, 0, 99, 100, 101, 4095), 100.5, 1, 0, 0, 0, 255, 255),
                new Row(grey8(8, false, 0, 64, 128, 255), 128, 256, 0, 64, 128, 255));
    }

    @ParameterizedTest
    @MethodSource("rows")
    void greyIsShown(Row row) throws IOException {
        try (Renderable image = Images.decode(row.file())) {
            boolean isWindowed = row.width() > 0;
            BufferedImage picture = isWindowed ? image.toBufferedImage(row.center(), row.width())
                    : image.toBufferedImage();
            assertEquals(isWindowed || image.getBitsAllocated() == 8 ? BufferedImage.TYPE_BYTE_GRAY
                    : BufferedImage.TYPE_USHORT_GRAY, picture.getType());
            assertArrayEquals(row.expected(), samples(picture));
        }
    }

    @Test
    void theRescaleOutlivesThePixels() throws IOException {
        try (Renderable image = Images.decode(rescaled(grey8(8, false, 1, 2), "2", "-1024"))) {
            ByteBuffer pixels = image.getPixelData(); // which keeps them, so that the image goes on without
            image.freePixelData();
            assertEquals(List.of(2.0, -1024.0), List.of(image.getRescaleSlope(), image.getRescaleIntercept()));
            assertEquals(2, pixels.get(1));
        }
    }

    @Test
    void bigEndianSamplesAreRead() throws IOException {
        try (Renderable image = Images.decode(grey16(16, false, 0x0102, 0xFFFE))) {
            image.setPixelDataLittleEndian(false);
            assertArrayEquals(new int[] {0x0201, 0xFEFF}, samples(image.toBufferedImage()));
        }
    }

    @Test
    void colourKeepsItsChannelsAndTakesNoWindow() throws IOException {
        byte[][] pixels = {{(byte) 255, 0, 10, 1, (byte) 128, 20}, {(byte) 255, 1, 0, (byte) 128, 10, 20}};
        for (int planar = 0; planar < 2; planar++) {
            try (Renderable image = Images.decode(DicomFile.rgb8(2, 1).nativeFrames(1, pixels[planar]))) {
                image.setPlanarConfiguration(planar == 1);
                assertEquals(0xFFFF000A, image.toBufferedImage().getRGB(0, 0));
                assertEquals(0xFF018014, image.toBufferedImage(10, 20).getRGB(1, 0));
            }
        }
        try (Renderable deep = Images.decode(grey16(12, false, 0xFFF, 0, 0xA0, 0x10, 0x800, 0x148))) {
            deep.setPhotometricInterpretation(Renderable.getPitRgb());
            deep.setSamplesPerPixel(3);
            deep.setColumns(2);
            assertEquals(0xFFFF000A, deep.toBufferedImage().getRGB(0, 0));
            assertEquals(0xFF018014, deep.toBufferedImage(10, 20).getRGB(1, 0));
        }
    }

    private static void resize(Renderable image, int size) {
        image.setRows(size);
        image.setColumns(size);
    }

    /** A record whose numbers do not match its pixels must not be read beyond them, nor shown wrongly. */
    @Test
    void whatDoesNotFitIsRefused() throws IOException {
        Stream<Consumer<Renderable>> spoilings = Stream.of(image -> image.setRows(5), image -> image.setHighBit(3),
                image -> resize(image, 65536), image -> resize(image, -4),
                image -> image.setPhotometricInterpretation(Renderable.getPitPaletteColor()),
                image -> image.setPhotometricInterpretation(Renderable.getPitRgb()));
        spoilings.forEach(spoiling -> {
            try (Renderable image = Images.grey8(4, 4)) {
                for (double width : new double[] {0.5, Double.NaN}) {
                    assertThrows(IllegalArgumentException.class, () -> image.toBufferedImage(0, width));
                }
                spoiling.accept(image);
                assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
            }
        });
    }
}
