"""kvr ls: the runs of a file, or their signals."""

from __future__ import annotations

import argparse
import json
from typing import Any

from kvr._command.facts import plain_run, plain_signal, settings_text, span_text
from kvr._command.terminal import table
from kvr._comparing.results import for_json
from kvr._files.formats import open as open_recording
from kvr._files.opening import chosen_run, split_name
from kvr._reading.runs import RunReader


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = "example: kvr ls monday.csv --signals"
    parser.add_argument("file", metavar="FILE", help="a file of runs, or FILE#RUN for one of them")
    parser.add_argument("--signals", action="store_true", help="list the signals, reading them")
    parser.add_argument("--json", action="store_true", help="print JSON instead of a table")


def run(options: argparse.Namespace) -> int:
    path, name = split_name(options.file)
    with open_recording(path) as recording:
        runs: list[RunReader[Any]] = list(recording.runs)
        if name is not None:
            runs = [chosen_run(recording, name)]
        if options.json:
            listed = [plain_run(one, options.signals) for one in runs]
            print(json.dumps(for_json({"file": path, "runs": listed}), indent=1))
        elif options.signals:
            _print_signals(runs)
        else:
            rows = [
                [str(one.id), one.name, f"{one.created:%Y-%m-%d %H:%M}", str(len(one))]
                for one in runs
            ]
            print("\n".join(table(("id", "run", "created", "signals"), rows, wide=1)))
    return 0


def _print_signals(runs: list[RunReader[Any]]) -> None:
    """A table; the run stands in it where there are several."""
    header = ["signal", "path", "class", "samples", "span", "unit", "settings"]
    rows = []
    for one in runs:
        for signal in one.signals:
            facts = plain_signal(signal)
            rows.append(
                [
                    facts["label"], facts["path"], facts["class"] or "none",
                    str(facts["samples"]), span_text(facts), facts["unit"] or "",
                    settings_text(signal),
                ]
            )  # fmt: skip
    if len(runs) > 1:
        names = [one.name for one in runs for _ in one.signals]
        header = ["run", *header]
        rows = [[name, *row] for name, row in zip(names, rows)]
    print("\n".join(table(header, rows, wide=header.index("signal"))))
