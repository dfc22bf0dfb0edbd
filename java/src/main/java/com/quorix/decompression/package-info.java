// SPDX-License-Identifier: Apache-2.0
/**
 * Decoding: {@link com.quorix.decompression.Decompressor} is where to start, what it returns is a
 * {@link com.quorix.decompression.Renderable}; {@link com.quorix.decompression.NDecompressor} is what lies
 * below.
 */
package com.quorix.decompression;
