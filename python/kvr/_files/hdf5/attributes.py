"""Attributes of HDF5 objects as plain Python values."""

from __future__ import annotations

from typing import Any

import numpy as np

# What the library, netCDF and pandas keep for themselves, and what is honoured on reading.
_NOT_METADATA = {
    "CLASS", "NAME", "DIMENSION_LIST", "REFERENCE_LIST", "DIMENSION_LABELS", "units", "dtype",
    "_FillValue", "missing_value", "scale_factor", "add_offset", "TITLE", "VERSION", "FLAVOR",
    "transposed", "value_type", "shape",
}  # fmt: skip
_OWN = "kvr_"
_MOST = 1000  # elements of an attribute that is taken into the metadata


def attribute(item: Any, name: str) -> Any:
    """A text, a number, or an array (n,) of numbers; None if there is none of such a kind."""
    if name not in item.attrs:
        return None
    try:
        value = item.attrs[name]
    except (OSError, ValueError, TypeError, RuntimeError, KeyError):
        return None  # of a class that h5py does not read
    if isinstance(value, np.ndarray) and value.shape == (1,):
        value = value[0]
    if isinstance(value, bytes):
        value = value.decode("utf-8", "replace")
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, np.ndarray):
        return value if value.ndim == 1 and value.dtype.kind in "biuf" else None
    return value if isinstance(value, (str, bool, int, float, complex)) else None


def text_attribute(item: Any, name: str) -> str:
    """The text of an attribute; "" if it has none."""
    value = attribute(item, name)
    return value if isinstance(value, str) else ""


def number_attribute(item: Any, name: str) -> float | int | None:
    value = attribute(item, name)
    return value if isinstance(value, (int, float)) else None


def own_attribute(item: Any, name: str) -> Any:
    """What this package wrote of a signal or run; None if nothing."""
    return attribute(item, _OWN + name)


def set_own(item: Any, name: str, value: Any) -> None:
    item.attrs[_OWN + name] = value


def metadata_of(item: Any) -> dict[str, Any] | None:
    """The unit under "unit", and the other plain attributes."""
    found: dict[str, Any] = {}
    unit = text_attribute(item, "units")
    if unit:
        found["unit"] = unit
    for name in item.attrs:
        if is_metadata_name(name):
            value = attribute(item, name)
            if value is not None and np.size(value) <= _MOST:
                found[name] = value
    return found or None


def is_metadata_name(name: str) -> bool:
    """Whether an attribute of this name is metadata to be read back as such."""
    return bool(name) and name not in _NOT_METADATA and not name.startswith((_OWN, "_Netcdf4"))
