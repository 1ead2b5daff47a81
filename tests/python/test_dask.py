# SPDX-License-Identifier: MIT
"""Clusters make what one process makes, also when they lose workers."""

import csv
import dataclasses
import json
import os
import pathlib
import shlex
import shutil
import signal
import threading
import time

import numpy as np
import pytest

import montage_native as mn

distributed = pytest.importorskip("distributed")
zarr = pytest.importorskip("zarr")

from montage_native.dask import export_tiff, map_scenes, montage_to_zarr, read_manifest  # noqa: E402


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


def test_scenes(client, photographs, tmp_path, program):
    blank = tmp_path / "blank.tif"
    mn.write_tiff(blank, np.zeros((300, 300), np.uint8))
    for each in photographs:
        shutil.copy(each, tmp_path)
    two = ["view_0000.png", "view_0001.png"]
    scenes = [{"name": "good", "images": "view_*.png", "output": "out/{scene}.tif",
               "options": "--crop inner --pairs sequential:5 --seams none --no-blend --pyramid"},
              {"name": "slabs", "images": two + two[::-1], "slabs": 2, "output": "out/slab{slab}.tif",
               "options": ["--registration-mp", "0.1", "--background=white", "--straighten=none"]},
              {"name": "blank", "images": ["blank.tif"] * 2, "output": "out/blank.tif"},
              {"name": "missing", "images": ["nowhere.png", *two], "output": "out/two.tif"}]
    manifest = tmp_path / "scenes.jsonl"
    manifest.write_text("".join(json.dumps(each) + "\n" for each in scenes))
    (tmp_path / "out").mkdir()
    found = {each.name: each for each in map_scenes(client, manifest)}
    assert found["good"].used == 6 and found["missing"].used == 2
    assert found["blank"].output is None and found["blank"].reason
    made = {each.name: mn.read_image(each) for each in (tmp_path / "out").iterdir()}
    assert set(made) == {"good.tif", "slab0.tif", "slab1.tif", "two.tif"}

    table = tmp_path / "scenes.csv"  # the same scenes for the program
    with open(table, "w", newline="") as file:
        rows = csv.writer(file)
        rows.writerow(["output", "slabs", "name", "options", "images"])
        rows.writerow(["{scene}.tif", "", "good", scenes[0]["options"], "view_*.png"])
        rows.writerow(["slab%d.tif", 2, "slabs", shlex.join(scenes[1]["options"]),
                       ";".join(scenes[1]["images"])])
    program("orv2d", "batch", table)
    assert [dataclasses.replace(each, output="") for each in read_manifest(table)] == [
        dataclasses.replace(each, output="") for each in read_manifest(manifest)[:2]]
    for name in ("good.tif", "slab0.tif", "slab1.tif"):
        assert np.array_equal(mn.read_image(tmp_path / name), made[name])

    for line, said in [('{"name": "a", "image": "x", "output": "a.tif"}', "'image' is unknown"),
                       ('{"name": "a", "images": "x", "output": "../a.tif"}', "leads out of"),
                       ('{"name": "a", "images": "x", "output": "a.tif", "options": "--grey"}', "--grey"),
                       ('{"name": "good", "images": "x", "output": "a.tif"}', "name good is that of"),
                       ('{"name"', "not JSON")]:
        manifest.write_text(json.dumps(scenes[0]) + "\n\n" + line)
        with pytest.raises(mn.ArgumentError, match="line 3: .*" + said):
            read_manifest(manifest)
