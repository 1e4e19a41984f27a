"""The packages of the host, as type checkers see them.

Classes and methods come from the modules that the host has loaded, so that no source file names
them. A build writes `_contents.pyi` beside this file, and one stub for each package.
"""

from __future__ import annotations

import importlib
from typing import Any

__all__: list[str] = []


def __getattr__(name: str) -> Any:
    return getattr(importlib.import_module("vormel"), name)
