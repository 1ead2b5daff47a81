# SPDX-License-Identifier: MIT
"""Pictures of several resolutions in Zarr groups with OME-NGFF metadata, version 0.4."""

from __future__ import annotations

import os
import pathlib
import shutil
import uuid
from typing import Any, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt
import zarr

from . import _core
from ._pictures import write_tiff
from ._types import Box, Path, Pixels

#: The last level has at most so many pixels on its longer side.
_SMALLEST = 512


def _halved(shape: Tuple[int, int]) -> Tuple[int, int]:
    return (shape[0] + 1) // 2, (shape[1] + 1) // 2


def _half(pixels: npt.NDArray[np.uint8]) -> npt.NDArray[np.uint8]:
    """Means of 2 x 2 pixels, rounded; channels first. An odd last row or column is repeated."""
    _, height, width = pixels.shape
    even = np.pad(pixels, ((0, 0), (0, height % 2), (0, width % 2)), mode="edge").astype(np.uint16)
    rows = even[:, 0::2] + even[:, 1::2]
    means: npt.NDArray[np.uint8] = ((rows[..., 0::2] + rows[..., 1::2] + 2) // 4).astype(np.uint8)
    return means


def _metadata(name: str, levels: int) -> Dict[str, Any]:
    datasets = [
        {
            "path": str(level),
            "coordinateTransformations": [
                {"type": "scale", "scale": [1.0, 2.0**level, 2.0**level]},
                {"type": "translation", "translation": [0.0, (2**level - 1) / 2, (2**level - 1) / 2]},
            ],
        }
        for level in range(levels)
    ]
    axes = [
        {"name": "c", "type": "channel"},
        {"name": "y", "type": "space"},
        {"name": "x", "type": "space"},
    ]
    return {"multiscales": [{"version": "0.4", "name": name, "axes": axes, "datasets": datasets}]}


class MultiscaleImage:
    """A picture under construction. Workers get copies of it and write blocks of whole chunks."""

    def __init__(self, folder: str, shapes: List[Tuple[int, int]]) -> None:
        self.shapes = shapes  #: (height, width) of each level
        self._folder = folder  # where it is built
        self._target: Optional[pathlib.Path] = None

    @staticmethod
    def create(target: Path, plan: _core.MontagePlan, chunk: int) -> MultiscaleImage:
        """Arrays for a montage in a folder beside the target, which must not exist.

        In a with block it takes the target's name at the end, or vanishes after an exception.
        """
        path = pathlib.Path(os.path.abspath(target))
        if path.exists():
            raise FileExistsError(f"'{path}' exists")
        channels = 1 if plan.channels == 1 else 3
        if plan.options.background == "transparent":
            channels = 4
        shapes = [plan.shape]
        while max(shapes[-1]) > _SMALLEST:
            shapes.append(_halved(shapes[-1]))
        image = MultiscaleImage(f"{path}.{uuid.uuid4().hex[:8]}.part", shapes)
        image._target = path
        group = zarr.open_group(image._store(), mode="w-")
        group.attrs.put(_metadata(path.name, len(shapes)))
        for level, shape in enumerate(shapes):
            group.create_dataset(
                str(level),
                shape=(channels, *shape),
                chunks=(channels, chunk, chunk),
                dtype="u1",
                fill_value=0,
            )
        return image

    def write(self, level: int, window: Box, pixels: Pixels) -> None:
        """Rows x columns [x channels] at (x, y, width, height), whole chunks."""
        x, y, width, height = window
        channels_first = np.moveaxis(np.atleast_3d(pixels), 2, 0)
        self._array(level)[:, y : y + height, x : x + width] = channels_first

    def reduce(self, level: int, window: Box) -> None:
        """A window of a level from the level before."""
        x, y, width, height = window
        source = self._array(level - 1)[:, 2 * y : 2 * (y + height), 2 * x : 2 * (x + width)]
        self._array(level)[:, y : y + height, x : x + width] = _half(source)

    def __enter__(self) -> MultiscaleImage:
        return self

    def __exit__(self, type: object, *rest: object) -> None:
        if type is not None or self._target is None:
            shutil.rmtree(self._folder, ignore_errors=True)
            return
        for abandoned in pathlib.Path(self._folder).rglob("*.partial"):  # by workers that were lost
            abandoned.unlink()
        os.rename(self._folder, self._target)

    def _store(self) -> Any:
        return zarr.DirectoryStore(self._folder, dimension_separator="/")

    def _array(self, level: int) -> Any:
        return zarr.open_array(
            zarr.DirectoryStore(os.path.join(self._folder, str(level)), dimension_separator="/"),
            mode="r+",
        )


class _ChannelsLast:
    """An array of channels x rows x columns that is sliced as rows x columns x channels."""

    def __init__(self, array: Any) -> None:
        self._array = array
        channels, *sides = array.shape
        self.shape = (*sides, channels)

    def __getitem__(self, window: Tuple[slice, slice]) -> Pixels:
        pixels: Pixels = np.moveaxis(self._array[(slice(None), *window)], 0, 2)
        return pixels


def export_tiff(source: Path, target: Path, options: Optional[_core.TiffOptions] = None) -> None:
    """Writes the montage of montage_to_zarr() to a tiled TIFF file, in little memory.

    options: a BigTIFF where it needs to be one by default. Raises ArgumentError, FileError.
    """
    array = zarr.open_array(
        zarr.DirectoryStore(os.path.join(os.fspath(source), "0"), dimension_separator="/"), mode="r"
    )
    write_tiff(target, _ChannelsLast(array), options)
