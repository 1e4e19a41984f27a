"""Changes of signals and runs that a window asks for, checked before anything is changed."""

from __future__ import annotations

from collections.abc import Callable

from kvr._store.run import Run
from kvr._store.signal import Signal
from kvr._view import fields
from kvr._view.fields import Fields
from kvr._view.problems import wrong

SIGNAL_FIELDS = ("visible", "color", "dash", "tolerance", "sync")
RUN_FIELDS = ("name", "created", "tolerance", "sync")

_READERS = {
    "visible": fields.truth,
    "color": fields.color,
    "dash": fields.text,
    "name": fields.text,
    "created": fields.moment,
    "tolerance": fields.tolerance,
    "sync": fields.sync,
}


def signal_change(given: Fields) -> Callable[[Signal], None]:
    """What the fields do to a signal; null settings are those of its run. Raises Problem."""
    inherited = [name for name in ("tolerance", "sync") if name in given and given[name] is None]
    values = {
        name: _READERS[name](name, value) for name, value in given.items() if name not in inherited
    }

    def change(signal: Signal) -> None:
        for name, value in values.items():
            setattr(signal, name, value)
        for name in inherited:
            delattr(signal, name)

    return change


def run_change(given: Fields) -> Callable[[Run], None]:
    """What the fields do to a run. Raises Problem."""
    values = {name: _READERS[name](name, value) for name, value in given.items()}

    def change(run: Run) -> None:
        if not len(run) and ("tolerance" in values or "sync" in values):
            raise wrong("a run without signals has no settings to set")
        for name, value in values.items():
            setattr(run, name, value)

    return change
