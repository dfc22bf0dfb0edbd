// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.dicom.DICOMElement;
import java.util.List;
import java.util.Optional;
import javax.imageio.metadata.IIOMetadata;
import javax.imageio.metadata.IIOMetadataFormatImpl;
import javax.imageio.metadata.IIOMetadataNode;
import org.w3c.dom.Node;

/** An image's data set as {@link DicomMetadataFormat} has it, and in the tree that all of ImageIO has; read-only. */
final class ImageMetadata extends IIOMetadata {
    private final String compression;
    private final ImageLayout layout;
    private final int index;
    private final List<DICOMElement> elements;

    /** Elements are null where there is no data set; then there is no native tree. */
    ImageMetadata(String compression, ImageLayout layout, int index, List<DICOMElement> elements) {
        super(true, elements == null ? null : DicomMetadataFormat.NAME,
                elements == null ? null : DicomMetadataFormat.class.getName(), null, null);
        this.compression = compression;
        this.layout = layout;
        this.index = index;
        this.elements = elements == null ? List.of() : elements;
    }

    @Override
    public boolean isReadOnly() {
        return true;
    }

    @Override
    public Node getAsTree(String formatName) {
        if (formatName.equals(nativeMetadataFormatName)) {
            return withElements(new IIOMetadataNode(DicomMetadataFormat.NAME), elements);
        }
        if (formatName.equals(IIOMetadataFormatImpl.standardMetadataFormatName)) {
            return getStandardTree();
        }
        throw new IllegalArgumentException("there is no " + formatName + " of this image");
    }

    @Override
    public void mergeTree(String formatName, Node root) {
        throw new IllegalStateException("metadata of a reader is not to be changed");
    }

    @Override
    public void reset() {
        throw new IllegalStateException("metadata of a reader is not to be changed");
    }

    private static IIOMetadataNode withElements(IIOMetadataNode parent, List<DICOMElement> elements) {
        for (DICOMElement element : elements) {
            IIOMetadataNode node = child(parent, DicomMetadataFormat.ELEMENT);
            node.setAttribute(DicomMetadataFormat.TAG, element.tagText());
            if (!element.keyword().isEmpty()) {
                node.setAttribute(DicomMetadataFormat.KEYWORD, element.keyword());
            }
            node.setAttribute(DicomMetadataFormat.VR, element.vr());
            if (element.value() != null) {
                node.setAttribute(DicomMetadataFormat.VALUE, element.value());
            }
            element.items().forEach(item -> withElements(child(node, DicomMetadataFormat.ITEM), item));
        }
        return parent;
    }

    private static IIOMetadataNode child(IIOMetadataNode parent, String name) {
        IIOMetadataNode node = new IIOMetadataNode(name);
        parent.appendChild(node);
        return node;
    }

    private static void child(IIOMetadataNode parent, String name, Object value) {
        child(parent, name).setAttribute("value", value.toString());
    }

    @Override
    protected IIOMetadataNode getStandardChromaNode() {
        IIOMetadataNode node = new IIOMetadataNode("Chroma");
        child(node, "ColorSpaceType").setAttribute("name", layout.colour() ? "RGB" : "GRAY");
        child(node, "NumChannels", layout.colour() ? 3 : 1);
        boolean inverted = text(Tags.PHOTOMETRIC_INTERPRETATION).filter("MONOCHROME1"::equals).isPresent();
        child(node, "BlackIsZero", inverted ? "FALSE" : "TRUE");
        return node;
    }

    @Override
    protected IIOMetadataNode getStandardCompressionNode() {
        IIOMetadataNode node = new IIOMetadataNode("Compression");
        child(node, "CompressionTypeName", text(Tags.TRANSFER_SYNTAX_UID).orElse(compression));
        text(Tags.LOSSY_IMAGE_COMPRESSION)
                .ifPresent(lossy -> child(node, "Lossless", lossy.equals("01") ? "FALSE" : "TRUE"));
        return node;
    }

    @Override
    protected IIOMetadataNode getStandardDataNode() {
        IIOMetadataNode node = new IIOMetadataNode("Data");
        child(node, "PlanarConfiguration", "PixelInterleaved");
        boolean signed = text(Tags.PIXEL_REPRESENTATION).filter("1"::equals).isPresent();
        child(node, "SampleFormat", signed && !layout.colour() ? "SignedIntegral" : "UnsignedIntegral");
        int stored = layout.colour() ? 8 : layout.bits();
        child(node, "BitsPerSample", perSample(layout.colour() ? 8 : stored <= 8 ? 8 : stored <= 16 ? 16 : 32));
        child(node, "SignificantBitsPerSample", perSample(stored));
        return node;
    }

    private String perSample(int number) {
        return layout.colour() ? number + " " + number + " " + number : Integer.toString(number);
    }

    /** Spacings are millimetres in both worlds; DICOM says that of rows first. */
    @Override
    protected IIOMetadataNode getStandardDimensionNode() {
        IIOMetadataNode node = new IIOMetadataNode("Dimension");
        Optional<double[]> spacing = spacing();
        Optional<double[]> ratio = spacing.or(() -> text(Tags.PIXEL_ASPECT_RATIO).flatMap(ImageMetadata::twoNumbers));
        child(node, "PixelAspectRatio", ratio.map(sides -> sides[1] / sides[0]).orElse(1.0).floatValue());
        child(node, "ImageOrientation", "Normal");
        spacing.ifPresent(sides -> {
            child(node, "HorizontalPixelSize", (float) sides[1]);
            child(node, "VerticalPixelSize", (float) sides[0]);
        });
        return node;
    }

    /** That of the image, of its detector or its paper, or of the functional groups, whichever is there. */
    private Optional<double[]> spacing() {
        return text(Tags.PIXEL_SPACING).or(() -> text(Tags.IMAGER_PIXEL_SPACING))
                .or(() -> text(Tags.NOMINAL_SCANNED_PIXEL_SPACING))
                .or(() -> inGroup(Tags.SHARED_FUNCTIONAL_GROUPS, 0))
                .or(() -> inGroup(Tags.PER_FRAME_FUNCTIONAL_GROUPS, index)).flatMap(ImageMetadata::twoNumbers);
    }

    private Optional<String> inGroup(int groups, int item) {
        return item(elements, groups, item).flatMap(group -> item(group, Tags.PIXEL_MEASURES, 0))
                .flatMap(measures -> text(measures, Tags.PIXEL_SPACING));
    }

    private static Optional<List<DICOMElement>> item(List<DICOMElement> elements, int tag, int index) {
        return find(elements, tag).map(DICOMElement::items).filter(items -> index < items.size())
                .map(items -> items.get(index));
    }

    private Optional<String> text(int tag) {
        return text(elements, tag);
    }

    private static Optional<String> text(List<DICOMElement> elements, int tag) {
        return find(elements, tag).map(DICOMElement::value).map(String::strip).filter(value -> !value.isEmpty());
    }

    private static Optional<DICOMElement> find(List<DICOMElement> elements, int tag) {
        return elements.stream().filter(element -> element.tag() == tag).findFirst();
    }

    private static Optional<double[]> twoNumbers(String value) {
        String[] parts = value.split("\\\\");
        try {
            double first = Double.parseDouble(parts[0].strip());
            double second = Double.parseDouble(parts[1].strip());
            return first > 0 && second > 0 ? Optional.of(new double[] {first, second}) : Optional.empty();
        } catch (NumberFormatException | ArrayIndexOutOfBoundsException noNumbers) {
            return Optional.empty();
        }
    }
}
