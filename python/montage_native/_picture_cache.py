# SPDX-License-Identifier: MIT
"""Pictures that a worker has read, so that several of its tasks decode a file once."""

from __future__ import annotations

import collections
import os
import threading
from typing import Tuple

from . import _core
from ._types import Path, Pixels


class PictureCache:
    """The pictures that were asked for last, as far as they fit into some bytes."""

    def __init__(self, most_bytes: int) -> None:
        self._most_bytes = most_bytes
        self._bytes = 0
        self._pictures: collections.OrderedDict[Tuple[str, int, int], Pixels]
        self._pictures = collections.OrderedDict()
        self._lock = threading.Lock()

    def read(self, path: Path) -> Pixels:
        """As read_image(); a file that has changed is read again. The array is not to be written."""
        try:
            facts = os.stat(path)
            key = (os.fspath(path), facts.st_mtime_ns, facts.st_size)
        except OSError:
            return _core.read_image(path)  # says what is wrong
        with self._lock:
            if key in self._pictures:
                self._pictures.move_to_end(key)
                return self._pictures[key]
        picture = _core.read_image(path)
        with self._lock:
            if key not in self._pictures:
                self._pictures[key] = picture
                self._bytes += picture.nbytes
            while self._bytes > self._most_bytes:
                self._bytes -= self._pictures.popitem(last=False)[1].nbytes
        return picture
