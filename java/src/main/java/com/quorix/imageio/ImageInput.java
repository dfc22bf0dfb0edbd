// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.io.SeekableInputStream;
import java.io.IOException;
import javax.imageio.IIOException;
import javax.imageio.stream.ImageInputStream;

/**
 * An {@link ImageInputStream} from some position on, as the native library reads it. Closing leaves the stream open.
 * The stream is moved only to read.
 */
final class ImageInput extends SeekableInputStream {
    private final ImageInputStream stream;
    private final long start;
    private ReadWatcher watcher;
    private long position;
    private long bytesRead;
    private Throwable failure;

    ImageInput(ImageInputStream stream, long start, ReadWatcher watcher) {
        this.stream = stream;
        this.start = start;
        this.watcher = watcher;
    }

    /** From now on it is another decoding that reads, from the same start. */
    void watch(ReadWatcher newWatcher) {
        watcher = newWatcher;
        bytesRead = 0;
    }

    /**
     * Throws what the watcher threw, or an {@link IIOException} with what the stream threw, if anything: of either the
     * decoding that was ended by it tells no more than a text.
     */
    void throwFailure() throws IOException {
        if (failure instanceof Error error) {
            throw error;
        }
        if (failure instanceof RuntimeException exception) {
            throw exception;
        }
        if (failure != null) {
            throw (IOException) failure;
        }
    }

    private void tellWatcher() throws IOException {
        try {
            watcher.beforeRead(bytesRead);
        } catch (IOException | RuntimeException | Error thrown) {
            failure = thrown;
            throw thrown;
        }
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
        tellWatcher();
        try {
            stream.seek(start + position);
            int count = stream.read(buffer, offset, length);
            position += Math.max(0, count);
            bytesRead += Math.max(0, count);
            return count;
        } catch (IOException | RuntimeException exception) {
            failure = new IIOException("the input cannot be read", exception);
            throw exception;
        }
    }

    /** The number of bytes that were there; fewer than asked for only at the end. */
    int readFully(byte[] bytes) throws IOException {
        int total = 0;
        while (total < bytes.length) {
            int count = read(bytes, total, bytes.length - total);
            if (count <= 0) {
                break;
            }
            total += count;
        }
        return total;
    }

    @Override
    public void seek(long newPosition) {
        position = newPosition;
    }

    /** Where the stream does not know its length, what is skipped has to be read. */
    @Override
    public int skip(int count) throws IOException {
        long end = stream.length();
        int skipped = Math.max(0, count);
        if (end >= 0) {
            skipped = (int) Math.max(0, Math.min(skipped, end - start - position));
            position += skipped;
            return skipped;
        }
        byte[] ignored = new byte[16384];
        int total = 0;
        while (total < skipped) {
            int read = read(ignored, 0, Math.min(ignored.length, skipped - total));
            if (read <= 0) {
                break;
            }
            total += read;
        }
        return total;
    }

    /** Streams that are still being filled, and many others, do not know; decoding takes that for an answer. */
    @Override
    public long length() throws IOException {
        long end = stream.length();
        if (end < 0) {
            throw new IOException("the stream does not know its length");
        }
        return Math.max(0, end - start);
    }

    @Override
    public long getFilePointer() {
        return position;
    }

    @Override
    public void close() {
        // Whoever gave the stream to the reader closes it.
    }
}
