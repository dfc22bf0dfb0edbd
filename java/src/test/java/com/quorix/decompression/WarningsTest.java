// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.support.*;
import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** The two readings, and what is told of images that are in doubt. */
@ExtendWith(NoPixelsLeft.class)
@Timeout(60)
class WarningsTest {
    private static final byte[] SOUND = Compressed.jpeg(32, 32, 0);
    private static final byte[] DAMAGED = damaged();

    private final List<String> events = new ArrayList<>();
    private final DecodeOptions options = DecodeOptions.DEFAULT.withWarningListener(
            warning -> events.add(warning.identifier() + "@" + warning.frame()));

    /** With a restart marker among the coefficients, where none was announced. */
    private static byte[] damaged() {
        int at = SOUND.length - 20;
        byte[] bytes = Arrays.copyOf(SOUND, SOUND.length + 2);
        System.arraycopy(SOUND, at, bytes, at + 2, 20);
        bytes[at] = (byte) 0xFF;
        bytes[at + 1] = (byte) 0xD3;
        return bytes;
    }

    private static DicomFile dicom(byte[]... frames) {
        return DicomFile.grey8(32, 32).jpegFrames(List.of(frames));
    }

    /** Through the way of this name: a stream, a queue, or a DICOM stream of one frame. */
    private static Renderable decode(String way, byte[] jpeg, DecodeOptions options) throws IOException {
        if (!way.equals("queue")) {
            byte[] bytes = way.equals("dicom") ? dicom(jpeg).toBytes() : jpeg;
            return Decompressor.decode(new ScriptedStream(bytes).inBitsOf(7, 0, 400), options);
        }
        InputBufferQueue queue = new InputBufferQueue();
        ByteArrayInputBuffer buffer = assertDoesNotThrow(() -> queue.obtain(jpeg.length));
        System.arraycopy(jpeg, 0, buffer.getArray(), 0, jpeg.length);
        buffer.setBytesAvailable(jpeg.length);
        assertDoesNotThrow(() -> queue.put(buffer));
        queue.finish();
        return Decompressor.decode(queue, options.withType(ImageType.JPEG));
    }

    @ParameterizedTest
    @CsvSource({"stream, AUTOMATIC, 62", "stream, JPEG, 62", "stream, JPEG_LS, 48", "queue, JPEG, 62"})
    void jpegLsIsFoundUnlessReadByContract(String way, ImageType type, int codeByContract) throws IOException {
        byte[] stream = HexFormat.of().parseHex("ffd8fff7000b080002000301011100ffda00080101000000005b4506c0ffd9");
        try (Renderable image = decode(way, stream, options.withType(type))) {
            assertArrayEquals(new byte[] {1, 2, 3, (byte) 250, 5, 6}, Images.pixelsOf(image));
            assertFalse(image.isLossyImageCompression());
        }
        assertEquals(codeByContract, assertThrows(DecompressionException.class,
                () -> decode(way, stream, options.withType(type).withByContract(true))).getCode());
    }

    @ParameterizedTest
    @CsvSource({"stream, true", "stream, false", "queue, true", "queue, false", "dicom, true", "dicom, false"})
    void anImageInDoubtHasItsWarnings(String way, boolean byContract) throws IOException {
        DecodeOptions chosen = options.withByContract(byContract).withScaleFactor(1);
        assertEquals(byContract, chosen.isByContract());
        try (Renderable image = decode(way, DAMAGED, chosen); Renderable sound = decode(way, SOUND, chosen);
                Renderable unheard = decode(way, DAMAGED, chosen.withWarningListener(null))) {
            assertEquals(List.of("damaged@0"), events);
            assertEquals(image.getWarnings(), unheard.getWarnings());
            assertEquals("damaged", image.getWarnings().get(0).identifier());
            assertThrows(UnsupportedOperationException.class, () -> image.getWarnings().clear());
            assertEquals(List.of(), sound.getWarnings());
            assertArrayEquals(Images.pixelsOf(image), Images.pixelsOf(unheard));
        }
    }

    private boolean take(int index, Renderable image) {
        try (image) {
            events.add(index + " with " + image.getWarnings().size());
        }
        return true;
    }

    @Test
    void framesComeAfterTheirWarnings() {
        ScriptedStream stream = new ScriptedStream(dicom(SOUND, DAMAGED, DAMAGED, new byte[64]).toBytes());
        assertThrows(DecompressionException.class, () -> Decompressor.decodeFrames(stream, options, this::take));
        assertEquals(List.of("0 with 0", "damaged@1", "1 with 1", "damaged@2", "2 with 1"), events);
    }

    /** A palette that is missing is missed when the pixels are there. */
    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    void whatFailsHasItsWarningsToo(boolean frames) {
        byte[] file = dicom(DAMAGED).text(0x00280004, "CS", "PALETTE COLOR").toBytes();
        assertEquals(12, assertThrows(DecompressionException.class, () -> {
            if (frames) {
                Decompressor.decodeFrames(new ScriptedStream(file), options, this::take);
            } else {
                Decompressor.decode(new ScriptedStream(file), options);
            }
        }).getCode());
        assertEquals(List.of("damaged@0"), events);
    }

    @ParameterizedTest
    @ValueSource(strings = {"stream", "queue", "dicom", "frames"})
    void whatAListenerThrowsReachesTheCaller(String way) {
        RuntimeException thrown = new RuntimeException("no");
        DecodeOptions throwing = options.withWarningListener(warning -> {
            throw thrown;
        });
        ScriptedStream frames = new ScriptedStream(dicom(SOUND, DAMAGED, SOUND).toBytes());
        assertSame(thrown, assertThrows(RuntimeException.class, () -> {
            if (way.equals("frames")) {
                Decompressor.decodeFrames(frames, throwing, this::take);
            } else {
                decode(way, DAMAGED, throwing);
            }
        }));
        assertEquals(way.equals("frames") ? List.of("0 with 0") : List.of(), events);
        assertEquals(way.equals("frames") ? 1 : 0, frames.closeCount);
    }
}
