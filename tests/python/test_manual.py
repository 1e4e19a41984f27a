"""The manual of the module: shown by help() and methods(), and true."""

import inspect
import os
import pydoc
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import vormel
from manual_cases import (
    ADD,
    NEEDS_A_FILE,
    a_map,
    a_store,
    change_for,
    drop_store,
    good_value,
)
from vormel.Dravik.kvr import Map, SignalRepository

METHODS = [(cls, method) for cls in (SignalRepository, Map) for method in vormel.methods(cls)]

each_method = pytest.mark.parametrize(
    "cls, method", METHODS, ids=[f"{cls.__name__}.{method.name}" for cls, method in METHODS]
)


@pytest.fixture(autouse=True)
def store_is_dropped(live_arrays_return_to_their_number):
    yield
    drop_store()


def method_named(name):
    return next(method for _, method in METHODS if method.name == name)


# ---- What it shows ----


def test_entries_name_inputs_and_results_beside_their_types():
    method = method_named("getRunName")
    assert method.inputs == ["Dravik.kvr.SignalRepository", "int32 scalar"]
    assert [item.name for item in method.parameters] == ["repository", "run"]
    assert [(item.name, item.type, item.kind) for item in method.results] == [
        ("name", "any", "text")
    ]
    assert method.meaning == "Returns the name of a run."
    assert [str(failure) for failure in method.failures] == ["INVALID_OBJ", 'NON_EXISTENT "Run ID"']


def test_entries_tell_forms_apart():
    forms = method_named("setTimeStep").forms
    assert [[item.name for item in form.inputs] for form in forms] == [
        ["signal", "step"],
        ["run", "index", "step"],
    ]
    assert [str(form.failures[1]) for form in forms] == [
        'NOT_NUMERIC_SCALAR "Time step"',
        'NOT_NUMERIC_SCALAR "Time Start"',
    ]


@each_method
def test_every_registration_has_an_entry_that_agrees_with_its_signature(cls, method):
    assert method.meaning.endswith(".")
    assert [item.type for item in method.parameters] == method.inputs
    assert [item.type for item in method.results] == method.outputs
    assert method.forms


def test_help_shows_names_meaning_and_forms():
    text = pydoc.plain(pydoc.render_doc(SignalRepository.setTimeStep))
    assert "setTimeStep(self, signal, step, /, *more, nargout=0)" in text
    assert "Sets the time between the steps of a signal's tolerance." in text
    assert "setTimeStep(run, index, step)" in text
    assert "Any other number of inputs raises INVALID_SIGNATURE." in text
    assert "inputs:   Dravik.kvr.SignalRepository, int32 scalar, any" in text


def test_help_of_a_class_shows_names_and_meanings():
    text = pydoc.plain(pydoc.render_doc(Map))
    assert "getDataByKey(self, key, /, *more, nargout=1)" in text
    assert "Returns the value of a key" in text


def test_signature_of_a_bound_method_leaves_the_object_out():
    method = a_map().insert
    assert list(inspect.signature(method).parameters) == ["key", "value", "more", "nargout"]


# ---- Without it ----


@pytest.fixture
def package_copy(tmp_path):
    """The package in a folder of its own, its libraries linked."""
    source = Path(vormel.__file__).parent
    copy = tmp_path / "vormel"
    copy.mkdir()
    for file in source.iterdir():
        if file.suffix == ".so":
            (copy / file.name).symlink_to(file.resolve())
        elif file.is_file():
            shutil.copy(file, copy)
    return copy


def output_with(package, program):
    done = subprocess.run(
        [sys.executable, "-c", program],
        capture_output=True,
        text=True,
        env={**os.environ, "PYTHONPATH": str(package.parent)},
    )
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout.strip()


SHOW = (
    "import inspect, vormel; from vormel.Dravik.kvr import Map;"
    "print(inspect.signature(Map.isKey), repr(vormel.methods(Map)[7].meaning),"
    "vormel.methods(Map)[7].inputs, Map.isKey.__doc__.split()[0])"
)
WITHOUT = "(self, any_1, /, *more, nargout=1) '' ['Dravik.kvr.Map', 'any'] inputs:"


def test_copy_of_the_package_shows_the_manual(package_copy):
    shown = output_with(package_copy, SHOW)
    assert shown.startswith(
        "(self, key, /, *more, nargout=1) 'Returns whether the map holds a key.'"
    )


