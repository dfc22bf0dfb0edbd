// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Objects;

/**
 * A bounded queue between a producer of compressed data (a download, say) and a decoder that runs at the
 * same time on another thread.
 *
 * <p>The producer calls {@link #obtain}, {@link #put} and at the end {@link #finish}; or {@link #fail} when
 * the data breaks off. The decoder calls {@link #get}, {@link #completed} and, once it takes no more,
 * {@link #setAutoFlush}; from then on the producer may go on as before and what it puts is dropped.
 * {@link #interrupt} ends the decoding from any thread. One queue serves one decoding. Thread-safe.
 */
public class InputBufferQueue {
    private static final int DEFAULT_CAPACITY = 8;

    private final int capacity;
    private final Deque<InputBuffer> ready = new ArrayDeque<>();
    private final Deque<ByteArrayInputBuffer> spent = new ArrayDeque<>();
    private boolean finished;
    private IOException failure;
    private boolean interrupted;
    private boolean autoFlush;
    private boolean endSeen;

    /** Creates a queue of 8 buffers. */
    public InputBufferQueue() {
        this(DEFAULT_CAPACITY);
    }

    /**
     * Creates a queue.
     *
     * @param capacity how many buffers may wait for the decoder, at least 1
     */
    public InputBufferQueue(int capacity) {
        if (capacity < 1) {
            throw new IllegalArgumentException("capacity is " + capacity + ", must be at least 1");
        }
        this.capacity = capacity;
    }

    /**
     * Gives the producer a buffer to fill: one that the decoder has done with, or a new one.
     *
     * @param size bytes that the buffer's array must hold at least
     * @return an empty buffer; fill its array and set its number of valid bytes
     */
    public ByteArrayInputBuffer obtain(int size) {
        synchronized (this) {
            ByteArrayInputBuffer buffer = spent.poll();
            if (buffer != null && buffer.getArray().length >= size) {
                buffer.setBytesAvailable(0);
                return buffer;
            }
        }
        return new ByteArrayInputBuffer(new byte[size], 0);
    }

    /**
     * Appends a buffer, waiting while the queue is full.
     *
     * @param buffer the data; it belongs to the queue from now on
     * @return false when the decoder takes no more, so that the producer may as well stop
     * @throws InterruptedException if the waiting thread is interrupted; the buffer was not taken
     * @throws IllegalStateException after {@link #finish} or {@link #fail}
     */
    public synchronized boolean put(InputBuffer buffer) throws InterruptedException {
        Objects.requireNonNull(buffer, "buffer");
        requireOpen();
        while (ready.size() >= capacity && !takesNoMore()) {
            wait();
            requireOpen();
        }
        if (takesNoMore()) {
            keepForReuse(buffer);
            return false;
        }
        ready.add(buffer);
        notifyAll();
        return true;
    }

    /** Tells that all data has been put. Harmless when told before. */
    public synchronized void finish() {
        finished = true;
        notifyAll();
    }

    /**
     * Tells that the data breaks off: the decoder gets what was put before, then this exception.
     *
     * @param cause what went wrong
     */
    public synchronized void fail(IOException cause) {
        Objects.requireNonNull(cause, "cause");
        if (!finished) {
            failure = cause;
            finish();
        }
    }

    /** Ends the decoding: a waiting or later {@link #get} throws {@link InterruptedIOException}. */
    public synchronized void interrupt() {
        interrupted = true;
        notifyAll();
    }

    /**
     * Waits for the next buffer. For the decoder.
     *
     * @return the buffer, or null at the end of the data
     * @throws InterruptedIOException after {@link #interrupt}, or when the waiting thread is interrupted,
     *     which stays so
     * @throws IOException what {@link #fail} was told
     */
    public synchronized InputBuffer get() throws IOException {
        while (ready.isEmpty() && !finished && !interrupted) {
            awaitProducer();
        }
        if (interrupted) {
            throw new InterruptedIOException("interrupted while decoding");
        }
        InputBuffer buffer = ready.poll();
        if (buffer == null && failure != null) {
            throw failure;
        }
        notifyAll();
        return buffer;
    }

    /**
     * Takes a buffer back. For the decoder.
     *
     * @param buffer a buffer that {@link #get} returned, or null once the end has been seen
     */
    public synchronized void completed(InputBuffer buffer) {
        if (buffer == null) {
            endSeen = true;
            notifyAll();
        } else {
            keepForReuse(buffer);
        }
    }

    /**
     * Sets whether buffers are dropped instead of waiting for the decoder. For the decoder, which sets it
     * when it takes no more.
     *
     * @param autoFlush whether waiting and coming buffers are dropped
     */
    public synchronized void setAutoFlush(boolean autoFlush) {
        this.autoFlush = autoFlush;
        if (autoFlush) {
            ready.forEach(this::keepForReuse);
            ready.clear();
        }
        notifyAll();
    }

    /**
     * Returns whether the decoder takes no more: it has seen the end, stopped, or was interrupted.
     *
     * @return whether whatever is put now would be dropped
     */
    public synchronized boolean takesNoMore() {
        return autoFlush || interrupted || endSeen;
    }

    private void awaitProducer() throws InterruptedIOException {
        try {
            wait();
        } catch (InterruptedException exception) {
            Thread.currentThread().interrupt();
            InterruptedIOException outcome = new InterruptedIOException("interrupted while waiting for data");
            outcome.initCause(exception);
            throw outcome;
        }
    }

    private void requireOpen() {
        if (finished) {
            throw new IllegalStateException("the queue was told that there is no more data");
        }
    }

    private void keepForReuse(InputBuffer buffer) {
        if (buffer instanceof ByteArrayInputBuffer && spent.size() < capacity) {
            spent.add((ByteArrayInputBuffer) buffer);
        }
    }
}
