# SPDX-License-Identifier: MIT
"""Montages of overlapping photographs and correction of wide-angle ones.

    import montage_native as mn

    files = ["left.jpg", "middle.jpg", "right.jpg"]
    registration = mn.register(files)
    plan = mn.plan(registration, files, mn.PlanOptions(crop="inner"))
    picture = mn.compose(plan, files)

Images are uint8 arrays, rows x columns or rows x columns x 3, or paths. Colours are red, green, blue
as in imageio, scikit-image and matplotlib; functions that take or give pixels have order="bgr" for
arrays in OpenCV's order, which are then not copied.
"""

from ._core import (
    AdjustOptions,
    Camera,
    Composer,
    Estimate,
    FeatureOptions,
    Features,
    Figures,
    LeftOutImage,
    MatchOptions,
    MontagePlan,
    PairingOptions,
    PairMatches,
    PlannedImage,
    PlanOptions,
    RegisteredImage,
    RegisteredPair,
    RegisterOptions,
    Registration,
    TiffOptions,
    TiffWriter,
    adjust,
    compose,
    describe,
    feature_scale,
    hash_of,
    match,
    match_pairs,
    plan,
    read_image,
    register,
    select_pairs,
    set_threads,
)
from ._core import version as __version__
from ._pictures import write_tiff
from ._steps import montage
from ._values import add_readable_forms
from .correction import Bounds, Correction, SamplingMaps, correct, sampling_maps
from .errors import (
    ArgumentError,
    Cancelled,
    CorrectionError,
    Error,
    FileError,
    MemoryLimitError,
    NoMontageError,
)

add_readable_forms()

__all__ = [
    "AdjustOptions",
    "ArgumentError",
    "Bounds",
    "Camera",
    "Cancelled",
    "Composer",
    "Correction",
    "CorrectionError",
    "Error",
    "Estimate",
    "FeatureOptions",
    "Features",
    "Figures",
    "FileError",
    "LeftOutImage",
    "MatchOptions",
    "MemoryLimitError",
    "MontagePlan",
    "NoMontageError",
    "PairMatches",
    "PairingOptions",
    "PlanOptions",
    "PlannedImage",
    "RegisterOptions",
    "RegisteredImage",
    "RegisteredPair",
    "Registration",
    "SamplingMaps",
    "TiffOptions",
    "TiffWriter",
    "__version__",
    "adjust",
    "compose",
    "correct",
    "describe",
    "feature_scale",
    "hash_of",
    "match",
    "match_pairs",
    "montage",
    "plan",
    "read_image",
    "register",
    "sampling_maps",
    "select_pairs",
    "set_threads",
    "write_tiff",
]
