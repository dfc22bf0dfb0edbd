// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.io.SeekableInputStream;
import com.quorix.util.InputBufferQueue;
import com.quorix.util.NativeLibrary;
import java.util.ArrayList;
import java.util.List;
import java.util.function.LongFunction;

/**
 * One decoding by {@link Decompressor}: what {@link NDecompressor} does, in the reading that the options say,
 * and the warnings of it. The native library knows its three methods and {@link #addWarning}. For one use.
 */
final class DecodeRun extends DecomprResult {
    static {
        NativeLibrary.load();
    }

    private final DecodeOptions options;
    private final FrameListener frames;
    /** Those that nobody has been told of. */
    private final List<DecodeWarning> warnings = new ArrayList<>();

    /** The listener for frames may be null where none will come. */
    DecodeRun(DecodeOptions options, FrameListener frames) {
        this.options = options;
        this.frames = frames;
    }

    Renderable decode(SeekableInputStream in, ImageType type) throws DecompressionException {
        return required(run(type, dataSet -> decodeStream(in, dataSet, type.code(), options.getFrame(),
                options.getScaleFactor(), options.isByContract())));
    }

    Renderable decode(InputBufferQueue queue, ImageType type) throws DecompressionException {
        return required(run(type, dataSet -> decodeQueue(queue, dataSet, type.code(), options.isLossless(),
                options.getScaleFactor(), options.isByContract())));
    }

    void decodeFrames(SeekableInputStream in) throws DecompressionException {
        boolean succeeded = run(ImageType.DICOM,
                dataSet -> decodeFrames(in, dataSet, options.getFrame(), options.isByContract()));
        tell();
        if (!succeeded) {
            throw failure();
        }
    }

    @Override
    public boolean renderableAvailable(int frameIndex, Renderable renderable) {
        return frames.frameAvailable(frameIndex, warned(renderable));
    }

    /** The native library brings the warnings of an image before the image, and those of none at the end. */
    private void addWarning(String identifier, String text, int frame) {
        warnings.add(new DecodeWarning(identifier, text, frame));
    }

    /** The image with its warnings, of which the listener has heard; if that throws, the image is closed. */
    private Renderable warned(Renderable image) {
        image.setWarnings(warnings);
        try {
            tell();
        } catch (Throwable thrown) {
            image.close();
            throw thrown;
        }
        return image;
    }

    private void tell() {
        List<DecodeWarning> told = List.copyOf(warnings);
        warnings.clear();
        if (options.getWarningListener() != null) {
            told.forEach(options.getWarningListener()::warningNoticed);
        }
    }

    /** The exception of a queue or listener goes before one that the listener for warnings has for it. */
    private <T> T run(ImageType type, LongFunction<T> call) {
        try {
            return withDataSet(type, call);
        } catch (Throwable thrown) {
            try {
                tell();
            } catch (RuntimeException | Error another) {
                thrown.addSuppressed(another);
            }
            throw thrown;
        }
    }

    /** A DICOM stream needs a data set for its attributes; a bare codestream does without. */
    private <T> T withDataSet(ImageType type, LongFunction<T> call) {
        DICOMDataObject given = options.getDataSet();
        if (given != null) {
            return given.withHandle(call);
        }
        if (type != ImageType.DICOM) {
            return call.apply(0);
        }
        try (DICOMDataObject own = new DICOMDataObject()) {
            return own.withHandle(call);
        }
    }

    private Renderable required(Renderable image) throws DecompressionException {
        if (image == null) {
            tell();
            throw failure();
        }
        return warned(image);
    }

    private DecompressionException failure() {
        return new DecompressionException(DLResultCode, SystemError, Message);
    }

    private native Renderable decodeStream(SeekableInputStream in, long dicomDataObject, int imageType,
            int frameIndex, int scaleFactor, boolean byContract);

    private native Renderable decodeQueue(InputBufferQueue queue, long dicomDataObject, int imageType,
            boolean lossless, int scaleFactor, boolean byContract);

    private native boolean decodeFrames(SeekableInputStream in, long dicomDataObject, int firstFrame,
            boolean byContract);
}
