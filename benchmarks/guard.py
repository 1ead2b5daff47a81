#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails where this build is slower than an older one.

usage: guard.py BUILD_DIR OLD_BUILD_DIR [--least 0.9] [--rounds N] [--only WORD]

Both builds' own benchmarks of the library, those of the table that they share, run in turns on the
same machine; a ratio is that of the medians, old / new. A case below the limit is measured once
more, three times as long, before it counts.
"""
import argparse
import os
import random
import statistics
import subprocess
import sys

from table import ROWS, medians, run


def listed(build, program, name):
    """Cases of a benchmark, or none where the build has no such program."""
    path = os.path.join(build, "benchmarks", program)
    if not os.path.exists(path):
        return set()
    lines = subprocess.run([path, "--benchmark_list_tests", f"--benchmark_filter=^{name}(/|$)"],
                           capture_output=True, text=True, check=False).stdout.splitlines()
    return {line for line in lines if line.partition("/")[0] == name}


def ratios(builds, row, cases, rounds):
    """Old time over new time by case."""
    pattern = "^(" + "|".join(sorted(cases)) + ")$"
    times = {build: {} for build in builds}
    for _ in range(rounds):
        for build in random.sample(builds, len(builds)):
            records, _ = run(build, row.program, pattern, 1, dict(os.environ))
            for case, time in medians(records, row.ours).items():
                times[build].setdefault(case, []).append(time)
    new, old = (times[build] for build in builds)
    return {case: statistics.median(old[case]) / statistics.median(new[case])
            for case in new if case in old}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build", help="build folder")
    parser.add_argument("old", help="build folder of the version to compare with")
    parser.add_argument("--least", type=float, default=0.9, help="smallest ratio old / new (0.9)")
    parser.add_argument("--rounds", type=int, default=5, help="runs of each benchmark (5)")
    parser.add_argument("--only", default="", help="only rows whose work contains this word")
    options = parser.parse_args()
    builds = [options.build, options.old]

    slower = []
    compared = 0
    for row in (row for row in ROWS if options.only in row.work):
        cases = set.intersection(*(listed(build, row.program, row.ours) for build in builds))
        if not cases:
            continue
        found = ratios(builds, row, cases, options.rounds)
        if min(found.values(), default=options.least) < options.least:
            found = ratios(builds, row, cases, 3 * options.rounds)
        for case, ratio in found.items():
            compared += 1
            slow = ratio < options.least
            slower += [f"{row.work} {case}"] if slow else []
            print(f"{ratio:6.2f}  {row.work} {case}{'  TOO SLOW' if slow else ''}", flush=True)
    if compared == 0:
        sys.exit("guard.py: the builds share no benchmark")
    if slower:
        sys.exit(f"guard.py: below {options.least:g} of the old speed: {', '.join(slower)}")


if __name__ == "__main__":
    main()
