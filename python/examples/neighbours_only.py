#!/usr/bin/env python3
"""neighbours_only.py SCENE.json IMAGE IMAGE...: registration of a strip, step by step.

Only images that follow each other are compared: the way to a choice of pairs of your own.
"""

import sys

import montage_native as mn


def main(target, *images):
    shapes = [mn.read_image(image).shape[:2] for image in images]
    scale = mn.feature_scale(shapes)
    features = [mn.describe(image, scale=scale) for image in images]
    pairs = []
    for first, second in zip(range(len(images)), range(1, len(images))):
        pair = mn.match(features[first], features[second])
        pair.first, pair.second = first, second
        pairs.append(pair)
        print(f"{images[first]} and {images[second]}: {pair.inlier_count} points in common")
    registration = mn.adjust(features, pairs, mn.AdjustOptions(shared_focal=True))
    for image, name in zip(registration.images, images):
        image.name = name
    print(registration, f"{registration.figures.rms:.2f} px")
    registration.save(target)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
