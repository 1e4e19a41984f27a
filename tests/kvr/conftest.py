"""What all tests of the package kvr share."""

import os
import subprocess
import sys

import hypothesis
import kvr
import pytest
import vormel
from viewing import Window
from vormel.Dravik.kvr import SignalRepository

# The same examples at every run: a change fails for what it did. The long forms look for more.
hypothesis.settings.register_profile("same", derandomize=True)
hypothesis.settings.load_profile("default" if os.environ.get("KVR_LONG_TESTS") else "same")


@pytest.fixture(autouse=True)
def empty_store():
    """Every test begins and ends with an empty store, and without functions of its own."""
    SignalRepository().clean()
    yield
    store = kvr.Store()
    for run in store.runs:
        run.remove()  # a cleared store keeps its arrays to the end of the process
    store.clear()
    vormel.functions.clear()
    kvr.functions.clear()


@pytest.fixture
def store():
    return kvr.Store()


@pytest.fixture
def run(store):
    return store.new_run("Monday")


@pytest.fixture
def repo():
    """A host object: what a program that calls the module itself works with."""
    return SignalRepository()


@pytest.fixture
def add_foreign(repo):
    """Adds a record as another program might: (run, DataValues, **fields) to a kvr.Signal."""

    def add(run, held, *, time_dim=0, label="foreign", parent=0):
        number = repo.add(
            None, run.id, "", "", "source", held, "", "", label, time_dim, [], 0, [], "", None,
            parent, "source",
        )  # fmt: skip
        return kvr.Store().signal(int(number))

    return add


@pytest.fixture
def run_python():
    """Runs a program in a Python process of its own; returns what it prints."""

    def run(program):
        done = subprocess.run(
            [sys.executable, "-c", program], capture_output=True, text=True, env=os.environ
        )
        assert done.returncode == 0, done.stderr
        assert done.stderr == ""
        return done.stdout

    return run


# ---- The inspector's server ----


@pytest.fixture(scope="module")
def admitted():
    """A window of a server that all tests of a file ask."""
    with kvr.Store().view(browser=False) as view:
        yield Window(view.url)


@pytest.fixture
def window(admitted):
    """The same, without a comparison at the end of the test."""
    yield admitted
    admitted.send("DELETE", "/api/comparison")


@pytest.fixture
def view(store):
    """A server of the test's own."""
    with store.view(browser=False) as view:
        yield view


@pytest.fixture
def own_window(view):
    return Window(view.url)


@pytest.fixture
def other_window(view):
    return Window(view.url)


@pytest.fixture
def short_pauses(monkeypatch):
    """Servers look at the store more often than people need."""
    monkeypatch.setattr("kvr._view.inspection._PAUSE", 0.05)


@pytest.fixture
def speed(run):
    return run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine", unit="m/s")


@pytest.fixture
def pair(store, run, speed):
    """The run and another one whose signal ends differently."""
    other = store.new_run("Tuesday")
    other.add("speed", [4.5, 7.0, 9.9], time=[0.0, 0.1, 0.2], path="car/engine")
    return run, other
