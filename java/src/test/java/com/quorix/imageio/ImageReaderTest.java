// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import static java.awt.image.BufferedImage.*;
import static org.junit.jupiter.api.Assertions.*;

import com.quorix.decompression.*;
import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.support.*;
import java.awt.*;
import java.awt.image.*;
import java.io.*;
import java.lang.reflect.Proxy;
import java.nio.file.*;
import java.util.*;
import java.util.List;
import java.util.concurrent.*;
import java.util.stream.*;
import javax.imageio.*;
import javax.imageio.event.*;
import javax.imageio.metadata.*;
import javax.imageio.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.*;
import org.w3c.dom.*;

class ImageReaderTest {
    /** 12 bits, 4 x 2: 0, 1000, 4095, 7; 2, 3, 2048, 9. */
    private static final byte[] JPEG_LS = HexFormat.of().parseHex(
            "FFD8FFF7000B0C0002000401011100FFDA0008010100000000800000004F000000014A08C4000000012400000003A430FFD9");
    /** 16 bits, 2 x 2: 32768, 32769; 32767, 32767. */
    private static final byte[] JPEG_LOSSLESS = HexFormat.of().parseHex(
            "FFD8FFC3000B100002000201011100FFC4001500010100000000000000000000000000000001FFDA000801010001000058FF"
            + "D9");
    /** Two resolutions below the full one, of 512 x 4. */
    private static final byte[] JPEG_2000 = Base64.getDecoder().decode(
            "/0//UQApAAAAAAIAAAAABAAAAAAAAAAAAAACAAAAAAQAAAAAAAAAAAABBwEB/1IADAAAAAEAAgQEAAH/XAAKQEBISFBISFD/kAAK"
            + "AAAAAAC3AAH/k+ftN76iUAll16xBABhIPBTADAgp7MsF+ktB7pOt9bS6tjb5vm+b5vm+b5iZnOc5znOc5znVISAAAAAAAB8JWFCK"
            + "KAtUTogJbkyATjhsNaNpCXSxM1lVVV0ancuKIAAAAyoLsP1B/1QeArAHmOwAABhIRqhQwkJfArAHmOwAABhIRqhQwkJfuD+cN+cN"
            + "/nDfnDALRAHzUX8LRAHzUX8LRAHzUX8LRAHzUX//2Q==");
    private static final String OURS = QuorixImageReader.class.getSimpleName();

    @TempDir
    Path folder;

    private static DicomFile grey16(int columns, int rows, int frames) {
        ByteArrayOutputStream pixels = new ByteArrayOutputStream();
        IntStream.range(0, frames).forEach(frame -> pixels.writeBytes(Compressed.gradient16(columns, rows, frame)));
        return DicomFile.grey16(columns, rows).bitsStored(12, false).nativeFrames(frames, pixels.toByteArray());
    }

    private static DicomFile bits() {
        return DicomFile.grey8(8, 2).number(0x00280100, 1).bitsStored(1, false).nativeFrames(1, new byte[] {5, 3});
    }

    private static DicomFile rgb() {
        return DicomFile.rgb8(40, 30).nativeFrames(1, Compressed.gradient8(120, 30, 1));
    }

    private static byte[] withoutPreamble(DicomFile file) {
        return Arrays.copyOfRange(file.toBytes(), 132, file.toBytes().length);
    }

    /** An input, who is to read it, and what: a picture's type, "columns x rows" and the number of images. */
    record Row(String name, byte[] bytes, String reader, int type, String size, int images) {
        @Override
        public String toString() {
            return name;
        }
    }

