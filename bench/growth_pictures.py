#!/usr/bin/python3
"""Draws the figures of orva_bench_growth: one SVG per picture, both axes logarithmic."""
import argparse
import csv
import math
import pathlib

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.fonttype"] = "none"  # text stays text
matplotlib.rcParams["svg.hashsalt"] = "orva"  # the same figures give the same file
from matplotlib import pyplot  # noqa: E402

TITLES = {
    "restraint-keys": ("Restraint decision", "keys of one id"),
    "restraint-ids": ("Restraint decision", "ids, one key each"),
    "mutex-table": ("Look-up in the mutex table", "mutexes in the table"),
    "list": ("List", "nodes"),
    "stub-values": ("Stub value", "entries of the stub list"),
    "stub-names": ("Stub name", "row of the name table"),
    "sensors": ("Simulated sensors", "sensors"),
    "packet-dump": ("Packet dump", "bytes"),
    "host-partition": ("Partition of the host platform", "live blocks"),
}


def read(path):
    pictures = {}
    with open(path, newline="") as file:
        for row in csv.DictReader(file, delimiter=";"):
            curves = pictures.setdefault(row["picture"], {})
            curves.setdefault(row["curve"], []).append((int(row["work"]), float(row["ns"])))
    return pictures


def draw(name, curves, folder):
    title, axis = TITLES[name]
    figure, axes = pyplot.subplots(figsize=(6, 3.6), layout="constrained")
    for label, points in curves.items():
        works, times = zip(*sorted(points))
        axes.plot(works, times, marker="o", label=label)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.set_title(title)
    axes.set_xlabel(axis)
    axes.set_ylabel("processor time per call, ns")
    times = [time for points in curves.values() for _, time in points]
    axes.set_ylim(10 ** math.floor(math.log10(min(times))), 10 ** math.ceil(math.log10(max(times))))
    ticks = sorted({work for points in curves.values() for work, _ in points})
    axes.set_xticks(ticks, [f"{tick:,}" for tick in ticks])
    axes.minorticks_off()
    axes.grid(alpha=0.3)
    axes.legend(fontsize="small")
    figure.savefig(folder / f"{name}.svg", metadata={"Date": None})
    pyplot.close(figure)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("csv", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    for name, curves in read(arguments.csv).items():
        draw(name, curves, arguments.folder)


if __name__ == "__main__":
    main()
