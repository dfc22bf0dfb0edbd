// SPDX-License-Identifier: Apache-2.0
/**
 * Byte streams with a position, from which the native library reads.
 */
package com.quorix.io;
