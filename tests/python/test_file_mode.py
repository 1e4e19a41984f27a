"""Signals whose values are kept in the scratch file, through Python."""

import os

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import SignalRepository


@pytest.fixture
def run(repo, tmp_path):
    """A run in a store whose scratch file lies in the test's own directory."""
    vormel.functions["tempdir"] = lambda: f"{tmp_path}{os.sep}"
    run = repo.createEmptyRun("Monday", 1)
    yield run
    repo.removeRun(run)


def series(*data):
    return vormel.timeseries(np.array(data), np.arange(float(len(data))), Note="mine")


def add(repo, run, values, parent=None):
    return repo.add(
        None, run, "", "", "source", values, "", "", "", [], [], [], [], "", None, parent, "source"
    )


def failure_of(method, *arguments):
    """The failure's class and word."""
    with pytest.raises(vormel.Error) as caught:
        method(*arguments)
    return caught.value.identifier.removeprefix("KVR:kvr:"), caught.value.word


def test_file_has_a_fixed_name_in_the_directory_and_goes_with_the_store(repo, run, tmp_path):
    repo.writeToFile()
    assert os.listdir(tmp_path) == ["KVR.vdf"]
    SignalRepository().clean()
    assert os.listdir(tmp_path) == []


def test_directory_without_a_separator_runs_on_into_the_name(repo, run, tmp_path):
    vormel.functions["tempdir"] = lambda: f"{tmp_path}{os.sep}part"
    repo.writeToFile()
    assert os.listdir(tmp_path) == ["partKVR.vdf"]


def test_values_come_back_as_a_timeseries_of_data_and_time_alone(repo, run):
    repo.writeToFile()
    signal = add(repo, run, series(1.5, 2.5))
    first, second = (repo.getSignal(signal)["DataValues"] for _ in range(2))
    assert first == second == vormel.timeseries([1.5, 2.5], [0.0, 1.0])
    assert vormel.array(first).class_name == "timeseries"
    assert not hasattr(first, "Note")


def test_values_in_memory_keep_all_their_properties(repo, run):
    repo.writeToFile()
    repo.stopWritingToFile()
    signal = add(repo, run, series(1.5))
    assert repo.getSignal(signal)["DataValues"] == series(1.5)


@pytest.mark.parametrize("values", [1.0, None, "text", {"Time": 1.0, "Data": 2.0}])
def test_what_is_no_timeseries_is_refused_and_uses_up_an_id(repo, run, values):
    repo.writeToFile()
    signal = add(repo, run, series(1.5))
    assert failure_of(add, repo, run, values) == ("INPUT_MISMATCH", "timeseries")
    assert repo.getSignalCount() == 1
    assert add(repo, run, series(2.5)) == signal + 2


def test_unknown_parent_uses_up_an_id_too(repo, run):
    repo.writeToFile()
    assert failure_of(add, repo, run, series(1.5), 99) == ("NON_EXISTENT", "ID")
    assert add(repo, run, series(2.5)) == 2


def test_second_switch_empties_the_file_under_the_signals(repo, run):
    repo.writeToFile()
    signal = add(repo, run, series(1.5))
    repo.writeToFile()
    assert failure_of(repo.getSignal, signal) == ("NON_EXISTENT", "ID")
    assert repo.getSignalCount() == 1


def test_file_that_is_gone_fails_reads_and_additions_differently(repo, run, tmp_path):
    repo.writeToFile()
    signal = add(repo, run, series(1.5))
    os.remove(tmp_path / "KVR.vdf")
    assert failure_of(repo.getSignal, signal) == ("FILE_NOT_LOCATED", None)
    assert failure_of(add, repo, run, series(1.5)) == ("INPUT_MISMATCH", "timeseries")


def test_empty_directory_fails_and_leaves_the_mode_on_with_the_file_before(repo, run):
    repo.writeToFile()
    repo.stopWritingToFile()
    vormel.functions["tempdir"] = lambda: ""
    assert failure_of(repo.writeToFile) == ("INPUT_MISMATCH", "timeseries")
    signal = add(repo, run, series(1.5))
    assert not hasattr(repo.getSignal(signal)["DataValues"], "Note")


def test_failures_leave_no_arrays_behind(repo, run):
    repo.writeToFile()
    add(repo, run, series(1.5))
    repo.writeToFile()
    before = vormel.live_arrays()
    for _ in range(100):
        failure_of(repo.getSignal, 1)
        failure_of(add, repo, run, 1.0)
    assert vormel.live_arrays() == before
