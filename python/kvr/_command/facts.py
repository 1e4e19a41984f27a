"""Runs and signals as plain values and short texts."""

from __future__ import annotations

from typing import Any

from kvr._base.dates import EPOCH_SOURCE, time_text
from kvr._base.errors import NoValues
from kvr._base.settings import Sync, Tolerance
from kvr._reading.runs import RunReader
from kvr._reading.signals import SignalReader


def plain_run(run: RunReader[Any], with_signals: bool) -> dict[str, Any]:
    """A run as plain values; its signals as their number, or each with its facts."""
    return {
        "id": run.id,
        "name": run.name,
        "created": run.created.isoformat(),
        "version": run.version,
        "instance": run.instance,
        "signals": [plain_signal(signal) for signal in run.signals] if with_signals else len(run),
    }


def plain_signal(signal: SignalReader) -> dict[str, Any]:
    """A signal as plain values; without readable values "class" and "span" are None."""
    facts: dict[str, Any] = {"id": signal.id, **signal._facts()._asdict(), "unit": signal.unit}
    facts |= {"class": None, "samples": 0, "shape": [], "span": None}
    try:
        extent = signal._extent()
    except NoValues:
        pass
    else:
        facts["class"], facts["samples"] = extent.kind, extent.samples
        facts["shape"], facts["span"] = list(extent.shape), list(extent.span) or None
    facts["tolerance"] = signal.tolerance.to_fields()
    facts["sync"] = signal.sync.to_fields()
    return facts


def span_text(facts: dict[str, Any]) -> str:
    span = facts["span"]
    dated = facts["time_source"] == EPOCH_SOURCE
    return " to ".join(time_text(end, dated) for end in span) if span else ""


def settings_text(signal: SignalReader) -> str:
    """Tolerance and synchronisation where they are not the defaults."""
    texts = []
    if signal.tolerance != Tolerance():
        texts.append(repr(signal.tolerance))
    if signal.sync != Sync():
        texts.append(repr(signal.sync))
    return ", ".join(texts)
