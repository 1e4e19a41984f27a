"""A store in file mode in a process that has hardly any memory left."""

import json
import os
import subprocess
import sys

import pytest

# Adds and reads until memory is used up, a few megabytes above what the process holds; then frees
# some, and goes on. Prints how often each thing came about.
CHILD = """
import collections, gc, json, resource, sys
import numpy as np
import vormel

room = int(sys.argv[1])
repo = vormel.Dravik.kvr.SignalRepository()
repo.writeToFile()
run = repo.createEmptyRun("run", 1)
outcomes = collections.Counter()


def add(values):
    name = "name"
    return repo.add(None, run, name, name, name, values, name, name, name, [], [], [], [], "", None,
                    [], name)


def attempt(action):
    try:
        result = action()
    except vormel.OutOfMemoryError:
        outcomes["out of memory"] += 1
    except vormel.Error as error:
        outcomes[error.identifier] += 1
    except MemoryError:
        outcomes["MemoryError"] += 1
    else:
        outcomes["done"] += 1
        return result


def series(count, first):
    time = np.arange(count, dtype=np.float64)
    return vormel.timeseries(time + first, time)


first = add(series(1000, 0))
add(series(100_000, 0))
expected = repo.getSignal(first)["DataValues"].Data
with open("/proc/self/statm") as statm:
    size = int(statm.read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (size + room, resource.RLIM_INFINITY))
kept = []
for turn in range(300):
    count = 1000 * (1 + turn % 40)
    number = attempt(lambda: add(series(count, turn)))
    kept.append(attempt(lambda: repo.getSignal(number if number else first)))
    kept.append(attempt(lambda: repo.getSignal(first + 1)))
    if turn % 50 == 49:
        kept.clear()
        gc.collect()
kept.clear()
gc.collect()
resource.setrlimit(resource.RLIMIT_AS, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
assert (repo.getSignal(first)["DataValues"].Data == expected).all()
repo.clean()
print(json.dumps(outcomes))
"""


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="the sanitizer needs the address space")
@pytest.mark.parametrize(
    "room", [2**18, 2**20, 3 * 2**20, 6 * 2**20, 12 * 2**20, 24 * 2**20]
)
def test_calls_fail_as_usual_and_the_process_lives(room):
    child = subprocess.run(
        [sys.executable, "-c", CHILD, str(room)], capture_output=True, text=True, check=False
    )
    assert (child.returncode, child.stderr) == (0, "")
    outcomes = json.loads(child.stdout)
    assert outcomes["done"] > 0
    allowed = {"done", "out of memory", "MemoryError"} | {
        f"KVR:kvr:{name}" for name in ("INPUT_MISMATCH", "FILE_NOT_LOCATED", "NON_EXISTENT")
    }
    assert set(outcomes) <= allowed
    assert sum(outcomes.values()) - outcomes["done"] > 0, "memory was never short"