    static List<Row> rows() throws IOException {
        ByteArrayOutputStream png = new ByteArrayOutputStream();
        ImageIO.write(new BufferedImage(3, 2, TYPE_BYTE_GRAY), "png", png);
        return List.of(
                new Row("grey8", DicomFile.grey8(20, 10).nativeFrames(1, Compressed.gradient8(20, 10, 0)).toBytes(),
                        OURS, TYPE_BYTE_GRAY, "20 x 10", 1),
                new Row("grey16", grey16(20, 10, 3).toBytes(), OURS, TYPE_USHORT_GRAY, "20 x 10", 3),
                new Row("bits", bits().toBytes(), OURS, TYPE_BYTE_GRAY, "8 x 2", 1),
                new Row("rgb", rgb().toBytes(), OURS, TYPE_3BYTE_BGR, "40 x 30", 1),
                new Row("no preamble", withoutPreamble(rgb()), OURS, TYPE_3BYTE_BGR, "40 x 30", 1),
                new Row("jpeg in dicom", DicomFile.grey8(24, 16).jpegFrames(List.of(Compressed.jpeg(24, 16, 0)))
                        .toBytes(), OURS, TYPE_BYTE_GRAY, "24 x 16", 1),
                new Row("jpeg-ls", JPEG_LS, OURS, TYPE_USHORT_GRAY, "4 x 2", 1),
                new Row("jpeg lossless", JPEG_LOSSLESS, OURS, TYPE_USHORT_GRAY, "2 x 2", 1),
                new Row("jpeg 2000", JPEG_2000, OURS, TYPE_BYTE_GRAY, "512 x 4", 1),
                new Row("jpeg", Compressed.jpeg(24, 16, 0), "JPEGImageReader", TYPE_BYTE_GRAY, "24 x 16", 1),
                new Row("png", png.toByteArray(), "PNGImageReader", TYPE_BYTE_GRAY, "3 x 2", 1));
    }

    static Stream<Row> ourRows() throws IOException {
        return rows().stream().filter(row -> row.reader.equals(OURS));
    }

    /** A stream that knows no length, gives few bytes at a time, and fails at some position. */
    private static final class Reluctant extends ImageInputStreamImpl {
        private final byte[] bytes;
        private final int failing;

        Reluctant(byte[] bytes, int failing) {
            this.bytes = bytes;
            this.failing = failing;
        }

        @Override
        public int read() throws IOException {
            byte[] one = new byte[1];
            return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
        }

        @Override
        public int read(byte[] buffer, int offset, int length) throws IOException {
            checkClosed();
            bitOffset = 0;
            if (streamPos >= failing) {
                throw new IOException("it broke");
            }
            int count = (int) Math.min(Math.min(length, 13), Math.min(failing, bytes.length) - streamPos);
            if (count <= 0) {
                return -1;
            }
            System.arraycopy(bytes, (int) streamPos, buffer, offset, count);
            streamPos += count;
            return count;
        }
    }

    private static ImageReader reader(ImageInputStream in) {
        ImageReader reader = ImageIO.getImageReaders(in).next();
        reader.setInput(in);
        return reader;
    }

    private static ImageReader reader(byte[] bytes) {
        return reader(new MemoryCacheImageInputStream(new ByteArrayInputStream(bytes)));
    }

    private static int[] samples(Raster raster) {
        int[] none = null;
        return raster.getPixels(raster.getMinX(), raster.getMinY(), raster.getWidth(), raster.getHeight(), none);
    }

    private static Renderable decoded(byte[] bytes, DecodeOptions options) throws IOException {
        return Decompressor.decode(new ByteBufferSeekableInputStream(bytes), options);
    }

    private static void assertSame(BufferedImage expected, BufferedImage actual, String what) {
        assertEquals(expected.getType() + " " + expected.getWidth() + " x " + expected.getHeight(),
                actual.getType() + " " + actual.getWidth() + " x " + actual.getHeight(), what);
        assertArrayEquals(samples(expected.getRaster()), samples(actual.getRaster()), what);
    }

