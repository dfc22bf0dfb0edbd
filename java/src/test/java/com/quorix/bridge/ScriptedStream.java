// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import com.quorix.io.SeekableInputStream;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;

/** A stream over bytes that notes what it is asked for and misbehaves on demand. */
class ScriptedStream extends SeekableInputStream {
    final List<Integer> readSizes = new ArrayList<>();
    int closeCount;

    private final byte[] bytes;
    private int position;
    private int bytesPerRead = Integer.MAX_VALUE;
    private boolean emptyReads;
    private boolean lastReadWasEmpty;
    private String failing = "";

    ScriptedStream(byte[] bytes) {
        this.bytes = bytes;
    }

    /** Delivers no more than this many bytes at a time. */
    ScriptedStream inBitsOf(int count) {
        bytesPerRead = count;
        return this;
    }

    /** Delivers nothing, though not at the end, every other time. */
    ScriptedStream withEmptyReads() {
        emptyReads = true;
        return this;
    }

    /** The operation of this name throws. */
    ScriptedStream failingIn(String operation) {
        failing = operation;
        return this;
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
        readSizes.add(length);
        failIf("read");
        if (position >= bytes.length) {
            return -1;
        }
        lastReadWasEmpty = emptyReads && !lastReadWasEmpty;
        int count = lastReadWasEmpty ? 0 : Math.min(Math.min(length, bytesPerRead), bytes.length - position);
        System.arraycopy(bytes, position, buffer, offset, count);
        position += count;
        return count;
    }

    @Override
    public void seek(long newPosition) throws IOException {
        failIf("seek");
        position = (int) newPosition;
    }

    @Override
    public int skip(int count) throws IOException {
        failIf("skip");
        int skipped = Math.min(count, bytes.length - position);
        position += skipped;
        return skipped;
    }

    @Override
    public long length() throws IOException {
        failIf("length");
        return bytes.length;
    }

    @Override
    public long getFilePointer() throws IOException {
        failIf("getFilePointer");
        return position;
    }

    @Override
    public void close() throws IOException {
        closeCount++;
        failIf("close");
    }

    private void failIf(String operation) throws IOException {
        if (failing.equals(operation)) {
            throw new IOException(operation + " does not work");
        }
    }
}
