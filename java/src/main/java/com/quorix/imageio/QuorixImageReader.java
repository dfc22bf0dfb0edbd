// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.DecompressionException;
import com.quorix.decompression.Renderable;
import java.awt.Point;
import java.awt.Rectangle;
import java.awt.image.BufferedImage;
import java.awt.image.DataBuffer;
import java.awt.image.IndexColorModel;
import java.awt.image.Raster;
import java.awt.image.SampleModel;
import java.awt.image.WritableRaster;
import java.io.IOException;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Iterator;
import java.util.Map;
import javax.imageio.IIOException;
import javax.imageio.ImageReadParam;
import javax.imageio.ImageReader;
import javax.imageio.ImageTypeSpecifier;
import javax.imageio.metadata.IIOMetadata;
import javax.imageio.stream.ImageInputStream;

/**
 * Reads what the providers of this package recognise. Images are the frames of a DICOM file; pictures are those of
 * {@link Renderable#toBufferedImage()}, rasters those of {@link Renderable#toRaster()}.
 *
 * <p>A source region is in pixels of the full size. Where codec and image have lower resolutions, pictures that are
 * subsampled by factors that powers of two divide take them: pixels are then averages of their neighbourhood, which
 * looks better and is faster, and only what remains of the factors is done by leaving out pixels. Rasters have stored
 * values alone, as have pictures of palettes and of segmentations. Sizes, types and metadata come from
 * the headers; where a codestream contradicts its data set, pictures are the codestream's, and once one has been read
 * at its full size the numbers are, too.
 *
 * <p>The input is an {@link ImageInputStream}, read from where it stands when it is set, and left open. What fails is
 * an {@link IIOException}; its cause has the library's result code, or is what the stream threw. One thread at a time,
 * as with every reader; {@link #abort} may come from any, and is heard when the stream is read next or while pixels are
 * copied.
 */
public final class QuorixImageReader extends ImageReader {
    /** No side of a thumbnail is longer, unless the image has no resolution as low. */
    private static final int THUMBNAIL_SIZE = 256;
    /** The result code of a region that is not inside the image. */
    private static final int OUTSIDE = 6;

    private final InputFormat format;
    private ImageInputStream stream;
    private long start;
    private InputHeaders headers;
    private FrameDecoder frames;
    /** Of frames that were decoded at their full size; they may differ from what the headers say. */
    private final Map<Integer, ImageLayout> decoded = new HashMap<>();
    private Thumbnail thumbnail;

    /** A frame's thumbnail, null where it has none. */
    private record Thumbnail(int index, BufferedImage picture) {
    }

    QuorixImageReader(QuorixImageReaderSpi provider) {
        super(provider);
        format = provider.format();
    }

    @Override
    public void setInput(Object newInput, boolean newSeekForwardOnly, boolean newIgnoreMetadata) {
        super.setInput(newInput, newSeekForwardOnly, newIgnoreMetadata);
        release();
        stream = (ImageInputStream) newInput;
        try {
            start = stream != null ? stream.getStreamPosition() : 0;
        } catch (IOException exception) {
            throw new IllegalArgumentException("the stream does not tell its position", exception);
        }
        frames = stream != null ? new FrameDecoder(format.type(), stream, start) : null;
    }

    @Override
    public void dispose() {
        release();
        stream = null;
    }

    private void release() {
        if (headers != null) {
            headers.close();
        }
        if (frames != null) {
            frames.close();
        }
        frames = null;
        headers = null;
        decoded.clear();
        thumbnail = null;
        minIndex = 0;
    }

    private InputHeaders headers() throws IOException {
        if (stream == null) {
            throw new IllegalStateException("there is no input");
        }
        if (headers == null) {
            ImageInput in = new ImageInput(stream, start, ReadWatcher.NONE);
            try {
                headers = InputHeaders.read(format, in);
            } catch (IOException | RuntimeException exception) {
                in.throwFailure();
                throw exception;
            }
        }
        return headers;
    }

    private void checkIndex(int index) throws IOException {
        int images = Math.max(1, headers().frames()); // of none it is decoding that tells why
        if (index < minIndex || index >= images) {
            throw new IndexOutOfBoundsException("there is no image " + index + " to be read");
        }
        minIndex = seekForwardOnly ? index : minIndex;
    }

