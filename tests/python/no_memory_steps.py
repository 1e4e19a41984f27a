"""Steps for test_no_memory.py, by family, and what runs them."""

from __future__ import annotations

import faulthandler
import gc
import resource
from collections.abc import Callable
from pathlib import Path
from typing import Any

import _testcapi
import numpy as np
import vormel
from failing_allocator import Allocator
from vormel.Dravik.kvr import Map, SignalRepository

FAMILIES: dict[str, Callable[[], dict[str, Callable[[], Any]]]] = {}

LATE = 25  # allocations that are all tried


def family(make: Callable[[], dict[str, Callable[[], Any]]]) -> Callable[[], Any]:
    FAMILIES[make.__name__.rstrip("_")] = make
    return make


class Gives:
    def __array__(self) -> Any:
        return np.arange(3.0)


VALUES: dict[str, Any] = {
    "none": None,
    "empty list": [],
    "bool": True,
    "int": 70_000,
    "int64": 2**40,
    "uint64": 2**63,
    "float": 2.5,
    "complex": 1 + 2j,
    "str": "Zürich 日本 😀",
    "empty str": "",
    "bools": [True, False],
    "ints": [1, 2**40, 3],
    "floats": (1.5, 2, True),
    "complexes": [1j, 2.0],
    "dicts": [{"a": 1, "b": "x"}, {"b": "y", "a": 2}],
    "mixed list": [1, "a", None, [2.0, "b"], {"c": 1}],
    "dict": {"one": 1, "zwei": "b", "ä": [1.0, 2.0]},
    "array": np.arange(6.0).reshape(2, 3),
    "foreign array": np.arange(6).reshape(2, 3).astype(">i4"),
    "complex array": np.array([[1j, 2], [3, 4]]),
    "bool array": np.array([True, False]),
    "U1 array": np.array([["a", "b"], ["c", "d"]]),
    "0-d array": np.array(3.0),
    "NumPy scalar": np.float32(2.5),
    "NumPy complex": np.complex64(2j),
    "NumPy scalars": [np.int8(1), np.uint64(2)],
    "subclass": np.arange(3.0).view(np.recarray),
    "masked array": np.ma.masked_array([1.0, 2.0], [False, False]),
    "with __array__": Gives(),
    "vormel.Array": vormel.array([1, "a"]),
    "vormel.Object": vormel.timeseries([1.0, 2.0], [0.0, 1.0], Name="speed"),
    "host object": Map("k", 1.0),
}

FOR_CLASSES: dict[str, tuple[Any, str]] = {
    "double": ([[1, 2], (3.5, True)], "double"),
    "int8": (np.arange(4), "int8"),
    "uint64": ([1, 2, 3], "uint64"),
    "logical": ([0, 2.5], "logical"),
    "char": ([["a", "b"], ["c", "d"]], "char"),
    "char codes": ([97, 98], "char"),
    "cell": ([1, "a"], "cell"),
    "cell of one": ("abc", "cell"),
    "cell of objects": (np.array([[1, "a"], [None, 2.5]], object), "cell"),
    "cell of texts": (np.array(["ab", "c"]), "cell"),
    "cell of numbers": (np.arange(4).reshape(2, 2), "cell"),
    "struct": ([{"a": 1}, {"a": 2}], "struct"),
    "empty struct": ([], "struct"),
    "function_handle": ("sin", "function_handle"),
}


def shown(value: Any) -> Any:
    """Something to compare that holds no host array.

    Not to be called while memory fails: Python itself loses a reference then to what a function with
    closures is given.
    """
    if isinstance(value, vormel.Array) and value.class_name == "function_handle":
        return ("function handle", value == vormel.function_handle("sin"))
    if isinstance(value, vormel.Array):
        return ("Array", value.class_name, value.shape, value.is_complex, shown(value.to_python()))
    if isinstance(value, vormel.Object):
        names = [name for name in dir(value) if not name.startswith("_")]
        return ("Object", [(name, shown(getattr(value, name))) for name in names])
    if isinstance(value, vormel.HostObject):
        return ("HostObject", type(value).__name__)
    if isinstance(value, vormel.Invocation):
        return (value.count, shown(value.cells))
    if isinstance(value, np.ndarray):
        return ("ndarray", value.dtype.str, value.shape, shown(value.tolist()))
    if isinstance(value, dict):
        return ("dict", [(name, shown(item)) for name, item in value.items()])
    if isinstance(value, (list, tuple)):
        return (type(value).__name__, [shown(item) for item in value])
    return (type(value).__name__, repr(value))


