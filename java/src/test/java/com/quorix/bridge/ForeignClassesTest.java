// SPDX-License-Identifier: Apache-2.0
package com.quorix.bridge;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.quorix.support.Compressed;
import com.quorix.support.DicomFile;
import java.nio.file.Path;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Applications that bring classes of their own, whole and with parts missing: what is reported then. */
class ForeignClassesTest {
    private static final String STREAM = "com.quorix.io.SeekableInputStream";
    private static final String QUEUE = "com.quorix.util.InputBufferQueue";
    private static final String BUFFER = "com.quorix.util.ByteArrayInputBuffer";
    private static final String RENDERABLE = "com.quorix.decompression.Renderable";
    private static final String RESULT = "com.quorix.decompression.DecomprResult";

    private static final String REPORT =
            "return result.DLResultCode + \" \" + result.SystemError + \" \" + result.Message;";
    private static final String DECODE_STREAM = """
            Object image = decompressor.decodeSeekableInputStreamToMemory(
                    new com.quorix.io.SeekableInputStream(bytes), 0, 3, 0, 1, result);
            if (image != null) { ((Renderable) image).close(); }
            """;
    private static final String DECODE_QUEUE = """
            com.quorix.util.InputBufferQueue queue = new com.quorix.util.InputBufferQueue(bytes);
            Renderable image = decompressor.decodeInputBufferQueueToMemory(queue, 0, 1, true, 1, result);
            if (image != null) { image.close(); }
            """;
    private static final String DECODE_FRAMES = """
            com.quorix.io.SeekableInputStream stream = new com.quorix.io.SeekableInputStream(bytes);
            boolean success = decompressor.decodeMultiFrameImageToMemory(stream, 0, 0, result);
            """;
    private static final String DECODE_ORTHO = """
            boolean success = decompressor.decodeOrtho(new com.quorix.io.SeekableInputStream(bytes), 3, true,
                    com.quorix.dicom.DICOMDataObject.nativeCreate(), null, 1, result);
            """;

    @TempDir
    Path folder;

    private static byte[] twoFrames() {
        return DicomFile.grey8(8, 6).nativeFrames(2, Compressed.gradient8(8, 12, 0)).toBytes();
    }

