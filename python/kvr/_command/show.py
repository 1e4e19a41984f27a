"""kvr show: one signal."""

from __future__ import annotations

import argparse
from typing import Any

import numpy as np

from kvr._base.dates import EPOCH_SOURCE, time_text
from kvr._base.errors import Ambiguous, NotFound
from kvr._base.text import shown
from kvr._command.facts import plain_signal, span_text
from kvr._command.outputs import require_others
from kvr._command.terminal import plot
from kvr._files.opening import open_run, split_name
from kvr._reading.runs import RunReader
from kvr._reading.signals import Array, SignalReader

_ENDS = 5  # samples shown at either end


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = "example: kvr show monday.csv speed --plot speed.png"
    parser.add_argument("file", metavar="FILE", help="a file of runs, or FILE#RUN for one of them")
    parser.add_argument("signal", metavar="SIGNAL", help="its label, or its path/label")
    parser.add_argument("--plot", metavar="OUT.png", help="draw it into a picture")


def run(options: argparse.Namespace) -> int:
    signal = _signal_of(open_run(options.file).run, options.signal, options.file)
    if options.plot is not None:
        _save_picture(signal, options)
    lines = _facts(signal)
    time, values = signal._series()
    dated = signal.time_source == EPOCH_SOURCE
    lines += ["", *_samples(time, values, dated)]
    if options.plot is None and values.ndim == 1 and values.dtype.kind in "biuf" and time.ndim == 1:
        lines += ["", *plot(time, values.astype(float), dated)]
    print("\n".join(lines))
    return 0


def _save_picture(signal: SignalReader, options: argparse.Namespace) -> None:
    """Raises ValueError that names the file of the signal or of the picture."""
    from kvr._reading.plots import picture_of, require_drawable
    from kvr._base.writing import write_bytes

    require_others([options.plot], [split_name(options.file)[0]])
    try:
        require_drawable(signal)
    except ValueError as error:
        raise ValueError(f"{options.file}: {error}; leave out --plot") from None
    try:
        picture = picture_of(signal, options.plot)
    except ValueError as error:
        raise ValueError(f"{options.plot}: {error}") from error
    write_bytes(picture, options.plot)


def _signal_of(run: RunReader[Any], name: str, file: str) -> SignalReader:
    try:
        return run[name]  # type: ignore[no-any-return]
    except (NotFound, Ambiguous) as error:
        full = [s for s in run.signals if s.path and f"{s.path}/{s.label}" == name]
        if len(full) != 1:
            raise type(error)(f"{file}: {error}") from None
        return full[0]  # type: ignore[no-any-return]


def _facts(signal: SignalReader) -> list[str]:
    facts = plain_signal(signal)
    shape = "".join(f" x {length}" for length in facts["shape"])
    told = {
        "signal": facts["label"],
        "run": signal.run.name,
        "path": facts["path"],
        "model": facts["model"],
        "source": facts["source"],
        "port": str(facts["port"] or ""),
        "channel": " ".join(map(str, facts["channel"])),
        "unit": facts["unit"] or "",
        "class": facts["class"] or "none",
        "samples": f"{facts['samples']}{shape}",
        "span": span_text(facts),
        "time": facts["time_source"],
        "tolerance": repr(signal.tolerance),
        "sync": repr(signal.sync),
    }
    return [f"{name:<10} {shown(text, 200)}" for name, text in told.items() if text]


def _samples(time: Array, values: Array, dated: bool) -> list[str]:
    count = min(len(time), len(values))
    if count <= 2 * _ENDS:
        return [_sample(time, values, i, dated) for i in range(count)]
    first = [_sample(time, values, i, dated) for i in range(_ENDS)]
    last = [_sample(time, values, i, dated) for i in range(count - _ENDS, count)]
    return [*first, f"{'...':>16}", *last]


def _sample(time: Array, values: Array, place: int, dated: bool) -> str:
    value = values[place]
    if isinstance(value, (np.generic, np.ndarray)):
        value = value.tolist()
    moment = time_text(time[place], True) if dated and time.ndim == 1 else str(time[place])
    return f"{moment:>16}  {shown(str(value), 200)}"
