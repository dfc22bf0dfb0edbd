#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the medians of a benchmark run as Markdown tables, one row a case, one column a contestant.

usage: bench_table.py RESULTS.json
"""

import json
import re
import sys

GROUPS = ["file", "frame", "colour"]
PEERS = ["dcmtk", "ijg8", "ijg12", "ijg16", "turbo", "plain"]


def natural(text):
    """Sorts numbers inside names by their value: the benchmarks run in random order."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        run = json.load(file)
    cases = {}
    times = {}
    for entry in run["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        group, case, contestant = entry["run_name"].split("/")[:3]
        if group == "seek":
            times.setdefault(case, []).append((entry["run_name"].split("/")[3], entry["real_time"]))
            continue
        speed = entry.get("bytes_per_second")
        cases.setdefault((group, case), {})[contestant] = None if speed is None else speed / 1e6

    for group in [group for group in GROUPS if any(g == group for g, _ in cases)]:
        rows = sorted(((case, speeds) for (g, case), speeds in cases.items() if g == group),
                      key=lambda row: natural(row[0]))
        peers = [peer for peer in PEERS if any(peer in speeds for _, speeds in rows)]
        print(f"\n{group}: MB/s of decoded pixels (times ours is faster in brackets)\n")
        print("| case | ours | " + " | ".join(peers) + " |")
        print("|---|---:|" + "---:|" * len(peers))
        for case, speeds in rows:
            ours = speeds.get("ours")
            cells = [f"{ours:.0f}" if ours else "–"]
            for peer in peers:
                speed = speeds.get(peer)
                factor = f" ({ours / speed:.2f})" if speed and ours else ""
                cells.append(f"{speed:.0f}{factor}" if speed else "")
            print(f"| {case} | " + " | ".join(cells) + " |")
    if times:
        frames = sorted({frame for values in times.values() for frame, _ in values}, key=natural)
        print("\nseek: one frame of a thousand, from opening the file to the finished image, µs\n")
        print("| file | " + " | ".join(f"frame {frame}" for frame in frames) + " |")
        print("|---|" + "---:|" * len(frames))
        for case in sorted(times, key=natural):
            values = dict(times[case])
            print(f"| {case} | " + " | ".join(f"{values[frame]:.0f}" for frame in frames) + " |")


if __name__ == "__main__":
    main()
