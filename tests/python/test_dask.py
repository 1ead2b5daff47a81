# SPDX-License-Identifier: MIT
"""Clusters make what one process makes, also when they lose workers."""

import json
import os
import pathlib
import signal
import threading
import time

import numpy as np
import pytest

import montage_native as mn

distributed = pytest.importorskip("distributed")
zarr = pytest.importorskip("zarr")

from montage_native.dask import Scene, export_tiff, map_scenes, montage_to_zarr  # noqa: E402


@pytest.fixture(scope="module")
def views(program, tmp_path_factory):
    """Twenty-four views, which choose their pairs by votes."""
    folder = tmp_path_factory.mktemp("grid")
    program("render_grid", folder, "--rows", 4, "--columns", 6, "--megapixels", 0.25, "--span", 60)
    return sorted(map(str, folder.glob("view_*.png")))


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as made:
        yield made


@pytest.fixture
def client(cluster):
    with distributed.Client(cluster) as made:
        made.wait_for_workers(2)
        yield made


def files_of(folder):
    root = pathlib.Path(folder)
    return {str(each.relative_to(root)): each.read_bytes() for each in root.rglob("*") if each.is_file()}


def test_large_scene(client, views, tmp_path):
    registration = mn.register(views)
    plan = mn.plan(registration, views)
    whole = mn.compose(plan, views)
    made = montage_to_zarr(client, views, tmp_path / "wall.zarr", chunk=256)
    assert made.to_dict()["images"] == plan.to_dict()["images"]
    group = zarr.open_group(str(tmp_path / "wall.zarr"), mode="r")
    assert np.array_equal(np.moveaxis(group["0"][:], 0, 2), whole)
    (image,) = group.attrs["multiscales"]
    assert [each["name"] for each in image["axes"]] == ["c", "y", "x"]
    assert [each["path"] for each in image["datasets"]] == sorted(group.array_keys())
    assert max(group[image["datasets"][-1]["path"]].shape[1:]) <= 512
    export_tiff(tmp_path / "wall.zarr", tmp_path / "wall.tif", mn.TiffOptions(pyramid=True))
    assert np.array_equal(mn.read_image(tmp_path / "wall.tif"), whole)
    lazy = pytest.importorskip("dask.array").from_zarr(str(tmp_path / "wall.zarr" / "0"))
    assert np.array_equal(lazy[:, 100:200, 50:60].compute(), group["0"][:, 100:200, 50:60])
    even = group["0"][:, :400, :400].astype(int).reshape(3, 200, 2, 200, 2)
    assert np.array_equal(group["1"][:, :200, :200], (even.sum(axis=(2, 4)) + 2) // 4)
    with pytest.raises(FileExistsError):
        montage_to_zarr(client, views, tmp_path / "wall.zarr")
    blank = tmp_path / "blank.tif"
    mn.write_tiff(blank, np.zeros((300, 300), np.uint8))
    with pytest.raises(mn.NoMontageError):
        montage_to_zarr(client, [blank, blank, tmp_path / "missing.png"], tmp_path / "none.zarr")
    assert not list(tmp_path.glob("none*")) and not list(tmp_path.glob("*.part"))


@pytest.mark.parametrize("stage", ["features", "blocks"])
def test_a_lost_worker_changes_no_byte(client, cluster, views, tmp_path, stage):
    montage_to_zarr(client, views, tmp_path / "calm.zarr", chunk=256, block=1)
    killed = []

    def kill():
        while stage == "blocks" and not list(tmp_path.glob("lossy.zarr.*.part/0/0/1/0")):
            time.sleep(0.01)
        time.sleep(0.3 if stage == "features" else 0)
        worker = next(iter(cluster.workers.values()))
        os.kill(worker.pid, signal.SIGKILL)
        killed.append(worker.pid)

    thread = threading.Thread(target=kill)
    thread.start()
    montage_to_zarr(client, views, tmp_path / "lossy.zarr", chunk=256, block=1)
    thread.join()
    assert killed
    calm, lossy = files_of(tmp_path / "calm.zarr"), files_of(tmp_path / "lossy.zarr")
    name = b'"name": "calm.zarr"'
    calm[".zattrs"] = calm[".zattrs"].replace(name, name.replace(b"calm", b"lossy"))
    assert calm == lossy


def test_scenes(client, photographs, tmp_path):
    blank = tmp_path / "blank.tif"
    mn.write_tiff(blank, np.zeros((300, 300), np.uint8))
    scenes = [Scene("good", photographs, str(tmp_path / "good.tif")),
              Scene("blank", [str(blank)] * 2, str(tmp_path / "blank-out.tif")),
              Scene("missing", ["/nowhere.png", *photographs[:2]], str(tmp_path / "two.tif"))]
    manifest = tmp_path / "scenes.jsonl"
    manifest.write_text("".join(
        json.dumps({"name": s.name, "images": list(s.images), "output": s.output}) + "\n" for s in scenes))
    found = {each.name: each for each in map_scenes(client, manifest)}
    assert found["good"].used == 6 and found["missing"].used == 2
    assert found["blank"].output is None and found["blank"].reason
    assert not (tmp_path / "blank-out.tif").exists()
    assert np.array_equal(mn.read_image(tmp_path / "good.tif"), mn.montage(photographs))
