// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecomprResult;
import com.quorix.decompression.NDecompressor;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.NativeMemory;
import com.quorix.support.Places;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Images decoded into data sets, saved, and read back by DCMTK. */
class DecodeOrthoTest {
    private static final String RECONSTITUTION_MARK = "1021,1602";
    private static final String LOSSY = "0028,2110";
    private static final String METHOD = "0028,2114";
    private static final int COLUMNS = 101;
    private static final int ROWS = 81;

    @TempDir
    Path folder;

    private final NDecompressor decompressor = new NDecompressor();
    private final DecomprResult result = new DecomprResult();
    private final DICOMDataObject dataSet = new DICOMDataObject();

    @AfterEach
    void close() {
        dataSet.close();
    }

    private boolean decode(byte[] bytes, int type, boolean lossless, String demoFile) {
        ScriptedStream stream = new ScriptedStream(bytes);
        boolean success = decompressor.decodeOrtho(stream, type, lossless, dataSet.getHandle(), demoFile, 1, result);
        assertEquals(0, stream.closeCount);
        return success;
    }

    private Dump decoded(byte[] bytes, int type, boolean lossless, String demoFile) throws Exception {
        assertTrue(decode(bytes, type, lossless, demoFile), result::toString);
        assertEquals("0 Completed successfully", result.DLResultCode + " " + result.Message);
        return new Dump(dataSet, folder);
    }

    private static void assertGrey8(Dump dump, byte[] pixels, int columns, int rows) {
        assertArrayEquals(Arrays.copyOf(pixels, pixels.length + pixels.length % 2), dump.pixels());
        assertEquals(List.of("OB", "8", "8", "7", "" + columns, "" + rows, "1", "MONOCHROME2", "0"),
                List.of(dump.vr("7fe0,0010"), dump.value("0028,0100"), dump.value("0028,0101"),
                        dump.value("0028,0102"), dump.value("0028,0011"), dump.value("0028,0010"),
                        dump.value("0028,0002"), dump.value("0028,0004"), dump.value("0028,0103")));
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void aJpegCodestreamWithTheHeaderOfAFile(boolean lossless) throws Exception {
        byte[] jpeg = Compressed.jpeg(COLUMNS, ROWS, 0);
        Path demo = DicomFile.grey8(COLUMNS, ROWS).text(0x00080008, "CS", "ORIGINAL\\PRIMARY")
                .nativeFrames(1, new byte[COLUMNS * ROWS]).writeTo(folder.resolve("header.demo"));
        Dump dump = decoded(jpeg, NDecompressor.TYPE_JPEG, lossless, demo.toString());
        assertGrey8(dump, Compressed.jpegPixels(jpeg), COLUMNS, ROWS);
        assertEquals("Doe^Jane", dump.value("0010,0010"));
        // Marked as lossy whatever the argument says; the argument decides on the reconstitution mark.
        assertEquals("01 ISO_10918_1 DERIVED\\PRIMARY\\\\JPEG LOSSY", dump.value(LOSSY) + " " + dump.value(METHOD)
                + " " + dump.value("0008,0008"));
        // Decoding has marked the data set as lossy before the ratio is taken from it: there is none in it.
        assertEquals("LOSSY JPEG COMPRESSION ?:1 (QUORIX)", dump.value("0008,2111"));
        assertEquals("1.2.826.0.1.3680043.8.498.1", dump.nested("0008,0018"));
        assertEquals(lossless ? null : "1", dump.value(RECONSTITUTION_MARK));
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "null"})
    void aCodestreamAloneDescribesItself(String demoFile) throws Exception {
        byte[] jpeg = Compressed.jpeg(COLUMNS, ROWS, 0);
        Dump dump = decoded(jpeg, NDecompressor.TYPE_JPEG, true, demoFile.equals("null") ? null : demoFile);
        assertGrey8(dump, Compressed.jpegPixels(jpeg), COLUMNS, ROWS);
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void anUncompressedFile(boolean lossless) throws Exception {
        byte[] pixels = Compressed.gradient16(COLUMNS, ROWS, 0);
        Dump dump = decoded(DicomFile.grey16(COLUMNS, ROWS).nativeFrames(1, pixels).toBytes(),
                NDecompressor.TYPE_DICOM, lossless, null);
        assertArrayEquals(pixels, dump.pixels());
        assertEquals("OW", dump.vr("7fe0,0010"));
        assertNull(dump.value(LOSSY));
        assertEquals(lossless ? null : "1", dump.value(RECONSTITUTION_MARK));
        assertArrayEquals(pixels, dataSet.getPixelBytes());
    }

    @Test
    void aBigEndianFileKeepsItsValues() throws Exception {
        Path file = Places.pydicom("MR_small_bigendian.dcm");
        try (DICOMDataObject same = new DICOMDataObject()) {
            same.load(Places.pydicom("MR_small.dcm"));
            Dump dump = decoded(Files.readAllBytes(file), NDecompressor.TYPE_DICOM, true, null);
            assertArrayEquals(same.getPixelBytes(), dump.pixels());
        }
    }

    @ParameterizedTest
    @CsvSource({"true", "false"})
    void aJpegFileIsMarkedByItsTransferSyntax(boolean lossless) throws Exception {
        byte[] jpeg = Compressed.jpeg(COLUMNS, ROWS, 0);
        Dump dump = decoded(DicomFile.grey8(COLUMNS, ROWS).encapsulated(DicomFile.JPEG_BASELINE, List.of(jpeg))
                .toBytes(), NDecompressor.TYPE_DICOM, lossless, null);
        assertGrey8(dump, Compressed.jpegPixels(jpeg), COLUMNS, ROWS);
        assertEquals("01 ISO_10918_1", dump.value(LOSSY) + " " + dump.value(METHOD));
        assertEquals(lossless ? null : "1", dump.value(RECONSTITUTION_MARK));
    }

    @Test
    void anRleFileIsNotLossy() throws Exception {
        byte[] pixels = Compressed.gradient16(COLUMNS, ROWS, 0);
        Dump dump = decoded(DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE,
                List.of(Compressed.rle(pixels, 1, 2))).toBytes(), NDecompressor.TYPE_DICOM, true, null);
        assertArrayEquals(pixels, dump.pixels());
        assertNull(dump.value(LOSSY));
    }

