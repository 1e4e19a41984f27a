"""Code of the caller's own that runs within a call: it may raise, and change what is being read."""


import numpy as np
import pytest
import vormel
from own_process import run_alone
from vormel.Dravik.kvr import Map, SignalRepository


class Raised(Exception):
    """What no code but the tests' own raises."""


# ---- Classes ----


def test_class_attribute_that_raises_on_alternate_calls_does_no_harm():
    program = """
import vormel
from vormel.Dravik.kvr import Map
calls = 0
class Meta(type):
    def __getattribute__(cls, name):
        global calls
        if name == "__host_class__":
            calls += 1
            if calls % 2 == 0:
                raise RuntimeError("not now")
        return super().__getattribute__(name)
class Mine(Map, metaclass=Meta):
    pass
for _ in range(4):
    try:
        assert Mine("k", 1.0).getCount() == 0
    except RuntimeError:
        pass
print("done")
"""
    assert run_alone(program) == "done\n"


def test_subclass_cannot_pose_as_another_host_class():
    class Posing(Map):
        __host_class__ = SignalRepository.__dict__.get("__host_class__")

    assert Posing("k", 1.0).getCount() == 0
    assert vormel.methods(Posing) == vormel.methods(Map)


# ---- NumPy subclasses that change while they are read ----

RESIZING = """
import numpy as np, vormel
class Resizing(np.ndarray):
    watched = None
    def __array_finalize__(self, source):
        if Resizing.watched is not None:
            watched, Resizing.watched = Resizing.watched, None
            change(watched)
def grow(array):
    array.resize((2000, 2000), refcheck=False)
def shrink(array):
    array.resize((0,), refcheck=False)
"""


@pytest.mark.parametrize("change", ["grow", "shrink"])
@pytest.mark.parametrize(
    "values",
    ["np.ones((3, 4), '>c16')", "np.ones((3, 4), 'c16')", "np.ones((300, 400), '>c8')",
     "np.ones((3, 4), '>f8')", "np.ones((3, 4), 'f8')", "np.full((3, 4), 'a', '>U1')",
     "np.full((3, 4), 'a', 'U1')"],
)  # fmt: skip
def test_array_that_resizes_itself_is_read_within_bounds(values, change):
    program = f"""{RESIZING}
before = {values}
change = {change}
for _ in range(20):
    array = Resizing(before.shape, before.dtype)
    np.copyto(np.asarray(array), before)
    Resizing.watched = array
    result = vormel.array(array)
    Resizing.watched = None
    assert result.shape == before.shape, result
    back = result.to_python()
    assert (back == before).all(), back
print("done")
"""
    assert run_alone(program) == "done\n"


@pytest.mark.parametrize("change", ["grow", "shrink"])
@pytest.mark.parametrize("cls", ["cell", "double", None])
@pytest.mark.parametrize("dtype", ["object", ">c16", "f8", "U3"])
def test_array_that_resizes_itself_becomes_a_cell_or_is_refused(dtype, cls, change):
    program = f"""{RESIZING}
change = {change}
for _ in range(20):
    array = Resizing((3, 4), {dtype!r})
    np.asarray(array)[...] = 1
    Resizing.watched = array
    try:
        result = vormel.array(array, {cls!r})
        assert result.shape == (3, 4), result
    except vormel.CallError:
        pass
    Resizing.watched = None
print("done")
"""
    assert run_alone(program) == "done\n"


def test_item_that_frees_the_object_array_it_stands_in_does_no_harm():
    program = """
import numpy as np, vormel
class Freeing(list):
    def __iter__(self):
        items.resize((0,), refcheck=False)
        junk = [np.full(64, 0x4141414141414141) for _ in range(100)]
        return iter([1.0])
for _ in range(20):
    items = np.empty(64, object)
    for i in range(64):
        items[i] = Freeing(["x" * i])
    cell = vormel.array(items, "cell")
    assert cell.shape == (1, 64), cell
    assert cell.to_python() == [1.0] * 64
print("done")
"""
    assert run_alone(program) == "done\n"


def test_array_keeps_its_meaning_whatever_its_subclass_runs():
    class Loud(np.ndarray):
        def __array_finalize__(self, source):
            if source is not None:
                raise Raised

    array = Loud((2, 2), ">c16")
    np.asarray(array)[...] = [[1, 2j], [3, 4]]
    assert vormel.array(array).to_python().tolist() == [[1, 2j], [3, 4]]


# ---- Value objects ----


def test_properties_that_change_while_they_are_read_do_no_harm():
    program = """
import gc, vormel
class Clearing(list):
    def __iter__(self):
        for found in gc.get_referrers(self):
            if type(found) is dict and "Data" in found:
                found.clear()
        junk = [["y" * 40] for _ in range(1000)]
        return iter([1.0])
for _ in range(50):
    series = vormel.timeseries(Clearing(), ["x" * 30 + str(_)], other=["z" * 30 + str(_)])
    assert series.Data == 1.0
    assert series.other == ["z" * 30 + str(_)], series.other
print("done")
"""
    assert run_alone(program) == "done\n"


