"""Forks, several processes, and processes that are killed: nobody's values are touched."""

import json
import os
import signal
import subprocess
import sys

import pytest

# What the programs of this file begin with. Values are single numbers.
PRELUDE = """
import json, multiprocessing, os, signal, sys, time
import vormel
from vormel.Dravik.kvr import SignalRepository

repo = SignalRepository()
run = repo.createEmptyRun("Monday", 1)

def add(value):
    return repo.add(None, run, "", "", "source", vormel.timeseries([value], [0.0]), "", "", "",
                    [], [], [], [], "", None, None, "source")

def value(signal):
    try:
        return float(repo.getSignal(signal)["DataValues"].Data)
    except vormel.Error as error:
        return error.identifier

def write_to_file():
    try:
        repo.writeToFile()
        return "written"
    except vormel.Error as error:
        return error.identifier

def end_by_exit(): sys.exit(0)
def end_at_once(): os._exit(0)
def end_by_signal(): os.kill(os.getpid(), signal.SIGKILL)

def in_child(action, end=end_at_once):
    "What the action returns in a forked child, which has ended by then."
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        os.close(reading)
        os.write(writing, json.dumps(action()).encode())
        os.close(writing)
        end()
    os.close(writing)
    with os.fdopen(reading) as file:
        text = file.read()
    os.waitpid(child, 0)
    return json.loads(text)

def report(value): print(json.dumps(value))
"""


@pytest.fixture
def temporary(tmp_path, monkeypatch):
    """Where the private directories of the test's processes are made; none is left there."""
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    yield tmp_path
    subprocess.run([sys.executable, "-c", "import vormel"], check=True)
    assert os.listdir(tmp_path) == []


@pytest.fixture
def report_of(run_python, temporary):
    """Runs a program after the prelude; what it reported."""
    return lambda program: json.loads(run_python(PRELUDE + program))


