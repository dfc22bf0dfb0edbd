// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.io.SeekableInputStream;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystems;
import java.nio.file.Files;
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
 * <p>Files are read by the library itself, those of other file systems than the default one through a channel.
 * Direct buffers are read in place, which whoever made them must let stand until the call returns; mapped ones and
 * arrays are copied bit by bit as they are read. Of a buffer the bytes between position and limit count, and both stay
 * where they are. An {@link InputStream} is read from front to back: frames that come before the one wanted have to be
 * read, too.
 *
 * <p>A decoding that waits for its input is ended by {@link Thread#interrupt}: where a stream's read yields no byte
 * or a queue an empty buffer, and while a queue is waited for, the call fails with code
 * {@link DecompressionException#INTERRUPTED} and the thread stays interrupted. A read that blocks is the stream's
 * own affair. Read by contract, only waiting for a queue is ended.
 */
public final class Decompressor {
    /** Result code of a file that cannot be opened. */
    private static final int NOT_OPENED = 3;

    private Decompressor() {
    }

    /**
     * Decodes the first image of a file by {@link DecodeOptions#DEFAULT}.
     *
     * @param file the file
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the file cannot be read
     */
    public static Renderable decode(Path file) throws IOException {
        return decode(file, DecodeOptions.DEFAULT);
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
        return withFile(file, source -> decode(source, options));
    }

    /**
     * Decodes the first image of an array by {@link DecodeOptions#DEFAULT}.
     *
     * @param bytes the compressed bytes
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(byte[] bytes) throws DecompressionException {
        return decode(bytes, DecodeOptions.DEFAULT);
    }

    /**
     * Decodes one image of an array.
     *
     * @param bytes the compressed bytes
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(byte[] bytes, DecodeOptions options) throws DecompressionException {
        return decode(Source.of(bytes), options);
    }

    /**
     * Decodes the first image of a buffer by {@link DecodeOptions#DEFAULT}.
     *
     * @param bytes the compressed bytes, from position to limit; both stay where they are
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(ByteBuffer bytes) throws DecompressionException {
        return decode(bytes, DecodeOptions.DEFAULT);
    }

    /**
     * Decodes one image of a buffer.
     *
     * @param bytes the compressed bytes, from position to limit; both stay where they are
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(ByteBuffer bytes, DecodeOptions options) throws DecompressionException {
        return decode(Source.of(bytes), options);
    }

    /**
     * Decodes the first image of a stream by {@link DecodeOptions#DEFAULT}.
     *
     * @param in the compressed bytes, read from front to back; closed in any case
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(InputStream in) throws DecompressionException {
        return decode(in, DecodeOptions.DEFAULT);
    }

    /**
     * Decodes one image of a stream.
     *
     * @param in the compressed bytes, read from front to back; closed in any case
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     */
    public static Renderable decode(InputStream in, DecodeOptions options) throws DecompressionException {
        return decode(Source.of(in), options);
    }

    /**
     * Decodes the first image of a channel by {@link DecodeOptions#DEFAULT}.
     *
     * @param channel the compressed bytes, from its position on; closed in any case
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the kind of input cannot be found out because reading fails
     */
    public static Renderable decode(SeekableByteChannel channel) throws IOException {
        return decode(channel, DecodeOptions.DEFAULT);
    }

    /**
     * Decodes one image of a channel.
     *
     * @param channel the compressed bytes, from its position on; closed in any case
     * @param options how to decode
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the kind of input cannot be found out because reading fails
     */
    public static Renderable decode(SeekableByteChannel channel, DecodeOptions options) throws IOException {
        return decode(Source.streamOf(channel), options);
    }

    /**
     * Decodes the first image of a stream by {@link DecodeOptions#DEFAULT}.
     *
     * @param in the compressed bytes; closed in any case
     * @return the image; the caller closes it
     * @throws DecompressionException if decoding fails
     * @throws IOException if the kind of input cannot be found out because reading fails
     */
    public static Renderable decode(SeekableInputStream in) throws IOException {
        return decode(in, DecodeOptions.DEFAULT);
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
        Source source = Source.of(in);
        return new DecodeRun(options, null).decode(source, Source.typeOf(in, options));
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
     * Decodes the frames of a file with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param file the file
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     * @throws IOException if the file cannot be read
     */
    public static void decodeFrames(Path file, FrameListener listener) throws IOException {
        decodeFrames(file, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of a file with a DICOM image one after the other.
     *
     * @param file the file
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     * @throws IOException if the file cannot be read
     */
    public static void decodeFrames(Path file, DecodeOptions options, FrameListener listener)
            throws IOException {
        withFile(file, source -> decodeFrames(source, options, listener));
    }

    /**
     * Decodes the frames of an array with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param bytes the compressed bytes
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(byte[] bytes, FrameListener listener) throws DecompressionException {
        decodeFrames(bytes, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of an array with a DICOM image one after the other.
     *
     * @param bytes the compressed bytes
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(byte[] bytes, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        decodeFrames(Source.of(bytes), options, listener);
    }

    /**
     * Decodes the frames of a buffer with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param bytes the compressed bytes, from position to limit; both stay where they are
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(ByteBuffer bytes, FrameListener listener) throws DecompressionException {
        decodeFrames(bytes, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of a buffer with a DICOM image one after the other.
     *
     * @param bytes the compressed bytes, from position to limit; both stay where they are
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(ByteBuffer bytes, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        decodeFrames(Source.of(bytes), options, listener);
    }

    /**
     * Decodes the frames of a stream with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param in the compressed bytes, read from front to back; closed in any case
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(InputStream in, FrameListener listener) throws DecompressionException {
        decodeFrames(in, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of a stream with a DICOM image one after the other.
     *
     * @param in the compressed bytes, read from front to back; closed in any case
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(InputStream in, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        decodeFrames(Source.of(in), options, listener);
    }

    /**
     * Decodes the frames of a channel with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param channel the compressed bytes, from its position on; closed in any case
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(SeekableByteChannel channel, FrameListener listener) throws DecompressionException {
        decodeFrames(channel, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of a channel with a DICOM image one after the other.
     *
     * @param channel the compressed bytes, from its position on; closed in any case
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(SeekableByteChannel channel, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        decodeFrames(Source.of(channel), options, listener);
    }

    /**
     * Decodes the frames of a stream with a DICOM image one after the other by {@link DecodeOptions#DEFAULT}.
     *
     * @param in the compressed bytes; closed in any case
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(SeekableInputStream in, FrameListener listener) throws DecompressionException {
        decodeFrames(in, DecodeOptions.DEFAULT, listener);
    }

    /**
     * Decodes the frames of a stream with a DICOM image one after the other.
     *
     * @param in the compressed bytes; closed in any case
     * @param options how to decode; the frame is the first one wanted
     * @param listener takes the frames
     * @throws DecompressionException if decoding fails; frames before that have been delivered
     */
    public static void decodeFrames(SeekableInputStream in, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        decodeFrames(Source.of(in), options, listener);
    }

    /**
     * Returns the frames of a file, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param file the file
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if the file cannot be read
     */
    public static FrameIterator frames(Path file, DecodeOptions options) throws IOException {
        return withFile(file, source -> frames(source, options));
    }

    /**
     * Returns the frames of an array, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param bytes the compressed bytes, which stay as they are until the iterator is closed
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if reading fails
     */
    public static FrameIterator frames(byte[] bytes, DecodeOptions options) throws IOException {
        return frames(Source.of(bytes), options);
    }

    /**
     * Returns the frames of a buffer, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param bytes the compressed bytes, which stay as they are until the iterator is closed
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if reading fails
     */
    public static FrameIterator frames(ByteBuffer bytes, DecodeOptions options) throws IOException {
        return frames(Source.of(bytes), options);
    }

    /**
     * Returns the frames of a stream, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param in the compressed bytes; closed with the iterator
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if reading fails
     */
    public static FrameIterator frames(InputStream in, DecodeOptions options) throws IOException {
        return frames(Source.of(in), options);
    }

    /**
     * Returns the frames of a channel, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param channel the compressed bytes, from its position on; closed with the iterator
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if reading fails
     */
    public static FrameIterator frames(SeekableByteChannel channel, DecodeOptions options) throws IOException {
        return frames(Source.streamOf(channel), options);
    }

    /**
     * Returns the frames of a stream, to be decoded when they are taken or before. A bare image is one frame.
     *
     * @param in the compressed bytes; closed with the iterator
     * @param options how to decode; the frame is the first one wanted
     * @return the frames; the caller closes them
     * @throws DecompressionException if there are none
     * @throws IOException if reading fails
     */
    public static FrameIterator frames(SeekableInputStream in, DecodeOptions options) throws IOException {
        return new FrameIterator(Source.of(in), Source.typeOf(in, options), options);
    }

    /**
     * Returns how many frames a file says to have, without decoding any.
     *
     * @param file the file
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     * @throws IOException if the file cannot be read
     */
    public static int numberOfFrames(Path file) throws IOException {
        return withFile(file, Decompressor::numberOfFrames);
    }

    /**
     * Returns how many frames an array says to have, without decoding any.
     *
     * @param bytes the compressed bytes
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     */
    public static int numberOfFrames(byte[] bytes) throws DecompressionException {
        return numberOfFrames(Source.of(bytes));
    }

    /**
     * Returns how many frames a buffer says to have, without decoding any.
     *
     * @param bytes the compressed bytes, from position to limit; both stay where they are
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     */
    public static int numberOfFrames(ByteBuffer bytes) throws DecompressionException {
        return numberOfFrames(Source.of(bytes));
    }

    /**
     * Returns how many frames a stream says to have, without decoding any.
     *
     * @param in the compressed bytes; closed in any case
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     */
    public static int numberOfFrames(InputStream in) throws DecompressionException {
        return numberOfFrames(Source.of(in));
    }

    /**
     * Returns how many frames a channel says to have, without decoding any.
     *
     * @param channel the compressed bytes, from its position on; closed in any case
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     */
    public static int numberOfFrames(SeekableByteChannel channel) throws DecompressionException {
        return numberOfFrames(Source.of(channel));
    }

    /**
     * Returns how many frames a stream says to have, without decoding any.
     *
     * @param in the compressed bytes; closed in any case
     * @return the number of frames, at least 1; 1 for a bare image
     * @throws DecompressionException if there is no image
     */
    public static int numberOfFrames(SeekableInputStream in) throws DecompressionException {
        return numberOfFrames(Source.of(in));
    }

    private static FrameIterator frames(Source source, DecodeOptions options) throws IOException {
        return new FrameIterator(source, options.getType(), options);
    }

    private static int numberOfFrames(Source source) throws DecompressionException {
        try (FrameCursor cursor = new FrameCursor(source, DecodeOptions.DEFAULT)) {
            return cursor.count();
        }
    }

    private static Renderable decode(Source source, DecodeOptions options) throws DecompressionException {
        return new DecodeRun(options, null).decode(source, options.getType());
    }

    private static Void decodeFrames(Source source, DecodeOptions options, FrameListener listener)
            throws DecompressionException {
        Objects.requireNonNull(listener, "listener");
        new DecodeRun(options, listener).decodeFrames(source);
        return null;
    }

    private interface Work<T> {
        T on(Source source) throws IOException;
    }

    /** What the library cannot open Java tries, and says why it cannot either. */
    private static <T> T withFile(Path file, Work<T> work) throws IOException {
        if (file.getFileSystem() == FileSystems.getDefault()) {
            try {
                return work.on(Source.of(file));
            } catch (DecompressionException failure) {
                if (failure.getCode() != NOT_OPENED) {
                    throw failure;
                }
            }
        }
        return work.on(Source.of(Files.newByteChannel(file)));
    }
}
