// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.support.*;
import com.quorix.util.*;
import java.awt.Rectangle;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.*;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

@ExtendWith(NoPixelsLeft.class)
@Timeout(60)
class DecompressorTest {
    private static final int COLUMNS = 33;
    private static final int ROWS = 21;
    private static final DecodeOptions DEFAULT = DecodeOptions.DEFAULT;

    @TempDir
    Path folder;

    private static byte[] jpeg(int seed) {
        return Compressed.jpeg(COLUMNS, ROWS, seed);
    }

    private static DicomFile jpegFile(int frameCount) {
        List<byte[]> codestreams = new ArrayList<>();
        for (int frame = 0; frame < frameCount; frame++) {
            codestreams.add(jpeg(frame));
        }
        return DicomFile.grey8(COLUMNS, ROWS).jpegFrames(codestreams);
    }

    private static void assertFrame(int frame, Renderable image) {
        assertEquals(COLUMNS + " x " + ROWS, image.getColumns() + " x " + image.getRows());
        assertArrayEquals(Compressed.jpegPixels(jpeg(frame)), Images.pixelsOf(image));
    }

    @Test
    void aFileIsDecodedAndItsAttributesAreKept() throws IOException {
        Path file = jpegFile(3).writeTo(folder.resolve("Größe 大.dcm"));
        try (DICOMDataObject dataSet = new DICOMDataObject();
                Renderable first = Decompressor.decode(file, DEFAULT.withDataSet(dataSet));
                Renderable last = Decompressor.decode(file, DEFAULT.withFrame(2))) {
            assertFrame(0, first);
            assertFrame(2, last);
            assertEquals("Doe^Jane", dataSet.getString(0x00100010));
        }
        DICOMDataObject closed = new DICOMDataObject();
        closed.close();
        assertThrows(IllegalStateException.class, () -> Decompressor.decode(file, DEFAULT.withDataSet(closed)));
        assertThrows(NoSuchFileException.class, () -> Decompressor.decode(folder.resolve("none"), DEFAULT));
    }

    @Test
    void bareCodestreamsAreRecognisedAndReduced() throws IOException {
        byte[] jpeg2000 = Compressed.jpeg2000();
        try (Renderable jpeg = Decompressor.decode(new ByteBufferSeekableInputStream(jpeg(0)), DEFAULT);
                Renderable image = Decompressor.decode(new ByteBufferSeekableInputStream(jpeg2000), DEFAULT);
                Renderable reduced = Decompressor.decode(new ByteBufferSeekableInputStream(jpeg2000),
                        DEFAULT.withScaleFactor(2))) {
            assertFrame(0, jpeg);
            assertTrue(jpeg.isLossyImageCompression());
            assertArrayEquals(Compressed.jpeg2000Pixels(), Images.pixelsOf(image));
            assertEquals("48 x 32, 2",
                    reduced.getColumns() + " x " + reduced.getRows() + ", " + reduced.getScaleFactor());
        }
    }

    @ParameterizedTest
    @CsvSource({"FFD8FFE0, JPEG", "FF4FFF51, JPEG2000", "0000000C6A5020200D0A870A, JPEG2000",
        "0000000000000000, DICOM", "FFD8, DICOM", "FF4FFF, DICOM", "0000000C6A5020, DICOM"})
    void typesAreTold(String start, ImageType expected) {
        byte[] bytes = HexFormat.of().parseHex(start);
        assertEquals(expected, ImageType.of(Arrays.copyOf(bytes, Math.max(8, bytes.length)), bytes.length));
        byte[] disguised = jpegFile(1).toBytes();
        System.arraycopy(bytes, 0, disguised, 0, bytes.length);
        assertEquals(ImageType.DICOM, ImageType.of(disguised, ImageType.START_LENGTH));
    }

    private static DecompressionException expectFailure(byte[] bytes, DecodeOptions options, int code, String text) {
        ScriptedStream stream = new ScriptedStream(bytes);
        DecompressionException failure =
                assertThrows(DecompressionException.class, () -> Decompressor.decode(stream, options));
        assertEquals(code, failure.getCode());
        assertTrue(failure.getMessage().contains(text), failure.getMessage());
        assertEquals(1, stream.closeCount);
        return failure;
    }

    @Test
    void aFailureHasCodeAndMessageAndStreamsAreClosed() throws IOException {
        DecompressionException failure = expectFailure(DicomFile.grey8(COLUMNS, ROWS).nativeFrames(1, new byte[10])
                .toBytes(), DEFAULT, 37, "Failed to read the pixel data");
        assertEquals(0, failure.getSystemError());
        assertTrue(failure.toString().endsWith("(code 37)"), failure.toString());
        // A type that is told is not second-guessed.
        expectFailure(jpeg(0), DEFAULT.withType(ImageType.DICOM), 38,
                "Error reading Part10Header, possible corruption: ");
        ScriptedStream good = new ScriptedStream(jpegFile(1).toBytes());
        Decompressor.decode(good, DEFAULT).close();
        assertEquals(1, good.closeCount);
        ScriptedStream broken = new ScriptedStream(new byte[0]).failingIn("read", 0);
        assertSame(broken.failure, assertThrows(IOException.class, () -> Decompressor.decode(broken, DEFAULT)));
        assertEquals(1, broken.closeCount);
    }

