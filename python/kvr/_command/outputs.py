"""Where the command writes its results: files, the standard output, and streams that fail."""

from __future__ import annotations

import io
import os
import sys
from collections.abc import Iterable
from contextlib import suppress
from typing import Any, TextIO

from kvr._base.writing import CANNOT_BE_WRITTEN

OUTPUT = "the standard output"  # the file of its errors
_NAMES = ("-", "/dev/stdout")


def is_standard(path: str | None) -> bool:
    """Whether the option names the standard output."""
    return path in _NAMES


def require_others(outputs: Iterable[str | None], inputs: Iterable[str]) -> None:
    """Raises ValueError for an output that is an input, or that stands twice."""
    taken = [path for path in inputs if os.path.isfile(path)]
    standard = 0
    for output in outputs:
        if output is None:
            continue
        if is_standard(output):
            standard += 1
            if standard > 1:
                raise ValueError(f"{OUTPUT}: takes one of the results; name files for the others")
            continue
        for path in taken:
            if _is_same(output, path):
                raise ValueError(f"{output}: is read or written already; name another file")
        taken.append(output)


def require_unread(output: str | None, inputs: Iterable[str]) -> None:
    """Raises ValueError if a file that is to be replaced is one of the inputs, which may be many."""
    if output is None or not os.path.isfile(output):
        return
    target = os.stat(output)
    for path in inputs:
        with suppress(OSError, ValueError):
            if os.path.samestat(os.stat(path), target):
                break
    else:
        return
    raise ValueError(f"{output}: is read or written already; name another file")


def _is_same(one: str, other: str) -> bool:
    if os.path.realpath(one) == os.path.realpath(other):
        return not os.path.exists(one) or os.path.isfile(one)
    return os.path.isfile(one) and os.path.isfile(other) and os.path.samefile(one, other)


# ---- Streams ----


class _Output(io.FileIO):
    """The standard output, whose errors name it."""

    def write(self, data: Any) -> int:
        try:
            return super().write(data)
        except OSError as error:
            what = f"{CANNOT_BE_WRITTEN}, {error.strerror}"
            raise OSError(error.errno, what, OUTPUT) from error


def prepare_streams() -> None:
    """Name the standard output in its errors; where a stream is missing, open one to nowhere.

    Characters that the encoding of the output lacks are escaped.
    """
    for name in ("stdout", "stderr"):
        if getattr(sys, name) is None:
            setattr(sys, name, open(os.devnull, "w"))  # noqa: SIM115  open to the end
    output = sys.stdout
    if output is sys.__stdout__:
        sys.stdout = io.TextIOWrapper(
            io.BufferedWriter(_Output(output.fileno(), "wb", closefd=False)),
            encoding=output.encoding,
            errors="backslashreplace",
            line_buffering=output.isatty(),
        )


def say(text: str) -> None:
    """Write a line to standard error, if anything takes it."""
    try:
        print(text, file=sys.stderr, flush=True)
    except OSError:
        abandon(sys.stderr)


def abandon(stream: TextIO) -> None:
    """Drop what a stream still holds, so that nothing fails when the process ends."""
    nowhere = os.open(os.devnull, os.O_WRONLY)
    os.dup2(nowhere, stream.fileno())
    os.close(nowhere)
