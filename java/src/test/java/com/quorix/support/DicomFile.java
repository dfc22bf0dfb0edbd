// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

/**
 * Makes DICOM Part 10 files for tests, explicit VR little endian throughout.
 *
 * <p>Start with one of {@link #grey8}, {@link #grey16}, {@link #rgb8}; change attributes with {@link #text}
 * and {@link #number}; give frames with {@link #nativeFrames} (raw bytes) or {@link #encapsulated} (one
 * compressed byte string per frame, together with the transfer syntax); take the file with
 * {@link #toBytes} or {@link #writeTo}.
 */
public final class DicomFile {
    public static final String EXPLICIT_LITTLE = "1.2.840.10008.1.2.1";
    public static final String JPEG_BASELINE = "1.2.840.10008.1.2.4.50";
    public static final String JPEG2000_LOSSLESS = "1.2.840.10008.1.2.4.90";
    public static final String JPEG2000 = "1.2.840.10008.1.2.4.91";
    public static final String RLE = "1.2.840.10008.1.2.5";

    private static final String SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7";
    private static final int PIXEL_DATA = 0x7FE00010;

    private final Map<Integer, byte[]> elements = new TreeMap<>(Integer::compareUnsigned);
    private String transferSyntax = EXPLICIT_LITTLE;
    private String pixelVr = "OW";
    private byte[] nativePixels = new byte[0];
    private List<byte[]> fragments;

    private DicomFile(int columns, int rows, int samples, int bits, String interpretation) {
        text(0x00080016, "UI", SECONDARY_CAPTURE);
        text(0x00080018, "UI", "1.2.826.0.1.3680043.8.498.1");
        text(0x00080060, "CS", "OT");
        text(0x00100010, "PN", "Doe^Jane");
        number(0x00280002, samples);
        text(0x00280004, "CS", interpretation);
        if (samples > 1) {
            number(0x00280006, 0);
        }
        number(0x00280010, rows);
        number(0x00280011, columns);
        number(0x00280100, bits);
        number(0x00280101, bits);
        number(0x00280102, bits - 1);
        number(0x00280103, 0);
    }

    public static DicomFile grey8(int columns, int rows) {
        return new DicomFile(columns, rows, 1, 8, "MONOCHROME2");
    }

    public static DicomFile grey16(int columns, int rows) {
        return new DicomFile(columns, rows, 1, 16, "MONOCHROME2");
    }

    public static DicomFile rgb8(int columns, int rows) {
        return new DicomFile(columns, rows, 3, 8, "RGB");
    }

    /** Sets a text element. */
    public DicomFile text(int tag, String vr, String value) {
        byte[] bytes = value.getBytes(StandardCharsets.ISO_8859_1);
        elements.put(tag, element(tag, vr, padded(bytes, vr.equals("UI") ? 0 : ' ')));
        return this;
    }

    /** Sets an element of VR US. */
    public DicomFile number(int tag, int value) {
        elements.put(tag, element(tag, "US", new byte[] {(byte) value, (byte) (value >> 8)}));
        return this;
    }

    public DicomFile without(int tag) {
        elements.remove(tag);
        return this;
    }

    /** Sets bits stored and, to go with them, the high bit; and whether samples are signed. */
    public DicomFile bitsStored(int bits, boolean signed) {
        return number(0x00280101, bits).number(0x00280102, bits - 1).number(0x00280103, signed ? 1 : 0);
    }

    /** Uncompressed frames, one after the other in one byte string. */
    public DicomFile nativeFrames(int frames, byte[] pixels) {
        nativePixels = pixels;
        pixelVr = pixels.length > 0 && elements.get(0x00280100)[8] == 8 ? "OB" : "OW";
        return frames(frames);
    }

    /** Compressed frames, each in a fragment of its own, without an offset table. */
    public DicomFile encapsulated(String syntax, List<byte[]> frames) {
        transferSyntax = syntax;
        fragments = new ArrayList<>(frames);
        return frames(frames.size());
    }

    public byte[] toBytes() {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(new byte[128]);
        out.writeBytes("DICM".getBytes(StandardCharsets.US_ASCII));
        out.writeBytes(metaGroup());
        elements.values().forEach(out::writeBytes);
        out.writeBytes(fragments == null ? element(PIXEL_DATA, pixelVr, padded(nativePixels, 0)) : sequence());
        return out.toByteArray();
    }

    public Path writeTo(Path file) throws IOException {
        return Files.write(file, toBytes());
    }

    private DicomFile frames(int count) {
        return count == 1 ? this : text(0x00280008, "IS", Integer.toString(count));
    }

    private byte[] metaGroup() {
        ByteArrayOutputStream group = new ByteArrayOutputStream();
        group.writeBytes(element(0x00020001, "OB", new byte[] {0, 1}));
        group.writeBytes(uid(0x00020002, SECONDARY_CAPTURE));
        group.writeBytes(uid(0x00020003, "1.2.826.0.1.3680043.8.498.1"));
        group.writeBytes(uid(0x00020010, transferSyntax));
        group.writeBytes(uid(0x00020012, "1.2.826.0.1.3680043.8.498.2"));
        ByteArrayOutputStream whole = new ByteArrayOutputStream();
        whole.writeBytes(element(0x00020000, "UL", little(4).putInt(group.size()).array()));
        whole.writeBytes(group.toByteArray());
        return whole.toByteArray();
    }

    private byte[] sequence() {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(little(12).putShort((short) 0x7FE0).putShort((short) 0x0010).put((byte) 'O')
                .put((byte) 'B').putShort((short) 0).putInt(-1).array());
        out.writeBytes(item(0xE000, 0));
        for (byte[] fragment : fragments) {
            byte[] even = padded(fragment, 0);
            out.writeBytes(item(0xE000, even.length));
            out.writeBytes(even);
        }
        out.writeBytes(item(0xE0DD, 0));
        return out.toByteArray();
    }

    private static byte[] item(int element, int length) {
        return little(8).putShort((short) 0xFFFE).putShort((short) element).putInt(length).array();
    }

    private static byte[] uid(int tag, String value) {
        return element(tag, "UI", padded(value.getBytes(StandardCharsets.US_ASCII), 0));
    }

    private static byte[] element(int tag, String vr, byte[] value) {
        boolean isLong = vr.equals("OB") || vr.equals("OW") || vr.equals("UN") || vr.equals("SQ");
        ByteBuffer buffer = little((isLong ? 12 : 8) + value.length);
        buffer.putShort((short) (tag >>> 16)).putShort((short) tag);
        buffer.put(vr.getBytes(StandardCharsets.US_ASCII));
        if (isLong) {
            buffer.putShort((short) 0).putInt(value.length);
        } else {
            buffer.putShort((short) value.length);
        }
        return buffer.put(value).array();
    }

    private static byte[] padded(byte[] bytes, int filler) {
        if (bytes.length % 2 == 0) {
            return bytes;
        }
        byte[] even = Arrays.copyOf(bytes, bytes.length + 1);
        even[bytes.length] = (byte) filler;
        return even;
    }

    private static ByteBuffer little(int size) {
        return ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
    }
}
