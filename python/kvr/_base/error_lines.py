"""Errors as one line each, for people."""

from __future__ import annotations

from kvr._base.errors import Error
from kvr._base.text import shown
from kvr._base.writing import CANNOT_BE_WRITTEN


def told(error: Exception) -> str:
    """The error on one line, with a hint where there is one."""
    if isinstance(error, OSError) and error.filename is not None:
        text = f"{error.filename}: {_remedy(error)}"
    elif isinstance(error, (Error, ValueError, OSError)):
        text = str(error)
    elif isinstance(error, MemoryError):
        text = "memory is exhausted; compare fewer signals at a time, with --only"
    else:
        text = f"{type(error).__name__}: {error}; --debug shows where it comes from"
    return shown(text, 1000)


def _remedy(error: OSError) -> str:
    if (error.strerror or "").startswith(CANNOT_BE_WRITTEN):
        return f"{error.strerror}; name another place"
    if isinstance(error, FileNotFoundError):
        return "there is no such file; check the name"
    if isinstance(error, IsADirectoryError):
        return "is a folder; name a file in it"
    if isinstance(error, PermissionError):
        return "permission denied; check who may read and write it"
    return error.strerror or "cannot be read or written"
