// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import com.quorix.util.ByteArrayInputBuffer;
import com.quorix.util.InputBuffer;
import com.quorix.util.InputBufferQueue;
import java.io.IOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;

/** A queue that holds all its buffers from the start, notes what it is asked for and throws on demand. */
final class ScriptedQueue extends InputBufferQueue {
    /** get, completed 0 (the buffer's number), completed null, autoFlush true */
    final List<String> events = new ArrayList<>();

    private final List<InputBuffer> buffers = new ArrayList<>();
    private final Deque<InputBuffer> waiting = new ArrayDeque<>();
    private Exception endOfGet;
    private RuntimeException failureOfCompleted;
    private RuntimeException failureOfAutoFlush;

    /** Cuts the bytes into buffers of that many. */
    ScriptedQueue(byte[] bytes, int bufferSize) {
        for (int start = 0; start < bytes.length; start += bufferSize) {
            int size = Math.min(bufferSize, bytes.length - start);
            byte[] array = new byte[size + 3]; // arrays may be longer than what is valid in them
            System.arraycopy(bytes, start, array, 0, size);
            add(new ByteArrayInputBuffer(array, size));
        }
    }

    ScriptedQueue add(InputBuffer buffer) {
        buffers.add(buffer);
        waiting.add(buffer);
        return this;
    }

    /** After the last buffer get throws; null is the end of the data. */
    ScriptedQueue endingWith(Exception exception) {
        endOfGet = exception;
        return this;
    }

    ScriptedQueue failingInCompleted(RuntimeException exception) {
        failureOfCompleted = exception;
        return this;
    }

    ScriptedQueue failingInAutoFlush(RuntimeException exception) {
        failureOfAutoFlush = exception;
        return this;
    }

    @Override
    public InputBuffer get() throws IOException {
        events.add("get");
        InputBuffer next = waiting.poll();
        if (next == null && endOfGet instanceof IOException) {
            throw (IOException) endOfGet;
        }
        if (next == null && endOfGet != null) {
            throw (RuntimeException) endOfGet;
        }
        return next;
    }

    @Override
    public void completed(InputBuffer buffer) {
        events.add("completed " + (buffer == null ? "null" : buffers.indexOf(buffer)));
        if (failureOfCompleted != null) {
            throw failureOfCompleted;
        }
    }

    @Override
    public void setAutoFlush(boolean autoFlush) {
        events.add("autoFlush " + autoFlush);
        if (failureOfAutoFlush != null) {
            throw failureOfAutoFlush;
        }
    }
}