    @ParameterizedTest
    @MethodSource("rows")
    void everyoneReadsHisOwnFromAnyStream(Row row) throws IOException {
        byte[] behind = new byte[7 + row.bytes.length];
        System.arraycopy(row.bytes, 0, behind, 7, row.bytes.length);
        File file = Files.write(folder.resolve("file"), row.bytes).toFile();
        List<ImageInputStream> streams = List.of(ImageIO.createImageInputStream(file),
                new Reluctant(row.bytes, 1 << 20),
                new FileCacheImageInputStream(new ByteArrayInputStream(row.bytes), folder.toFile()),
                new MemoryCacheImageInputStream(new ByteArrayInputStream(behind)),
                ImageIO.createImageInputStream(Files.write(folder.resolve("behind"), behind).toFile()));
        streams.get(3).seek(7);
        streams.get(4).seek(7);
        for (ImageInputStream in : streams) {
            long position = in.getStreamPosition();
            ImageReader reader = reader(in);
            assertEquals(position, in.getStreamPosition());
            assertEquals(row.reader, reader.getClass().getSimpleName());
            assertEquals(row.size, reader.getWidth(0) + " x " + reader.getHeight(0));
            assertEquals(row.images, reader.getNumImages(true));
            assertEquals(row.type, reader.getRawImageType(0).getBufferedImageType());
            for (int index = 0; row.reader.equals(OURS) && index < row.images; index++) {
                try (Renderable image = decoded(row.bytes, DecodeOptions.DEFAULT.withFrame(index))) {
                    assertSame(image.toBufferedImage(), reader.read(index), row.name);
                    assertArrayEquals(samples(image.toRaster()), samples(reader.readRaster(index, null)));
                }
            }
            assertThrows(IndexOutOfBoundsException.class, () -> reader.read(row.images));
            reader.dispose();
            in.close();
        }
    }

    /** In their order they come from an input that stays open, out of it from one that is opened anew. */
    @Test
    void framesComeInAnyOrderAndOnAnyThread() throws Exception {
        List<byte[]> codestreams = IntStream.range(0, 6).mapToObj(frame -> Compressed.jpeg(24, 16, 9 * frame)).toList();
        for (DicomFile file : List.of(DicomFile.grey8(24, 16).jpegFrames(codestreams), grey16(24, 16, 6))) {
            ImageReader reader = reader(file.toBytes());
            Random random = new Random(5);
            for (int i = 0, index = 0; i < 60; i++) {
                index = random.nextInt(3) == 0 ? random.nextInt(6) : (index + 1) % 6;
                int frame = index;
                FutureTask<BufferedImage> task = new FutureTask<>(() -> reader.read(frame));
                Executor executor = i % 3 == 0 ? command -> new Thread(command).start() : Runnable::run;
                executor.execute(task);
                try (Renderable image = decoded(file.toBytes(), DecodeOptions.DEFAULT.withFrame(frame))) {
                    assertSame(image.toBufferedImage(), task.get(), "frame " + frame);
                }
            }
            reader.dispose();
        }
    }

    @Test
    void rastersHoldWhatIsStored() throws IOException {
        assertArrayEquals(new int[] {1, 0, 1, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0},
                samples(reader(bits().toBytes()).readRaster(0, null)));
        assertArrayEquals(new int[] {0, 1000, 4095, 7, 2, 3, 2048, 9}, samples(reader(JPEG_LS).readRaster(0, null)));
        assertArrayEquals(new int[] {32768, 32769, 32767, 32767}, samples(reader(JPEG_LOSSLESS).readRaster(0, null)));
        byte[] words = {0, 8, (byte) 0xFF, 0x17, 0, (byte) 0xF0}; // above the twelve bits stands an overlay
        byte[] signed = DicomFile.grey16(3, 1).bitsStored(12, true).text(0x00280004, "CS", "MONOCHROME1")
                .nativeFrames(1, words).toBytes();
        Raster raster = reader(signed).readRaster(0, null);
        assertEquals(DataBuffer.TYPE_SHORT, raster.getSampleModel().getDataType());
        assertArrayEquals(new int[] {-2048, 2047, 0}, samples(raster));
        byte[] doses = DicomFile.grey16(1, 2).number(0x00280100, 32).bitsStored(32, false)
                .nativeFrames(1, new byte[] {-1, -1, -1, -1, 0, 0, 0, 64}).toBytes();
        assertArrayEquals(new int[] {-1, 1 << 30}, samples(reader(doses).readRaster(0, null)));
        assertArrayEquals(new int[] {65535, 16384}, samples(reader(doses).read(0).getRaster()));
    }

