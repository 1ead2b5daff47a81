#!/usr/bin/env python3
"""straighten_fisheye.py IMAGE CORRECTED.tif: what lies within 65 degrees of a fisheye lens's axis.

The lens is that of README.md; docs/correction.md tells how to find the values of yours.
"""

import math
import sys

import numpy as np

import montage_native as mn

LENS = {"half_field_angle": math.radians(90), "linear": 0.59, "cubic": 0.2}


def main(source, target):
    image = mn.read_image(source)
    side = min(image.shape[:2])
    image = image[:side, :side]
    y, x = np.ogrid[-1 : 1 : side * 1j, -1 : 1 : side * 1j]
    sine = math.sin(math.radians(65))
    image[np.hypot(x, y) > 0.99 * sine * (LENS["linear"] + LENS["cubic"] * sine**2)] = 0
    try:
        corrected = mn.correct(image, "fov", cone_angle_deg=65, **LENS)
    except mn.CorrectionError as error:
        return str(error)
    mn.write_tiff(target, corrected.image)
    x, y = corrected.centre
    print(f"{corrected.image.shape[1]} x {corrected.image.shape[0]} pixels, axis at {x:.3f}, {y:.3f}")


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
