// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.ImageType;
import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.ByteBufferSeekableInputStream;
import java.io.IOException;
import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * What the way through Java costs: every DICOM file of a folder is decoded through Java and by a native
 * loop in the same process, turn by turn, and the medians of the thread's CPU time are printed side by side,
 * the difference as the median of the turns' differences. Files whose name begins with {@code frames} are
 * decoded whole, in one call through Java. The last line tells what the garbage collector took besides.
 */
public final class BridgeBenchmark {
    private static final DecodeOptions DICOM = DecodeOptions.DEFAULT.withType(ImageType.DICOM);
    private static final long BATCH_NANOS = 30_000_000;
    private static final int TURNS = Integer.getInteger("turns", 41);
    private static final long WARM_UP_NANOS = TURNS > 1 ? 1_500_000_000 : 0;

    private BridgeBenchmark() {
    }

    /**
     * Runs the benchmark.
     *
     * @param arguments the folder and the native loop's library
     * @throws IOException if a file cannot be read or decoded
     */
    public static void main(String[] arguments) throws IOException {
        System.load(Path.of(arguments[1]).toAbsolutePath().toString());
        System.out.println("| file | through Java, ms | native, ms | difference, ms | difference, % |");
        System.out.println("|---|---:|---:|---:|---:|");
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
        String name = file.getFileName().toString().replace(".dcm", "");
        int frames = name.startsWith("frames") ? countFrames(bytes) : 1;
        int rounds = warmUp(bytes, frames);
        double[] java = new double[TURNS];
        double[] natives = new double[TURNS];
        double[] differences = new double[TURNS];
        for (int turn = 0; turn < TURNS; turn++) {
            java[turn] = decodeByJava(bytes, rounds, frames) / 1e6 / rounds;
            natives[turn] = decodeByNativeLoop(bytes, rounds, frames) / 1e6 / rounds;
            differences[turn] = java[turn] - natives[turn];
        }
        double through = median(java);
        double straight = median(natives);
        double difference = median(differences);
        System.out.printf("| %s | %.3f | %.3f | %.3f | %.1f |%n", name, through, straight, difference,
                100 * difference / straight);
    }

    /** Runs both ways until the JVM has compiled its own; returns how many rounds make one batch. */
    private static int warmUp(byte[] bytes, int frames) throws IOException {
        long end = System.nanoTime() + WARM_UP_NANOS;
        long round = Long.MAX_VALUE;
        do {
            round = Math.min(round, decodeByJava(bytes, 1, frames));
            decodeByNativeLoop(bytes, 1, frames);
        } while (System.nanoTime() < end);
        return (int) Math.max(1, BATCH_NANOS / round);
    }

    private static int countFrames(byte[] bytes) throws IOException {
        try (DICOMDataObject dataSet = new DICOMDataObject()) {
            dataSet.loadHeader(new ByteBufferSeekableInputStream(bytes));
            return Math.max(1, dataSet.getInteger(0x00280008, 1));
        }
    }

    private static long decodeByJava(byte[] bytes, int rounds, int frames) throws IOException {
        long start = cpuTime();
        for (int round = 0; round < rounds; round++) {
            ByteBufferSeekableInputStream in = new ByteBufferSeekableInputStream(bytes);
            if (frames == 1) {
                Decompressor.decode(in, DICOM).close();
            } else {
                Decompressor.decodeFrames(in, DICOM, (index, image) -> {
                    image.close();
                    return true;
                });
            }
        }
        return cpuTime() - start;
    }

    private static long cpuTime() {
        return ManagementFactory.getThreadMXBean().getCurrentThreadCpuTime();
    }

    private static long decodeByNativeLoop(byte[] bytes, int rounds, int frames) throws IOException {
        long time = decodeNatively(bytes, rounds, frames);
        if (time < 0) {
            throw new IOException("the native loop cannot decode this");
        }
        return time;
    }

    private static double median(double[] values) {
        Arrays.sort(values);
        return values[values.length / 2];
    }

    private static native long decodeNatively(byte[] file, int rounds, int frames);
}
