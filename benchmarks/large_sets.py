#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Montages of dozens to hundreds of rendered views: time by phases, peak memory, true errors.

usage: large_sets.py BUILD_DIR [--folder F] [--sets NAME...] [--photograph FILE] [--rivals] [--json F]

Every set is a grid of views with 30 % overlap, rendered by examples/render_grid into FOLDER (kept
there for the next run), and joined by one process each: orv2d in the pipeline picture, and with
--rivals also the pipeline basic, cv::Stitcher, and Hugin's tools if they are installed. Positions
are compared with the truth by examples/position_errors.py.
"""
import argparse
import json
import math
import os
import re
import shutil
import subprocess
import sys
import threading
import time
from dataclasses import dataclass

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PHOTOGRAPH = "/usr/share/backgrounds/picosdeeuropa_by_Aitzol_Berasategi.jpg"


@dataclass
class Set:
    name: str
    rows: int
    columns: int
    span: int            # degrees along a row
    megapixels: float = 0.5
    format: str = "png"
    output: str = "png"
    options: tuple = ()  # of orv2d

    @property
    def count(self):
        return self.rows * self.columns


SETS = [
    Set("24 wide", 4, 6, 70),
    Set("24 tele", 4, 6, 20),
    Set("96 wide", 8, 12, 70),
    Set("96 tele", 8, 12, 20),
    Set("300 wide", 15, 20, 70),
    Set("300 tele", 15, 20, 20),
    Set("1000", 25, 40, 70, format="jpg", output="tif", options=("--pyramid",)),
    Set("300 of 12 MP", 15, 20, 70, megapixels=12, format="jpg", output="tif",
        options=("--pyramid", "--max-memory", "3G")),
]


PATIENCE = 900  # seconds for one process


def measured(command, folder):
    """Runs one process; returns (exit code, seconds, peak MB of it and its children)."""
    start = time.monotonic()
    with open(os.path.join(folder, "log.txt"), "w") as log:
        child = subprocess.Popen(command, stdout=log, stderr=log, cwd=folder)
        timer = threading.Timer(PATIENCE, child.kill)
        timer.start()
        _, status, usage = os.wait4(child.pid, 0)
        timer.cancel()
    return os.waitstatus_to_exitcode(status), time.monotonic() - start, usage.ru_maxrss * 1024 / 1e6


def render(build, each, folder, photograph, shuffle_seed=1):
    path = os.path.join(folder, each.name.replace(" ", "_") + (
        "" if shuffle_seed == 1 else f"_{shuffle_seed}"))
    if not os.path.exists(os.path.join(path, "complete")):
        subprocess.run([os.path.join(build, "render_grid"), path, "--rows", str(each.rows),
                        "--columns", str(each.columns), "--span", str(each.span), "--megapixels",
                        str(each.megapixels), "--format", each.format, "--photograph", photograph,
                        "--shuffle", "--seed", str(shuffle_seed)], check=True)
        open(os.path.join(path, "complete"), "w").close()
    return path


def views_of(path):
    return sorted(os.path.join(path, f) for f in os.listdir(path) if f.startswith("view_"))


def orv2d(build, each, path, pipeline="picture"):
    """Joins a rendered set; returns figures, or None if it failed."""
    report = os.path.join(path, f"report_{pipeline}.json")
    output = os.path.join(path, f"montage_{pipeline}.{each.output}")
    code, seconds, peak = measured(
        [os.path.join(build, "orv2d"), "montage", *views_of(path), "-o", output, "--report", report,
         "--pipeline", pipeline, "--quiet", *(each.options if pipeline == "picture" else ())], path)
    if code != 0:
        return None
    with open(report) as file:
        result = json.load(file)
    errors = subprocess.run(
        [sys.executable, os.path.join(ROOT, "examples", "position_errors.py"),
         os.path.join(path, "truth.json"), report], capture_output=True, text=True).stdout
    worst = re.search(r"largest error ([\d.]+)", errors)
    median = re.search(r"median error ([\d.]+)", errors)
    size = result["montages"][0]
    megapixels = size["width"] * size["height"] / 1e6
    phases = {name: result["times"][name]["value"]
              for name in ("registration", "plan", "compose", "writing")}
    return {"set": each.name, "program": f"orv2d {pipeline}", "used":
            sum(image["used"] for image in result["images"]), "images": each.count,
            "megapixels": megapixels, "seconds": seconds, **phases, "peak_mb": peak,
            "median_px": float(median.group(1)) if median else None,
            "worst_px": float(worst.group(1)) if worst else None,
            "reprojection_px": result["quality"]["projectionErrorRms"]["value"]}


def stitcher(build, each, path):
    program = os.path.join(build, "benchmarks", "StitchFiles")
    if not os.path.exists(program):
        return None
    code, seconds, peak = measured([program, os.path.join(path, "stitcher.png"), *views_of(path)],
                                   path)
    return {"set": each.name, "program": "cv::Stitcher", "images": each.count, "seconds": seconds,
            "peak_mb": peak, "failed": code != 0}


def hugin(each, path):
    if not all(shutil.which(tool) for tool in ("pto_gen", "cpfind", "autooptimiser", "nona", "enblend")):
        return None
    with open(os.path.join(path, "truth.json")) as file:
        truth = json.load(file)
    field = 2 * 180 / math.pi * math.atan(truth["width"] / 2 / truth["focal"])
    steps = [["pto_gen", "-o", "h.pto", "-f", f"{field:.4f}", *views_of(path)],
             ["cpfind", "--multirow", "-o", "h.pto", "h.pto"],
             ["autooptimiser", "-a", "-l", "-m", "-s", "-o", "h.pto", "h.pto"],
             ["pano_modify", "-p", "0", "--canvas=AUTO", "--fov=AUTO", "-o", "h.pto", "h.pto"],
             ["nona", "-m", "TIFF_m", "-o", "h_", "h.pto"]]
    total, most = 0.0, 0.0
    for step in steps:
        code, seconds, peak = measured(step, path)
        total, most = total + seconds, max(most, peak)
        if code != 0:
            return {"set": each.name, "program": "Hugin", "images": each.count, "seconds": total,
                    "peak_mb": most, "failed": step[0]}
    warped = sorted(f for f in os.listdir(path) if f.startswith("h_") and f.endswith(".tif"))
    code, seconds, peak = measured(["enblend", "-o", "hugin.tif", *warped], path)
    for file in warped:
        os.remove(os.path.join(path, file))
    return {"set": each.name, "program": "Hugin", "images": each.count, "seconds": total + seconds,
            "peak_mb": max(most, peak), "failed": "enblend" if code else False}


def printed(result):
    def number(name, digits):
        return f"{result[name]:.{digits}f}" if result.get(name) is not None else "-"
    seconds = f"failed ({result['failed']}) " if result.get("failed") else ""
    print(f"| {result['set']} | {result['program']} | {result.get('used', '-')} of {result['images']} "
          f"| {number('megapixels', 0)} | {seconds}{number('seconds', 1)} "
          f"| {number('registration', 1)} / {number('plan', 1)} / {number('compose', 1)} / "
          f"{number('writing', 1)} | {number('peak_mb', 0)} "
          f"| {number('median_px', 2)} / {number('worst_px', 2)} "
          f"| {number('reprojection_px', 3)} |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build")
    parser.add_argument("--folder", default="large-sets", help="for the rendered views")
    parser.add_argument("--sets", nargs="*", default=[each.name for each in SETS])
    parser.add_argument("--orders", type=int, default=1, help="random orders of each set")
    parser.add_argument("--photograph", default=PHOTOGRAPH, help="the scene at large")
    parser.add_argument("--rivals", action="store_true")
    parser.add_argument("--json")
    options = parser.parse_args()
    os.makedirs(options.folder, exist_ok=True)
    folder = os.path.abspath(options.folder)
    build = os.path.abspath(options.build)
    print("| set | program | used | montage MP | seconds | registration / plan / compose / write "
          "| peak MB | position px, median / worst | reprojection px |")
    print("| --- | --- | ---: | ---: | ---: | --- | ---: | --- | ---: |")
    results = []
    for each in (each for each in SETS if each.name in options.sets):
        runs = []
        for seed in range(1, options.orders + 1):
            path = render(build, each, folder, options.photograph, seed)
            runs.append(orv2d(build, each, path))
        path = render(build, each, folder, options.photograph)
        if options.rivals:
            runs += [orv2d(build, each, path, "basic"), stitcher(build, each, path),
                     hugin(each, path)]
        for result in filter(None, runs):
            printed(result)
            results.append(result)
    if options.json:
        with open(options.json, "w") as out:
            json.dump(results, out, indent=1)


if __name__ == "__main__":
    main()
