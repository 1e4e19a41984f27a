#!/usr/bin/python3
"""Draws the pictures of comparison.md from the examples in it.

    PYTHONPATH=build/release/python docs/draw_comparison.py [FOLDER]    by default docs/comparison

The examples of the document run in their order. Where a picture stands, it shows `before`, `after`
and `verdict` as the examples above left them.
"""

from __future__ import annotations

import contextlib
import doctest
import io
import math
import re
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any, NamedTuple

import numpy as np
import numpy.typing as npt
from kvr import Verdict

HERE = Path(__file__).parent
DOCUMENT = HERE / "comparison.md"
PART = re.compile(
    r"```python\n(?P<code>.*?)```|!\[(?P<title>.*?)\]\(comparison/(?P<name>.*?)\)", re.S
)
WIDTH, HEIGHT, LEFT, TOP, BOTTOM = 640, 170, 14, 14, 40
STYLE = """
svg{font:12px sans-serif;fill:none;stroke-width:1.5}
.a{stroke:#0b62a4}.b{stroke:#c05000;stroke-dasharray:6 3}
.A{fill:#0b62a4}.B{stroke:#c05000}.band{stroke:#0b62a4;stroke-opacity:.25;stroke-width:9}
.out{stroke:#d00000;stroke-width:2}.axis,.tick{stroke:#777}.text{fill:#555}
.outside{fill:#777;fill-opacity:.13}
@media(prefers-color-scheme:dark){.text{fill:#bbb}.a,.band{stroke:#6cb6ff}.A{fill:#6cb6ff}
.b,.B{stroke:#ffa657}}
"""
Numbers = npt.NDArray[np.float64]


class Side(NamedTuple):
    times: Numbers
    values: Numbers


class Scale:
    """From times and values to places in the picture, in tenths at the finest."""

    def __init__(self, sides: tuple[Side, Side], verdict: Verdict) -> None:
        series = verdict.series()
        allowed = np.nan_to_num(series.tolerance)
        values = [side.values for side in sides]
        values += [series.baseline + allowed, series.baseline - allowed]
        finite = np.concatenate([part[np.isfinite(part)] for part in values])
        times = np.concatenate([side.times for side in sides])
        self.start, self.span = times.min(), np.ptp(times) or 1.0
        self.low, self.height = finite.min(), np.ptp(finite) or 1.0

    def x(self, time: float) -> str:
        return f"{LEFT + (time - self.start) / self.span * (WIDTH - 2 * LEFT):.1f}"

    def y(self, value: float) -> str:
        share = (value - self.low) / self.height
        return f"{HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM):.1f}"


def path_of(side: Side, held: bool, scale: Scale) -> str:
    """The side as steps or lines; a value that is no number leaves a gap."""
    commands = []
    pen = False
    for time, value in zip(side.times, side.values):
        if pen and held:
            commands.append(f"H{scale.x(time)}")
        if math.isnan(value):
            pen = False
            continue
        commands.append(f"{'L' if pen else 'M'}{scale.x(time)} {scale.y(value)}")
        pen = True
    return "".join(commands)


def dots(side: Side, mark: str, scale: Scale) -> Iterator[str]:
    for time, value in zip(side.times, side.values):
        if not math.isnan(value):
            yield f'<circle class="{mark}" cx="{scale.x(time)}" cy="{scale.y(value)}" r="3.5"/>'


def outside(sides: tuple[Side, Side], scale: Scale) -> Iterator[str]:
    """Shades the times before and after the common span."""
    first = max(side.times[0] for side in sides)
    last = min(side.times[-1] for side in sides)
    for begin, end in ((scale.start, first), (last, scale.start + scale.span)):
        if begin < end:
            width = float(scale.x(end)) - float(scale.x(begin))
            yield (
                f'<rect class="outside" x="{scale.x(begin)}" y="4" width="{width:.1f}" '
                f'height="{HEIGHT - BOTTOM}"/>'
            )


def judged(verdict: Verdict, scale: Scale) -> Iterator[str]:
    """What is allowed at each instant, a tick for it, and a cross where the other is out."""
    series = verdict.series()
    for place, time in enumerate(series.instants):
        value, allowed = series.baseline[place], series.tolerance[place]
        x = scale.x(time)
        yield f'<path class="tick" d="M{x} {HEIGHT - BOTTOM + 8}v7"/>'
        if allowed > 0:
            low, high = scale.y(value - allowed), scale.y(value + allowed)
            yield f'<path class="band" d="M{x} {low}V{high}"/>'
        if series.out[place]:
            there = series.other[place]
            y = float(scale.y(value if math.isnan(there) else there))
            x = f"{float(x) - 6:.1f}"
            yield f'<path class="out" d="M{x} {y - 6:.1f}l12 12m0-12l-12 12"/>'


def drawn(title: str, before: Side, after: Side, verdict: Verdict) -> str:
    """The picture as SVG."""
    sides = before, after
    scale = Scale(sides, verdict)
    assert verdict.sync is not None
    held = verdict.sync.interp == "zoh"
    axis = f"M{LEFT} {HEIGHT - BOTTOM + 11}H{WIDTH - LEFT}"
    legend = "● baseline   ○ other, dashed   | instant   ✕ out"
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" role="img">',
        f"<title>{title}</title><style>{STYLE.strip()}</style>",
        *outside(sides, scale),
        f'<path class="axis" d="{axis}"/>',
        *judged(verdict, scale),
        f'<path class="a" d="{path_of(before, held, scale)}"/>',
        f'<path class="b" d="{path_of(after, held, scale)}"/>',
        *dots(before, "A", scale),
        *dots(after, "B", scale),
        f'<text class="text" x="{LEFT}" y="{HEIGHT - 6}" xml:space="preserve">{legend}</text>',
        "</svg>\n",
    ]
    return "\n".join(parts)


def side_of(arrays: Any) -> Side:
    times, values = (np.asarray(numbers, float) for numbers in arrays)
    return Side(times, values)


def pictures(document: str) -> Iterator[tuple[str, str]]:
    """Name and content of each picture of the document."""
    names: dict[str, Any] = {}
    for part in PART.finditer(document):
        if part["code"] is None:
            before, after = side_of(names["before"]), side_of(names["after"])
            yield part["name"], drawn(part["title"], before, after, names["verdict"])
            continue
        for example in doctest.DocTestParser().get_examples(part["code"]):
            with contextlib.redirect_stdout(io.StringIO()):
                exec(compile(example.source, str(DOCUMENT), "single"), names)  # noqa: S102


def main() -> None:
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE / "comparison"
    folder.mkdir(parents=True, exist_ok=True)
    for name, picture in pictures(DOCUMENT.read_text(encoding="utf-8")):
        (folder / name).write_text(picture, encoding="utf-8")


if __name__ == "__main__":
    main()
