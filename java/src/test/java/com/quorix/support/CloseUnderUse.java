// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.List;
import java.util.concurrent.*;
import java.util.function.*;

/** Closes objects while other threads use them, again and again: each use ends in IllegalStateException. */
public final class CloseUnderUse {
    private CloseUnderUse() {
    }

    public static <T extends AutoCloseable> void run(int rounds, Supplier<T> maker, Consumer<T> use) throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(3);
        for (int round = 0; round < rounds; round++) {
            T object = maker.get();
            Callable<?> using = () -> assertThrows(IllegalStateException.class, () -> {
                while (true) {
                    use.accept(object);
                }
            });
            Callable<?> closing = () -> {
                object.close();
                return null;
            };
            for (Future<?> user : List.of(threads.submit(using), threads.submit(using), threads.submit(closing))) {
                user.get();
            }
        }
        threads.shutdown();
    }
}