@pytest.mark.parametrize(
    "damage",
    [
        None,
        b"",
        b"{",
        b"\xff\xfe",
        b"[]",
        b'{"classes": 5}',
        b'{"classes": [{"name": "Dravik.kvr.Map", "methods": [5]}]}',
        b'{"classes": [{"name": [], "methods": []}]}',
        b"[" * 100_000,
    ],
)
def test_missing_or_damaged_manual_leaves_type_names(package_copy, damage):
    manual = package_copy / "kvrntob.json"
    if damage is None:
        manual.unlink()
    else:
        manual.write_bytes(damage)
    assert output_with(package_copy, SHOW) == WITHOUT


@pytest.mark.parametrize(
    "old, new",
    [
        ('"isKey"', '"isKeys"'),  # of no such method
        ('"type": "logical scalar"', '"type": "int32 scalar"'),  # of another signature
        ('"name": "found"', '"name": "is"'),  # a name that no parameter can have
        ('"name": "found"', '"name": 5'),
        ('"word": "key"', '"word": []'),
    ],
)
def test_manual_of_another_module_leaves_type_names(package_copy, old, new):
    manual = package_copy / "kvrntob.json"
    text = manual.read_text()
    assert old in text
    manual.write_text(text.replace(old, new))
    assert output_with(package_copy, SHOW) == WITHOUT


# ---- That it is true ----


def handle_for(cls, method):
    if method.name == "clean":  # which forgets a store with its arrays
        drop_store()
        return SignalRepository()
    return a_store() if cls is SignalRepository else a_map()


def call(cls, method, handle, inputs):
    """The failure of a call, or None."""
    try:
        if method.name == cls.__name__:
            cls(*inputs)
        else:
            getattr(handle, method.name)(*inputs)
    except vormel.Error as error:
        if error.identifier.startswith("Vormel:"):
            raise  # a failure of the host, which no manual of a module lists
        return vormel.Failure(error.identifier.rpartition(":")[2], error.word)
    return None


def good_inputs(method, form):
    return {item.name: good_value(method.name, item.name) for item in form.inputs}


@each_method
def test_failures_come_in_the_order_of_the_manual(cls, method):
    """A call that breaks all rules from the n-th on raises the n-th failure."""
    for form in method.forms:
        changes = [
            (failure, change_for(method.name, form, failure))
            for failure in form.failures
            if failure.cls != "INVALID_OBJ"
        ]
        changes = [(failure, change) for failure, change in changes if change]
        for first in range(len(changes) + 1):
            inputs = good_inputs(method, form)
            for _, change in reversed(changes[first:]):
                change(inputs)
            expected = changes[first][0] if first < len(changes) else None
            failure = call(cls, method, handle_for(cls, method), inputs.values())
            assert failure == expected, (method.name, inputs)


@each_method
def test_ended_handle_is_reported_where_the_manual_says(cls, method):
    for form in method.forms:
        order = [failure.cls for failure in form.failures]
        if "INVALID_OBJ" not in order:
            assert cls is Map or method.name in ("SignalRepository", "clean")
            continue
        place = order.index("INVALID_OBJ")
        for first in range(place + 1):
            inputs = good_inputs(method, form)
            for failure in reversed(form.failures[first:]):
                change = (
                    change_for(method.name, form, failure) if failure.cls != "INVALID_OBJ" else None
                )
                if change:
                    change(inputs)
            handle = handle_for(cls, method)
            vormel.delete(handle)
            failure = call(cls, method, handle, inputs.values())
            assert failure == form.failures[first], (method.name, inputs)


@each_method
def test_other_numbers_of_inputs_are_refused_as_the_manual_says(cls, method):
    longest = max(method.forms, key=lambda form: len(form.inputs))
    inputs = list(good_inputs(method, longest).values())
    if not inputs or method.name in ("SignalRepository", "Map"):
        return  # after a handle alone the host takes handles only
    for more in range(1, 4):
        failure = call(cls, method, handle_for(cls, method), [*inputs, *[inputs[-1]] * more])
        counted = vormel.Failure("INVALID_SIGNATURE", None) in method.failures
        assert counted == (len(method.forms) > 1)
        assert (failure is not None) == counted, (more, failure)
        assert failure in (None, vormel.Failure("INVALID_SIGNATURE", None))


