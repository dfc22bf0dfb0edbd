// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

import com.quorix.util.NativeLibrary;
import com.quorix.util.NativePath;
import java.awt.image.BufferedImage;
import java.awt.image.WritableRaster;
import java.io.IOException;
import java.lang.ref.Cleaner;
import java.lang.ref.WeakReference;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import java.util.List;

/**
 * A decoded image: pixels in native memory, and what they mean.
 *
 * <p>Close an image when done with it; one that is forgotten is closed once the garbage collector finds it,
 * which knows nothing of the size of its pixels. A closed image throws {@link IllegalStateException} from
 * everything but {@link #close()}. Buffers from {@link #getPixelData()} outlive it: pixels are freed when
 * the image is closed and no such buffer, slice or view of one is reachable.
 *
 * <p>Thread-safe: calls from several threads follow one another, so that closing waits for a running call.
 */
public class Renderable implements AutoCloseable {
    /** For all that the garbage collector may have to free. */
    static final Cleaner CLEANER = Cleaner.create();

    static {
        NativeLibrary.load();
    }

    private NativeImage image;
    private Cleaner.Cleanable share;
    private WeakReference<ByteBuffer> root = new WeakReference<>(null);
    private List<DecodeWarning> warnings = List.of();
    private int frame;

    /** Creates an image without pixels. */
    public Renderable() {
        this(create(), true);
    }

