// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.*;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.*;
import java.io.IOException;
import java.nio.file.*;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.io.TempDir;

class NativeLibraryTest {
    @TempDir
    Path folder;

    private final Properties properties = (Properties) System.getProperties().clone();
    private final List<String> loaded = new ArrayList<>();

    @AfterEach
    void restoreProperties() {
        System.setProperties(properties);
    }

    private static void refuse(String name) {
        throw new UnsatisfiedLinkError("no " + name + " here");
    }

    @Test
    void thePropertyComesBeforeTheLibraryPathAndTheCopyInTheJarLast() throws IOException {
        for (String place : List.of("/somewhere/libMine.so", folder.toString())) {
            System.setProperty(NativeLibrary.PATH_PROPERTY, place);
            new NativeLibraryLoader(loaded::add, name -> loaded.add("by name")).load();
        }
        System.clearProperty(NativeLibrary.PATH_PROPERTY);
        System.setProperty("java.io.tmpdir", folder.toString());
        new NativeLibraryLoader(NativeLibraryTest::refuse, loaded::add).load();
        String inFolder = folder.resolve(System.mapLibraryName("QuorixDecompLib")).toString();
        assertEquals(List.of("/somewhere/libMine.so", inFolder, "QuorixDecompLib"), loaded);
        new NativeLibraryLoader(loaded::add, NativeLibraryTest::refuse).load();
        Path copy = Path.of(loaded.get(3));
        assertTrue(copy.startsWith(folder));
        assertTrue(Files.size(copy) > 100_000);
    }

    @Test
    void aDamagedCopyIsReplacedAndAnotherVersionKeptApart() throws IOException {
        byte[] content = {1, 2, 3};
        NativeLibraryUnpacker unpacker = new NativeLibraryUnpacker(folder);
        Path file = unpacker.unpack(content, "1.2.3");
        assertTrue(file.toString().contains("-1.2.3-"), file.toString());
        Files.write(file, new byte[] {1, 2, 4});
        assertEquals(file, unpacker.unpack(content, "1.2.3"));
        assertArrayEquals(content, Files.readAllBytes(file));
        assertEquals(1, Places.filesBelow(folder).size(), "nothing is left behind");
        unpacker.unpack(new byte[] {2}, "1.2.3");
        unpacker.unpack(content, "1.2.4");
        assertEquals(3, Places.filesBelow(folder).size());
    }

    @Test
    void aFolderOfOthersIsNotUsedNorALinkFollowed() throws IOException {
        NativeLibraryUnpacker unpacker = new NativeLibraryUnpacker(folder);
        Path usual = unpacker.unpack(new byte[] {1}, "1").getParent();
        assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(usual)));
        Files.setPosixFilePermissions(usual, PosixFilePermissions.fromString("rwxrwxrwx"));
        Path other = unpacker.unpack(new byte[] {1}, "1").getParent();
        assertNotEquals(usual, other);
        assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(other)));
        Files.setPosixFilePermissions(usual, PosixFilePermissions.fromString("rwx------"));
        assertEquals(usual, unpacker.unpack(new byte[] {1}, "1").getParent());
        Files.createSymbolicLink(usual, Files.move(usual, folder.resolve("elsewhere")));
        assertNotEquals(usual, unpacker.unpack(new byte[] {1}, "1").getParent());
    }

    /** Loads the library from the jar and uses it. */
    static final class Loading {
        private Loading() {
        }

        public static void main(String[] arguments) {
            try (DICOMDataObject dataSet = new DICOMDataObject()) {
                System.out.println(dataSet.hasElement(0x00280010));
            }
        }
    }

    @Test
    void manyProcessesUnpackAtOnce() throws Exception {
        List<ChildJvm> jvms = new ArrayList<>();
        for (int i = 0; i < 4; i++) {
            jvms.add(new ChildJvm(Loading.class).property("java.io.tmpdir", folder).start());
        }
        for (ChildJvm jvm : jvms) {
            assertEquals(new ChildJvm.Outcome(0, "false\n"), jvm.finish());
        }
        assertEquals(1, Places.filesBelow(folder).size(), "all use one file");
    }

    @Test
    void aJvmThatCannotLoadNamesTheSystemAndWhatWasTriedAndLivesOn() throws Exception {
        ChildJvm.Outcome outcome = new ChildJvm(Loading.class).property(NativeLibrary.PATH_PROPERTY, "/no/libMine.so")
                .property("java.io.tmpdir", folder.resolve("missing")).start().finish();
        assertEquals(1, outcome.exitCode());
        for (String part : List.of("Cannot load the native library QuorixDecompLib on", System.getProperty("os.name"),
                System.getProperty("os.arch"), NativeLibraryLoader.libc(), "/no/libMine.so",
                "no QuorixDecompLib in java.library.path", "copy in the jar, /com/quorix/native/", "missing")) {
            assertTrue(outcome.output().contains(part), "\"" + part + "\" is not in: " + outcome.output());
        }
        assertFalse(outcome.output().contains("SIGSEGV"), outcome.output());
    }
}
