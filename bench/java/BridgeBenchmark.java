// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.FrameListener;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.Renderable;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.ByteBufferSeekableInputStream;
import java.io.IOException;
import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * What the way through Java costs: every DICOM file of a folder is decoded through Java and by a native loop in the
 * same process, turn by turn, and the least CPU times of the thread that any turn needed are compared: from a file
 * with the native loop over the file, from memory with that over memory. Files whose name begins with {@code frames}
 * are decoded whole, in one call through Java. The last line tells what the garbage collector took besides.
 */
public final class BridgeBenchmark {
    private static final DecodeOptions DICOM = DecodeOptions.DEFAULT.withType(ImageType.DICOM);
    private static final FrameListener CLOSING = (index, image) -> {
        image.close();
        return true;
    };
    private static final long BATCH_NANOS = 30_000_000;
    private static final int TURNS = Integer.getInteger("turns", 41);
    private static final long WARM_UP_NANOS = TURNS > 1 ? 1_500_000_000 : 0;

    private BridgeBenchmark() {
    }

    /** One way of decoding, as often as it is told. */
    private interface Way {
        void decode() throws IOException;
    }

    /**
     * Runs the benchmark.
     *
     * @param arguments the folder and the native loop's library
     * @throws IOException if a file cannot be read or decoded
     */
    public static void main(String[] arguments) throws IOException {
        System.load(Path.of(arguments[1]).toAbsolutePath().toString());
        System.out.println("| file | native file, ms | path, % | native memory, ms | direct buffer, % "
                + "| array, % | stream, % |");
        System.out.println("|---|---:|---:|---:|---:|---:|---:|");
        long start = System.nanoTime();
        for (Path file : filesOf(Path.of(arguments[0]))) {
            measure(file);
        }
        long collecting = ManagementFactory.getGarbageCollectorMXBeans().stream()
                .mapToLong(GarbageCollectorMXBean::getCollectionTime).sum();
        System.out.printf("%nGarbage collection: %d ms of %d ms.%n", collecting,
                (System.nanoTime() - start) / 1_000_000);
    }

    private static List<Path> filesOf(Path folder) throws IOException {
        try (Stream<Path> files = Files.list(folder)) {
            return files.filter(file -> file.toString().endsWith(".dcm")).sorted().collect(Collectors.toList());
        }
    }

    private static void measure(Path file) throws IOException {
        byte[] bytes = Files.readAllBytes(file);
        ByteBuffer path = directCopy((file + "\0").getBytes());
        ByteBuffer direct = directCopy(bytes);
        String name = file.getFileName().toString().replace(".dcm", "");
        int frames = name.startsWith("frames") ? countFrames(bytes) : 1;
        Way[] ways = frames == 1
                ? new Way[] {() -> decodeFile(path, 1), () -> close(Decompressor.decode(file, DICOM)),
                    () -> decodeMemory(direct, 1), () -> close(Decompressor.decode(direct, DICOM)),
                    () -> close(Decompressor.decode(bytes, DICOM)),
                    () -> close(Decompressor.decode(stream(bytes), DICOM))}
                : new Way[] {() -> decodeFile(path, frames), () -> Decompressor.decodeFrames(file, DICOM, CLOSING),
                    () -> decodeMemory(direct, frames), () -> Decompressor.decodeFrames(direct, DICOM, CLOSING),
                    () -> Decompressor.decodeFrames(bytes, DICOM, CLOSING),
                    () -> Decompressor.decodeFrames(stream(bytes), DICOM, CLOSING)};
        double[] least = leastTimes(ways);
        System.out.printf("| %s | %.3f | %.1f | %.3f | %.1f | %.1f | %.1f |%n", name, least[0],
                above(least[1], least[0]), least[2], above(least[3], least[2]), above(least[4], least[2]),
                above(least[5], least[2]));
    }

    private static ByteBuffer directCopy(byte[] bytes) {
        return ByteBuffer.allocateDirect(bytes.length).put(bytes).flip();
    }

    private static ByteBufferSeekableInputStream stream(byte[] bytes) {
        return new ByteBufferSeekableInputStream(bytes);
    }

    private static void close(Renderable image) {
        image.close();
    }

    private static double above(double time, double natively) {
        return 100 * (time - natively) / natively;
    }

    /** In milliseconds for one decoding; warmed up before, until the JVM has compiled its own. */
    private static double[] leastTimes(Way[] ways) throws IOException {
        long end = System.nanoTime() + WARM_UP_NANOS;
        long round = Long.MAX_VALUE;
        do {
            for (Way way : ways) {
                round = Math.min(round, timeOf(way, 1));
            }
        } while (System.nanoTime() < end);
        int rounds = (int) Math.max(1, BATCH_NANOS / round);
        double[] least = new double[ways.length];
        Arrays.fill(least, Double.MAX_VALUE);
        for (int turn = 0; turn < TURNS; turn++) {
            for (int i = 0; i < ways.length; i++) {
                int way = (i + turn) % ways.length; // none always comes behind the same other one
                least[way] = Math.min(least[way], timeOf(ways[way], rounds) / 1e6 / rounds);
            }
        }
        return least;
    }

    private static long timeOf(Way way, int rounds) throws IOException {
        long start = ManagementFactory.getThreadMXBean().getCurrentThreadCpuTime();
        for (int round = 0; round < rounds; round++) {
            way.decode();
        }
        return ManagementFactory.getThreadMXBean().getCurrentThreadCpuTime() - start;
    }

    private static int countFrames(byte[] bytes) throws IOException {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.loadHeader(stream(bytes));
            return Math.max(1, dataSet.getInteger(0x00280008, 1));
        }
    }

    /** Decode frame 0, 1 and so on without Java: of the file with this name, or of the bytes of one. */
    private static native void decodeFile(ByteBuffer name, int frames) throws IOException;

    private static native void decodeMemory(ByteBuffer bytes, int frames) throws IOException;
}
