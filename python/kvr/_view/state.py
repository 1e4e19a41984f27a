"""The state of the store as the JSON that a window loads, and changes of it as events."""

from __future__ import annotations

import json
from collections.abc import Callable
from typing import Any

from kvr._comparing.results import for_json
from kvr._base.settings import Sync, Tolerance
from kvr._view.mirror import Changes, Mirror, SignalRow, is_date

# Columns of the signals that rows do not have under the same name.
_OF_CONTENTS: dict[str, Callable[[SignalRow], Any]] = {
    "class": lambda row: row.contents.kind,
    "samples": lambda row: row.contents.samples,
    "shape": lambda row: row.contents.shape,
    "start": lambda row: for_json(row.contents.start),
    "end": lambda row: for_json(row.contents.end),
    "is_date": lambda row: is_date(row.contents.facts),
    "drawable": lambda row: row.contents.drawable,
}
_OF_FACTS = (
    "run", "label", "path", "model", "source", "root_source", "time_source", "port", "channel", "sid",
)  # fmt: skip
_OF_ROWS = (
    "id", "unit", "parent", "color", "dash", "visible", "tolerance_inherited", "sync_inherited",
)  # fmt: skip


class _Table:
    """Different settings, each once, and the place of each."""

    def __init__(self) -> None:
        self.records: list[dict[str, Any]] = []
        self._places: dict[Any, int] = {}
        self._by_object: dict[int, int] = {}  # most signals share one object

    def place(self, settings: Tolerance | Sync | None) -> int | None:
        if settings is None:
            return None
        found = self._by_object.get(id(settings))
        if found is None:
            found = self._places.setdefault(settings, len(self.records))
            if found == len(self.records):
                self.records.append(for_json(settings.to_fields()))
            self._by_object[id(settings)] = found
        return found


def state_json(mirror: Mirror, version: str, files: list[dict[str, str]]) -> bytes:
    """The whole state, one column after the other."""
    tolerances, syncs = _Table(), _Table()
    rows = mirror.rows()
    columns: dict[str, list[Any]] = {}
    for name in _OF_FACTS:
        columns[name] = [getattr(row.contents.facts, name) for row in rows]
    for name in _OF_ROWS:
        columns[name] = [getattr(row, name) for row in rows]
    for name, read in _OF_CONTENTS.items():
        columns[name] = [read(row) for row in rows]
    columns["tolerance"] = [tolerances.place(row.tolerance) for row in rows]
    columns["sync"] = [syncs.place(row.sync) for row in rows]
    runs = [
        {
            **row._asdict(),
            "tolerance": tolerances.place(row.tolerance),
            "sync": syncs.place(row.sync),
        }
        for row in mirror.runs.values()
    ]
    state = {
        "revision": mirror.revision,
        "version": version,
        "files": files,
        "runs": runs,
        "signals": columns,
        "tolerances": tolerances.records,
        "syncs": syncs.records,
    }
    return json_bytes(state)


def patch_of(changes: Changes) -> dict[str, Any]:
    """The changed fields of runs and signals, settings as records."""
    return {
        "revision": changes.revision,
        "signals": _patches(changes.signals),
        "runs": _patches(changes.runs),
    }


def _patches(changed: dict[int, dict[str, Any]]) -> list[dict[str, Any]]:
    return [{"id": number, **_plain(fields)} for number, fields in changed.items()]


def _plain(fields: dict[str, Any]) -> dict[str, Any]:
    records = (Tolerance, Sync)
    return {
        name: for_json(value.to_fields()) if isinstance(value, records) else value
        for name, value in fields.items()
    }


def json_bytes(value: Any) -> bytes:
    """As JSON in ASCII, so that halves of characters, which UTF-8 has not, pass too."""
    return json.dumps(value, allow_nan=False, separators=(",", ":")).encode("ascii")
