// SPDX-License-Identifier: Apache-2.0
package com.quorix.dicom;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.NDecompressor;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.io.SeekableInputStream;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.Images;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class DICOMDataObjectTest {
    private static final int PATIENT_NAME = 0x00100010;
    private static final int IMAGE_TYPE = 0x00080008;
    private static final int ROWS = 0x00280010;
    private static final int PIXEL_DATA = 0x7FE00010;

    @TempDir
    Path folder;

    private static DicomFile file() {
        return DicomFile.grey16(5, 3).text(IMAGE_TYPE, "CS", "ORIGINAL\\PRIMARY\\AXIAL")
                .text(0x00200013, "IS", "17").nativeFrames(1, Compressed.gradient16(5, 3, 0));
    }

    @Test
    void aFileIsLoadedWhole() throws IOException {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.load(file().writeTo(folder.resolve("Bild ß 像.dcm")));
            assertEquals("Doe^Jane", dataSet.getString(PATIENT_NAME));
            assertEquals("ORIGINAL\\PRIMARY\\AXIAL", dataSet.getString(IMAGE_TYPE));
            assertEquals(3, dataSet.getInteger(ROWS, -1));
            assertEquals(17, dataSet.getInteger(0x00200013, -1));
            assertArrayEquals(Compressed.gradient16(5, 3, 0), dataSet.getPixelBytes());
        }
    }

    @Test
    void aHeaderIsLoadedWithoutPixels() throws IOException {
        Path path = file().writeTo(folder.resolve("file.dcm"));
        try (DICOMDataObject ofFile = new DICOMDataObject(); DICOMDataObject ofStream = new DICOMDataObject()) {
            ofFile.loadHeader(path);
            ofStream.loadHeader(new ByteBufferSeekableInputStream(Files.readAllBytes(path)));
            for (DICOMDataObject dataSet : List.of(ofFile, ofStream)) {
                assertEquals("Doe^Jane", dataSet.getString(PATIENT_NAME));
                assertFalse(dataSet.hasElement(PIXEL_DATA));
                assertNull(dataSet.getPixelBytes());
            }
        }
    }

    @Test
    void whatCannotBeReadIsReported() throws IOException {
        Path garbage = Files.write(folder.resolve("garbage"), new byte[400]);
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertThrows(IOException.class, () -> dataSet.load(folder.resolve("none")));
            assertThrows(IOException.class, () -> dataSet.load(garbage));
            assertThrows(IOException.class, () -> dataSet.loadHeader(garbage));
            assertThrows(IOException.class,
                    () -> dataSet.loadHeader(new ByteBufferSeekableInputStream(new byte[400])));
            assertThrows(IOException.class, () -> dataSet.save(folder.resolve("none/file.dcm")));
        }
    }

    @ParameterizedTest
    @CsvSource({"00100010, PN, Doe^John", "00080008, CS, DERIVED\\SECONDARY", "00081030, LO, Schädel",
        "00280030, DS, 0.5\\0.25", "00080018, UI, 1.2.3.4"})
    void textsComeBack(String tag, String vr, String value) {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            int number = Integer.parseUnsignedInt(tag, 16);
            dataSet.setString(number, vr, "1");
            dataSet.setString(number, vr, value);
            assertEquals(value, dataSet.getString(number));
        }
    }

    @ParameterizedTest
    @CsvSource({"US, 65535", "SS, -32768", "UL, 2147483647", "SL, -2147483648", "IS, -12"})
    void numbersComeBack(String vr, int value) {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.setInteger(ROWS, vr, value);
            assertEquals(value, dataSet.getInteger(ROWS, 0));
            assertEquals(Integer.toString(value), dataSet.getString(ROWS));
        }
    }

    @ParameterizedTest
    @CsvSource({"US, 65536", "US, -1", "SS, 32768", "XX, 1", "PN, 1", "'', 1"})
    void numbersThatDoNotFitAreRefused(String vr, int value) {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.setInteger(ROWS, "US", 7);
            assertThrows(IllegalArgumentException.class, () -> dataSet.setInteger(ROWS, vr, value));
            assertEquals(7, dataSet.getInteger(ROWS, 0), "what was there stays");
            assertThrows(IllegalArgumentException.class, () -> dataSet.setString(PATIENT_NAME, "ZZ", "x"));
            assertFalse(dataSet.hasElement(PATIENT_NAME));
        }
    }

    @Test
    void eachOfSeveralValuesIsReached() {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.setString(0x00281052, "DS", "10\\-20\\30");
            assertEquals(-20, dataSet.getInteger(0x00281052, 1, 0));
            assertEquals(30, dataSet.getInteger(0x00281052, 2, 0));
            assertEquals(99, dataSet.getInteger(0x00281052, 3, 99));
            assertEquals(99, dataSet.getInteger(0x00281052, -1, 99));
        }
    }

    @Test
    void absentIsNotEmpty() {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertNull(dataSet.getString(PATIENT_NAME));
            assertFalse(dataSet.hasElement(PATIENT_NAME));
            dataSet.setString(PATIENT_NAME, "PN", "");
            assertEquals("", dataSet.getString(PATIENT_NAME));
            assertTrue(dataSet.remove(PATIENT_NAME));
            assertFalse(dataSet.remove(PATIENT_NAME));
            assertEquals(-3, dataSet.getInteger(ROWS, -3));
            assertNull(dataSet.getScratchpadValue("nothing"));
        }
    }

    @Test
    void aSavedFileHoldsWhatWasSet() throws IOException {
        Path path = folder.resolve("säved 像.dcm");
        try (DICOMDataObject saved = new DICOMDataObject(); DICOMDataObject loaded = new DICOMDataObject()) {
            saved.load(file().writeTo(folder.resolve("file.dcm")));
            saved.setString(PATIENT_NAME, "PN", "Roe^Richard");
            saved.remove(IMAGE_TYPE);
            saved.save(path);
            byte[] start = Arrays.copyOfRange(Files.readAllBytes(path), 128, 132);
            assertArrayEquals(new byte[] {'D', 'I', 'C', 'M'}, start);
            loaded.load(path);
            assertEquals("Roe^Richard", loaded.getString(PATIENT_NAME));
            assertFalse(loaded.hasElement(IMAGE_TYPE));
            assertArrayEquals(Compressed.gradient16(5, 3, 0), loaded.getPixelBytes());
        }
    }

    @Test
    void decodingLeavesItsNotesBesideTheAttributes() throws IOException {
        DicomFile file = DicomFile.rgb8(8, 8).encapsulated(DicomFile.RLE,
                List.of(Compressed.rle(Compressed.gradientRgb(8, 8, 0), 3, 1)));
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            Images.decode(file, DecodeOptions.DEFAULT.withDataSet(dataSet)).close();
            assertEquals("RGB", dataSet.getScratchpadValue("DecompOrigPhotoInterp"));
            assertEquals("3", dataSet.getScratchpadValue("DecompOrigSamplesPerPixel"));
        }
    }

    @Test
    void reconstitutionIsMarked() {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertTrue(dataSet.withHandle(new NDecompressor()::markReconstituted));
            assertFalse(new NDecompressor().markReconstituted(0));
        }
    }

    @Test
    void nullTextsDoNotCrash() {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertThrows(IllegalArgumentException.class, () -> dataSet.setString(PATIENT_NAME, null, "x"));
            assertThrows(IllegalArgumentException.class, () -> dataSet.setInteger(ROWS, null, 1));
            assertNull(dataSet.getScratchpadValue(null));
            assertThrows(IOException.class, () -> dataSet.loadHeader((SeekableInputStream) null));
        }
    }

    @Test
    void aClosedDataSetRefuses() {
        DICOMDataObject dataSet = new DICOMDataObject();
        dataSet.close();
        dataSet.close();
        assertThrows(IllegalStateException.class, dataSet::getHandle);
        assertThrows(IllegalStateException.class, () -> dataSet.getString(PATIENT_NAME));
        assertThrows(IllegalStateException.class, () -> dataSet.withHandle(handle -> handle));
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void closingFromWithinACallWaitsForItsEnd(boolean decoding) throws IOException {
        DICOMDataObject dataSet = new DICOMDataObject();
        SeekableInputStream closing = new ByteBufferSeekableInputStream(file().toBytes()) {
            @Override
            public int read(byte[] buffer, int offset, int length) throws IOException {
                dataSet.close();
                return super.read(buffer, offset, length);
            }
        };
        if (decoding) {
            Decompressor.decode(closing, DecodeOptions.DEFAULT.withType(ImageType.DICOM).withDataSet(dataSet))
                    .close();
        } else {
            dataSet.loadHeader(closing);
        }
        assertThrows(IllegalStateException.class, dataSet::getHandle);
    }

    @Test
    void closingWhileOthersUseItIsSafe() throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(3);
        for (int round = 0; round < 200; round++) {
            DICOMDataObject dataSet = new DICOMDataObject();
            List<Future<?>> users = List.of(threads.submit(() -> useUntilClosed(dataSet)),
                    threads.submit(() -> useUntilClosed(dataSet)), threads.submit(dataSet::close));
            for (Future<?> user : users) {
                user.get();
            }
        }
        threads.shutdown();
    }

    private static void useUntilClosed(DICOMDataObject dataSet) {
        assertThrows(IllegalStateException.class, () -> {
            while (true) {
                dataSet.setInteger(ROWS, "US", 7);
                assertEquals(7, dataSet.getInteger(ROWS, 0));
            }
        });
    }
}
