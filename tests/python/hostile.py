"""Hostile Python objects, made from a seed, and a run that throws them at everything.

A hostile object is of a subclass of int, str, list, dict, ndarray and so on, some of whose methods
misbehave when they are called: they raise, answer with what makes no sense, change the containers
that are being read, drop references, collect garbage, or call the store.
"""

from __future__ import annotations

import faulthandler
import gc
import random
import sys
import time
import warnings
from collections.abc import Callable
from typing import Any

import numpy as np
import vormel
from failing_allocator import hold_default_handler
from no_memory_steps import READING, SERIES, VALUES, WRITING, empty_store, fresh_store, read_store
from vormel.Dravik.kvr import Map

METHODS = [
    "__len__", "__getitem__", "__iter__", "__index__", "__int__", "__float__", "__complex__",
    "__bool__", "__eq__", "__hash__", "__contains__", "__array__", "__array_finalize__",
    "__array_prepare__", "__array_wrap__", "__array_interface__", "__array_struct__",
    "__array_ufunc__", "__array_function__", "__class__", "__getattr__", "__getattribute__",
    "__str__", "__repr__", "__del__", "__call__", "__next__", "keys", "items", "values", "shape",
    "dtype", "ndim", "size", "strides", "data", "_mask", "__length_hint__", "__buffer__",
    "__host_class__", "tolist", "mask",
]  # fmt: skip

# What is likely to be called.
OF_BASES: dict[type, list[str]] = {
    list: ["__len__", "__iter__", "__length_hint__", "__getitem__"],
    tuple: ["__len__", "__iter__", "__length_hint__", "__getitem__"],
    dict: ["__len__", "__iter__", "__getitem__", "keys", "__contains__", "__eq__"],
    str: ["__eq__", "__hash__", "__len__", "__iter__", "__str__"],
    int: ["__index__", "__int__", "__float__", "__bool__"],
    float: ["__float__", "__int__", "__bool__"],
    complex: ["__complex__", "__float__"],
    object: ["__array__", "__index__", "__float__", "__len__", "__iter__", "__call__"],
    np.ndarray: ["__array_finalize__", "__array_wrap__", "__array_prepare__", "dtype", "shape"],
    np.ma.MaskedArray: ["__array_finalize__", "_mask", "mask", "dtype", "shape"],
    np.int32: ["__index__", "__int__", "__float__", "__complex__"],
    np.float64: ["__float__", "__complex__", "__index__"],
}

# Without what leaves arrays behind by itself, and the scratch file.
SAFE = {
    name: inputs
    for name, inputs in WRITING.items()
    if name not in ("clean", "setParent", "copyRun", "writeToFile", "stopWritingToFile")
}

BASES: list[type] = [int, float, complex, str, list, tuple, dict, np.ndarray, np.float64, np.int32,
                     np.str_, np.ma.MaskedArray, object, bytes, set, Exception]  # fmt: skip


class Raised(Exception):
    """What hostile code raises."""


