# SPDX-License-Identifier: MIT
"""Forms of the values for people and for other programs."""

from __future__ import annotations

import html
import json
from typing import Any, Dict, Iterable, Sequence

from ._core import MontagePlan, Registration


def _registration_dict(self: Registration) -> Dict[str, Any]:
    """What save() writes: docs/registration-file.md describes the fields."""
    values: Dict[str, Any] = json.loads(self.to_bytes())
    return values


def _plan_dict(self: MontagePlan) -> Dict[str, Any]:
    """The plan without its masks and gains."""
    return {
        "status": self.status,
        "reason": self.reason,
        "shape": self.shape,
        "origin": self.origin,
        "canvas": self.canvas,
        "channels": self.channels,
        "compose_scale": self.compose_scale,
        "plane_scale": self.plane_scale,
        "images": [
            {"index": each.index, "name": each.name, "shape": each.shape, "footprint": each.footprint}
            for each in self.images
        ],
        "left_out": [{"index": each.index, "reason": each.reason} for each in self.left_out],
        "options": self.options.to_dict(),
        "estimate": {
            "pixels": self.estimate.pixels,
            "montage_bytes": self.estimate.montage_bytes,
            "memory_bytes": self.estimate.memory_bytes,
            "least_memory_bytes": self.estimate.least_memory_bytes,
            "seconds": self.estimate.seconds,
        },
    }


def _table(heads: Sequence[str], rows: Iterable[Sequence[object]]) -> str:
    head = "".join(f"<th>{each}</th>" for each in heads)
    body = "".join(
        "<tr>" + "".join(f"<td>{html.escape(str(cell))}</td>" for cell in row) + "</tr>"
        for row in rows
    )
    return f"<table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>"


def _registration_html(self: Registration) -> str:
    images = _table(
        ("image", "verdict", "keypoints", "rms / px", "reason"),
        (
            (each.name, each.verdict, each.keypoints, f"{each.rms:.3f}", each.reason)
            for each in self.images
        ),
    )
    return f"<p>{html.escape(repr(self))}</p>{images}"


def add_readable_forms() -> None:
    """Gives the classes of the module their methods that are written in Python."""
    setattr(Registration, "to_dict", _registration_dict)
    setattr(Registration, "_repr_html_", _registration_html)
    setattr(MontagePlan, "to_dict", _plan_dict)
