// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.*;
import java.io.IOException;
import java.nio.file.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Images decoded into data sets, saved, and loaded again. */
class DecodeOrthoTest {
    private static final int RECONSTITUTION_MARK = 0x10211602;
    private static final int LOSSY = 0x00282110;
    private static final int METHOD = 0x00282114;
    private static final int COLUMNS = 101;
    private static final int ROWS = 81;
    private static final byte[] JPEG = Compressed.jpeg(COLUMNS, ROWS, 0);

    @TempDir
    Path folder;

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();
    private final DICOMDataObject dataSet = new DICOMDataObject();

    @AfterEach
    void pixelsLeaveWithTheDataSet() {
        dataSet.close();
        assertEquals(0, NativeMemory.allocatedBlocks());
    }

    private void decode(byte[] bytes, int type, boolean lossless, String demoFile) {
        ScriptedStream stream = new ScriptedStream(bytes);
        assertTrue(decompressor.decodeOrtho(stream, type, lossless, dataSet.getHandle(), demoFile, 1, result),
                result::toString);
        assertEquals("0 Completed successfully", result.DLResultCode + " " + result.Message);
        assertEquals(0, stream.closeCount);
        assertEquals(1, NativeMemory.allocatedBlocks());
    }

    private String values(int... tags) {
        return IntStream.of(tags).mapToObj(dataSet::getString).map(String::valueOf).collect(Collectors.joining(" "));
    }

    private void assertSaved(byte[] pixels) throws IOException {
        Path file = folder.resolve("saved.dcm");
        dataSet.save(file);
        try (DICOMDataObject saved = new DICOMDataObject()) {
            saved.load(file);
            assertArrayEquals(pixels, saved.getPixelBytes());
        }
    }

    private void expectFailure(ScriptedStream stream, int type, String demoFile, String expected) {
        assertFalse(decompressor.decodeOrtho(stream, type, true, dataSet.getHandle(), demoFile, 1, result));
        assertEquals(expected, result.DLResultCode + " " + result.SystemError + " " + result.Message);
    }

    @ParameterizedTest
    @CsvSource({"JPEG, 1, true, 01 ISO_10918_1 null", "JPEG, 1, false, 01 ISO_10918_1 1",
        "JPEG file, 3, true, 01 ISO_10918_1 null", "JPEG file, 3, false, 01 ISO_10918_1 1",
        "native, 3, true, null null null", "native, 3, false, null null 1",
        "JPEG 2000, 2, true, 01 ISO_15444_1 null", "JPEG 2000, 2, false, 01 ISO_15444_1 1",
        "JPEG 2000, 7, true, null null null", "JPEG 2000, 7, false, null null 1"})
    void pixelsAreDescribedAndMarkedByTypeOrTransferSyntax(String kind, int type, boolean lossless, String marks)
            throws IOException {
        byte[] gradient = Compressed.gradient16(COLUMNS, ROWS, 0);
        boolean isJpeg = kind.matches("JPEG( file)?");
        byte[] bytes = switch (kind) {
            case "JPEG" -> JPEG;
            case "JPEG file" -> DicomFile.grey8(COLUMNS, ROWS).jpegFrames(List.of(JPEG)).toBytes();
            case "native" -> DicomFile.grey16(COLUMNS, ROWS).nativeFrames(1, gradient).toBytes();
            default -> Compressed.jpeg2000();
        };
        for (String demoFile : new String[] {"", null}) { // the second time what the data set held before is freed
            decode(bytes, type, lossless, demoFile);
        }
        assertSaved(isJpeg ? Arrays.copyOf(Compressed.jpegPixels(JPEG), COLUMNS * ROWS + 1)
                : type == 3 ? gradient : Compressed.jpeg2000Pixels());
        assertEquals(marks, values(LOSSY, METHOD, RECONSTITUTION_MARK));
        if (isJpeg) {
            assertEquals("8 8 7 101 81 1 MONOCHROME2 0", values(0x00280100, 0x00280101, 0x00280102, 0x00280011,
                    0x00280010, 0x00280002, 0x00280004, 0x00280103));
        }
    }

