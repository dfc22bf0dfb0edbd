// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import org.junit.jupiter.api.Test;

class ThrowableFormatterTest {
    @Test
    void everyCauseHasALine() {
        Throwable chain = new IOException("no more", new IllegalStateException("closed"));
        assertEquals("java.io.IOException: no more\nCaused by: java.lang.IllegalStateException: closed",
                ThrowableFormatter.formatThrowableChain(chain));
    }

    @Test
    void causesInACircleEnd() {
        Exception first = new Exception("first");
        Exception second = new Exception("second", first);
        first.initCause(second);
        assertEquals("java.lang.Exception: second\nCaused by: java.lang.Exception: first",
                ThrowableFormatter.formatThrowableChain(second));
    }

    @Test
    void nullIsEmpty() {
        assertEquals("", ThrowableFormatter.formatThrowableChain(null));
    }
}