    @Test
    void wideColourIsDescribedAsWhatItHasBecome() throws Exception {
        byte[] bytes = Files.readAllBytes(Places.pydicom("SC_rgb_rle_16bit.dcm"));
        Dump dump = decoded(bytes, NDecompressor.TYPE_DICOM, true, null);
        assertEquals("8 8 7 3 RGB 0", dump.value("0028,0100") + " " + dump.value("0028,0101") + " "
                + dump.value("0028,0102") + " " + dump.value("0028,0002") + " " + dump.value("0028,0004") + " "
                + dump.value("0028,0006"));
        assertEquals(3 * Integer.parseInt(dump.value("0028,0010")) * Integer.parseInt(dump.value("0028,0011")),
                dump.pixels().length);
    }

    @ParameterizedTest
    @CsvSource({"2, true, 01", "2, false, 01", "7, true, ", "7, false, "})
    void jpeg2000Codestreams(int type, boolean lossless, String lossy) throws Exception {
        byte[] codestream = Compressed.jpeg2000();
        Renderable reference = decompressor.decodeSeekableInputStreamToMemory(new ScriptedStream(codestream), 0, type,
                0, 1, result);
        try (reference) {
            Dump dump = decoded(codestream, type, lossless, null);
            assertArrayEquals(Pixels.bytes(reference), dump.pixels());
            assertEquals(lossy, dump.value(LOSSY));
            assertEquals(lossy == null ? null : "ISO_15444_1", dump.value(METHOD));
            assertEquals(lossless ? null : "1", dump.value(RECONSTITUTION_MARK));
        }
    }

