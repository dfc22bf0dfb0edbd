// SPDX-License-Identifier: Apache-2.0
package com.quorix.dicom;

import com.quorix.io.SeekableInputStream;
import com.quorix.util.NativeLibrary;
import com.quorix.util.NativePath;
import java.io.IOException;
import java.lang.ref.Cleaner;
import java.nio.file.Path;
import java.util.List;
import java.util.function.LongFunction;

/**
 * The data set of one image: DICOM attributes, and values that earlier steps noted beside them.
 *
 * <p>A tag is given as one number, group first: {@code 0x00280010} is Rows. Close a data set when done with
 * it; one that is forgotten is closed once the garbage collector finds it. A closed one throws
 * {@link IllegalStateException}. Thread-safe: calls from several threads follow one another.
 */
public class DICOMDataObject implements AutoCloseable {
    private static final Cleaner CLEANER = Cleaner.create();

    static {
        NativeLibrary.load();
    }

    private final Cleaner.Cleanable cleanable;
    private long handle;
    /** Calls that use the native data set now and may come back here, through a stream or a listener. */
    private int uses;

    /** Creates an empty data set. */
    public DICOMDataObject() {
        long created = nativeCreate();
        if (created == 0) {
            throw new OutOfMemoryError("no native memory for a data set");
        }
        handle = created;
        cleanable = CLEANER.register(this, () -> nativeDelete(created));
    }

    /**
     * Frees the data set; when a stream or listener closes it while it is being used, at the end of that use.
     * A second close does nothing.
     */
    @Override
    public synchronized void close() {
        handle = 0;
        freeIfClosed();
    }

    /**
     * Returns the address of the native data set, for the methods that take one as a number. It is valid
     * while this object is open and reachable; {@link #withHandle} takes care of both.
     *
     * @return the address
     */
    public synchronized long getHandle() {
        return requireHandle();
    }

    /**
     * Calls a function with the address of the native data set, which stays open and locked meanwhile.
     *
     * @param <T> what the function returns
     * @param function the function
     * @return the function's result
     */
    public synchronized <T> T withHandle(LongFunction<T> function) {
        long used = beginUse();
        try {
            return function.apply(used);
        } finally {
            endUse();
        }
    }

    /**
     * Adds the attributes of a DICOM file, pixel data included.
     *
     * @param file a Part 10 file
     * @throws IOException if reading fails or the file is no DICOM
     */
    public void load(Path file) throws IOException {
        load(NativePath.of(file), false);
    }

    /**
     * Adds the attributes of a DICOM file that stand before its pixel data.
     *
     * @param file a Part 10 file
     * @throws IOException if reading fails or the file is no DICOM
     */
    public void loadHeader(Path file) throws IOException {
        load(NativePath.of(file), true);
    }

    /**
     * Adds the attributes of a DICOM stream that stand before its pixel data.
     *
     * @param in a Part 10 stream; not closed
     * @throws IOException if reading fails or the stream is no DICOM
     */
    public synchronized void loadHeader(SeekableInputStream in) throws IOException {
        long used = beginUse();
        try {
            nativeLoadStream(used, in);
        } finally {
            endUse();
        }
    }

    /**
     * Returns an attribute as text.
     *
     * @param tag the attribute
     * @return all its values with backslashes between them; null when it is absent or neither text nor
     *     number
     */
    public synchronized String getString(int tag) {
        return nativeGetString(requireHandle(), tag);
    }

    /**
     * Sets an attribute to a text, whatever it was before.
     *
     * @param tag the attribute
     * @param vr its value representation, such as "LO"
     * @param value the text, with backslashes between several values
     * @throws IllegalArgumentException if the value representation is none or takes no such text
     */
    public synchronized void setString(int tag, String vr, String value) {
        require(nativeSetString(requireHandle(), tag, vr, value), tag, vr, value);
    }

    /**
     * Returns the first value of an attribute as a number.
     *
     * @param tag the attribute
     * @param defaultValue what to return when it is absent or no number
     * @return the number
     */
    public int getInteger(int tag, int defaultValue) {
        return getInteger(tag, 0, defaultValue);
    }

    /**
     * Returns one value of an attribute as a number.
     *
     * @param tag the attribute
     * @param index which of its values, from 0
     * @param defaultValue what to return when there is no such value or it is no number
     * @return the number
     */
    public synchronized int getInteger(int tag, int index, int defaultValue) {
        return nativeGetInteger(requireHandle(), tag, index, defaultValue);
    }

