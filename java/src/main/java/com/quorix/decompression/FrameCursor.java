// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import java.lang.ref.Cleaner;
import java.lang.ref.Reference;

/**
 * The frames of one source, which is opened once, decoded one by one in ascending order. For one thread at a time;
 * freed when it is forgotten.
 */
final class FrameCursor implements AutoCloseable {
    private final long handle;
    private final Cleaner.Cleanable cleanable;
    private int next;

    /** The source stays reachable as long as the native side may read it. */
    private record Closing(long handle, Source source) implements Runnable {
        @Override
        public void run() {
            DecodeRun.closeFrames(handle);
        }
    }

    /** Opens a source, and closes it if that fails. */
    FrameCursor(Source source, DecodeOptions options) throws DecompressionException {
        handle = new DecodeRun(options, null).openFrames(source);
        cleanable = Renderable.CLEANER.register(this, new Closing(handle, source));
    }

    int count() {
        try {
            return DecodeRun.countFrames(handle);
        } finally {
            Reference.reachabilityFence(this);
        }
    }

    /** The least index that may be asked for. */
    int next() {
        return next;
    }

    Renderable load(int index, DecodeOptions options) throws DecompressionException {
        try {
            next = index + 1;
            return new DecodeRun(options, null).loadFrame(handle, index);
        } finally {
            Reference.reachabilityFence(this);
        }
    }

    /** Closes the source, too. A second close does nothing. */
    @Override
    public void close() {
        cleanable.clean();
    }
}
