"""Writing runs as HDF5 files: a group a run, a dataset a signal, times as dimension scales.

Signals of equal times share a scale. Truths are kept as bytes with the attribute ``dtype`` "bool",
as xarray keeps them, and other axes than the time have dimensions without values, so that netCDF's
tools read the file too. What a dataset cannot say by itself stands in attributes that begin with
"kvr_".
"""

from __future__ import annotations

import hashlib
import io
import os
from collections.abc import Callable, Mapping, Sequence
from typing import Any

import numpy as np

from kvr._base.dates import EPOCH_SOURCE
from kvr._base.errors import FormatError
from kvr._base.packages import need
from kvr._base.writing import write_bytes
from kvr._files.hdf5.attributes import is_metadata_name, set_own
from kvr._files.hdf5.values import time_source_of
from kvr._reading.runs import RunReader
from kvr._reading.signals import Array, SignalReader

_DIMENSION_ONLY = "This is a netCDF dimension but not a netCDF variable. {:>10}"


def save_hdf5(
    path: str, runs: Sequence[RunReader[Any]], append: bool, tell: Callable[[int], object]
) -> None:
    """Write runs, in place of the file or added to a copy of it that then takes its place.

    Raises ValueError for a signal that is no time series or whose texts have a NUL, FormatError if
    the file to add to is no HDF5 file, OSError, MissingPackage without h5py.
    """
    h5py = need("h5py", "writing HDF5 files")
    image = io.BytesIO()
    if append and os.path.exists(path):
        if not h5py.is_hdf5(path):
            raise FormatError(path, "is not an HDF5 file, nothing can be added to it")
        with open(path, "rb") as old:
            image.write(old.read())
    # The file grows in memory: the HDF5 library ends the process when it cannot close a file on a
    # disk that is full.
    mode = "r+" if image.tell() else "w"
    order = {} if image.tell() else {"track_order": True}
    with h5py.File(image, mode, libver=("v108", "latest"), **order) as file:
        count = 0
        for run in runs:
            writer = _RunWriter(h5py, file, run, os.path.basename(path))
            for signal in run.signals:
                writer.add(signal)
                count += 1
                tell(count)
    write_bytes(image.getbuffer(), path)


class _RunWriter:
    """A group that takes the signals of a run, one after the other."""

    def __init__(self, h5py: Any, file: Any, run: RunReader[Any], file_name: str) -> None:
        self._h5py = h5py
        self._file_name = file_name
        self._bases: dict[tuple[str, bool, bytes], Any] = {}
        self._dimensions: dict[int, Any] = {}
        name = _unique(run.name, file, "run")
        self._group = file.create_group(name, track_order=True)
        if name != run.name:
            set_own(self._group, "name", run.name)
        set_own(self._group, "created", run.created.isoformat())
        if run.version:
            set_own(self._group, "version", run.version)

    def add(self, signal: SignalReader) -> None:
        time, values = signal._series()
        if time.ndim != 1 or time.dtype.kind not in "iuf" or values.shape[:1] != time.shape:
            raise ValueError(f"{signal.label!r} is no time series that an HDF5 file can hold")
        base = self._base(signal, time)
        name = _unique(signal.label, self._group, "signal")
        try:
            item = self._dataset(name, values)
        except (ValueError, TypeError) as error:
            raise ValueError(f"{signal.label!r} cannot be written: {error}") from error
        item.dims[0].attach_scale(base)
        for axis in range(1, values.ndim):
            item.dims[axis].attach_scale(self._dimension(values.shape[axis]))
        self._describe(item, name, signal, base)

    def _base(self, signal: SignalReader, time: Array) -> Any:
        """The scale of these times."""
        dated = signal.time_source == EPOCH_SOURCE
        digest = hashlib.blake2b(time.tobytes(), digest_size=16).digest()
        key = time.dtype.str, dated, digest
        if key not in self._bases:
            name = f"time_{len(self._bases) + 1}" if self._bases else "time"
            name = _unique(name, self._group, "")
            base = self._group.create_dataset(name, data=time)
            base.make_scale(name)
            if dated:
                base.attrs["units"] = EPOCH_SOURCE
                base.attrs["calendar"] = "standard"
            elif signal.time_source != name:
                set_own(base, "time_source", signal.time_source)
            self._bases[key] = base
        return self._bases[key]

    def _dimension(self, length: int) -> Any:
        """The dimension without values for an axis of this length."""
        if length not in self._dimensions:
            name = _unique(f"axis_{length}", self._group, "")
            dimension = self._group.create_dataset(name, shape=(length,), dtype="i4")
            dimension.make_scale(_DIMENSION_ONLY.format(length))
            self._dimensions[length] = dimension
        return self._dimensions[length]

    def _dataset(self, name: str, values: Array) -> Any:
        if values.dtype.kind == "b":
            item = self._group.create_dataset(name, data=values.astype(np.int8))
            item.attrs["dtype"] = "bool"
            return item
        if values.dtype.kind in "UO":
            if not all(isinstance(cell, str) for cell in values.flat):
                raise TypeError("it holds objects that are no texts")
            kind = self._h5py.string_dtype()
            return self._group.create_dataset(name, data=values.astype(object), dtype=kind)
        return self._group.create_dataset(name, data=values)

    def _describe(self, item: Any, name: str, signal: SignalReader, base: Any) -> None:
        """Attributes for what reading would not find out."""
        metadata = signal.metadata
        if signal.unit:
            item.attrs["units"] = signal.unit
        if isinstance(metadata, Mapping):
            for key, value in metadata.items():
                if key != "unit" and isinstance(key, str) and is_metadata_name(key):
                    if isinstance(value, (str, bool, int, float)):
                        item.attrs[key] = value
        texts = {
            "label": (signal.label, name),
            "path": (signal.path, ""),
            "model": (signal.model, ""),
            "source": (signal.source, name),
            "root_source": (signal.root_source, self._file_name),
            "sid": (signal.sid, ""),
        }
        for key, (text, found) in texts.items():
            if text != found:
                set_own(item, key, text)
        if signal.time_source != time_source_of(base, base.name):
            set_own(item, "time_source", signal.time_source)
        if signal.port:
            set_own(item, "port", signal.port)
        if signal.channel:
            set_own(item, "channel", list(signal.channel))


def _unique(name: str, group: Any, instead: str) -> str:
    """The name, or one like it that HDF5 can hold and that the group does not have."""
    usable = name.replace("/", "|").replace("\0", "") or instead
    usable = f"{usable}_" if usable.strip(".") == "" else usable
    usable = usable.encode("utf-8", "replace").decode()
    unique, number = usable, 1
    while unique in group:
        number += 1
        unique = f"{usable} ({number})"
    return unique
