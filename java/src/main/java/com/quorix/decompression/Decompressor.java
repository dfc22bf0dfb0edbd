// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.io.FileSeekableInputStream;
import com.quorix.io.SeekableInputStream;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Objects;

/**
 * Decodes compressed images: {@link NDecompressor} with exceptions instead of result codes, reading files by
 * what they must mean and telling what is in doubt about their images, see {@link DecodeOptions#withByContract}
 * and {@link DecodeOptions#withWarningListener}.
 *
 * <p>Streams are closed by the call they are given to, queues have been emptied by it; a call that refuses
 * its options, a data set that is closed for instance, leaves them to the caller. A data set given in the
 * options is locked while the call runs. All methods may be called from any number of threads.
 *
 * <p>A decoding that waits for its input is ended by {@link Thread#interrupt}: where a stream's read yields no byte
 * or a queue an empty buffer, and while a queue is waited for, the call fails with code
 * {@link DecompressionException#INTERRUPTED} and the thread stays interrupted. A read that blocks is the stream's
 * own affair. Read by contract, only waiting for a queue is ended.
 */
public final class Decompressor {
    private Decompressor() {
    }

    /**
     * Decodes one image of a file.
     *
     * @param file the file
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the file cannot be read
     */
    public static Renderable decode(Path file, DecodeOptions options) throws IOException {
        try (FileSeekableInputStream in = new FileSeekableInputStream(file)) {
            return decode(in, options);
        }
    }

    /**
     * Decodes one image of a stream.
     *
     * @param in the compressed bytes; closed in any case
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the kind of input cannot be found out because reading fails
     */
    public static Renderable decode(SeekableInputStream in, DecodeOptions options) throws IOException {
        Objects.requireNonNull(in, "in");
        ImageType type = typeOf(in, options);
        return new DecodeRun(options, null).decode(in, type);
    }

    /**
     * Decodes a bare codestream while it arrives. Blocks until the image is complete.
     *
     * @param queue the compressed bytes
     * @param options how to decode; the type is to be told
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails or was interrupted
     * @throws IOException what the queue's producer said to have failed
     */
    public static Renderable decode(InputBufferQueue queue, DecodeOptions options) throws IOException {
        Objects.requireNonNull(queue, "queue");
        ImageType type = options.getType();
        if (type == ImageType.AUTOMATIC || type == ImageType.DICOM) {
            throw new IllegalArgumentException("a queue takes a bare codestream of a type that is told");
        }
        return new DecodeRun(options, null).decode(queue, type);
    }

    /**
     * Decodes the frames of a DICOM file one after the other.
     *
     * @param file the file
     * @param options how to decode; the frame is the first one wanted, the scale factor does not count
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     * @throws IOException if the file cannot be read
     */
    public static void decodeFrames(Path file, DecodeOptions options, FrameListener listener)
            throws IOException {
        try (FileSeekableInputStream in = new FileSeekableInputStream(file)) {
            decodeFrames(in, options, listener);
        }
    }

    /**
     * Decodes the frames of a DICOM stream one after the other.
     *
     * @param in the stream; closed in any case
     * @param options how to decode; the frame is the first one wanted, the scale factor does not count
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(SeekableInputStream in, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        Objects.requireNonNull(in, "in");
        Objects.requireNonNull(listener, "listener");
        new DecodeRun(options, listener).decodeFrames(in);
    }

    private static ImageType typeOf(SeekableInputStream in, DecodeOptions options) throws IOException {
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
}
