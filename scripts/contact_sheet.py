#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the JSON lines of quorix-decompress as a table and puts the pictures on one sheet.

usage: contact_sheet.py RESULTS.jsonl SHEET.png
"""

import json
import os
import sys

from PIL import Image, ImageDraw

TILE = 220
CAPTION = 34
COLUMNS = 5


def print_table(results):
    print(f"{'file':38} {'size':>11} {'bits':>5}  {'colour':14} {'lossy':5} {'ratio':>5} {'ms':>8}  outcome")
    for result in results:
        name = os.path.basename(result["file"])
        if result["result_code"] != 0:
            print(f"{name[:38]:38} {'':53}  code {result['result_code']}: {result['message']}")
            continue
        size = f"{result['columns']}x{result['rows']}"
        bits = f"{result['bits_stored']}/{result['bits_allocated']}"
        lossy = "yes" if result["lossy"] else "no"
        print(f"{name[:38]:38} {size:>11} {bits:>5}  {result['photometric']:14} {lossy:5} "
              f"{result['compression_ratio']:>5} {result['time_total_ms']:>8.2f}  ok")


def tile(result):
    sheet = Image.new("RGB", (TILE, TILE + CAPTION), "white")
    picture = Image.open(result["output"]).convert("RGB")
    # Small images are enlarged without smoothing, so that single pixels stay what they are.
    scale = (TILE - 12) / max(picture.size)
    size = tuple(max(1, round(side * scale)) for side in picture.size)
    picture = picture.resize(size, Image.NEAREST if scale > 1 else Image.LANCZOS)
    sheet.paste(picture, ((TILE - size[0]) // 2, (TILE - size[1]) // 2))
    draw = ImageDraw.Draw(sheet)
    name = os.path.splitext(os.path.basename(result["file"]))[0]
    draw.text((6, TILE), name[:34], fill="black")
    draw.text((6, TILE + 14), f"{result['columns']} x {result['rows']}  {result['photometric']}", fill="gray")
    return sheet


def main():
    with open(sys.argv[1], encoding="utf-8") as lines:
        results = [json.loads(line) for line in lines]
    print_table(results)
    tiles = [tile(result) for result in results if result["output"]]
    rows = (len(tiles) + COLUMNS - 1) // COLUMNS
    sheet = Image.new("RGB", (COLUMNS * TILE, max(1, rows) * (TILE + CAPTION)), "white")
    for index, picture in enumerate(tiles):
        sheet.paste(picture, (index % COLUMNS * TILE, index // COLUMNS * (TILE + CAPTION)))
    sheet.save(sys.argv[2])


if __name__ == "__main__":
    main()
