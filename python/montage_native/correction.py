# SPDX-License-Identifier: MIT
"""Correction of wide-angle photographs."""

from __future__ import annotations

import math
import os
from typing import Any, Callable, Dict, Mapping, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from . import _core
from ._types import Image, Order, Pixels, Shape
from .errors import ArgumentError, CorrectionError

_LENS = {"half_field_angle": None, "cubic": 0.0, "linear": 1.0, "yaw": 0.0, "pitch": 0.0, "roll": 0.0}
_COEFFICIENTS = ("k1", "k2", "k3", "p1", "p2")

#: The parameters of each mode with their defaults; None: required; nan: from the image.
_MODES: Dict[str, Dict[str, Optional[float]]] = {
    "square": {**_LENS},
    "range": {
        **_LENS,
        "margin_deg": 0,
        "min_angle_deg": -90.0,
        "max_angle_deg": 90.0,
        "pixels_per_unit": math.nan,
    },
    "fov": {**_LENS, "margin_percent": 0, "cone_angle_deg": None, "pixels_per_unit": math.nan},
    "rect": {**_LENS, "output_size": 9200, "plane_half_extent": 1.0},
    "pinhole": {
        **dict.fromkeys(_COEFFICIENTS, 0.0),
        "centre_x": math.nan,
        "centre_y": math.nan,
        "scale": 1.0,
        "focal_x": None,
        "focal_y": None,
        "angle_deg": 0.0,
    },
    "view": {
        "view_x_deg": 0.0,
        "view_y_deg": 0.0,
        "fov_x_deg": None,
        "fov_y_deg": None,
        "angle_scale": 1.0,
        "radial": 0.0,
    },
}


class Bounds(NamedTuple):
    """Crop edges in plane coordinates."""

    left: float
    top: float
    right: float
    bottom: float


class Correction(NamedTuple):
    """A corrected image."""

    image: Pixels
    #: of the modes square, range and fov
    bounds: Optional[Bounds]
    #: (x, y) of the projection centre, from -1 (left, top) to 1 (right, bottom); of wide-angle modes
    centre: Optional[Tuple[float, float]]


class SamplingMaps(NamedTuple):
    """Where each pixel of the square grid comes from: float32, size x size."""

    columns: npt.NDArray[np.float32]
    rows: npt.NDArray[np.float32]


def _values(mode: str, given: Mapping[str, float]) -> Dict[str, Any]:
    known = _MODES[mode]
    for name in given:
        if name not in known:
            raise TypeError(f"correct() has no parameter '{name}' in mode '{mode}'")
    values = {**known, **given}
    missing = [name for name, value in values.items() if value is None]
    if missing:
        raise TypeError(f"correct() in mode '{mode}' needs {', '.join(missing)}")
    return values


def _wide_angle(values: Mapping[str, float], names: Sequence[str]) -> Tuple[Any, ...]:
    return (_core.Lens(*(values[name] for name in _LENS)), *(values[name] for name in names))


def _pinhole(values: Mapping[str, float]) -> Tuple[Any, ...]:
    return ([values[name] for name in _MODES["pinhole"]],)


def _view(values: Mapping[str, float]) -> Tuple[Any, ...]:
    view = [values["view_x_deg"], values["view_y_deg"]]
    field = [values["fov_x_deg"], values["fov_y_deg"]]
    return view, field, values["angle_scale"], values["radial"]


def _from_image(values: Dict[str, Any], shape: Sequence[int]) -> None:
    """Fills in what follows from the image, as orv2d does."""
    if math.isnan(values.get("pixels_per_unit", 0.0)):
        # The source's own resolution at its centre.
        widths = abs(values["linear"]) / math.sin(values["half_field_angle"])
        values["pixels_per_unit"] = widths * shape[1]
    if math.isnan(values.get("centre_x", 0.0)):
        values["centre_x"] = (shape[1] - 1) / 2
    if math.isnan(values.get("centre_y", 0.0)):
        values["centre_y"] = (shape[0] - 1) / 2


def correct(image: Image, mode: str, *, order: Order = "rgb", **parameters: float) -> Correction:
    """Re-projects a wide-angle image and crops it to its content.

    image: uint8, rows x columns [x 3], or a path; never written. docs/correction.md has the model.
    mode and its parameters (radians where no unit is said; in brackets the defaults):

    all of square, range, fov, rect: half_field_angle, cubic [0], linear [1], yaw, pitch, roll [0]
    range: margin_deg [0], min_angle_deg [-90], max_angle_deg [90], pixels_per_unit [from the image]
    fov: cone_angle_deg, margin_percent [0], pixels_per_unit [from the image]
    rect: output_size [9200], plane_half_extent [1]
    pinhole: focal_x, focal_y, centre_x, centre_y [pixels; the image's centre], k1, k2, k3, p1, p2 [0],
    scale [1], angle_deg [0]
    view: fov_x_deg, fov_y_deg, view_x_deg, view_y_deg [0], angle_scale [1], radial [0]

    Raises CorrectionError where there is no result, ArgumentError, FileError, TypeError.
    """
    if mode not in _MODES:
        known = ", ".join(f"'{each}'" for each in _MODES)
        raise ArgumentError(f"mode: one of {known} is expected, '{mode}' given")
    values = _values(mode, parameters)
    if isinstance(image, (str, os.PathLike)):
        image = _core.read_image(image, order=order)
    _from_image(values, np.shape(image))
    if mode == "pinhole":
        arguments = _pinhole(values)
    elif mode == "view":
        arguments = _view(values)
    else:
        arguments = _wide_angle(values, [name for name in _MODES[mode] if name not in _LENS])
    operation: Callable[..., Any] = getattr(_core, f"correct_{mode}")
    status, picture, bounds, centre = operation(image, order, *arguments)
    if status != 0:
        raise CorrectionError(f"mode {mode} has no result for this image (status {status})", status)
    return Correction(
        picture,
        Bounds(*bounds) if mode in ("square", "range", "fov") else None,
        centre if mode in ("square", "range", "fov", "rect") else None,
    )


def sampling_maps(
    shape: Shape, *, output_size: int = 9200, plane_half_extent: float = 1.0, **lens: float
) -> SamplingMaps:
    """The source positions of a square grid of the stereographic plane.

    shape: (height, width) of the images to be corrected. output_size: samples per side.
    plane_half_extent: the plane runs from minus to plus this. lens: half_field_angle, cubic, linear,
    yaw, pitch, roll as in correct().
    """
    if output_size < 2 or plane_half_extent <= 0:
        raise ArgumentError("output_size: 2 or more, plane_half_extent: more than 0 is expected")
    values = _values("square", lens)
    (made,) = _wide_angle(values, ())
    return SamplingMaps(
        *_core.sampling_maps(made, output_size, plane_half_extent, (shape[0], shape[1]))
    )