    private static ImageReadParam randomParam(Random random, int columns, int rows, int type) {
        ImageReadParam param = new ImageReadParam();
        int x = random.nextInt(columns);
        int y = random.nextInt(rows);
        if (random.nextInt(4) > 0) {
            param.setSourceRegion(new Rectangle(x, y, 1 + random.nextInt(columns), 1 + random.nextInt(rows)));
        }
        if (random.nextInt(3) > 0) {
            int stepX = 1 + random.nextInt(Math.max(1, (columns - x) / 2));
            int stepY = 1 + random.nextInt(Math.max(1, (rows - y) / 2)) / 2 * 2; // takes no lower resolution
            Rectangle region = param.getSourceRegion() != null ? param.getSourceRegion() : new Rectangle(columns, rows);
            param.setSourceSubsampling(stepX, stepY,
                    random.nextInt(Math.min(stepX, Math.min(region.width, columns - region.x))),
                    random.nextInt(Math.min(stepY, Math.min(region.height, rows - region.y))));
        }
        if (random.nextInt(3) == 0) {
            param.setDestinationOffset(new Point(random.nextInt(9), random.nextInt(9)));
        }
        if (random.nextInt(3) == 0) {
            param.setDestination(new BufferedImage(20, 15, type));
        }
        if (type == TYPE_3BYTE_BGR && random.nextInt(3) == 0) {
            param.setSourceBands(new int[] {2, 0, 1});
            param.setDestinationBands(new int[] {0, 2, 1});
        }
        return param;
    }

    private static int[] read(byte[] bytes, ImageReadParam param) throws IOException {
        if (param.getDestination() != null) {
            param.setDestination(new BufferedImage(20, 15, param.getDestination().getType()));
        }
        return samples(reader(bytes).read(0, param).getRaster());
    }

    /** The same picture as PNG, read by Java's own reader with the same parameters. */
    @Test
    void parametersMeanWhatTheyMeanToOthers() throws IOException {
        for (byte[] bytes : List.of(grey16(40, 30, 1).toBytes(), rgb().toBytes(), JPEG_2000)) {
            ByteArrayOutputStream png = new ByteArrayOutputStream();
            BufferedImage whole = reader(bytes).read(0);
            ImageIO.write(whole, "png", png);
            Random random = new Random(17);
            for (int i = 0; i < 300; i++) {
                ImageReadParam param = randomParam(random, whole.getWidth(), whole.getHeight(), whole.getType());
                assertArrayEquals(read(png.toByteArray(), param), read(bytes, param), "parameter " + i);
                param.setDestination(null);
                if (whole.getType() == TYPE_USHORT_GRAY && param.getDestinationOffset().equals(new Point())) {
                    int[] stored = samples(reader(bytes).readRaster(0, param));
                    assertArrayEquals(read(bytes, param),
                            Arrays.stream(stored).map(v -> (v * 65535 + 2047) / 4095).toArray());
                }
            }
        }
    }

    /** Words of 8 bits stored that hold more: their white is the picture's, not the region's. */
    @Test
    void aRegionIsAsBrightAsItIsInThePicture() throws IOException {
        ImageReadParam param = new ImageReadParam();
        param.setSourceRegion(new Rectangle(0, 0, 9, 1));
        int[] whole = samples(reader(large()).read(0).getRaster());
        assertArrayEquals(Arrays.copyOf(whole, 9), read(large(), param));
    }

