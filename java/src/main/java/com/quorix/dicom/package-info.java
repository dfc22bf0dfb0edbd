// SPDX-License-Identifier: Apache-2.0
/**
 * DICOM data sets that live in the native library.
 */
package com.quorix.dicom;
