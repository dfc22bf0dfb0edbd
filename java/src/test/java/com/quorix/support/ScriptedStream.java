// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import com.quorix.io.ByteBufferSeekableInputStream;
import java.io.*;
import java.util.*;

/** A stream over bytes that misbehaves on demand. */
public class ScriptedStream extends ByteBufferSeekableInputStream {
    /** What it throws. */
    public final IOException failure = new IOException("it does not work");
    public int closeCount;

    private int reads;
    private int[] mostBytes = {Integer.MAX_VALUE};
    private String failing = "";
    private int callsBefore;
    private Long claimedLength;

    public ScriptedStream(byte[] bytes) {
        super(bytes);
    }

    /** Delivers no more than these numbers of bytes, in turn; 0 is nothing, though not at the end. */
    public ScriptedStream inBitsOf(int... counts) {
        mostBytes = counts;
        return this;
    }

    /** The operation of this name throws, after so many calls of it that do not. */
    public ScriptedStream failingIn(String operation, int after) {
        failing = operation;
        callsBefore = after;
        return this;
    }

    /** It says that it has this length, whatever it delivers. */
    public ScriptedStream claiming(long length) {
        claimedLength = length;
        return this;
    }

    @Override
    public int read(byte[] buffer, int offset, int length) throws IOException {
        failIf("read");
        return super.read(buffer, offset, Math.min(length, mostBytes[reads++ % mostBytes.length]));
    }

    @Override
    public int skip(int count) throws IOException {
        failIf("skip");
        return super.skip(count);
    }

    @Override
    public long length() throws IOException {
        failIf("length");
        return claimedLength != null ? claimedLength : super.length();
    }

    @Override
    public void close() {
        closeCount++;
        if (failing.equals("close")) {
            throw new UncheckedIOException(failure);
        }
        super.close();
    }

    private void failIf(String operation) throws IOException {
        if (failing.equals(operation) && callsBefore-- <= 0) {
            throw failure;
        }
    }
}
