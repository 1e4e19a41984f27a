"""The typed map of the host as a mapping of Python."""

from __future__ import annotations

import importlib
import math
import operator
from collections.abc import Callable, Iterable, Iterator, Mapping, MutableMapping
from typing import Any

import numpy as np
import vormel

from kvr._base.names import listed

_HostMap: Any = importlib.import_module("vormel.Dravik.kvr").Map

_INTEGERS = ("int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64")
_NUMBERS = ("double", "single", "logical", *_INTEGERS)
KEY_TYPES = ("char", *_NUMBERS)
VALUE_TYPES = ("any", "char", *_NUMBERS)


class Map(MutableMapping[Any, Any]):
    """A mapping with keys of one type and values of one type, in the order of insertion.

    Map(data, key_type="char", value_type="any", **items) fills it as a dict would be filled.

    key_type    "char", "double", "single", "logical" or an integer class such as "int32";
                "logical" and the integers of up to 16 bits are kept as "double"
    value_type  the same, or "any": whatever the host can keep; None and an empty list come back
                as None

    A key or value that its type would change, by rounding or at its limits, is an OverflowError;
    one of another kind is a TypeError, NaN as a key a ValueError. 64-bit integers pass through a
    double on their way: most beyond 2**53 are refused. Reaching an entry takes constant time,
    deleting one is linear in the number of entries.

    >>> prices = kvr.Map(copper=2.1, oil=48.3, value_type="double")
    >>> prices["gold"] = 1322
    >>> prices
    Map({'copper': 2.1, 'oil': 48.3, 'gold': 1322.0}, value_type='double')
    >>> prices.item_at(1)
    ('oil', 48.3)
    """

    __slots__ = ("_host", "_key", "_value", "__weakref__")
    __hash__ = None  # type: ignore[assignment]

    def __init__(
        self,
        data: Mapping[Any, Any] | Iterable[tuple[Any, Any]] = (),
        /,
        *,
        key_type: str = "char",
        value_type: str = "any",
        **items: Any,
    ) -> None:
        _require_type("key_type", key_type, KEY_TYPES)
        _require_type("value_type", value_type, VALUE_TYPES)
        self._host = _HostMap(_sample(key_type), _sample(value_type))
        self._key = _converter("key", self.key_type)
        self._value = _converter("value", value_type)
        self.update(data, **items)

    @property
    def key_type(self) -> str:
        """The type of the keys, as the host's map names it."""
        return str(self._host.getKeyType())

    @property
    def value_type(self) -> str:
        """The type of the values, as the host's map names it."""
        return str(self._host.getValueType())

    def __getitem__(self, key: Any) -> Any:
        return self._out(self._host.getDataByKey(self._known(key)))

    def __setitem__(self, key: Any, value: Any) -> None:
        self._host.insert(self._new_key(key), self._value(value))

    def __delitem__(self, key: Any) -> None:
        self._host.deleteDataByKey(self._known(key))

    def __contains__(self, key: object) -> bool:
        found = self._sought(key)
        return found is not None and bool(self._host.isKey(found))

    def __len__(self) -> int:
        return int(self._host.getCount())

    def __iter__(self) -> Iterator[Any]:
        return self._walk(range(1, len(self) + 1))

    def __reversed__(self) -> Iterator[Any]:
        return self._walk(range(len(self), 0, -1))

    def _walk(self, places: range) -> Iterator[Any]:
        for place in places:
            if len(self) != len(places):
                raise RuntimeError("the map changed its size during iteration")
            yield _plain(self._host.getKeyByIndex(place))

    def item_at(self, index: int) -> tuple[Any, Any]:
        """The key and value at a position from 0, or from the end if negative. IndexError.

        >>> kvr.Map(a=1, b=2).item_at(-1)[0]
        'b'
        """
        count = len(self)
        place = operator.index(index)
        if not -count <= place < count:
            raise IndexError(f"the map has {count} entries, none at {index}")
        host_place = place % count + 1
        key = _plain(self._host.getKeyByIndex(host_place))
        return key, self._out(self._host.getDataByIndex(host_place))

    def popitem(self) -> tuple[Any, Any]:
        """Remove the last entry and return its key and value. KeyError if there is none.

        >>> kvr.Map(oil=48.3, gold=1322.0).popitem()
        ('gold', 1322.0)
        """
        if not self:
            raise KeyError("popitem(): the map is empty")
        item = self.item_at(-1)
        self._host.deleteDataByIndex(len(self))
        return item

    def clear(self) -> None:
        """Remove all entries; the types stay.

        >>> prices = kvr.Map(oil=48.3)
        >>> prices.clear()
        >>> len(prices)
        0
        """
        self._host.Clear()

    def copy(self) -> Map:
        """Another map with the same types and entries.

        >>> kvr.Map(oil=48.3, value_type="double").copy()
        Map({'oil': 48.3}, value_type='double')
        """
        return Map(self, key_type=self.key_type, value_type=self.value_type)

    __copy__ = copy

    def __reduce__(self) -> tuple[Any, ...]:
        return _made_of, (list(self.items()), self.key_type, self.value_type)

    def __or__(self, other: Any) -> Map:
        if not isinstance(other, Mapping):
            return NotImplemented
        merged = self.copy()
        merged.update(other)
        return merged

    def __ror__(self, other: Any) -> Map:
        if not isinstance(other, Mapping):
            return NotImplemented
        merged = Map(other, key_type=self.key_type, value_type=self.value_type)
        merged.update(self)
        return merged

    def __ior__(self, other: Any) -> Map:
        self.update(other)
        return self

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Mapping):
            return NotImplemented
        if len(self) != len(other):
            return False
        return all(key in other and _equal(value, other[key]) for key, value in self.items())

    def __repr__(self) -> str:
        entries = ", ".join(f"{key!r}: {value!r}" for key, value in self.items())
        shown = [f"{{{entries}}}"]
        if self.key_type != "char":
            shown.append(f"key_type={self.key_type!r}")
        if self.value_type != "any":
            shown.append(f"value_type={self.value_type!r}")
        return f"Map({', '.join(shown)})"

    def _out(self, value: Any) -> Any:
        if self.value_type != "any":
            return _plain(value)
        nothing = isinstance(value, np.ndarray) and value.shape == (0, 0) and value.dtype == float
        return None if nothing else value

    def _new_key(self, key: Any) -> Any:
        if isinstance(key, (float, np.floating)) and math.isnan(key):
            raise ValueError("NaN is not a key: it equals nothing")
        return self._key(key)

    def _sought(self, key: object) -> Any:
        """The key as the host takes it; None if no map of this type can hold it."""
        hash(key)  # TypeError for what can be no key of any mapping
        try:
            return self._new_key(key)
        except (TypeError, ValueError, OverflowError):
            return None

    def _known(self, key: Any) -> Any:
        found = self._sought(key)
        if found is None or not self._host.isKey(found):
            raise KeyError(key)
        return found