@family
def in_() -> dict[str, Callable[[], Any]]:
    return {name: lambda value=value: vormel.array(value) for name, value in VALUES.items()}


@family
def in_class() -> dict[str, Callable[[], Any]]:
    return {
        name: lambda value=value, cls=cls: vormel.array(value, cls)
        for name, (value, cls) in FOR_CLASSES.items()
    }


def outputs() -> dict[str, vormel.Array]:
    arrays = {name: vormel.array(value) for name, value in VALUES.items()}
    for name, (value, cls) in FOR_CLASSES.items():
        arrays["of class " + name] = vormel.array(value, cls)
    return arrays


@family
def out() -> dict[str, Callable[[], Any]]:
    steps: dict[str, Callable[[], Any]] = {}
    for name, array in outputs().items():
        steps[name] = array.to_python
        steps[name + " for NumPy"] = array.__array__
        steps[name + " as a copy"] = lambda array=array: array.__array__("O", copy=True)
        steps[name + " facts"] = lambda array=array: (
            array.class_name, array.class_id, array.shape, array.is_complex, repr(array),
            array == array,
        )  # fmt: skip
    return steps


@family
def values() -> dict[str, Callable[[], Any]]:
    series = vormel.timeseries([1.0, 2.0], [0.0, 1.0], Name="speed")
    steps: dict[str, Callable[[], Any]] = {
        "timeseries": lambda: vormel.timeseries([1.0, 2.0], np.arange(2.0), Name="speed"),
        "property": lambda: series.Data,
        "text property": lambda: series.Name,
        "dir": lambda: dir(series),
        "repr": lambda: repr(series),
        "equal": lambda: series == vormel.timeseries([1.0, 2.0], [0.0, 1.0], Name="speed"),
        "function handle": lambda: vormel.function_handle("sin"),
    }
    return steps


# ---- The store ----


def empty_store(signals: int = 20) -> None:
    """Ends the store. Its signals go first: the end of a store leaves their arrays alive."""
    repo = SignalRepository()
    for number in range(1, signals + 1):
        outcome_of(lambda: repo.remove(number))
    for run in range(1, 10):
        outcome_of(lambda: repo.removeRun(run))
    repo.clean()


def fresh_store() -> tuple[Any, int, int]:
    """A store with two runs, and two signals in the first."""
    empty_store()
    repo = SignalRepository()
    vormel.functions["now"] = lambda: 2.5
    run = repo.createEmptyRun("Monday", 1)
    vormel.functions.clear()
    repo.createEmptyRun("Tuesday", 1)
    repo.setDateCreated(1, 1.0)
    repo.setDateCreated(2, 2.0)
    first = add_signal(repo, run, "speed")
    second = add_signal(repo, run, "force")
    for number in (first, second):  # colours and styles of new signals go round in the process
        repo.setLineColor(number, 0.125, 0.25, 0.375)
        repo.setLineStyle(number, ":")
    return repo, run, first


SERIES = vormel.timeseries([4.5, 7.0, 9.5], [0.0, 0.1, 0.2])


def add_signal(repo: Any, run: int, label: str) -> int:
    return repo.add(None, run, "bus", "clock", "bus.speed", SERIES, "car/engine", "car", label,
                    [], [], [], [], "", None, [], "bus." + label)  # fmt: skip


