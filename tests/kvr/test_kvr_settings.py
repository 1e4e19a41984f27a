"""Tolerances and synchronisation options: as values, and in force for runs and signals."""

import copy
import math
import pickle

import kvr
import pytest

WINDOW = {
    "start": 1.0, "end": 2.0, "step": 3.0, "absolute": 4.0, "absolute_step": 5.0,
    "relative": 6.0, "relative_step": 7.0,
}  # fmt: skip
STORED_WINDOW = {
    "toleranceType": 1, "absolute": 0.0, "relative": 0.0, "timeStart": 1.0, "timeEnd": 2.0,
    "timeStep": 3.0, "initAbsTolVal": 4.0, "absStep": 5.0, "initRelTolVal": 6.0, "relStep": 7.0,
    "fcnCall": "",
}  # fmt: skip


@pytest.fixture
def signal(run):
    return run.add("speed", [1.0], time=[0.0])


# ---- Values ----


def test_tolerance_shows_all_eleven_fields():
    window = kvr.Tolerance.window(**WINDOW)
    assert (window.type, window.start, window.end, window.step) == (1, 1.0, 2.0, 3.0)
    assert (window.initial_absolute, window.absolute_step) == (4.0, 5.0)
    assert (window.initial_relative, window.relative_step) == (6.0, 7.0)
    assert (window.absolute, window.relative, window.function_name) == (0.0, 0.0, "")
    plain = kvr.Tolerance(0.5, 0.25)
    assert (plain.type, plain.absolute, plain.relative) == (0, 0.5, 0.25)
    assert kvr.Tolerance.function("f").function_name == "f"
    assert kvr.Tolerance.function("f").type == 2


def test_sync_shows_all_five_fields():
    sync = kvr.Sync("uniform", "linear", 0.5)
    assert (sync.method, sync.interp, sync.interval) == ("uniform", "linear", 0.5)
    assert (sync.type, sync.function_name) == (0, "")
    custom = kvr.Sync.custom("edges", interp="linear")
    assert (custom.type, custom.function_name, custom.interp) == (1, "edges", "linear")
    assert (kvr.Sync().method, kvr.Sync().interp, kvr.Sync().interval) == ("union", "zoh", 0.01)


@pytest.mark.parametrize(
    "one",
    [kvr.Tolerance(1, 2), kvr.Tolerance.window(**WINDOW), kvr.Tolerance.function("f"),
     kvr.Sync("uniform", interval=3), kvr.Sync.custom("g"), kvr.Tolerance(math.nan)],
    ids=repr,
)  # fmt: skip
def test_settings_are_frozen_and_equal_by_value(one):
    for twin in (copy.deepcopy(one), pickle.loads(pickle.dumps(one))):
        assert twin == one
        assert hash(twin) == hash(one)
    with pytest.raises(AttributeError):
        one.type = 1
    with pytest.raises(AttributeError):
        one.anything = 1
    with pytest.raises(AttributeError):
        del one.type
    assert one != "something else"


def test_settings_that_differ_in_a_field_are_unequal():
    base = kvr.Tolerance.window(**WINDOW)
    for name in WINDOW:
        assert kvr.Tolerance.window(**(WINDOW | {name: 99.0})) != base
    assert kvr.Tolerance(1) != kvr.Tolerance(relative=1)
    assert kvr.Sync("union") != kvr.Sync("intersection")
    assert kvr.Tolerance() != kvr.Sync()


def test_repr_makes_the_same_again():
    for one in (kvr.Tolerance(0.1, 2), kvr.Tolerance.window(**WINDOW), kvr.Tolerance.function("f'"),
                kvr.Sync("uniform", "linear", 0.5), kvr.Sync.custom("g")):  # fmt: skip
        assert eval(f"kvr.{one!r}") == one


@pytest.mark.parametrize("number", [-1.0, math.nan, math.inf, -math.inf, True, 10**20])
def test_numbers_are_never_refused(signal, number):
    signal.tolerance = kvr.Tolerance(number, number)
    assert signal.tolerance == kvr.Tolerance(number, number)
    signal.sync = kvr.Sync("uniform", interval=number)
    assert signal.sync == kvr.Sync("uniform", interval=number)


def test_unknown_words_are_refused():
    with pytest.raises(ValueError, match="method must be 'union', 'intersection' or 'uniform'"):
        kvr.Sync("Union")
    with pytest.raises(ValueError, match="interp must be 'zoh' or 'linear', not ''"):
        kvr.Sync(interp="")
    with pytest.raises(ValueError, match="NUL at position 1"):
        kvr.Tolerance.function("a\0")
    for wrong in ("a", None, [1, 2]):
        with pytest.raises(TypeError, match="absolute must be a number"):
            kvr.Tolerance(wrong)
        with pytest.raises(TypeError, match="interval must be a number"):
            kvr.Sync(interval=wrong)


