// SPDX-License-Identifier: Apache-2.0
import com.quorix.decompression.*;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.util.HexFormat;

/** Prints what the first frame of each file comes to: the SHA-256 of its pixels, or the code of the failure. */
public final class PixelHashes {
    private PixelHashes() {
    }

    public static void main(String[] files) throws Exception {
        for (String file : files) {
            String outcome;
            try (Renderable image = Decompressor.decode(Path.of(file), DecodeOptions.DEFAULT)) {
                MessageDigest digest = MessageDigest.getInstance("SHA-256");
                ByteBuffer pixels = image.getPixelData();
                digest.update(pixels);
                outcome = HexFormat.of().formatHex(digest.digest());
            } catch (DecompressionException exception) {
                outcome = "code " + exception.getCode();
            }
            System.out.println(file + " " + outcome);
        }
    }
}
