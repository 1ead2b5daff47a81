# SPDX-License-Identifier: MIT
"""All steps in one call."""

from __future__ import annotations

from typing import Optional, overload

from . import _core
from ._types import Images, Order, Path, Pixels, Progress
from .errors import NoMontageError


@overload
def montage(
    images: Images,
    register_options: Optional[_core.RegisterOptions] = ...,
    plan_options: Optional[_core.PlanOptions] = ...,
    out: None = ...,
    *,
    progress: Progress = ...,
    order: Order = ...,
) -> Pixels: ...
@overload
def montage(
    images: Images,
    register_options: Optional[_core.RegisterOptions] = ...,
    plan_options: Optional[_core.PlanOptions] = ...,
    *,
    out: Path,
    progress: Progress = ...,
    order: Order = ...,
) -> None: ...
def montage(
    images: Images,
    register_options: Optional[_core.RegisterOptions] = None,
    plan_options: Optional[_core.PlanOptions] = None,
    out: Optional[Path] = None,
    *,
    progress: Progress = None,
    order: Order = "rgb",
) -> Optional[Pixels]:
    """register(), plan() and compose() in one call; arguments and errors as there.

    Raises NoMontageError where too few images connect or the montage cannot be shown.
    """
    images = list(images)
    registration = _core.register(
        images, register_options or _core.RegisterOptions(), progress, order=order
    )
    if registration.status != "ok":
        raise NoMontageError(registration.sentence, registration)
    plan = _core.plan(
        registration, images, plan_options or _core.PlanOptions(), progress, order=order
    )
    if plan.status != "ok":
        raise NoMontageError(plan.reason, registration, plan)
    return _core.compose(plan, images, out=out, progress=progress, order=order)
