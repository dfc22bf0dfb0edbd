# SPDX-License-Identifier: Apache-2.0
"""Draws the charts of docs/performance.md. The same figures give the same files, byte for byte."""

import os
import re

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

matplotlib.rcParams.update({
    "svg.hashsalt": "quorix", "svg.fonttype": "none", "font.family": "sans-serif", "font.size": 9,
    "axes.spines.top": False, "axes.spines.right": False, "axes.axisbelow": True, "axes.titlesize": 10,
    "figure.facecolor": "white", "legend.frameon": False})

# Ours stands out; every peer has one colour in all charts.
COLOURS = {"ours": "#0b6e99", "library": "#8a8a8a", "ijg": "#8a8a8a", "turbo": "#e0a030", "dcmtk": "#c06a6a",
           "openjpeg": "#c06a6a", "grok": "#e0a030"}
NAMES = {"ours": "ours", "ijg": "IJG library", "turbo": "libjpeg-turbo", "dcmtk": "DCMTK", "openjpeg": "OpenJPEG",
         "grok": "Grok"}
LINES = ["#0b6e99", "#b5522b", "#4b8b3b", "#7a5195"]


def contestant_of(measured, name):
    """The IJG build of a case's precision goes by one name."""
    if name == "ijg":
        return next((measured[key] for key in ("ijg8", "ijg12", "ijg16") if key in measured), None)
    return measured.get(name)


def save(folder, name, figure):
    figure.savefig(os.path.join(folder, name + ".svg"), metadata={"Date": None, "Creator": None})
    pyplot.close(figure)


def bars(folder, name, title, cases, contestants):
    """One group of bars a case, ours uppermost, each with its figure."""
    shown = [contestant for contestant in contestants
             if any(contestant_of(measured, contestant) for measured in cases.values())]
    step = 0.8 / len(shown)
    figure, axes = pyplot.subplots(figsize=(7.5, 1.1 + 0.17 * len(shown) * len(cases) + 0.06 * len(cases)))
    for number, contestant in enumerate(shown):
        found = [(row, contestant_of(measured, contestant)["speed"] / 1e6)
                 for row, measured in enumerate(cases.values()) if contestant_of(measured, contestant)]
        places = [row + (number - (len(shown) - 1) / 2) * step for row, _ in found]
        drawn = axes.barh(places, [speed for _, speed in found], step * 0.9, color=COLOURS[contestant],
                          label=NAMES[contestant])
        axes.bar_label(drawn, fmt="%.0f", padding=2, fontsize=7)
    axes.set_yticks(range(len(cases)), cases)
    axes.invert_yaxis()
    axes.margins(x=0.08, y=0.01)
    axes.set_xlabel("MB/s of decoded pixels")
    axes.grid(axis="x", color="#dddddd")
    figure.suptitle(title, x=0.5, fontsize=10)
    figure.legend(*axes.get_legend_handles_labels(), loc="lower center", ncol=len(shown))
    figure.tight_layout(rect=(0, 0.35 / figure.get_figheight(), 1, 1))
    save(folder, name, figure)


def series(results, group, pattern, contestant):
    """Sides and times of the cases whose names match; the pattern has the side as its group."""
    points = []
    for case, measured in results.cases(group, pattern).items():
        entry = contestant_of(measured, contestant)
        if entry:
            points.append((int(re.search(pattern, case).group(1)), entry["time_ms"]))
    return sorted(points)


