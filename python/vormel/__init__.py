"""Python as the interpreter of the host Vormel.

Importing this package starts the embedded host and loads the module that lies in the package's
folder. What the module registers appears as packages and classes below this one:

    >>> import vormel
    >>> from vormel.Dravik.kvr import SignalRepository, Map
    >>> repo = SignalRepository()
    >>> run = repo.createEmptyRun("Monday", 1)
    >>> repo.getRunName(run)
    'Monday'

Arguments are positional. ``nargout=`` says how many outputs are asked for; without it, as many as
the method declares. No output comes back as None, one as the value, several as a tuple.

One host lives in a process, and one thread at a time calls it: a call while another thread is inside
one is refused with CallError, identifier "Vormel:Busy". Everything is gone when the process ends.
"""

from __future__ import annotations

import atexit as _atexit
import importlib as _importlib
from dataclasses import dataclass as _dataclass
from dataclasses import field as _field
from pathlib import Path as _Path
from typing import Any as _Any

from vormel import _vormel
from vormel._contents import *  # noqa: F403  the packages, for type checkers
from vormel._errors import CallError, Error, MethodError, OutOfMemoryError
from vormel._functions import HostFunctions as _HostFunctions
from vormel._manual import Argument, Failure, Form
from vormel._manual import Manual as _Manual
from vormel._packages import PackageFinder as _PackageFinder
from vormel._vormel import Array, HostObject, Method, Object, __version__

__all__ = [
    "Argument",
    "Array",
    "CallError",
    "Error",
    "Failure",
    "Form",
    "HostObject",
    "Invocation",
    "Method",
    "MethodError",
    "MethodInfo",
    "Object",
    "OutOfMemoryError",
    "__version__",
    "array",
    "delete",
    "dumps",
    "function_handle",
    "functions",
    "invoke",
    "live_arrays",
    "loads",
    "methods",
    "same_instance",
    "timeseries",
]

_module = _Path(__file__).with_name("kvrntob.so")
if not _vormel.has_modules():
    _vormel.load_module(str(_module))
_manual = _Manual()
_manual.add(_module.with_suffix(".json"))
_manual.show_in_help()
_PackageFinder.install()

for _error in (Error, CallError, MethodError, OutOfMemoryError):
    _error.__module__ = __name__

functions = _HostFunctions()
"""The functions that modules call by name, as a mapping from names to callables without arguments.

Setting an entry replaces the host's own function; deleting it puts the host's own back.
"""

# Callables must not be called, nor kept, beyond the end of the interpreter.
_atexit.register(functions.clear)


@_dataclass(frozen=True)
class MethodInfo:
    """One registration of a method.

    name, inputs, outputs   as registered, the last two the type names of the signature
    parameters, results     the same with names
    meaning                 a sentence
    forms                   the ways to call it, each with its inputs and failures in order
    failures                those of all forms, each once

    Where the module brings no manual, all but the first three are empty.
    """

    name: str
    inputs: list[str]
    outputs: list[str]
    parameters: list[Argument] = _field(default_factory=list)
    results: list[Argument] = _field(default_factory=list)
    meaning: str = ""
    forms: list[Form] = _field(default_factory=list)
    failures: list[Failure] = _field(default_factory=list)


@_dataclass(frozen=True)
class Invocation:
    """A call as the descriptor saw it.

    count   the output count as the body left it
    cells   max(nargout, number of declared outputs) entries: a vormel.Array for an "any" output,
            an int for "int32 scalar", a bool for "logical scalar", None for a cell that the body
            did not write
    """

    count: int
    cells: list[_Any]


def methods(cls: type[HostObject]) -> list[MethodInfo]:
    """List the registrations of a host class in their order.

    A name that is registered twice is listed twice; the constructor is one of the methods.
    """
    registered = _vormel.registered_methods(cls)
    infos = []
    for declared, entry in zip(registered, _manual.entries(_full_name(cls), registered)):
        info = MethodInfo(*declared)
        if entry:
            info = MethodInfo(
                *declared,
                list(entry.parameters),
                list(entry.results),
                entry.meaning,
                list(entry.forms),
                entry.failures,
            )
        infos.append(info)
    return infos


