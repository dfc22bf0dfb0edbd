// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/**
 * One native image, shared by the {@link Renderable} that shows it and the buffers over its pixels. It is
 * freed when the last of them has let go. Thread-safe.
 */
final class NativeImage {
    private final long handle;
    private final boolean owned;
    private int shares = 1;

    /** Starts with one share, the caller's. An image that is not owned is never freed here. */
    NativeImage(long handle, boolean owned) {
        this.handle = handle;
        this.owned = owned;
    }

    /** The native address; valid for as long as the caller holds a share. */
    long handle() {
        return handle;
    }

    boolean isOwned() {
        return owned;
    }

    synchronized boolean isShared() {
        return shares > 1;
    }

    synchronized void retain() {
        shares++;
    }

    /** Gives one share back; each share is to be given back once. */
    void release() {
        if (giveBack() && owned && handle != 0) {
            Renderable.delete(handle);
        }
    }

    private synchronized boolean giveBack() {
        return --shares == 0;
    }
}
