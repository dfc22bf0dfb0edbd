// SPDX-License-Identifier: Apache-2.0
package com.quorix.support;

import org.junit.jupiter.api.extension.*;

/** After each test of the class the library's allocator holds no more pixel buffers than before it. */
public final class NoPixelsLeft implements BeforeEachCallback, AfterEachCallback {
    private long before;

    @Override
    public void beforeEach(ExtensionContext context) {
        before = NativeMemory.allocatedBlocks();
    }

    @Override
    public void afterEach(ExtensionContext context) throws InterruptedException {
        NativeMemory.awaitAtMost(before);
    }
}
