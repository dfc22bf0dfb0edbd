// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.dicom.DICOMDataObject;
import java.util.Objects;

/**
 * How {@link Decompressor} is to decode. Immutable: every {@code with...} method returns new options, so
 * that one object may serve any number of calls and threads. A data set in it serves one call at a time.
 */
public final class DecodeOptions {
    /** Type found out, first frame, full size, no data set; read by meaning. */
    public static final DecodeOptions DEFAULT =
            new DecodeOptions(ImageType.AUTOMATIC, 0, 1, true, null, false, null);

    private final ImageType type;
    private final int frame;
    private final int scaleFactor;
    private final boolean lossless;
    private final DICOMDataObject dataSet;
    private final boolean byContract;
    private final WarningListener warningListener;

    private DecodeOptions(ImageType type, int frame, int scaleFactor, boolean lossless,
            DICOMDataObject dataSet, boolean byContract, WarningListener warningListener) {
        this.type = Objects.requireNonNull(type, "type");
        this.frame = frame;
        this.scaleFactor = scaleFactor;
        this.lossless = lossless;
        this.dataSet = dataSet;
        this.byContract = byContract;
        this.warningListener = warningListener;
    }

    /**
     * Sets the kind of input.
     *
     * @param newType the kind of input
     * @return options with that
     */
    public DecodeOptions withType(ImageType newType) {
        return new DecodeOptions(newType, frame, scaleFactor, lossless, dataSet, byContract, warningListener);
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
        return new DecodeOptions(type, newFrame, scaleFactor, lossless, dataSet, byContract, warningListener);
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
        return new DecodeOptions(type, frame, newScaleFactor, lossless, dataSet, byContract, warningListener);
    }

    /**
     * Sets whether {@link ImageType#JPEG2000_LOSSLESS} data in a queue is decoded as such; true unless set.
     *
     * @param newLossless whether it is
     * @return options with that
     */
    public DecodeOptions withLossless(boolean newLossless) {
        return new DecodeOptions(type, frame, scaleFactor, newLossless, dataSet, byContract, warningListener);
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
        return new DecodeOptions(type, frame, scaleFactor, lossless, newDataSet, byContract, warningListener);
    }

    /**
     * Sets how files are taken whose words and whose meaning part: by contract, step by step as
     * {@link NDecompressor} does, or, as it is unless set, by what whoever wrote the file must have meant.
     *
     * @param newByContract whether by contract
     * @return options with that
     */
    public DecodeOptions withByContract(boolean newByContract) {
        return new DecodeOptions(type, frame, scaleFactor, lossless, dataSet, newByContract, warningListener);
    }

    /**
     * Sets who hears what is in doubt about images, in either reading. The images have it, too.
     *
     * @param newWarningListener called on the decoding thread, in order, before the image is handed out; or null
     * @return options with that
     */
    public DecodeOptions withWarningListener(WarningListener newWarningListener) {
        return new DecodeOptions(type, frame, scaleFactor, lossless, dataSet, byContract, newWarningListener);
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
}
