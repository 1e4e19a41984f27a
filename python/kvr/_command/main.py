"""The command kvr: its arguments, its exit codes and its errors.

A command imports its modules when it runs, so that --help starts fast.
"""

from __future__ import annotations

import argparse
import importlib
import sys
import traceback
from collections.abc import Sequence
from typing import NoReturn

from kvr._base.error_lines import told
from kvr._command.outputs import OUTPUT, abandon, prepare_streams, say

PASSED, DIFFERS, NOT_DONE, NOTHING_COMPARED = 0, 1, 2, 3
_INTERRUPTED = 130

_COMMANDS = {
    "ls": "list the runs of a file, or their signals",
    "show": "show one signal: facts, samples and a plot",
    "compare": "compare two runs, signal by signal",
    "convert": "write the runs of files to a file of another format",
    "verify": "check every sum and row of a recording",
    "view": "show runs in the browser: plots, settings, a comparison",
    "campaign": "compare many pairs of files, on many processors or machines",
}
_EPILOG = """\
example: kvr compare monday.csv tuesday.csv --relative 0.01

FILE may name a run, as in FILE#RUN. exit codes: 0 passed, 1 differs, 2 could not be done,
3 nothing was compared. --debug shows where an error comes from."""


class _Parser(argparse.ArgumentParser):
    """A parser whose errors are one line, like all errors of the command."""

    def error(self, message: str) -> NoReturn:
        from kvr._base.text import shown

        self.exit(NOT_DONE, f"{self.prog}: {shown(message, 1000)}; see {self.prog} --help\n")


def main(arguments: Sequence[str] | None = None) -> int:
    """Run the command and return its exit code."""
    prepare_streams()
    given = list(sys.argv[1:] if arguments is None else arguments)
    debug = "--debug" in given
    if debug:
        given = [argument for argument in given if argument != "--debug"]
    try:
        return _run(given)
    except BrokenPipeError:
        # Whoever read the output has enough. Nothing must be written at the exit either.
        abandon(sys.stdout)
        abandon(sys.stderr)
        return NOT_DONE
    except KeyboardInterrupt:
        say(traceback.format_exc() + "kvr: interrupted" if debug else "kvr: interrupted")
        return _INTERRUPTED
    except Exception as error:
        say(traceback.format_exc() if debug else f"kvr: {told(error)}")
        if isinstance(error, OSError) and error.filename == OUTPUT:
            abandon(sys.stdout)
        return NOT_DONE


def _run(given: list[str]) -> int:
    try:
        code = _run_command(given)
    except SystemExit as exit:  # of the parser
        code = exit.code if isinstance(exit.code, int) else NOT_DONE
    sys.stdout.flush()
    return code


def _run_command(given: list[str]) -> int:
    name = next((argument for argument in given if not argument.startswith("-")), None)
    parser = _parser(name)
    if not given:
        parser.print_help()
        return NOT_DONE
    if name == given[0] and name not in _COMMANDS:
        from kvr._base.names import near_misses

        parser.error(f"there is no command {name!r:.80}; {near_misses(name, _COMMANDS)}")
    options, unknown = parser.parse_known_args(given)
    if unknown:
        _refuse(unknown, options.parser)
    code: int = options.run(options)
    return code


def _refuse(unknown: list[str], parser: argparse.ArgumentParser) -> NoReturn:
    """Name what the parser of a command does not know, and the option that looks like it."""
    from kvr._base.names import close_names

    text = f"unrecognized arguments: {' '.join(unknown)}"
    first = unknown[0].partition("=")[0]
    close = close_names(first, parser._option_string_actions) if first.startswith("-") else []
    parser.error(f"{text}; did you mean {' or '.join(close)}?" if close else text)


class _Version(argparse.Action):
    """Prints the version, which is read when it is asked for."""

    def __call__(self, parser: argparse.ArgumentParser, *_: object) -> NoReturn:
        from kvr._kvr import __version__

        print(f"kvr {__version__}")
        parser.exit()


def _parser(name: str | None) -> argparse.ArgumentParser:
    """The parser; of the commands only the named one gets its arguments."""
    parser = _Parser(
        prog="kvr",
        description="Runs and signals in files: list, show, compare, convert, verify and view them.",
        epilog=_EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        allow_abbrev=False,
    )
    parser.add_argument("--version", action=_Version, nargs=0, help="show the version and exit")
    commands = parser.add_subparsers(metavar="COMMAND", required=True)
    for command, meaning in _COMMANDS.items():
        own = commands.add_parser(
            command,
            help=meaning,
            description=meaning[0].upper() + meaning[1:] + ".",
            formatter_class=argparse.RawDescriptionHelpFormatter,
            allow_abbrev=False,
        )
        if command == name:
            module = importlib.import_module(f"kvr._command.{command}")
            module.add_arguments(own)
            own.set_defaults(run=module.run, parser=own)
    return parser
