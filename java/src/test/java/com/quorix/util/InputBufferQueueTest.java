// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.*;

import java.io.*;
import java.util.concurrent.*;
import org.junit.jupiter.api.*;

@Timeout(60)
class InputBufferQueueTest {
    private static final int A_WHILE_MILLIS = 50;

    private final InputBufferQueue queue = new InputBufferQueue(2);

    private static ByteArrayInputBuffer buffer(int size) {
        return new ByteArrayInputBuffer(new byte[size]);
    }

    /** Makes a call on a thread of its own and sees to it that it waits. */
    private static <T> FutureTask<T> waiting(Callable<T> call) {
        FutureTask<T> task = new FutureTask<>(call);
        Thread thread = new Thread(task);
        thread.setDaemon(true);
        thread.start();
        assertThrows(TimeoutException.class, () -> task.get(A_WHILE_MILLIS, TimeUnit.MILLISECONDS));
        return task;
    }

    @Test
    void getWaitsForTheProducerAndTheEnd() throws Exception {
        FutureTask<InputBuffer> got = waiting(queue::get);
        InputBuffer sent = buffer(1);
        queue.put(sent);
        assertSame(sent, got.get());
        FutureTask<InputBuffer> end = waiting(queue::get);
        queue.finish();
        assertNull(end.get());
        queue.fail(new IOException("late"));
        assertNull(queue.get());
        assertThrows(IllegalStateException.class, () -> queue.put(buffer(1)));
    }

    @Test
    void putWaitsForRoomUntilAutoFlushLetsItGo() throws Exception {
        assertTrue(queue.put(buffer(1)));
        assertTrue(queue.put(buffer(2)));
        FutureTask<Boolean> third = waiting(() -> queue.put(buffer(3)));
        queue.get();
        assertTrue(third.get());
        FutureTask<Boolean> fourth = waiting(() -> queue.put(buffer(4)));
        queue.setAutoFlush(true);
        assertFalse(fourth.get(), "what is put now is dropped");
        assertTrue(queue.takesNoMore());
        queue.finish();
        assertNull(queue.get(), "waiting buffers were dropped too");
    }

    @Test
    void anInterruptionEndsAWaitingGetAndEveryLaterOne() throws Exception {
        FutureTask<InputBuffer> got = waiting(queue::get);
        queue.interrupt();
        assertInstanceOf(InterruptedIOException.class, assertThrows(ExecutionException.class, got::get).getCause());
        queue.put(buffer(1));
        assertThrows(InterruptedIOException.class, queue::get);
        assertFalse(queue.put(buffer(1)), "the producer learns of it");
        InputBufferQueue other = new InputBufferQueue(2);
        Thread.currentThread().interrupt();
        assertThrows(InterruptedIOException.class, other::get);
        assertTrue(Thread.interrupted(), "the thread stays interrupted");
    }

    @Test
    void aFailureComesAfterTheDataBeforeIt() throws Exception {
        IOException failure = new IOException("connection lost");
        queue.put(buffer(1));
        queue.fail(failure);
        assertEquals(1, queue.get().getBytesAvailable());
        for (int i = 0; i < 2; i++) {
            assertSame(failure, assertThrows(IOException.class, queue::get));
        }
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
        assertFalse(queue.takesNoMore());
        queue.completed(null); // the end was seen
        assertTrue(queue.takesNoMore());
    }

    @Test
    void sizesOutOfRangeAreRefused() {
        assertThrows(IllegalArgumentException.class, () -> new InputBufferQueue(0));
        assertThrows(IndexOutOfBoundsException.class, () -> new ByteArrayInputBuffer(new byte[3], 4));
        assertThrows(IndexOutOfBoundsException.class, () -> buffer(3).setBytesAvailable(-1));
    }
}