    @Test
    void theLeastOfClassesWillDo() throws Exception {
        assertEquals("0 0 Completed successfully, 0 alive", new ForeignClasses().call(folder, twoFrames(),
                DECODE_STREAM + REPORT.replace(";", " + \", \" + Renderable.alive + \" alive\";")));
        assertEquals("0 0 Completed successfully,  0 1, 1",
                new ForeignClasses().call(folder, twoFrames(), DECODE_FRAMES
                        + REPORT.replace(";", " + \", \" + result.frames + \", \" + stream.closeCount;")));
        assertEquals("0 0 Completed successfully, get completed get end autoFlush=true",
                new ForeignClasses().call(folder, Compressed.jpeg(16, 16, 0), DECODE_QUEUE
                        + REPORT.replace(";", " + \",\" + queue.events;")));
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "int read(byte[] b     | SeekableInputStream method int read(byte[], int, int)",
        "void seek(            | void seek(long)",
        "void close(           | void close()",
        "long length(          | SeekableInputStream method long length()",
        "int skip(             | SeekableInputStream method int skip(int)",
        "long getFilePointer(  | SeekableInputStream method long getFilePointer()"})
    void streamsNeedAllTheirMethods(String method, String description) throws Exception {
        String renamed = method.replaceFirst("(\\w+)\\(", "no_$1(");
        ForeignClasses classes = new ForeignClasses().replace(STREAM, method, renamed);
        String reason = ":  StreamIOException: native JavaSeekableInputStream::JavaSeekableInputStream(jobject): "
                + "can't get method ID for " + description;
        assertEquals("62 0 Native NDecompressor::decodeSeekableInputStreamToMemory" + reason,
                classes.call(folder, twoFrames(), DECODE_STREAM + REPORT));
        if (method.contains("seek")) {
            assertEquals("62 0 Native NDecompressor::decodeMultiFrameImageToMemory" + reason,
                    classes.call(folder, twoFrames(), DECODE_FRAMES + REPORT));
            assertEquals("62 0 Native NDecompressor::decodeOrtho" + reason,
                    classes.call(folder, twoFrames(), DECODE_ORTHO + REPORT));
        }
    }

    @Test
    void aMissingRenderableClassIsReported() throws Exception {
        String text = "62 0 Unable to FindClass(\"com/quorix/decompression/Renderable\")";
        String call = DECODE_STREAM.replace("((Renderable) image).close();", "");
        assertEquals(text, new ForeignClasses().remove(RENDERABLE).call(folder, twoFrames(), call + REPORT));
    }

    @Test
    void aMissingConstructorIsReported() throws Exception {
        ForeignClasses classes = new ForeignClasses().replace(RENDERABLE, "(long pointer, boolean owner)",
                "(long pointer, Boolean owner)");
        assertEquals("62 0 Unable to find ctor method Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag)",
                classes.call(folder, twoFrames(), DECODE_STREAM + REPORT));
        // Frames are passed over without a word.
        assertEquals("0 0 Completed successfully,",
                classes.call(folder, twoFrames(), DECODE_FRAMES + REPORT.replace(";", " + \",\" + result.frames;")));
    }

    @Test
    void aThrowingConstructorIsReported() throws Exception {
        ForeignClasses classes = new ForeignClasses().replace(RENDERABLE, "alive += owner ? 1 : 0;",
                "if (owner) throw new IllegalStateException();");
        String text = "62 0 Unable to invoke new Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag))";
        assertEquals(text, classes.call(folder, twoFrames(), DECODE_STREAM + REPORT));
        assertEquals(text, classes.call(folder, twoFrames(), DECODE_FRAMES + REPORT));
    }

    @ParameterizedTest
    @CsvSource({"int DLResultCode, -1 0 Completed successfully", "int SystemError, 0 -1 Completed successfully",
        "String Message, 0 0 untouched"})
    void missingResultFieldsAreLeftOut(String field, String expected) throws Exception {
        String[] parts = field.split(" ");
        String object = parts[0].equals("int") ? "long" : "Object"; // the name is there, the type is not
        ForeignClasses classes = new ForeignClasses().replace(RESULT, "public " + field,
                "public " + object + " " + parts[1]);
        assertEquals(expected, classes.call(folder, twoFrames(), DECODE_STREAM + REPORT));
    }

    @Test
    void aResultWithoutListenerIsNamedAndTheFileIsReadAllTheSame() throws Exception {
        ForeignClasses classes = new ForeignClasses().replace(RESULT, "boolean renderableAvailable(int",
                "boolean renderableAvailable(Integer");
        String text = "7 0 decodeMultiFrameImageToMemory() couldn't find java method "
                + "DecomprResult.renderableAvailable \"(ILcom/quorix/decompression/Renderable;)V\"\n";
        assertEquals(text + "false, 1", classes.call(folder, twoFrames(), DECODE_FRAMES
                + REPORT.replace(";", " + success + \", \" + stream.closeCount;")));
        byte[] damaged = java.util.Arrays.copyOf(twoFrames(), twoFrames().length - 10);
        assertEquals("37 0 Failed to read the pixel data",
                classes.call(folder, damaged, DECODE_FRAMES + REPORT));
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        QUEUE + " | InputBuffer get() | end autoFlush=true",
        QUEUE + " | void completed( | get get autoFlush=true",
        QUEUE + " | void setAutoFlush( | get completed get end",
        BUFFER + " | byte[] getArray() | get completed autoFlush=true",
        BUFFER + " | int getBytesAvailable() | get completed autoFlush=true"})
    void queuesWithMissingMethodsActAsIfAtTheEnd(String name, String method, String events) throws Exception {
        ForeignClasses classes = new ForeignClasses().replace(name, method,
                method.replaceFirst("(\\w+)\\(", "no_$1("));
        assertEquals(" " + events, classes.call(folder, Compressed.jpeg(16, 16, 0),
                DECODE_QUEUE + "return queue.events;"));
    }
}
