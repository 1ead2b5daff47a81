#!/usr/bin/env python3
"""large_montage.py MONTAGE.tif IMAGE IMAGE...: any size in little memory, with a pyramid for viewers.

Shows how far it is; Ctrl-C leaves no file behind.
"""

import sys

import montage_native as mn


def show(stage, done, total):
    print(f"\r{stage:10} {done}/{total}   ", end="", file=sys.stderr)


def main(target, *images):
    try:
        plan = mn.plan(mn.register(images, progress=show), images, progress=show)
        megabytes = plan.estimate.montage_bytes / 1e6
        least = plan.estimate.least_memory_bytes
        print(f"\n{megabytes:.0f} MB of pixels in {least / 1e6:.0f} MB of memory")
        mn.compose(plan, images, out=target, tiff=mn.TiffOptions(pyramid=True),
                   memory_bytes=2 * least, progress=show)
    except KeyboardInterrupt:
        return "\nstopped"
    except mn.FileError as error:
        return f"\ncannot use {error}"
    print("\nwritten:", target)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
