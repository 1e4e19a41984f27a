"""Host arrays and objects live as long as Python needs them, and no longer."""

import gc
import os
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import Map, SignalRepository


def test_array_counts_while_it_is_alive():
    before = vormel.live_arrays()
    array = vormel.array({"a": [1, "b"], "c": 2.5})
    assert vormel.live_arrays() == before + 5
    del array
    assert vormel.live_arrays() == before


def test_dropped_results_are_released(repo):
    entries = Map("k", {})
    entries.insert("a", {"data": np.arange(100.0), "text": ["x", {"y": 1}]})
    repo.createEmptyRun("Monday", 1)

    def use():
        entries.getDataByKey("a")
        entries.getDataByKey("a", nargout=0)
        entries.getKeyByIndex(1, nargout=3)
        vormel.invoke(repo, "getRunName", 1, nargout=0)
        repo.getRunName(1)
        repo.getAllRunIDs(1)

    use()
    once = vormel.live_arrays()
    for _ in range(1000):
        use()
    assert vormel.live_arrays() == once


def test_object_ends_with_its_last_reference(any_map):
    before = vormel.live_arrays()
    any_map.insert("inner", Map("k", 1.0))
    any_map.deleteDataByKey("inner")
    assert vormel.live_arrays() == before


def test_object_lives_as_long_as_a_map_holds_it(any_map):
    inner = Map("k", 1.0)
    inner.insert("a", 5.0)
    any_map.insert("inner", inner)
    del inner
    gc.collect()
    assert any_map.getDataByKey("inner").getDataByKey("a") == 5.0


def test_map_that_holds_itself_ends_by_hand(any_map):
    any_map.insert("self", any_map)
    vormel.delete(any_map)


def test_result_outlives_its_map():
    entries = Map("k", {})
    entries.insert("a", np.arange(1000.0))
    view = entries.getDataByKey("a")
    vormel.delete(entries)
    del entries
    assert view.sum() == 499500.0


def test_stored_array_shares_no_memory_with_the_source():
    entries = Map("k", {})
    source = np.zeros(3)
    entries.insert("a", source)
    source[:] = 7
    assert entries.getDataByKey("a").tolist() == [[0, 0, 0]]


def test_exit_with_everything_alive_is_quiet(run_python):
    program = """
import numpy as np, vormel
from vormel.Dravik.kvr import Map, SignalRepository
class Loop:
    pass
repo = SignalRepository()
entries = Map("k", {})
entries.insert("self", entries)
entries.insert("a", np.arange(1000.0))
view = entries.getDataByKey("a")
array = vormel.array([1, "a", {"b": entries}])
series = vormel.timeseries(view, view)
loop = Loop()
loop.me, loop.held = loop, (repo, entries, view, array, series)
def now():
    raise ValueError("held")
vormel.functions["now"] = now
vormel.functions["tempdir"] = lambda: series
try:
    repo.createEmptyRun("a", 1)
except vormel.Error as failure:
    kept = failure
print("done")
"""
    assert run_python(program) == "done\n"


def test_exit_by_an_exception_in_a_callable_is_quiet(run_python):
    program = """
import vormel
from vormel.Dravik.kvr import SignalRepository
def stop():
    raise SystemExit(0)
vormel.functions["now"] = stop
print("before", flush=True)
SignalRepository().createEmptyRun("a", 1)
print("after")
"""
    assert run_python(program) == "before\n"


def test_import_survives_a_reload(run_python):
    program = """
import importlib, vormel
from vormel.Dravik.kvr import Map
importlib.reload(vormel)
import vormel.Dravik.kvr
assert vormel.Dravik.kvr.Map is Map
print(Map("k", 1.0).getCount())
"""
    assert run_python(program) == "0\n"


def test_call_from_another_thread_works(repo):
    import threading

    names = []
    worker = threading.Thread(
        target=lambda: names.append(repo.getRunName(repo.createEmptyRun("Monday", 1)))
    )
    worker.start()
    worker.join()
    assert names == ["Monday"]


@pytest.mark.parametrize("cls", [SignalRepository, lambda: Map("k", 1.0)])
def test_objects_are_released(cls):
    before = vormel.live_arrays()
    for _ in range(1000):
        cls()
    assert vormel.live_arrays() == before


def test_garbage_of_another_folder_is_not_counted_for_a_test_of_this_one(tmp_path):
    """Tests that ran after those of the package kvr ended with fewer arrays than they began with."""
    (tmp_path / "test_garbage.py").write_text(
        "import vormel\n\n\ndef test_leaves_a_cycle():\n"
        "    cycle = [vormel.array(1.5)]\n    cycle.append(cycle)\n"
    )
    (tmp_path / "collecting.py").write_text(
        "import gc\n\n\ndef pytest_runtest_call(item):\n"
        "    if 'test_page_is' in item.name:\n        gc.collect()\n"
    )
    page = Path(__file__).with_name("test_methods_page.py")
    command = [
        sys.executable, "-m", "pytest", "-q", "-p", "collecting", "-p", "no:cacheprovider",
        tmp_path / "test_garbage.py", f"{page}::test_page_is_what_the_tables_say",
    ]  # fmt: skip
    environment = {**os.environ, "PYTHONPATH": f"{tmp_path}:{os.environ.get('PYTHONPATH', '')}"}
    done = subprocess.run(command, capture_output=True, text=True, env=environment)
    assert done.returncode == 0, done.stdout + done.stderr
    assert "2 passed" in done.stdout