def read_store(repo: Any) -> Any:
    """What can be read of the store."""
    of_runs = ("getRunName", "getDateCreated", "getSyncOptionsByRun", "getToleranceByRun",
               "getSignalCount", "getVersion")  # fmt: skip
    of_signals = ("getSignal", "getVisibility", "getSyncOptions", "getTolerance")

    def answers(methods: tuple[str, ...], numbers: range) -> list[Any]:
        return [
            (name, number, shown(outcome_of(lambda: getattr(repo, name)(number))))
            for name in methods
            for number in numbers
        ]

    def without_colour(answer: Any) -> Any:
        name, number, signal = answer
        if name != "getSignal" or number <= 2 or signal[0] != "dict":
            return answer
        fields = [field for field in signal[1] if field[0] not in ("LineColor", "LineDashed")]
        return (name, number, ("dict", fields))

    signals = [without_colour(answer) for answer in answers(of_signals, range(1, 6))]
    return (repo.getRunCount(), answers(of_runs, range(1, 5)), signals)


READING: dict[str, tuple[Any, ...]] = {
    "getSignal": (1,),
    "getSyncOptions": (1,),
    "getSyncOptionsByRun": (1,),
    "getTolerance": (1,),
    "getToleranceByRun": (1,),
    "getRunID": (1,),
    "getRunName": (1,),
    "getRunCount": (),
    "getSignalCount": (1,),
    "getID": (1, 1),
    "isValidRunID": (1,),
    "isValidSignalID": (1, 1),
    "getDateCreated": (1,),
    "getVersion": (1,),
    "getVisibility": (1,),
    "getSignalByRunIndex": (1, 1),
    "isSyncOptionsInherited": (1,),
    "isToleranceInherited": (1,),
    "getSignalSource": (1,),
    "getIDFromGroup": (1, "car/engine", "GBLOCKPATH"),
    "getGroup": (1, "GBLOCKPATH", "ASC"),
    "getGroupCount": ("GBLOCKPATH",),
    "getIDCount": ("car/engine", "GBLOCKPATH"),
    "getNextRunID": (),
    "getAllRunIDs": (1,),
    "getChildrenAndParent": (1,),
    "getRootDataSource": (1,),
    "getInstanceID": (1,),
}

OPTIONS = {
    "SyncMethod": "uniform", "InterpMethod": "linear", "UniformTimeInterval": 0.5,
    "customSyncMethod": "mine", "syncType": 1,
}  # fmt: skip

TOLERANCE = {
    "toleranceType": 1, "absolute": 0.5, "relative": 1.5, "timeStart": 2.5, "timeEnd": 3.5,
    "timeStep": 4.5, "initAbsTolVal": 5.5, "absStep": 6.5, "initRelTolVal": 7.5, "relStep": 8.5,
    "fcnCall": "f(x)",
}  # fmt: skip

WRITING: dict[str, tuple[Any, ...]] = {
    "remove": (1,),
    "removeRun": (1,),
    "setAbsoluteTolerance": (1, 0.5),
    "setRelativeTolerance": (1, 0.5),
    "setAbsoluteToleranceByRun": (1, 0.5),
    "setRelativeToleranceByRun": (1, 0.5),
    "setTolerance": (1, TOLERANCE),
    "setToleranceByRun": (1, TOLERANCE),
    "setFcnCallTol": (1, "tolerance"),
    "setFcnCallTolByRun": (1, "tolerance"),
    "setSyncMethod": (1, "union"),
    "setInterpMethod": (1, "linear"),
    "setSyncMethodByRun": (1, "union"),
    "setInterpMethodByRun": (1, "linear"),
    "setSyncOptions": (1, OPTIONS),
    "setSyncOptionsByRun": (1, OPTIONS),
    "resetTolerance": (1,),
    "resetSyncOptions": (1,),
    "setRelStep": (1, 0.5),
    "setRelStepByRun": (1, 0.5),
    "setAbsStep": (1, 0.5),
    "setAbsStepByRun": (1, 0.5),
    "setTimeStart": (1, 0.5),
    "setTimeStartByRun": (1, 0.5),
    "setTimeEnd": (1, 0.5),
    "setTimeEndByRun": (1, 0.5),
    "setTimeStep": (1, 0.5),
    "setTimeStepByRun": (1, 0.5),
    "setInitAbsTolVal": (1, 0.5),
    "setInitAbsTolValByRun": (1, 0.5),
    "setInitRelTolVal": (1, 0.5),
    "setInitRelTolValByRun": (1, 0.5),
    "clean": (),
    "setCustomSyncMethodByRun": (1, "mine"),
    "setCustomSyncMethod": (1, "mine"),
    "setUniformTimeIntervalByRun": (1, 0.5),
    "setUniformTimeInterval": (1, 0.5),
    "setRunName": (1, "Sunday"),
    "setVisibility": (1, True),
    "setLineColor": (1, 0.25, 0.5, 0.75),
    "setLineStyle": (1, "--"),
    "createEmptyRun": ("Sunday", 1),
    "updateDateCreated": (1,),
    "deleteInstanceID": (1,),
    "copyRun": (1, 1),
    "writeToFile": (),
    "stopWritingToFile": (),
    "setMetaData": (1, {"a": 1}),
    "setDateCreated": (1, 7.5),
    "setParent": (2, 1),
    "removeEmptyRun": (2,),
}

