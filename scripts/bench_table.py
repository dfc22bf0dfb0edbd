#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the medians of a benchmark run as Markdown tables, one row a case, one column a contestant.

usage: bench_table.py RESULTS.json [PROCESSES.json]
"""

import json
import re
import sys

GROUPS = ["file", "frame", "colour", "jpeg2000", "wavelet", "components"]
PEERS = ["dcmtk", "ijg8", "ijg12", "ijg16", "turbo", "plain", "openjpeg", "grok"]
STAGES = ["packets", "blocks", "lines", "all"]


def natural(text):
    """Sorts numbers inside names by their value: the benchmarks run in random order."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def print_table(title, columns, rows):
    print(f"\n{title}\n")
    print("| " + " | ".join(columns) + " |")
    print("|---|" + "---:|" * (len(columns) - 1))
    for row in rows:
        print("| " + " | ".join(row) + " |")


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def print_speeds(group, cases):
    peers = [peer for peer in PEERS if any(peer in speeds for speeds in cases.values())]
    rows = []
    for case in sorted(cases, key=natural):
        speeds = cases[case]
        ours = speeds.get("ours")
        row = [case, f"{ours:.0f}" if ours else "–"]
        for peer in peers:
            speed = speeds.get(peer)
            factor = f" ({ours / speed:.2f})" if speed and ours else ""
            row.append(f"{speed:.0f}{factor}" if speed else "")
        rows.append(row)
    print_table(f"{group}: MB/s of decoded pixels (times ours is faster in brackets)", ["case", "ours", *peers], rows)


def print_memory(processes):
    rows = []
    for case in sorted(processes, key=natural):
        memory = processes[case]["memory"]
        needed = memory["ours"]["output"] + memory["ours"]["compressed"]
        sizes = [needed, memory["ours"]["growth"] - needed, memory["ours"]["growth"], memory["openjpeg"]["growth"]]
        rows.append([case, *(f"{size / 2**20:.1f}" for size in sizes)])
    print_table("jpeg2000: MiB that a process grows by over one decode",
                ["case", "pixels and codestream", "ours above that", "ours", "openjpeg"], rows)


def print_stages(stages):
    rows = []
    for case in sorted(stages, key=natural):
        sums = [stages[case].get(stage, 0) for stage in STAGES]
        steps = [after - before for before, after in zip([0, *sums], sums)]
        rows.append([case, *(f"{step:.1f}" for step in steps), f"{sums[-1]:.1f}"])
    print_table("jpeg2000: ms of each stage of ours", ["case", "packets", "blocks", "wavelet", "pixels", "all"], rows)


def main():
    processes = load(sys.argv[2]) if len(sys.argv) > 2 else {}
    speeds, stages, seeks = {}, {}, {}
    for entry in load(sys.argv[1])["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        group, case, contestant = (entry["run_name"].split("/") + [""])[:3]
        if group == "seek":
            seeks.setdefault(case, {})[entry["run_name"].split("/")[3]] = entry["real_time"]
        elif group == "jpeg2000_stages":
            stages.setdefault(case, {})[contestant] = entry["cpu_time"]
        else:
            speed = entry.get("bytes_per_second")
            # What has no contestants is ours.
            name = contestant if contestant in ("ours", *PEERS) else "ours"
            case = case if name == contestant else f"{case} {contestant}"
            speeds.setdefault(group, {}).setdefault(case, {})[name] = None if speed is None else speed / 1e6
    for case, measured in processes.items():
        if "grok" in measured:
            speeds["jpeg2000"][case]["grok"] = measured["grok"] / 1e6

    for group in [group for group in GROUPS if group in speeds]:
        print_speeds(group, speeds[group])
    if processes:
        print_memory(processes)
    if stages:
        print_stages(stages)
    if seeks:
        frames = sorted({frame for values in seeks.values() for frame in values}, key=natural)
        rows = [[case, *(f"{seeks[case][frame]:.0f}" for frame in frames)] for case in sorted(seeks, key=natural)]
        print_table("seek: one frame of a thousand, from opening the file to the finished image, µs",
                    ["file", *(f"frame {frame}" for frame in frames)], rows)


if __name__ == "__main__":
    main()
