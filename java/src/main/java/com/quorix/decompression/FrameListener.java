// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/** Takes the frames of a multi-frame image as they are decoded. */
@FunctionalInterface
public interface FrameListener {
    /**
     * Takes one frame, on the thread that decodes. An exception ends the decoding and reaches the caller.
     *
     * @param index the frame's index, from 0
     * @param image the frame; it belongs to the receiver, who closes it
     * @return whether decoding goes on with the next frame
     */
    boolean frameAvailable(int index, Renderable image);
}
