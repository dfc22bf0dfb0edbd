// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.dicom.DICOMDataObject;
import java.util.Objects;

/**
 * How {@link Decompressor} is to decode. Immutable: every {@code with...} method returns new options, so
 * that one object may serve any number of calls and threads. A data set in it serves one call at a time.
 */
public final class DecodeOptions {
    /** Type found out, first frame, full size, no data set. */
    public static final DecodeOptions DEFAULT = new DecodeOptions(ImageType.AUTOMATIC, 0, 1, true, null);

    private final ImageType type;
    private final int frame;
    private final int scaleFactor;
    private final boolean lossless;
    private final DICOMDataObject dataSet;

    private DecodeOptions(ImageType type, int frame, int scaleFactor, boolean lossless,
            DICOMDataObject dataSet) {
        this.type = Objects.requireNonNull(type, "type");
        this.frame = frame;
        this.scaleFactor = scaleFactor;
        this.lossless = lossless;
        this.dataSet = dataSet;
    }

    /**
     * Sets the kind of input.
     *
     * @param newType the kind of input
     * @return options with that
     */
    public DecodeOptions withType(ImageType newType) {
        return new DecodeOptions(newType, frame, scaleFactor, lossless, dataSet);
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
        return new DecodeOptions(type, newFrame, scaleFactor, lossless, dataSet);
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
        return new DecodeOptions(type, frame, newScaleFactor, lossless, dataSet);
    }

    /**
     * Sets whether {@link ImageType#JPEG2000_LOSSLESS} data in a queue is decoded as such; true unless set.
     *
     * @param newLossless whether it is
     * @return options with that
     */
    public DecodeOptions withLossless(boolean newLossless) {
        return new DecodeOptions(type, frame, scaleFactor, newLossless, dataSet);
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
        return new DecodeOptions(type, frame, scaleFactor, lossless, newDataSet);
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
}