    /**
     * Sets an attribute to a number, whatever it was before.
     *
     * @param tag the attribute
     * @param vr its value representation, such as "US"
     * @param value the number
     * @throws IllegalArgumentException if the value representation is none or takes no such number
     */
    public synchronized void setInteger(int tag, String vr, int value) {
        require(nativeSetInteger(requireHandle(), tag, vr, value), tag, vr, value);
    }

    /**
     * Returns whether an attribute is present, empty or not.
     *
     * @param tag the attribute
     * @return whether it is present
     */
    public synchronized boolean hasElement(int tag) {
        return nativeHasElement(requireHandle(), tag);
    }

    /**
     * Returns all attributes, pixel data excepted, in the order of their tags.
     *
     * @return the attributes, with those that sequences hold
     */
    public synchronized List<DICOMElement> getElements() {
        return ElementTree.of(nativeGetElements(requireHandle()));
    }

    /**
     * Removes an attribute.
     *
     * @param tag the attribute
     * @return whether it was present
     */
    public synchronized boolean remove(int tag) {
        return nativeRemove(requireHandle(), tag);
    }

    /**
     * Returns a value that decoding noted beside the attributes.
     *
     * @param key the value's name
     * @return the value, or null when there is none
     */
    public synchronized String getScratchpadValue(String key) {
        return nativeGetScratchpadValue(requireHandle(), key);
    }

    /**
     * Returns the bytes of the pixel data.
     *
     * @return a copy as it would stand in a little-endian file; null when there is none
     */
    public synchronized byte[] getPixelBytes() {
        return nativeGetPixelBytes(requireHandle());
    }

    /**
     * Saves the data set as a DICOM file.
     *
     * @param file the Part 10 file, replaced if it exists
     * @throws IOException if writing fails
     */
    public synchronized void save(Path file) throws IOException {
        nativeSave(requireHandle(), NativePath.of(file));
    }

    private synchronized void load(String path, boolean headerOnly) throws IOException {
        nativeLoadFile(requireHandle(), path, headerOnly);
    }

    private static void require(boolean done, int tag, String vr, Object value) {
        if (!done) {
            throw new IllegalArgumentException(String.format("(%04X,%04X) cannot be set to %s as %s",
                    tag >>> 16, tag & 0xFFFF, value, vr));
        }
    }

    private long beginUse() {
        long used = requireHandle();
        uses++;
        return used;
    }

    private void endUse() {
        uses--;
        freeIfClosed();
    }

    private void freeIfClosed() {
        if (handle == 0 && uses == 0) {
            cleanable.clean();
        }
    }

    private long requireHandle() {
        if (handle == 0) {
            throw new IllegalStateException("the data set is closed");
        }
        return handle;
    }

    // The native side: every method with a handle throws NullPointerException for handle 0. A tag is
    // group * 65536 + element.

    /** Makes an empty data set; 0 when there is no memory. */
    private static native long nativeCreate();

    private static native void nativeDelete(long handle);

    /** Loads a Part 10 file; with headerOnly it stops at Pixel Data. */
    private static native void nativeLoadFile(long handle, String path, boolean headerOnly)
            throws IOException;

    /** Loads what a Part 10 stream holds before Pixel Data. The stream is not closed. */
    private static native void nativeLoadStream(long handle, SeekableInputStream in) throws IOException;

    /** All values with their backslashes, bytes taken as Latin-1; null when absent or no text or number. */
    private static native String nativeGetString(long handle, int tag);

    /** Puts text in, in place of what is there; false when the VR is unknown or cannot hold it. */
    private static native boolean nativeSetString(long handle, int tag, String vr, String value);

    /** One value as a number, index counted from 0; the default when absent or no number. */
    private static native int nativeGetInteger(long handle, int tag, int index, int defaultValue);

    /** Puts a number in, in place of what is there; false when the VR is unknown or cannot hold it. */
    private static native boolean nativeSetInteger(long handle, int tag, String vr, int value);

    private static native boolean nativeHasElement(long handle, int tag);

    /** Takes an element out; false when it was not there. */
    private static native boolean nativeRemove(long handle, int tag);

    /** Two texts for each element and item: depth, tag in hexadecimal, VR, keyword, with blanks between; and the value,
     * bytes taken as Latin-1, or null. */
    private static native String[] nativeGetElements(long handle);

    /** A value of the scratch pad as text; null when there is none. */
    private static native String nativeGetScratchpadValue(long handle, String key);

    /** A copy of the bytes of Pixel Data as they would stand in a little-endian file; null without any. */
    private static native byte[] nativeGetPixelBytes(long handle);

    /** Writes a Part 10 file. */
    private static native void nativeSave(long handle, String path) throws IOException;
}
