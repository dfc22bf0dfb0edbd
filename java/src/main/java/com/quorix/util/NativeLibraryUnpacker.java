// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.io.IOException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.Set;

/**
 * Writes the library out of the jar to a file whose name carries version and checksum, so that versions do
 * not meet and any number of processes may do it at once: each writes a file of its own and renames it in
 * one step. The folder belongs to the user alone; one that others may write to is not used, since whoever
 * writes there decides what code is run.
 */
final class NativeLibraryUnpacker {
    private static final Set<PosixFilePermission> FOREIGN_WRITERS =
            Set.of(PosixFilePermission.GROUP_WRITE, PosixFilePermission.OTHERS_WRITE);

    private final Path temporaryFolder;

    NativeLibraryUnpacker(Path temporaryFolder) {
        this.temporaryFolder = temporaryFolder;
    }

    /** Returns the file that holds the content, writing it if it is not there yet. */
    Path unpack(byte[] content, String version) throws IOException {
        Path folder = temporaryFolder.resolve("quorix-decompression-" + userName());
        if (!makeOwn(folder)) {
            return unpackForThisProcess(content, version);
        }
        Path target = folder.resolve(fileName(content, version));
        if (!holds(target, content)) {
            writeInOneStep(target, content);
        }
        return target.toAbsolutePath();
    }

    static String fileName(byte[] content, String version) {
        String plain = System.mapLibraryName(NativeLibraryLoader.NAME);
        int dot = plain.lastIndexOf('.');
        return plain.substring(0, dot) + "-" + version + "-" + checksum(content) + plain.substring(dot);
    }

    /** Somebody else has taken the folder's name: a folder for this process alone, removed with it. */
    private Path unpackForThisProcess(byte[] content, String version) throws IOException {
        Path folder = Files.createTempDirectory(temporaryFolder, "quorix-decompression-");
        Path target = folder.resolve(fileName(content, version)).toAbsolutePath();
        folder.toFile().deleteOnExit();
        target.toFile().deleteOnExit();
        Files.write(target, content);
        return target;
    }

    /** Makes the folder unless it is there; false when it is there and not the user's own. */
    private boolean makeOwn(Path folder) throws IOException {
        try {
            Files.createDirectory(folder, onlyOwner());
            return true;
        } catch (FileAlreadyExistsException exception) {
            return isOwn(folder);
        }
    }

    private boolean isOwn(Path folder) throws IOException {
        PosixFileAttributeView view = Files.getFileAttributeView(folder, PosixFileAttributeView.class,
                LinkOption.NOFOLLOW_LINKS);
        if (view == null) {
            return Files.isDirectory(folder, LinkOption.NOFOLLOW_LINKS);
        }
        PosixFileAttributes attributes = view.readAttributes();
        return attributes.isDirectory() && attributes.owner().equals(me())
                && attributes.permissions().stream().noneMatch(FOREIGN_WRITERS::contains);
    }

    /** The user of this process, as the owner of a file it makes. */
    private Object me() throws IOException {
        Path probe = Files.createTempFile(temporaryFolder, "quorix-decompression-", ".tmp");
        try {
            return Files.getOwner(probe);
        } finally {
            Files.delete(probe);
        }
    }

    private static void writeInOneStep(Path target, byte[] content) throws IOException {
        Path own = Files.createTempFile(target.getParent(), "unpacking-", ".tmp");
        try {
            Files.write(own, content);
            Files.move(own, target, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
        } finally {
            Files.deleteIfExists(own);
        }
    }

    private static boolean holds(Path file, byte[] content) throws IOException {
        return Files.isRegularFile(file, LinkOption.NOFOLLOW_LINKS) && Files.size(file) == content.length
                && Arrays.equals(Files.readAllBytes(file), content);
    }

    private FileAttribute<?>[] onlyOwner() {
        if (!temporaryFolder.getFileSystem().supportedFileAttributeViews().contains("posix")) {
            return new FileAttribute<?>[0];
        }
        Set<PosixFilePermission> permissions = PosixFilePermissions.fromString("rwx------");
        return new FileAttribute<?>[] {PosixFilePermissions.asFileAttribute(permissions)};
    }

    private static String userName() {
        return System.getProperty("user.name", "").replaceAll("[^A-Za-z0-9._-]", "_");
    }

    private static String checksum(byte[] content) {
        try {
            byte[] digest = MessageDigest.getInstance("SHA-256").digest(content);
            return HexFormat.of().formatHex(digest, 0, 8);
        } catch (NoSuchAlgorithmException exception) {
            throw new IllegalStateException("every JVM has SHA-256", exception);
        }
    }
}