class World:
    """What hostile objects share, and may harm."""

    def __init__(self, seed: int) -> None:
        self.random = random.Random(seed)
        self.depth = 0
        self.actions = 0
        self.lists: list[list[Any]] = []
        self.dicts: list[dict[Any, Any]] = []
        self.arrays: list[np.ndarray[Any, Any]] = []
        self.repo, _, _ = fresh_store()
        self.map = Map("k", {})

    # ---- What a misbehaving method does before it answers ----

    def act(self) -> None:
        self.actions += 1
        if self.depth > 3:
            return
        self.depth += 1
        try:
            self.random.choice(self.ACTIONS)(self)
        except (Raised, KeyboardInterrupt, SystemExit):
            raise
        except Exception:
            pass
        finally:
            self.depth -= 1

    def nothing(self) -> None:
        pass

    def fail(self) -> None:
        error = self.random.choice([Raised, Raised, AttributeError, TypeError, ValueError, KeyError,
                                    IndexError, MemoryError, StopIteration, OverflowError,
                                    RecursionError, UnicodeEncodeError])  # fmt: skip
        raise Raised("hostile") if error in (Raised, UnicodeEncodeError) else error("hostile")

    def harm_list(self) -> None:
        target = self.random.choice(self.lists)
        self.random.choice([list.clear, lambda x: list.append(x, 1), lambda x: list.pop(x),
                            lambda x: list.extend(x, [None] * 50), list.reverse])(target)  # fmt: skip

    def harm_dict(self) -> None:
        target = self.random.choice(self.dicts)
        self.random.choice([dict.clear, lambda d: dict.popitem(d),
                            lambda d: dict.update(d, {str(i): i for i in range(30)})])(target)  # fmt: skip

    def harm_array(self) -> None:
        target = self.random.choice(self.arrays)
        kind = self.random.randrange(6)
        holds_objects = np.ndarray.dtype.__get__(target) == object  # its own answer may be a lie
        if kind == 0:
            np.ndarray.resize(target, self.random.choice([(0,), (1,), (300, 300)]), refcheck=False)
        elif kind == 1:
            target.shape = self.random.choice([(-1,), (1, -1), (-1, 1)])
        elif kind == 2:
            target.dtype = self.random.choice(["u1", "f8", "c16", "U1", ">f8", "i2"])
        elif kind == 3 and not holds_objects:  # NumPy would release the first item many times
            target.strides = (0,) * target.ndim
        elif kind == 4 and not holds_objects:  # NumPy would not fill what a resize adds
            target.flags.writeable = False
        else:
            target[...] = self.random.choice([None, 0, "x"])

    def change_class(self) -> None:
        objects = [*self.lists, *self.dicts, *self.arrays]
        self.random.choice(objects).__class__ = self.random.choice(objects).__class__

    def drop(self) -> None:
        self.random.choice([self.lists, self.dicts, self.arrays]).pop()  # type: ignore[attr-defined]
        junk = [np.full(self.random.randrange(1, 64), 0x41, np.uint8) for _ in range(20)]
        del junk

    def collect(self) -> None:
        gc.collect(0)

    def use_store(self) -> None:
        name, inputs = self.random.choice([*READING.items(), *SAFE.items()])
        getattr(self.repo, name)(*inputs)

    def use_map(self) -> None:
        self.random.choice([
            lambda: self.map.insert("k", [1.0]), lambda: self.map.getDataByKey("k"),
            lambda: self.map.deleteDataByKey("k"), lambda: vormel.delete(Map("k", 1.0)),
        ])()  # fmt: skip

    def convert(self) -> None:
        vormel.array(self.random.choice(list(VALUES.values())))

    ACTIONS = [nothing, nothing, fail, fail, fail, harm_list, harm_dict, harm_array, harm_array, change_class,
               drop, collect, use_store, use_map, convert]  # fmt: skip

    # ---- What it answers ----

    def answer(self) -> Any:
        return self.random.choice([
            None, 0, 1, -1, 2**70, True, 1.5, float("nan"), 1j, "", "text", "\ud800", b"x", [], [1.0],
            (), {}, {"a": 1}, NotImplemented, np.arange(3.0), np.float32(1), np.zeros((2, 2), ">c8"),
            iter([1, 2]), iter(["a", {}]), object, Map, self.map, SERIES, self.repo,
        ])  # fmt: skip

    def method(self, name: str, base: type) -> Any:
        world = self
        if name in ("shape", "dtype", "__array_interface__", "__array_struct__", "__class__", "_mask",
                    "ndim", "size", "strides", "data", "mask", "__host_class__"):  # fmt: skip
            return property(lambda self: (world.act(), world.answer())[1])
        plain = getattr(base, name, None)
        calls_plain = callable(plain) and self.random.random() < 0.6

        def misbehave(self: Any, *arguments: Any, **keywords: Any) -> Any:
            world.act()
            if calls_plain:
                return plain(self, *arguments, **keywords)
            # Python itself loses what __hash__ returns if that is no int.
            return 7 if name == "__hash__" else world.answer()

        return misbehave

    # ---- Objects ----

    def make_class(self, base: type) -> type:
        ours = OF_BASES.get(base, METHODS)
        chosen = self.random.sample(ours, min(len(ours), self.random.randrange(1, 4)))
        chosen += self.random.sample(METHODS, self.random.randrange(3))
        return type(
            "Hostile_" + base.__name__, (base,), {name: self.method(name, base) for name in chosen}
        )

    def array(self, cls: type) -> Any:
        dtype = self.random.choice(
            ["f8", ">f8", "c16", ">c8", "?", "i2", "U1", ">U1", "O", "U3", "u8"]
        )
        shape = self.random.choice([(), (0,), (3,), (3, 4), (2, 3, 2), (40, 30)])
        array = np.ndarray.__new__(cls, shape, dtype)
        np.ndarray.__setitem__(
            array.view(np.ndarray) if cls is np.ndarray else np.asarray(array), ..., 1
        )
        self.arrays.append(array)
        return array

    def make(self, depth: int = 0) -> Any:
        if self.random.random() < 0.25:
            return self.random.choice(list(VALUES.values()))
        base = self.random.choice(BASES)
        cls = self.make_class(base) if self.random.random() < 0.8 else base
        items = (
            [self.make(depth + 1) for _ in range(self.random.randrange(4))] if depth < 3 else [1.0]
        )
        try:
            return self.of_class(cls, base, items)
        except Exception:
            return items

    def of_class(self, cls: type, base: type, items: list[Any]) -> Any:
        if base is list:
            made_list = list.__new__(cls)
            list.extend(made_list, items)
            self.lists.append(made_list)
            return made_list
        if base is tuple:
            return tuple.__new__(cls, items)
        if base is dict:
            made_dict = dict.__new__(cls)
            key_class = self.make_class(str)
            for number, item in enumerate(items):
                name = f"field{number}"
                key = str.__new__(key_class, name) if self.random.random() < 0.3 else name
                dict.__setitem__(made_dict, key, item)
            self.dicts.append(made_dict)
            return made_dict
        if base in (np.ndarray, np.ma.MaskedArray):
            if base is np.ma.MaskedArray:
                made = np.ma.array([1.0, 2.0, 3.0], mask=self.random.choice([False, [0, 1, 0]]))
                self.arrays.append(made.view(cls))
                return self.arrays[-1]
            return self.array(cls)
        arguments = {int: (7,), float: (2.5,), complex: (1j,), str: ("text",), bytes: (b"x",),
                     np.float64: (2.5,), np.int32: (7,), np.str_: ("text",)}.get(base, ())  # fmt: skip
        return base.__new__(cls, *arguments)


