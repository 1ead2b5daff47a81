# SPDX-License-Identifier: MIT
"""Types that several modules name."""

from __future__ import annotations

import os
from typing import Callable, Iterable, Literal, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

Pixels = npt.NDArray[np.uint8]
Path = Union[str, "os.PathLike[str]"]
Image = Union[Pixels, Path]
Images = Iterable[Image]
Order = Literal["rgb", "bgr"]
Shape = Tuple[int, int]
Box = Tuple[int, int, int, int]
#: Called with stage, done and total; False ends the call.
Progress = Optional[Callable[[str, int, int], Optional[bool]]]
