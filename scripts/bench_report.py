#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the results of scripts/bench as Markdown tables and brings performance.md and its charts up to date.

usage: bench_report.py BUILD DOCS|none

BUILD is the build folder of the benchmarks with the results. In DOCS, performance.md keeps its prose; what stands
between "<!-- begin table NAME -->" and "<!-- end table NAME -->" is replaced where all benchmarks of that table were
run. Tables of two machines do not mix: where the document has another machine's, only a run of everything replaces
them.
"""

import json
import os
import re
import subprocess
import sys
import textwrap

import bench_charts

PEERS = ["library", "ijg8", "ijg12", "ijg16", "turbo", "dcmtk", "plain", "charls", "openjph", "openjpeg", "grok"]
STAGES = ["packets", "blocks", "lines", "all"]
# The tables of speeds: group, and what the names of their cases match.
SPEEDS = {"frame": ("frame", ""), "jpeg-dct": ("jpeg", "baseline|progressive|extended"),
          "jpeg-lossless": ("jpeg", "lossless"), "jpegls": ("jpegls", ""), "jpeg2000": ("jpeg2000", ""),
          "htj2k": ("htj2k", ""), "file": ("file", ""),
          "colour": ("colour", ""), "wavelet": ("wavelet", ""), "components": ("components", "")}
PACKAGES = ["libdcmtk-dev", "libgdcm-dev", "libjpeg62-turbo-dev", "libcharls-dev", "libopenjp2-7-dev", "libopenjph-dev",
            "grokj2k-tools", "libhwy-dev", "libbenchmark-dev", "default-jdk-headless"]


def natural(text):
    """Sorts numbers inside names by their value."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", text)]


