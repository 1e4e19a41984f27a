"""Files that are written beside their place, and put there when they are complete and on disk."""

from __future__ import annotations

import os
import tempfile
from contextlib import suppress
from typing import IO, Any

CANNOT_BE_WRITTEN = "cannot be written"


def write(text: str, path: str | os.PathLike[str] | None) -> str:
    """The text, written to the path if there is one."""
    if path is not None:
        write_bytes(text.encode("utf-8", "replace"), path)
    return text


def write_bytes(data: bytes | memoryview, path: str | os.PathLike[str]) -> None:
    """Write a file beside its place, and put it there when it is complete and on disk.

    Raises OSError that names the file; an old file then stays as it was.
    """
    folder = os.path.dirname(os.path.abspath(os.fspath(path)))
    try:
        _write_beside(data, folder, path)
    except OSError as error:
        raise unwritable(path, error) from error


def unwritable(path: str | os.PathLike[str], error: OSError) -> OSError:
    """The error as one of the file that was to be written, not of the one beside it."""
    return OSError(error.errno, f"{CANNOT_BE_WRITTEN}, {error.strerror}", os.fspath(path))


def _write_beside(data: bytes | memoryview, folder: str, path: str | os.PathLike[str]) -> None:
    handle, beside = tempfile.mkstemp(prefix=".kvr-", dir=folder)
    try:
        with os.fdopen(handle, "wb") as file:
            file.write(data)
            put_in_place(file, beside, path)
    except BaseException:
        with suppress(OSError):
            os.unlink(beside)
        raise


def put_in_place(file: IO[Any], beside: str, path: str | os.PathLike[str]) -> None:
    """Put a complete file that was written beside its place there, once it is on disk."""
    file.flush()
    os.fsync(file.fileno())
    os.chmod(beside, 0o666 & ~_umask())
    os.replace(beside, path)


def _umask() -> int:
    """The permissions that new files do not get. It can be read only by setting it."""
    mask = os.umask(0o077)
    os.umask(mask)
    return mask
