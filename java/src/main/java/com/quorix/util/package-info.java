// SPDX-License-Identifier: Apache-2.0
/**
 * The queue between a download and the decoder, and what it takes to load the native library.
 */
package com.quorix.util;
