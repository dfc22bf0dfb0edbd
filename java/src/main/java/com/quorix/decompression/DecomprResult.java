// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/**
 * What a call of {@link NDecompressor} reports: a result code, the operating system's error code and a
 * message, all written by the native side. Field names are fixed by it.
 */
public class DecomprResult {
    /** Result code; 0 means success. */
    public int DLResultCode;
    /** The operating system's error code, 0 if there is none. */
    public int SystemError;
    /** What happened, in words. */
    public String Message;

    /** Creates an empty result. */
    public DecomprResult() {
    }

    /**
     * Receives one frame of a multi-frame image, on the thread that decodes. Override it to take frames;
     * this form wants none: it frees the image and stops.
     *
     * @param frameIndex the frame's index, from 0
     * @param renderable the frame's image, owned by the receiver
     * @return whether decoding goes on with the next frame
     */
    public boolean renderableAvailable(int frameIndex, Renderable renderable) {
        renderable.close();
        return false;
    }

    @Override
    public String toString() {
        return "DecomprResult: DLResultCode = " + DLResultCode + ", SystemError = " + SystemError
                + ", Message = " + Message;
    }
}