    /** Asks the headers, or where they do not tell the pixels. */
    private ImageLayout layout(int index) throws IOException {
        checkIndex(index);
        ImageLayout layout = decoded.getOrDefault(index, headers().layout());
        if (layout == null) {
            try (Renderable image = frames.decode(DecodeOptions.DEFAULT.withFrame(index), ReadWatcher.NONE)) {
                layout = ImageLayout.of(image, false);
            }
            decoded.put(index, layout);
        }
        return layout;
    }

    @Override
    public int getNumImages(boolean allowSearch) throws IOException {
        if (allowSearch && seekForwardOnly) {
            throw new IllegalStateException("no search in an input that is read forward only");
        }
        return headers().frames();
    }

    @Override
    public int getWidth(int imageIndex) throws IOException {
        return layout(imageIndex).width();
    }

    @Override
    public int getHeight(int imageIndex) throws IOException {
        return layout(imageIndex).height();
    }

    @Override
    public Iterator<ImageTypeSpecifier> getImageTypes(int imageIndex) throws IOException {
        return layout(imageIndex).imageTypes().iterator();
    }

    @Override
    public ImageTypeSpecifier getRawImageType(int imageIndex) throws IOException {
        return layout(imageIndex).imageTypes().get(0);
    }

    @Override
    public boolean isRandomAccessEasy(int imageIndex) throws IOException {
        checkIndex(imageIndex);
        return !seekForwardOnly;
    }

    /** The data set as {@link DicomMetadataFormat} describes it; null for anything but DICOM. */
    @Override
    public IIOMetadata getStreamMetadata() throws IOException {
        return headers().elements() == null ? null : getImageMetadata(Math.max(0, minIndex));
    }

    /** The standard tree, and for DICOM that of the data set, too. */
    @Override
    public IIOMetadata getImageMetadata(int imageIndex) throws IOException {
        checkIndex(imageIndex);
        return ignoreMetadata ? null
                : new ImageMetadata(format.names()[0], layout(imageIndex), imageIndex, headers().elements());
    }

    @Override
    public BufferedImage read(int imageIndex, ImageReadParam param) throws IOException {
        ImageReadParam wanted = param != null ? param : getDefaultReadParam();
        ImageLayout layout = begin(imageIndex);
        try (Decoded image = decode(imageIndex, layout, wanted, halvingsOf(layout, wanted))) {
            BufferedImage picture = pictureOf(image.renderable());
            BufferedImage result = isPlain(wanted) ? picture : picked(image, picture, wanted);
            end();
            return result;
        } catch (AbortedException aborted) {
            processReadAborted();
            return getDestination(wanted, layout.imageTypes().iterator(), layout.width(), layout.height());
        }
    }

    @Override
    public boolean canReadRaster() {
        return true;
    }

    /**
     * The destination, its type and its bands do not count; its offset is that of the raster. Subsampling leaves out
     * pixels, whatever the codec: all values are stored ones.
     */
    @Override
    public Raster readRaster(int imageIndex, ImageReadParam param) throws IOException {
        ImageReadParam wanted = param != null ? param : getDefaultReadParam();
        ImageLayout layout = begin(imageIndex);
        try (Decoded image = decode(imageIndex, layout, wanted, 0)) {
            WritableRaster result = placed(pickedRaster(image, wanted), wanted);
            end();
            return result;
        } catch (AbortedException aborted) {
            processReadAborted();
            Rectangle size = targetOf(getSourceRegion(wanted, layout.width(), layout.height()), wanted);
            return placed(layout.imageTypes().get(0).getSampleModel(size.width, size.height), wanted);
        }
    }

    private ImageLayout begin(int index) throws IOException {
        ImageLayout layout = layout(index);
        clearAbortRequest();
        processImageStarted(index);
        return layout;
    }

    /** An abort that came with the last rows is one; nobody is told of both. */
    private void end() throws AbortedException {
        if (abortRequested()) {
            throw new AbortedException();
        }
        processImageProgress(100);
        processImageComplete();
    }

    /** A decoded frame, or a part of it, with the layout of all of it at full size, and how often it was halved. */
    private record Decoded(Renderable renderable, ImageLayout layout, Point origin, int halvings)
            implements AutoCloseable {
        @Override
        public void close() {
            renderable.close();
        }
    }

    /** How often the codec may halve what is to be subsampled. */
    private static int halvingsOf(ImageLayout layout, ImageReadParam param) {
        int factors = param.getSourceXSubsampling() | param.getSourceYSubsampling();
        return layout.reducible() ? Integer.numberOfTrailingZeros(factors) : 0;
    }

