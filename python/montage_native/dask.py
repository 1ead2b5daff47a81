# SPDX-License-Identifier: MIT
"""Montages on clusters: many scenes, or one large one, by the workers of a dask.distributed client.

    from dask.distributed import Client, LocalCluster
    from montage_native.dask import Scene, map_scenes, montage_to_zarr

    client = Client(LocalCluster(n_workers=8, threads_per_worker=1))
    for summary in map_scenes(client, [Scene("north", north_files, "north.tif")]):
        print(summary)
    montage_to_zarr(client, thousands_of_files, "wall.zarr")

Images and results lie where every worker finds them under the same names. Between processes go
features, matches, cameras and plans, never pixels.
"""

from __future__ import annotations

import dataclasses
import os
import time
from typing import Iterable, Iterator, Optional, Sequence, Tuple, Union

import distributed

from . import _core
from ._cluster import LargeScene, use_threads
from ._manifest import Scene, read_manifest
from ._multiscale import MultiscaleImage, export_tiff
from ._types import Path
from .errors import ArgumentError, Error, NoMontageError

__all__ = ["Scene", "SceneSummary", "export_tiff", "map_scenes", "montage_to_zarr", "read_manifest"]


@dataclasses.dataclass(frozen=True)
class SceneSummary:
    """What became of a scene."""

    name: str
    output: Optional[str]  #: the path that was written, that of slab 0; None: nothing was
    reason: str  #: one sentence
    used: int = 0  #: images in the montage
    shape: Tuple[int, int] = (0, 0)  #: (height, width) of the montage
    seconds: float = 0.0
    outputs: Tuple[str, ...] = ()  #: the paths of all slabs


def map_scenes(
    client: distributed.Client,
    manifest: Union[Path, Iterable[Scene]],
    *,
    retries: int = 2,
    memory_bytes: int = 0,
) -> Iterator[SceneSummary]:
    """Makes the montage of every scene, each as one task; yields summaries as they end.

    manifest: a file as orv2d batch reads it, see read_manifest(); or scenes.
    A scene that makes no montage does not end the others. A task whose worker is lost runs again, at
    most `retries` times. Each worker uses as many threads as it has been given. memory_bytes: for
    composing, per task; 0: 60 % of what is free.
    """
    scenes = read_manifest(manifest) if isinstance(manifest, (str, os.PathLike)) else manifest
    futures = [
        client.submit(_make_scene, scene, memory_bytes, retries=retries, pure=False)
        for scene in scenes
    ]
    for future in distributed.as_completed(futures):
        summary: SceneSummary = future.result()
        yield summary


def montage_to_zarr(
    client: distributed.Client,
    images: Sequence[Path],
    target: Path,
    register_options: Optional[_core.RegisterOptions] = None,
    plan_options: Optional[_core.PlanOptions] = None,
    *,
    chunk: int = 1024,
    block: int = 2,
    pairs_per_task: int = 16,
    retries: int = 2,
    memory_bytes: int = 0,
) -> _core.MontagePlan:
    """One montage of any size, written by all workers into a Zarr group with OME-NGFF metadata.

    target: a folder that does not exist; it appears when it is complete. Array "0" has the montage,
    channels x rows x columns, "1" and so on a half of the one before. chunk: rows and columns of its
    chunks; block: chunks along each side of what one task composes. Blocks have the bytes that
    compose() gives; a worker that is lost changes none. Pairs are chosen in one round, by
    select_pairs(). pairs_per_task: pairs that one task compares. memory_bytes: as in map_scenes().
    Raises NoMontageError, ArgumentError, FileError, FileExistsError.
    """
    plan_options = plan_options or _core.PlanOptions()
    if plan_options.normalise_brightness:
        raise ArgumentError("plan_options: a montage of normalised brightness has no blocks")
    scene = LargeScene(client, [os.fspath(image) for image in images], retries)
    registration = scene.register(register_options or _core.RegisterOptions(), pairs_per_task)
    if registration.status != "ok":
        raise NoMontageError(registration.sentence, registration)
    plan = scene.plan(plan_options)
    if plan.status != "ok":
        raise NoMontageError(plan.reason, registration, plan)
    with MultiscaleImage.create(target, plan, chunk) as image:
        scene.compose(image, block * chunk, memory_bytes)
    return plan


def _make_scene(scene: Scene, memory_bytes: int) -> SceneSummary:
    use_threads()
    begin = time.monotonic()
    try:
        plan, reason = _compose_scene(scene, memory_bytes)
    except Error as error:
        plan, reason = None, str(error)
    seconds = time.monotonic() - begin
    if plan is None:
        return SceneSummary(scene.name, None, reason, seconds=seconds)
    used = len(plan.images)
    outputs = tuple(scene.outputs)
    return SceneSummary(scene.name, outputs[0], reason, used, plan.shape, seconds, outputs)


def _compose_scene(scene: Scene, memory_bytes: int) -> Tuple[Optional[_core.MontagePlan], str]:
    """The plan of a montage that has been written, or None, and why."""
    register_options = scene.register_options or _core.RegisterOptions()
    count = len(scene.images) // scene.slabs
    slabs = [scene.images[slab * count : (slab + 1) * count] for slab in range(scene.slabs)]
    registration = _core.register(slabs[0], register_options)
    if registration.status != "ok":
        return None, registration.sentence
    plan = _core.plan(registration, slabs[0], scene.plan_options or _core.PlanOptions())
    if plan.status != "ok":
        return None, plan.reason
    tiff = scene.tiff or _core.TiffOptions()
    for images, output in zip(slabs, scene.outputs):
        _core.compose(plan, images, out=output, memory_bytes=memory_bytes, tiff=tiff)
    return plan, plan.reason
