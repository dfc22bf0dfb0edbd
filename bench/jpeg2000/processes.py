#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Measures what needs a process of its own, on one core, for every case of JPEG 2000 in RESULTS.json: how far a
process of ours, and one of OpenJPEG, grows over one decode; and Grok's program, where it is installed.

Grok's speed is the processor time, the system's for it included, of one image more: that of four repetitions in
one process less that of one, so that its start does not count. Writing the pixels to memory does count, as the
program offers nothing else.

usage: processes.py RESULTS.json FOLDER_OF_PROGRAMS FOLDER_OF_INPUTS > PROCESSES.json
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

REPETITIONS = 1 if os.environ.get("QUORIX_BENCH_QUICK") else 3


def time_run(arguments):
    """The processor time in seconds of a program's run."""
    program = subprocess.Popen(arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    usage = os.wait4(program.pid, 0)[2]
    return usage.ru_utime + usage.ru_stime


def measure_memory(program, case, contestant):
    growth, output, compressed = map(int, subprocess.check_output([program, case, contestant]).split())
    return {"growth": growth, "output": output, "compressed": compressed}


def measure_grok(path, scale, output):
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        command = ["grk_decompress", "-H", "1", "-r", str(scale - 1), "-i", path, "-o", folder + "/image.raw"]
        times = [(time_run(command + ["-e", "4"]) - time_run(command + ["-e", "1"])) / 3
                 for _ in range(REPETITIONS)]
        return output / statistics.median(times)


def main():
    results, programs, inputs = sys.argv[1:4]
    with open(results, encoding="utf-8") as file:
        names = {name.split("/")[1] for name in json.load(file)["benchmarks"] if name.startswith("jpeg2000/")}
    os.environ["QUORIX_BENCH_INPUTS"] = inputs
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    cases = {}
    for name in sorted(names):
        memory = {contestant: measure_memory(os.path.join(programs, "quorix_peak_memory"), name, contestant)
                  for contestant in ("ours", "openjpeg")}
        cases[name] = {"memory": memory}
        if shutil.which("grk_decompress") and "4096" not in name:
            path = os.path.join(inputs, "jpeg2000", name.replace("_scale3", "") + ".j2k")
            cases[name]["grok"] = measure_grok(path, 3 if name.endswith("_scale3") else 1,
                                               memory["ours"]["output"])
    json.dump(cases, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