@pytest.fixture
def started(temporary):
    """Starts a program after the prelude, which goes on until its standard input is closed."""
    programs = []

    def start(program):
        running = subprocess.Popen(
            [sys.executable, "-c", PRELUDE + program + "\nsys.stdout.flush(); sys.stdin.read()"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        programs.append(running)
        return running, json.loads(running.stdout.readline())

    yield start
    for running in programs:
        running.communicate()


# ---- Both sides of a fork ----

ACTIONS = {
    "add": "[value(add(20.0)), value(first), value(second)]",
    "clean": "[repo.clean()]",
    "write_to_file": "[repo.writeToFile(), value(first), value(SignalRepository() and add(9.0))]",
    "copy": "[value(int(repo.getID(repo.copyRun(run, 0), 1)))]",
    "remove": "[repo.removeRun(run), int(repo.getSignalCount())]",
}
MISSING = "KVR:kvr:NON_EXISTENT"
IN_FILE = {
    "add": [20.0, 1.0, 2.0],
    "clean": [None],
    "write_to_file": [None, MISSING, 9.0],
    "copy": [1.0],
    "remove": [None, 0],
}
IN_MEMORY = IN_FILE | {"write_to_file": [None, 1.0, 9.0]}  # what is in memory stays there


@pytest.mark.parametrize("end", ["end_by_exit", "end_at_once", "end_by_signal"])
@pytest.mark.parametrize("action", ACTIONS)
def test_parent_in_file_mode_keeps_its_values_whatever_the_child_does(report_of, action, end):
    child, parent = report_of(
        f"""
repo.writeToFile()
first, second = add(1.0), add(2.0)
child = in_child(lambda: {ACTIONS[action]}, {end})
report([child, [value(first), value(second), value(add(3.0)), value(first)]])
"""
    )
    assert child == IN_FILE[action]
    assert parent == [1.0, 2.0, 3.0, 1.0]


@pytest.mark.parametrize("action", ACTIONS)
def test_parent_in_memory_mode_keeps_its_values_whatever_the_child_does(report_of, action):
    child, parent = report_of(
        f"""
first, second = add(1.0), add(2.0)
child = in_child(lambda: {ACTIONS[action]}, end_by_exit)
report([child, [value(first), value(second), value(add(3.0)), value(first)]])
"""
    )
    assert child == IN_MEMORY[action]
    assert parent == [1.0, 2.0, 3.0, 1.0]


def test_both_sides_add_under_the_same_number_and_read_their_own(report_of):
    rounds = report_of(
        """
repo.writeToFile()
first = add(1.0)
reading, writing = os.pipe()
child = os.fork()
own = [value(add(float(100 * (child != 0) + i))) for i in range(20)]
own += [value(first)] + [value(number) for number in range(first + 1, first + 21)]
if child == 0:
    os.write(writing, json.dumps(own).encode())
    os._exit(0)
os.close(writing)
os.waitpid(child, 0)
report([json.loads(os.fdopen(reading).read()), own])
"""
    )
    for side, values in enumerate(rounds):
        added = [100.0 * side + i for i in range(20)]
        assert values == [*added, 1.0, *added]


def test_fork_of_a_fork_keeps_its_values_too(report_of):
    assert (
        report_of(
            """
repo.writeToFile()
first = add(1.0)
def below():
    second = add(2.0)
    return [in_child(lambda: [value(first), value(second), value(add(3.0)), repo.clean()]),
            value(first), value(second)]
report([in_child(below), value(first), value(add(4.0))])
"""
        )
        == [[[1.0, 2.0, 3.0, None], 1.0, 2.0], 1.0, 4.0]
    )


@pytest.mark.parametrize("mode", ["repo.writeToFile()", "pass"])
def test_fork_within_a_host_function(report_of, mode):
    assert (
        report_of(
            f"""
{mode}
first = add(1.0)
seen = []
def version():
    seen.append(in_child(lambda: [value(first), value(add(5.0)), repo.clean()]))
    return "own"
vormel.functions["version"] = version
second = repo.createEmptyRun("Tuesday", 2)
report([seen, repo.getVersion(second), value(first), value(add(2.0))])
"""
        )
        == [[[1.0, 5.0, None]], "own", 1.0, 2.0]
    )


def test_fork_while_a_signal_is_read_from_the_file(report_of):
    assert (
        report_of(
            """
repo.writeToFile()
first = add(1.0)
children = []
def timeseries():
    del vormel.functions["timeseries"]
    children.append(os.fork())
    return vormel.timeseries([0.0], [0.0])
vormel.functions["timeseries"] = timeseries
own = [value(first)]
own += [value(add(2.0)), value(first)]
if children[-1] == 0:
    os._exit(7 if own == [1.0, 2.0, 1.0] else 1)
report([own, os.waitstatus_to_exitcode(os.waitpid(children[-1], 0)[1])])
"""
        )
        == [[1.0, 2.0, 1.0], 7]
    )


def test_file_mode_that_begins_in_both_after_the_fork(report_of):
    assert (
        report_of(
            """
def begin(number):
    repo.writeToFile()
    return [value(add(number)), os.path.realpath(vormel.functions["tempdir"]())]
child, parent = in_child(lambda: begin(1.0), end_by_exit), begin(2.0)
report([child[0], parent[0], child[1] != parent[1]])
"""
        )
        == [1.0, 2.0, True]
    )


@pytest.mark.parametrize("mode", ["repo.writeToFile()", "pass"])
def test_pool_of_forked_processes_gives_right_values(report_of, mode):
    assert (
        report_of(
            f"""
{mode}
signals = [add(float(i)) for i in range(10)]

def work(number):
    own = add(1000.0 + number)
    return [value(own), value(signals[number % 10])]

with multiprocessing.get_context("fork").Pool(4) as pool:
    results = pool.map(work, range(200), chunksize=1)
report([results, [value(signal) for signal in signals], value(add(7.0))])
"""
        )
        == [[[1000.0 + i, float(i % 10)] for i in range(200)], [float(i) for i in range(10)], 7.0]
    )


def test_program_that_a_child_runs_in_its_place_leaves_the_parent_alone(report_of):
    assert (
        report_of(
            """
repo.writeToFile()
first = add(1.0)
child = os.fork()
if child == 0:
    os.execv(sys.executable, [sys.executable, "-c", "import vormel"])
os.waitpid(child, 0)
report([value(first), value(add(2.0))])
"""
        )
        == [1.0, 2.0]
    )


# ---- A replaced tempdir ----


def replaced(directory):
    return f"vormel.functions['tempdir'] = lambda: {str(directory) + os.sep!r}\n"


def test_child_of_a_process_with_a_replaced_tempdir_is_refused(report_of, tmp_path_factory):
    directory = tmp_path_factory.mktemp("shared")
    child, parent = report_of(
        replaced(directory)
        + """
repo.writeToFile()
first = add(1.0)
def refused():
    global repo
    texts = []
    for call in (repo.clean, repo.writeToFile, lambda: add(5.0), lambda: repo.getSignal(first)):
        try:
            call()
        except vormel.CallError as error:
            texts.append([error.identifier, str(error)])
    del repo
    return texts
report([in_child(refused, end_by_exit), [value(first), value(add(2.0))]])
"""
    )
    assert [identifier for identifier, _ in child] == ["Vormel:Forked"] * 4
    for _, text in child:
        assert str(directory) in text
        assert "spawn" in text
    assert parent == [1.0, 2.0]


PROGRAM = """
written = write_to_file()
report([written, value(add(1.0))] if written == "written" else [written])
"""


def test_second_process_on_a_tempdir_is_refused_and_the_first_keeps_its_values(
    started, tmp_path_factory, report_of
):
    directory = tmp_path_factory.mktemp("shared")
    first, opened = started(replaced(directory) + PROGRAM)
    assert opened == ["written", 1.0]
    held = (directory / "KVR.vdf").read_bytes()
    refused = ["KVR:kvr:INPUT_MISMATCH"]
    assert report_of(replaced(directory) + PROGRAM) == refused
    assert (directory / "KVR.vdf").read_bytes() == held
    first.kill()
    first.wait()
    assert report_of(replaced(directory) + PROGRAM) == opened


def test_second_process_may_go_on_once_the_first_has_ended(started, tmp_path_factory):
    directory = tmp_path_factory.mktemp("shared")
    first, _ = started(replaced(directory) + PROGRAM)
    second, answers = started(
        replaced(directory)
        + """
first = write_to_file()
print(json.dumps(first), flush=True)
sys.stdin.readline()
report([write_to_file(), value(add(3.0))])
"""
    )
    assert answers == "KVR:kvr:INPUT_MISMATCH"
    first.communicate()
    second.stdin.write("on\n")
    second.stdin.flush()
    assert json.loads(second.stdout.readline()) == ["written", 3.0]


# ---- Processes that are killed, directories that vanish ----


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_directory_of_a_killed_process_is_gone_after_the_next_start(started, temporary, number):
    running, _ = started("repo.writeToFile(); report(value(add(1.0)))")
    assert len(os.listdir(temporary)) == 1
    running.send_signal(number)
    running.wait()
    assert len(os.listdir(temporary)) == 1
    subprocess.run([sys.executable, "-c", "import vormel"], check=True)
    assert os.listdir(temporary) == []


# Processes that write as fast as they can are killed at random moments; each is forked from one
# that has no directory yet. The next one to make a directory removes what the one before left.
def test_forty_processes_killed_at_random_leave_nothing_after_the_next_one(report_of, temporary):
    left = report_of(
        f"""
import random
random.seed(3)
def work():
    repo.writeToFile()
    while True:
        if value(add(1.0)) != 1.0:
            os._exit(1)
        in_child(lambda: add(2.0))
left = []
for _ in range(40):
    child = os.fork()
    if child == 0:
        os.setpgid(0, 0)
        work()
    time.sleep(random.uniform(0.001, 0.08))
    try:
        os.killpg(child, signal.SIGKILL)
    except ProcessLookupError:
        os.kill(child, signal.SIGKILL)
    os.waitpid(child, 0)
    end = time.monotonic() + 10
    while True:
        in_child(lambda: vormel.functions["tempdir"](), end_by_exit)
        names = os.listdir({str(temporary)!r})
        if not names or time.monotonic() > end:
            break
    left.append(len(names))
report(left)
"""
    )
    assert left == [0] * 40


def test_removed_directory_ends_file_mode_until_it_is_begun_again(report_of):
    assert (
        report_of(
            """
import shutil
repo.writeToFile()
first = add(1.0)
shutil.rmtree(os.path.realpath(vormel.functions["tempdir"]()), ignore_errors=True)
lost = value(first)
repo.clean()
repo = SignalRepository()
run = repo.createEmptyRun("Tuesday", 1)
repo.writeToFile()
report([lost, value(add(2.0))])
"""
        )
        == ["KVR:kvr:FILE_NOT_LOCATED", 2.0]
    )


def test_exit_leaves_what_a_link_in_the_place_of_the_directory_leads_to(
    report_of, tmp_path_factory, temporary
):
    victim = tmp_path_factory.mktemp("victim")
    (victim / "precious").write_text("content")
    place = report_of(
        f"""
repo.writeToFile()
add(1.0)
place = os.path.realpath(vormel.functions["tempdir"]())
os.rename(place, place + "-moved")
os.symlink({str(victim)!r}, place)
report(place)
"""
    )
    assert (victim / "precious").read_text() == "content"
    assert os.listdir(temporary) == [os.path.basename(place)]
    os.unlink(place)
