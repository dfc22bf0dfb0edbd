// SPDX-License-Identifier: Apache-2.0
package com.quorix.io;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Objects;

/**
 * A stream over a file. As with every {@link FileChannel}, interrupting a thread that reads closes the
 * channel.
 */
public class FileSeekableInputStream extends SeekableInputStream {
    private final FileChannel channel;
    private long position;

    /**
     * Opens a file for reading.
     *
     * @param file the file
     * @throws IOException if it cannot be opened
     */
    public FileSeekableInputStream(Path file) throws IOException {
        this(FileChannel.open(file, StandardOpenOption.READ));
    }

    /**
     * Creates a stream over an open file, from its start. The channel's own position is neither used nor
     * changed.
     *
     * @param channel the open file, closed with the stream
     */
    public FileSeekableInputStream(FileChannel channel) {
        this.channel = Objects.requireNonNull(channel, "channel");
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
        int count = channel.read(ByteBuffer.wrap(buffer, offset, length), position);
        position += Math.max(0, count);
        return count;
    }

    @Override
    public void seek(long position) throws IOException {
        if (position < 0) {
            throw new IOException("position " + position + " lies before the start");
        }
        this.position = position;
    }

    @Override
    public int skip(int count) throws IOException {
        int skipped = (int) Math.max(0, Math.min(count, channel.size() - position));
        position += skipped;
        return skipped;
    }

    @Override
    public long length() throws IOException {
        return channel.size();
    }

    @Override
    public long getFilePointer() {
        return position;
    }

    @Override
    public void close() throws IOException {
        channel.close();
    }
}
