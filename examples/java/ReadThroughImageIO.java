// SPDX-License-Identifier: Apache-2.0
import java.awt.image.BufferedImage;
import java.io.File;
import java.io.IOException;
import java.util.Iterator;
import javax.imageio.ImageIO;
import javax.imageio.ImageReadParam;
import javax.imageio.ImageReader;
import javax.imageio.metadata.IIOMetadata;
import javax.imageio.stream.ImageInputStream;
import org.w3c.dom.Element;
import org.w3c.dom.NodeList;

/**
 * Writes one image of a DICOM, JPEG 2000 or JPEG-LS file as PNG, at half its size where it is large, and tells what it
 * is. The program knows nothing but Java's own classes; the jar on the class path is all there is to it:
 * <pre>
 *     java -cp quorix-decompression.jar ReadThroughImageIO.java scan.dcm scan.png [image]
 * </pre>
 */
public final class ReadThroughImageIO {
    private static final int LARGE = 2048;

    private ReadThroughImageIO() {
    }

    public static void main(String[] arguments) throws IOException {
        int index = arguments.length > 2 ? Integer.parseInt(arguments[2]) : 0;
        try (ImageInputStream in = ImageIO.createImageInputStream(new File(arguments[0]))) {
            Iterator<ImageReader> readers = ImageIO.getImageReaders(in);
            if (!readers.hasNext()) {
                throw new IOException("nobody reads " + arguments[0]);
            }
            ImageReader reader = readers.next();
            reader.setInput(in);
            reader.addIIOReadWarningListener((source, warning) -> System.out.println("warning: " + warning));
            ImageReadParam param = reader.getDefaultReadParam();
            int step = reader.getWidth(index) > LARGE ? 2 : 1;
            param.setSourceSubsampling(step, step, 0, 0);
            BufferedImage picture = reader.read(index, param);
            System.out.println(reader.getFormatName() + ", image " + index + " of " + reader.getNumImages(true) + ", "
                    + picture.getWidth() + " x " + picture.getHeight() + ", patient: "
                    + value(reader.getStreamMetadata(), "PatientName"));
            ImageIO.write(picture, "png", new File(arguments[1]));
            reader.dispose();
        }
    }

    /** What a data set says under a keyword; nothing where there is no data set. */
    private static String value(IIOMetadata metadata, String keyword) {
        if (metadata == null || metadata.getNativeMetadataFormatName() == null) {
            return "";
        }
        Element root = (Element) metadata.getAsTree(metadata.getNativeMetadataFormatName());
        NodeList elements = root.getElementsByTagName("element");
        for (int i = 0; i < elements.getLength(); i++) {
            Element element = (Element) elements.item(i);
            if (element.getAttribute("keyword").equals(keyword)) {
                return element.getAttribute("value");
            }
        }
        return "";
    }
}
