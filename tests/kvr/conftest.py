"""What all tests of the package kvr share."""

import os
import subprocess
import sys

import hypothesis
import kvr
import pytest
import vormel
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
