// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import org.junit.jupiter.api.Test;

class ThrowableFormatterTest {
    @Test
    void everyCauseHasALineAndACircleEnds() {
        Throwable chain = new IOException("no more", new IllegalStateException("closed"));
        assertEquals("java.io.IOException: no more\nCaused by: java.lang.IllegalStateException: closed",
                ThrowableFormatter.formatThrowableChain(chain));
        chain.getCause().initCause(chain);
        assertEquals("java.io.IOException: no more\nCaused by: java.lang.IllegalStateException: closed",
                ThrowableFormatter.formatThrowableChain(chain));
        assertEquals("", ThrowableFormatter.formatThrowableChain(null));
    }
}