# ---- In force ----


def test_new_signals_and_runs_have_the_defaults_of_the_store(run, signal):
    assert signal.tolerance == run.tolerance == kvr.Tolerance()
    assert signal.sync == run.sync == kvr.Sync()
    assert signal.tolerance.inherited is True
    assert signal.sync.inherited is True


def test_signal_follows_its_run_until_it_has_its_own(run, signal):
    run.tolerance = kvr.Tolerance(0.5)
    run.sync = kvr.Sync("intersection", "linear")
    assert signal.tolerance == kvr.Tolerance(0.5)
    assert signal.sync == kvr.Sync("intersection", "linear")
    signal.tolerance = kvr.Tolerance(relative=1)
    signal.sync = kvr.Sync.custom("edges")
    run.tolerance = kvr.Tolerance(9)
    run.sync = kvr.Sync()
    assert (signal.tolerance, signal.tolerance.inherited) == (kvr.Tolerance(relative=1), False)
    assert (signal.sync, signal.sync.inherited) == (kvr.Sync.custom("edges"), False)
    del signal.tolerance
    del signal.sync
    assert (signal.tolerance, signal.tolerance.inherited) == (kvr.Tolerance(9), True)
    assert (signal.sync, signal.sync.inherited) == (kvr.Sync(), True)


def test_the_store_has_the_same_fields(run, signal, repo):
    signal.tolerance = kvr.Tolerance.window(**WINDOW)
    assert repo.getTolerance(signal.id) == STORED_WINDOW
    run.sync = kvr.Sync.custom("edges", "linear")
    assert repo.getSyncOptionsByRun(run.id) == {
        "SyncMethod": "union", "InterpMethod": "linear", "UniformTimeInterval": 0.01,
        "customSyncMethod": "edges", "syncType": 1,
    }  # fmt: skip


def test_what_another_program_set_is_read(run, signal, repo):
    repo.setTolerance(signal.id, STORED_WINDOW | {"absolute": 0.5, "fcnCall": "f"})
    found = signal.tolerance
    assert (found.type, found.absolute, found.function_name) == (1, 0.5, "f")
    assert found != kvr.Tolerance.window(**WINDOW)
    repo.setSyncMethodByRun(run.id, "uniform")
    assert run.sync == kvr.Sync("uniform")
    signal.tolerance = found
    assert signal.tolerance == found


def test_run_that_never_had_signals_has_no_settings_to_set(store):
    run = store.new_run("empty")
    assert (run.tolerance, run.sync) == (kvr.Tolerance(), kvr.Sync())
    with pytest.raises(ValueError, match="run 1 has no signals, and so no tolerance to set"):
        run.tolerance = kvr.Tolerance(1)
    with pytest.raises(ValueError, match="no sync to set"):
        run.sync = kvr.Sync()
    run.add("a", [1.0], time=[0.0]).remove()
    run.tolerance = kvr.Tolerance(1)  # the store keeps settings from the first signal on
    assert run.tolerance == kvr.Tolerance(1)


def test_settings_of_another_kind_are_type_errors(run, signal):
    for target in (run, signal):
        with pytest.raises(TypeError, match="tolerance must be a kvr.Tolerance"):
            target.tolerance = 0.1
        with pytest.raises(TypeError, match="sync must be a kvr.Sync"):
            target.sync = kvr.Tolerance()


# ---- Functions ----


def test_functions_are_a_mapping_of_callables():
    kvr.functions["f"] = max
    assert kvr.functions["f"] is max
    assert dict(kvr.functions) == {"f": max}
    assert repr(kvr.functions) == "<functions: f>"
    del kvr.functions["f"]
    assert len(kvr.functions) == 0
    with pytest.raises(KeyError):
        kvr.functions["f"]
    with pytest.raises(TypeError, match="must be callable"):
        kvr.functions["f"] = 1
    with pytest.raises(TypeError, match="must be a text"):
        kvr.functions[1] = max


def test_copied_settings_know_whether_they_were_inherited(signal):
    inherited = signal.tolerance, signal.sync
    signal.tolerance = kvr.Tolerance(1)
    for one in (*inherited, signal.tolerance, kvr.Tolerance.function("f")):
        for twin in (copy.deepcopy(one), pickle.loads(pickle.dumps(one))):
            assert (twin, twin.inherited) == (one, one.inherited)
    assert [one.inherited for one in inherited] == [True, True]