def _made_of(items: list[tuple[Any, Any]], key_type: str, value_type: str) -> Map:
    """A map that was pickled, or copied with its values."""
    return Map(items, key_type=key_type, value_type=value_type)


def _require_type(name: str, given: str, known: tuple[str, ...]) -> None:
    if given not in known:
        raise ValueError(f"{name} must be {listed(known, 'or')}, not {given!r}")


def _sample(host_class: str) -> Any:
    """A value from which the host's map learns a type."""
    if host_class == "any":
        return {}
    return vormel.array("x" if host_class == "char" else 1, host_class)


def _plain(value: Any) -> Any:
    return value.item() if isinstance(value, np.generic) else value


def _equal(one: Any, other: Any) -> bool:
    if isinstance(one, np.ndarray) or isinstance(other, np.ndarray):
        return bool(np.array_equal(one, other))
    return bool(one == other)


def _converter(what: str, host_class: str) -> Callable[[Any], Any]:
    """A function that brings a key or value into its type. It raises TypeError, OverflowError."""
    if host_class == "any":
        return lambda value: value
    if host_class == "char":
        return lambda value: _character_row(what, value)
    return lambda value: _exactly(what, value, host_class)


def _character_row(what: str, value: Any) -> str:
    if not isinstance(value, str):
        raise TypeError(f"a {what} of this map is a text, not {value!r}")
    return str(value)


def _exactly(what: str, value: Any, host_class: str) -> Any:
    if not isinstance(value, (int, float, np.integer, np.floating, np.bool_)):
        raise TypeError(f"a {what} of this map is a number, not {value!r}")
    number = value.item() if isinstance(value, np.generic) else value
    if host_class in ("double", "single"):
        kept = _as_float(number, host_class)
        if kept == number or (kept != kept and number != number):
            return vormel.array(kept, host_class)
    elif math.isfinite(_as_float(number, "double")):
        limits = (0, 1) if host_class == "logical" else _limits(host_class)
        # What a double cannot hold changes on the way, unless the limit of the type catches it.
        passed = min(max(int(_as_float(number, "double")), limits[0]), limits[1])
        if passed == number:
            return vormel.array(bool(passed) if host_class == "logical" else passed, host_class)
    raise OverflowError(f"the {what} {value!r} does not fit {host_class} without a change")


def _as_float(number: float, host_class: str) -> float:
    try:
        value = float(number)
    except OverflowError:
        return math.inf
    with np.errstate(over="ignore"):
        return float(np.float32(value)) if host_class == "single" else value


def _limits(host_class: str) -> tuple[int, int]:
    info = np.iinfo(host_class)
    return int(info.min), int(info.max)
