#!/usr/bin/env python3
"""second_slab.py IMAGE IMAGE...: arrays that are in register with the photographs, on the same plane.

Here they are masks of what is bright; they might be other channels, labels or depths.
"""

import sys

import numpy as np

import montage_native as mn


def main(*images):
    pictures = [mn.read_image(image) for image in images]
    plan = mn.plan(mn.register(pictures), pictures, mn.PlanOptions(background="transparent"))
    plan.save("scene.plan")

    again = mn.MontagePlan.load("scene.plan")
    composer = mn.Composer(again)
    montage = composer.compose(pictures)
    masks = [np.where(picture.mean(axis=2) > 128, np.uint8(255), np.uint8(0)) for picture in pictures]
    bright = composer.compose(masks)
    seen = montage[..., 3] == 255
    print(f"{montage.shape[1]} x {montage.shape[0]} pixels, {seen.mean():.0%} covered")
    print(f"{(bright[..., 0][seen] > 128).mean():.0%} of them bright")


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