    /**
     * Creates an image over a native one. The native library calls this.
     *
     * @param theCObjectPtr address of the native image
     * @param theTakeOwnershipFlag whether the native image is freed with this one
     */
    public Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag) {
        attach(new NativeImage(theCObjectPtr, theTakeOwnershipFlag));
    }

    /** Lets go of the native image. A second close does nothing. */
    @Override
    public synchronized void close() {
        image = null;
        share.clean();
    }

    /** {@return whether the image was closed} */
    public synchronized boolean isClosed() {
        return image == null;
    }

    /**
     * Returns what is in doubt about the image, in the order in which it was noticed. Only {@link Decompressor}
     * gives an image its warnings.
     *
     * @return the warnings, unmodifiable; none for most images
     */
    public synchronized List<DecodeWarning> getWarnings() {
        handle();
        return warnings;
    }

    /**
     * Returns which frame of its source the image is. Only {@link Decompressor} tells an image.
     *
     * @return the frame's index, from 0; 0 for a bare image
     */
    public synchronized int getFrame() {
        handle();
        return frame;
    }

    synchronized void setSource(int newFrame, List<DecodeWarning> newWarnings) {
        frame = newFrame;
        warnings = List.copyOf(newWarnings);
    }

    /** {@return the bits that each sample takes up} */
    public synchronized int getBitsAllocated() {
        return nativeGetBitsAllocated(handle());
    }

    /**
     * Sets the bits that each sample takes up.
     * @param bitsAllocated the bits that each sample takes up
     */
    public synchronized void setBitsAllocated(int bitsAllocated) {
        nativeSetBitsAllocated(handle(), toShort(bitsAllocated));
    }

    /** {@return the bits of each sample that carry its value} */
    public synchronized int getBitsStored() {
        return nativeGetBitsStored(handle());
    }

    /**
     * Sets the bits of each sample that carry its value.
     * @param bitsStored the bits of each sample that carry its value
     */
    public synchronized void setBitsStored(int bitsStored) {
        nativeSetBitsStored(handle(), toShort(bitsStored));
    }

    /** {@return the number of a value's highest bit, from 0} */
    public synchronized int getHighBit() {
        return nativeGetHighBit(handle());
    }

    /**
     * Sets the number of a value's highest bit, from 0.
     * @param highBit the number of a value's highest bit, from 0
     */
    public synchronized void setHighBit(int highBit) {
        nativeSetHighBit(handle(), toShort(highBit));
    }

    /** {@return the number of rows} */
    public synchronized int getRows() {
        return nativeGetRows(handle());
    }

    /**
     * Sets the number of rows.
     * @param rows the number of rows
     */
    public synchronized void setRows(int rows) {
        nativeSetRows(handle(), rows);
    }

    /** {@return the number of columns} */
    public synchronized int getColumns() {
        return nativeGetColumns(handle());
    }

    /**
     * Sets the number of columns.
     * @param columns the number of columns
     */
    public synchronized void setColumns(int columns) {
        nativeSetColumns(handle(), columns);
    }

    /** {@return the samples of each pixel: 1 for grey, 3 for colour} */
    public synchronized int getSamplesPerPixel() {
        return nativeGetSamplesPerPixel(handle());
    }

    /**
     * Sets the samples of each pixel: 1 for grey, 3 for colour.
     * @param samplesPerPixel the samples of each pixel: 1 for grey, 3 for colour
     */
    public synchronized void setSamplesPerPixel(int samplesPerPixel) {
        nativeSetSamplesPerPixel(handle(), samplesPerPixel);
    }

    /** {@return the compression ratio, rounded; 0 when unknown} */
    public synchronized int getCompressionRatio() {
        return nativeGetCompressionRatio(handle());
    }

    /**
     * Sets the compression ratio, rounded; 0 when unknown.
     * @param compressionRatio the compression ratio, rounded; 0 when unknown
     */
    public synchronized void setCompressionRatio(int compressionRatio) {
        nativeSetCompressionRatio(handle(), compressionRatio);
    }

    /** {@return the resolution of the image: 1 for full size, each step more halves width and height} */
    public synchronized int getScaleFactor() {
        return nativeGetScaleFactor(handle());
    }

    /**
     * Sets the resolution of the image: 1 for full size, each step more halves width and height.
     * @param scaleFactor the resolution of the image: 1 for full size, each step more halves width and height
     */
    public synchronized void setScaleFactor(int scaleFactor) {
        nativeSetScaleFactor(handle(), toShort(scaleFactor));
    }

    /** {@return the Rescale Slope that the data set has for this frame, together with an intercept; else 1} */
    public synchronized double getRescaleSlope() {
        return nativeGetRescaleSlope(handle());
    }

    /** {@return the Rescale Intercept that the data set has for this frame, together with a slope; else 0} */
    public synchronized double getRescaleIntercept() {
        return nativeGetRescaleIntercept(handle());
    }

    /** {@return the horizontal part of the pixel aspect ratio} */
    public synchronized int getPixelAspectRatioHorizontal() {
        return nativeGetPixelAspectRatioHorizontal(handle());
    }

    /**
     * Sets the horizontal part of the pixel aspect ratio.
     * @param pixelAspectRatioHorizontal the horizontal part of the pixel aspect ratio
     */
    public synchronized void setPixelAspectRatioHorizontal(int pixelAspectRatioHorizontal) {
        nativeSetPixelAspectRatioHorizontal(handle(), pixelAspectRatioHorizontal);
    }

    /** {@return the vertical part of the pixel aspect ratio} */
    public synchronized int getPixelAspectRatioVertical() {
        return nativeGetPixelAspectRatioVertical(handle());
    }

    /**
     * Sets the vertical part of the pixel aspect ratio.
     * @param pixelAspectRatioVertical the vertical part of the pixel aspect ratio
     */
    public synchronized void setPixelAspectRatioVertical(int pixelAspectRatioVertical) {
        nativeSetPixelAspectRatioVertical(handle(), pixelAspectRatioVertical);
    }

    /** {@return the code of the photometric interpretation} */
    public synchronized int getPhotometricInterpretation() {
        return nativeGetPhotometricInterpretation(handle());
    }

    /** {@return the photometric interpretation} */
    public PhotometricInterpretation getPhotometric() {
        return PhotometricInterpretation.of(getPhotometricInterpretation());
    }

    /**
     * Sets the code of the photometric interpretation.
     * @param photometricInterpretation the code of the photometric interpretation
     */
    public synchronized void setPhotometricInterpretation(int photometricInterpretation) {
        nativeSetPhotometricInterpretation(handle(), photometricInterpretation);
    }

    /** {@return whether the image went through compression with loss} */
    public synchronized boolean isLossyImageCompression() {
        return nativeGetLossyImageCompression(handle());
    }

    /**
     * Sets whether the image went through compression with loss.
     * @param lossyImageCompression whether the image went through compression with loss
     */
    public synchronized void setLossyImageCompression(boolean lossyImageCompression) {
        nativeSetLossyImageCompression(handle(), lossyImageCompression);
    }

    /** {@return whether samples are signed (two's complement)} */
    public synchronized boolean isSigned() {
        return nativeGetSigned(handle());
    }

    /**
     * Sets whether samples are signed (two's complement).
     * @param signed whether samples are signed (two's complement)
     */
    public synchronized void setSigned(boolean signed) {
        nativeSetSigned(handle(), signed);
    }

    /** {@return whether samples of more than 8 bits are little endian} */
    public synchronized boolean isPixelDataLittleEndian() {
        return nativeGetPixelDataLittleEndian(handle());
    }

    /**
     * Sets whether samples of more than 8 bits are little endian.
     * @param pixelDataLittleEndian whether samples of more than 8 bits are little endian
     */
    public synchronized void setPixelDataLittleEndian(boolean pixelDataLittleEndian) {
        nativeSetPixelDataLittleEndian(handle(), pixelDataLittleEndian);
    }

    /** {@return whether colour is stored by plane instead of by pixel} */
    public synchronized boolean isPlanarConfiguration() {
        return nativeGetPlanarConfiguration(handle());
    }

    /**
     * Sets whether colour is stored by plane instead of by pixel.
     * @param planarConfiguration whether colour is stored by plane instead of by pixel
     */
    public synchronized void setPlanarConfiguration(boolean planarConfiguration) {
        nativeSetPlanarConfiguration(handle(), planarConfiguration);
    }

    /** {@return how many bytes the pixels take up} */
    public synchronized long getPixelDataSize() {
        return nativeGetPixelDataSize(handle());
    }

    /** {@return how many bytes the pixels need according to rows, columns and so on} */
    public synchronized long getRequiredPixelDataBufferSize() {
        return nativeGetRequiredPixelDataBufferSize(handle());
    }

    /** {@return whether there are pixels} */
    public synchronized boolean isPixelDataAllocated() {
        return isPixelDataAllocated(handle());
    }

    /**
     * Allocates pixels of the required size, all zero.
     *
     * @throws IllegalStateException if there are pixels already, or no memory for them
     */
    public synchronized void allocatePixelData() {
        if (isPixelDataAllocated()) {
            throw new IllegalStateException("the image has pixels already");
        }
        allocatePixelData(handle());
        if (!isPixelDataAllocated()) {
            throw new IllegalStateException("cannot allocate " + getRequiredPixelDataBufferSize() + " bytes");
        }
    }

    /**
     * Lets go of the pixels. Buffers over them stay valid, and the memory is freed when none is left.
     */
    public synchronized void freePixelData() {
        if (image != null && image.isShared()) {
            leavePixelsToBuffers();
        } else {
            freePixelData(handle());
        }
    }

    /**
     * Returns the pixels themselves, not a copy, as a read-only direct buffer in their byte order, from
     * the top left row by row. An image that does not own its native image gives out a copy.
     *
     * @return a buffer with position 0 and all bytes remaining
     * @throws IllegalStateException without pixels, or with more of them than a buffer holds
     */
    public synchronized ByteBuffer getPixelData() {
        if (!isPixelDataAllocated()) {
            throw new IllegalStateException("the image has no pixels");
        }
        ByteOrder order = isPixelDataLittleEndian() ? ByteOrder.LITTLE_ENDIAN : ByteOrder.BIG_ENDIAN;
        ByteBuffer pixels = image.isOwned() ? sharedPixels() : copiedPixels();
        return pixels.asReadOnlyBuffer().order(order);
    }

    /**
     * Makes a picture with all values of the image. Grey images of up to 8 bits stored become
     * {@link BufferedImage#TYPE_BYTE_GRAY}, deeper ones {@link BufferedImage#TYPE_USHORT_GRAY}, stretched
     * so that the bits stored span black to white; signed values start at black with their least one, and
     * MONOCHROME1 is inverted. RGB becomes {@link BufferedImage#TYPE_3BYTE_BGR}, deep one brought to 8 bits.
     *
     * <p>The raster's samples are the values to show. {@link BufferedImage#getRGB(int, int)} of a grey
     * picture is something else: Java takes grey for linear light and brightens it there.
     *
     * @return a picture of its own, independent of this image
     * @throws UnsupportedOperationException for other kinds of pixels
     */
    public BufferedImage toBufferedImage() {
        return PictureMaker.of(this).makeFull();
    }

    /**
     * Makes an 8-bit picture of a grey image through a window, which counts in what the modality measured, Hounsfield
     * units on CT, as {@code --window} of the command line does: in sample values times {@link #getRescaleSlope} plus
     * {@link #getRescaleIntercept}. Where the data set has no rescale, and for bare codestreams and cache files, these
     * are the sample values; a Modality LUT is not applied. Colour images take no window.
     *
     * @param center value that becomes middle grey
     * @param width number of values from black to white, at least 1
     * @return a picture of its own, {@link BufferedImage#TYPE_BYTE_GRAY} for grey images
     * @throws UnsupportedOperationException for kinds of pixels that {@link #toBufferedImage()} refuses
     */
    public BufferedImage toBufferedImage(double center, double width) {
        if (!(width >= 1.0)) {
            throw new IllegalArgumentException("window width is " + width + ", must be at least 1");
        }
        return PictureMaker.of(this).makeWindowed(center, width);
    }

    /**
     * Makes a raster of the values as they are stored, nothing stretched or inverted, whatever the photometric
     * interpretation. Its bands are the samples of a pixel; bits above and below those stored are left out.
     *
     * @return a raster of its own: {@link java.awt.image.DataBuffer#TYPE_BYTE} for up to 8 unsigned bits stored,
     *     {@code TYPE_USHORT} for up to 16, {@code TYPE_SHORT} for signed values, {@code TYPE_INT} beyond 16 bits
     *     (unsigned ones of 32 bits come out as negative numbers from 2<sup>31</sup> on)
     * @throws UnsupportedOperationException for colour of other depths than 8 and 16 bits allocated
     */
    public WritableRaster toRaster() {
        return PictureMaker.of(this).makeRaster();
    }

    /**
     * Loads a cache file into this image, which must not have pixels.
     *
     * @param file the cache file
     * @return whether the image was loaded
     * @throws IOException if reading fails or the file is damaged
     */
    public boolean loadFromFile(Path file) throws IOException {
        return loadFromFile(NativePath.of(file));
    }

    /**
     * Loads a cache file into this image, which must not have pixels, if its scale factor is fit.
     *
     * @param file the cache file
     * @param scaleFactor above 0 the highest fit scale factor, 0 for any, below 0 the negated exact one
     * @return whether the image was loaded; false when the scale factor is not fit
     * @throws IOException if reading fails or the file is damaged
     */
    public boolean loadFromFile(Path file, int scaleFactor) throws IOException {
        return loadFromFile(NativePath.of(file), scaleFactor);
    }

    /**
     * Saves image and pixels as a cache file.
     *
     * @param file the cache file
     * @throws IOException if writing fails
     */
    public void saveToFile(Path file) throws IOException {
        saveToFile(NativePath.of(file));
    }

    /**
     * Saves image and pixels as a cache file while holding its write lock.
     *
     * @param file the cache file
     * @throws IOException if writing or locking fails
     */
    public void saveToFileLocked(Path file) throws IOException {
        saveToFileLocked(NativePath.of(file));
    }

    /**
     * Says what the image is: columns and rows, photometric interpretation, bits of a sample and which frame it is.
     *
     * @return such as "512x512 MONOCHROME2, 12 of 16 bits signed, frame 3", or that the image is closed
     */
    @Override
    public synchronized String toString() {
        if (image == null || image.handle() == 0) {
            return image == null ? "closed image" : "no image";
        }
        String samples = getSamplesPerPixel() == 1 ? "" : getSamplesPerPixel() + " samples of ";
        String bits = (getBitsStored() == getBitsAllocated() ? "" : getBitsStored() + " of ") + getBitsAllocated();
        return getColumns() + "x" + getRows() + " " + getPhotometric() + ", " + samples + bits + " bits"
                + (isSigned() ? " signed" : "") + ", frame " + frame;
    }

    private synchronized boolean loadFromFile(String path) throws IOException {
        return nativeLoadFromFile(handle(), path);
    }

    private synchronized boolean loadFromFile(String path, int scaleFactor) throws IOException {
        return nativeLoadFromFile(handle(), path, toShort(scaleFactor));
    }

    private synchronized void saveToFile(String path) throws IOException {
        nativeSaveToFile(handle(), path);
    }

    private synchronized void saveToFileLocked(String path) throws IOException {
        nativeSaveToFileLocked(handle(), path);
    }

    /** {@return how long decoding or loading took in all, in milliseconds} */
    public synchronized double getTotalTimeTakenToLoad() {
        return nativeGetTotalTimeTakenToLoad(handle());
    }

    /** {@return how long reading the header took, in milliseconds} */
    public synchronized double getTimeTakenToLoadHeader() {
        return nativeGetTimeTakenToLoadHeader(handle());
    }

    /** {@return the largest single transfer to and from cache files} */
    public static int getIOBufferSize() {
        return nativeGetIOBufferSize();
    }

    /**
     * Sets the largest single transfer to and from cache files, for the whole process.
     *
     * @param size the number of bytes
     * @return the number of bytes set
     */
    public static int setIOBufferSize(int size) {
        return nativeSetIOBufferSize(size);
    }

    /**
     * Returns the defined term of a photometric interpretation.
     *
     * @param code one of the codes of the {@code getPit...} methods
     * @return the term; "INVALID" for other codes
     */
    public static native String photometricInterpretationTypeToString(int code);

    /** {@return the code of INVALID} */
    public static int getPitInvalid() {
        return nativeGetPitInvalid();
    }

    /** {@return the code of MONOCHROME1} */
    public static int getPitMonochrome1() {
        return nativeGetPitMonochrome1();
    }

    /** {@return the code of MONOCHROME2} */
    public static int getPitMonochrome2() {
        return nativeGetPitMonochrome2();
    }

    /** {@return the code of PALETTE COLOR} */
    public static int getPitPaletteColor() {
        return nativeGetPitPaletteColor();
    }

    /** {@return the code of RGB} */
    public static int getPitRgb() {
        return nativeGetPitRgb();
    }

    /** {@return the code of YBR_FULL} */
    public static int getPitYbrFull() {
        return nativeGetPitYbrFull();
    }

    /** {@return the code of YBR_FULL_422} */
    public static int getPitYbrFull422() {
        return nativeGetPitYbrFull422();
    }

    /** {@return the code of YBR_PARTIAL_422} */
    public static int getPitYbrPartial422() {
        return nativeGetPitYbrPartial422();
    }

    /** {@return the code of YBR_PARTIAL_420} */
    public static int getPitYbrPartial420() {
        return nativeGetPitYbrPartial420();
    }

    /** {@return the code of YBR_ICT} */
    public static int getPitYbrIct() {
        return nativeGetPitYbrIct();
    }

    /** {@return the code of YBR_RCT} */
    public static int getPitYbrRct() {
        return nativeGetPitYbrRct();
    }

    /** Frees a native image; for the last of those that shared it. */
    static void delete(long handle) {
        nativeDeleteRenderable(handle);
    }

    private static long create() {
        long handle = nativeCreateRenderable();
        if (handle == 0) {
            throw new OutOfMemoryError("no native memory for an image");
        }
        nativeSetScaleFactor(handle, (short) 1);
        return handle;
    }

    /** The native address; whoever calls holds this object's lock, so that nobody closes meanwhile. */
    private long handle() {
        if (image == null) {
            throw new IllegalStateException("the image is closed");
        }
        return image.handle();
    }

    private void attach(NativeImage newImage) {
        share = CLEANER.register(this, newImage::release);
        image = newImage;
    }

    /** The buffer over the native pixels, all others are made of it and keep it reachable. */
    private ByteBuffer sharedPixels() {
        ByteBuffer buffer = root.get();
        if (buffer == null) {
            buffer = requireBuffer(nativeGetPixelBuffer(handle()));
            image.retain();
            try {
                CLEANER.register(buffer, image::release);
            } catch (Throwable failure) {
                image.release();
                throw failure;
            }
            root = new WeakReference<>(buffer);
        }
        return buffer;
    }

    private ByteBuffer copiedPixels() {
        ByteBuffer buffer = requireBuffer(nativeGetPixelBuffer(handle()));
        return ByteBuffer.allocateDirect(buffer.capacity()).put(buffer).flip();
    }

    private static ByteBuffer requireBuffer(ByteBuffer buffer) {
        if (buffer == null) {
            throw new IllegalStateException("the image has more pixels than a buffer holds");
        }
        return buffer;
    }

    /** Goes on with a native image that is equal but has no pixels. */
    private void leavePixelsToBuffers() {
        NativeImage successor = new NativeImage(create(), true);
        copyProperties(image.handle(), successor.handle());
        Cleaner.Cleanable oldShare = share;
        root = new WeakReference<>(null);
        attach(successor);
        oldShare.clean();
    }

    private static void copyProperties(long from, long to) {
        nativeSetBitsAllocated(to, nativeGetBitsAllocated(from));
        nativeSetBitsStored(to, nativeGetBitsStored(from));
        nativeSetHighBit(to, nativeGetHighBit(from));
        nativeSetRows(to, nativeGetRows(from));
        nativeSetColumns(to, nativeGetColumns(from));
        nativeSetSamplesPerPixel(to, nativeGetSamplesPerPixel(from));
        nativeSetCompressionRatio(to, nativeGetCompressionRatio(from));
        nativeSetScaleFactor(to, nativeGetScaleFactor(from));
        nativeSetRescaleSlope(to, nativeGetRescaleSlope(from));
        nativeSetRescaleIntercept(to, nativeGetRescaleIntercept(from));
        nativeSetPixelAspectRatioHorizontal(to, nativeGetPixelAspectRatioHorizontal(from));
        nativeSetPixelAspectRatioVertical(to, nativeGetPixelAspectRatioVertical(from));
        nativeSetPhotometricInterpretation(to, nativeGetPhotometricInterpretation(from));
        nativeSetLossyImageCompression(to, nativeGetLossyImageCompression(from));
        nativeSetSigned(to, nativeGetSigned(from));
        nativeSetPixelDataLittleEndian(to, nativeGetPixelDataLittleEndian(from));
        nativeSetPlanarConfiguration(to, nativeGetPlanarConfiguration(from));
    }

    private static short toShort(int value) {
        if (value != (short) value) {
            throw new IllegalArgumentException(value + " is out of range");
        }
        return (short) value;
    }

    // The native side: every method with a handle throws NullPointerException for handle 0.

    private static native long nativeCreateRenderable();
    private static native void nativeDeleteRenderable(long handle);
    private static native short nativeGetBitsAllocated(long handle);
    private static native void nativeSetBitsAllocated(long handle, short value);
    private static native short nativeGetBitsStored(long handle);
    private static native void nativeSetBitsStored(long handle, short value);
    private static native short nativeGetHighBit(long handle);
    private static native void nativeSetHighBit(long handle, short value);
    private static native int nativeGetRows(long handle);
    private static native void nativeSetRows(long handle, int value);
    private static native int nativeGetColumns(long handle);
    private static native void nativeSetColumns(long handle, int value);
    private static native int nativeGetSamplesPerPixel(long handle);
    private static native void nativeSetSamplesPerPixel(long handle, int value);
    private static native int nativeGetCompressionRatio(long handle);
    private static native void nativeSetCompressionRatio(long handle, int value);
    private static native short nativeGetScaleFactor(long handle);
    private static native void nativeSetScaleFactor(long handle, short value);
    private static native double nativeGetRescaleSlope(long handle);
    private static native void nativeSetRescaleSlope(long handle, double value);
    private static native double nativeGetRescaleIntercept(long handle);
    private static native void nativeSetRescaleIntercept(long handle, double value);
    private static native int nativeGetPixelAspectRatioHorizontal(long handle);
    private static native void nativeSetPixelAspectRatioHorizontal(long handle, int value);
    private static native int nativeGetPixelAspectRatioVertical(long handle);
    private static native void nativeSetPixelAspectRatioVertical(long handle, int value);
    private static native int nativeGetPhotometricInterpretation(long handle);
    private static native void nativeSetPhotometricInterpretation(long handle, int value);
    private static native boolean nativeGetLossyImageCompression(long handle);
    private static native void nativeSetLossyImageCompression(long handle, boolean value);
    private static native boolean nativeGetSigned(long handle);
    private static native void nativeSetSigned(long handle, boolean value);
    private static native boolean nativeGetPixelDataLittleEndian(long handle);
    private static native void nativeSetPixelDataLittleEndian(long handle, boolean value);
    private static native boolean nativeGetPlanarConfiguration(long handle);
    private static native void nativeSetPlanarConfiguration(long handle, boolean value);
    private static native long nativeGetPixelDataSize(long handle);
    private static native long nativeGetRequiredPixelDataBufferSize(long handle);

    /** A direct buffer over the native pixels; null when there are none or more than 2^31 - 1 bytes. */
    private static native ByteBuffer nativeGetPixelBuffer(long handle);
    private static native boolean isPixelDataAllocated(long handle);
    private static native void allocatePixelData(long handle);
    private static native void freePixelData(long handle);
    private static native boolean nativeLoadFromFile(long handle, String path, short scaleFactor)
            throws IOException;
    private static native boolean nativeLoadFromFile(long handle, String path) throws IOException;
    private static native void nativeSaveToFile(long handle, String path) throws IOException;
    private static native void nativeSaveToFileLocked(long handle, String path) throws IOException;
    private static native double nativeGetTotalTimeTakenToLoad(long handle);
    private static native double nativeGetTimeTakenToLoadHeader(long handle);
    private static native int nativeGetIOBufferSize();
    private static native int nativeSetIOBufferSize(int size);
    private static native int nativeGetPitInvalid();
    private static native int nativeGetPitMonochrome1();
    private static native int nativeGetPitMonochrome2();
    private static native int nativeGetPitPaletteColor();
    private static native int nativeGetPitRgb();
    private static native int nativeGetPitYbrFull();
    private static native int nativeGetPitYbrFull422();
    private static native int nativeGetPitYbrPartial422();
    private static native int nativeGetPitYbrPartial420();
    private static native int nativeGetPitYbrIct();
    private static native int nativeGetPitYbrRct();

    /** Pixel buffers alive in the library's allocator, despite the name; for tests that look for leaks. */
    static native long nativeGetAllocatedBytes();
}
