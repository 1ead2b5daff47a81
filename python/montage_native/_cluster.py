# SPDX-License-Identifier: MIT
"""The steps of one large montage as tasks of a cluster."""

from __future__ import annotations

import threading
import uuid
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple

import distributed

from . import _core
from ._multiscale import MultiscaleImage
from ._picture_cache import PictureCache
from ._types import Box, Image, Path
from .errors import FileError


def use_threads(of_machines: Optional[Dict[str, int]] = None) -> None:
    """Takes the threads of this worker; or of its machine, if all others wait for this task."""
    worker = distributed.get_worker()
    own = int(worker.state.nthreads)
    _core.set_threads((of_machines or {}).get(worker.ip, own))


class LargeScene:
    """Registers, plans and composes a scene; what the steps hand on stays with the workers."""

    def __init__(self, client: distributed.Client, paths: Sequence[Path], retries: int) -> None:
        self._client = client
        self._paths = list(paths)
        self._retries = retries
        self._run = uuid.uuid4().hex  # tasks of two runs are never taken for each other
        self._threads: Dict[str, int] = {}
        for worker in client.scheduler_info()["workers"].values():
            host = worker["host"]
            self._threads[host] = self._threads.get(host, 0) + worker["nthreads"]

    def register(self, options: _core.RegisterOptions, pairs_per_task: int) -> _core.Registration:
        described, slim = self._describe(options.features)
        pairs = self._submit(_select, slim, options.pairing, self._threads).result()
        matched = []
        for begin in range(0, len(pairs), pairs_per_task):
            batch = pairs[begin : begin + pairs_per_task]
            images = sorted({image for pair in batch for image in pair})
            needed = [described[image] for image in images]
            matched.append(self._submit(_match, batch, images, needed, options.matching))
        self._registration = self._submit(
            _adjust, slim, matched, [str(path) for path in self._paths], options, self._threads
        )
        registration: _core.Registration = self._registration.result()
        return registration

    def plan(self, options: _core.PlanOptions) -> _core.MontagePlan:
        self._plan = self._submit(_plan, self._registration, self._paths, options, self._threads)
        plan: _core.MontagePlan = self._plan.result()
        return plan

    def compose(self, image: MultiscaleImage, side: int, memory_bytes: int) -> None:
        """Composes blocks of `side` pixels, and reduces them as soon as their neighbours are there."""
        written: Dict[Tuple[int, int], distributed.Future] = {}
        for row, column, window in _blocks(image.shapes[0], side):
            written[row, column] = self._submit(
                _compose, self._plan, self._paths, window, image, memory_bytes, self._run
            )
        everything = list(written.values())
        for level in range(1, len(image.shapes)):
            reduced = {}
            for row, column, window in _blocks(image.shapes[level], side):
                sources = [
                    written[r, c]
                    for r in (2 * row, 2 * row + 1)
                    for c in (2 * column, 2 * column + 1)
                    if (r, c) in written
                ]
                reduced[row, column] = self._submit(_reduce, image, level, window, sources)
            everything += reduced.values()
            written = reduced
        self._client.gather(everything)

    def _describe(
        self, options: _core.FeatureOptions
    ) -> Tuple[List[distributed.Future], List[distributed.Future]]:
        """All images at the scale of the largest, and without their pictures.

        The smaller ones are described again.
        """
        described = self._each(_describe, self._paths, options, None)
        slim = self._each(_slim, described)
        facts: List[_Facts] = self._submit(_facts, slim).result()
        scale = _core.feature_scale([each.shape for each in facts], options)
        for index, each in enumerate(facts):
            if each.is_readable and each.scale != scale:
                described[index] = self._submit(_describe, self._paths[index], options, scale)
                slim[index] = self._submit(_slim, described[index])
        return described, slim

    def _submit(self, function: Callable[..., Any], *arguments: Any) -> distributed.Future:
        return self._client.submit(function, *arguments, retries=self._retries, pure=False)

    def _each(
        self, function: Callable[..., Any], items: Sequence[Any], *arguments: Any
    ) -> List[distributed.Future]:
        repeated = [[each] * len(items) for each in arguments]
        futures: List[distributed.Future] = self._client.map(
            function, items, *repeated, retries=self._retries, pure=False
        )
        return futures


