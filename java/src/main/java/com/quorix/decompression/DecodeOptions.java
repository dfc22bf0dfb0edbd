// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.dicom.DICOMDataObject;
import java.awt.Rectangle;
import java.util.Objects;
import java.util.concurrent.Executor;
import java.util.function.Consumer;

/**
 * How {@link Decompressor} is to decode. Immutable: every {@code with...} method returns new options, so
 * that one object may serve any number of calls and threads. A data set in it serves one call at a time.
 */
public final class DecodeOptions {
    /** Type found out, first frame, full size, no data set; read by meaning. */
    public static final DecodeOptions DEFAULT = new DecodeOptions(new Draft());

    private final ImageType type;
    private final int frame;
    private final int scaleFactor;
    private final Rectangle region;
    private final boolean lossless;
    private final DICOMDataObject dataSet;
    private final boolean byContract;
    private final WarningListener warningListener;
    private final Executor executor;
    private final int framesInFlight;

    /** What options are made of: all of other ones, and then what is to be different. */
    private static final class Draft {
        private ImageType type = ImageType.AUTOMATIC;
        private int frame;
        private int scaleFactor = 1;
        private Rectangle region;
        private boolean lossless = true;
        private DICOMDataObject dataSet;
        private boolean byContract;
        private WarningListener warningListener;
        private Executor executor;
        private int framesInFlight = 1;
    }

    private DecodeOptions(Draft draft) {
        type = Objects.requireNonNull(draft.type, "type");
        frame = draft.frame;
        scaleFactor = draft.scaleFactor;
        region = draft.region;
        lossless = draft.lossless;
        dataSet = draft.dataSet;
        byContract = draft.byContract;
        warningListener = draft.warningListener;
        executor = draft.executor;
        framesInFlight = draft.framesInFlight;
    }

    private DecodeOptions with(Consumer<Draft> change) {
        Draft draft = new Draft();
        draft.type = type;
        draft.frame = frame;
        draft.scaleFactor = scaleFactor;
        draft.region = region;
        draft.lossless = lossless;
        draft.dataSet = dataSet;
        draft.byContract = byContract;
        draft.warningListener = warningListener;
        draft.executor = executor;
        draft.framesInFlight = framesInFlight;
        change.accept(draft);
        return new DecodeOptions(draft);
    }

    /**
     * Sets the kind of input.
     *
     * @param newType the kind of input
     * @return options with that
     */
    public DecodeOptions withType(ImageType newType) {
        return with(draft -> draft.type = newType);
    }

    /**
     * Sets the frame of a DICOM stream: the one to decode, or the first one for
     * {@link Decompressor#decodeFrames}.
     *
     * @param newFrame the frame's index, from 0
     * @return options with that
     */
    public DecodeOptions withFrame(int newFrame) {
        if (newFrame < 0) {
            throw new IllegalArgumentException("frame is " + newFrame + ", must be at least 0");
        }
        return with(draft -> draft.frame = newFrame);
    }

    /**
     * Sets the resolution, where the codec can reduce it.
     *
     * @param newScaleFactor 1 for full size; each step more halves width and height
     * @return options with that
     */
    public DecodeOptions withScaleFactor(int newScaleFactor) {
        if (newScaleFactor < 1) {
            throw new IllegalArgumentException("scale factor is " + newScaleFactor + ", must be at least 1");
        }
        return with(draft -> draft.scaleFactor = newScaleFactor);
    }

    /**
     * Sets a window of interest: the image then has the pixels inside it and no others, and less is decoded. A window
     * that reaches out of the image ends the decoding with result code 6.
     *
     * <p>Of a whole-slide image {@code Decompressor.decode} counts in the total pixel matrix and puts together what its
     * tiles show; the frame is then any one of the focal plane and optical path that are wanted, and
     * {@link Renderable#getScaleFactor} says which scale factor the tiles allowed. Frames that are taken one by one
     * have the window cut out of each.
     *
     * @param x first column, in pixels of the image at full size, whatever the scale factor
     * @param y first row, likewise
     * @param width number of columns, likewise
     * @param height number of rows, likewise
     * @return options with that
     */
    public DecodeOptions withRegion(int x, int y, int width, int height) {
        if (x < 0 || y < 0 || width < 1 || height < 1) {
            throw new IllegalArgumentException("there is no region of " + width + "x" + height + " at " + x + ", " + y);
        }
        return with(draft -> draft.region = new Rectangle(x, y, width, height));
    }