def sizes(folder, results):
    """How time grows with the image: ours drawn through, a peer dashed."""
    panels = [
        ("RLE", "frame", "dcmtk", {"grey, 16 bits": r"^grey16_(\d+)_rle$", "RGB": r"^rgb_(\d+)_rle$"}),
        ("JPEG, DCT", "jpeg", "turbo", {"grey, 8 bits": r"^grey8_baseline_(\d+)$",
                                        "RGB 4:2:0": r"^rgb_baseline420_(\d+)$",
                                        "RGB 4:2:0 progressive": r"^rgb_progressive420_(\d+)$"}),
        ("JPEG, lossless", "jpeg", "ijg", {"grey, 16 bits, predictor 1": r"^grey16_lossless1_(\d+)$",
                                           "grey, 16 bits, predictor 4": r"^grey16_lossless4_(\d+)$",
                                           "RGB, predictor 1": r"^rgb_lossless1_(\d+)$"}),
        ("JPEG 2000", "jpeg2000", "openjpeg", {"grey, 12 bits, lossless": r"^cr_(\d+)$",
                                               "grey, 12 bits, 9/7 at 10:1": r"^cr_(\d+)_lossy$"})]
    figure, grid = pyplot.subplots(2, 2, figsize=(8.5, 7), sharex=True, sharey=True)
    for axes, (title, group, peer, patterns) in zip(grid.flat, panels):
        for colour, (label, pattern) in zip(LINES, patterns.items()):
            for contestant, style in (("ours", "o-"), (peer, "o--")):
                points = series(results, group, pattern, contestant)
                axes.plot(*zip(*points), style, color=colour, markersize=3, linewidth=1.3,
                          markerfacecolor=colour if contestant == "ours" else "white",
                          label=label if contestant == "ours" else None)
        axes.set_title(f"{title}: ours —, {NAMES[peer]} - -")
        axes.set_xscale("log", base=2)
        axes.set_yscale("log")
        axes.minorticks_off()
        axes.grid(color="#dddddd")
        axes.legend(loc="upper left", fontsize=8)
    # Room for the legends above the lines.
    low, high = grid[0, 0].get_ylim()
    grid[0, 0].set_ylim(low, high * 6)
    sides = sorted({side for _, group, _, patterns in panels for pattern in patterns.values()
                    for side, _ in series(results, group, pattern, "ours")})
    for axes in grid[1]:
        axes.set_xticks(sides, [f"{side}²" for side in sides])
        axes.set_xlabel("image size, pixels")
    for axes in grid[:, 0]:
        axes.set_ylabel("ms per image")
    figure.tight_layout()
    save(folder, "bench_sizes", figure)


def threads(folder, results):
    figure, axes = pyplot.subplots(figsize=(6.5, 4.6))
    labels = {"grey16_2048_rle": "RLE", "rgb_baseline420_2048": "JPEG baseline",
              "grey16_lossless1_2048": "JPEG lossless", "grey16_2048_jpeg2000": "JPEG 2000"}
    counts = [1, 2, 4, 8, 16]
    cores = min(len(os.sched_getaffinity(0)), counts[-1])
    axes.set_xscale("log", base=2)
    bend = [*range(1, cores + 1), counts[-1]]
    axes.plot(bend, [min(count, cores) for count in bend], color="#bbbbbb", linewidth=1,
              label=f"all {cores} cores of this machine")
    for colour, (case, label) in zip(LINES, labels.items()):
        speeds = [results.groups["threads"][case][str(count)]["speed"] for count in counts]
        axes.plot(counts, [speed / speeds[0] for speed in speeds], "o-", color=colour, markersize=4, linewidth=1.3,
                  label=f"{label} (one request {speeds[0] / 1e6:.0f} MB/s)")
    axes.set_xticks(counts, counts)
    axes.minorticks_off()
    axes.set_ylim(bottom=0)
    axes.set_xlabel("requests side by side")
    axes.set_ylabel("images a second, times those of one request")
    axes.set_title("2048² images, Part 10 stream to finished image")
    axes.grid(color="#dddddd")
    figure.legend(*axes.get_legend_handles_labels(), loc="lower center", ncol=2, fontsize=8)
    figure.tight_layout(rect=(0, 0.16, 1, 1))
    save(folder, "bench_threads", figure)


def draw(folder, results, complete):
    """Draws those charts whose groups were all run."""
    os.makedirs(folder, exist_ok=True)
    if "frame" in complete:
        bars(folder, "bench_rle", "RLE, 2048²", results.cases("frame", "2048"), ["ours", "dcmtk"])
    if "jpeg" in complete:
        bars(folder, "bench_jpeg_dct", "JPEG with DCT, 2048²",
             results.cases("jpeg", "(baseline|progressive|extended).*2048"), ["ours", "turbo", "ijg", "dcmtk"])
        bars(folder, "bench_jpeg_lossless", "JPEG lossless, 2048²", results.cases("jpeg", "lossless.*2048"),
             ["ours", "ijg", "dcmtk"])
    if "jpeg2000" in complete:
        bars(folder, "bench_jpeg2000", "JPEG 2000",
             results.cases("jpeg2000", "^(ct_|mr_|cr_2048|rgb_2048)(?!.*tiled_scale3)"), ["ours", "openjpeg", "grok"])
    if {"frame", "jpeg", "jpeg2000"} <= complete:
        sizes(folder, results)
    if "threads" in complete:
        threads(folder, results)
