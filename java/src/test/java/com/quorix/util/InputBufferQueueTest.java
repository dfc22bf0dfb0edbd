// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;

@Timeout(60)
class InputBufferQueueTest {
    private static final int A_WHILE_MILLIS = 50;

    private final InputBufferQueue queue = new InputBufferQueue(2);

    private static ByteArrayInputBuffer buffer(int size) {
        return new ByteArrayInputBuffer(new byte[size]);
    }

    /** Runs a task on a thread of its own and sees to it that it waits. */
    private static <T> CompletableFuture<T> waiting(Task<T> task) throws Exception {
        CompletableFuture<T> outcome = new CompletableFuture<>();
        Thread thread = new Thread(() -> {
            try {
                outcome.complete(task.run());
            } catch (Exception exception) {
                outcome.completeExceptionally(exception);
            }
        });
        thread.setDaemon(true);
        thread.start();
        assertThrows(TimeoutException.class, () -> outcome.get(A_WHILE_MILLIS, TimeUnit.MILLISECONDS));
        return outcome;
    }

    private interface Task<T> {
        T run() throws Exception;
    }

    private static Throwable causeOf(CompletableFuture<?> outcome) {
        return assertThrows(ExecutionException.class, outcome::get).getCause();
    }

    @Test
    void buffersComeInOrderAndThenTheEnd() throws Exception {
        InputBuffer first = buffer(1);
        InputBuffer second = buffer(2);
        assertTrue(queue.put(first));
        assertTrue(queue.put(second));
        queue.finish();
        assertSame(first, queue.get());
        assertSame(second, queue.get());
        assertNull(queue.get());
        assertNull(queue.get());
    }

    @Test
    void getWaitsForTheProducer() throws Exception {
        CompletableFuture<InputBuffer> got = waiting(queue::get);
        InputBuffer sent = buffer(1);
        queue.put(sent);
        assertSame(sent, got.get());
        CompletableFuture<InputBuffer> end = waiting(queue::get);
        queue.finish();
        assertNull(end.get());
    }

    @Test
    void putWaitsForRoom() throws Exception {
        queue.put(buffer(1));
        queue.put(buffer(2));
        CompletableFuture<Boolean> third = waiting(() -> queue.put(buffer(3)));
        queue.get();
        assertTrue(third.get());
    }

    @Test
    void autoFlushLetsAWaitingProducerGo() throws Exception {
        queue.put(buffer(1));
        queue.put(buffer(2));
        CompletableFuture<Boolean> third = waiting(() -> queue.put(buffer(3)));
        queue.setAutoFlush(true);
        assertFalse(third.get(), "what is put now is dropped");
        assertFalse(queue.put(buffer(4)));
        assertTrue(queue.takesNoMore());
        queue.finish();
        assertNull(queue.get(), "waiting buffers were dropped too");
    }

    @Test
    void interruptEndsAWaitingGetAndEveryLaterOne() throws Exception {
        CompletableFuture<InputBuffer> got = waiting(queue::get);
        queue.interrupt();
        assertEquals(InterruptedIOException.class, causeOf(got).getClass());
        queue.put(buffer(1));
        assertThrows(InterruptedIOException.class, queue::get);
        assertFalse(queue.put(buffer(1)), "the producer learns of it");
    }

    @Test
    void interruptedThreadStopsWaitingAndStaysInterrupted() {
        Thread.currentThread().interrupt();
        assertThrows(InterruptedIOException.class, queue::get);
        assertTrue(Thread.interrupted());
    }

    @Test
    void failureComesAfterTheDataBeforeIt() throws Exception {
        IOException failure = new IOException("connection lost");
        queue.put(buffer(1));
        queue.fail(failure);
        assertEquals(1, queue.get().getBytesAvailable());
        assertSame(failure, assertThrows(IOException.class, queue::get));
        assertSame(failure, assertThrows(IOException.class, queue::get));
    }

    @Test
    void nothingComesAfterTheEnd() throws Exception {
        queue.finish();
        queue.fail(new IOException("late"));
        assertNull(queue.get());
        assertThrows(IllegalStateException.class, () -> queue.put(buffer(1)));
    }

    @Test
    void completedBuffersAreUsedAgain() throws Exception {
        ByteArrayInputBuffer sent = queue.obtain(16);
        sent.setBytesAvailable(5);
        queue.put(sent);
        queue.completed(queue.get());
        assertSame(sent, queue.obtain(16));
        assertEquals(0, sent.getBytesAvailable());
        queue.completed(sent);
        assertEquals(32, queue.obtain(32).getArray().length, "one that is too small is not");
    }

    @Test
    void completedNullTellsThatTheEndWasSeen() {
        assertFalse(queue.takesNoMore());
        queue.completed(null);
        assertTrue(queue.takesNoMore());
    }

    @Test
    void aMillionBuffersCrossThreadsInOrder() throws Exception {
        int count = 1_000_000;
        CompletableFuture<Void> producer = CompletableFuture.runAsync(() -> produce(count));
        byte expected = 0;
        int seen = 0;
        for (ByteArrayInputBuffer got = next(); got != null; got = next()) {
            assertEquals(expected++, got.getArray()[0]);
            seen++;
            queue.completed(got);
        }
        assertEquals(count, seen);
        producer.get();
    }

    private ByteArrayInputBuffer next() throws IOException {
        return (ByteArrayInputBuffer) queue.get();
    }

    private void produce(int count) {
        try {
            for (int i = 0; i < count; i++) {
                ByteArrayInputBuffer buffer = queue.obtain(1);
                buffer.getArray()[0] = (byte) i;
                buffer.setBytesAvailable(1);
                queue.put(buffer);
            }
            queue.finish();
        } catch (InterruptedException exception) {
            queue.interrupt();
        }
    }

    @Test
    void sizesOutOfRangeAreRefused() {
        assertThrows(IllegalArgumentException.class, () -> new InputBufferQueue(0));
        assertThrows(IndexOutOfBoundsException.class, () -> new ByteArrayInputBuffer(new byte[3], 4));
        assertThrows(IndexOutOfBoundsException.class, () -> buffer(3).setBytesAvailable(-1));
    }
}
