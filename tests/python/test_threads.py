"""One thread at a time: what another thread may do while one is inside a call, and at exit."""

import gc
import subprocess
import sys
import threading

import pytest
import vormel
from vormel.Dravik.kvr import Map


@pytest.fixture
def elsewhere(repo):
    """Runs a function on another thread while a call of this one waits in the host function now.

    Gives back what the function returned or raised.
    """

    def run(action):
        outcome = []

        def act():
            try:
                outcome.append(action())
            except BaseException as error:
                outcome.append(error)

        def now():
            thread = threading.Thread(target=act)
            thread.start()
            thread.join()
            return 1.0

        vormel.functions["now"] = now
        repo.createEmptyRun("meanwhile", 1)
        vormel.functions.clear()
        return outcome.pop()

    return run


def assert_busy(outcome):
    assert isinstance(outcome, vormel.CallError), outcome
    assert outcome.identifier == "Vormel:Busy"
    assert outcome.function is None


# ---- What is refused ----


def test_call_on_another_thread_is_refused_and_changes_nothing(repo, elsewhere):
    assert_busy(elsewhere(lambda: repo.createEmptyRun("other", 1)))
    assert repo.getRunCount() == 1
    assert repo.getRunName(1) == "meanwhile"


def test_call_of_another_object_is_refused_and_changes_nothing(any_map, elsewhere):
    assert_busy(elsewhere(lambda: any_map.insert("a", 1.0)))
    assert any_map.getCount() == 0


def test_invoke_is_refused(repo, elsewhere):
    assert_busy(elsewhere(lambda: vormel.invoke(repo, "getRunCount")))


def test_construction_is_refused(elsewhere):
    assert_busy(elsewhere(lambda: Map("k", 1.0)))


def test_delete_is_refused_and_the_object_stays_alive(any_map, elsewhere):
    assert_busy(elsewhere(lambda: vormel.delete(any_map)))
    assert any_map.getCount() == 0


def test_own_host_function_is_refused(elsewhere):
    assert_busy(elsewhere(lambda: vormel.functions["version"]()))


def test_refused_thread_calls_when_the_other_one_has_left(repo, elsewhere):
    assert_busy(elsewhere(repo.getRunCount))
    counts = []
    thread = threading.Thread(target=lambda: counts.append(repo.getRunCount()))
    thread.start()
    thread.join()
    assert counts == [1]


def test_call_that_converts_its_arguments_is_one_already(repo, any_map):
    outcome = []

    def count():
        try:
            outcome.append(repo.getRunCount())
        except vormel.CallError as error:
            outcome.append(error)

    class Asking(list):
        def __iter__(self):
            thread = threading.Thread(target=count)
            thread.start()
            thread.join()
            return super().__iter__()

    any_map.insert("a", Asking(["b"]))
    assert_busy(outcome.pop())
    assert any_map.getDataByKey("a") == ["b"]


# ---- What is safe ----


def test_arrays_made_on_another_thread_outlive_the_call(elsewhere):
    kept = elsewhere(lambda: [vormel.array([1.5, 2.5]), vormel.array({"a": ["b", 3]})])
    assert kept[0].to_python().tolist() == [[1.5, 2.5]]
    assert kept[1].to_python() == {"a": ["b", 3]}


def test_array_in_the_making_outlives_the_call_of_another_thread(repo):
    begun, go_on = threading.Event(), threading.Event()
    made = []

    class Late(list):
        def __iter__(self):
            begun.set()
            assert go_on.wait(20)
            return super().__iter__()

    maker = threading.Thread(target=lambda: made.append(vormel.array([[1.5] * 40, Late(["a"])])))

    def now():
        maker.start()
        assert begun.wait(20)
        return 1.0

    vormel.functions["now"] = now
    repo.createEmptyRun("Monday", 1)
    go_on.set()
    maker.join()
    numbers, text = made[0].to_python()
    assert numbers.tolist() == [[1.5] * 40]
    assert text == ["a"]


def test_value_objects_are_made_and_read(elsewhere):
    series = vormel.timeseries([1.0, 2.0], [0.0, 1.0])
    made = elsewhere(lambda: vormel.timeseries(series.Data, series.Time, Name="other"))
    assert made.Data.tolist() == [[1.0, 2.0]]
    assert made.Name == "other"
    assert made != series


def test_arrays_are_counted_and_dropped(elsewhere):
    kept = [vormel.array([float(i), 1.0]) for i in range(100)]
    before = vormel.live_arrays()
    assert elsewhere(lambda: (kept.clear(), vormel.live_arrays())[1]) == before - 100


def test_functions_are_replaced_and_put_back(repo, elsewhere):
    def replace():
        vormel.functions["version"] = lambda: "elsewhere"
        return vormel.functions["version"]()

    assert elsewhere(replace) == "elsewhere"
    assert repo.getVersion(repo.createEmptyRun("next", 1)).startswith("Vormel")


def test_object_dropped_on_another_thread_ends_after_the_call(elsewhere):
    held = [Map("k", {}) for _ in range(20)]
    for i in range(20):
        held[i].insert("a", {"data": [1.0, 2.0]})
    before = vormel.live_arrays()

    def drop():
        held.clear()
        gc.collect()
        return vormel.live_arrays()

    assert elsewhere(drop) == before  # waits: its end runs the module's code
    assert vormel.live_arrays() == before - 60