STEPS = 400  # of a round

CLASSES = ["double", "single", "int8", "uint64", "logical", "char", "cell", "struct",
           "function_handle", "nonsense"]  # fmt: skip


def calls(world: World) -> list[Callable[[Any], Any]]:
    """Everything that takes a value, as functions of one."""
    choose = world.random.choice
    names = [*READING, *SAFE, "add"]

    def method(value: Any) -> Any:
        name = choose(names)
        inputs = list(READING.get(name) or SAFE.get(name) or
                      (None, 1, "bus", "clock", "bus.speed", SERIES, "car/engine", "car", "length",
                       [], [], [], [], "", None, [], "bus.length"))  # fmt: skip
        if inputs:
            inputs[world.random.randrange(len(inputs))] = value
        if choose([True, False]):
            return getattr(world.repo, name)(*inputs)
        return vormel.invoke(world.repo, name, *inputs, nargout=choose([0, 1, 2, value]))

    def of_map(value: Any) -> Any:
        name = choose(["insert", "getDataByKey", "getDataByIndex", "deleteDataByKey", "isKey",
                       "deleteDataByIndex", "getKeyByIndex", "getIndexByKey"])  # fmt: skip
        inputs = ("k", value) if name == "insert" else (value,)
        return getattr(world.map, name)(*inputs)

    def function(value: Any) -> Any:
        vormel.functions["now"] = choose([lambda: value, value])
        try:
            world.repo.updateDateCreated(1)
        finally:
            del vormel.functions["now"]

    return [
        vormel.array,
        vormel.array,
        lambda value: vormel.array(value).to_python(),
        lambda value: vormel.array(value, choose(CLASSES)),
        lambda value: vormel.array(value, choose(CLASSES)),
        lambda value: vormel.array([value, 1.0], choose(CLASSES)),
        lambda value: vormel.array({"a": value, "b": value}),
        lambda value: vormel.array(1.0, value),
        lambda value: np.asarray(vormel.array(value)),
        lambda value: vormel.array(1.0).__array__(value, copy=value),
        lambda value: vormel.timeseries(value, value, Name=value),
        lambda value: vormel.function_handle(value),
        lambda value: vormel.delete(value),
        lambda value: vormel.methods(value),
        lambda value: vormel.functions[value],
        lambda value: Map(value, value),
        lambda value: Map("k", value, nargout=value),
        lambda value: vormel.invoke(value, "getCount"),
        lambda value: vormel.invoke(world.map, value),
        lambda value: vormel.array(1.0) == value,
        lambda value: getattr(SERIES, value),
        function,
        method,
        method,
        method,
        method,
        of_map,
        of_map,
    ]


ALLOWED = (vormel.Error, Raised, TypeError, ValueError, AttributeError, KeyError, IndexError,
           MemoryError, StopIteration, OverflowError, RecursionError, RuntimeError)  # fmt: skip


def round_of(seed: int, steps: int) -> tuple[int, int]:
    """One world, so many calls; returns how many came through, and how often hostile code ran."""
    world = World(seed)
    came_through = 0
    for _ in range(steps):
        try:
            world.random.choice(calls(world))(world.make())
            came_through += 1
        except ALLOWED:
            pass
    vormel.functions.clear()
    read_store(world.repo)
    assert world.map.getCount() >= 0
    vormel.delete(world.map)  # it may hold itself
    actions = world.actions
    empty_store(signals=STEPS + 10)
    return came_through, actions


def run(first_seed: int, seconds: float) -> str:
    faulthandler.enable()
    hold_default_handler()
    warnings.simplefilter("ignore")
    sys.unraisablehook = lambda _: None  # finalizers raise, too
    round_of(first_seed, 5)  # what is made once
    gc.collect()
    gc.freeze()
    alive = vormel.live_arrays()
    end = time.monotonic() + seconds
    seed, came_through, actions = first_seed, 0, 0
    while seed == first_seed or time.monotonic() < end:
        print(f"seed {seed}", flush=True)
        good, acted = round_of(seed, STEPS)
        came_through, actions, seed = came_through + good, actions + acted, seed + 1
        gc.collect()
        assert vormel.live_arrays() == alive, f"seed {seed}: {vormel.live_arrays() - alive} arrays"
    return f"{seed - first_seed} {came_through} {actions}"