    /** A region of a slide's frame is that, and no region of the slide. */
    @Test
    void tilesOfASlideHaveRegionsOfTheirOwn() throws IOException {
        byte[] slide = grey16(8, 8, 4).text(0x00209311, "CS", "TILED_FULL").text(0x00480006, "UL", "\u0010\0\0\0")
                .text(0x00480007, "UL", "\u0010\0\0\0").toBytes();
        ImageReader reader = reader(slide);
        ImageReadParam param = new ImageReadParam();
        param.setSourceRegion(new Rectangle(2, 3, 6, 5));
        for (int frame : new int[] {3, 1, 2, 0}) {
            assertArrayEquals(samples(reader.read(frame).getData(new Rectangle(2, 3, 6, 5))),
                    samples(reader.read(frame, param).getRaster()), "frame " + frame);
        }
    }

    @Test
    void destinationsOfOtherKindsAreFilledOrRefused() throws IOException {
        ImageReadParam param = new ImageReadParam();
        byte[] grey = grey16(40, 30, 1).toBytes();
        param.setDestinationType(ImageTypeSpecifier.createFromBufferedImageType(TYPE_BYTE_GRAY));
        int[] deep = samples(reader(grey).read(0).getRaster());
        assertArrayEquals(Arrays.stream(deep).map(value -> (value * 255 + 32767) / 65535).toArray(),
                samples(reader(grey).read(0, param).getRaster()));
        assertThrows(IIOException.class, () -> reader(rgb().toBytes()).read(0, param));
        param.setDestinationType(ImageTypeSpecifier.createFromBufferedImageType(TYPE_INT_RGB));
        assertArrayEquals(samples(reader(rgb().toBytes()).read(0).getRaster()),
                samples(reader(rgb().toBytes()).read(0, param).getRaster()));
        param.setDestination(new BufferedImage(9, 9, TYPE_BYTE_INDEXED));
        assertThrows(IIOException.class, () -> reader(grey).read(0, param));
        param.setDestination(new BufferedImage(9, 9, TYPE_INT_ARGB));
        assertThrows(IllegalArgumentException.class, () -> reader(grey).read(0, param));
    }

    @Test
    void subsamplingTakesLowerResolutionsAndSoDoThumbnails() throws IOException {
        ImageReader reader = reader(JPEG_2000);
        ImageReadParam param = new ImageReadParam();
        Raster whole = reader.readRaster(0, null);
        Rectangle part = new Rectangle(101, 1, 300, 2);
        for (int[] steps : new int[][] {{2, 2, 1}, {4, 4, 2}, {6, 2, 1}, {12, 4, 2}, {3, 2, 0}, {16, 16, 2}}) {
            try (Renderable image = decoded(JPEG_2000, DecodeOptions.DEFAULT.withScaleFactor(1 + steps[2]))) {
                assertEquals(1 + steps[2], image.getScaleFactor());
                Raster low = image.toRaster();
                for (Rectangle region : new Rectangle[] {null, part}) {
                    param.setSourceRegion(region);
                    param.setSourceSubsampling(steps[0], steps[1], steps[0] - 1, 0);
                    Raster read = reader.read(0, param).getRaster();
                    Raster stored = reader.readRaster(0, param);
                    int first = (region == null ? 0 : region.x) + steps[0] - 1;
                    int top = region == null ? 0 : region.y;
                    assertEquals((region == null ? 512 : region.width) / steps[0], read.getWidth());
                    for (int x = 0; x < read.getWidth(); x++) {
                        int there = first + x * steps[0];
                        assertEquals(low.getSample(there >> steps[2], top >> steps[2], 0), read.getSample(x, 0, 0));
                        assertEquals(whole.getSample(there, top, 0), stored.getSample(x, 0, 0));
                    }
                }
            }
        }
        assertTrue(reader.readerSupportsThumbnails() && reader.hasThumbnails(0));
        assertEquals("256 x 2", reader.getThumbnailWidth(0, 0) + " x " + reader.getThumbnailHeight(0, 0));
        try (Renderable image = decoded(JPEG_2000, DecodeOptions.DEFAULT.withScaleFactor(2))) {
            assertSame(image.toBufferedImage(), reader.readThumbnail(0, 0), "thumbnail");
        }
        assertThrows(IndexOutOfBoundsException.class, () -> reader.readThumbnail(0, 1));
        assertFalse(reader(Compressed.jpeg2000()).hasThumbnails(0), "it is small itself");
        assertFalse(reader(JPEG_LS).hasThumbnails(0));
    }

