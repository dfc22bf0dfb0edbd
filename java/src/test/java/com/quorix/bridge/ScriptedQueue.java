// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import com.quorix.util.*;
import java.io.IOException;
import java.util.*;

/** A queue that holds all its buffers from the start, notes what it is asked for and throws on demand. */
final class ScriptedQueue extends InputBufferQueue {
    /** "get", "completed", "autoFlush true" */
    final List<String> events = new ArrayList<>();

    private final List<InputBuffer> buffers = new ArrayList<>();
    private int next;
    private String failing = "";
    private Exception failure;

    /** Cuts the bytes into buffers of that many. */
    ScriptedQueue(byte[] bytes, int bufferSize) {
        for (int start = 0; start < bytes.length; start += bufferSize) {
            int size = Math.min(bufferSize, bytes.length - start);
            byte[] array = new byte[size + 3]; // arrays may be longer than what is valid in them
            System.arraycopy(bytes, start, array, 0, size);
            buffers.add(new ByteArrayInputBuffer(array, size));
        }
    }

    /** Throws in "completed", in "autoFlush", or in "get" after the last buffer: unchecked but for that. */
    ScriptedQueue failingIn(String operation, Exception exception) {
        failing = operation;
        failure = exception;
        return this;
    }

    @Override
    public InputBuffer get() throws IOException {
        events.add("get");
        if (next < buffers.size()) {
            return buffers.get(next++);
        }
        this.<IOException>failIf("get");
        return null;
    }

    @Override
    public void completed(InputBuffer buffer) {
        events.add("completed");
        this.<RuntimeException>failIf("completed");
    }

    @Override
    public void setAutoFlush(boolean autoFlush) {
        events.add("autoFlush " + autoFlush);
        this.<RuntimeException>failIf("autoFlush");
    }

    @SuppressWarnings("unchecked")
    private <E extends Exception> void failIf(String operation) throws E {
        if (failing.equals(operation)) {
            throw (E) failure;
        }
    }
}
