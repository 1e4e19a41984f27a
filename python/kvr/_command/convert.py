"""kvr convert: runs from files of one format to a file of another."""

from __future__ import annotations

import argparse
import os
from contextlib import ExitStack
from typing import Any

from kvr._command.outputs import require_others
from kvr._files.formats import format_of, require_writable, save
from kvr._files.formats import open as open_recording
from kvr._files.opening import chosen_run, split_name
from kvr._reading.runs import RunReader


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = "example: kvr convert monday.csv tuesday.csv week.kvr"
    add = parser.add_argument
    add("inputs", metavar="IN", nargs="+", help="a file of runs, or FILE#RUN for one of them")
    add("output", metavar="OUT", help="the file to write; its ending says the format")
    add("--append", action="store_true", help="add the runs to OUT instead of replacing it")
    add("--quiet", action="store_true", help="show no progress")


def run(options: argparse.Namespace) -> int:
    # Refuses an ending that cannot be written before anything is read.
    require_writable(options.output, format_of(options.output, None))
    require_others([options.output], [split_name(given)[0] for given in options.inputs])
    with ExitStack() as opened:
        runs: list[RunReader[Any]] = []
        for given in options.inputs:
            path, name = split_name(given)
            recording = opened.enter_context(open_recording(path))
            runs += list(recording.runs) if name is None else [chosen_run(recording, name)]
        save(os.fspath(options.output), runs, options.append, None if options.quiet else True)
    return 0
