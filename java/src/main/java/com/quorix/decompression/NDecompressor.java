// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.io.SeekableInputStream;
import com.quorix.util.InputBufferQueue;
import com.quorix.util.NativeLibrary;

/**
 * The entry points of the native library as they are.
 *
 * <p>They read files by contract, see {@link DecodeOptions#withByContract}, and keep what is in doubt to themselves.
 * Failures are reported through the {@link DecomprResult} argument; the methods then return null or
 * false. An exception thrown by a stream, queue or listener class ends the decoding and may reach the
 * caller. {@link Decompressor} is the comfortable front. One object may be used by any number of threads;
 * the streams, queues and data sets passed to a call belong to that call until it returns.
 *
 * <p>Image types: {@value #TYPE_JPEG} a baseline JPEG codestream, {@value #TYPE_JPEG2000} a JPEG 2000
 * codestream, {@value #TYPE_DICOM} a DICOM Part 10 stream, {@value #TYPE_JPEG2000_LOSSLESS} a lossless
 * JPEG 2000 codestream. Not every method takes every type.
 */
public class NDecompressor {
    /** A baseline JPEG codestream. */
    public static final int TYPE_JPEG = 1;
    /** A JPEG 2000 codestream. */
    public static final int TYPE_JPEG2000 = 2;
    /** A DICOM Part 10 stream. */
    public static final int TYPE_DICOM = 3;
    /** A lossless JPEG 2000 codestream. */
    public static final int TYPE_JPEG2000_LOSSLESS = 7;
    /** A JPEG-LS codestream: for {@link Decompressor} alone; the methods here refuse it. */
    static final int TYPE_JPEGLS = 9;

    static {
        NativeLibrary.load();
    }

    /** Creates an object whose methods enter the native library, loading it if need be. */
    public NDecompressor() {
    }

    /**
     * Decodes a bare codestream that arrives in buffers.
     *
     * @param queue the buffers; all of them have been handed back when the call returns
     * @param dicomDataObject handle of the data set that describes the image, or 0
     * @param imageType {@link #TYPE_JPEG}, {@link #TYPE_JPEG2000} or {@link #TYPE_JPEG2000_LOSSLESS}
     * @param lossless for {@link #TYPE_JPEG2000_LOSSLESS}, whether the lossless transfer syntax is meant;
     *     {@link #TYPE_JPEG2000} always takes the lossless one here
     * @param scaleFactor 1 for full size; each step more halves width and height (JPEG 2000)
     * @param result receives code, system error and message
     * @return the image, owned by the caller, or null
     */
    public native Renderable decodeInputBufferQueueToMemory(InputBufferQueue queue, long dicomDataObject,
            int imageType, boolean lossless, int scaleFactor, DecomprResult result);

    /**
     * Decodes one image of a stream, which is closed in any case.
     *
     * @param in the compressed bytes
     * @param dicomDataObject handle of the data set that describes the image or receives the description
     * @param imageType any of the four types
     * @param frameIndex frame of a DICOM stream, from 0
     * @param scaleFactor 1 for full size; each step more halves width and height (JPEG 2000)
     * @param result receives code, system error and message
     * @return the image, owned by the caller, or null
     */
    public native Renderable decodeSeekableInputStreamToMemory(SeekableInputStream in, long dicomDataObject,
            int imageType, int frameIndex, int scaleFactor, DecomprResult result);

    /**
     * Decodes the frames of a DICOM stream and hands each to
     * {@link DecomprResult#renderableAvailable(int, Renderable)}. The stream is closed in any case.
     *
     * @param in a DICOM Part 10 stream
     * @param dicomDataObject handle of the data set that receives the attributes
     * @param frameArgument first frame to be handed out, from 0
     * @param result receives the frames, then code, system error and message
     * @return whether all went well, which includes a listener that stopped
     */
    public native boolean decodeMultiFrameImageToMemory(SeekableInputStream in, long dicomDataObject,
            int frameArgument, DecomprResult result);

    /**
     * Notes in a data set that its image was reconstituted from a lossy compressed one.
     *
     * @param dicomDataObject handle of the data set, or 0
     * @return false for handle 0 and on failure
     */
    public native boolean markReconstituted(long dicomDataObject);

    /**
     * Decodes one image into a data set: header and pixels of an uncompressed DICOM object.
     *
     * @param in the compressed bytes; it is not closed
     * @param imageType any of the four types
     * @param lossless whether the compression was free of loss; false marks the data set as reconstituted
     * @param dicomDataObject handle of the data set that receives header and pixels
     * @param demoFile a DICOM file with the header that belongs to a bare codestream, or null
     * @param scaleFactor 1 for full size; each step more halves width and height (JPEG 2000)
     * @param result receives code, system error and message
     * @return whether the data set holds the decoded image
     */
    public native boolean decodeOrtho(SeekableInputStream in, int imageType, boolean lossless,
            long dicomDataObject, String demoFile, int scaleFactor, DecomprResult result);
}
