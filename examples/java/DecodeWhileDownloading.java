// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.Renderable;
import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Decodes a bare codestream while it still arrives:
 * {@code java DecodeWhileDownloading INPUT jpeg|jpeg2000}. A thread that reads the file in small pieces, with
 * a pause after each, stands for the network.
 */
public final class DecodeWhileDownloading {
    private static final int PIECE = 4096;
    private static final long PAUSE_MILLIS = 2;

    private DecodeWhileDownloading() {
    }

    /**
     * Runs the example.
     *
     * @param arguments input and its type
     * @throws IOException if the download or decoding fails
     */
    public static void main(String[] arguments) throws IOException {
        if (arguments.length != 2) {
            System.err.println("usage: DecodeWhileDownloading INPUT jpeg|jpeg2000");
            System.exit(1);
        }
        ImageType type = arguments[1].equals("jpeg") ? ImageType.JPEG : ImageType.JPEG2000;
        InputBufferQueue queue = new InputBufferQueue();
        Thread download = new Thread(() -> download(Path.of(arguments[0]), queue), "download");
        download.start();
        try (Renderable image = Decompressor.decode(queue, DecodeOptions.DEFAULT.withType(type))) {
            System.out.println(image.getColumns() + " x " + image.getRows() + " decoded");
        }
    }

    private static void download(Path file, InputBufferQueue queue) {
        try (InputStream in = Files.newInputStream(file)) {
            boolean wanted = true;
            while (wanted) {
                ByteArrayInputBuffer buffer = queue.obtain(PIECE);
                int count = in.read(buffer.getArray());
                if (count < 0) {
                    break;
                }
                buffer.setBytesAvailable(count);
                wanted = queue.put(buffer);
                Thread.sleep(PAUSE_MILLIS);
            }
            queue.finish();
        } catch (IOException exception) {
            queue.fail(exception);
        } catch (InterruptedException exception) {
            queue.interrupt();
        }
    }
}
