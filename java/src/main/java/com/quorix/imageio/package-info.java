// SPDX-License-Identifier: Apache-2.0
/**
 * Readers for {@link javax.imageio.ImageIO}: DICOM, JPEG 2000 (of high throughput too), JPEG-LS, and the kinds of JPEG
 * that Java's own reader does not decode. With the jar on the class path ImageIO finds them by itself.
 */
package com.quorix.imageio;