def _full_name(cls: type[HostObject]) -> str:
    """The host's name of the host class that `cls` is, or that it is derived from."""
    host = next(base for base in cls.__mro__ if HostObject in base.__bases__)
    return f"{host.__module__}.{host.__name__}".removeprefix("vormel.")


def invoke(
    obj: HostObject | type[HostObject], name: str, *args: _Any, nargout: int = 1
) -> Invocation:
    """Call a method of `obj` and return the output count and the cells as the body left them.

    `obj` may also be a host class: nothing goes before `args` then.
    """
    return Invocation(*_vormel.invoke(obj, name, args, nargout))


def delete(obj: HostObject) -> None:
    """End a host object. Its handles stay, and are dead; nothing happens to one that has ended."""
    _vormel.end_object(obj)


def same_instance(one: HostObject, other: HostObject) -> bool:
    """Return whether two host objects stand for the same native instance of their module.

    Objects that share a store are the same instance, also through different handles. False if one
    of them has ended.

        >>> import vormel
        >>> from vormel.Dravik.kvr import SignalRepository
        >>> one = SignalRepository()
        >>> vormel.same_instance(one, SignalRepository())
        True
        >>> SignalRepository().clean()
        >>> vormel.same_instance(one, SignalRepository())
        False
    """
    return _vormel.same_instance(one, other)


def array(value: _Any, cls: str | None = None) -> Array:
    """Make a host array of a Python value.

    `cls` names the host class where the value should not decide: a numeric class, "logical",
    "char", "cell", "struct" or "function_handle". Numbers must fit the class. Empty lists give
    0-by-0 arrays, nested lists of equal lengths matrices, and NumPy object arrays cells of their
    shape.
    """
    return _vormel.make_array(value, cls)


def timeseries(data: _Any, time: _Any, **properties: _Any) -> Object:
    """Make a value object of class "timeseries" with Data, Time and whatever else is named."""
    for name in ("Data", "Time"):
        if name in properties:
            raise TypeError(f"timeseries() got multiple values for {name}")
    return _vormel.make_value_object("timeseries", {"Data": data, "Time": time, **properties})


def function_handle(name: str) -> Array:
    """Make a function handle value."""
    return _vormel.make_array(name, "function_handle")


def dumps(value: _Any) -> bytes:
    """Return a value as bytes: those in which the host keeps it in a variable file, with a sum.

    The value may be anything that goes into a call, or a vormel.Array. Class, shape, complexity and
    content are kept; equal arrays give equal bytes.

        >>> import vormel
        >>> data = vormel.dumps({"speed": [4.5, 7.0]})
        >>> vormel.loads(data).to_python()
        {'speed': array([[4.5, 7. ]])}

    vormel.Error is raised for what a variable file cannot hold: handles of objects and other opaque
    arrays, arrays nested deeper than 400 levels, names beyond 50,000 bytes.
    """
    return _vormel.dump_bytes(value)


def loads(data: _Any) -> Array:
    """Return the vormel.Array whose bytes these are, as dumps() made them.

    `data` is any bytes-like object. Nothing in it is trusted: bytes that are damaged, crafted or of
    another format raise vormel.Error, and what is allocated stays below a small multiple of their
    number.

        >>> import vormel
        >>> vormel.loads(vormel.dumps("bus"))
        <vormel.Array 1-by-3 char>
        >>> vormel.loads(b"something else")
        Traceback (most recent call last):
        vormel.Error: the bytes are not those of a value
    """
    return _vormel.load_bytes(data)


def live_arrays() -> int:
    """Count the host arrays that are alive, parts of other arrays included."""
    return _vormel.live_arrays()


def __getattr__(name: str) -> _Any:
    if name in _vormel.package_names(""):
        return _importlib.import_module(f"{__name__}.{name}")
    packages = ", ".join(sorted(_vormel.package_names("")))
    raise AttributeError(
        f"module {__name__!r} has no attribute {name!r}; packages of the host: {packages}"
    )


def __dir__() -> list[str]:
    return sorted({*globals(), *_vormel.package_names("")})