    /**
     * Sets whether {@link ImageType#JPEG2000_LOSSLESS} data in a queue is decoded as such; true unless set.
     *
     * @param newLossless whether it is
     * @return options with that
     */
    public DecodeOptions withLossless(boolean newLossless) {
        return with(draft -> draft.lossless = newLossless);
    }

    /**
     * Sets the data set that describes a bare codestream, or receives the attributes of a DICOM stream. One data
     * set is for one image, whatever number of times and frames are decoded of it: it remembers what the image was
     * before decoding. A DICOM stream whose SOP Instance UID is another than the data set's puts an end to that; a
     * bare codestream, which has none, cannot.
     *
     * @param newDataSet the data set, which stays the caller's; or null
     * @return options with that
     */
    public DecodeOptions withDataSet(DICOMDataObject newDataSet) {
        return with(draft -> draft.dataSet = newDataSet);
    }

    /**
     * Sets how files are taken whose words and whose meaning part: by contract, step by step as
     * {@link NDecompressor} does, or, as it is unless set, by what whoever wrote the file must have meant.
     *
     * @param newByContract whether by contract
     * @return options with that
     */
    public DecodeOptions withByContract(boolean newByContract) {
        return with(draft -> draft.byContract = newByContract);
    }

    /**
     * Sets who hears what is in doubt about images, in either reading. The images have it, too.
     *
     * @param newWarningListener called on the decoding thread, in order, before the image is handed out; or null
     * @return options with that
     */
    public DecodeOptions withWarningListener(WarningListener newWarningListener) {
        return with(draft -> draft.warningListener = newWarningListener);
    }

    /**
     * Sets who decodes frames for {@link FrameIterator}, several at once; without an executor the thread that takes
     * them does, one after another. The executor may be one that takes frames itself.
     *
     * @param newExecutor decodes frames ahead; or null
     * @param newFramesInFlight how many frames may be in the making or wait to be taken, at least 1
     * @return options with that
     */
    public DecodeOptions withExecutor(Executor newExecutor, int newFramesInFlight) {
        if (newFramesInFlight < 1) {
            throw new IllegalArgumentException("frames in flight are " + newFramesInFlight + ", must be at least 1");
        }
        return with(draft -> {
            draft.executor = newExecutor;
            draft.framesInFlight = newFramesInFlight;
        });
    }

    /** {@return the kind of input} */
    public ImageType getType() {
        return type;
    }

    /** {@return the frame's index, from 0} */
    public int getFrame() {
        return frame;
    }

    /** {@return the resolution: 1 for full size, each step more halves width and height} */
    public int getScaleFactor() {
        return scaleFactor;
    }

    /** {@return the window of interest in pixels of the image at full size, a copy; or null for all of the image} */
    public Rectangle getRegion() {
        return region == null ? null : new Rectangle(region);
    }

    /** The same as the native library takes it. */
    int[] regionNumbers() {
        return region == null ? null : new int[] {region.x, region.y, region.width, region.height};
    }

    /** {@return whether lossless JPEG 2000 data in a queue is decoded as such} */
    public boolean isLossless() {
        return lossless;
    }

    /** {@return the data set, or null} */
    public DICOMDataObject getDataSet() {
        return dataSet;
    }

    /** {@return whether files are read by contract} */
    public boolean isByContract() {
        return byContract;
    }

    /** {@return who hears what is in doubt about images, or null} */
    public WarningListener getWarningListener() {
        return warningListener;
    }

    /** {@return who decodes frames ahead, or null} */
    public Executor getExecutor() {
        return executor;
    }

    /** {@return how many frames may be in the making or wait to be taken} */
    public int getFramesInFlight() {
        return framesInFlight;
    }
}
