"""Tolerances and synchronisation options, as values."""

from __future__ import annotations

import math
from collections.abc import Mapping
from typing import Any, Final, TypeVar

METHODS: Final = ("union", "intersection", "uniform")
INTERPOLATIONS: Final = ("zoh", "linear")


_Any_Settings = TypeVar("_Any_Settings", bound="_Settings")


class _Settings:
    """A frozen record, equal by value; NaN equals NaN. Where it came from has no part in that."""

    __slots__ = ("_fields", "_inherited")
    _names: tuple[tuple[str, str], ...] = ()  # attribute, field of the store's structure

    _fields: dict[str, Any]
    _inherited: bool

    @classmethod
    def _make(cls, fields: Mapping[str, Any], inherited: bool = False) -> Any:
        made = object.__new__(cls)
        object.__setattr__(made, "_fields", dict(fields))
        object.__setattr__(made, "_inherited", inherited)
        return made

    @classmethod
    def _from_store(cls, structure: Mapping[str, Any], inherited: bool = False) -> Any:
        """Made of the store's structure, which names its fields in its own way."""
        fields = {}
        for name, field in cls._names:
            value = structure[field]
            fields[name] = value if isinstance(value, str) else value.item()
        return cls._make(fields, inherited)

    def _as_inherited(self: _Any_Settings) -> _Any_Settings:
        """The same settings, marked as those of the run."""
        made: _Any_Settings = self._make(self._fields, inherited=True)
        return made

    def to_dict(self) -> dict[str, Any]:
        """The fields under the names of the store's structure, in its order.

        >>> kvr.Sync("uniform", interval=0.5).to_dict()["UniformTimeInterval"]
        0.5
        """
        return {field: self._fields[name] for name, field in self._names}

    def to_fields(self) -> dict[str, Any]:
        """The fields under the names of the attributes.

        >>> kvr.Tolerance(relative=0.01).to_fields()["relative"]
        0.01
        """
        return dict(self._fields)

    @property
    def inherited(self) -> bool:
        """Whether these came from the run of the signal that they were read from."""
        return self._inherited

    def __setattr__(self, name: str, value: Any) -> None:
        raise AttributeError(f"{type(self).__name__} is frozen: make another one")

    def __delattr__(self, name: str) -> None:
        raise AttributeError(f"{type(self).__name__} is frozen: make another one")

    def _key(self) -> tuple[Any, ...]:
        values = self._fields.values()
        return tuple("NaN" if isinstance(v, float) and math.isnan(v) else v for v in values)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, type(self)):
            return NotImplemented
        return bool(self._key() == other._key())

    def __hash__(self) -> int:
        return hash((type(self), self._key()))

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore, (type(self), self._fields, self._inherited)


def _restore(cls: type[_Settings], fields: dict[str, Any], inherited: bool) -> Any:
    return cls._make(fields, inherited)


def number(name: str, value: Any) -> float:
    """The number as a double; a whole number beyond the largest double as infinity."""
    try:
        if isinstance(value, (str, bytes, bytearray)):  # float() would read them
            raise TypeError
        return float(value)
    except OverflowError:
        return math.inf if value > 0 else -math.inf
    except (TypeError, ValueError):
        raise TypeError(f"{name} must be a number, not {value!r:.80}") from None


def _text(name: str, value: Any) -> str:
    if not isinstance(value, str):
        raise TypeError(f"{name} must be a text, not {value!r}")
    if "\0" in value:
        raise ValueError(f"{name} has a NUL at position {value.index(chr(0))}: {value!r}")
    return value


