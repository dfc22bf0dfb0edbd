// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.quorix.dicom.DICOMDataObject;
import com.quorix.support.ChildJvm;
import com.quorix.support.Places;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
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
    void thePropertyComesFirstAndMayNameAFolder() {
        for (String place : new String[] {"/somewhere/libMine.so", folder.toString()}) {
            System.setProperty(NativeLibrary.PATH_PROPERTY, place);
            new NativeLibraryLoader(loaded::add, name -> loaded.add("by name")).load();
        }
        String inFolder = folder.resolve(System.mapLibraryName("QuorixDecompLib")).toString();
        assertEquals(List.of("/somewhere/libMine.so", inFolder), loaded);
    }

    @Test
    void theLibraryPathComesNext() {
        System.clearProperty(NativeLibrary.PATH_PROPERTY);
        new NativeLibraryLoader(NativeLibraryTest::refuse, loaded::add).load();
        assertEquals(List.of("QuorixDecompLib"), loaded);
    }

    @Test
    void theCopyInTheJarComesLast() throws IOException {
        System.clearProperty(NativeLibrary.PATH_PROPERTY);
        System.setProperty("java.io.tmpdir", folder.toString());
        new NativeLibraryLoader(loaded::add, NativeLibraryTest::refuse).load();
        assertEquals(1, loaded.size());
        assertTrue(Path.of(loaded.get(0)).startsWith(folder));
        assertTrue(Files.size(Path.of(loaded.get(0))) > 100_000);
    }

    @Test
    void aFailureNamesTheSystemAndWhatWasTried() {
        System.setProperty(NativeLibrary.PATH_PROPERTY, "/somewhere/libMine.so");
        System.setProperty("java.io.tmpdir", folder.resolve("missing").toString());
        String text = assertThrows(UnsatisfiedLinkError.class,
                () -> new NativeLibraryLoader(NativeLibraryTest::refuse, NativeLibraryTest::refuse).load())
                .getMessage();
        for (String part : List.of(System.getProperty("os.name"), System.getProperty("os.arch"),
                NativeLibraryLoader.libc(), "/somewhere/libMine.so", "no QuorixDecompLib here",
                "copy in the jar, /com/quorix/native/", "missing")) {
            assertTrue(text.contains(part), "\"" + part + "\" is not in: " + text);
        }
    }

    @Test
    void namesTellVersionsAndContentsApart() {
        String name = NativeLibraryUnpacker.fileName(new byte[] {1}, "1.2.3");
        assertTrue(name.contains("-1.2.3-"), name);
        assertNotEquals(name, NativeLibraryUnpacker.fileName(new byte[] {2}, "1.2.3"));
        assertNotEquals(name, NativeLibraryUnpacker.fileName(new byte[] {1}, "1.2.4"));
    }

    @Test
    void aDamagedCopyIsReplaced() throws IOException {
        byte[] content = {1, 2, 3};
        NativeLibraryUnpacker unpacker = new NativeLibraryUnpacker(folder);
        Path file = unpacker.unpack(content, "1");
        Files.write(file, new byte[] {1, 2, 4});
        assertEquals(file, unpacker.unpack(content, "1"));
        assertArrayEquals(content, Files.readAllBytes(file));
        assertEquals(1, Places.filesBelow(folder).size(), "nothing is left behind");
    }

    @Test
    void aFolderThatOthersMayWriteToIsNotUsed() throws IOException {
        NativeLibraryUnpacker unpacker = new NativeLibraryUnpacker(folder);
        Path usual = unpacker.unpack(new byte[] {1}, "1").getParent();
        assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(usual)));
        Files.setPosixFilePermissions(usual, PosixFilePermissions.fromString("rwxrwxrwx"));
        Path other = unpacker.unpack(new byte[] {1}, "1").getParent();
        assertNotEquals(usual, other);
        assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(other)));
    }

    @Test
    void aLinkInTheFoldersPlaceIsNotFollowed() throws IOException {
        NativeLibraryUnpacker unpacker = new NativeLibraryUnpacker(folder);
        Path usual = unpacker.unpack(new byte[] {1}, "1").getParent();
        Path elsewhere = Files.move(usual, folder.resolve("elsewhere"));
        Files.createSymbolicLink(usual, elsewhere);
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
    void aJvmThatCannotLoadSaysSoAndLivesOn() throws Exception {
        ChildJvm.Outcome outcome = new ChildJvm(Loading.class)
                .property("java.io.tmpdir", folder.resolve("missing")).start().finish();
        assertEquals(1, outcome.exitCode());
        assertTrue(outcome.output().contains("Cannot load the native library QuorixDecompLib on"),
                outcome.output());
        assertFalse(outcome.output().contains("SIGSEGV"), outcome.output());
    }
}
