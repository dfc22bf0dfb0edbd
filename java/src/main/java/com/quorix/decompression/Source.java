// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.io.ByteBufferSeekableInputStream;
import com.quorix.io.SeekableInputStream;
import com.quorix.util.NativePath;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.Objects;

/**
 * Compressed bytes in one of the forms that the native library takes; it knows the kinds by their numbers. Offset
 * and length say which bytes of a buffer or an array are meant. Only a file has a path.
 */
record Source(int kind, Object object, int offset, int length, Path path) {
    private static final int FILE_NAME = 0;
    private static final int DIRECT_BUFFER = 1;
    private static final int BYTE_ARRAY = 2;
    private static final int STREAM = 3;
    private static final int FORWARD_STREAM = 4;

    /** A file of the default file system, which the library reads by itself. */
    static Source of(Path file) {
        return new Source(FILE_NAME, NativePath.of(file), 0, 0, file);
    }

    static Source of(byte[] bytes) {
        return new Source(BYTE_ARRAY, bytes, 0, bytes.length, null);
    }

    /**
     * The bytes between position and limit: in place, unless reading them is something that only Java can do. It
     * survives that a mapped file has become shorter, and reads arrays that are not to be had.
     */
    static Source of(ByteBuffer bytes) {
        if (bytes.isDirect() && bytes.hasRemaining() && !DecodeRun.isMapped(bytes)) {
            return new Source(DIRECT_BUFFER, bytes, bytes.position(), bytes.remaining(), null);
        }
        if (bytes.hasArray()) {
            return new Source(BYTE_ARRAY, bytes.array(), bytes.arrayOffset() + bytes.position(), bytes.remaining(),
                    null);
        }
        return of(new BufferStream(bytes.slice()));
    }

    static Source of(SeekableInputStream in) {
        return new Source(STREAM, Objects.requireNonNull(in, "in"), 0, 0, null);
    }

    static Source of(SeekableByteChannel channel) {
        return of(streamOf(channel));
    }

    static SeekableInputStream streamOf(SeekableByteChannel channel) {
        return new ChannelStream(Objects.requireNonNull(channel, "channel"));
    }

    static Source of(InputStream in) {
        return new Source(FORWARD_STREAM, new ForwardStream(Objects.requireNonNull(in, "in")), 0, 0, null);
    }

    /** The same once more, to be read beside this one; null for a stream of the caller's, of which there is one. */
    Source again() {
        if (object instanceof BufferStream stream) {
            return of(new BufferStream(stream.bytes));
        }
        return object instanceof SeekableInputStream ? null : this;
    }

    /**
     * What stays the same as long as a file is not replaced by another of its name; null for everything else, and
     * where the file system cannot tell.
     */
    Object identity() throws IOException {
        return path == null ? null : Files.readAttributes(path, BasicFileAttributes.class).fileKey();
    }

    /** The type that is told, else the one that the start of a stream tells; one that cannot be read is closed. */
    static ImageType typeOf(SeekableInputStream in, DecodeOptions options) throws IOException {
        if (options.getType() != ImageType.AUTOMATIC) {
            return options.getType();
        }
        try {
            long start = in.getFilePointer();
            byte[] bytes = new byte[ImageType.START_LENGTH];
            int count = readFully(in, bytes);
            in.seek(start);
            return ImageType.of(bytes, count);
        } catch (IOException | RuntimeException exception) {
            closeAfter(in, exception);
            throw exception;
        }
    }

    private static int readFully(SeekableInputStream in, byte[] bytes) throws IOException {
        int total = 0;
        while (total < bytes.length) {
            int count = in.read(bytes, total, bytes.length - total);
            if (count < 0) {
                break;
            }
            if (count == 0 && Thread.currentThread().isInterrupted()) {
                throw new DecompressionException(DecompressionException.INTERRUPTED, 0, "Decoding interrupted");
            }
            total += count;
        }
        return total;
    }

    private static void closeAfter(SeekableInputStream in, Exception exception) {
        try {
            in.close();
        } catch (IOException closing) {
            exception.addSuppressed(closing);
        }
    }

    /** Bytes that only Java can read. */
    private static final class BufferStream extends ByteBufferSeekableInputStream {
        private final ByteBuffer bytes;

        BufferStream(ByteBuffer bytes) {
            super(bytes);
            this.bytes = bytes;
        }
    }

    /** A channel, from where it stands. */
    private static final class ChannelStream extends SeekableInputStream {
        private final SeekableByteChannel channel;

        ChannelStream(SeekableByteChannel channel) {
            this.channel = channel;
        }

        @Override
        public int read(byte[] buffer, int offset, int length) throws IOException {
            return channel.read(ByteBuffer.wrap(buffer, offset, length));
        }

        @Override
        public void seek(long position) throws IOException {
            channel.position(position);
        }

        @Override
        public int skip(int count) throws IOException {
            long position = channel.position();
            int skipped = (int) Math.max(0, Math.min(count, channel.size() - position));
            channel.position(position + skipped);
            return skipped;
        }

        @Override
        public long length() throws IOException {
            return channel.size();
        }

        @Override
        public long getFilePointer() throws IOException {
            return channel.position();
        }

        @Override
        public void close() throws IOException {
            channel.close();
        }
    }

    /** A stream that goes forward only; the library skips by reading. */
    private static final class ForwardStream extends SeekableInputStream {
        private final InputStream in;
        private long position;

        ForwardStream(InputStream in) {
            this.in = in;
        }

        @Override
        public int read(byte[] buffer, int offset, int length) throws IOException {
            int count = in.read(buffer, offset, length);
            position += Math.max(0, count);
            return count;
        }

        @Override
        public void seek(long position) {
            throw new UnsupportedOperationException("the stream goes forward only");
        }

        @Override
        public int skip(int count) {
            throw new UnsupportedOperationException("the stream is read, not skipped");
        }

        @Override
        public long length() {
            throw new UnsupportedOperationException("nobody knows the length of the stream");
        }

        @Override
        public long getFilePointer() {
            return position;
        }

        @Override
        public void close() throws IOException {
            in.close();
        }
    }
}
