#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the positions in a montage report with the true cameras of rendered views.

usage: position_errors.py TRUTH.json REPORT.json [--tolerance PIXELS]

A montage is flat: every view is projected onto one plane, and registration may place that plane
anywhere in front of the cameras. The plane that it chose is one rotation, the frame, common to all
views. So the frame is the only thing estimated here (three angles, by Gauss-Newton, started at the
orientation of every view, or of some of many); then every view's footprint on the plane follows from the true cameras
exactly, and its distance to the reported position is the error. With --tolerance the exit code is 1
if an error is larger, a view is missing that belongs, or one is used that does not.
"""
import argparse
import json
import math
import statistics
import sys


MOST_STARTS = 8


def multiplied(a, b):
    return [[sum(a[r][k] * b[k][c] for k in range(3)) for c in range(3)] for r in range(3)]


def transposed(a):
    return [list(column) for column in zip(*a)]


def rotation(axis_angle):
    """Rodrigues' formula."""
    angle = math.sqrt(sum(w * w for w in axis_angle))
    if angle < 1e-12:
        return [[float(r == c) for c in range(3)] for r in range(3)]
    x, y, z = (w / angle for w in axis_angle)
    cross = [[0, -z, y], [z, 0, -x], [-y, x, 0]]
    square = multiplied(cross, cross)
    s, v = math.sin(angle), 1 - math.cos(angle)
    return [[float(r == c) + s * cross[r][c] + v * square[r][c] for c in range(3)]
            for r in range(3)]


def footprint(frame_from_camera, focal, width, height):
    """Left, top, right, bottom of a view on the montage plane, from its corners."""
    points = []
    for x in (0, width - 1):
        for y in (0, height - 1):
            ray = (x - (width - 1) / 2, y - (height - 1) / 2, focal)
            px, py, pz = (sum(row[k] * ray[k] for k in range(3)) for row in frame_from_camera)
            points.append((focal * px / pz, focal * py / pz))
    xs, ys = zip(*points)
    return min(xs), min(ys), max(xs), max(ys)


def places(frame_from_world, cameras, truth, kind):
    """Expected positions: corners on the plane, or, relative to the top-left of all, centres of the
    views or of their footprints."""
    prints = [footprint(multiplied(frame_from_world, camera), truth["focal"], truth["width"],
                        truth["height"]) for camera in cameras]
    if kind == "topLeftCorner":
        return [p[:2] for p in prints]
    left, top = min(p[0] for p in prints), min(p[1] for p in prints)
    if kind == "centreInMontage":
        axes = [[row[2] for row in multiplied(frame_from_world, camera)] for camera in cameras]
        return [(truth["focal"] * x / z - left, truth["focal"] * y / z - top) for x, y, z in axes]
    return [((p[0] + p[2]) / 2 - left, (p[1] + p[3]) / 2 - top) for p in prints]


def solved(matrix, vector):
    """Gauss elimination with pivoting of a 3 x 3 system."""
    rows = [list(row) + [value] for row, value in zip(matrix, vector)]
    for k in range(3):
        pivot = max(range(k, 3), key=lambda r: abs(rows[r][k]))
        rows[k], rows[pivot] = rows[pivot], rows[k]
        for r in range(3):
            if r != k:
                factor = rows[r][k] / rows[k][k]
                rows[r] = [a - factor * b for a, b in zip(rows[r], rows[k])]
    return [rows[k][3] / rows[k][k] for k in range(3)]


def fitted(start, cameras, reported, truth, kind, steps=10, difference=1e-5):
    """Turns the frame `start` until the places fit best; returns their errors (x, y per view)."""
    def errors_of(frame):
        expected = places(frame, cameras, truth, kind)
        return [e - r for point, mark in zip(expected, reported) for e, r in zip(point, mark)]

    frame = start
    for _ in range(steps):
        errors = errors_of(frame)
        columns = []
        for axis in range(3):
            turn = rotation([difference * (axis == k) for k in range(3)])
            further = errors_of(multiplied(turn, frame))
            columns.append([(f - e) / difference for f, e in zip(further, errors)])
        normal = [[sum(a * b for a, b in zip(p, q)) for q in columns] for p in columns]
        # A little damping: centres are relative, so two views leave the roll undetermined.
        for k in range(3):
            normal[k][k] *= 1 + 1e-9
        change = solved(normal, [sum(a * e for a, e in zip(p, errors)) for p in columns])
        frame = multiplied(rotation([-c for c in change]), frame)
    return errors_of(frame)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("truth")
    parser.add_argument("report")
    parser.add_argument("--tolerance", type=float, help="largest error that passes, pixels")
    arguments = parser.parse_args()
    with open(arguments.truth) as truth_file, open(arguments.report) as report_file:
        truth, report = json.load(truth_file), json.load(report_file)

    views, images = truth["views"], report["images"]
    used = [i for i, image in enumerate(images) if image["used"]]
    cameras = [[views[i]["worldFromCamera"][3 * r:3 * r + 3] for r in range(3)] for i in used]
    # Others are composition pixels; bring them to full resolution, where the truth is.
    kind = report["positions"]["kind"]
    scale = 1 if kind == "centre" else report["scales"]["compose"]
    reported = [(images[i]["x"] / scale, images[i]["y"] / scale) for i in used]
    starts = cameras[::max(1, len(cameras) // MOST_STARTS)]
    errors = min((fitted(transposed(camera), cameras, reported, truth, kind) for camera in starts),
                 key=lambda each: sum(e * e for e in each))

    print(f"{'view':>4}  {'used':4}  {'reported x, y':>16}  {'error, px':>9}")
    lengths = {i: math.hypot(*errors[2 * j:2 * j + 2]) for j, i in enumerate(used)}
    for i, image in enumerate(images):
        where = f"{image['x']:>8.0f}{image['y']:>8.0f}" if i in lengths else " " * 16
        error = f"{lengths[i]:9.2f}" if i in lengths else ""
        note = "" if image["used"] == views[i]["belongs"] else "  <- wrong"
        print(f"{i:>4}  {'yes' if image['used'] else 'no':4}  {where}  {error}{note}")
    print(f"median error {statistics.median(lengths.values()):.2f} px")
    print(f"largest error {max(lengths.values()):.2f} px", end="")
    if kind == "centre":
        print(f" (positions come from whole pixels of the seam resolution, {1 / report['scales']['seam']:.1f} px"
              " of the views)", end="")
    print()
    right = all(image["used"] == view["belongs"] for image, view in zip(images, views))
    if arguments.tolerance is not None and (not right or max(lengths.values()) > arguments.tolerance):
        sys.exit(1)


if __name__ == "__main__":
    main()
