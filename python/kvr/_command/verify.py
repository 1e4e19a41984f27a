"""kvr verify: whether a recording is as it was written."""

from __future__ import annotations

import argparse
import os
import sys

from kvr import _kvr
from kvr._base.progress import reporter
from kvr._base.text import shown
from kvr._files.formats import open as open_recording
from kvr._files.opening import chosen_run, split_name

SOUND, DAMAGED = 0, 1
_MIB = 1 << 20


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.formatter_class = argparse.RawDescriptionHelpFormatter
    parser.epilog = """\
example: kvr verify week.kvr

exit codes: 0 sound, 1 damaged, 2 could not be read"""
    parser.add_argument("file", metavar="FILE", help="a recording file; of FILE#RUN the whole file")
    parser.add_argument("--quiet", action="store_true", help="print nothing but errors")


def run(options: argparse.Namespace) -> int:
    path, name = split_name(options.file)
    if os.path.isdir(path):
        raise ValueError(f"{path}: is a folder; name a file in it")
    total = os.stat(path).st_size // _MIB + 1
    tell = reporter(None if options.quiet else True, total)
    try:
        problems = _kvr.verify_recording(path, lambda done, total: tell(done // _MIB))
    finally:
        tell(total)
    for what, where in problems:
        print(f"kvr: {shown(f'{path}, {where}: {what}' if where else f'{path}: {what}', 1000)}",
              file=sys.stderr)  # fmt: skip
    if not problems and name is not None:
        with open_recording(path, "recording") as recording:
            chosen_run(recording, name)  # or there is no such run
    if not problems and not options.quiet:
        print(f"{shown(path, 400)}: sound")
    return DAMAGED if problems else SOUND
