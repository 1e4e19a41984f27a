"""Which datasets of an HDF5 file are signals, and which dataset has the times of each.

The time of a dataset is a dimension scale of it, one that looks like a time before that of the
first axis; else the dataset named "time" beside it or in the nearest group around it. Scalars,
dimension scales and datasets without a time are no signals.

Nothing outside the file is read: external links, external storage and virtual datasets over other
files are refused. Soft links are skipped, since their targets have names of their own.
"""

from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from kvr._base.errors import FormatError
from kvr._base.packages import need
from kvr._files.hdf5.attributes import own_attribute, text_attribute
from kvr._files.hdf5.pandas_layout import PANDAS_TYPE, frame_columns, is_placeholder

_TIME_NAME = re.compile(r"time(_\d+)?|t", re.IGNORECASE)
_DIMENSION_ONLY = "This is a netCDF dimension but not a netCDF variable"


@dataclass(frozen=True)
class Times:
    """A dataset of times, which signals may share. Its name is looked up once: that takes long."""

    dataset: Any
    name: str
    address: int
    is_scale_of_netcdf: bool
    looks_like_time: bool


@dataclass(frozen=True)
class Source:
    """Where a signal lies.

    names    of the groups from the root on, and of the signal itself
    dataset  has its values
    times    has its times
    axis     of the dataset along which the time runs
    column   of the dataset if it holds several signals, else None
    is_empty without rows, where pandas writes one row that means nothing
    """

    names: tuple[str, ...]
    dataset: Any
    times: Times
    axis: int = 0
    column: int | None = None
    is_empty: bool = False


def find_sources(path: str, file: Any) -> list[Source]:
    """The signals in the order of the file. Raises FormatError, and what h5py raises."""
    finder = _Finder(path, file)
    for names, item in finder.items():
        finder.take(names, item)
    if not finder.sources and not finder.constants and not written_runs(file):
        raise FormatError(
            path,
            "holds no dataset with a time: give it a dimension scale, or put a dataset named "
            "'time' beside it",
        )
    return finder.sources or finder.constants


def written_runs(file: Any) -> list[str]:
    """The groups that this package wrote as runs, those without signals too, in their order."""
    h5py = need("h5py", "HDF5")
    root = file["/"]  # which knows the order of its groups; the file itself sorts them by name
    hard = [name for name in root if isinstance(root.get(name, getlink=True), h5py.HardLink)]
    groups = (name for name in hard if root.get(name, getclass=True) is h5py.Group)
    return [name for name in groups if own_attribute(root[name], "created")]