def table(columns, rows):
    lines = ["| " + " | ".join(columns) + " |", "|---|" + "---:|" * (len(columns) - 1)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


class Results:
    """What was measured, by group, case and contestant."""

    def __init__(self, folder):
        with open(os.path.join(folder, "results.json"), encoding="utf-8") as file:
            results = json.load(file)
        with open(os.path.join(folder, "processes.json"), encoding="utf-8") as file:
            self.processes = json.load(file)
        self.complete = set(results["complete"])
        java = os.path.join(folder, "java.md")
        self.java = ""
        if os.path.exists(java):
            with open(java, encoding="utf-8") as file:
                self.java = file.read().strip()
        self.groups = {}
        for name, measured in results["benchmarks"].items():
            group, case, *rest = name.split("/")
            contestant = rest[0] if rest else "ours"
            if group in ("wavelet", "components"):
                case, contestant = f"{case} {contestant}", "ours"
            elif group in ("seek", "threads"):
                contestant = re.sub(r"\D", "", rest[-1])  # the frame, the number of threads
            self.groups.setdefault(group, {}).setdefault(case, {})[contestant] = measured
        for case, measured in self.processes.items():
            if "grok" in measured:
                self.groups["jpeg2000"][case]["grok"] = {
                    "speed": measured["grok"], "time_ms": measured["memory"]["ours"]["output"] / measured["grok"] * 1e3}

    def cases(self, group, pattern=""):
        return {case: measured for case, measured in sorted(self.groups.get(group, {}).items(),
                                                            key=lambda item: natural(item[0]))
                if re.search(pattern, case)}


def speeds_table(cases):
    peers = [peer for peer in PEERS if any(peer in measured for measured in cases.values())]
    rows = []
    for case, measured in cases.items():
        ours = measured.get("ours", {}).get("speed")
        row = [case, f"{ours / 1e6:.0f}" if ours else "–"]
        for peer in peers:
            speed = measured.get(peer, {}).get("speed")
            factor = f" ({ours / speed:.2f})" if speed and ours else ""
            row.append(f"{speed / 1e6:.0f}{factor}" if speed else "")
        rows.append(row)
    return table(["case", "ours", *peers], rows)


def whole_table(results):
    rows = []
    for case, measured in results.cases("jpeg_whole").items():
        if len(measured) < 3:
            continue
        warm, codec, whole = (measured[name]["time_ms"] for name in ("warm", "codec", "part10"))
        header = measured["part10"]["header_ms"]
        rows.append([case, f"{codec:.2f}", f"{whole:.2f}", f"{100 * (whole / codec - 1):.1f}", f"{codec - warm:.2f}",
                     f"{header:.2f}", f"{whole - codec - header:.2f}"])
    return table(["case", "codec, fresh buffer", "Part 10 to `Renderable`", "more, %",
                  "fresh pages in the codec's time", "header", "other"], rows)


def memory_table(results):
    rows = []
    for case in sorted(results.processes, key=natural):
        memory = results.processes[case]["memory"]
        needed = memory["ours"]["output"] + memory["ours"]["compressed"]
        sizes = [needed, memory["ours"]["growth"] - needed, memory["ours"]["growth"], memory["openjpeg"]["growth"]]
        rows.append([case, *(f"{size / 2**20:.1f}" for size in sizes)])
    return table(["case", "pixels and codestream", "ours above that", "ours", "openjpeg"], rows)


def stages_table(results, group, contestant):
    rows = []
    for case, stages in results.cases(group + "_stages").items():
        sums = [stages.get(stage, {}).get("time_ms", 0.0) for stage in STAGES]
        steps = [after - before for before, after in zip([0, *sums], sums)]
        peer = results.groups.get(group, {}).get(case, {}).get(contestant, {}).get("time_ms", 0.0)
        rows.append([case, *(f"{step:.1f}" for step in steps), f"{sums[-1]:.1f}", f"{peer:.1f}"])
    return table(["case", "packets", "blocks", "wavelet", "pixels", "all", contestant], rows)


def region_table(results):
    rows = []
    for case, measured in results.cases("region").items():
        whole = measured.get("whole", {}).get("time_ms", 0.0)
        parts = [measured.get(place, {}).get("time_ms", 0.0) for place in ("top", "middle")]
        rows.append([case, f"{whole:.1f}", *(f"{part:.1f} (1/{whole / part:.0f})" if part else "" for part in parts)])
    return table(["case", "whole", "at the top", "in the middle"], rows)


def threads_table(results):
    cases = results.cases("threads")
    counts = sorted({count for measured in cases.values() for count in measured}, key=natural)
    rows = []
    for case, measured in cases.items():
        single = measured.get("1", {}).get("speed")
        row = [case]
        for count in counts:
            speed = measured.get(count, {}).get("speed")
            factor = f" ({speed / single:.2f})" if speed and single and count != "1" else ""
            row.append(f"{speed / 1e6:.0f}{factor}" if speed else "")
        rows.append(row)
    return table(["case", "1 request", *(f"{count} side by side" for count in counts[1:])], rows)


def small_table(results):
    """Microseconds: of images so small, speeds tell little."""
    cases = results.cases("small")
    peers = [peer for peer in PEERS if any(peer in measured for measured in cases.values())]
    rows = []
    for case, measured in cases.items():
        ours = measured.get("ours", {}).get("time_ms", 0.0)
        row = [case, f"{ours * 1e3:.1f}"]
        for peer in peers:
            time = measured.get(peer, {}).get("time_ms")
            row.append(f"{time * 1e3:.1f} ({time / ours:.2f})" if time and ours else "")
        rows.append(row)
    return table(["case", "ours", *peers], rows)


def seek_table(results):
    cases = results.cases("seek")
    frames = sorted({frame for measured in cases.values() for frame in measured}, key=natural)
    rows = [[case, *(f"{measured[frame]['time_ms'] * 1e3:.0f}" if frame in measured else "" for frame in frames)]
            for case, measured in cases.items()]
    return table(["file", *(f"frame {frame}" for frame in frames)], rows)


def first_match(pattern, text):
    match = re.search(pattern, text, re.MULTILINE)
    return match.group(1).strip() if match else "?"


def machine(build):
    def ask(*command):
        return subprocess.run(command, capture_output=True, text=True, check=False).stdout
    processor = ask("lscpu")
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        level = first_match(r" (-O\w)\b", file.read())
    vectors = next((name for flag, name in (("avx512bw", "AVX-512"), ("avx2", "AVX2"), ("asimd", "Neon"))
                    if flag in processor), "no wide vectors")
    virtual = ", virtual" if "Hypervisor vendor" in processor else ""
    with open("/etc/os-release", encoding="utf-8") as file:
        system = first_match(r'^PRETTY_NAME="(.*)"', file.read())
    versions = [(package, ask("dpkg-query", "-W", "-f=${Version}", package)) for package in PACKAGES]
    lines = [f"- {first_match(r'^Model name:(.*)', processor)}, {first_match(r'^CPU.s.:(.*)', processor)} cores"
             f"{virtual}, {vectors}, level 2 cache {first_match(r'^L2 cache:(.*)', processor)}",
             f"- {system}, {first_match(r'^(.*)', ask('c++', '--version'))}, `{level}`",
             textwrap.fill("- " + ", ".join(f"`{package}` {version}" for package, version in versions if version), 118,
                           subsequent_indent="  ", break_on_hyphens=False)]
    return "\n".join(lines)


def make_tables(results):
    """By name: the title for the terminal, the groups it needs, the text."""
    tables = {}
    for name, (group, pattern) in SPEEDS.items():
        tables[name] = (f"{name}: MB/s of decoded pixels (times ours is faster in brackets)", group,
                        speeds_table(results.cases(group, pattern)))
    tables["jpeg-whole"] = ("jpeg-whole: ms", "jpeg_whole", whole_table(results))
    tables["jpeg2000-memory"] = ("jpeg2000: MiB that a process grows by over one decode", "jpeg2000",
                                 memory_table(results))
    for group, contestant in (("jpeg2000", "openjpeg"), ("htj2k", "openjph")):
        tables[group + "-stages"] = (f"{group}: ms of each stage of ours", group + "_stages",
                                     stages_table(results, group, contestant))
    tables["region"] = ("region: ms of a window of 512 x 512 (its share of the whole in brackets)", "region",
                        region_table(results))
    tables["threads"] = ("threads: MB/s of decoded pixels, all requests together (times one request in brackets)",
                         "threads", threads_table(results))
    tables["small"] = ("small: µs of a frame (times ours is faster in brackets)", "small", small_table(results))
    tables["seek"] = ("seek: one frame of a thousand or two, from opening the file to the finished image, µs", "seek",
                      seek_table(results))
    measured = {name: entry for name, entry in tables.items() if entry[2].count("\n") > 1}
    if results.java:
        measured["java"] = ("java", "java", results.java)
    return measured


def replace_block(text, name, content):
    pattern = rf"(<!-- begin table {re.escape(name)} -->\n).*?(<!-- end table {re.escape(name)} -->)"
    if not re.search(pattern, text, re.DOTALL):
        sys.exit(f"performance.md has no table {name}")
    return re.sub(pattern, lambda match: f"{match.group(1)}\n{content}\n\n{match.group(2)}", text, flags=re.DOTALL)


def update(docs, results, tables, description):
    path = os.path.join(docs, "performance.md")
    with open(path, encoding="utf-8") as file:
        text = file.read()
    complete = results.complete | ({"java"} if results.java else set())
    everything = all(name in tables and tables[name][1] in complete
                     for name in re.findall(r"<!-- begin table ([\w-]+) -->", text) if name not in ("java", "machine"))
    if not everything and description not in text:
        print(f"\n{path} is of another machine and left alone", file=sys.stderr)
        return
    text = replace_block(text, "machine", description)
    for name, (_, group, content) in tables.items():
        if group in complete:
            text = replace_block(text, name, content)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    bench_charts.draw(os.path.join(docs, "images"), results, complete)


def main():
    build, docs = sys.argv[1:3]
    folder = os.path.join(build, "results")
    results = Results(folder)
    tables = make_tables(results)
    for title, _, content in tables.values():
        print(f"\n{title}\n\n{content}")
    if docs != "none":
        update(docs, results, tables, machine(build))


if __name__ == "__main__":
    main()