ADDING = ["add"]


def outcome_of(call: Callable[[], Any]) -> Any:
    """The value, or the failure that the module raises: both must come back the same."""
    try:
        return call()
    except (MemoryError, vormel.CallError):
        raise
    except vormel.Error as failure:
        # Seen where a step is read back. No step ends so: where memory fails while an error is on its
        # way, Python itself may lose it.
        return ("failure", failure.identifier, failure.word, failure.function)


@family
def store_reading() -> dict[str, Callable[[], Any]]:
    repo, _, _ = fresh_store()
    return {
        name: lambda method=getattr(repo, name), inputs=inputs: outcome_of(lambda: method(*inputs))
        for name, inputs in READING.items()
    }


class WritingStep:
    """A call that changes the store. Each run begins with the same store."""

    def __init__(self, name: str) -> None:
        self.name = name

    def prepare(self) -> None:
        self.repo, self.run, _ = fresh_store()
        vormel.functions.update(now=lambda: 9.5)
        self.method = getattr(self.repo, self.name)
        self.before = read_store(self.repo)

    def __call__(self) -> Any:
        if self.name == "add":
            return outcome_of(lambda: add_signal(self.repo, self.run, "length"))
        return outcome_of(lambda: self.method(*WRITING[self.name]))

    def state(self) -> Any:
        try:
            return read_store(SignalRepository())
        finally:
            vormel.functions.clear()


@family
def store_writing() -> dict[str, Callable[[], Any]]:
    return {name: WritingStep(name) for name in WRITING}


@family
def store_adding() -> dict[str, Callable[[], Any]]:
    return {name: WritingStep(name) for name in ADDING}


class MapStep:
    """A call of a map that holds two entries."""

    def __init__(self, name: str, *inputs: Any) -> None:
        self.name, self.inputs = name, inputs

    def prepare(self) -> None:
        self.map = Map("k", {})
        self.map.insert("a", [1.0, 2.0])
        self.map.insert("b", {"x": "text"})
        self.method = getattr(self.map, self.name)
        self.before = self.state()

    def __call__(self) -> Any:
        return outcome_of(lambda: self.method(*self.inputs))

    def state(self) -> Any:
        count = self.map.getCount()
        keys = [self.map.getKeyByIndex(index) for index in range(1, count + 1)]
        return [(key, shown(self.map.getDataByKey(key))) for key in keys]


@family
def map() -> dict[str, Callable[[], Any]]:
    steps = [
        MapStep("insert", "c", [1, "a", {"b": 2}]),
        MapStep("insert", "a", np.arange(10.0)),
        MapStep("getDataByKey", "b"),
        MapStep("getDataByIndex", 1),
        MapStep("deleteDataByKey", "a"),
        MapStep("deleteDataByIndex", 2),
        MapStep("getCount"),
        MapStep("isKey", "a"),
        MapStep("getKeyByIndex", 1),
        MapStep("getIndexByKey", "b"),
        MapStep("getKeyType"),
        MapStep("getValueType"),
        MapStep("Clear"),
    ]
    return {f"{number} {step.name}": step for number, step in enumerate(steps)}


