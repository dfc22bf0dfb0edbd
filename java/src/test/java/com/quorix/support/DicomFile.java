// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import java.io.*;
import java.nio.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;

/**
 * Makes DICOM Part 10 files for tests, explicit VR little endian throughout.
 *
 * <p>Start with one of {@link #grey8}, {@link #grey16}, {@link #rgb8}; change attributes with {@link #text}
 * and {@link #number}; give frames with {@link #nativeFrames} (raw bytes) or {@link #jpegFrames} (one
 * codestream per frame); take the file, which ends with its pixels, with {@link #toBytes} or {@link #writeTo}.
 */
public final class DicomFile {
    private static final int PIXEL_DATA = 0x7FE00010;

    private final Map<Integer, byte[]> elements = new TreeMap<>(Integer::compareUnsigned);
    private final int bits;
    private String transferSyntax = "1.2.840.10008.1.2.1";

    private DicomFile(int columns, int rows, int samples, int bits, String interpretation) {
        this.bits = bits;
        text(0x00080016, "UI", "1.2.840.10008.5.1.4.1.1.7");
        text(0x00080018, "UI", "1.2.826.0.1.3680043.8.498.1");
        text(0x00080060, "CS", "OT");
        text(0x00100010, "PN", "Doe^Jane");
        text(0x00280004, "CS", interpretation);
        number(0x00280002, samples).number(0x00280010, rows).number(0x00280011, columns);
        number(0x00280100, bits).bitsStored(bits, false);
    }

    public static DicomFile grey8(int columns, int rows) {
        return new DicomFile(columns, rows, 1, 8, "MONOCHROME2");
    }

    public static DicomFile grey16(int columns, int rows) {
        return new DicomFile(columns, rows, 1, 16, "MONOCHROME2");
    }

    public static DicomFile rgb8(int columns, int rows) {
        return new DicomFile(columns, rows, 3, 8, "RGB").number(0x00280006, 0);
    }

    /** Sets a text element. */
    public DicomFile text(int tag, String vr, String value) {
        return element(tag, vr, padded(value, vr.equals("UI") ? "\0" : " "));
    }

    /** Sets an element of VR US. */
    public DicomFile number(int tag, int value) {
        return element(tag, "US", new byte[] {(byte) value, (byte) (value >> 8)});
    }

    /** Sets bits stored and, to go with them, the high bit; and whether samples are signed. */
    public DicomFile bitsStored(int stored, boolean signed) {
        return number(0x00280101, stored).number(0x00280102, stored - 1).number(0x00280103, signed ? 1 : 0);
    }

    /** Sets a sequence of one item; what is in it is given by {@link #inItem}. */
    public DicomFile sequence(int tag, String item) {
        return text(tag, "SQ", item);
    }

    /** The bytes of an item of one element, as characters; the value may be such an item again. */
    public static String inItem(int tag, String vr, String value) {
        byte[] content = encoded(tag, vr, value.length(), padded(value, ""));
        return latin1(item(0xE000, content.length)) + latin1(content);
    }

    private static String latin1(byte[] bytes) {
        return new String(bytes, StandardCharsets.ISO_8859_1);
    }

    /** Uncompressed frames, one after the other in one byte string of even length. */
    public DicomFile nativeFrames(int frames, byte[] pixels) {
        return element(PIXEL_DATA, bits == 8 ? "OB" : "OW", pixels).frames(frames);
    }

    /** Baseline JPEG frames, each in a fragment of its own, without an offset table. */
    public DicomFile jpegFrames(List<byte[]> codestreams) {
        transferSyntax = "1.2.840.10008.1.2.4.50";
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(encoded(PIXEL_DATA, "OB", -1, new byte[0]));
        out.writeBytes(item(0xE000, 0));
        for (byte[] codestream : codestreams) {
            out.writeBytes(item(0xE000, (codestream.length + 1) / 2 * 2));
            out.writeBytes(codestream);
            out.writeBytes(new byte[codestream.length % 2]);
        }
        out.writeBytes(item(0xE0DD, 0));
        elements.put(PIXEL_DATA, out.toByteArray());
        return frames(codestreams.size());
    }

    public byte[] toBytes() {
        byte[] uid = padded(transferSyntax, "\0");
        byte[] syntax = encoded(0x00020010, "UI", uid.length, uid);
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(new byte[128]);
        out.writeBytes(padded("DICM", ""));
        out.writeBytes(encoded(0x00020000, "UL", 4, little(4).putInt(syntax.length).array()));
        out.writeBytes(syntax);
        elements.values().forEach(out::writeBytes);
        return out.toByteArray();
    }

    public Path writeTo(Path file) throws IOException {
        return Files.write(file, toBytes());
    }

    private DicomFile frames(int count) {
        return count == 1 ? this : text(0x00280008, "IS", Integer.toString(count));
    }

    private DicomFile element(int tag, String vr, byte[] value) {
        elements.put(tag, encoded(tag, vr, value.length, value));
        return this;
    }

    private static byte[] encoded(int tag, String vr, int length, byte[] value) {
        boolean isLong = vr.startsWith("O") || vr.equals("SQ");
        ByteBuffer buffer = little((isLong ? 12 : 8) + value.length);
        buffer.putShort((short) (tag >>> 16)).putShort((short) tag).put(padded(vr, ""));
        buffer = isLong ? buffer.putShort((short) 0).putInt(length) : buffer.putShort((short) length);
        return buffer.put(value).array();
    }

    private static byte[] item(int element, int length) {
        return little(8).putShort((short) 0xFFFE).putShort((short) element).putInt(length).array();
    }

    private static byte[] padded(String text, String filler) {
        return (text.length() % 2 == 0 ? text : text + filler).getBytes(StandardCharsets.ISO_8859_1);
    }

    private static ByteBuffer little(int size) {
        return ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
    }
}
