#!/usr/bin/env python3
"""join_photographs.py MONTAGE.tif IMAGE IMAGE...: one montage, and what became of every image."""

import sys

import montage_native as mn


def main(target, *images):
    registration = mn.register(images)
    for image in registration.images:
        print(f"{image.name}: {image.reason}")
    if registration.status != "ok":
        return registration.sentence
    plan = mn.plan(registration, images, mn.PlanOptions(crop="inner"))
    print(plan.reason)
    if plan.status != "ok":
        return plan.reason
    mn.compose(plan, images, out=target)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