class Mine(Map):
    def __init__(self) -> None:
        super().__init__("k", 1.0)
        self.note = "mine"


@family
def constructors() -> dict[str, Callable[[], Any]]:
    return {
        "Map": lambda: Map("k", 1.0),
        "SignalRepository": SignalRepository,
        "subclass": Mine,
        "nargout": lambda: Map("k", 1.0, nargout=1),
        "repr": lambda: repr(VALUES["host object"])[:10],
        "delete": lambda: vormel.delete(Map("k", 1.0)),
        "handle": lambda: vormel.array([Map("k", 1.0)]).to_python()[0],
    }


@family
def invoke() -> dict[str, Callable[[], Any]]:
    repo, _, _ = fresh_store()
    steps: dict[str, Callable[[], Any]] = {}
    for name, inputs in READING.items():
        steps[name] = lambda name=name, inputs=inputs: outcome_of(
            lambda: vormel.invoke(repo, name, *inputs, nargout=2)
        )
    steps["several outputs"] = lambda: repo.getRunCount(nargout=3)
    steps["no output"] = lambda: repo.getRunCount(nargout=0)
    steps["on a class"] = lambda: vormel.invoke(Map, "Map", "k", 1.0)
    return steps


@family
def functions() -> dict[str, Callable[[], Any]]:
    def replaced() -> Any:
        vormel.functions["now"] = lambda: 3.5
        try:
            repo.updateDateCreated(1)
            return repo.getDateCreated(1)
        finally:
            del vormel.functions["now"]

    repo, _, _ = fresh_store()
    return {
        "names": lambda: sorted(vormel.functions),
        "version": lambda: vormel.functions["version"](),
        "timeseries": lambda: vormel.functions["timeseries"](),
        "tempdir": lambda: vormel.functions["tempdir"](),
        "repr": lambda: repr(vormel.functions),
        "replaced": lambda: replaced(),
    }


@family
def packages() -> dict[str, Callable[[], Any]]:
    return {
        "methods": lambda: [
            (method.name, method.inputs, method.outputs) for method in vormel.methods(Map)
        ],
        "doc": lambda: SignalRepository.add.__doc__,
        "signature": lambda: SignalRepository.add.__text_signature__,
        "name": lambda: (SignalRepository.add.__qualname__, repr(SignalRepository.add)),
        "dir": lambda: (dir(vormel), dir(vormel.Dravik), dir(vormel.Dravik.kvr)),
        "class": lambda: vormel.Dravik.kvr.Map.__name__,
        "description": lambda: vormel._vormel.package_description("Dravik"),
        "host class": lambda: vormel._vormel.host_class("Dravik.kvr.Map").__name__,
    }


# ---- The runner ----


def attempt(step: Callable[[], Any], first: int, one: bool) -> tuple[bool, Any]:
    """Whether the step came through while memory fails, and what it gave."""
    result = None
    _testcapi.set_nomemory(first, first + 1 if one else 0)
    try:
        result = step()
        came_through = True
    except MemoryError:
        came_through = False
    finally:
        _testcapi.remove_mem_hooks()
    return came_through, result


def sweep(step: Callable[[], Any], one: bool, stride: int) -> int:
    """Fails the allocations of a step in turn; returns the number of runs."""
    prepare = getattr(step, "prepare", lambda: None)
    state = getattr(step, "state", lambda: None)
    prepare()
    before = state()
    prepare()
    expected = shown(step())
    assert expected[0] != "tuple" or ("str", "'failure'") not in expected[1], expected
    after = state()
    prepare()
    first, runs, quiet = 0, 0, 0
    while quiet < 3:  # a run that needs less than the one before may follow
        gc.collect()
        prepare()
        alive = vormel.live_arrays()
        came_through, result = attempt(step, first, one)
        runs += 1
        if came_through:
            assert shown(result) == expected, f"allocation {first}: {shown(result)}"
        result = None
        found = state()
        assert found == after or (
            not came_through and found == before
        ), f"allocation {first}: neither as before nor as after: {found}"
        if not hasattr(step, "state"):
            gc.collect()
            assert vormel.live_arrays() == alive, f"allocation {first}: host arrays lost"
        quiet = quiet + 1 if came_through else 0
        first += 1 if first < LATE else stride
        assert first < 100_000, "no end"
    return runs


