# SPDX-License-Identifier: MIT
"""The manifests of `orv2d batch`: scenes in a table or as JSON lines."""

from __future__ import annotations

import argparse
import csv
import dataclasses
import glob
import io
import json
import os
import re
import shlex
from typing import Any, Dict, Iterator, List, NoReturn, Optional, Sequence, Tuple

from . import _core
from ._types import Path
from .errors import ArgumentError, FileError

_FIELDS = ("name", "images", "slabs", "options", "output")


@dataclasses.dataclass(frozen=True)
class Scene:
    """Images that become one montage, or one per slab, in a TIFF file."""

    name: str
    images: Sequence[str]  #: slab after slab
    output: str  #: with several slabs {slab}, %d or %03d in it stands for the number
    register_options: Optional[_core.RegisterOptions] = None
    plan_options: Optional[_core.PlanOptions] = None
    tiff: Optional[_core.TiffOptions] = None
    slabs: int = 1

    @property
    def outputs(self) -> List[str]:
        """One name per slab, as orv2d has them."""
        folder, name = os.path.split(self.output)
        mark = re.search(r"\{slab\}|%(?:0([1-9]))?d", name)
        if not mark:
            stem, extension = os.path.splitext(name)
            names = [f"{stem}_slab{slab}{extension}" for slab in range(self.slabs)]
            names = names if self.slabs > 1 else [name]
        else:
            digits = int(mark[1] or 0)
            names = [
                f"{name[: mark.start()]}{slab:0{digits}d}{name[mark.end() :]}"
                for slab in range(self.slabs)
            ]
        return [os.path.join(folder, each) for each in names]


def read_manifest(path: Path, output_folder: Optional[Path] = None) -> List[Scene]:
    """The scenes of a manifest of `orv2d batch` (docs/batch.md), checked.

    Names are relative to the manifest's folder, outputs to output_folder (None: the same), which
    they may not lead out of. Outputs are TIFF files; options that are none of registering, laying
    out or writing a TIFF (--report, --overlay, --registration, --save-registration, --grey) are not
    for clusters. Raises ArgumentError with the number of the line, FileError.
    """
    folder = os.path.dirname(os.path.abspath(path))
    target = folder if output_folder is None else os.path.abspath(output_folder)
    try:
        with open(path, encoding="utf-8-sig", newline="") as file:
            text = file.read()
    except (OSError, UnicodeError) as error:
        raise FileError(os.fspath(path), str(error)) from error
    scenes: List[Scene] = []
    written: Dict[str, str] = {}
    for line, fields in _rows(text, path):
        try:
            scene = _scene(fields, folder, target)
            names = [f"name {scene.name}"] + [os.path.realpath(each) for each in scene.outputs]
            for name in names:
                if name in written:
                    raise ArgumentError(f"{name} is that of scene '{written[name]}' already")
                written[name] = scene.name
        except (ArgumentError, TypeError, ValueError) as error:
            _refuse(path, line, str(error))
        scenes.append(scene)
    return scenes


def _refuse(path: Path, line: int, reason: str) -> NoReturn:
    raise ArgumentError(f"manifest '{os.fspath(path)}', line {line}: {reason}")


def _rows(text: str, path: Path) -> Iterator[Tuple[int, Dict[str, Any]]]:
    """Line and fields of each scene, as JSON has them."""
    if text.lstrip().startswith("{"):
        for number, line in enumerate(text.split("\n"), 1):
            try:
                value = json.loads(line) if line.strip() else None
            except (ValueError, RecursionError) as error:
                _refuse(path, number, f"not JSON ({error})")
            if value is not None:
                yield number, value if isinstance(value, dict) else {"": value}
        return
    rows = csv.reader(io.StringIO(text, newline=""), strict=True)
    try:
        headings: List[str] = next(rows, [])
        before = rows.line_num
        for cells in rows:
            if cells and len(cells) != len(headings):
                _refuse(path, before + 1, f"it has {len(cells)} cells, the headings {len(headings)}")
            if cells:
                fields: Dict[str, Any] = dict(zip(headings, cells))
                fields["images"] = fields.get("images", "").split(";")
                yield before + 1, fields
            before = rows.line_num
    except csv.Error as error:
        _refuse(path, rows.line_num, str(error))


