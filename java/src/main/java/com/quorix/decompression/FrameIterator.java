// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.Deque;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.Spliterator;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.Executor;
import java.util.concurrent.FutureTask;
import java.util.concurrent.RejectedExecutionException;
import java.util.function.Consumer;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;

/**
 * The frames of an image in their order, see {@link Decompressor#frames(java.nio.file.Path, DecodeOptions)}. Each is
 * decoded when it is taken, or before by the executor of the options.
 *
 * <p>Frames belong to whoever takes them, who closes them. A frame that cannot be decoded ends the iteration with an
 * {@link UncheckedIOException} whose cause is the {@link DecompressionException}. Close an iterator that is not used
 * to its end: decoding then stops, frames that nobody has taken are closed, and when {@link #close} returns nobody
 * reads the source any more.
 *
 * <p>With an executor as many frames as the options say are in the making or wait to be taken; never more. Frames that
 * the executor has not begun when they are wanted are decoded by the thread that wants them: neither an executor that
 * is busy, refuses work or was shut down stops the iteration, nor taking frames on one of its threads. Streams and
 * channels of the caller's are read by one thread alone, which takes the frames; files, arrays and buffers by several.
 *
 * <p>What the options' listener for warnings is told of a frame it hears on the thread that takes it, before that has
 * it; their data set has the attributes of the image from the start. For one thread at a time, but that any thread may
 * close.
 */
public final class FrameIterator implements Iterator<Renderable>, AutoCloseable {
    private static final int NO_SUCH_FRAME = 6;
    private static final int READ_ERROR = 67;

    private final Source source;
    private final DecodeOptions options;
    private final WarningListener listener;
    private final Executor executor;
    private final int framesInFlight;
    private final Object identity;
    private final int end;

    private final Deque<FutureTask<Frame>> inFlight = new ArrayDeque<>();
    private final Deque<FrameCursor> idle = new ArrayDeque<>();
    /** What is in doubt about all of the image, for its first frame. */
    private final List<DecodeWarning> warnings = new ArrayList<>();
    private int taken;
    private int begun;
    private volatile boolean closed;

    /** A frame, or why there is none; neither where it was not wanted any more. */
    private record Frame(int index, Renderable image, Throwable failure, List<DecodeWarning> warnings) {
    }

    /** Opens a source, and closes it if that fails. */
    FrameIterator(Source source, ImageType type, DecodeOptions options) throws IOException {
        this.source = source;
        this.listener = options.getWarningListener();
        this.options = options.withType(type).withWarningListener(null).withDataSet(null);
        boolean isAlone = options.getExecutor() == null || source.again() == null;
        executor = isAlone ? null : options.getExecutor();
        framesInFlight = isAlone ? 1 : options.getFramesInFlight();
        identity = isAlone ? null : source.identity();
        FrameCursor first = openFirst(options.withType(type));
        idle.add(first);
        end = first.count();
        taken = options.getFrame();
        begun = taken;
        if (taken >= end) {
            close();
            throw new DecompressionException(NO_SUCH_FRAME, 0, "no frame " + taken + ": there are " + end);
        }
    }

    private FrameCursor openFirst(DecodeOptions theirs) throws IOException {
        try {
            FrameCursor cursor = new FrameCursor(source, theirs.withWarningListener(warnings::add));
            requireSameFile(cursor);
            return cursor;
        } catch (DecompressionException failure) {
            tell(warnings);
            throw failure;
        }
    }

    /** {@return whether there is another frame; false once closed} */
    @Override
    public boolean hasNext() {
        return !closed && taken < end;
    }

    /**
     * Returns the next frame.
     *
     * @return the frame; the caller closes it
     * @throws UncheckedIOException if it cannot be decoded; its cause is a {@link DecompressionException}
     * @throws NoSuchElementException after the last frame, and once closed
     */
    @Override
    public Renderable next() {
        FutureTask<Frame> head;
        synchronized (inFlight) {
            if (!hasNext()) {
                throw new NoSuchElementException(closed ? "the frames are closed" : "there are no more frames");
            }
            beginFrames();
            head = inFlight.element();
        }
        head.run(); // unless somebody else does
        Frame frame = outcomeOf(head);
        synchronized (inFlight) {
            if (closed) {
                discard(frame);
                throw new NoSuchElementException("the frames are closed");
            }
            inFlight.remove();
            taken++;
            beginFrames();
        }
        return handOut(frame);
    }

    /**
     * Returns the frames that are left as a stream, in order and decoded as they are here. A stream that is made
     * parallel decodes no more at a time. Closing the stream closes this iterator.
     *
     * @return the stream; whoever takes a frame closes it
     */
    public Stream<Renderable> stream() {
        return StreamSupport.stream(new Frames(), false).onClose(this::close);
    }