def run_numpy_family(name: str, every: bool) -> str:
    """Fails the allocations of array data, by NumPy, in the steps of a family."""
    allocator = Allocator()
    steps = FAMILIES[name]()
    gc.freeze()
    for title, step in steps.items():
        print(f"{name}: {title}", flush=True)
        expected = shown(step())
        gc.collect()
        alive = vormel.live_arrays()
        failed = 1
        for first in range(1000):
            result = None
            with allocator.installed():
                failed_before, allocator.count = allocator.failed, 0
                allocator.fails_at, allocator.all = first, every
                try:
                    result = step()
                except MemoryError:
                    assert allocator.failed > failed_before
                allocator.fails_at = -1
                failed = allocator.failed - failed_before
            assert result is None or shown(result) == expected, f"allocation {first}"
            result = None
            gc.collect()
            assert vormel.live_arrays() == alive, f"allocation {first}: host arrays lost"
            if failed == 0:
                break
        assert failed == 0, "no end"
    return f"{len(steps)} {allocator.failed}"


# ---- Large arrays, in an address space with bounds ----

ROOM = 2**20  # bytes of a step of the bound

LARGE: dict[str, Callable[[], Any]] = {
    "double": lambda: np.ones((1000, 1000)),
    "foreign double": lambda: np.ones((1000, 1000), ">f8"),
    "bool": lambda: np.ones((2000, 2000), bool)[::-1],
    "complex": lambda: np.ones((700, 700), complex),
    "characters": lambda: np.full((1000, 1000), "a"),
    "objects": lambda: np.full((300, 300), "a", object),
    "list": lambda: [1.5] * 500_000,
    "nested list": lambda: [[1.5] * 500] * 500,
    "text": lambda: "x" * 3_000_000,
}


def address_space() -> int:
    return int(Path("/proc/self/statm").read_text().split()[0]) * resource.getpagesize()


def through_the_host(value: Any, cls: str | None) -> tuple[int, str]:
    array = vormel.array(value, cls)
    face = np.array(array)
    back = array.to_python()
    return (face.size, str(face.ravel()[-1]) + str(np.ravel(back)[-1]) + str(len(back)))


def run_bounded(stride: int) -> str:
    """Lowers the bound of the address space around each conversion, step by step."""
    came_through = failed = 0
    unbounded = resource.getrlimit(resource.RLIMIT_AS)
    for name, make in LARGE.items():
        print(name, flush=True)
        value = make()
        cls = {"objects": "cell", "nested list": "double"}.get(name)
        expected = through_the_host(value, cls)
        alive = vormel.live_arrays()
        for step in range(0, 64, stride):
            gc.collect()
            resource.setrlimit(resource.RLIMIT_AS, (address_space() + step * ROOM, unbounded[1]))
            try:
                found: Any = through_the_host(value, cls)
            except MemoryError:
                found = None
            finally:
                resource.setrlimit(resource.RLIMIT_AS, unbounded)
            assert found is None or found == expected, f"{step} MB"
            gc.collect()
            assert vormel.live_arrays() == alive, f"{step} MB: host arrays lost"
            came_through += found is not None
            failed += found is None
    return f"{came_through} {failed}"


def run_family(name: str, one: bool, stride: int) -> str:
    faulthandler.enable()
    steps = FAMILIES[name]()
    runs = 0
    gc.freeze()  # what is here stays: collections need not look at it
    for title, step in steps.items():
        print(f"{name}: {title}", flush=True)
        runs += sweep(step, one, stride)
    return f"{len(steps)} {runs}"
