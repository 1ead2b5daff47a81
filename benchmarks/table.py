#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints how much faster each part is than its rival, from one run of all benchmarks.

usage: table.py BUILD_DIR [--data FOLDER] [--repetitions N] [--only WORD] [--json FILE]

Ours and the rival stand in the same program and run in random interleaving; a ratio is that of the
medians, rival / ours. Peak memory is that of a child process that runs one of the two alone.
"""
import argparse
import json
import math
import os
import platform
import re
import statistics
import subprocess
import sys
import tempfile
from dataclasses import dataclass

import large_sets


@dataclass
class Row:
    work: str      # what a reader calls it
    program: str   # benchmark program
    ours: str      # name of our benchmark, without its arguments
    rival: str
    target: float  # times faster, at least


ROWS = [
    Row("square correction 9200", "DistortCorrectBenchmark", "squareOurs", "squarePlain", 6.0),
    Row("angular range, field of view", "DistortCorrectBenchmark", "fieldOfViewOurs", "fieldOfViewPlain", 6.0),
    Row("RectProject 4600", "DistortCorrectBenchmark", "rectOurs", "rectPlain", 4.0),
    Row("exported maps and sampling 4600", "DistortCorrectBenchmark", "interpolateOurs", "interpolatePlain", 2.5),
    Row("Gaussian smoothing", "DistortCorrectBenchmark", "smoothOurs", "smoothPlain", 2.0),
    Row("map export", "DistortCorrectBenchmark", "mapExportOurs", "mapExportPlain", 1.5),
    Row("angular view", "DistortCorrectBenchmark", "angularViewOurs", "angularViewPlain", 4.0),
    Row("bicubic sampling", "CubicSamplerBenchmark", "CubicSamplerTiles", "OpenCvRemapTiles", 1.0),
    Row("corners", "CornerDetectorBenchmark", "findCorners", "goodFeaturesToTrack", 2.5),
    Row("features of one image", "FeatureBenchmark", "featuresOurs", "featuresPlain", 1.5),
    Row("SURF", "SurfBenchmark", "surfWhole", "siftWhole", 3.5),
    Row("matching, SIFT", "MatchingBenchmark", "siftExact", "siftOpenCv", 3.0),
    Row("matching, SURF", "MatchingBenchmark", "surfExact", "surfOpenCv", 1.0),
    Row("warping, bicubic", "WarpingBenchmark", "cubicOurs", "cubicOpenCv", 1.0),
    Row("warping, bilinear", "WarpingBenchmark", "linearOurs", "linearOpenCv", 1.0),
    Row("exposure gains", "SeamBenchmark", "gainsOurs", "gainsOpenCv", 2.0),
    Row("graph-cut seams", "SeamBenchmark", "seamsOurs", "seamsOpenCv", 1.1),
    Row("further slab", "SlabBenchmark", "furtherSlab", "furtherSlabPlain", 2.0),
    Row("whole montage", "MontageBenchmark", "wholeOurs", "wholeStitcher", 2.5),
    Row("whole montage, picture", "MontageBenchmark", "wholePicture", "wholeStitcher", 2.5),
    Row("10 slabs", "SlabBenchmark", "tenSlabs", "tenSlabsStitcher", 2.5),
]


def run(build, program, pattern, repetitions, environment):
    """Runs the matching benchmarks; returns (benchmark records, peak memory in MB)."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [
            os.path.join(build, "benchmarks", program), f"--benchmark_filter={pattern}",
            f"--benchmark_repetitions={repetitions}", "--benchmark_min_time=0.05",
            "--benchmark_enable_random_interleaving=true", f"--benchmark_out={out.name}"]
        with open(os.devnull, "w") as nothing:
            child = subprocess.Popen(command, stdout=nothing, stderr=nothing, env=environment)
        _, status, usage = os.wait4(child.pid, 0)
        if status != 0:
            sys.exit(f"table.py: {' '.join(command)} failed")
        text = out.read()
    records = json.loads(text)["benchmarks"] if text else []
    return records, usage.ru_maxrss / 1024


def medians(records, name):
    """Median real time of every case of a benchmark, in milliseconds, by its arguments."""
    to_ms = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}
    times = {}
    for record in records:
        if record.get("run_type") != "iteration" or record.get("error_occurred"):
            continue
        stem, _, case = record["run_name"].partition("/")
        if stem == name:
            times.setdefault(case.replace("/real_time", ""), []).append(
                record["real_time"] * to_ms[record["time_unit"]])
    return {case: statistics.median(values) for case, values in times.items()}


