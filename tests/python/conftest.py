# SPDX-License-Identifier: MIT
"""Rendered photographs, and the programs of the build folder (MONTAGE_BUILD_FOLDER)."""

import os
import pathlib
import subprocess

import pytest

BUILD = pathlib.Path(os.environ.get("MONTAGE_BUILD_FOLDER", "build")).resolve()


def run_program(name, *arguments):
    done = subprocess.run([BUILD / name, *map(str, arguments)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    return done.stdout


@pytest.fixture(scope="session")
def program():
    return run_program


@pytest.fixture(scope="session")
def photographs(tmp_path_factory):
    """Six overlapping views in two rows."""
    folder = tmp_path_factory.mktemp("views")
    run_program("render_grid", folder, "--rows", 2, "--columns", 3, "--megapixels", 0.3, "--span", 50)
    return sorted(map(str, folder.glob("view_*.png")))
