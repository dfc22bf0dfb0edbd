// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import com.quorix.util.NativeLibrary;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Iterator;
import java.util.List;
import java.util.Locale;
import javax.imageio.ImageReader;
import javax.imageio.spi.ImageReaderSpi;
import javax.imageio.spi.ServiceRegistry;
import javax.imageio.stream.ImageInputStream;

/**
 * What the providers have in common. Asking one what it can decode never throws and leaves the stream where it was;
 * where the native library cannot be loaded the answer is no, and other readers go on as if this one was not there.
 */
abstract class QuorixImageReaderSpi extends ImageReaderSpi {
    private static final String METADATA_FORMAT_CLASS = DicomMetadataFormat.class.getName();

    private final InputFormat format;

    QuorixImageReaderSpi(InputFormat format) {
        super("QuorixDecompLib", version(), format.names(), format.suffixes(), format.mimeTypes(),
                QuorixImageReader.class.getName(), new Class<?>[] {ImageInputStream.class}, null,
                format == InputFormat.DICOM, nativeFormat(format), nativeFormatClass(format), null, null,
                true, nativeFormat(format), nativeFormatClass(format), null, null);
        this.format = format;
    }

    private static String version() {
        String version = QuorixImageReaderSpi.class.getPackage().getImplementationVersion();
        return version != null ? version : "unpacked";
    }

    private static String nativeFormat(InputFormat format) {
        return format == InputFormat.DICOM ? DicomMetadataFormat.NAME : null;
    }

    private static String nativeFormatClass(InputFormat format) {
        return format == InputFormat.DICOM ? METADATA_FORMAT_CLASS : null;
    }

    InputFormat format() {
        return format;
    }

    @Override
    public boolean canDecodeInput(Object source) {
        try {
            return source instanceof ImageInputStream stream && InputFormat.at(stream) == format && Library.IS_THERE;
        } catch (IOException | RuntimeException exception) {
            return false; // ImageIO asks the next one
        }
    }

    /** Throws what makes ImageIO take this provider out of its registry where the native library cannot be loaded. */
    @Override
    public ImageReader createReaderInstance(Object extension) throws IOException {
        if (!Library.IS_THERE) {
            throw new IOException("the native library cannot be loaded", Library.FAILURE);
        }
        return new QuorixImageReader(this);
    }

    /**
     * Goes before readers that take more for theirs than they can decode: those of plain JPEG, Java's own for one, take
     * all that begins like JPEG, and those of TIFF take DICOM files with a TIFF header for a preamble.
     */
    @Override
    public void onRegistration(ServiceRegistry registry, Class<?> category) {
        String greedy = format == InputFormat.DICOM ? "tiff" : "jpeg";
        List<ImageReaderSpi> others = new ArrayList<>();
        Iterator<ImageReaderSpi> registered = registry.getServiceProviders(ImageReaderSpi.class, false);
        registered.forEachRemaining(others::add);
        others.removeIf(other -> !Arrays.asList(other.getFormatNames()).contains(greedy));
        others.forEach(other -> registry.setOrdering(ImageReaderSpi.class, this, other));
    }

    @Override
    public String getDescription(Locale locale) {
        return format.description();
    }

    /** Tries to load the native library when it is first asked for. */
    private static final class Library {
        static final Throwable FAILURE = load();
        static final boolean IS_THERE = FAILURE == null;

        private static Throwable load() {
            try {
                NativeLibrary.load();
                return null;
            } catch (LinkageError | RuntimeException failure) {
                return failure;
            }
        }
    }
}
