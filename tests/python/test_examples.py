# SPDX-License-Identifier: MIT
"""The examples run and say what they have found."""

import pathlib
import re
import shutil
import subprocess
import sys

import nbclient
import nbformat
import pytest

EXAMPLES = pathlib.Path(__file__).parents[2] / "python" / "examples"


@pytest.mark.parametrize("name, before, said, written", [
    ("join_photographs", ["m.tif"], "6 images, ", "m.tif"),
    ("neighbours_only", ["s.json"], "6 of 6 images used", "s.json"),
    ("second_slab", [], "% covered", "scene.plan"),
    ("large_montage", ["l.tif"], "written: l.tif", "l.tif"),
    ("straighten_fisheye", [], "pixels, axis at ", "f.tif"),
])
def test_examples(name, before, said, written, photographs, tmp_path):
    source = EXAMPLES / f"{name}.py"
    images = photographs[:3] + photographs[:2:-1]  # there and back again
    after = images if name != "straighten_fisheye" else [images[0], "f.tif"]
    done = subprocess.run([sys.executable, source, *before, *after], cwd=tmp_path, text=True,
                          capture_output=True)
    assert done.returncode == 0, done.stderr
    assert said in done.stdout
    assert (tmp_path / written).stat().st_size > 1000
    assert len(source.read_text().splitlines()) <= 40


def test_notebook(photographs, tmp_path):
    notebook = nbformat.read(EXAMPLES / "photographs_to_montage.ipynb", as_version=4)
    assert not any(cell.get("outputs") for cell in notebook.cells)
    (tmp_path / "photographs").mkdir()
    for each in photographs:
        shutil.copy(each, tmp_path / "photographs")
    nbclient.NotebookClient(notebook, timeout=300, resources={"metadata": {"path": tmp_path}}).execute()
    outputs = [each for cell in notebook.cells for each in cell.get("outputs", [])]
    assert sum("image/png" in each.get("data", {}) for each in outputs) == 3
    assert "<table" in outputs[0].data["text/html"]
    matches, median = re.search(r"(\d+) matches, half of them within (\S+) pixels", outputs[-1].text).groups()
    assert int(matches) > 200 and float(median) < 0.2
