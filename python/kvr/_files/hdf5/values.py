"""Values and times of HDF5 datasets as arrays."""

from __future__ import annotations

import re
from datetime import datetime, timedelta, timezone
from typing import Any

import numpy as np

from kvr._base.dates import EPOCH, EPOCH_SOURCE
from kvr._base.errors import FormatError
from kvr._base.packages import need
from kvr._files.hdf5.attributes import number_attribute, own_attribute, text_attribute
from kvr._files.hdf5.layout import Source
from kvr._files.hdf5.pandas_layout import VALUE_TYPE
from kvr._reading.signals import Array, as_texts

_UNQUESTIONED = 1 << 26  # bytes that may be claimed, whatever the file stores
_BEST_RATIO = 2000  # of packing; deflate reaches 1032
_CALENDARS = ("", "standard", "gregorian", "proleptic_gregorian")
_SINCE = re.compile(
    r"(days?|d|hours?|hrs?|h|minutes?|mins?|seconds?|secs?|s|milliseconds?|msecs?|ms|"
    r"microseconds?|us|nanoseconds?|ns)\s+since\s+(\d{1,4})-(\d{1,2})-(\d{1,2})"
    r"(?:[T ]+(\d{1,2}):(\d{1,2})(?::(\d{1,2})(?:\.(\d{1,9}))?)?)?"
    r"\s*(?:Z|UTC|GMT|([+-])(\d{1,2}):?(\d{2})?)?"
)


def require_values(path: str, source: Source) -> None:
    """Raises FormatError for a dataset whose class is none of a signal, or that claims too much."""
    for item in (source.dataset, source.times.dataset):
        _require_plausible(path, item)
    h5py = need("h5py", "HDF5")
    dtype = source.dataset.dtype
    if h5py.check_string_dtype(dtype) is None and dtype.kind not in "biufc":
        raise FormatError(
            path, f"holds {_class_name(h5py, dtype)}, which is no signal; move it to a group "
            f"without a time, or leave it out", source.dataset.name,
        )  # fmt: skip
    if source.times.dataset.dtype.kind not in "iuf":
        raise FormatError(
            path, "is a time of neither numbers nor dates; write numbers, with the units "
            "'seconds since 1970-01-01' for dates", source.times.name,
        )  # fmt: skip


def _class_name(h5py: Any, dtype: Any) -> str:
    if h5py.check_ref_dtype(dtype) is not None:
        return "references"
    if h5py.check_vlen_dtype(dtype) is not None:
        return "arrays of any length, or pickled objects"
    return "compounds" if dtype.names else f"values of class {dtype}"


def claimed_bytes(source: Source) -> int:
    """What its values and times take in memory."""
    return _claim(source.dataset) + _claim(source.times.dataset)


def _claim(item: Any) -> int:
    elements = max(item.size, int(np.prod(item.chunks or (0,), dtype=object)))
    return int(elements) * int(item.dtype.itemsize)


def _require_plausible(path: str, item: Any) -> None:
    claimed = _claim(item)
    stored = item.id.get_storage_size()
    if claimed > max(_UNQUESTIONED, _BEST_RATIO * stored):
        raise FormatError(
            path, f"claims {claimed} bytes, of which the file stores {stored}: it is damaged, or "
            f"was never written", item.name,
        )  # fmt: skip


def read_values(source: Source) -> Array:
    """The values, time first. Raises what h5py raises."""
    dataset = source.dataset
    if source.is_empty:
        return _nothing_of(text_attribute(dataset, VALUE_TYPE))
    if source.column is not None:
        values = dataset[:, source.column]
    elif need("h5py", "HDF5").check_string_dtype(dataset.dtype) is not None:
        return _texts(source)
    else:
        values = dataset[()]
    values = np.moveaxis(_native(values), source.axis, 0)
    return np.ascontiguousarray(_decoded(dataset, values))


def _nothing_of(name: str) -> Array:
    """No values of the class of this name, of doubles if it is none of a signal."""
    try:
        kind = np.dtype(name)
    except TypeError:
        kind = np.dtype(float)
    return np.zeros(0, kind if kind.kind in "biufc" else float)


def _native(values: Array) -> Array:
    """In the machine's byte order; half precision, which nothing else here has, as single."""
    if values.dtype.kind == "f" and values.dtype.itemsize == 2:
        return values.astype(np.float32)
    native = values.dtype.newbyteorder("=")
    return values if values.dtype == native else values.astype(native)


