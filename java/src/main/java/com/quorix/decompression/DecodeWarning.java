// SPDX-License-Identifier: Apache-2.0
package com.quorix.decompression;

/**
 * A doubt about a picture that was delivered all the same.
 *
 * @param identifier what kind of doubt it is; such names never change, {@code docs/warnings.md} has all of them
 * @param text for people; it may quote the file
 * @param frame the frame's index, from 0
 */
public record DecodeWarning(String identifier, String text, int frame) {
}