    @Test
    void multiFrameFilesAreRefusedAfterTheFirstFrameIsIn() throws Exception {
        byte[] pixels = Compressed.gradient16(COLUMNS, 2 * ROWS, 0);
        byte[] file = DicomFile.grey16(COLUMNS, ROWS).nativeFrames(2, pixels).toBytes();
        assertFalse(decode(file, NDecompressor.TYPE_DICOM, true, null));
        assertEquals("6 0 Native NDecompressor::decodeBytes: multiframe images not supported",
                result.DLResultCode + " " + result.SystemError + " " + result.Message);
        assertArrayEquals(Arrays.copyOf(pixels, pixels.length / 2), dataSet.getPixelBytes());
    }

    @Test
    void handleZeroIsNamed() {
        assertFalse(decompressor.decodeOrtho(new ScriptedStream(new byte[0]), 3, true, 0, "x", 1, result));
        assertEquals("62 Native NDecompressor::decodeOrtho: null DICOMDataObject supplied",
                result.DLResultCode + " " + result.Message);
    }

    @Test
    void aMissingDemoFileIsNamed() {
        String path = folder.resolve("caf\u00e9.demo").toString();
        assertFalse(decode(new byte[0], NDecompressor.TYPE_JPEG, true, path));
        assertEquals("3 2 Native NDecompressor::decodeOrtho: failed to load .demo file " + path,
                result.DLResultCode + " " + result.SystemError + " " + result.Message);
        String longPath = "\u20ac\0".repeat(5_000_000);
        assertFalse(decode(new byte[0], NDecompressor.TYPE_JPEG, true, longPath));
        assertEquals("Native NDecompressor::decodeOrtho: failed to load .demo file " + "?\0".repeat(5_000_000),
                result.Message);
    }

    @ParameterizedTest
    @CsvSource({"1", "3", "2"})
    void whatCannotBeDecodedIsANullRenderable(int type) {
        assertFalse(decode(new byte[500], type, true, null));
        assertEquals("62 0 Native NDecompressor::decodeBytes: Decompressor returned null Renderable",
                result.DLResultCode + " " + result.SystemError + " " + result.Message);
    }

    @Test
    void aThrowingLengthIsReported() {
        ScriptedStream stream = new ScriptedStream(new byte[10]).failingIn("length");
        assertFalse(decompressor.decodeOrtho(stream, 3, true, dataSet.getHandle(), null, 1, result));
        assertEquals("62 Native NDecompressor::decodeToMemory: JavaStreamIOException: native "
                + "JavaSeekableInputStream::Length: length() threw exception from Java",
                result.DLResultCode + " " + result.Message);
        assertFalse(decompressor.decodeOrtho(null, 3, true, dataSet.getHandle(), null, 1, result));
        assertEquals("62 Native NDecompressor::decodeOrtho:  StreamIOException: native JavaSeekableInputStream::"
                + "JavaSeekableInputStream(jobject): can't get Java class for SeekableInputStream",
                result.DLResultCode + " " + result.Message);
        assertFalse(decompressor.decodeOrtho(null, 3, true, dataSet.getHandle(), null, 1, null));
    }

    @Test
    void pixelsLeaveWithTheDataSet() throws IOException, InterruptedException {
        NativeMemory.awaitAllocatedBlocks(0);
        for (int time = 0; time < 3; time++) {
            assertTrue(decode(Compressed.jpeg(COLUMNS, ROWS, time), NDecompressor.TYPE_JPEG, true, null));
            assertEquals(1, NativeMemory.allocatedBlocks());
        }
        dataSet.close();
        assertEquals(0, NativeMemory.allocatedBlocks());
    }

    @Test
    void markingPutsTheMarkIn() throws Exception {
        assertTrue(decode(Compressed.jpeg(COLUMNS, ROWS, 0), NDecompressor.TYPE_JPEG, true, null));
        assertNull(new Dump(dataSet, folder).value(RECONSTITUTION_MARK));
        assertTrue(decompressor.markReconstituted(dataSet.getHandle()));
        assertEquals("1", new Dump(dataSet, folder).value(RECONSTITUTION_MARK));
    }
}