    /** Decodes what is wanted and, where the codec can do without it, nothing else. */
    private Decoded decode(int index, ImageLayout layout, ImageReadParam param, int halvings) throws IOException {
        Rectangle whole = new Rectangle(layout.width(), layout.height());
        Rectangle region = getSourceRegion(param, layout.width(), layout.height());
        DecodeOptions options = DecodeOptions.DEFAULT.withFrame(index).withScaleFactor(1 + halvings)
                .withWarningListener(warning -> processWarningOccurred(warning.text()));
        if (!region.equals(whole)) {
            Renderable part = decodePart(options.withRegion(region.x, region.y, region.width, region.height));
            if (part != null) {
                return new Decoded(part, layout, region.getLocation(), Math.max(0, part.getScaleFactor() - 1));
            }
        }
        Renderable image = frames.decode(options, new Progress());
        if (image.getScaleFactor() > 1 && hasWhiteOfItsOwn(image)) {
            image.close();
            image = frames.decode(options.withScaleFactor(1), new Progress());
        }
        int done = Math.max(0, image.getScaleFactor() - 1);
        if (done == 0) {
            decoded.put(index, ImageLayout.of(image, layout.reducible()));
        }
        return new Decoded(image, decoded.getOrDefault(index, layout), new Point(), done);
    }

    /** Null where all of the frame has to be decoded: the headers may also have promised more of it than there is. */
    private Renderable decodePart(DecodeOptions options) throws IOException {
        Renderable part;
        try {
            part = frames.decode(options, new Progress());
        } catch (IIOException failure) {
            if (failure.getCause() instanceof DecompressionException cause && cause.getCode() == OUTSIDE) {
                return null;
            }
            throw failure;
        }
        if (hasWhiteOfItsOwn(part)) {
            part.close();
            return null;
        }
        return part;
    }

    /** Where samples are deeper than the data set says, what is white depends on all of them. */
    private static boolean hasWhiteOfItsOwn(Renderable image) {
        return image.getBitsAllocated() == 16 && image.getBitsStored() <= 8;
    }

    private static BufferedImage pictureOf(Renderable image) throws IIOException {
        try {
            return image.toBufferedImage();
        } catch (UnsupportedOperationException refusal) {
            throw new IIOException(refusal.getMessage(), refusal);
        }
    }

    private static boolean isWhole(ImageReadParam param) {
        return param.getSourceRegion() == null && param.getSourceXSubsampling() == 1
                && param.getSourceYSubsampling() == 1;
    }

    private static boolean isPlain(ImageReadParam param) {
        return isWhole(param) && param.getDestination() == null && param.getDestinationType() == null
                && param.getDestinationOffset().equals(new Point()) && param.getSourceBands() == null
                && param.getDestinationBands() == null;
    }

    private BufferedImage picked(Decoded image, BufferedImage picture, ImageReadParam param) throws IIOException {
        int width = image.layout().width();
        int height = image.layout().height();
        BufferedImage target =
                getDestination(param, ImageLayout.imageTypes(picture.getType()).iterator(), width, height);
        int type = target.getSampleModel().getDataType();
        if (target.getColorModel() instanceof IndexColorModel || type == DataBuffer.TYPE_FLOAT
                || type == DataBuffer.TYPE_DOUBLE) {
            throw new IIOException("a destination with a palette or of fractions takes no such picture");
        }
        checkReadParamBandSettings(param, picture.getRaster().getNumBands(), target.getRaster().getNumBands());
        Rectangle region = new Rectangle();
        Rectangle part = new Rectangle();
        computeRegions(param, width, height, target, region, part);
        new PixelPicker(picture.getRaster(), image.origin(), image.halvings(), region, param)
                .ofBands(param.getSourceBands(), param.getDestinationBands())
                .stretching().copyTo(target.getRaster(), part, this::abortRequested);
        return target;
    }

    private WritableRaster pickedRaster(Decoded image, ImageReadParam param) throws IIOException {
        WritableRaster raster;
        try {
            raster = image.renderable().toRaster();
        } catch (UnsupportedOperationException refusal) {
            throw new IIOException(refusal.getMessage(), refusal);
        }
        if (isWhole(param)) {
            return raster;
        }
        Rectangle region = getSourceRegion(param, image.layout().width(), image.layout().height());
        Rectangle part = targetOf(region, param);
        WritableRaster target = raster.createCompatibleWritableRaster(part.width, part.height);
        new PixelPicker(raster, image.origin(), image.halvings(), region, param)
                .copyTo(target, part, this::abortRequested);
        return target;
    }

