"""NumPy's allocator of array data, replaced by one that fails when told to.

NumPy takes its allocators as a structure of C functions; ctypes makes them of Python's.
"""

from __future__ import annotations

import contextlib
import ctypes
from collections.abc import Iterator

import numpy as np

_SET_HANDLER = 304  # the places of PyDataMem_SetHandler and PyDataMem_GetHandler in NumPy's table
_GET_HANDLER = 305

_malloc = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)
_calloc = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_size_t)
_realloc = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)
_free = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)

_c = ctypes.CDLL(None)
_c.malloc.restype = _c.calloc.restype = _c.realloc.restype = ctypes.c_void_p
_c.malloc.argtypes = [ctypes.c_size_t]
_c.calloc.argtypes = [ctypes.c_size_t, ctypes.c_size_t]
_c.realloc.argtypes = [ctypes.c_void_p, ctypes.c_size_t]


class _Allocator(ctypes.Structure):
    _fields_ = [
        ("context", ctypes.c_void_p),
        ("malloc", _malloc),
        ("calloc", _calloc),
        ("realloc", _realloc),
        ("free", _free),
    ]


class _Handler(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char * 127), ("version", ctypes.c_uint8), ("of", _Allocator)]


class Allocator:
    """Counts allocations; fails the one of number `fails_at`, from 0, and with `all` all later ones."""

    def __init__(self) -> None:
        self.count = 0
        self.failed = 0
        self.fails_at = -1
        self.all = False
        self._handler = _Handler(b"failing", 1, _Allocator(
            None, _malloc(self._malloc), _calloc(self._calloc), _realloc(self._realloc),
            _default.of.free,  # in C: arrays are freed while an error is set
        ))  # fmt: skip
        new_capsule = ctypes.pythonapi.PyCapsule_New
        new_capsule.restype = ctypes.py_object
        new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
        self._capsule = new_capsule(ctypes.addressof(self._handler), b"mem_handler", None)

    def _is_due(self) -> bool:
        number, self.count = self.count, self.count + 1
        due = self.fails_at >= 0 and (
            number == self.fails_at or (self.all and number > self.fails_at)
        )
        self.failed += due
        return due

    def _malloc(self, _: int, size: int) -> int | None:
        return None if self._is_due() else _c.malloc(size)

    def _calloc(self, _: int, count: int, size: int) -> int | None:
        return None if self._is_due() else _c.calloc(count, size)

    def _realloc(self, _: int, pointer: int, size: int) -> int | None:
        return None if self._is_due() else _c.realloc(pointer, size)

    @contextlib.contextmanager
    def installed(self) -> Iterator[None]:
        former = _set_handler(self._capsule)
        try:
            yield
        finally:
            _set_handler(former)


def _function(place: int, *types: type) -> ctypes._FuncPointer:
    table = _pointer_in(np.core.multiarray._ARRAY_API, None)
    address = ctypes.cast(table, ctypes.POINTER(ctypes.c_void_p))[place]
    return ctypes.PYFUNCTYPE(*types)(address)


_pointer_in = ctypes.pythonapi.PyCapsule_GetPointer
_pointer_in.restype = ctypes.c_void_p
_pointer_in.argtypes = [ctypes.py_object, ctypes.c_char_p]
_set_handler = _function(_SET_HANDLER, ctypes.py_object, ctypes.py_object)
_default = _Handler.from_address(
    _pointer_in(_function(_GET_HANDLER, ctypes.py_object)(), b"mem_handler")
)


def hold_default_handler() -> None:
    """Keeps NumPy's own allocator for good.

    NumPy 1.24 releases it once too often for each array whose __array_finalize__ raises.
    """
    handler = _function(_GET_HANDLER, ctypes.py_object)()
    ctypes.c_ssize_t.from_address(id(handler)).value += 2**30