class _Finder:
    """Goes through a file.

    sources    the signals so far
    constants  netCDF variables so far whose dimensions are no times: signals if there are no others
    """

    def __init__(self, path: str, file: Any) -> None:
        self.sources: list[Source] = []
        self.constants: list[Source] = []
        self._path = path
        self._file = file
        self._h5py = need("h5py", "HDF5")
        self._known: dict[int, Times | None] = {}
        self._beside: dict[tuple[str, ...], Times | None] = {}

    def items(self) -> Iterator[tuple[tuple[str, ...], Any]]:
        """All datasets, and the groups that pandas wrote, each once by a hard link."""
        h5py = self._h5py
        seen = {self._address(self._file["/"])}
        waiting: list[tuple[tuple[str, ...], Any]] = [((), self._file["/"])]
        while waiting:
            names, item = waiting.pop()
            if isinstance(item, h5py.Dataset) or (names and PANDAS_TYPE in item.attrs):
                yield names, item
                continue
            inner = []
            for name in item:
                link = item.get(name, getlink=True)
                if isinstance(link, h5py.ExternalLink):
                    raise FormatError(
                        self._path,
                        f"links to another file, {link.filename!r}: copy what it holds",
                        "/".join(["", *names, name]),
                    )
                below = item[name] if isinstance(link, h5py.HardLink) else None
                if isinstance(below, h5py.Group):
                    if self._address(below) in seen:
                        continue
                    seen.add(self._address(below))
                if isinstance(below, (h5py.Group, h5py.Dataset)):
                    inner.append(((*names, name), below))
            waiting += reversed(inner)

    def take(self, names: tuple[str, ...], item: Any) -> None:
        """Keep a dataset that is a signal, and the columns of a frame."""
        if isinstance(item, self._h5py.Group):
            for column_names, values, index, column in frame_columns(self._path, names, item):
                times = self._times(index)
                assert times is not None
                empty = is_placeholder(index)
                self.sources.append(Source(column_names, values, times, 0, column, empty))
            return
        source = self._source_of(names, item)
        if source is None:
            return
        self._require_inside(item)
        is_constant = source.times.is_scale_of_netcdf and not source.times.looks_like_time
        (self.constants if is_constant else self.sources).append(source)

    def _address(self, item: Any) -> int:
        return int(self._h5py.h5o.get_info(item.id).addr)

    def _source_of(self, names: tuple[str, ...], item: Any) -> Source | None:
        """The signal that a dataset is; None if it is none."""
        if item.shape in (None, ()) or names[-1] == "time" or self._h5py.h5ds.is_scale(item.id):
            return None
        scales = [(axis, scale) for axis in range(item.ndim) for scale in self._scales(item, axis)]
        chosen = next((found for found in scales if found[1].looks_like_time), None)
        if chosen is None:
            chosen = next((found for found in scales if found[0] == 0), None)
        if chosen is None:
            times = self._time_beside(names[:-1])
            if times is None:
                return None
            fits = (a for a, length in enumerate(item.shape) if (length,) == times.dataset.shape)
            chosen = next(fits, 0), times
        axis, times = chosen
        if times.dataset.shape != (item.shape[axis],):
            raise FormatError(
                self._path,
                f"has the shape {item.shape}, its time {times.name!r} has {times.dataset.shape}: "
                f"lengths must agree; move what is no signal to a group without a time",
                "/" + "/".join(names),
            )
        return Source(names, item, times, axis)

    def _scales(self, item: Any, axis: int) -> Iterator[Times]:
        for place in range(len(item.dims[axis])):
            times = self._times(item.dims[axis][place])
            if times is not None:
                yield times

    def _times(self, scale: Any) -> Times | None:
        """What is known of a dataset of times; None for a dimension without values."""
        address = self._address(scale)
        if address not in self._known:
            dimension_only = text_attribute(scale, "NAME").startswith(_DIMENSION_ONLY)
            name = scale.name or ""
            self._known[address] = None if dimension_only else Times(
                scale, name, address, "_Netcdf4Dimid" in scale.attrs, _looks_like_time(scale, name)
            )  # fmt: skip
        return self._known[address]

    def _time_beside(self, groups: tuple[str, ...]) -> Times | None:
        """The dataset "time" in the group of these names, or in the nearest around it."""
        if groups not in self._beside:
            group = self._file["/" + "/".join(groups)]
            found = None
            if "time" in group and isinstance(group.get("time", getlink=True), self._h5py.HardLink):
                times = group["time"]
                if isinstance(times, self._h5py.Dataset) and len(times.shape or ()) == 1:
                    found = self._times(times)
            if found is None and groups:
                found = self._time_beside(groups[:-1])
            self._beside[groups] = found
        return self._beside[groups]

    def _require_inside(self, item: Any) -> None:
        outside = item.external is not None or (
            item.is_virtual and any(part.file_name != "." for part in item.virtual_sources())
        )
        if outside:
            raise FormatError(
                self._path, "has its values in another file: copy them into this one", item.name
            )


def _looks_like_time(scale: Any, name: str) -> bool:
    return (
        _TIME_NAME.fullmatch(name.rpartition("/")[2]) is not None
        or " since " in text_attribute(scale, "units")
        or text_attribute(scale, "standard_name") == "time"
        or text_attribute(scale, "axis") == "T"
    )
