// SPDX-License-Identifier: Apache-2.0
package com.quorix.dicom;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.io.*;
import com.quorix.support.*;
import java.io.IOException;
import java.nio.file.*;
import java.util.List;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;

class DICOMDataObjectTest {
    private static final int PATIENT_NAME = 0x00100010;
    private static final int IMAGE_TYPE = 0x00080008;
    private static final int ROWS = 0x00280010;
    private static final byte[] PIXELS = Compressed.gradient16(5, 3, 0);

    @TempDir
    Path folder;

    private final DICOMDataObject dataSet = new DICOMDataObject();

    @AfterEach
    void close() {
        dataSet.close();
    }

    private static DicomFile file() {
        return DicomFile.grey16(5, 3).text(IMAGE_TYPE, "CS", "ORIGINAL\\PRIMARY\\AXIAL")
                .text(0x00200013, "IS", "17").nativeFrames(1, PIXELS);
    }

    @Test
    void aFileIsLoadedChangedAndSaved() throws IOException {
        Path file = file().writeTo(folder.resolve("Bild ß 像.dcm"));
        dataSet.load(file);
        assertEquals("ORIGINAL\\PRIMARY\\AXIAL", dataSet.getString(IMAGE_TYPE));
        assertEquals(17, dataSet.getInteger(0x00200013, -1));
        assertArrayEquals(PIXELS, dataSet.getPixelBytes());
        dataSet.setString(PATIENT_NAME, "PN", "Roe^Richard");
        dataSet.remove(IMAGE_TYPE);
        dataSet.save(folder.resolve("säved 像.dcm"));
        try (DICOMDataObject loaded = new DICOMDataObject()) {
            loaded.load(folder.resolve("säved 像.dcm"));
            assertEquals("Roe^Richard", loaded.getString(PATIENT_NAME));
            assertFalse(loaded.hasElement(IMAGE_TYPE));
            assertArrayEquals(PIXELS, loaded.getPixelBytes());
            loaded.loadHeader(file);
            assertEquals("Doe^Jane", loaded.getString(PATIENT_NAME));
        }
        try (DICOMDataObject header = new DICOMDataObject()) {
            header.loadHeader(new ScriptedStream(file().toBytes()));
            assertEquals(3, header.getInteger(ROWS, -1));
            assertNull(header.getPixelBytes());
        }
    }

    @Test
    void whatCannotBeReadOrIsNullIsReported() throws IOException {
        Path garbage = Files.write(folder.resolve("garbage"), new byte[400]);
        for (Executable call : List.<Executable>of(() -> dataSet.load(folder.resolve("none")),
                () -> dataSet.load(garbage), () -> dataSet.loadHeader(garbage),
                () -> dataSet.loadHeader(new ScriptedStream(new byte[400])),
                () -> dataSet.loadHeader((SeekableInputStream) null),
                () -> dataSet.save(folder.resolve("none/file.dcm")))) {
            assertThrows(IOException.class, call);
        }
        assertThrows(IllegalArgumentException.class, () -> dataSet.setString(PATIENT_NAME, null, "x"));
        assertThrows(IllegalArgumentException.class, () -> dataSet.setInteger(ROWS, null, 1));
        assertNull(dataSet.getScratchpadValue(null));
    }

    @ParameterizedTest
    @CsvSource({"00100010, PN, Doe^John", "00080008, CS, DERIVED\\SECONDARY", "00081030, LO, Schädel",
        "00280030, DS, 0.5\\0.25", "00080018, UI, 1.2.3.4", "00280010, US, 65535", "00280010, SS, -32768",
        "00280010, UL, 2147483647", "00280010, SL, -2147483648", "00280010, IS, -12"})
    void valuesComeBack(String tag, String vr, String value) {
        int number = Integer.parseUnsignedInt(tag, 16);
        if (number == ROWS) {
            dataSet.setInteger(number, vr, Integer.parseInt(value));
            assertEquals(Integer.parseInt(value), dataSet.getInteger(number, 0));
        } else {
            dataSet.setString(number, vr, "1");
            dataSet.setString(number, vr, value);
        }
        assertEquals(value, dataSet.getString(number));
    }

    @ParameterizedTest
    @CsvSource({"US, 65536", "US, -1", "SS, 32768", "XX, 1", "PN, 1", "'', 1"})
    void numbersThatDoNotFitAreRefused(String vr, int value) {
        dataSet.setInteger(ROWS, "US", 7);
        assertThrows(IllegalArgumentException.class, () -> dataSet.setInteger(ROWS, vr, value));
        assertEquals(7, dataSet.getInteger(ROWS, 0), "what was there stays");
        assertThrows(IllegalArgumentException.class, () -> dataSet.setString(PATIENT_NAME, "ZZ", "x"));
        assertFalse(dataSet.hasElement(PATIENT_NAME));
    }

    @Test
    void oneOfSeveralValuesNoneAndAnEmptyOneAreToldApart() {
        dataSet.setString(0x00281052, "DS", "10\\-20\\30");
        int[] expected = {-20, 30, 99, 99};
        int[] indices = {1, 2, 3, -1};
        for (int i = 0; i < 4; i++) {
            assertEquals(expected[i], dataSet.getInteger(0x00281052, indices[i], 99));
        }
        assertNull(dataSet.getString(PATIENT_NAME));
        assertFalse(dataSet.hasElement(PATIENT_NAME));
        dataSet.setString(PATIENT_NAME, "PN", "");
        assertEquals("", dataSet.getString(PATIENT_NAME));
        assertTrue(dataSet.remove(PATIENT_NAME));
        assertFalse(dataSet.remove(PATIENT_NAME));
        assertEquals(-3, dataSet.getInteger(ROWS, -3));
    }

    @Test
    void decodingLeavesItsNotesBesideTheAttributes() throws IOException {
        byte[] file = DicomFile.grey8(8, 8).jpegFrames(List.of(Compressed.jpeg(8, 8, 0))).toBytes();
        assertNull(dataSet.getScratchpadValue("DecompOrigPhotoInterp"));
        Decompressor.decode(new ScriptedStream(file), DecodeOptions.DEFAULT.withDataSet(dataSet)).close();
        assertEquals("MONOCHROME2", dataSet.getScratchpadValue("DecompOrigPhotoInterp"));
        assertEquals("1", dataSet.getScratchpadValue("DecompOrigSamplesPerPixel"));
        assertTrue(dataSet.withHandle(new NDecompressor()::markReconstituted));
        assertFalse(new NDecompressor().markReconstituted(0));
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void closingFromWithinACallWaitsForItsEnd(boolean decoding) throws IOException {
        SeekableInputStream closing = new ByteBufferSeekableInputStream(file().toBytes()) {
            @Override
            public int read(byte[] buffer, int offset, int length) throws IOException {
                dataSet.close();
                return super.read(buffer, offset, length);
            }
        };
        if (decoding) {
            Decompressor.decode(closing, DecodeOptions.DEFAULT.withType(ImageType.DICOM).withDataSet(dataSet)).close();
        } else {
            dataSet.loadHeader(closing);
        }
        dataSet.close();
        assertThrows(IllegalStateException.class, dataSet::getHandle);
        assertThrows(IllegalStateException.class, () -> dataSet.withHandle(handle -> handle));
    }

    @Test
    void closingWhileOthersUseItIsSafe() throws Exception {
        CloseUnderUse.run(200, DICOMDataObject::new, shared -> {
            shared.setInteger(ROWS, "US", 7);
            assertEquals(7, shared.getInteger(ROWS, 0));
        });
    }
}
