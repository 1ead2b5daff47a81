# SPDX-License-Identifier: MIT
"""Builds the wheel of montage_native: CMake builds the module and installs it with its library.

MONTAGE_BUILD_FOLDER names a build folder to take instead of building everything once more.
"""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (HERE / "CMakeLists.txt").read_text()).group(1)


def run(*command):
    subprocess.run([str(part) for part in command], check=True)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        prefix = pathlib.Path(self.build_lib).resolve()
        folder = os.environ.get("MONTAGE_BUILD_FOLDER")
        if not folder:
            folder = pathlib.Path(self.build_temp).resolve()
            run("cmake", "-S", HERE, "-B", folder, "-G", "Ninja", f"-DPython_EXECUTABLE={sys.executable}",
                *(f"-DMONTAGE_BUILD_{part}=OFF" for part in ("HOST", "TESTS", "BENCHMARKS", "EXAMPLES")))
        run("cmake", "--build", folder, "--target", "montage_native_core")
        run("cmake", "--install", folder, "--component", "python", "--prefix", prefix)


setup(
    version=VERSION,
    ext_modules=[Extension("montage_native._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    # CMake has build folders of its own in build*/.
    options={"build": {"build_base": "build-wheel"}, "egg_info": {"egg_base": "python"}},
)