    private static Rectangle targetOf(Rectangle region, ImageReadParam param) {
        int stepX = param.getSourceXSubsampling();
        int stepY = param.getSourceYSubsampling();
        return new Rectangle((region.width + stepX - 1) / stepX, (region.height + stepY - 1) / stepY);
    }

    private static WritableRaster placed(SampleModel model, ImageReadParam param) {
        return placed(Raster.createWritableRaster(model, null), param);
    }

    /** The bands that are wanted, at the place where they are wanted. */
    private static WritableRaster placed(WritableRaster raster, ImageReadParam param) {
        int[] bands = param.getSourceBands();
        if (bands != null && Arrays.stream(bands).anyMatch(band -> band >= raster.getNumBands())) {
            throw new IllegalArgumentException("the image has no more than " + raster.getNumBands() + " bands");
        }
        Point place = param.getDestinationOffset();
        return raster.createWritableChild(0, 0, raster.getWidth(), raster.getHeight(), place.x, place.y, bands);
    }

    /** Those of JPEG 2000: its lower resolutions. */
    @Override
    public boolean readerSupportsThumbnails() {
        return format == InputFormat.DICOM || format == InputFormat.JPEG2000;
    }

    /** One where there is a lower resolution and the image is not small itself. */
    @Override
    public int getNumThumbnails(int imageIndex) throws IOException {
        return thumbnailOf(imageIndex).picture() != null ? 1 : 0;
    }

    @Override
    public int getThumbnailWidth(int imageIndex, int thumbnailIndex) throws IOException {
        return existing(imageIndex, thumbnailIndex).getWidth();
    }

    @Override
    public int getThumbnailHeight(int imageIndex, int thumbnailIndex) throws IOException {
        return existing(imageIndex, thumbnailIndex).getHeight();
    }

    @Override
    public BufferedImage readThumbnail(int imageIndex, int thumbnailIndex) throws IOException {
        BufferedImage picture = existing(imageIndex, thumbnailIndex);
        thumbnail = null; // it is the caller's now
        clearAbortRequest();
        processThumbnailStarted(imageIndex, thumbnailIndex);
        if (abortRequested()) {
            processReadAborted();
            return picture;
        }
        processThumbnailProgress(100);
        processThumbnailComplete();
        return picture;
    }

    private BufferedImage existing(int imageIndex, int thumbnailIndex) throws IOException {
        BufferedImage picture = thumbnailOf(imageIndex).picture();
        if (thumbnailIndex != 0 || picture == null) {
            throw new IndexOutOfBoundsException("image " + imageIndex + " has no thumbnail " + thumbnailIndex);
        }
        return picture;
    }

    private Thumbnail thumbnailOf(int index) throws IOException {
        ImageLayout layout = layout(index);
        if (thumbnail == null || thumbnail.index() != index) {
            thumbnail = new Thumbnail(index, layout.reducible() ? makeThumbnail(index, layout) : null);
        }
        return thumbnail;
    }

    private BufferedImage makeThumbnail(int index, ImageLayout layout) throws IOException {
        int longest = Math.max(layout.width(), layout.height());
        int halvings = 0;
        while ((longest - 1 >> halvings) + 1 > THUMBNAIL_SIZE) {
            halvings++;
        }
        if (halvings == 0) {
            return null;
        }
        DecodeOptions options = DecodeOptions.DEFAULT.withFrame(index).withScaleFactor(1 + halvings);
        try (Renderable image = frames.decode(options, ReadWatcher.NONE)) {
            return image.getScaleFactor() > 1 ? pictureOf(image) : null;
        }
    }

    /** Tells how much of the compressed bytes was read, and ends the decoding when that is asked for. */
    private final class Progress implements ReadWatcher {
        private final long expected;
        private int told;

        Progress() throws IOException {
            expected = (stream.length() - start) / Math.max(1, headers.frames());
        }

        @Override
        public void beforeRead(long bytesRead) throws IOException {
            if (abortRequested()) {
                throw new AbortedException();
            }
            int percent = expected > 0 ? (int) Math.min(99, 100 * bytesRead / expected) : 0;
            if (percent > told) {
                told = percent;
                processImageProgress(percent);
            }
        }
    }

    /** Ends a decoding that is not wanted any more. */
    private static final class AbortedException extends IOException {
        private static final long serialVersionUID = 1L;

        AbortedException() {
            super("reading was aborted");
        }
    }
}