def measure(row, options, environment):
    both = f"^({row.ours}|{row.rival})(/|$)"
    records, _ = run(options.build, row.program, both, options.repetitions, environment)
    ours, rival = medians(records, row.ours), medians(records, row.rival)
    peaks = [run(options.build, row.program, f"^{name}(/|$)", 1, environment)[1]
             for name in (row.ours, row.rival)]
    for case in ours:
        yield {"work": row.work, "case": case, "ours_ms": ours[case], "rival_ms": rival.get(case),
               "ratio": rival[case] / ours[case] if case in rival else None,
               "target": row.target, "peak_mb_ours": peaks[0], "peak_mb_rival": peaks[1]}


def growth(options, environment):
    """Fits time = a * size^exponent to the growth benchmarks, one exponent per axis."""
    axes = {}
    for program in ("DistortCorrectBenchmark", "MontageBenchmark"):
        records, _ = run(options.build, program, "^growth/", 3, environment)
        for case, time in medians(records, "growth").items():
            axis, _, size = case.replace(":", "/").partition("/")
            axes.setdefault(axis, []).append((float(size), time))
    for axis, points in axes.items():
        x = [math.log(size) for size, _ in points]
        y = [math.log(time) for _, time in points]
        yield {"axis": axis, "exponent": statistics.linear_regression(x, y).slope,
               "times_ms": dict(sorted(points))}


def large(options):
    """Grids of 24, 96 and 300 views by orv2d; large.sh has more."""
    with tempfile.TemporaryDirectory() as folder:
        for each in large_sets.SETS:
            if each.name in ("24 wide", "96 wide", "300 wide"):
                path = large_sets.render(options.build, each, folder, large_sets.PHOTOGRAPH)
                yield large_sets.orv2d(options.build, each, path)


def processor():
    with open("/proc/cpuinfo") as info:
        names = re.findall(r"model name\s*: (.*)", info.read())
    return f"{names[0]}, {len(names)} cores" if names else platform.processor()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build", help="build folder")
    parser.add_argument("--data", help="folder of photograph sets, one subfolder each")
    parser.add_argument("--repetitions", type=int, default=5, help="runs of each benchmark (5)")
    parser.add_argument("--only", default="", help="only rows whose work contains this word")
    parser.add_argument("--json", help="file for the results")
    options = parser.parse_args()
    environment = dict(os.environ)
    if options.data:
        environment["MONTAGE_BENCHMARK_DATA"] = options.data

    print(f"{processor()}; {platform.platform()}; medians of {options.repetitions}\n")
    print("| work | case | ours ms | rival ms | times faster | target | peak MB ours / rival |")
    print("| --- | --- | ---: | ---: | ---: | ---: | ---: |")
    results = {"processor": processor(), "rows": [], "growth": []}
    for row in (row for row in ROWS if options.only in row.work):
        for result in measure(row, options, environment):
            results["rows"].append(result)
            rival = f"{result['rival_ms']:.1f}" if result["rival_ms"] else "failed"
            ratio = f"{result['ratio']:.2f}" if result["ratio"] else "-"
            print(f"| {row.work} | {result['case']} | {result['ours_ms']:.1f} | {rival} | {ratio} "
                  f"| {row.target} | {result['peak_mb_ours']:.0f} / {result['peak_mb_rival']:.0f} |",
                  flush=True)
    if options.only in "large sets":
        print("\n| large set | seconds | peak MB | worst position px |\n| --- | ---: | ---: | ---: |")
        for result in large(options):
            results.setdefault("large", []).append(result)
            print(f"| {result['set']} | {result['seconds']:.1f} | {result['peak_mb']:.0f} "
                  f"| {result['worst_px']:.2f} |", flush=True)
    if options.only in "growth":
        print("\n| time grows with | exponent | ms |\n| --- | ---: | --- |")
        for result in growth(options, environment):
            results["growth"].append(result)
            times = ", ".join(f"{size:g}: {ms:.0f}" for size, ms in result["times_ms"].items())
            print(f"| {result['axis']} | {result['exponent']:.2f} | {times} |", flush=True)
    if options.json:
        with open(options.json, "w") as out:
            json.dump(results, out, indent=1)


if __name__ == "__main__":
    main()
