// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.io.SeekableInputStream;
import com.quorix.util.InputBufferQueue;

/**
 * Everything that one decompression needs, as the native library reads it from a Java object: it reads
 * the fields by their names, which are therefore fixed. Either the stream or the queue is set.
 */
public class DecompressionRequest {
    private final SeekableInputStream itsInputStream;
    private final InputBufferQueue itsCompressedSource;
    private final long itsDICOMDataObject;
    private String itsDemoFile;
    private boolean itsLoadDemoInfoFlag;
    private int itsScaleFactor = 1;
    private int itsFrameIndex;
    private String itsTransferSyntaxUID;

    /**
     * Creates a request over a stream.
     *
     * @param inputStream the compressed bytes
     * @param dicomDataObject handle of the data set, or 0
     */
    public DecompressionRequest(SeekableInputStream inputStream, long dicomDataObject) {
        itsInputStream = inputStream;
        itsCompressedSource = null;
        itsDICOMDataObject = dicomDataObject;
    }

    /**
     * Creates a request over a queue of buffers.
     *
     * @param compressedSource the compressed bytes
     * @param dicomDataObject handle of the data set, or 0
     */
    public DecompressionRequest(InputBufferQueue compressedSource, long dicomDataObject) {
        itsInputStream = null;
        itsCompressedSource = compressedSource;
        itsDICOMDataObject = dicomDataObject;
    }

    /**
     * Returns the stream.
     *
     * @return the stream, or null when the request is over a queue
     */
    public SeekableInputStream getInputStream() {
        return itsInputStream;
    }

    /**
     * Returns the queue.
     *
     * @return the queue, or null when the request is over a stream
     */
    public InputBufferQueue getCompressedSource() {
        return itsCompressedSource;
    }

    /**
     * Returns the handle of the data set, which is for one image.
     *
     * @return the handle, or 0
     */
    public long getDICOMDataObject() {
        return itsDICOMDataObject;
    }

    /**
     * Returns the file that holds the header of a bare codestream.
     *
     * @return the path, or null
     */
    public String getDemoFile() {
        return itsDemoFile;
    }

    /**
     * Sets the file that holds the header of a bare codestream.
     *
     * @param demoFile the path, or null
     */
    public void setDemoFile(String demoFile) {
        itsDemoFile = demoFile;
    }

    /**
     * Returns whether the header file is to be used.
     *
     * @return whether the header file is to be used
     */
    public boolean getLoadDemoInfoFlag() {
        return itsLoadDemoInfoFlag;
    }

    /**
     * Sets whether the header file is to be used.
     *
     * @param loadDemoInfoFlag whether the header file is to be used
     */
    public void setLoadDemoInfoFlag(boolean loadDemoInfoFlag) {
        itsLoadDemoInfoFlag = loadDemoInfoFlag;
    }

    /**
     * Returns the scale factor.
     *
     * @return 1 for full size; each step more halves width and height
     */
    public int getScaleFactor() {
        return itsScaleFactor;
    }

    /**
     * Sets the scale factor.
     *
     * @param scaleFactor 1 for full size; each step more halves width and height
     */
    public void setScaleFactor(int scaleFactor) {
        itsScaleFactor = scaleFactor;
    }

    /**
     * Returns the frame.
     *
     * @return the frame's index, from 0
     */
    public int getFrameIndex() {
        return itsFrameIndex;
    }

    /**
     * Sets the frame.
     *
     * @param frameIndex the frame's index, from 0
     */
    public void setFrameIndex(int frameIndex) {
        itsFrameIndex = frameIndex;
    }

    /**
     * Returns the transfer syntax.
     *
     * @return the UID, or null when the stream tells
     */
    public String getTransferSyntaxUID() {
        return itsTransferSyntaxUID;
    }

    /**
     * Sets the transfer syntax.
     *
     * @param transferSyntaxUID the UID, or null when the stream tells
     */
    public void setTransferSyntaxUID(String transferSyntaxUID) {
        itsTransferSyntaxUID = transferSyntaxUID;
    }
}