    /** Writes down what a reader tells, once what it repeats, and aborts or throws at one of these. */
    private static List<String> listen(ImageReader reader, String abortingAt) {
        List<String> lines = new ArrayList<>();
        float[] progress = new float[1];
        Object log = Proxy.newProxyInstance(ImageReaderTest.class.getClassLoader(),
                new Class<?>[] {IIOReadProgressListener.class, IIOReadWarningListener.class}, (self, method, given) -> {
                    String line = method.getName();
                    if (lines.isEmpty() || !lines.get(lines.size() - 1).equals(line)) {
                        lines.add(line);
                    }
                    if (line.equals(abortingAt)) {
                        reader.abort();
                    }
                    if (line.equals("imageStarted")) {
                        progress[0] = 0;
                    }
                    if (line.equals("imageProgress")) {
                        assertTrue((float) given[1] >= progress[0] && (float) given[1] <= 100);
                        progress[0] = (float) given[1];
                        if (abortingAt.equals("throw")) {
                            throw new IllegalStateException("from the listener");
                        }
                    }
                    return null;
                });
        reader.addIIOReadProgressListener((IIOReadProgressListener) log);
        reader.addIIOReadWarningListener((IIOReadWarningListener) log);
        return lines;
    }

    private byte[] large() {
        byte[] pixels = Compressed.gradient16(500, 300, 0);
        return DicomFile.grey16(500, 300).bitsStored(8, false).nativeFrames(1, pixels).toBytes();
    }

    @Test
    void listenersHearWhatHappensAndMayAbort() throws IOException {
        File file = Files.write(folder.resolve("large.dcm"), large()).toFile();
        List<String> all =
                List.of("imageStarted", "imageProgress", "warningOccurred", "imageProgress", "imageComplete");
        Map<String, List<String>> expected = Map.of("nothing", all,
                "imageStarted", List.of("imageStarted", "readAborted"),
                "imageProgress", List.of("imageStarted", "imageProgress", "readAborted"),
                "warningOccurred", List.of("imageStarted", "imageProgress", "warningOccurred", "readAborted"));
        for (String abortingAt : expected.keySet()) {
            for (boolean raster : new boolean[] {false, true}) {
                ImageReader reader = reader(ImageIO.createImageInputStream(file));
                List<String> lines = listen(reader, abortingAt);
                Raster read = raster ? reader.readRaster(0, null) : reader.read(0).getRaster();
                assertEquals(new Rectangle(500, 300), read.getBounds());
                assertEquals(expected.get(abortingAt), lines);
                assertEquals(500, reader.read(0).getWidth(), "an abort is for one reading");
            }
        }
        ImageReader reader = reader(ImageIO.createImageInputStream(file));
        listen(reader, "throw");
        assertEquals("from the listener", assertThrows(IllegalStateException.class, () -> reader.read(0)).getMessage());
        ImageReader small = reader(JPEG_2000);
        List<String> lines = listen(small, "nothing");
        small.readThumbnail(0, 0);
        assertEquals(List.of("thumbnailStarted", "thumbnailProgress", "thumbnailComplete"), lines);
    }

