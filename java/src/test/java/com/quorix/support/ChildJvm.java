// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;

/**
 * Another JVM with this one's class path, for what a test cannot do to its own process: load the native
 * library once more, meet another process at a file, crash.
 *
 * <p>{@code new ChildJvm(Main.class, "argument").property("name", "value").start()}, then {@link #finish}
 * for its outcome. Its JNI calls are checked as in this JVM; standard output and error come together.
 */
public final class ChildJvm {
    /** How a JVM ended. */
    public record Outcome(int exitCode, String output) {
    }

    private static final long TIMEOUT_SECONDS = 120;

    private final List<String> options = new ArrayList<>();
    private final List<String> mainAndArguments = new ArrayList<>();
    private Process process;
    private Path log;

    public ChildJvm(Class<?> main, String... arguments) {
        options.addAll(List.of(Path.of(System.getProperty("java.home"), "bin", "java").toString(), "-Xcheck:jni",
                "-Xmx256m", "-Djava.awt.headless=true", "-cp", System.getProperty("java.class.path")));
        mainAndArguments.add(main.getName());
        mainAndArguments.addAll(List.of(arguments));
    }

    /** Leaves nothing on the class path but the jars of these classes. */
    public ChildJvm withJarsOf(Class<?>... classes) {
        options.set(options.indexOf("-cp") + 1, Arrays.stream(classes)
                .map(type -> type.getProtectionDomain().getCodeSource().getLocation().getPath())
                .collect(Collectors.joining(":")));
        return this;
    }

    public ChildJvm property(String name, Object value) {
        options.add("-D" + name + "=" + value);
        return this;
    }

    /** Hands on the library that this JVM uses. */
    public ChildJvm withSameLibrary() {
        return property("quorix.library.path", System.getProperty("quorix.library.path"));
    }

    public ChildJvm start() throws IOException {
        List<String> command = new ArrayList<>(options);
        command.addAll(mainAndArguments);
        log = Files.createTempFile("child-jvm-", ".log");
        process = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(log.toFile()).start();
        return this;
    }

    /** Waits for the end; fails the test when it does not come or when JNI was misused. */
    public Outcome finish() throws IOException, InterruptedException {
        boolean ended = process.waitFor(TIMEOUT_SECONDS, TimeUnit.SECONDS);
        if (!ended) {
            process.destroyForcibly();
        }
        String output = Files.readString(log, StandardCharsets.UTF_8);
        Files.delete(log);
        assertTrue(ended, "the other JVM did not end: " + output);
        assertTrue(!output.contains("in native method") && !output.contains("WARNING: JNI"), output);
        return new Outcome(process.exitValue(), output);
    }
}
