"""What all tests of the package share."""

import gc
import os
import subprocess
import sys

import hypothesis
import pytest
import vormel
from vormel.Dravik.kvr import Map, SignalRepository

# The same examples at every run: a change fails for what it did. The long forms look for more.
hypothesis.settings.register_profile("same", derandomize=True)
hypothesis.settings.load_profile("default" if os.environ.get("KVR_LONG_TESTS") else "same")


@pytest.fixture(autouse=True, scope="module")
def garbage_of_other_files_is_collected():
    """Tests of other folders may leave cycles with host arrays, which would go in the middle of a test."""
    gc.collect()


@pytest.fixture(autouse=True)
def live_arrays_return_to_their_number(request, garbage_of_other_files_is_collected):
    """Every test ends with as many host arrays alive as it began with."""
    before = vormel.live_arrays()
    yield
    request.node.funcargs.clear()  # what other fixtures gave
    if vormel.live_arrays() != before:
        gc.collect()
    assert vormel.live_arrays() == before


@pytest.fixture(autouse=True)
def host_functions_are_put_back(live_arrays_return_to_their_number):
    yield
    vormel.functions.clear()


@pytest.fixture
def repo():
    """A handle to a store of its own."""
    repository = SignalRepository()
    repository.clean()
    repository = SignalRepository()
    yield repository
    repository.clean()


@pytest.fixture
def any_map():
    """A map from texts to values of any kind."""
    return Map("k", {})


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