ODD = [None, True, 1, 0, -1, 99, 1.5, float("nan"), "text", "", [1, 2], [1.5, 2.5], {}, {"a": 1},
       np.int8(1), np.uint64(2**63), 1j]  # fmt: skip


@each_method
def test_odd_inputs_raise_nothing_else(cls, method):
    """Each input in turn is each odd value: the failures that come are in the manual."""
    for form in method.forms:
        for name in good_inputs(method, form):
            for odd in ODD:
                inputs = good_inputs(method, form) | {name: odd}
                try:
                    failure = call(cls, method, handle_for(cls, method), inputs.values())
                except vormel.Error:
                    continue
                same_count = [one for one in method.forms if len(one.inputs) == len(form.inputs)]
                known = [one for other in same_count for one in other.failures]
                assert failure is None or failure in known, (inputs, failure)


# ---- Failures that need a file or a state ----


def scratch_file():
    return Path(vormel.functions["tempdir"]()) / "KVR.vdf"


def listing(cls, word):
    return {
        method.name
        for _, method in METHODS
        for form in method.forms
        if vormel.Failure(cls, word) in form.failures
    }


def a_stored_signal():
    """A store whose run 1 has signal 2 in the scratch file; later ones stay in memory."""
    repo = a_store()
    repo.writeToFile()
    inputs = {name: good_value("add", name) for name in ADD} | {"data_source": "stored"}
    repo.add(*inputs.values())
    repo.stopWritingToFile()
    return repo


def reads_of_the_stored_signal(repo):
    return {
        "getSignal": [lambda: repo.getSignal(2), lambda: repo.getSignal("stored"),
                      lambda: repo.getSignal(1, 2)],
        "getSignalByRunIndex": [lambda: repo.getSignalByRunIndex(1, 2)],
        "copyRun": [lambda: repo.copyRun(1, 1)],
    }  # fmt: skip


def expect(failing, cls, word):
    with pytest.raises(vormel.Error) as caught:
        failing()
    assert (caught.value.identifier, caught.value.word) == (f"KVR:kvr:{cls}", word)


def test_reads_of_a_signal_in_a_file_that_is_gone_raise_file_not_located():
    repo = a_stored_signal()
    scratch_file().unlink()
    reads = reads_of_the_stored_signal(repo)
    for form in (form for forms in reads.values() for form in forms):
        expect(form, "FILE_NOT_LOCATED", None)
    assert set(reads) == listing(*NEEDS_A_FILE[0])


def test_reads_of_a_signal_in_an_earlier_file_raise_non_existent_id():
    repo = a_stored_signal()
    repo.writeToFile()  # a new file in place of the one with the values
    for form in (form for forms in reads_of_the_stored_signal(repo).values() for form in forms):
        expect(form, "NON_EXISTENT", "ID")


def test_values_that_are_no_timeseries_are_refused_in_file_mode():
    repo = a_store()
    inputs = {name: good_value("add", name) for name in ADD} | {"values": 5}
    repo.add(*inputs.values())
    repo.writeToFile()
    expect(lambda: repo.add(*inputs.values()), "INPUT_MISMATCH", "timeseries")
    expect(lambda: repo.copyRun(1, 1), "INPUT_MISMATCH", "timeseries")
    vormel.functions["tempdir"] = lambda: ""
    expect(repo.writeToFile, "INPUT_MISMATCH", "timeseries")
    assert listing(*NEEDS_A_FILE[1]) == {"add", "copyRun", "writeToFile"}
    del vormel.functions["tempdir"]


def test_removing_a_child_whose_parent_is_gone_raises_non_existent_id():
    repo = a_store()
    inputs = {name: good_value("add", name) for name in ADD} | {"run": 2, "parent": 1}
    repo.add(*inputs.values())
    repo.removeRun(1)
    expect(lambda: repo.remove(2, 1), "NON_EXISTENT", "ID")


def test_run_that_is_listed_once_more_than_it_exists_raises_non_existent_run_id():
    repo = a_store()  # runs 1 and 2
    repo.removeEmptyRun(1)  # gives the newest number back
    assert repo.createEmptyRun("second", 1) == 2
    repo.removeRun(2)
    expect(lambda: repo.getGroup(1, "GRUNNAME", "ASC"), "NON_EXISTENT", "Run ID")
    expect(lambda: repo.deleteInstanceID(1), "NON_EXISTENT", "Run ID")
