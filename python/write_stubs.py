#!/usr/bin/python3
"""Writes the type stubs of the host's packages: `write_stubs.py MANUAL FOLDER`.

MANUAL is the file that a module's build writes from its method tables, FOLDER the package vormel of
the build tree. Each form of a method becomes overloads: one for the declared number of outputs, one
for none, one for any other.
"""

from __future__ import annotations

import json
import sys
from collections import defaultdict
from collections.abc import Iterable
from pathlib import Path
from typing import Any

HEADER = '''\
"""The host package {name}. Written by the build; do not edit."""

from collections.abc import Mapping, Sequence
from typing import Any, Literal, NoReturn, Protocol, overload

import numpy as np
from numpy.typing import NDArray

from vormel import HostObject, Object

class _ArrayLike(Protocol):
    def __array__(self) -> NDArray[Any]: ...

'''

# What goes in and comes out, by the kinds of the manual.
INPUTS = {
    "int32": "float | _ArrayLike",
    "double": "float | _ArrayLike",
    "number": "float | _ArrayLike",
    "integer": "int | _ArrayLike",
    "integers": "int | Sequence[int] | _ArrayLike",
    "truth": "bool | _ArrayLike",
    "text": "str | _ArrayLike",
    "structure": "Mapping[str, Any] | Sequence[Mapping[str, Any]] | Object | _ArrayLike",
    "object": "Any",
    "anything": "Any",
}
RESULTS = {
    "int32": "int",
    "double": "np.float64",
    "integer": "np.int32",
    "integers": "np.int32 | NDArray[Any]",
    "truth": "bool",
    "text": "str",
    "structure": "dict[str, Any]",
    "anything": "Any",
}
OPTIONAL = "optional "


def input_type(argument: dict[str, str]) -> str:
    kind = argument["kind"]
    if kind.startswith(OPTIONAL):
        return f"{INPUTS[kind.removeprefix(OPTIONAL)]} | Sequence[Any] | None"
    return INPUTS[kind]


def result_type(results: list[dict[str, str]]) -> str:
    types = [RESULTS[result["kind"]] for result in results]
    if len(types) > 1:
        return f"tuple[{', '.join(types)}]"
    return types[0] if types else "None"


def parameters(form: dict[str, Any]) -> str:
    # Names that begin with two underscores are positional to every checker.
    inputs = [f"__{item['name']}: {input_type(item)}" for item in form["inputs"]]
    return ", ".join(["self", *inputs, "*more: NoReturn"])


def overloads(method: dict[str, Any]) -> Iterable[str]:
    count = len(method["results"])
    declared = result_type(method["results"])
    for form in method["forms"]:
        start = f"    @overload\n    def {method['name']}({parameters(form)}, "
        yield f"{start}nargout: Literal[{count}] = ...) -> {declared}: ..."
        if count:
            yield f"{start}nargout: Literal[0]) -> None: ..."
        yield f"{start}nargout: int) -> Any: ..."


def constructor(method: dict[str, Any]) -> str:
    return f"    def __init__({parameters(method['forms'][0])}, nargout: int = ...) -> None: ..."


def class_stub(cls: dict[str, Any]) -> str:
    name = cls["name"].rpartition(".")[2]
    lines = [f"class {name}(HostObject):"]
    seen = set()
    for method in cls["methods"]:
        if method["name"] in seen:
            continue
        seen.add(method["name"])
        lines.append(f"    # {method['meaning']}")
        lines += [constructor(method)] if method["name"] == name else overloads(method)
    return "\n".join(lines) + "\n"


def main(manual: str, folder: str) -> None:
    packages = defaultdict(list)
    for cls in json.loads(Path(manual).read_text(encoding="utf-8"))["classes"]:
        packages[cls["name"].rpartition(".")[0]].append(cls)
    roots = sorted({name.partition(".")[0] for name in packages})
    contents = "".join(f"from vormel import {root} as {root}\n" for root in roots)
    Path(folder, "_contents.pyi").write_text(contents, encoding="utf-8")
    for name, classes in packages.items():
        parts = name.split(".")
        for depth in range(1, len(parts)):
            parent = Path(folder, *parts[:depth])
            parent.mkdir(parents=True, exist_ok=True)
            inner = parts[depth]
            (parent / "__init__.pyi").write_text(f"from . import {inner} as {inner}\n")
        home = Path(folder, *parts)
        home.mkdir(exist_ok=True)
        stub = HEADER.format(name=name) + "\n".join(map(class_stub, classes))
        (home / "__init__.pyi").write_text(stub, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