def test_dict_that_changes_while_it_is_read_is_read_or_refused():
    program = """
import vormel
class Changing(list):
    def __iter__(self):
        fields.clear()
        fields.update({str(i): i for i in range(100)})
        return iter([1.0])
for _ in range(50):
    fields = {"a": Changing(), "b": "x" * 50, "c": ["y" * 50]}
    try:
        vormel.array(fields)
    except vormel.CallError as error:
        assert error.identifier == "Vormel:NotConvertible"
    fields = {"a": Changing(), "b": "x" * 50, "c": ["y" * 50]}
    try:
        vormel.array([fields, fields])
    except vormel.CallError:
        pass
print("done")
"""
    assert run_alone(program) == "done\n"


# ---- What the caller's code raises comes through ----


def raising(base, *names):
    def fail(self, *_):
        raise Raised

    return type("Raising", (base,), dict.fromkeys(names, fail))


@pytest.mark.parametrize("cls", [None, "double", "cell", "struct", "char", "logical"])
@pytest.mark.parametrize("base", [list, tuple])
@pytest.mark.parametrize("name", ["__len__", "__iter__"])
def test_exception_of_a_sequence_comes_through(base, name, cls):
    with pytest.raises(Raised):
        vormel.array(raising(base, name)([1, 2]), cls)


def test_exception_of_a_key_comes_through():
    class Key(str):
        def __hash__(self):
            if armed:
                raise Raised
            return super().__hash__()

    armed = False
    fields = {Key("a"): 1}
    armed = True
    with pytest.raises(Raised):
        vormel.array(fields)
    with pytest.raises(Raised):
        vormel.array([fields, fields])
    armed = False


@pytest.mark.parametrize("name", ["__array__", "__getattr__"])
def test_exception_of_an_array_protocol_comes_through(name):
    with pytest.raises(Raised):
        vormel.array(raising(object, name)())


def test_exception_of_an_output_count_comes_through(repo):
    with pytest.raises(Raised):
        repo.getRunCount(nargout=raising(object, "__index__")())
    with pytest.raises(Raised):
        vormel.invoke(repo, "getRunCount", nargout=raising(object, "__index__")())
    with pytest.raises(Raised):
        Map("k", 1.0, nargout=raising(object, "__index__")())


# ---- Lists on their way out ----


def test_collection_never_shows_a_half_filled_result():
    program = """
import gc, vormel
cell = vormel.array([{"a": [1, "b", {"c": 2}]} for _ in range(200)], "cell")
seen = 0
def look(phase, info):
    global seen
    for found in gc.get_objects():
        if type(found) in (list, tuple) and len(found) > 100:
            seen += 1
            repr(found[-1])
gc.callbacks.append(look)
gc.set_threshold(5, 5, 5)
for _ in range(3):
    cell.to_python()
gc.callbacks.clear()
assert seen
print("done")
"""
    assert run_alone(program) == "done\n"


# ---- Sub-interpreters ----


def test_sub_interpreter_is_refused_with_the_reason():
    program = """
import _xxsubinterpreters as interpreters
other = interpreters.create()
interpreters.run_string(other, '''
try:
    import vormel
except ImportError as error:
    assert "main interpreter" in str(error) and "process" in str(error), error
else:
    raise AssertionError("imported")
''')
import vormel
from vormel.Dravik.kvr import Map
assert Map("k", 1.0).getCount() == 0
interpreters.run_string(other, '''
try:
    import vormel
except ImportError:
    pass
else:
    raise AssertionError("imported")
''')
interpreters.destroy(other)
assert Map("k", 1.0).getCount() == 0
print("done")
"""
    assert run_alone(program, seconds=20) == "done\n"


def test_extension_imported_again_is_the_same_one():
    program = """
import sys, vormel
from vormel.Dravik.kvr import Map
first = sys.modules.pop("vormel._vormel")
import vormel._vormel
assert sys.modules["vormel._vormel"] is first
for name in [name for name in sys.modules if name.startswith("vormel")]:
    del sys.modules[name]
import vormel
from vormel.Dravik.kvr import Map as again
assert again is Map
try:
    vormel.array(object())
except vormel.Error:
    print("done")
"""
    assert run_alone(program) == "done\n"


# ---- Failing allocator of Python ----


@pytest.mark.parametrize("first", [1, 2, 3, 4, 5])
def test_constructor_under_a_failing_allocator_ends_in_memory_error(first):
    program = f"""
import _testcapi, vormel
from vormel.Dravik.kvr import Map
Map("k", 1.0)
try:
    _testcapi.set_nomemory({first}, {first} + 1)
    Map("k", 1.0)
except MemoryError:
    pass
finally:
    _testcapi.remove_mem_hooks()
print("done")
"""
    assert run_alone(program) == "done\n"
