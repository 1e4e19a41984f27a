"""Packages that modules registered with the host, as Python modules.

The package Dravik.kvr of the host is the module vormel.Dravik.kvr, with its sub-packages and its
classes as attributes. Nothing is pulled from a module of the host before it is asked for.
"""

from __future__ import annotations

import importlib
import sys
from collections.abc import Sequence
from importlib.abc import Loader, MetaPathFinder
from importlib.machinery import ModuleSpec
from types import ModuleType
from typing import Any

from vormel import _vormel

_PREFIX = "vormel."


class HostPackage(ModuleType):
    """A package of the host."""

    @property
    def _full_name(self) -> str:
        return self.__name__.removeprefix(_PREFIX)

    def __getattr__(self, name: str) -> Any:
        if name in _vormel.package_names(self._full_name):
            return importlib.import_module(f"{self.__name__}.{name}")
        if name in _vormel.class_names(self._full_name):
            found = _vormel.host_class(f"{self._full_name}.{name}")
            setattr(self, name, found)
            return found
        held = ", ".join(sorted(self._contents()))
        raise AttributeError(
            f"the host package {self._full_name!r} holds no {name!r}; it holds {held}"
        )

    def __dir__(self) -> list[str]:
        return sorted({*super().__dir__(), *self._contents()})

    def _contents(self) -> list[str]:
        return _vormel.package_names(self._full_name) + _vormel.class_names(self._full_name)


class PackageFinder(MetaPathFinder, Loader):
    """Finds the host's packages for the import statement."""

    @classmethod
    def install(cls) -> None:
        """Put a finder on sys.meta_path, once.

        It stands first: stubs of host packages lie in folders of the same names.
        """
        if not any(type(finder).__qualname__ == cls.__qualname__ for finder in sys.meta_path):
            sys.meta_path.insert(0, cls())

    def find_spec(
        self,
        fullname: str,
        path: Sequence[str] | None = None,
        target: ModuleType | None = None,
    ) -> ModuleSpec | None:
        if not fullname.startswith(_PREFIX):
            return None
        parent, _, name = fullname.removeprefix(_PREFIX).rpartition(".")
        try:
            known = name in _vormel.package_names(parent)
        except KeyError:
            return None
        return ModuleSpec(fullname, self, origin="host", is_package=True) if known else None

    def create_module(self, sought: ModuleSpec) -> ModuleType:
        full_name = sought.name.removeprefix(_PREFIX)
        doc = _vormel.package_description(full_name) or f"The host package {full_name}."
        module = HostPackage(sought.name, doc)
        setattr(module, "__all__", module._contents())
        return module

    def exec_module(self, module: ModuleType) -> None:
        """Nothing: contents are looked up when they are asked for."""
