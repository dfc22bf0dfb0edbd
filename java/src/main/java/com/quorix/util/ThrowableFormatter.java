// SPDX-License-Identifier: Apache-2.0
package com.quorix.util;

import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.Set;

/** Puts a throwable and its causes into words, for messages made by the native library. */
public final class ThrowableFormatter {
    private ThrowableFormatter() {
    }

    /**
     * Describes a throwable and the chain of its causes, one line each.
     *
     * @param throwable the throwable, or null
     * @return the description; empty for null
     */
    public static String formatThrowableChain(Throwable throwable) {
        StringBuilder text = new StringBuilder();
        Set<Throwable> seen = Collections.newSetFromMap(new IdentityHashMap<>());
        for (Throwable link = throwable; link != null && seen.add(link); link = link.getCause()) {
            text.append(text.length() == 0 ? "" : "\nCaused by: ").append(link);
        }
        return text.toString();
    }
}
