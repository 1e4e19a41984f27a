"""Packages that are imported when they are first needed."""

from __future__ import annotations

import importlib
from typing import Any

from kvr._base.errors import MissingPackage


def need(package: str, purpose: str) -> Any:
    """The package. Raises MissingPackage, which says what wants it and how to get it."""
    try:
        return importlib.import_module(package)
    except ImportError as error:
        name = package.partition(".")[0]
        raise MissingPackage(
            f"{purpose} needs {name}, which is not installed: try 'apt install python3-{name}'"
        ) from error