def test_object_in_an_array_dropped_on_another_thread_ends_after_the_call(elsewhere):
    entries = Map("k", {})
    entries.insert("a", [1.0, 2.0])
    held = [vormel.array([entries, "text"])]
    del entries
    before = vormel.live_arrays()
    assert elsewhere(lambda: (held.clear(), vormel.live_arrays())[1]) == before - 2
    assert vormel.live_arrays() == before - 4


def test_many_threads_calling_at_once_are_served_or_refused(repo):
    served, others = [0], []

    def version():
        threading.Event().wait(0.001)
        return "v"

    vormel.functions["version"] = version

    def work():
        for _ in range(50):
            try:
                repo.createEmptyRun("any", 1)
                served[0] += 1
            except vormel.CallError as error:
                if error.identifier != "Vormel:Busy":
                    others.append(error)
            vormel.array([{"a": 1.5, "b": "text"}, [1, 2], "x"])

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert others == []
    assert served[0] > 0
    assert repo.getRunCount() == served[0]


# ---- Deep nesting ----

NESTED_CALLS = """
import sys, threading, vormel
from vormel.Dravik.kvr import SignalRepository
sys.setrecursionlimit(1_000_000)
repo = SignalRepository()
depth = 0

def now():
    global depth
    depth += 1
    repo.createEmptyRun("again", 1)
    return 1.0

vormel.functions["now"] = now

def nest():
    try:
        repo.createEmptyRun("first", 1)
    except vormel.Error as error:
        while error.__cause__ is not None:
            error = error.__cause__
        print(type(error).__name__, error.identifier, depth > 3)
"""


@pytest.mark.parametrize("stack", [256 * 1024, 1024 * 1024, 2 * 1024 * 1024])
def test_calls_nested_too_deep_for_the_stack_of_a_thread_are_refused(run_python, stack):
    program = (
        NESTED_CALLS
        + f"""
threading.stack_size({stack})
thread = threading.Thread(target=nest)
thread.start()
thread.join()
"""
    )
    assert run_python(program).split() == ["CallError", "Vormel:TooDeep", "True"]


def test_calls_nested_too_deep_for_the_main_thread_are_refused(run_python):
    assert run_python(NESTED_CALLS + "nest()").split() == ["CallError", "Vormel:TooDeep", "True"]


# ---- Exit ----

DAEMON = """
import sys, threading, time, vormel
from vormel.Dravik.kvr import Map, SignalRepository
repo = SignalRepository()
entries = Map("k", {})
entered = threading.Event()

def wait():
    entered.set()
    while True:
        time.sleep(0.0005)

def nested():
    vormel.functions["now"] = wait
    repo.createEmptyRun("inner", 1)

class Waiting:
    def __init__(self, then):
        self.then = then
    def __index__(self):
        self.then()

class WaitingList(list):
    def __iter__(self):
        wait()
"""

SITUATIONS = {
    "a call": """
vormel.functions["now"] = wait
body = lambda: repo.createEmptyRun("daemon", 1)
""",
    "a nested call": """
vormel.functions["now"] = nested
body = lambda: repo.createEmptyRun("outer", 1)
""",
    "a host function whose failure is held back": """
vormel.functions["tempdir"] = wait
body = repo.writeToFile
""",
    "an invocation": """
vormel.functions["now"] = wait
body = lambda: vormel.invoke(repo, "createEmptyRun", "daemon", 1)
""",
    "the count of outputs": """
body = lambda: repo.createEmptyRun("daemon", 1, nargout=Waiting(wait))
""",
    "an argument": """
body = lambda: entries.insert("a", WaitingList())
""",
    "an argument of a constructor": """
body = lambda: Map("k", WaitingList())
""",
    "a constructor in a host function": """
vormel.functions["now"] = lambda: Map("k", WaitingList())
body = lambda: repo.createEmptyRun("outer", 1)
""",
    "an array": """
body = lambda: vormel.array(["a", WaitingList()])
""",
    "the end of a callable": """
class Ended:
    def __call__(self):
        return 1.0
    def __del__(self):
        wait()
vormel.functions["now"] = Ended()
body = vormel.functions.clear
""",
}


@pytest.mark.parametrize("situation", SITUATIONS)
def test_daemon_thread_inside_python_code_lets_the_process_exit(situation):
    program = (
        DAEMON
        + SITUATIONS[situation]
        + """
threading.Thread(target=body, daemon=True).start()
assert entered.wait(20)
sys.exit(7)
"""
    )
    for _ in range(3):
        done = subprocess.run([sys.executable, "-c", program], capture_output=True, timeout=60)
        assert (done.returncode, done.stderr) == (7, b"")


def test_object_dropped_at_exit_beside_a_daemon_thread_in_a_call(run_python):
    assert (
        run_python(
            DAEMON
            + """
entries.insert("a", [1.0])
vormel.functions["now"] = wait
threading.Thread(target=repo.createEmptyRun, args=("daemon", 1), daemon=True).start()
assert entered.wait(20)
"""
        )
        == ""
    )


def test_functions_cleared_at_exit_drop_their_callables(run_python):
    assert (
        run_python(
            """
import atexit, vormel
class Callable:
    def __call__(self):
        return 1.0
    def __del__(self):
        vormel.functions.clear()
        print("dropped")
vormel.functions["now"] = Callable()
vormel.functions["version"] = Callable()
atexit.register(vormel.functions.clear)
"""
        ).split()
        == ["dropped", "dropped"]
    )
