// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import java.awt.image.BufferedImage;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import javax.imageio.ImageIO;

/**
 * Makes drawn images and compresses them for tests.
 *
 * <p>{@link #gradient8}, {@link #gradient16} and {@link #gradientRgb} draw; a seed makes frames differ.
 * {@link #jpeg} is a baseline JPEG codestream by Java's own encoder, {@link #jpegPixels} what Java's own
 * decoder makes of it; {@link #rle} is one DICOM RLE frame; {@link #jpeg2000} is a lossless JPEG 2000
 * codestream of {@link #JPEG2000_COLUMNS} x {@link #JPEG2000_ROWS}, {@link #jpeg2000Pixels} what it was made of.
 */
public final class Compressed {
    public static final int JPEG2000_COLUMNS = 96;
    public static final int JPEG2000_ROWS = 64;

    private static final String JPEG2000 = "/0//UQApAAAAAABgAAAAQAAAAAAAAAAAAAAAYAAAAEAAAAAAAAAAAAABBwEB/1IADAAA"
            + "AAEAAgQEAAH/XAAKQEBISFBISFD/kAAKAAAAAAEDAAH/k9+FqBI4KCdkm/cCY/VmSeqKJBVodJDs4t+Qoz+GjLD3gngjLo9N"
            + "yODeP/HNRjg/MnEie1+4NVtgYRJJ7b6qKcwDSmVzdnAw4m8WhWCRLuyvG+B4zP45MF3mrTusqqqqqqs0DBoYsqqqrQvy4Y8i"
            + "s/ZbqRYQw5XUWEMOmmPsq6CvCKG51NvN83zfN83zfN83zgB6ACtuvm+b5vnItDkTGLbr5yLQ5E5yKe6+AXP3ORT3XzfN83za"
            + "uRJEzxHD1g/s0kbmKpXSBLxW1KFIXMGDXWq//3//f/6PwDokB8Iogt3nl7c4Ko/wwBJAOjCcaZk/6NNiqLIP/9k=";
    private static final int RLE_HEADER = 64;
    private static final int LITERAL = 128;

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

    /** Colour by pixel. */
    public static byte[] gradientRgb(int columns, int rows, int seed) {
        byte[] pixels = new byte[3 * columns * rows];
        for (int i = 0; i < columns * rows; i++) {
            pixels[3 * i] = (byte) (i % columns * 2 + seed);
            pixels[3 * i + 1] = (byte) (i / columns * 3 + seed);
            pixels[3 * i + 2] = (byte) (255 - i % columns);
        }
        return pixels;
    }

    /** A smooth grey image, so that JPEG keeps it recognisable, as a baseline JPEG codestream. */
    public static byte[] jpeg(int columns, int rows, int seed) throws IOException {
        BufferedImage image = new BufferedImage(columns, rows, BufferedImage.TYPE_BYTE_GRAY);
        for (int y = 0; y < rows; y++) {
            for (int x = 0; x < columns; x++) {
                image.getRaster().setSample(x, y, 0, Math.min(255, (x + y + seed) * 255 / (columns + rows)));
            }
        }
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ImageIO.write(image, "jpeg", out);
        return out.toByteArray();
    }

    /** What Java's own decoder makes of a grey JPEG codestream. */
    public static byte[] jpegPixels(byte[] codestream) throws IOException {
        BufferedImage image = ImageIO.read(new ByteArrayInputStream(codestream));
        byte[] pixels = new byte[image.getWidth() * image.getHeight()];
        image.getRaster().getDataElements(0, 0, image.getWidth(), image.getHeight(), pixels);
        return pixels;
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

    /** One DICOM RLE frame: a segment per byte of a pixel, most significant first, literal runs alone. */
    public static byte[] rle(byte[] littleEndianPixels, int samples, int bytesPerSample) {
        List<byte[]> segments = new ArrayList<>();
        int stride = samples * bytesPerSample;
        for (int sample = 0; sample < samples; sample++) {
            for (int plane = bytesPerSample - 1; plane >= 0; plane--) {
                segments.add(literalRuns(littleEndianPixels, sample * bytesPerSample + plane, stride));
            }
        }
        return assembled(segments);
    }

    private static byte[] literalRuns(byte[] bytes, int start, int stride) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        int count = bytes.length / stride;
        for (int done = 0; done < count; done += LITERAL) {
            int run = Math.min(LITERAL, count - done);
            out.write(run - 1);
            for (int i = done; i < done + run; i++) {
                out.write(bytes[start + i * stride]);
            }
        }
        if (out.size() % 2 != 0) {
            out.write(0x80);
        }
        return out.toByteArray();
    }

    private static byte[] assembled(List<byte[]> segments) {
        int size = segments.stream().mapToInt(segment -> segment.length).sum();
        ByteBuffer frame = ByteBuffer.allocate(RLE_HEADER + size).order(ByteOrder.LITTLE_ENDIAN);
        frame.putInt(segments.size());
        int offset = RLE_HEADER;
        for (byte[] segment : segments) {
            frame.putInt(offset);
            offset += segment.length;
        }
        frame.position(RLE_HEADER);
        segments.forEach(frame::put);
        return frame.array();
    }
}
