"""Files that are written beside their place, and put there when they are complete and on disk."""

from __future__ import annotations

import os
import stat
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

    A symbolic link stays, its target is written. A device or a pipe is written to directly.
    Raises OSError that names the file; an old file then stays as it was.
    """
    try:
        if is_device(path):
            with open(path, "wb", buffering=0) as file:
                _write_all(file, data)
        else:
            target = os.path.realpath(path)
            _write_beside(data, os.path.dirname(target), target)
    except OSError as error:
        raise unwritable(path, error) from error


def is_device(path: str | os.PathLike[str]) -> bool:
    """Whether the path leads to a device, a pipe or a socket, which no file may replace."""
    try:
        mode = os.stat(path).st_mode
    except OSError:
        return False
    return not (stat.S_ISREG(mode) or stat.S_ISDIR(mode))


def _write_all(file: IO[bytes], data: bytes | memoryview) -> None:
    left = memoryview(data)
    while left:
        left = left[file.write(left) :]


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
