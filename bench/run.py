#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the benchmark programs and gathers their results.

usage: run.py PROGRAMS FILTER RESULTS.json

PROGRAMS is the folder of the programs, FILTER a regular expression over the benchmarks' names. The benchmarks run
in batches, those to be compared with each other in one, each batch interleaved at random and on one core; only
requests side by side have all cores. With QUORIX_BENCH_QUICK in the environment everything runs once and briefly.

RESULTS.json gets "benchmarks", by name the medians of time_ms, speed (bytes a second) and header_ms as far as they
are measured, and "complete", the groups (first parts of the names) of which everything was run.
"""

import collections
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

MILLISECONDS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}
LAST_CORE = {max(os.sched_getaffinity(0))}


def list_benchmarks(program):
    return subprocess.check_output([program, "--benchmark_list_tests", "--benchmark_filter=."], text=True).split()


def batch_of(name):
    """The group, its stages included, and the size where a group is large."""
    parts = name.split("/")
    side = re.search(r"_(512|1024|2048|4096)\b", parts[1]) if parts[0] == "jpeg" else None
    return parts[0].removesuffix("_stages"), side.group(1) if side else ""


def settings(group, side):
    """Repetitions and the least time of each: large images take long and vary little."""
    if os.environ.get("QUORIX_BENCH_QUICK"):
        return 1, 0.01
    if side == "4096":
        return 3, 0.05
    return (5, 0.5) if group == "threads" else (5, 0.05)


def run_batch(program, names, repetitions, least_time, cores):
    with tempfile.NamedTemporaryFile(suffix=".json") as file:
        subprocess.run([program, f"--benchmark_filter=^({'|'.join(names)})$",
                        f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={least_time}",
                        "--benchmark_enable_random_interleaving=true", f"--benchmark_out={file.name}",
                        "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       preexec_fn=lambda: os.sched_setaffinity(0, cores))
        return json.load(file)["benchmarks"]


def gather(entries):
    """The medians over the repetitions."""
    values = collections.defaultdict(lambda: collections.defaultdict(list))
    for entry in entries:
        if entry["run_type"] != "iteration":
            continue
        name = entry["run_name"]
        if entry.get("error_occurred"):
            sys.exit(f"{name}: {entry['error_message']}")
        clock = "real_time" if "/real_time" in name or name.startswith("seek/") else "cpu_time"
        values[name]["time_ms"].append(entry[clock] * MILLISECONDS[entry["time_unit"]])
        for field, key in (("bytes_per_second", "speed"), ("header_ms", "header_ms")):
            if field in entry:
                values[name][key].append(entry[field])
    return {name: {key: statistics.median(numbers) for key, numbers in fields.items()}
            for name, fields in values.items()}


def main():
    programs, pattern, target = sys.argv[1:4]
    results, missing, groups = {}, set(), set()
    for program in ("quorix_bench", "quorix_bench_wavelet"):
        program = os.path.join(programs, program)
        batches = collections.defaultdict(list)
        for name in list_benchmarks(program):
            group = name.split("/")[0]
            groups.add(group)
            if re.search(pattern, name):
                batches[batch_of(name)].append(name)
            else:
                missing.add(group)
        for (group, side), names in batches.items():
            start = time.monotonic()
            cores = os.sched_getaffinity(0) if group == "threads" else LAST_CORE
            results.update(gather(run_batch(program, names, *settings(group, side), cores)))
            print(f"{group} {side}: {len(names)} benchmarks in {time.monotonic() - start:.0f} s", file=sys.stderr)
    with open(target, "w", encoding="utf-8") as file:
        json.dump({"complete": sorted(groups - missing), "benchmarks": results}, file, indent=1)


if __name__ == "__main__":
    main()
