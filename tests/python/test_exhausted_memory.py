"""Exhausted memory: no thread's first failure needs memory that is not there."""

import os

import pytest
import vormel
from vormel.Dravik.kvr import Map

EXHAUST = """
import ctypes, resource, threading, vormel
from vormel.Dravik.kvr import SignalRepository

libc = ctypes.CDLL(None)
libc.malloc.restype = ctypes.c_void_p
libc.malloc.argtypes = [ctypes.c_size_t]
libc.free.argtypes = [ctypes.c_void_p]
M_ARENA_MAX = -8
libc.mallopt(M_ARENA_MAX, 1)  # one heap for all threads, so that one thread can exhaust it
repo = SignalRepository()
newest = None  # of the blocks that are taken; each begins with the address of the one before

def exhaust():
    global newest
    libc.malloc_trim(0)
    with open("/proc/self/statm") as statm:
        pages = int(statm.read().split()[0])
    size = pages * resource.getpagesize()
    resource.setrlimit(resource.RLIMIT_AS, (size, resource.RLIM_INFINITY))
    for bytes in (1 << 20, 1 << 16, 1 << 12, 1 << 9, 1 << 7, 1 << 5, 16):
        while True:
            block = libc.malloc(bytes)
            if block is None:
                break
            ctypes.c_void_p.from_address(block).value = newest
            newest = block

def release():
    resource.setrlimit(resource.RLIMIT_AS, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
    global newest
    while newest is not None:
        before = ctypes.c_void_p.from_address(newest).value
        libc.free(newest)
        newest = before

def failure(call):
    try:
        call()
    except BaseException as error:
        return error

def report(error):
    print(type(error).__name__, getattr(error, "identifier", None))
"""

CALLS = {
    "a call": "lambda: repo.getSignal(7)",
    "a constructor": "SignalRepository",
    "an invocation": 'lambda: vormel.invoke(repo, "getSignal", 7)',
    "an array": "lambda: vormel.array(object())",
    "a host function": "lambda: vormel.functions['tempdir']()",
}

# The second where there is no memory for the first.
EXHAUSTED = ("OutOfMemoryError Vormel:OutOfMemory", "MemoryError None")


# The address sanitizer's own allocator takes no notice of how much a process may have.
needs_the_heap_itself = pytest.mark.skipif(
    "asan" in os.environ.get("LD_PRELOAD", ""), reason="the sanitizer's heap cannot be exhausted"
)


@needs_the_heap_itself
@pytest.mark.parametrize("call", CALLS)
def test_first_failure_of_a_thread_without_memory_is_exhausted_memory(run_python, call):
    program = (
        EXHAUST
        + f"""
call = {CALLS[call]}
go, done, failures = threading.Event(), threading.Event(), []

def work():
    go.wait()
    failures.append(failure(call))
    done.set()

thread = threading.Thread(target=work)
thread.start()
failure(exhaust)  # which may run out of memory itself
go.set()
done.wait()
release()
thread.join()
report(failures.pop())
report(failure(lambda: repo.getSignal(7)))
"""
    )
    first, later = run_python(program).splitlines()
    assert first in EXHAUSTED
    assert later == "Error KVR:kvr:NON_EXISTENT"


@needs_the_heap_itself
@pytest.mark.parametrize("call", CALLS)
def test_first_failure_of_the_process_without_memory_is_exhausted_memory(run_python, call):
    program = (
        EXHAUST
        + f"""
call = {CALLS[call]}
failures = []

def work():
    try:
        exhaust()
        failures.append(failure(call))
    finally:
        release()

work()
report(failures.pop())
report(failure(lambda: repo.getSignal(7)))
"""
    )
    first, later = run_python(program).splitlines()
    assert first in EXHAUSTED
    assert later == "Error KVR:kvr:NON_EXISTENT"


# ---- Memory that Python itself could not have ----


class Exhausting(list):
    def __iter__(self):
        raise MemoryError("no room for the items")


@pytest.mark.parametrize(
    "use",
    [
        lambda entries, value: entries.insert("a", value),
        lambda entries, value: vormel.invoke(entries, "insert", "a", value),
        lambda entries, value: Map("k", value),
        lambda entries, value: vormel.array(value),
        lambda entries, value: vormel.timeseries(value, []),
    ],
    ids=["a call", "an invocation", "a constructor", "an array", "a value object"],
)
def test_memory_error_of_python_in_a_conversion_is_exhausted_memory_with_its_cause(any_map, use):
    with pytest.raises(vormel.OutOfMemoryError) as caught:
        use(any_map, Exhausting())
    assert caught.value.identifier == "Vormel:OutOfMemory"
    assert caught.value.word is None
    assert str(caught.value.__cause__) == "no room for the items"
    assert type(caught.value.__cause__) is MemoryError