def _scene(fields: Dict[str, Any], folder: str, target: str) -> Scene:
    for field in fields:
        if field not in _FIELDS:
            raise ArgumentError(f"'{field}' is unknown; {', '.join(_FIELDS)} are expected")
    name, output = fields.get("name"), fields.get("output")
    for field, value in (("name", name), ("output", output)):
        if not isinstance(value, str) or not value:
            raise ArgumentError(f"{field}: a text is expected")
    assert isinstance(name, str) and isinstance(output, str)
    if re.search(r"[/\\\x00-\x1f\x7f]", name) or name.startswith("."):
        raise ArgumentError(f"'{name}' is no name for a scene")
    images = fields.get("images", [])
    images = [images] if isinstance(images, str) else images
    if not images or not all(isinstance(each, str) and each for each in images):
        raise ArgumentError("images: a name or a list of names is expected")
    files = [file for each in images for file in _matching(folder, each)]
    slabs = int(fields.get("slabs") or 1)
    if slabs < 1 or len(files) % slabs:
        raise ArgumentError(f"{len(files)} images cannot be divided into {slabs} slabs")
    place = os.path.realpath(os.path.join(target, output.replace("{scene}", name)))
    if os.path.commonpath([place, os.path.realpath(target)]) != os.path.realpath(target):
        raise ArgumentError(f"output '{output}' leads out of the folder of outputs, '{target}'")
    if not place.lower().endswith((".tif", ".tiff")):
        raise ArgumentError(f"output '{output}' is no TIFF; a name that ends in .tif is expected")
    words = fields.get("options") or []
    given = _parse(shlex.split(words) if isinstance(words, str) else words)
    pairing = _pairing(given.pairs, folder, name)
    return Scene(name, files, place, *_options(given, pairing), slabs)


def _matching(folder: str, name: str) -> List[str]:
    plain = os.path.join(folder, name)
    if os.path.exists(plain) or not re.search(r"[*?[]", name):
        return [plain]
    found = glob.glob(os.path.join(glob.escape(folder), name))
    return sorted(found, key=os.fsencode) or [plain]


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        raise ArgumentError(f"options: {message}")


def _parse(words: Sequence[str]) -> argparse.Namespace:
    """The options of orv2d montage that the values of this package know."""
    parser = _Parser(add_help=False, allow_abbrev=False)
    parser.add_argument("--pipeline", default="picture", choices=("picture", "basic", "diagnostic"))
    for name in ("--registration-mp", "--seam-mp", "--compose-mp", "--max-size"):
        parser.add_argument(name, type=float)
    parser.add_argument("--pairs")
    parser.add_argument("--seams", choices=("graphcut", "none"))
    parser.add_argument("--crop", choices=("none", "content", "inner"))
    parser.add_argument("--background", choices=("black", "white", "transparent"))
    parser.add_argument("--straighten", choices=("auto", "horizontal", "vertical", "none"))
    parser.add_argument("--compression", choices=("deflate", "jpeg", "none"))
    parser.add_argument("--quality", type=int)
    for name in ("--no-blend", "--tiles", "--pyramid", "--bigtiff", "--try-gpu"):
        parser.add_argument(name, action="store_true")
    return parser.parse_args(list(words))


def _options(
    given: argparse.Namespace, pairing: Optional[_core.PairingOptions]
) -> Tuple[_core.RegisterOptions, _core.PlanOptions, _core.TiffOptions]:
    register = _core.RegisterOptions.preset(given.pipeline)
    if given.registration_mp is not None:
        features = register.features
        features.megapixels = given.registration_mp
        register.features = features
    register.pairing = pairing or register.pairing
    plan = _core.PlanOptions.preset(given.pipeline)
    choices = {
        "seams": {"graphcut": "graph_cut"}.get(given.seams, given.seams),
        "blending": "none" if given.no_blend else None,
        "seam_megapixels": given.seam_mp,
        "compose_megapixels": given.compose_mp,
        "max_megapixels": given.max_size,
        "crop": given.crop,
        "background": given.background,
        "straighten": {"auto": "automatic"}.get(given.straighten, given.straighten),
    }
    for name, value in choices.items():
        if value is not None:
            setattr(plan, name, value)
    tiff = _core.TiffOptions(pyramid=given.pyramid, big_tiff=given.bigtiff)
    tiff.compression = given.compression or tiff.compression
    tiff.quality = given.quality or tiff.quality
    return register, plan, tiff


def _pairing(text: Optional[str], folder: str, scene: str) -> Optional[_core.PairingOptions]:
    if text is None:
        return None
    if text in ("all", "auto"):
        return _core.PairingOptions(kind="automatic" if text == "auto" else text)
    form = re.fullmatch(r"sequential:(\d+)(:loop)?", text)
    if form:
        return _core.PairingOptions(
            kind="sequential", followers=int(form[1]), close_loop=bool(form[2])
        )
    form = re.fullmatch(r"grid:(\d+)x(\d+)(:snake)?", text)
    if form:
        return _core.PairingOptions(
            kind="grid", rows=int(form[1]), columns=int(form[2]), snake=bool(form[3])
        )
    try:
        with open(os.path.join(folder, text.replace("{scene}", scene)), encoding="utf-8") as file:
            lines = [re.split(r"[\s,]+", line.partition("#")[0].strip()) for line in file]
    except OSError as error:
        raise ArgumentError(f"--pairs {text}: {error}") from error
    pairs = [(int(first), int(second)) for first, second in filter(any, lines)]
    return _core.PairingOptions(kind="list", pairs=[(min(pair), max(pair)) for pair in pairs])
