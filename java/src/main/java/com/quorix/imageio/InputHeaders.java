// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.dicom.DICOMElement;
import java.io.EOFException;
import java.io.IOException;
import java.util.List;

/** What an input tells before its pixels. Close it: a data set is in native memory. */
final class InputHeaders implements AutoCloseable {
    private final DICOMDataObject dataSet;
    private final ImageLayout layout;
    private final int frames;
    private List<DICOMElement> elements;

    private InputHeaders(DICOMDataObject dataSet, ImageLayout layout, int frames) {
        this.dataSet = dataSet;
        this.layout = layout != null && layout.isComplete() ? layout : null;
        this.frames = frames;
    }

    /** Headers that make no sense tell nothing here; what is wrong with them decoding says, better. */
    static InputHeaders read(InputFormat format, ImageInput in) throws IOException {
        if (format == InputFormat.DICOM) {
            return readDataSet(in);
        }
        try {
            return new InputHeaders(null, readCodestream(format, new HeaderBytes(in)), 1);
        } catch (EOFException tooShort) {
            return new InputHeaders(null, null, 1);
        }
    }

    private static ImageLayout readCodestream(InputFormat format, HeaderBytes in) throws IOException {
        if (format == InputFormat.JPEG2000) {
            return Jpeg2000Header.read(in);
        }
        JpegFrameHeader frame = JpegFrameHeader.read(in);
        return frame == null ? null : frame.layout();
    }

    private static InputHeaders readDataSet(ImageInput in) throws IOException {
        DICOMDataObject dataSet = new DICOMDataObject();
        try {
            dataSet.loadHeader(in);
        } catch (IOException exception) {
            dataSet.close();
            in.throwFailure();
            return new InputHeaders(null, null, 1);
        }
        boolean hasImage = dataSet.hasElement(Tags.ROWS) || dataSet.hasElement(Tags.BITS_ALLOCATED);
        int frames = Math.max(1, dataSet.getInteger(Tags.NUMBER_OF_FRAMES, 1));
        return new InputHeaders(dataSet, ImageLayout.of(dataSet), hasImage ? frames : 0);
    }

    /** The layout of all frames, or null where decoding has to tell. */
    ImageLayout layout() {
        return layout;
    }

    /** 0 where a data set has no image. */
    int frames() {
        return frames;
    }

    /** The data set's elements, or null without one. */
    List<DICOMElement> elements() {
        if (elements == null && dataSet != null) {
            elements = dataSet.getElements();
        }
        return elements;
    }

    @Override
    public void close() {
        if (dataSet != null) {
            dataSet.close();
        }
    }
}
