// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import java.io.IOException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import javax.tools.JavaCompiler;
import javax.tools.ToolProvider;

/**
 * Classes of the library's names as an application may bring them: no more than the native side looks up,
 * in a class loader of their own with a copy of the native library of its own.
 *
 * <p>{@link #replace} and {@link #remove} take parts away. {@link #call} runs a piece of Java code among them.
 */
final class ForeignClasses {
    private static final String DRIVER = "com.quorix.decompression.Driver";

    private final Map<String, String> sources = new LinkedHashMap<>();
    private final List<String> removed = new ArrayList<>();

    ForeignClasses() {
        source("com.quorix.io.SeekableInputStream", """
                private final byte[] bytes;
                private int position;
                public int closeCount;
                public SeekableInputStream(byte[] bytes) { this.bytes = bytes; }
                public int read(byte[] buffer, int offset, int length) {
                    int count = Math.min(length, bytes.length - position);
                    System.arraycopy(bytes, position, buffer, offset, count);
                    position += count;
                    return count == 0 ? -1 : count;
                }
                public void seek(long newPosition) { position = (int) newPosition; }
                public int skip(int count) { position += count; return count; }
                public long length() { return bytes.length; }
                public long getFilePointer() { return position; }
                public void close() { closeCount++; }
                """);
        source("com.quorix.util.InputBuffer", "");
        source("com.quorix.util.ByteArrayInputBuffer extends InputBuffer", """
                private final byte[] array;
                public ByteArrayInputBuffer(byte[] array) { this.array = array; }
                public byte[] getArray() { return array; }
                public int getBytesAvailable() { return array.length; }
                """);
        source("com.quorix.util.InputBufferQueue", """
                private byte[] next;
                public String events = "";
                public InputBufferQueue(byte[] bytes) { next = bytes; }
                public InputBuffer get() {
                    events += " get";
                    byte[] bytes = next;
                    next = null;
                    return bytes == null ? null : new ByteArrayInputBuffer(bytes);
                }
                public void completed(InputBuffer buffer) { events += buffer == null ? " end" : " completed"; }
                public void setAutoFlush(boolean autoFlush) { events += " autoFlush=" + autoFlush; }
                """);
        source("com.quorix.decompression.Renderable", """
                public static int alive;
                private final long pointer;
                public Renderable(long pointer, boolean owner) { this.pointer = pointer; alive += owner ? 1 : 0; }
                public void close() { nativeDeleteRenderable(pointer); alive--; }
                private static native void nativeDeleteRenderable(long handle);
                """);
        source("com.quorix.decompression.DecomprResult", """
                public int DLResultCode = -1;
                public int SystemError = -1;
                public String Message = "untouched";
                public String frames = "";
                public boolean renderableAvailable(int index, Renderable image) {
                    frames += " " + index;
                    image.close();
                    return true;
                }
                """);
        source("com.quorix.decompression.NDecompressor", """
                public native Renderable decodeInputBufferQueueToMemory(com.quorix.util.InputBufferQueue queue,
                        long dataSet, int imageType, boolean lossless, int scaleFactor, DecomprResult result);
                public native Renderable decodeSeekableInputStreamToMemory(com.quorix.io.SeekableInputStream in,
                        long dataSet, int imageType, int frameIndex, int scaleFactor, DecomprResult result);
                public native boolean decodeMultiFrameImageToMemory(com.quorix.io.SeekableInputStream in,
                        long dataSet, int frameArgument, DecomprResult result);
                public native boolean decodeOrtho(com.quorix.io.SeekableInputStream in, int imageType,
                        boolean lossless, long dataSet, String demoFile, int scaleFactor, DecomprResult result);
                """);
        source("com.quorix.dicom.DICOMDataObject", "public static native long nativeCreate();\n");
    }

    private void source(String declaration, String body) {
        sources.put(declaration, body);
    }

    /** Changes a piece of a class's text. */
    ForeignClasses replace(String className, String text, String replacement) {
        for (Map.Entry<String, String> entry : sources.entrySet()) {
            if (nameOf(entry.getKey()).equals(className)) {
                if (!entry.getValue().contains(text)) {
                    throw new IllegalArgumentException("no " + text + " in " + className);
                }
                entry.setValue(entry.getValue().replace(text, replacement));
                return this;
            }
        }
        throw new IllegalArgumentException("no " + className);
    }

    /** Leaves a class out, though the others were compiled with it. */
    ForeignClasses remove(String className) {
        removed.add(className);
        return this;
    }

    /** Runs statements that return a String, with the variables {@code byte[] bytes} and {@code result}. */
    String call(Path folder, byte[] bytes, String statements) throws Exception {
        Map<String, String> all = new LinkedHashMap<>(sources);
        all.put(DRIVER + " implements java.util.concurrent.Callable<String>", """
                private final byte[] bytes;
                public Driver(byte[] bytes, String library) {
                    this.bytes = bytes;
                    System.load(library);
                }
                public String call() {
                    NDecompressor decompressor = new NDecompressor();
                    DecomprResult result = new DecomprResult();
                """ + statements + "\n}\n");
        Path classes = compile(folder, all);
        Path library = Files.createTempFile(folder, "library", ".so");
        Files.copy(Path.of(System.getProperty("quorix.library.path")), library, StandardCopyOption.REPLACE_EXISTING);
        try (URLClassLoader loader = new URLClassLoader(new URL[] {classes.toUri().toURL()},
                ClassLoader.getPlatformClassLoader())) {
            Callable<?> driver = (Callable<?>) loader.loadClass(DRIVER)
                    .getConstructor(byte[].class, String.class).newInstance(bytes, library.toString());
            return String.valueOf(driver.call());
        }
    }

    private Path compile(Path folder, Map<String, String> all) throws IOException {
        Path classes = Files.createTempDirectory(folder, "classes");
        List<String> arguments = new ArrayList<>(List.of("-d", classes.toString(), "-proc:none"));
        for (Map.Entry<String, String> entry : all.entrySet()) {
            String name = nameOf(entry.getKey());
            int dot = name.lastIndexOf('.');
            String declaration = entry.getKey().substring(dot + 1);
            Path file = folder.resolve("sources" + classes.getFileName()).resolve(name.replace('.', '/') + ".java");
            Files.createDirectories(file.getParent());
            Files.writeString(file, "package " + name.substring(0, dot) + ";\npublic class " + declaration + " {\n"
                    + entry.getValue() + "}\n");
            arguments.add(file.toString());
        }
        JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
        if (compiler.run(null, null, null, arguments.toArray(String[]::new)) != 0) {
            throw new IllegalStateException("the classes do not compile");
        }
        for (String name : removed) {
            Files.delete(classes.resolve(name.replace('.', '/') + ".class"));
        }
        return classes;
    }

    private static String nameOf(String declaration) {
        return declaration.replaceAll(" .*", "");
    }
}
