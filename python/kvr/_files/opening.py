"""Opens the sides of a comparison: runs, or paths as in FILE#RUN."""

from __future__ import annotations

import os
from typing import Any, NamedTuple, Union

from kvr._base.errors import Ambiguous, NotFound
from kvr._base.names import listed
from kvr._files.formats import open as open_recording
from kvr._files.recording import Recording
from kvr._reading.runs import RunReader, run_named

RunOrPath = Union[RunReader[Any], str, "os.PathLike[str]"]


class OpenRun(NamedTuple):
    """A run to compare, and the file that it came from; None for a run that was given as such."""

    run: RunReader[Any]
    path: str | None


def open_run(side: RunOrPath) -> OpenRun:
    """The run that a side means. Raises as ``kvr.open``, NotFound, Ambiguous and TypeError."""
    if isinstance(side, RunReader):
        return OpenRun(side, None)
    if not isinstance(side, (str, os.PathLike)):
        hint = "; name one of its runs, as .runs[0]" if hasattr(side, "runs") else ""
        raise TypeError(f"a side is a run or a path, not {side!r:.80}{hint}")
    path, name = split_name(os.fspath(side))
    return OpenRun(chosen_run(open_recording(path), name), path)


def split_name(text: str) -> tuple[str, str | None]:
    """File and name of the run in "file#run name"; a file whose own name has the "#" wins."""
    if os.path.exists(text):
        return text, None
    place = text.rfind("#")
    while place >= 0:
        if os.path.exists(text[:place]):
            return text[:place], text[place + 1 :]
        place = text.rfind("#", 0, place)
    return text, None  # opening it tells what is wrong


def chosen_run(recording: Recording, name: str | None) -> RunReader[Any]:
    """The run of this name, or the only one. Raises NotFound, Ambiguous."""
    if name is not None:
        try:
            return run_named(list(recording.runs), name, "the file", f"{recording.path}: ")
        except Ambiguous as error:
            raise Ambiguous(f"{error}; choose one in Python, with runs.by_id") from None
    if not recording.runs:
        raise NotFound(f"{recording.path} has no runs")
    if len(recording.runs) > 1:
        known = [run.name for run in recording.runs]
        more = f" and {len(known) - 10} more" if len(known) > 10 else ""
        example = next((name for name in known[:10] if known.count(name) == 1), known[0])
        raise Ambiguous(
            f"{recording.path} has {len(known)} runs, {listed(known[:10], 'and')}{more}; "
            f"name one as {recording.path}#{example}"
        )
    return recording.runs[0]