    @ParameterizedTest
    @MethodSource("ourRows")
    void whatIsBrokenIsAnIIOExceptionOrAPicture(Row row) throws IOException {
        Random random = new Random(3);
        int failures = 0;
        for (int i = 0; i < 150; i++) {
            byte[] broken = Arrays.copyOf(row.bytes, i % 2 == 0 ? row.bytes.length : random.nextInt(row.bytes.length));
            int start = row.name.contains(" ") || row.bytes.length < 600 ? 0 : 128;
            if (broken.length > start) {
                broken[start + random.nextInt(broken.length - start)] ^= (byte) (1 << random.nextInt(8));
            }
            ImageInputStream in = new MemoryCacheImageInputStream(new ByteArrayInputStream(broken));
            Iterator<ImageReader> readers = ImageIO.getImageReaders(in);
            assertEquals(0, in.getStreamPosition());
            ImageReader reader = readers.hasNext() ? readers.next() : null;
            if (reader instanceof QuorixImageReader) {
                reader.setInput(in);
                try {
                    reader.read(0);
                    reader.getImageMetadata(0).getAsTree("javax_imageio_1.0");
                } catch (IIOException exception) {
                    failures++;
                }
            }
        }
        assertTrue(failures > 0);
        ImageReader reader = reader(row.bytes);
        reader.setInput(new Reluctant(row.bytes, (row.bytes.length - 3) / row.images));
        assertEquals("it broke", assertThrows(IIOException.class, () -> reader.read(0)).getCause().getMessage());
    }

    @Test
    void metadataIsATreeOfTags() throws Exception {
        DicomFile file = grey16(4, 4, 1).text(0x00080005, "CS", "ISO_IR 144").text(0x00280030, "DS", "0.5\\0.25")
                .text(0x00100010, "PN", new String("Имя".getBytes("ISO-8859-5"), "ISO-8859-1"));
        ImageReader reader = reader(file.toBytes());
        IIOMetadata metadata = reader.getStreamMetadata();
        assertEquals(DicomMetadataFormat.NAME, metadata.getNativeMetadataFormatName());
        IIOMetadataFormat format = metadata.getMetadataFormat(DicomMetadataFormat.NAME);
        NodeList elements = metadata.getAsTree(DicomMetadataFormat.NAME).getChildNodes();
        Map<String, String> found = new TreeMap<>();
        for (int i = 0; i < elements.getLength(); i++) {
            Element element = (Element) elements.item(i);
            NamedNodeMap attributes = element.getAttributes();
            for (int k = 0; k < attributes.getLength(); k++) {
                assertTrue(List.of(format.getAttributeNames("element")).contains(attributes.item(k).getNodeName()));
            }
            found.put(element.getAttribute("tag"), element.getAttribute("keyword") + " " + element.getAttribute("vr")
                    + " " + element.getAttribute("value"));
        }
        assertEquals("PatientName PN Имя", found.get("00100010"));
        assertEquals("Rows US 4", found.get("00280010"));
        Element standard = (Element) reader.getImageMetadata(0).getAsTree("javax_imageio_1.0");
        for (String expected : List.of("HorizontalPixelSize 0.25", "VerticalPixelSize 0.5", "PixelAspectRatio 0.5",
                "SignificantBitsPerSample 12", "BlackIsZero TRUE", "SampleFormat UnsignedIntegral")) {
            String[] parts = expected.split(" ");
            Element node = (Element) standard.getElementsByTagName(parts[0]).item(0);
            assertEquals(parts[1], node.getAttribute("value"), parts[0]);
        }
        String measures = DicomFile.inItem(0x00280030, "DS", "2\\1 ");
        byte[] enhanced = grey16(4, 4, 1).sequence(0x52009229, DicomFile.inItem(0x00289110, "SQ", measures)).toBytes();
        ImageReader shared = reader(enhanced);
        assertEquals("1.0", ((Element) ((Element) shared.getImageMetadata(0).getAsTree("javax_imageio_1.0"))
                .getElementsByTagName("HorizontalPixelSize").item(0)).getAttribute("value"));
        Element last = (Element) shared.getStreamMetadata().getAsTree(DicomMetadataFormat.NAME).getLastChild();
        assertEquals("SharedFunctionalGroupsSequence", last.getAttribute("keyword"));
        NodeList below = last.getElementsByTagName("*");
        assertEquals(List.of("element", "item", "element", "item", "element"),
                IntStream.range(0, below.getLength()).mapToObj(i -> below.item(i).getNodeName()).toList());
        assertNull(reader(JPEG_2000).getStreamMetadata());
        reader.setInput(reader.getInput(), true, true);
        assertNull(reader.getStreamMetadata());
    }

