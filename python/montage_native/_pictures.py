# SPDX-License-Identifier: MIT
"""Large pictures in other containers."""

from __future__ import annotations

from typing import Any, Optional

import numpy as np

from . import _core
from ._types import Order, Path

#: Rows and columns that are in memory at once: whole tiles of the file.
_BLOCK = 2048


def write_tiff(
    path: Path,
    picture: Any,
    options: Optional[_core.TiffOptions] = None,
    *,
    order: Order = "rgb",
) -> None:
    """Writes a picture to a tiled TIFF file, block by block.

    picture: anything with a shape of rows x columns [x 1, 3 or 4] that gives uint8 arrays when it is
    sliced: an array of NumPy, Zarr or Dask. It is never in memory as a whole.
    Raises ArgumentError, FileError.
    """
    shape = tuple(int(side) for side in picture.shape)
    with _core.TiffWriter(path, shape, options or _core.TiffOptions(), order=order) as file:
        for y in range(0, shape[0], _BLOCK):
            for x in range(0, shape[1], _BLOCK):
                file.write(x, y, np.asarray(picture[y : y + _BLOCK, x : x + _BLOCK]))
