// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import com.quorix.support.DicomFile;
import com.quorix.support.Images;
import java.awt.image.BufferedImage;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import javax.imageio.ImageIO;
import org.junit.jupiter.api.Test;

class PictureMakerTest {
    private static DicomFile grey16(int bitsStored, boolean signed, int... values) {
        ByteBuffer pixels = ByteBuffer.allocate(2 * values.length).order(ByteOrder.LITTLE_ENDIAN);
        for (int value : values) {
            pixels.putShort((short) value);
        }
        return DicomFile.grey16(values.length, 1).bitsStored(bitsStored, signed)
                .nativeFrames(1, pixels.array());
    }

    private static DicomFile grey8(int... values) {
        byte[] pixels = new byte[values.length];
        for (int i = 0; i < values.length; i++) {
            pixels[i] = (byte) values[i];
        }
        return DicomFile.grey8(values.length, 1).nativeFrames(1, pixels);
    }

    private static int[] samples(BufferedImage picture) {
        return picture.getRaster().getPixels(0, 0, picture.getWidth(), picture.getHeight(), (int[]) null);
    }

    private static void assertFull(DicomFile file, int type, int... expected) throws IOException {
        try (Renderable image = Images.decode(file)) {
            BufferedImage picture = image.toBufferedImage();
            assertEquals(type, picture.getType());
            assertArrayEquals(expected, samples(picture));
        }
    }

    private static void assertWindowed(DicomFile file, double center, double width, int... expected)
            throws IOException {
        try (Renderable image = Images.decode(file)) {
            BufferedImage picture = image.toBufferedImage(center, width);
            assertEquals(BufferedImage.TYPE_BYTE_GRAY, picture.getType());
            assertArrayEquals(expected, samples(picture));
        }
    }

    @Test
    void fullDepthIsShownAsItIsAndLessIsStretched() throws IOException {
        assertFull(grey8(0, 1, 127, 128, 255, 40), BufferedImage.TYPE_BYTE_GRAY, 0, 1, 127, 128, 255, 40);
        assertFull(grey8(0, 1, 15, 8).bitsStored(4, false), BufferedImage.TYPE_BYTE_GRAY, 0, 17, 255, 136);
        assertFull(grey16(12, false, 0, 4095, 2048, 1), BufferedImage.TYPE_USHORT_GRAY, 0, 65535, 32776, 16);
        assertFull(grey16(16, false, 0, 1, 32767, 32768, 65535), BufferedImage.TYPE_USHORT_GRAY,
                0, 1, 32767, 32768, 65535);
    }

    @Test
    void signedValuesStartAtBlack() throws IOException {
        assertFull(grey16(16, true, -32768, -1, 0, 32767), BufferedImage.TYPE_USHORT_GRAY,
                0, 32767, 32768, 65535);
        assertFull(grey16(12, true, -2048, 0, 2047), BufferedImage.TYPE_USHORT_GRAY, 0, 32776, 65535);
        assertFull(grey8(-128, -1, 0, 127).bitsStored(8, true), BufferedImage.TYPE_BYTE_GRAY, 0, 127, 128, 255);
    }

    @Test
    void monochrome1IsInverted() throws IOException {
        assertFull(grey8(0, 1, 255, 7).text(0x00280004, "CS", "MONOCHROME1"), BufferedImage.TYPE_BYTE_GRAY,
                255, 254, 0, 248);
        assertFull(grey16(12, true, -2048, 2047).text(0x00280004, "CS", "MONOCHROME1"),
                BufferedImage.TYPE_USHORT_GRAY, 65535, 0);
        assertWindowed(grey8(0, 50, 100, 255).text(0x00280004, "CS", "MONOCHROME1"), 50.5, 101,
                255, 127, 0, 0);
    }

    /** Values above and below the bits stored, an overlay say, are none of the image's. */
    @Test
    void bitsBesideTheValueDoNotCount() throws IOException {
        assertFull(grey16(12, false, 0xF000, 0x1FFF), BufferedImage.TYPE_USHORT_GRAY, 0, 65535);
    }

    @Test
    void theWindowIsThatOfTheStandard() throws IOException {
        assertWindowed(grey16(16, true, -1025, -1024, 0, 1023, 1024, 32767), 0, 2048, 0, 0, 128, 255, 255, 255);
        assertWindowed(grey16(12, false, 0, 99, 100, 101, 4095), 100.5, 1, 0, 0, 0, 255, 255);
        assertWindowed(grey8(0, 64, 128, 255), 128, 256, 0, 64, 128, 255);
    }

    @Test
    void aWindowBelowOneIsRefused() throws IOException {
        try (Renderable image = Images.grey8(2, 2)) {
            assertThrows(IllegalArgumentException.class, () -> image.toBufferedImage(0, 0.5));
            assertThrows(IllegalArgumentException.class, () -> image.toBufferedImage(0, Double.NaN));
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
    void colourKeepsItsChannels() throws IOException {
        byte[] pixels = {(byte) 255, 0, 10, 1, (byte) 128, 20};
        try (Renderable image = Images.decode(DicomFile.rgb8(2, 1).nativeFrames(1, pixels))) {
            BufferedImage picture = image.toBufferedImage();
            assertEquals(0xFFFF000A, picture.getRGB(0, 0));
            assertEquals(0xFF018014, picture.getRGB(1, 0));
            assertEquals(0xFF018014, image.toBufferedImage(10, 20).getRGB(1, 0), "colour takes no window");
        }
        byte[] byPlane = {(byte) 255, 1, 0, (byte) 128, 10, 20};
        try (Renderable image = Images.decode(DicomFile.rgb8(2, 1).nativeFrames(1, byPlane))) {
            image.setPlanarConfiguration(true);
            assertEquals(0xFFFF000A, image.toBufferedImage().getRGB(0, 0));
            assertEquals(0xFF018014, image.toBufferedImage().getRGB(1, 0));
        }
    }

    @Test
    void pngKeepsEveryValue() throws IOException {
        try (Renderable image = Images.decode(grey16(16, false, 0, 1, 258, 65535))) {
            ByteArrayOutputStream out = new ByteArrayOutputStream();
            ImageIO.write(image.toBufferedImage(), "png", out);
            assertArrayEquals(new int[] {0, 1, 258, 65535},
                    samples(ImageIO.read(new ByteArrayInputStream(out.toByteArray()))));
        }
    }

    /** A record whose numbers do not match its pixels must not be read beyond them, nor shown wrongly. */
    @Test
    void whatDoesNotFitIsRefused() throws IOException {
        try (Renderable image = Images.grey8(4, 4)) {
            image.setRows(5);
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
            image.setRows(65536);
            image.setColumns(65536);
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
            image.setRows(-4);
            image.setColumns(-4);
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
        }
        try (Renderable image = Images.grey8(4, 4)) {
            image.setHighBit(3);
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
            image.setHighBit(7);
            image.setPhotometricInterpretation(Renderable.getPitPaletteColor());
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
            image.setPhotometricInterpretation(Renderable.getPitRgb());
            assertThrows(UnsupportedOperationException.class, image::toBufferedImage);
        }
    }
}
