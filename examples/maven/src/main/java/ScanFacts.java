// SPDX-License-Identifier: Apache-2.0

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.Renderable;
import java.nio.file.Path;

/** Says how large the image of each file is. */
public final class ScanFacts {
    private ScanFacts() {}

    public static void main(String[] args) throws Exception {
        for (String name : args) {
            try (Renderable image = Decompressor.decode(Path.of(name), DecodeOptions.DEFAULT)) {
                System.out.println(name + ": " + image.getColumns() + " x " + image.getRows());
            }
        }
    }
}
