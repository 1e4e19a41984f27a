"""The scratch file of the store, read with standard tools."""

import os
import re
import stat
import subprocess

import h5py
import numpy as np
import pytest
import vormel

TIME = np.array([[0.0], [0.5], [1.0]])
DATA = np.array([[1.5], [-2.0], [np.nan]])


@pytest.fixture
def record(repo):
    """Adds values as a signal of a new run and gives its id; the signals go with the test."""
    signals = []

    def add(values):
        run = repo.createEmptyRun("run", 1)
        signal = repo.add(
            0, run, "root", "time", "source", values, "block", "model", "label",
            1, [1, 3], 1, [1], "sid", {}, 0, "root source",
        )  # fmt: skip
        signals.append(signal)
        return signal

    yield add
    for signal in signals:
        repo.remove(signal)


@pytest.fixture
def scratch(tmp_path):
    """Has the scratch file made where the test can see it; gives its path."""
    directory = f"{tmp_path}{os.sep}"
    vormel.functions["tempdir"] = lambda: directory
    return directory + "KVR.vdf"


def variable(file, name):
    """The variable of that name, wherever it lies."""
    found = []
    file.visit(lambda path: found.append(path) if path.endswith(f"/{name}") else None)
    assert len(found) == 1
    assert re.fullmatch(f"[0-9a-f]/[0-9a-f]/[0-9a-f]/{name}", found[0])
    return file[found[0]]


def test_time_and_data_of_a_signal_are_plain_datasets(repo, record, scratch):
    repo.writeToFile()
    signal = record(vormel.timeseries(DATA, TIME))
    with h5py.File(scratch, "r") as file:
        stored = variable(file, f"id{signal}")
        assert list(stored) == ["Time", "Data"]
        assert stored.attrs["class"] == b"struct"
        for name, values in (("Time", TIME), ("Data", DATA)):
            assert stored[name].dtype == np.float64
            assert stored[name].chunks is None
            assert stored[name].shape == values.T.shape
            np.testing.assert_array_equal(stored[name][...].T, values)


def test_matrices_and_n_dimensional_data_have_their_dimensions_in_reverse(repo, record, scratch):
    repo.writeToFile()
    data = np.arange(24, dtype=np.int16).reshape(2, 3, 4)
    signal = record(vormel.timeseries(data, TIME))
    with h5py.File(scratch, "r") as file:
        stored = variable(file, f"id{signal}")["Data"]
        assert stored.shape == (4, 3, 2)
        assert stored.dtype == np.int16
        np.testing.assert_array_equal(stored[...].transpose(), data)


def test_complex_data_read_as_complex_numbers(repo, record, scratch):
    repo.writeToFile()
    data = np.array([[1 + 2j], [3 - 4j]])
    signal = record(vormel.timeseries(data, TIME))
    with h5py.File(scratch, "r") as file:
        stored = variable(file, f"id{signal}")["Data"]
        assert stored.dtype == np.complex128
        np.testing.assert_array_equal(stored[...].T, data)


def test_dump_tool_shows_the_numbers(repo, record, scratch):
    repo.writeToFile()
    record(vormel.timeseries(DATA, TIME))
    dump = subprocess.run(
        ["h5dump", scratch],
        capture_output=True,
        text=True,
        check=True,
        env={"PATH": os.environ["PATH"]},  # without the sanitizer
    ).stdout
    assert "H5T_IEEE_F64LE" in dump
    assert "1.5, -2, nan" in " ".join(dump.split())
    assert "0, 0.5, 1" in " ".join(dump.split())


def test_file_is_for_the_user_alone_and_goes_with_the_store(repo, scratch):
    repo.writeToFile()
    assert stat.S_IMODE(os.stat(scratch).st_mode) == 0o600
    repo.clean()
    assert not os.path.exists(scratch)


def test_signal_comes_back_from_the_file(repo, record, scratch):
    repo.writeToFile()
    signal = record(vormel.timeseries(DATA, TIME))
    values = repo.getSignal(signal)["DataValues"]
    np.testing.assert_array_equal(values.Data, DATA)
    np.testing.assert_array_equal(values.Time, TIME)