def _blocks(shape: Tuple[int, int], side: int) -> List[Tuple[int, int, Box]]:
    """Row and column of each block, and its (x, y, width, height)."""
    height, width = shape
    return [
        (row, column, (x, y, min(side, width - x), min(side, height - y)))
        for row, y in enumerate(range(0, height, side))
        for column, x in enumerate(range(0, width, side))
    ]


# What workers do ----------------------------------------------------------------------------------


class _Described(NamedTuple):
    features: _core.Features
    failure: str  #: why the image could not be read


class _Facts(NamedTuple):
    shape: Tuple[int, int]
    scale: float
    is_readable: bool


def _describe(
    path: Path, options: _core.FeatureOptions, scale: Optional[float]
) -> _Described:
    use_threads()
    try:
        return _Described(_core.describe(_pictures.read(path), options, scale=scale), "")
    except FileError as error:
        return _Described(_core.Features(), str(error))


def _facts(described: List[_Described]) -> List[_Facts]:
    return [
        _Facts(each.features.shape, each.features.scale, not each.failure) for each in described
    ]


def _slim(described: _Described) -> _Described:
    return _Described(described.features.slim(), described.failure)


def _select(
    described: List[_Described], options: _core.PairingOptions, threads: Dict[str, int]
) -> List[Tuple[int, int]]:
    use_threads(threads)
    return _core.select_pairs([each.features for each in described], options)


def _match(
    pairs: List[Tuple[int, int]],
    images: List[int],
    described: List[_Described],
    options: _core.MatchOptions,
) -> List[_core.PairMatches]:
    """Pairs of some images, of which only these are at hand."""
    use_threads()
    place = {image: at for at, image in enumerate(images)}
    placed = [(place[first], place[second]) for first, second in pairs]
    matched = _core.match_pairs([each.features for each in described], placed, options)
    for pair, (first, second) in zip(matched, pairs):
        pair.first, pair.second = first, second
    return matched


def _adjust(
    described: List[_Described],
    matched: List[List[_core.PairMatches]],
    names: List[str],
    options: _core.RegisterOptions,
    threads: Dict[str, int],
) -> _core.Registration:
    use_threads(threads)
    pairs = [pair for batch in matched for pair in batch]
    registration = _core.adjust([each.features for each in described], pairs, options.adjustment)
    registration.options = options
    for index, (image, name) in enumerate(zip(registration.images, names)):
        image.name = name
        if described[index].failure:
            registration.mark_unreadable(index, described[index].failure)
    return registration


def _plan(
    registration: _core.Registration,
    paths: Sequence[Path],
    options: _core.PlanOptions,
    threads: Dict[str, int],
) -> _core.MontagePlan:
    use_threads(threads)
    return _core.plan(registration, paths, options)


#: Each file is looked at when it is described, and for every block that shows it.
_pictures = PictureCache(most_bytes=256_000_000)

#: Of each thread: the composer of the run that it last worked for.
_composers = threading.local()


def _compose(
    plan: _core.MontagePlan,
    paths: Sequence[Path],
    window: Box,
    image: MultiscaleImage,
    memory_bytes: int,
    run: str,
) -> None:
    use_threads()
    if getattr(_composers, "run", None) != run:
        _composers.composer = _core.Composer(
            plan, memory_bytes=memory_bytes, channels=1 if plan.channels == 1 else 3
        )
        _composers.run = run
    image.write(0, window, _composers.composer.compose(_shown(plan, paths, window), window))


def _shown(plan: _core.MontagePlan, paths: Sequence[Path], window: Box) -> List[Image]:
    """The pictures that a window shows, and the names of the others."""
    images: List[Image] = list(paths)
    left, top = window[0] + plan.origin[0], window[1] + plan.origin[1]
    for each in plan.images:
        x, y, width, height = each.footprint
        if x < left + window[2] and left < x + width and y < top + window[3] and top < y + height:
            images[each.index] = _pictures.read(paths[each.index])
    return images


def _reduce(
    image: MultiscaleImage, level: int, window: Box, sources: Sequence[None]
) -> None:
    image.reduce(level, window)
