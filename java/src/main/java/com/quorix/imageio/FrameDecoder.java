// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.decompression.DecodeOptions;
import com.quorix.decompression.DecompressionException;
import com.quorix.decompression.Decompressor;
import com.quorix.decompression.FrameIterator;
import com.quorix.decompression.ImageType;
import com.quorix.decompression.Renderable;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.Objects;
import javax.imageio.IIOException;
import javax.imageio.stream.ImageInputStream;

/**
 * Decodes the frames of one input. Frames that are asked for in their order come from an input that stays open: without
 * an offset table each would have to be sought from the first one on.
 */
final class FrameDecoder implements AutoCloseable {
    private final ImageType type;
    private final ImageInputStream stream;
    private final long start;
    /** What was decoded last, or null where that failed. */
    private DecodeOptions last;
    private FrameIterator sequence;
    private ImageInput sequenceInput;

    /** The stream stays the caller's; reading begins at the position that is given. */
    FrameDecoder(ImageType type, ImageInputStream stream, long start) {
        this.type = type;
        this.stream = stream;
        this.start = start;
    }

    /**
     * The frame that the options name. Fails with an {@link IIOException}, or with what the watcher threw. Options
     * without a listener for warnings leave the order of the others alone.
     */
    Renderable decode(DecodeOptions options, ReadWatcher watcher) throws IOException {
        if (options.getWarningListener() == null) {
            ImageInput in = new ImageInput(stream, start, watcher);
            return finish(in, () -> Decompressor.decode(in, options.withType(type)));
        }
        boolean isNext = last != null && follows(last, options);
        if (!isNext) {
            close();
        }
        ImageInput in = sequence != null ? sequenceInput : new ImageInput(stream, start, watcher);
        in.watch(watcher);
        last = null;
        try {
            Renderable image = finish(in, () -> isNext || isPartOfFrame(options) ? next(in, options.withType(type))
                    : Decompressor.decode(in, options.withType(type)));
            last = options;
            return image;
        } finally {
            if (last == null) {
                close();
            }
        }
    }

    private static boolean follows(DecodeOptions before, DecodeOptions now) {
        return now.getFrame() == before.getFrame() + 1 && now.getScaleFactor() == before.getScaleFactor()
                && Objects.equals(now.getRegion(), before.getRegion());
    }

    /** A region of a whole-slide image counts in the whole slide, unless it is asked for frame by frame. */
    private boolean isPartOfFrame(DecodeOptions options) {
        return type == ImageType.DICOM && options.getRegion() != null;
    }

    private Renderable next(ImageInput in, DecodeOptions options) throws IOException {
        if (sequence == null) {
            sequence = Decompressor.frames(in, options);
            sequenceInput = in;
        }
        return sequence.next();
    }

    private interface Decoding {
        Renderable run() throws IOException;
    }

    private static Renderable finish(ImageInput in, Decoding decoding) throws IOException {
        Renderable image = null;
        IOException failure = null;
        try {
            image = decoding.run();
        } catch (DecompressionException exception) {
            failure = new IIOException(exception.getMessage(), exception);
        } catch (UncheckedIOException exception) {
            failure = new IIOException(exception.getCause().getMessage(), exception.getCause());
        }
        try {
            in.throwFailure();
        } catch (Throwable thrown) {
            if (image != null) { // something was made of what had come until then
                image.close();
            }
            throw thrown;
        }
        if (failure != null) {
            throw failure;
        }
        return image;
    }

    /** Gives back what is kept for the frames that follow; decoding goes on all the same. */
    @Override
    public void close() {
        if (sequence != null) {
            sequence.close();
        }
        sequence = null;
        sequenceInput = null;
    }
}
