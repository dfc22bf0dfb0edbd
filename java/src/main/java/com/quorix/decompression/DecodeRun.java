// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.util.InputBufferQueue;
import com.quorix.util.NativeLibrary;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.List;
import java.util.function.LongFunction;

/**
 * One decoding by {@link Decompressor}: what {@link NDecompressor} does, in the reading that the options say,
 * and the warnings of it. The native library knows its native methods and {@link #addWarning}. For one use.
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

    /** A type that is {@link ImageType#AUTOMATIC} the library finds out. */
    Renderable decode(Source source, ImageType type) throws DecompressionException {
        return required(run(dataSet -> decodeSource(source.kind(), source.object(), source.offset(), source.length(),
                dataSet, type.code(), options.getFrame(), options.getScaleFactor(), options.regionNumbers(),
                options.isByContract())), options.getFrame());
    }

    Renderable decode(InputBufferQueue queue, ImageType type) throws DecompressionException {
        return required(run(dataSet -> decodeQueue(queue, dataSet, type.code(), options.isLossless(),
                options.getScaleFactor(), options.regionNumbers(), options.isByContract())), 0);
    }

    void decodeFrames(Source source) throws DecompressionException {
        boolean succeeded = run(dataSet -> decodeFrames(source.kind(), source.object(), source.offset(),
                source.length(), dataSet, options.getFrame(), options.getScaleFactor(), options.regionNumbers(),
                options.isByContract()));
        tell();
        if (!succeeded) {
            throw failure();
        }
    }

    @Override
    public boolean renderableAvailable(int frameIndex, Renderable renderable) {
        return frames.frameAvailable(frameIndex, warned(renderable, frameIndex));
    }

    /** A handle for the methods below, which {@link #closeFrames} frees. */
    long openFrames(Source source) throws DecompressionException {
        long cursor = run(dataSet -> openFrames(source.kind(), source.object(), source.offset(), source.length(),
                dataSet, options.getType().code(), options.getScaleFactor(), options.regionNumbers(),
                options.isByContract()));
        tell();
        if (cursor == 0) {
            throw failure();
        }
        return cursor;
    }

    /** Frames are asked for in ascending order. */
    Renderable loadFrame(long cursor, int index) throws DecompressionException {
        return required(loadFrame(cursor, index, options.isByContract()), index);
    }

    /** The native library brings the warnings of an image before the image, and those of none at the end. */
    private void addWarning(String identifier, String text, int frame) {
        warnings.add(new DecodeWarning(identifier, text, frame));
    }

    /** The image with its warnings, of which the listener has heard; if that throws, the image is closed. */
    private Renderable warned(Renderable image, int index) {
        image.setSource(index, warnings);
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

    /**
     * Calls with the data set of the options, 0 for none. The exception of a queue or listener goes before one that
     * the listener for warnings has for it.
     */
    private <T> T run(LongFunction<T> call) {
        try {
            DICOMDataObject dataSet = options.getDataSet();
            return dataSet != null ? dataSet.withHandle(call) : call.apply(0);
        } catch (Throwable thrown) {
            try {
                tell();
            } catch (RuntimeException | Error another) {
                thrown.addSuppressed(another);
            }
            throw thrown;
        }
    }

    /** The image at an address, with its warnings; 0 is none. */
    private Renderable required(long address, int index) throws DecompressionException {
        if (address == 0) {
            tell();
            throw failure();
        }
        return warned(own(address), index);
    }

    private static Renderable own(long address) {
        try {
            return new Renderable(address, true);
        } catch (OutOfMemoryError error) {
            Renderable.delete(address);
            throw error;
        }
    }

    private DecompressionException failure() {
        return new DecompressionException(DLResultCode, SystemError, Message);
    }

    private native long decodeSource(int kind, Object source, int offset, int length, long dicomDataObject,
            int imageType, int frameIndex, int scaleFactor, int[] region, boolean byContract);

    private native long decodeQueue(InputBufferQueue queue, long dicomDataObject, int imageType,
            boolean lossless, int scaleFactor, int[] region, boolean byContract);

    private native boolean decodeFrames(int kind, Object source, int offset, int length, long dicomDataObject,
            int firstFrame, int scaleFactor, int[] region, boolean byContract);

    /** The code of the type that a stream's first bytes tell; whatever is no bare codestream is taken for DICOM. */
    static native int findType(byte[] start, int count);

    /** Whether a direct buffer lies over a file, or may do so. */
    static native boolean isMapped(ByteBuffer direct);

    private native long openFrames(int kind, Object source, int offset, int length, long dicomDataObject, int imageType,
            int scaleFactor, int[] region, boolean byContract);

    private native long loadFrame(long cursor, int index, boolean byContract);

    static native int countFrames(long cursor);

    /** Closes the source, too. */
    static native void closeFrames(long cursor);
}
