"""Frames and series that pandas wrote in its fixed format, without unpickling anything."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from kvr._base.errors import FormatError
from kvr._files.hdf5.attributes import number_attribute, text_attribute

PANDAS_TYPE = "pandas_type"
VALUE_TYPE = "value_type"
_HINT = "write it with to_hdf(..., format='fixed') and one level of columns and index"

Column = tuple[tuple[str, ...], Any, Any, "int | None"]


def frame_columns(path: str, names: tuple[str, ...], group: Any) -> Iterator[Column]:
    """The names, the dataset of the values, that of the times, and the place, of each column.

    Raises FormatError for what needs unpickling, and for several levels.
    """
    kind = text_attribute(group, PANDAS_TYPE)
    if kind == "series":
        values = _required(path, group, "values")
        yield names, values, _index(path, group, "index"), None
        return
    if kind != "frame":
        what = f"is a {kind!r} of pandas, whose names are pickled: {_HINT}"
        raise FormatError(path, what, group.name)
    times = _index(path, group, "axis1")
    if text_attribute(group, "axis0_variety") != "regular":
        raise FormatError(path, f"has columns of several levels: {_HINT}", group.name)
    for block in range(int(number_attribute(group, "nblocks") or 0)):
        items = _required(path, group, f"block{block}_items")
        values = _required(path, group, f"block{block}_values")
        if not is_placeholder(times) and (
            values.ndim != 2 or values.shape != (*times.shape, *items.shape)
        ):
            raise FormatError(
                path, f"has the shape {values.shape} for {items.shape} columns at {times.shape} "
                f"times: objects are pickled; keep numbers alone", values.name,
            )  # fmt: skip
        for place, label in enumerate(items[()]):
            text = label.decode("utf-8", "replace") if isinstance(label, bytes) else str(label)
            yield (*names, text), values, times, place


def is_placeholder(item: Any) -> bool:
    """Whether pandas had an array without elements: it writes one element, and the class beside."""
    return bool(text_attribute(item, VALUE_TYPE))


def _index(path: str, group: Any, name: str) -> Any:
    if text_attribute(group, f"{name}_variety") != "regular":
        raise FormatError(path, f"has an index of several levels: {_HINT}", group.name)
    index = _required(path, group, name)
    if index.ndim != 1:
        raise FormatError(path, f"is an index of shape {index.shape}: {_HINT}", index.name)
    return index


def _required(path: str, group: Any, name: str) -> Any:
    if name not in group or not hasattr(group[name], "shape"):
        what = f"has no dataset {name!r}, which pandas writes: {_HINT}"
        raise FormatError(path, what, group.name)
    return group[name]
