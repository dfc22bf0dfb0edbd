#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the medians of a benchmark run as Markdown tables, one row a case, one column a contestant.

usage: bench_table.py RESULTS.json
"""

import collections
import json
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        run = json.load(file)
    cases = collections.OrderedDict()
    times = collections.OrderedDict()
    for entry in run["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        group, case, contestant = entry["run_name"].split("/")[:3]
        if group == "seek":
            times.setdefault(case, []).append((entry["run_name"].split("/")[3], entry["real_time"]))
            continue
        speed = entry.get("bytes_per_second")
        cases.setdefault((group, case), {})[contestant] = None if speed is None else speed / 1e6

    for group in collections.OrderedDict.fromkeys(group for group, _ in cases):
        rows = [(case, speeds) for (g, case), speeds in cases.items() if g == group]
        peers = list(collections.OrderedDict.fromkeys(c for _, speeds in rows for c in speeds if c != "ours"))
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
        print("\nseek: one frame of a thousand, from opening the file to the finished image, µs\n")
        print("| file | " + " | ".join(f"frame {frame}" for frame, _ in next(iter(times.values()))) + " |")
        print("|---|" + "---:|" * len(next(iter(times.values()))))
        for case, values in times.items():
            print(f"| {case} | " + " | ".join(f"{time:.0f}" for _, time in values) + " |")


if __name__ == "__main__":
    main()
