// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import java.awt.Point;
import java.awt.Rectangle;
import java.awt.image.Raster;
import java.awt.image.WritableRaster;
import java.util.function.BooleanSupplier;
import java.util.stream.IntStream;
import javax.imageio.ImageReadParam;

/**
 * Takes the pixels that a parameter asks for out of a decoded raster, which may be of a lower resolution already. For
 * one use.
 */
final class PixelPicker {
    private final Raster source;
    private final Point origin;
    private final int halvings;
    private final Rectangle region;
    private final int stepX;
    private final int stepY;
    private int[] sourceBands;
    private int[] targetBands;
    private boolean stretching;

    /**
     * Region and origin, the place of the raster's first pixel, are in pixels of the full size. The region has the
     * offsets of the subsampling in it.
     */
    PixelPicker(Raster source, Point origin, int halvings, Rectangle region, ImageReadParam param) {
        this.source = source;
        this.origin = origin;
        this.halvings = halvings;
        this.region = region;
        stepX = param.getSourceXSubsampling();
        stepY = param.getSourceYSubsampling();
        ofBands(null, null);
    }

    /** Chooses bands; null for all, in their order. */
    PixelPicker ofBands(int[] chosen, int[] places) {
        sourceBands = chosen != null ? chosen : IntStream.range(0, source.getNumBands()).toArray();
        targetBands = places != null ? places : IntStream.range(0, sourceBands.length).toArray();
        return this;
    }

    /** Depths that differ are stretched from now on, black to black and white to white. */
    PixelPicker stretching() {
        stretching = true;
        return this;
    }

    /** Fills a part of the target, row by row, until it is told to stop. */
    void copyTo(WritableRaster target, Rectangle part, BooleanSupplier stopped) {
        int[] columns = IntStream.range(0, part.width)
                .map(x -> at(region.x + x * stepX, origin.x, source.getWidth())).toArray();
        int[] row = new int[columns[columns.length - 1] - columns[0] + 1];
        int[] picked = new int[part.width];
        for (int y = 0; y < part.height && !stopped.getAsBoolean(); y++) {
            int sourceY = at(region.y + y * stepY, origin.y, source.getHeight());
            for (int i = 0; i < sourceBands.length; i++) {
                source.getSamples(columns[0], sourceY, row.length, 1, sourceBands[i], row);
                for (int x = 0; x < picked.length; x++) {
                    picked[x] = row[columns[x] - columns[0]];
                }
                if (stretching) {
                    stretch(picked, white(source, sourceBands[i]), white(target, targetBands[i]));
                }
                target.setSamples(part.x, part.y + y, part.width, 1, targetBands[i], picked);
            }
        }
    }

    /** Where the codestream's own grid begins at an odd place, lower resolutions may lack their last pixel. */
    private int at(int fullSize, int start, int size) {
        return Math.min((fullSize >> halvings) - (start >> halvings), size - 1);
    }

    private static long white(Raster raster, int band) {
        return (1L << raster.getSampleModel().getSampleSize(band)) - 1;
    }

    private static void stretch(int[] values, long from, long to) {
        for (int i = 0; from != to && i < values.length; i++) {
            values[i] = (int) ((values[i] * to + from / 2) / from);
        }
    }
}