def _texts(source: Source) -> Array:
    cells = source.dataset.asstr()[()]
    if source.dataset.dtype == np.dtype("S1") and cells.ndim > 1:  # as netCDF keeps texts
        joined = np.empty(cells.shape[:-1], object)
        for place in np.ndindex(joined.shape):
            joined[place] = "".join(cells[place])
        cells = joined
    return as_texts(np.moveaxis(cells, source.axis, 0))


def _decoded(dataset: Any, values: Array) -> Array:
    """The values that netCDF's attributes mean: fill values are gaps, packed ones are unpacked."""
    if values.dtype.kind not in "iuf":
        return values
    # As bytes, how xarray and this package keep truths, or as bits, as PyTables does for pandas.
    if text_attribute(dataset, "dtype") == "bool" or _is_of_bits(dataset):
        return values.astype(bool)
    fills = [number_attribute(dataset, name) for name in ("_FillValue", "missing_value")]
    missing = np.zeros(values.shape, bool)
    for fill in fills:
        if fill is not None:
            missing |= values == fill
    scale, offset = (number_attribute(dataset, name) for name in ("scale_factor", "add_offset"))
    if scale is not None or offset is not None:
        values = values * (1.0 if scale is None else scale) + (0.0 if offset is None else offset)
    if missing.any():
        values = values.astype(values.dtype if values.dtype.kind == "f" else float)
        values[missing] = np.nan
    return values


# ---- Times ----


def time_source_of(times: Any, name: str) -> str:
    """What the times count: seconds since 1970-01-01 for dates, else the name of the dataset.

    `name` is its name, which takes long to look up.
    """
    if _date_units(times) is not None or _is_pandas_date(times):
        return EPOCH_SOURCE
    own = own_attribute(times, "time_source")
    if isinstance(own, str):
        return own
    units = text_attribute(times, "units")
    return units if " since " in units else name.rpartition("/")[2]


def _is_of_bits(dataset: Any) -> bool:
    h5t = need("h5py", "HDF5").h5t
    return bool(dataset.dtype.itemsize == 1 and dataset.id.get_type().get_class() == h5t.BITFIELD)


def read_times(times: Any) -> Array:
    """The times, (n,); seconds since 1970-01-01 for dates. Raises what h5py raises."""
    values = _native(times[()])
    if _is_pandas_date(times):
        return np.asarray(values / 1e9)
    units = _date_units(times)
    if units is None or units == (1, 0, 0.0):
        return values
    ticks, start, fraction = units
    if ticks > 0:
        return np.asarray(values * float(ticks) + start + fraction)
    return np.asarray(values / float(-ticks) + start + fraction)


def _is_pandas_date(times: Any) -> bool:
    return text_attribute(times, "kind").startswith("datetime64")


def _date_units(times: Any) -> tuple[int, int, float] | None:
    """Of times like "days since 2000-01-01": seconds a count (negative: counts a second), start.

    None for other units, for calendars without leap years and the like, and for dates that the
    standard calendar counts in the Julian way.
    """
    calendar = text_attribute(times, "calendar").lower()
    match = _SINCE.fullmatch(text_attribute(times, "units").strip())
    if match is None or calendar not in _CALENDARS:
        return None
    year, month, day, hour, minute, second = (int(match[k] or 0) for k in range(2, 8))
    if year < 1583 and calendar != "proleptic_gregorian":
        return None
    try:
        moment = datetime(year, month, day, hour, minute, second, tzinfo=timezone.utc)
    except ValueError:
        return None
    offset = timedelta(hours=int(match[10] or 0), minutes=int(match[11] or 0))
    moment += offset if match[9] == "-" else -offset
    start = (moment - EPOCH) // timedelta(seconds=1)
    return _ticks(match[1]), start, float(f"0.{match[8] or 0}")


def _ticks(unit: str) -> int:
    """Seconds in the unit; below a second, how many of it make one, negative."""
    if unit.startswith(("ms", "milli")):
        return -1000
    if unit.startswith(("us", "micro")):
        return -1_000_000
    if unit.startswith("n"):
        return -1_000_000_000
    return {"d": 86400, "h": 3600, "m": 60, "s": 1}[unit[0]]


def is_delicate(source: Source) -> bool:
    """Whether reading the values follows addresses of the file: those of chunks or of texts."""
    items = (source.dataset, source.times.dataset)
    return any(item.chunks is not None or item.dtype.kind == "O" for item in items)
