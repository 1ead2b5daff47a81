# SPDX-License-Identifier: MIT
"""What the package raises.

Besides these: TypeError for what is no array, path or option at all, MemoryError, and what your
own callbacks raise.
"""

from __future__ import annotations


class Error(Exception):
    """Every error of this package."""


class ArgumentError(Error, ValueError):
    """A wrong argument or option; the message begins with its name."""


class FileError(Error, OSError):
    """A file that cannot be used; `filename` and `reason` say which and why."""

    def __init__(self, filename: str, reason: str) -> None:
        super().__init__(f"'{filename}': {reason}")
        self.filename = filename
        self.reason = reason

    def __str__(self) -> str:
        return str(self.args[0])

    def __reduce__(self):  # type: ignore[no-untyped-def]
        return type(self), (self.filename, self.reason)


class MemoryLimitError(Error, RuntimeError):
    """The memory that may be taken does not suffice; nothing has been read or written."""

    def __init__(self, message: str, needed: int, allowed: int) -> None:
        super().__init__(message, needed, allowed)
        self.needed = needed  #: bytes, the least
        self.allowed = allowed  #: bytes

    def __str__(self) -> str:
        return str(self.args[0])


class Cancelled(Error, RuntimeError):
    """A progress callback has answered False."""


class NoMontageError(Error, RuntimeError):
    """The images make no montage; `registration` and `plan` (or None) say why."""

    def __init__(self, message: str, registration: object = None, plan: object = None) -> None:
        super().__init__(message, registration, plan)
        self.registration = registration
        self.plan = plan

    def __str__(self) -> str:
        return str(self.args[0])


class CorrectionError(Error, RuntimeError):
    """A correction without a result; `status` is the library's."""

    def __init__(self, message: str, status: int) -> None:
        super().__init__(message, status)
        self.status = status

    def __str__(self) -> str:
        return str(self.args[0])