    /** Stops decoding and frees what nobody has taken. A second close does nothing. */
    @Override
    public void close() {
        List<FutureTask<Frame>> left;
        synchronized (inFlight) {
            closed = true;
            left = List.copyOf(inFlight);
            inFlight.clear();
        }
        left.forEach(FutureTask::run);
        left.forEach(task -> discard(outcomeOf(task)));
        synchronized (idle) {
            idle.forEach(FrameCursor::close);
            idle.clear();
        }
    }

    /** As many as may be. */
    private void beginFrames() {
        while (inFlight.size() < framesInFlight && begun < end) {
            int index = begun++;
            FutureTask<Frame> task = new FutureTask<>(() -> decode(index));
            inFlight.add(task);
            submit(task);
        }
    }

    private void submit(FutureTask<Frame> task) {
        try {
            if (executor != null) {
                executor.execute(task);
            }
        } catch (RejectedExecutionException | OutOfMemoryError refused) {
            // There may be no more threads to be had. Whoever wants the frame will decode it.
        }
    }

    private Frame decode(int index) {
        List<DecodeWarning> noticed = new ArrayList<>();
        try {
            Renderable image = closed ? null : load(index, options.withWarningListener(noticed::add));
            return new Frame(index, image, null, noticed);
        } catch (IOException | RuntimeException | Error failure) {
            return new Frame(index, null, failure, noticed);
        }
    }

    private Renderable load(int index, DecodeOptions theirs) throws IOException {
        FrameCursor cursor = borrow(index);
        try {
            return cursor.load(index, theirs);
        } finally {
            giveBack(cursor);
        }
    }

    /**
     * The cursor that is nearest to a frame, or a new one where all others are in use or have gone too far. Each of
     * those has to do with another frame in flight, so that there are never more than that.
     */
    private FrameCursor borrow(int index) throws IOException {
        synchronized (idle) {
            FrameCursor nearest = idle.stream().filter(cursor -> cursor.next() <= index)
                    .max(Comparator.comparingInt(FrameCursor::next)).orElse(null);
            if (nearest != null) {
                idle.remove(nearest);
                return nearest;
            }
        }
        FrameCursor another = new FrameCursor(source.again(), options);
        requireSameFile(another);
        return another;
    }

    private void giveBack(FrameCursor cursor) {
        synchronized (idle) {
            if (closed) {
                cursor.close();
            } else {
                idle.add(cursor);
            }
        }
    }

    /** Frames of two files must not be mixed when one takes the other's name. */
    private void requireSameFile(FrameCursor cursor) throws IOException {
        try {
            if (identity != null && !identity.equals(source.identity())) {
                throw new DecompressionException(READ_ERROR, 0, source.path() + " was replaced by another file");
            }
        } catch (IOException failure) {
            cursor.close();
            throw failure;
        }
    }

    private Renderable handOut(Frame frame) {
        warnings.addAll(frame.warnings);
        try {
            tell(warnings);
            requireImage(frame);
        } catch (Throwable thrown) {
            discard(frame);
            close();
            throw thrown;
        }
        frame.image.setSource(frame.index, warnings);
        warnings.clear();
        if (taken == end) {
            close();
        }
        return frame.image;
    }

    private void tell(List<DecodeWarning> noticed) {
        if (listener != null) {
            noticed.forEach(listener::warningNoticed);
        }
    }

    private static void requireImage(Frame frame) {
        if (frame.failure instanceof DecompressionException failure) {
            throw new UncheckedIOException(failure);
        } else if (frame.failure instanceof IOException failure) {
            throw new UncheckedIOException(new DecompressionException(READ_ERROR, 0, failure.toString()));
        } else if (frame.failure instanceof Error error) {
            throw error;
        } else if (frame.failure != null) {
            throw (RuntimeException) frame.failure;
        }
    }

    private static void discard(Frame frame) {
        if (frame.image != null) {
            frame.image.close();
        }
    }

    /** Waits; a decoding has its end, and this thread stays interrupted if it is. */
    private static Frame outcomeOf(FutureTask<Frame> task) {
        boolean wasInterrupted = false;
        try {
            while (true) {
                try {
                    return task.get();
                } catch (InterruptedException exception) {
                    wasInterrupted = true;
                } catch (ExecutionException exception) {
                    throw new IllegalStateException(exception.getCause());
                }
            }
        } finally {
            if (wasInterrupted) {
                Thread.currentThread().interrupt();
            }
        }
    }

    /** One after another, never divided: a part that somebody else takes would have to be kept decoded. */
    private final class Frames implements Spliterator<Renderable> {
        @Override
        public boolean tryAdvance(Consumer<? super Renderable> action) {
            if (!hasNext()) {
                return false;
            }
            action.accept(next());
            return true;
        }

        @Override
        public Spliterator<Renderable> trySplit() {
            return null;
        }

        @Override
        public long estimateSize() {
            return Math.max(0, end - taken);
        }

        @Override
        public int characteristics() {
            return ORDERED | NONNULL;
        }
    }
}
