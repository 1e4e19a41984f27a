"""The manual that a module brings: names, meanings, forms and failures of its methods.

A module NAME.so may lie beside a file NAME.json, which its build made from the module's own tables.
Everything here works without it, and nothing in it is trusted: an entry that does not agree with the
signature that the module registered is not used.
"""

from __future__ import annotations

import inspect
import json
import keyword
import textwrap
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import Any, TypeVar

from vormel import _vormel

_T = TypeVar("_T")
_WIDTH = 96


@dataclass(frozen=True)
class Argument:
    """A parameter or result of a method.

    type   of the signature, such as "int32 scalar" or "any"
    kind   what the method takes or gives under that type, such as "text" or "structure"
    """

    name: str
    type: str
    kind: str


@dataclass(frozen=True)
class Failure:
    """A failure that a method raises: the class, such as "NON_EXISTENT", and its word if it has one."""

    cls: str
    word: str | None

    def __str__(self) -> str:
        return self.cls if self.word is None else f'{self.cls} "{self.word}"'


@dataclass(frozen=True)
class Form:
    """One way to call a method: its inputs after the object, and its failures in order."""

    inputs: tuple[Argument, ...]
    failures: tuple[Failure, ...]


@dataclass(frozen=True)
class Entry:
    """What the manual says of one registration."""

    name: str
    family: str
    meaning: str
    parameters: tuple[Argument, ...]
    results: tuple[Argument, ...]
    counted: bool  # other numbers of inputs than those of the forms fail with INVALID_SIGNATURE
    forms: tuple[Form, ...]

    @property
    def failures(self) -> list[Failure]:
        """The failures of all forms, each once."""
        all_of_them = [failure for form in self.forms for failure in form.failures]
        if self.counted:
            all_of_them.append(Failure("INVALID_SIGNATURE", None))
        return list(dict.fromkeys(all_of_them))

    def call(self, form: Form) -> str:
        """The form as it is written, with the names of the results."""
        results = ", ".join(result.name for result in self.results)
        text = f"{self.name}({', '.join(item.name for item in form.inputs)})"
        return f"{text} -> {results}" if results else text


# ---- Reading ----


def _checked(value: Any, kind: type[_T]) -> _T:
    if not isinstance(value, kind):
        raise TypeError(f"{value!r} is no {kind.__name__}")
    return value


def _list(value: Any, make: Callable[[Any], _T]) -> tuple[_T, ...]:
    return tuple(make(item) for item in _checked(value, list))


def _argument(data: Any) -> Argument:
    name = _checked(data["name"], str)
    if not name.isidentifier() or keyword.iskeyword(name):
        raise ValueError(f"{name!r} cannot name a parameter")
    return Argument(name, _checked(data["type"], str), _checked(data["kind"], str))


def _failure(data: Any) -> Failure:
    word = data["word"]
    return Failure(_checked(data["class"], str), None if word is None else _checked(word, str))


def _form(data: Any) -> Form:
    return Form(_list(data["inputs"], _argument), _list(data["failures"], _failure))


def _entry(data: Any) -> Entry:
    return Entry(
        _checked(data["name"], str),
        _checked(data["family"], str),
        _checked(data["meaning"], str),
        _list(data["inputs"], _argument),
        _list(data["results"], _argument),
        _checked(data["counted"], bool),
        _list(data["forms"], _form),
    )


def read(path: Path) -> dict[str, tuple[Entry, ...]]:
    """Return the entries of a manual by the full names of its classes.

    A file that is not there or is damaged gives none.
    """
    try:
        classes = json.loads(path.read_text(encoding="utf-8"))["classes"]
        return {
            _checked(cls["name"], str): _list(cls["methods"], _entry)
            for cls in _checked(classes, list)
        }
    except (OSError, ValueError, LookupError, TypeError, RecursionError):
        return {}


# ---- Showing ----


def _documentation(entry: Entry) -> str:
    lines = textwrap.wrap(entry.meaning, _WIDTH) + [""]
    for form in entry.forms:
        lines.append(entry.call(form))
        failures = ", ".join(map(str, form.failures)) or "nothing of its own"
        lines += textwrap.wrap(
            failures, _WIDTH, initial_indent="    raises  ", subsequent_indent=" " * 12
        )
    if entry.counted:
        lines.append("Any other number of inputs raises INVALID_SIGNATURE.")
    shown = {item for form in entry.forms for item in form.inputs} | set(entry.results)
    width = max((len(item.name) for item in shown), default=0)
    lines.append("")
    for item in sorted(shown, key=lambda one: (one in entry.results, one.name)):
        under = f" ({item.kind})" if item.type == "any" else ""
        lines.append(f"{item.name:{width}}  {item.type}{under}")
    return "\n".join(lines).rstrip()


def _signature(entry: Entry) -> inspect.Signature:
    """The inputs of the first form, and what else a call takes."""
    names = ["self", *(item.name for item in entry.forms[0].inputs)]
    parameters = [inspect.Parameter(name, inspect.Parameter.POSITIONAL_ONLY) for name in names]
    parameters.append(inspect.Parameter("more", inspect.Parameter.VAR_POSITIONAL))
    count = len(entry.results)
    parameters.append(inspect.Parameter("nargout", inspect.Parameter.KEYWORD_ONLY, default=count))
    return inspect.Signature(parameters)


class Manual:
    """The entries of all classes, and the methods of classes as they are shown."""

    def __init__(self) -> None:
        self._entries: dict[str, tuple[Entry, ...]] = {}

    def add(self, path: Path) -> None:
        """Read a module's manual."""
        self._entries.update(read(path))

    def entries(self, full_name: str, registered: list[Any]) -> list[Entry | None]:
        """What the manual says of a class's registrations: None where it says nothing that fits."""
        known = {entry.name: entry for entry in self._entries.get(full_name, ())}
        found: list[Entry | None] = []
        for name, inputs, outputs in registered:
            entry = known.get(name)
            fits = (
                entry is not None
                and entry.forms
                and [item.type for item in entry.parameters] == inputs
                and [item.type for item in entry.results] == outputs
            )
            found.append(entry if fits else None)
        return found

    def of_method(self, method: _vormel.Method) -> Entry | None:
        """What the manual says of a method: None if it is unknown or the name is ambiguous."""
        cls, _, name = method.__qualname__.rpartition(".")
        owners = [full for full in self._entries if full.rpartition(".")[2] == cls]
        if len(owners) != 1:
            return None
        registered = _vormel.registered_methods(_vormel.host_class(owners[0]))
        entries = self.entries(owners[0], registered)
        return next((entry for entry in entries if entry and entry.name == name), None)

    def show_in_help(self) -> None:
        """Let help() and inspect.signature() of methods show the names and meanings."""
        declared_doc = vars(_vormel.Method)["__doc__"]

        def documentation(method: _vormel.Method) -> Any:
            entry = self.of_method(method)
            declared = declared_doc.__get__(method)
            return f"{_documentation(entry)}\n\n{declared}" if entry else declared

        def signature(method: _vormel.Method) -> inspect.Signature:
            entry = self.of_method(method)
            if entry is None:
                raise AttributeError("__signature__")  # the text signature of the extension counts
            return _signature(entry)

        # The type belongs to the extension, which knows nothing of manuals.
        setattr(_vormel.Method, "__doc__", property(documentation))
        setattr(_vormel.Method, "__signature__", property(signature))
