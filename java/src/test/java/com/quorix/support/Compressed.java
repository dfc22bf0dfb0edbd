// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assertions.*;

import java.awt.image.*;
import java.io.*;
import java.nio.*;
import java.util.Base64;
import javax.imageio.ImageIO;

/**
 * Makes drawn images and compresses them for tests.
 *
 * <p>{@link #gradient8} and {@link #gradient16} draw; a seed makes frames differ. {@link #jpeg} is a baseline
 * JPEG codestream by Java's own encoder, {@link #jpegPixels} what Java's own decoder makes of it;
 * {@link #jpeg2000} is a lossless JPEG 2000 codestream of {@link #JPEG2000_COLUMNS} x {@link #JPEG2000_ROWS},
 * {@link #jpeg2000Pixels} what it was made of.
 */
public final class Compressed {
    public static final int JPEG2000_COLUMNS = 96;
    public static final int JPEG2000_ROWS = 64;

    private static final String JPEG2000 = "/0//UQApAAAAAABgAAAAQAAAAAAAAAAAAAAAYAAAAEAAAAAAAAAAAAABBwEB/1IADAAA"
            + "AAEAAgQEAAH/XAAKQEBISFBISFD/kAAKAAAAAAEDAAH/k9+FqBI4KCdkm/cCY/VmSeqKJBVodJDs4t+Qoz+GjLD3gngjLo9N"
            + "yODeP/HNRjg/MnEie1+4NVtgYRJJ7b6qKcwDSmVzdnAw4m8WhWCRLuyvG+B4zP45MF3mrTusqqqqqqs0DBoYsqqqrQvy4Y8i"
            + "s/ZbqRYQw5XUWEMOmmPsq6CvCKG51NvN83zfN83zfN83zgB6ACtuvm+b5vnItDkTGLbr5yLQ5E5yKe6+AXP3ORT3XzfN83za"
            + "uRJEzxHD1g/s0kbmKpXSBLxW1KFIXMGDXWq//3//f/6PwDokB8Iogt3nl7c4Ko/wwBJAOjCcaZk/6NNiqLIP/9k=";

    private Compressed() {
    }

    public static byte[] gradient8(int columns, int rows, int seed) {
        byte[] pixels = new byte[columns * rows];
        for (int i = 0; i < pixels.length; i++) {
            pixels[i] = (byte) (i % columns * 3 + i / columns * 5 + seed * 7);
        }
        return pixels;
    }

    /** 16-bit samples, little endian. */
    public static byte[] gradient16(int columns, int rows, int seed) {
        ByteBuffer pixels = ByteBuffer.allocate(2 * columns * rows).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 0; i < columns * rows; i++) {
            pixels.putShort((short) (i % columns * 301 + i / columns * 507 + seed * 1009));
        }
        return pixels.array();
    }

    /** A smooth grey image, so that JPEG keeps it recognisable, as a baseline JPEG codestream. */
    public static byte[] jpeg(int columns, int rows, int seed) {
        BufferedImage image = new BufferedImage(columns, rows, BufferedImage.TYPE_BYTE_GRAY);
        for (int i = 0; i < columns * rows; i++) {
            int level = (i % columns + i / columns + seed) * 255 / (columns + rows);
            image.getRaster().setSample(i % columns, i / columns, 0, Math.min(255, level));
        }
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        assertTrue(assertDoesNotThrow(() -> ImageIO.write(image, "jpeg", out)));
        return out.toByteArray();
    }

    /** What Java's own decoder makes of a grey JPEG codestream. */
    public static byte[] jpegPixels(byte[] codestream) {
        Raster pixels = assertDoesNotThrow(() -> ImageIO.read(new ByteArrayInputStream(codestream))).getRaster();
        return (byte[]) pixels.getDataElements(0, 0, pixels.getWidth(), pixels.getHeight(), null);
    }

    /** A ramp of 8 bits: three levels of the reversible wavelet, one quality layer. */
    public static byte[] jpeg2000() {
        return Base64.getDecoder().decode(JPEG2000);
    }

    public static byte[] jpeg2000Pixels() {
        byte[] pixels = new byte[JPEG2000_COLUMNS * JPEG2000_ROWS];
        for (int i = 0; i < pixels.length; i++) {
            pixels[i] = (byte) (i % JPEG2000_COLUMNS + 2 * (i / JPEG2000_COLUMNS));
        }
        return pixels;
    }
}
