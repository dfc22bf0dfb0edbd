// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.Renderable;
import java.io.IOException;
import java.nio.file.Path;
import javax.imageio.ImageIO;

/** Decodes one image of a file and saves it as PNG: {@code java DecodeToPng INPUT OUTPUT [CENTER WIDTH]}. */
public final class DecodeToPng {
    private DecodeToPng() {
    }

    /**
     * Runs the example.
     *
     * @param arguments input, output and optionally a window
     * @throws IOException if decoding or writing fails
     */
    public static void main(String[] arguments) throws IOException {
        if (arguments.length != 2 && arguments.length != 4) {
            System.err.println("usage: DecodeToPng INPUT OUTPUT [CENTER WIDTH]");
            System.exit(1);
        }
        try (Renderable image = Decompressor.decode(Path.of(arguments[0]), DecodeOptions.DEFAULT)) {
            var picture = arguments.length == 2 ? image.toBufferedImage()
                    : image.toBufferedImage(Double.parseDouble(arguments[2]),
                            Double.parseDouble(arguments[3]));
            ImageIO.write(picture, "png", Path.of(arguments[1]).toFile());
            System.out.println(image.getColumns() + " x " + image.getRows() + ", compressed "
                    + image.getCompressionRatio() + ":1, decoded in " + image.getTotalTimeTakenToLoad()
                    + " ms");
        }
    }
}
