// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.io.SeekableInputStream;
import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import com.quorix.support.Images;
import com.quorix.support.NativeMemory;
import java.io.IOException;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

@Timeout(60)
class DecompressorTest {
    private static final int COLUMNS = 33;
    private static final int ROWS = 21;
    private static final DecodeOptions DEFAULT = DecodeOptions.DEFAULT;

    @TempDir
    Path folder;

    private long before;

    @BeforeEach
    void lookAtTheAllocator() {
        before = NativeMemory.allocatedBlocks();
    }

    @AfterEach
    void nothingIsLeft() throws InterruptedException {
        NativeMemory.awaitAllocatedBlocks(before);
    }

    /** A stream that remembers being closed. */
    private static class ClosingStream extends ByteBufferSeekableInputStream {
        int closes;

        ClosingStream(byte[] bytes) {
            super(bytes);
        }

        @Override
        public void close() {
            closes++;
            super.close();
        }
    }

    private static List<byte[]> frames(int count) {
        List<byte[]> frames = new ArrayList<>();
        for (int frame = 0; frame < count; frame++) {
            frames.add(Compressed.gradient16(COLUMNS, ROWS, frame));
        }
        return frames;
    }

    private static DicomFile rleFile(int frameCount) {
        List<byte[]> compressed = new ArrayList<>();
        frames(frameCount).forEach(frame -> compressed.add(Compressed.rle(frame, 1, 2)));
        return DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE, compressed);
    }

    @Test
    void aFileIsDecoded() throws IOException {
        Path file = rleFile(1).writeTo(folder.resolve("Größe 大.dcm"));
        try (Renderable image = Decompressor.decode(file, DEFAULT)) {
            assertEquals(COLUMNS, image.getColumns());
            assertEquals(ROWS, image.getRows());
            assertArrayEquals(frames(1).get(0), Images.pixelsOf(image));
        }
    }

    @Test
    void theChosenFrameIsDecoded() throws IOException {
        for (int frame = 0; frame < 3; frame++) {
            try (Renderable image = Images.decode(rleFile(3), DEFAULT.withFrame(frame))) {
                assertArrayEquals(frames(3).get(frame), Images.pixelsOf(image));
            }
        }
    }

    @Test
    void aBareJpegIsRecognised() throws IOException {
        byte[] codestream = Compressed.jpeg(COLUMNS, ROWS, 0);
        try (Renderable image = Decompressor.decode(new ByteBufferSeekableInputStream(codestream), DEFAULT)) {
            assertArrayEquals(Compressed.jpegPixels(codestream), Images.pixelsOf(image));
            assertTrue(image.isLossyImageCompression());
        }
    }

    @Test
    void aBareJpeg2000IsRecognisedAndReduced() throws IOException {
        byte[] codestream = Compressed.jpeg2000();
        try (Renderable image = Decompressor.decode(new ByteBufferSeekableInputStream(codestream), DEFAULT);
                Renderable reduced = Decompressor.decode(new ByteBufferSeekableInputStream(codestream),
                        DEFAULT.withScaleFactor(2))) {
            assertArrayEquals(Compressed.jpeg2000Pixels(), Images.pixelsOf(image));
            assertEquals(Compressed.JPEG2000_COLUMNS / 2, reduced.getColumns());
            assertEquals(Compressed.JPEG2000_ROWS / 2, reduced.getRows());
            assertEquals(2, reduced.getScaleFactor());
        }
    }

    @ParameterizedTest
    @CsvSource({"FFD8FFE0, JPEG", "FF4FFF51, JPEG2000", "0000000C6A5020200D0A870A, JPEG2000",
        "0000000000000000, DICOM", "FFD8, DICOM", "FF4FFF, DICOM", "0000000C6A5020, DICOM"})
    void typesAreTold(String start, ImageType expected) {
        byte[] bytes = HexFormat.of().parseHex(start);
        byte[] padded = Arrays.copyOf(bytes, Math.max(8, bytes.length));
        assertEquals(expected, ImageType.of(padded, bytes.length));
    }

    @Test
    void aToldTypeIsNotSecondGuessed() throws IOException {
        byte[] codestream = Compressed.jpeg(COLUMNS, ROWS, 0);
        DecompressionException failure = assertThrows(DecompressionException.class, () -> Decompressor.decode(
                new ByteBufferSeekableInputStream(codestream), DEFAULT.withType(ImageType.DICOM)));
        assertEquals(38, failure.getCode());
        assertTrue(failure.getMessage().startsWith("Error reading Part10Header, possible corruption: "),
                failure.getMessage());
    }

    @Test
    void aFailureHasCodeAndMessage() {
        DicomFile file = DicomFile.grey8(COLUMNS, ROWS).nativeFrames(1, new byte[10]);
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Images.decode(file));
        assertEquals(37, failure.getCode());
        assertEquals(0, failure.getSystemError());
        assertTrue(failure.getMessage().contains("Failed to read the pixel data"), failure.getMessage());
        assertTrue(failure.toString().endsWith("(code 37)"), failure.toString());
    }

    @Test
    void aMissingFileIsReported() {
        assertThrows(NoSuchFileException.class, () -> Decompressor.decode(folder.resolve("none"), DEFAULT));
    }

    @Test
    void streamsAreClosedOnSuccessAndOnFailure() throws IOException {
        ClosingStream good = new ClosingStream(rleFile(1).toBytes());
        Decompressor.decode(good, DEFAULT).close();
        assertEquals(1, good.closes);
        ClosingStream bad = new ClosingStream(new byte[200]);
        assertThrows(DecompressionException.class, () -> Decompressor.decode(bad, DEFAULT));
        assertEquals(1, bad.closes);
    }

    @Test
    void aStreamThatCannotEvenBeLookedAtIsClosed() {
        IOException broken = new IOException("broken");
        ClosingStream stream = new ClosingStream(new byte[0]) {
            @Override
            public int read(byte[] buffer, int offset, int length) throws IOException {
                throw broken;
            }
        };
        assertSame(broken, assertThrows(IOException.class, () -> Decompressor.decode(stream, DEFAULT)));
        assertEquals(1, stream.closes);
    }

    @Test
    void aStreamThatFailsWhileDecodingIsReported() {
        SeekableInputStream stream = new ByteBufferSeekableInputStream(rleFile(1).toBytes()) {
            private int reads;

            @Override
            public int read(byte[] buffer, int offset, int length) throws IOException {
                if (++reads > 1) {
                    throw new IOException("unplugged");
                }
                return super.read(buffer, offset, length);
            }
        };
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Decompressor.decode(stream, DEFAULT));
        assertTrue(failure.getMessage().contains("read(byte[], int, int) threw exception from Java"),
                failure.getMessage());
    }

    @Test
    void aGivenDataSetReceivesTheAttributes() throws IOException {
        try (DICOMDataObject dataSet = new DICOMDataObject();
                Renderable image = Images.decode(rleFile(1), DEFAULT.withDataSet(dataSet))) {
            assertEquals("Doe^Jane", dataSet.getString(0x00100010));
            assertEquals(image.getRows(), dataSet.getInteger(0x00280010, -1));
        }
    }

    @Test
    void aClosedDataSetIsRefused() {
        DICOMDataObject dataSet = new DICOMDataObject();
        dataSet.close();
        assertThrows(IllegalStateException.class,
                () -> Images.decode(rleFile(1), DEFAULT.withDataSet(dataSet)));
    }

    @Test
    void optionsOutOfRangeAreRefused() {
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withFrame(-1));
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withScaleFactor(0));
        assertThrows(NullPointerException.class, () -> DEFAULT.withType(null));
    }

    @Test
    void framesComeInOrder() throws IOException {
        List<Integer> indices = new ArrayList<>();
        Path file = rleFile(5).writeTo(folder.resolve("frames.dcm"));
        Decompressor.decodeFrames(file, DEFAULT.withFrame(2), (index, image) -> {
            try (image) {
                assertArrayEquals(frames(5).get(index), Images.pixelsOf(image));
                return indices.add(index);
            }
        });
        assertEquals(List.of(2, 3, 4), indices);
    }

    @Test
    void aListenerMayStop() throws IOException {
        List<Integer> indices = new ArrayList<>();
        ClosingStream in = new ClosingStream(rleFile(5).toBytes());
        Decompressor.decodeFrames(in, DEFAULT, (index, image) -> {
            image.close();
            indices.add(index);
            return index < 1;
        });
        assertEquals(List.of(0, 1), indices);
        assertEquals(1, in.closes);
    }

    @Test
    void whatAListenerThrowsReachesTheCaller() {
        ClosingStream in = new ClosingStream(rleFile(5).toBytes());
        IllegalStateException thrown = new IllegalStateException("enough");
        assertSame(thrown, assertThrows(IllegalStateException.class,
                () -> Decompressor.decodeFrames(in, DEFAULT, (index, image) -> {
                    image.close();
                    throw thrown;
                })));
        assertEquals(1, in.closes);
    }

    @Test
    void aDamagedFrameEndsTheCall() {
        List<byte[]> compressed = new ArrayList<>();
        frames(3).forEach(frame -> compressed.add(Compressed.rle(frame, 1, 2)));
        compressed.set(1, new byte[70]);
        DicomFile file = DicomFile.grey16(COLUMNS, ROWS).encapsulated(DicomFile.RLE, compressed);
        List<Integer> indices = new ArrayList<>();
        DecompressionException failure = assertThrows(DecompressionException.class,
                () -> Decompressor.decodeFrames(new ByteBufferSeekableInputStream(file.toBytes()), DEFAULT,
                        (index, image) -> {
                            image.close();
                            return indices.add(index);
                        }));
        assertTrue(failure.getCode() != 0 && !failure.getMessage().isEmpty(), failure.toString());
        assertEquals(List.of(0), indices);
    }

    @Test
    void aPlainResultWantsNoFrames() {
        DecomprResult result = new DecomprResult();
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            assertTrue(new NDecompressor().decodeMultiFrameImageToMemory(
                    new ByteBufferSeekableInputStream(rleFile(5).toBytes()), dataSet.getHandle(), 0, result));
        }
        assertEquals(0, result.DLResultCode);
        assertEquals("Completed successfully", result.Message);
    }
}