    @Test
    void aCodestreamWithTheHeaderOfAFile() throws IOException {
        Path demo = DicomFile.grey8(COLUMNS, ROWS).text(0x00080008, "CS", "ORIGINAL\\PRIMARY")
                .nativeFrames(1, new byte[COLUMNS * ROWS + 1]).writeTo(folder.resolve("header.demo"));
        decode(JPEG, NDecompressor.TYPE_JPEG, true, demo.toString());
        // Decoding has marked the data set as lossy before the ratio is taken from it: there is none in it.
        assertEquals("Doe^Jane DERIVED\\PRIMARY\\\\JPEG LOSSY LOSSY JPEG COMPRESSION ?:1 (QUORIX) null",
                values(0x00100010, 0x00080008, 0x00082111, RECONSTITUTION_MARK));
        assertTrue(decompressor.markReconstituted(dataSet.getHandle()));
        assertEquals("1", values(RECONSTITUTION_MARK));
    }

    @Test
    void aBigEndianFileKeepsItsValues() throws Exception {
        byte[] bigEndian = Files.readAllBytes(Places.pydicom("MR_small_bigendian.dcm"));
        decode(bigEndian, NDecompressor.TYPE_DICOM, true, null);
        try (DICOMDataObject same = new DICOMDataObject()) {
            same.load(Places.pydicom("MR_small.dcm"));
            assertSaved(same.getPixelBytes());
        }
    }

    @Test
    void wideColourIsDescribedAsWhatItHasBecome() throws Exception {
        decode(Files.readAllBytes(Places.pydicom("SC_rgb_rle_16bit.dcm")), NDecompressor.TYPE_DICOM, true, null);
        assertEquals("8 8 7 3 RGB 0 100 100", values(0x00280100, 0x00280101, 0x00280102, 0x00280002, 0x00280004,
                0x00280006, 0x00280010, 0x00280011));
        assertEquals(30_000, dataSet.getPixelBytes().length);
    }

    @Test
    void multiFrameFilesAreRefusedAfterTheFirstFrameIsIn() {
        byte[] pixels = Compressed.gradient16(COLUMNS, 2 * ROWS, 0);
        byte[] file = DicomFile.grey16(COLUMNS, ROWS).nativeFrames(2, pixels).toBytes();
        expectFailure(new ScriptedStream(file), NDecompressor.TYPE_DICOM, null,
                "6 0 Native NDecompressor::decodeBytes: multiframe images not supported");
        assertArrayEquals(Arrays.copyOf(pixels, pixels.length / 2), dataSet.getPixelBytes());
    }

    /** Before anything of the data set is lost. */
    @Test
    void imagesThatNoDataSetCanDescribeAreRefused() {
        byte[] pixels = Compressed.gradient16(COLUMNS, ROWS, 0);
        decode(DicomFile.grey16(COLUMNS, ROWS).nativeFrames(1, pixels).toBytes(), NDecompressor.TYPE_DICOM, true, null);
        byte[] wide = Compressed.jpeg2000();
        for (int position : new int[] {8, 24}) { // columns of the image and of its tile
            wide[position + 1] = 1;
        }
        expectFailure(new ScriptedStream(wide), NDecompressor.TYPE_JPEG2000, null,
                "62 0 Native NDecompressor::decodeBytes: Decompressor returned null Renderable");
        byte[] high = DicomFile.grey8(1, 1).text(0x00280010, "IS", "70000").nativeFrames(1, new byte[70000]).toBytes();
        expectFailure(new ScriptedStream(high), NDecompressor.TYPE_DICOM, null,
                "62 0 Native NDecompressor::decodeToMemory: DLRuntimeException: the image does not fit a DICOM data set");
        assertArrayEquals(pixels, dataSet.getPixelBytes());
    }

    @Test
    void failuresAreNamed() {
        ScriptedStream zeros = new ScriptedStream(new byte[500]);
        for (int type : new int[] {1, 2, 3}) {
            expectFailure(zeros, type, null,
                    "62 0 Native NDecompressor::decodeBytes: Decompressor returned null Renderable");
        }
        String path = folder.resolve("caf\u00e9.demo").toString();
        String failed = "Native NDecompressor::decodeOrtho: failed to load .demo file ";
        expectFailure(zeros, NDecompressor.TYPE_JPEG, path, "3 2 " + failed + path);
        expectFailure(zeros, NDecompressor.TYPE_JPEG, "\u20ac\0".repeat(5_000_000),
                "3 2 " + failed + "?\0".repeat(5_000_000));
        expectFailure(new ScriptedStream(new byte[10]).failingIn("length", 0), 3, null,
                "62 0 Native NDecompressor::decodeToMemory: JavaStreamIOException: native JavaSeekableInputStream::"
                + "Length: length() threw exception from Java");
        assertFalse(decompressor.decodeOrtho(zeros, 3, true, 0, "x", 1, result));
        assertEquals("Native NDecompressor::decodeOrtho: null DICOMDataObject supplied", result.Message);
    }
}