    @Test
    void aStreamThatCannotTellItsLengthIsReadByMeaning() throws IOException {
        for (byte[] bytes : List.of(jpegFile(1).toBytes(), jpeg(0))) {
            try (Renderable image = Decompressor.decode(new ScriptedStream(bytes).failingIn("length", 0), DEFAULT)) {
                assertFrame(0, image);
            }
            assertEquals(62, assertThrows(DecompressionException.class, () -> Decompressor.decode(
                    new ScriptedStream(bytes).failingIn("length", 0), DEFAULT.withByContract(true))).getCode());
        }
    }

    /** Delivers the first bytes, then nothing: neither a byte nor the end. Its thread is interrupted some time later. */
    private static ScriptedStream dryingUp(byte[] bytes, int count) {
        return new ScriptedStream(bytes) {
            private int emptyReads;

            @Override
            public int read(byte[] buffer, int offset, int length) throws IOException {
                if (getFilePointer() < count) {
                    return super.read(buffer, offset, Math.min(length, count - (int) getFilePointer()));
                }
                if (++emptyReads == 50) {
                    Thread.currentThread().interrupt();
                }
                return 0;
            }
        };
    }

    @Test
    void aStreamThatYieldsNothingIsLeftByInterrupting() throws IOException {
        byte[] file = jpegFile(2).toBytes();
        byte[] plain = DicomFile.grey8(COLUMNS, ROWS).nativeFrames(2, new byte[2 * COLUMNS * ROWS]).toBytes();
        // While the type is found out, in preamble, file meta information, data set, pixel data.
        for (byte[] bytes : List.of(file, plain, jpeg(0), Compressed.jpeg2000())) {
            for (int count : new int[] {0, 100, 140, 170, 300, bytes.length / 2, bytes.length - 30}) {
                for (boolean frames : bytes == file || bytes == plain ? new boolean[] {false, true} : new boolean[1]) {
                    ScriptedStream stream = dryingUp(bytes, Math.min(count, bytes.length - 30));
                    DecompressionException failure = assertThrows(DecompressionException.class, () -> {
                        if (frames) {
                            Decompressor.decodeFrames(stream, DEFAULT.withFrame(1), (index, image) -> true);
                        } else {
                            Decompressor.decode(stream, DEFAULT.withFrame(bytes == file || bytes == plain ? 1 : 0)).close();
                        }
                    });
                    assertTrue(Thread.interrupted());
                    assertEquals(DecompressionException.INTERRUPTED, failure.getCode(), count + failure.getMessage());
                    assertEquals(1, stream.closeCount);
                }
            }
        }
    }

    /** Of 8-bit samples. */
    private static byte[] cut(byte[] pixels, int columns, Rectangle region) {
        ByteBuffer part = ByteBuffer.allocate(region.width * region.height);
        for (int row = region.y; row < region.y + region.height; row++) {
            part.put(pixels, row * columns + region.x, region.width);
        }
        return part.array();
    }

    @Test
    void aRegionIsTheCutOfTheWhole() throws Exception {
        DecodeOptions options = DEFAULT.withRegion(5, 3, 20, 10);
        byte[] expected = cut(Compressed.jpegPixels(jpeg(1)), COLUMNS, options.getRegion());
        List<Renderable> images = new ArrayList<>();
        Decompressor.decodeFrames(jpegFile(3).toBytes(), options.withFrame(1), (index, image) -> {
            images.add(image);
            return false;
        });
        InputBufferQueue queue = new InputBufferQueue();
        queue.put(new ByteArrayInputBuffer(jpeg(1)));
        queue.finish();
        images.add(Decompressor.decode(queue, options.withType(ImageType.JPEG)));
        images.add(Decompressor.decode(jpegFile(3).toBytes(), options.withFrame(1)));
        images.add(Decompressor.decode(jpeg(1), options));
        try (FrameIterator frames = Decompressor.frames(jpegFile(3).toBytes(), options.withFrame(1))) {
            images.add(frames.next());
        }
        for (Renderable image : images) {
            assertArrayEquals(expected, Images.pixelsOf(image));
            image.close();
        }
        for (DecodeOptions outside : List.of(DEFAULT.withRegion(14, 0, 20, 1), DEFAULT.withRegion(0, 21, 1, 1))) {
            assertEquals(6, assertThrows(DecompressionException.class,
                    () -> Decompressor.decode(jpegFile(1).toBytes(), outside)).getCode());
        }
    }

    @Test
    void optionsOutOfRangeAreRefused() {
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withRegion(-1, 0, 4, 4));
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withRegion(0, 0, 4, 0));
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withExecutor(Runnable::run, 0));
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withFrame(-1));
        assertThrows(IllegalArgumentException.class, () -> DEFAULT.withScaleFactor(0));
        assertThrows(NullPointerException.class, () -> DEFAULT.withType(null));
    }

    @Test
    void framesComeInOrderUntilTheListenerStops() throws IOException {
        List<Integer> indices = new ArrayList<>();
        FrameListener listener = (index, image) -> {
            try (image) {
                assertFrame(index, image);
            }
            indices.add(index);
            return index < 4;
        };
        Decompressor.decodeFrames(jpegFile(6).writeTo(folder.resolve("frames.dcm")), DEFAULT.withFrame(2), listener);
        assertEquals(List.of(2, 3, 4), indices);
        ScriptedStream noImage = new ScriptedStream(new byte[70]);
        assertEquals(38, assertThrows(DecompressionException.class,
                () -> Decompressor.decodeFrames(noImage, DEFAULT, listener)).getCode());
        assertEquals(1, noImage.closeCount);
    }
}