class Tolerance(_Settings):
    """How far a value may be from that of the baseline; any numbers are taken.

    ``Tolerance(absolute, relative)`` allows ``max(absolute, relative * |baseline|)`` at every
    instant. ``Tolerance.window`` allows an amount that changes in steps, between two times only.
    ``Tolerance.function`` asks a function registered in ``kvr.functions``.

    type               0, 1 or 2, in the order above
    absolute, relative  of type 0: in the unit of the signal; as a fraction of the baseline
    start, end, step   of type 1: in the unit of the time; a step of 0 changes nothing
    initial_absolute, absolute_step, initial_relative, relative_step
                       of type 1: the amounts in the first step, and what each further step adds
    function_name      of type 2
    inherited          whether it was read from a signal that has its run's; not compared

    >>> kvr.Tolerance(relative=0.01)
    Tolerance(absolute=0.0, relative=0.01)
    >>> kvr.Tolerance(relative=0.01) == kvr.Tolerance(0, 0.01)
    True
    """

    __slots__ = ()
    _names = (
        ("type", "toleranceType"),
        ("absolute", "absolute"),
        ("relative", "relative"),
        ("start", "timeStart"),
        ("end", "timeEnd"),
        ("step", "timeStep"),
        ("initial_absolute", "initAbsTolVal"),
        ("absolute_step", "absStep"),
        ("initial_relative", "initRelTolVal"),
        ("relative_step", "relStep"),
        ("function_name", "fcnCall"),
    )
    _defaults = {name: 0.0 for name, _ in _names} | {"type": 0, "function_name": ""}

    def __new__(cls, absolute: float = 0, relative: float = 0) -> Tolerance:
        return cls._of(0, absolute=absolute, relative=relative)

    @classmethod
    def _of(cls, kind: int, **numbers: Any) -> Tolerance:
        given = {name: number(name, value) for name, value in numbers.items()}
        made: Tolerance = cls._make(cls._defaults | given | {"type": kind})
        return made

    @classmethod
    def window(
        cls,
        start: float,
        end: float,
        step: float = 0,
        absolute: float = 0,
        absolute_step: float = 0,
        relative: float = 0,
        relative_step: float = 0,
    ) -> Tolerance:
        """A tolerance from `start` to `end` that changes every `step`; other times are not judged.

        In step k, counted from 0, it allows ``max(absolute + k * absolute_step, (relative + k *
        relative_step) * |baseline|)``.

        >>> kvr.Tolerance.window(0, 10, step=1, absolute=0.5, absolute_step=0.1).initial_absolute
        0.5
        """
        return cls._of(
            1,
            start=start,
            end=end,
            step=step,
            initial_absolute=absolute,
            absolute_step=absolute_step,
            initial_relative=relative,
            relative_step=relative_step,
        )

    @classmethod
    def function(cls, name: str) -> Tolerance:
        """The tolerance that the function of this name in ``kvr.functions`` returns.

        >>> kvr.Tolerance.function("settling").function_name
        'settling'
        """
        fields = cls._defaults | {"type": 2, "function_name": _text("name", name)}
        made: Tolerance = cls._make(fields)
        return made

    @property
    def type(self) -> int:
        """0 for absolute and relative, 1 for a window, 2 for a function."""
        return int(self._fields["type"])

    @property
    def absolute(self) -> float:
        """Of type 0: the allowed difference, in the unit of the signal."""
        return float(self._fields["absolute"])

    @property
    def relative(self) -> float:
        """Of type 0: the allowed difference as a fraction of the baseline."""
        return float(self._fields["relative"])

    @property
    def start(self) -> float:
        """Of type 1: the first time that is judged."""
        return float(self._fields["start"])

    @property
    def end(self) -> float:
        """Of type 1: the last time that is judged."""
        return float(self._fields["end"])

    @property
    def step(self) -> float:
        """Of type 1: after how much time the amounts change; 0 for never."""
        return float(self._fields["step"])

    @property
    def initial_absolute(self) -> float:
        """Of type 1: the absolute amount in the first step."""
        return float(self._fields["initial_absolute"])

    @property
    def absolute_step(self) -> float:
        """Of type 1: what each further step adds to the absolute amount."""
        return float(self._fields["absolute_step"])

    @property
    def initial_relative(self) -> float:
        """Of type 1: the fraction of the baseline in the first step."""
        return float(self._fields["initial_relative"])

    @property
    def relative_step(self) -> float:
        """Of type 1: what each further step adds to the fraction."""
        return float(self._fields["relative_step"])

    @property
    def function_name(self) -> str:
        """Of type 2: the name in ``kvr.functions``."""
        return str(self._fields["function_name"])

    def __repr__(self) -> str:
        if self.type == 0:
            return f"Tolerance(absolute={self.absolute!r}, relative={self.relative!r})"
        if self.type == 2:
            return f"Tolerance.function({self.function_name!r})"
        return (
            f"Tolerance.window({self.start!r}, {self.end!r}, step={self.step!r}, "
            f"absolute={self.initial_absolute!r}, absolute_step={self.absolute_step!r}, "
            f"relative={self.initial_relative!r}, relative_step={self.relative_step!r})"
        )


class Sync(_Settings):
    """At which instants two signals are compared, and how values between samples are made.

    method         "union", "intersection" or "uniform"
    interp         "zoh" (the last sample holds) or "linear"
    interval       of "uniform": the step, in the unit of the time
    type           0; 1 if a function registered in ``kvr.functions`` gives the instants
    function_name  that function
    inherited      whether it was read from a signal that has its run's; not compared

    Unknown words raise ValueError; any interval is taken.

    >>> kvr.Sync("uniform", interval=0.1)
    Sync('uniform', interp='zoh', interval=0.1)
    """

    __slots__ = ()
    _names = (
        ("method", "SyncMethod"),
        ("interp", "InterpMethod"),
        ("interval", "UniformTimeInterval"),
        ("function_name", "customSyncMethod"),
        ("type", "syncType"),
    )

    def __new__(cls, method: str = "union", interp: str = "zoh", interval: float = 0.01) -> Sync:
        return cls._of(method, interp, number("interval", interval), "", 0)

    @classmethod
    def _of(cls, method: str, interp: str, interval: float, name: str, kind: int) -> Sync:
        made: Sync = cls._make(
            {
                "method": _word("method", method, METHODS),
                "interp": _word("interp", interp, INTERPOLATIONS),
                "interval": interval,
                "function_name": name,
                "type": kind,
            }
        )
        return made

    @classmethod
    def custom(cls, name: str, interp: str = "zoh") -> Sync:
        """The instants that the function of this name in ``kvr.functions`` returns.

        >>> kvr.Sync.custom("edges").function_name
        'edges'
        """
        return cls._of("union", interp, 0.01, _text("name", name), 1)

    @property
    def method(self) -> str:
        """How the instants are chosen: 'union', 'intersection' or 'uniform'."""
        return str(self._fields["method"])

    @property
    def interp(self) -> str:
        """How values between samples are made: 'zoh' or 'linear'."""
        return str(self._fields["interp"])

    @property
    def interval(self) -> float:
        """Of the method 'uniform': the step, in the unit of the time."""
        return float(self._fields["interval"])

    @property
    def function_name(self) -> str:
        """Of type 1: the name in ``kvr.functions``."""
        return str(self._fields["function_name"])

    @property
    def type(self) -> int:
        """1 if a registered function gives the instants, else 0."""
        return int(self._fields["type"])

    def __repr__(self) -> str:
        if self.type == 1:
            return f"Sync.custom({self.function_name!r}, interp={self.interp!r})"
        return f"Sync({self.method!r}, interp={self.interp!r}, interval={self.interval!r})"


def _word(name: str, value: Any, words: tuple[str, ...]) -> str:
    if value not in words:
        choices = ", ".join(map(repr, words[:-1])) + f" or {words[-1]!r}"
        raise ValueError(f"{name} must be {choices}, not {value!r}")
    return str(value)