    @Test
    void readersFollowTheRulesOfAll() throws IOException {
        ImageInputStream in = new MemoryCacheImageInputStream(new ByteArrayInputStream(grey16(8, 8, 3).toBytes()));
        ImageReader reader = reader(in);
        reader.setInput(in, true);
        assertEquals(3, reader.getNumImages(false));
        assertThrows(IllegalStateException.class, () -> reader.getNumImages(true));
        reader.read(1);
        assertThrows(IndexOutOfBoundsException.class, () -> reader.getWidth(0));
        reader.reset();
        assertThrows(IllegalStateException.class, () -> reader.read(0));
        reader.setInput(in);
        assertThrows(IIOException.class, () -> reader.read(0), "the stream stands elsewhere now");
        in.seek(0);
        reader.setInput(in);
        assertEquals(8, reader.read(2).getWidth());
        reader.dispose();
        assertThrows(IllegalStateException.class, () -> reader.getWidth(0));
        in.seek(5);
        assertEquals(5, in.getStreamPosition(), "the stream is still open");
        for (String name : List.of("dcm", "application/dicom", "jls", "image/jph", "JPEG2000")) {
            Stream<Iterator<ImageReader>> found = Stream.of(ImageIO.getImageReadersByFormatName(name),
                    ImageIO.getImageReadersByMIMEType(name), ImageIO.getImageReadersBySuffix(name));
            assertTrue(found.filter(Iterator::hasNext).anyMatch(it -> it.next() instanceof QuorixImageReader), name);
        }
        for (Iterator<ImageReader> it = ImageIO.getImageReadersBySuffix("jpg"); it.hasNext();) {
            assertFalse(it.next() instanceof QuorixImageReader);
        }
    }

    /** What headers promise is what pictures are. */
    @Tag("samples")
    @Test
    void samplesAreReadAsTheirHeadersPromise() throws IOException {
        int read = 0;
        for (Path file : Places.filesBelow(Places.samples())) {
            ImageInputStream in = ImageIO.createImageInputStream(file.toFile());
            Iterator<ImageReader> readers = ImageIO.getImageReaders(in);
            if (file.toString().contains("damaged") || !readers.hasNext()
                    || !(readers.next() instanceof QuorixImageReader reader)) {
                continue;
            }
            reader.setInput(in);
            String promised = reader.getWidth(0) + " x " + reader.getHeight(0) + ", "
                    + reader.getRawImageType(0).getBufferedImageType();
            try {
                BufferedImage picture = reader.read(0);
                read++;
                assertEquals(promised, picture.getWidth() + " x " + picture.getHeight() + ", " + picture.getType(),
                        file.toString());
            } catch (IIOException exception) {
                assertInstanceOf(DecompressionException.class, exception.getCause(), file.toString());
            }
            reader.dispose();
            in.close();
        }
        assertTrue(read > 100, "only " + read + " files were read");
    }

    /** Reads the file of its argument. */
    static final class Reading {
        private Reading() {
        }

        public static void main(String[] arguments) throws IOException {
            System.out.println(ImageIO.read(new File(arguments[0])) + " "
                    + ImageIO.getImageReadersByFormatName("dicom").hasNext());
            ImageIO.getImageReadersByFormatName("dicom").next();
            System.out.println(ImageIO.getImageReadersByFormatName("dicom").hasNext());
        }
    }

    @Test
    void withoutTheNativeLibraryOthersGoOn() throws Exception {
        Path file = grey16(8, 8, 1).writeTo(folder.resolve("image.dcm"));
        ChildJvm.Outcome outcome = new ChildJvm(Reading.class, file.toString())
                .property("quorix.library.path", "/no/libMine.so").property("java.io.tmpdir", folder.resolve("missing"))
                .start().finish();
        assertEquals(new ChildJvm.Outcome(0, "null true\nfalse\n"), outcome);
    }
}
