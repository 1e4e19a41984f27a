"""Recording files: what is saved comes back, from the store, from files and from other processes."""

import datetime
import gzip
import os
import signal as signals
import sqlite3
import stat
import subprocess
import sys
import time
from pathlib import Path

import hypothesis
import hypothesis.extra.numpy as arrays
import hypothesis.strategies as st
import kvr
import numpy as np
import pytest
import vormel
from kvr._files import formats
from kvr._files.sqlite import writing
from kvr._files.sqlite.writing import save_recording
from kvr._store.signal import Signal

LONG = bool(os.environ.get("KVR_LONG_TESTS"))
ROOT = Path(__file__).parents[2]
DAYS = [ROOT / "examples" / "data" / f"{day}.csv" for day in ("2016-06-29", "2016-07-29")]
CLASSES = (
    "bool", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64",
    "float32", "float64", "complex64", "complex128",
)  # fmt: skip
TEXT = st.text(st.characters(blacklist_categories=["Cs"], blacklist_characters="\0"), max_size=8)
NUMBER = st.floats(allow_nan=False)


def same(one, other):
    """Bit for bit: class, shape and bytes; texts by their content."""
    if one.dtype.kind in "UO":
        return one.shape == other.shape and one.tolist() == other.tolist()
    return (one.dtype, one.shape, one.tobytes()) == (other.dtype, other.shape, other.tobytes())


def facts(found):
    """All that two equal signals have in common but for the values and the run."""
    return found._facts()[1:], found.unit, found.color, found.dash, found.visible


def assert_same_run(one, other):
    assert (one.name, one.version, one.created, one.instance) == (
        other.name, other.version, other.created, other.instance,
    )  # fmt: skip
    assert (one.tolerance, one.sync) == (other.tolerance, other.sync)
    assert len(one) == len(other)
    for first, second in zip(one.signals, other.signals):
        assert facts(first) == facts(second)
        assert same(first.time, second.time)
        assert same(first.values, second.values)
        assert vormel.dumps(first.metadata) == vormel.dumps(second.metadata)
        for settings in ("tolerance", "sync"):
            mine, its = getattr(first, settings), getattr(second, settings)
            assert (mine, mine.inherited) == (its, its.inherited)
        assert (first.parent and first.parent.label) == (second.parent and second.parent.label)
        assert [c.label for c in first.children] == [c.label for c in second.children]


@pytest.fixture
def path(tmp_path):
    return tmp_path / "drive.kvr"


@pytest.fixture
def filled(store):
    """A store with two runs that have something of everything."""
    monday = store.new_run("Monday", instance=3)
    speed = monday.add(
        "speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine", model="car",
        source="sensor", root_source="bus", time_source="s", port=2, channel=(1, 2), sid="car:1",
        unit="m/s",
    )  # fmt: skip
    speed.tolerance = kvr.Tolerance.window(0, 10, 1, 0.5, 0.1, 0.01, 0.001)
    speed.sync = kvr.Sync.custom("edges", interp="linear")
    speed.color, speed.dash, speed.visible = "#ff8000", ":", True
    monday.add("gear", ["one", "twö"], time=[0, 1], parent=speed)
    cube = np.arange(24, dtype=np.int16).reshape(4, 3, 2)
    monday.add("cube", cube, time=np.arange(4, dtype=np.float32), metadata={"list": [1, "a"]})
    monday.add("empty", [], time=[])
    monday.tolerance = kvr.Tolerance(relative=0.5)
    tuesday = store.new_run("Tuesday")
    tuesday.add("on", [True, False], time=[0.0, 0.1], parent=speed)
    tuesday.add("wave", np.array([1 + 2j, -0.0]), time=[0.0, 0.1])
    tuesday.sync = kvr.Sync("uniform", interval=0.5)
    tuesday.created = datetime.datetime(2020, 2, 29, 12, 30, 0, 250_000, datetime.timezone.utc)
    store.new_run("without signals")
    return store


# ---- Everything comes back ----


def test_open_recording_shows_what_the_store_has(filled, path):
    filled.save(path)
    with kvr.open(path) as recording:
        assert [run.name for run in recording.runs] == ["Monday", "Tuesday", "without signals"]
        for mine, its in zip(filled.runs, recording.runs):
            assert_same_run(mine, its)


def test_loaded_runs_are_what_was_saved_and_save_to_the_same_bytes(filled, path, tmp_path):
    filled.save(path)
    filled.clear()
    loaded = filled.load(path)
    assert [run.name for run in loaded] == ["Monday", "Tuesday", "without signals"]
    with kvr.open(path) as recording:
        for mine, its in zip(loaded, recording.runs):
            assert_same_run(mine, its)
    filled.save(tmp_path / "again.kvr")
    assert (tmp_path / "again.kvr").read_bytes() == path.read_bytes()


def test_records_of_the_store_are_saved_as_their_fields_are(filled, path, tmp_path, monkeypatch):
    """The writer takes plain records as they are, everything else field by field."""
    filled.save(path)
    everything_in = Signal._everything_in
    monkeypatch.setattr(
        Signal, "_everything_in", lambda *both: everything_in(*both)._replace(record=None)
    )
    filled.save(tmp_path / "again.kvr")
    assert (tmp_path / "again.kvr").read_bytes() == path.read_bytes()


def test_loaded_signals_are_drawn_as_the_file_says(store, path):
    """The store gives each new signal a colour and a dash of its own."""
    run = store.new_run("Monday")
    for number in range(40):
        signal = run.add(str(number), [1.0], time=[0.0])
        signal.color, signal.dash, signal.visible = "#000000", "-", number % 2 == 0
    run.save(path)
    store.clear()
    (loaded,) = store.load(path)
    assert {(signal.color, signal.dash) for signal in loaded} == {((0.0, 0.0, 0.0), "-")}
    assert [signal.visible for signal in loaded] == [True, False] * 20


def test_falling_times_of_a_file_are_named_for_each_signal(path, store):
    writer = kvr._kvr.RecordingWriter(str(path), False, 0)
    settings = {"tolerance": kvr.Tolerance().to_fields(), "sync": kvr.Sync().to_fields()}
    writer.add_run({"name": "", "version": "", "created": 0, "instance": None, **settings})
    texts = dict.fromkeys(("path", "model", "source", "root_source", "time_source", "sid"), "")
    rest = {"unit": None, "channel": (), "color": (0, 0, 0), "dash": "-", "visible": True}
    for label, port, times in (
        ("good", 0, [0.0, 1.0]),
        ("bad", 0, [1.0, 0.0]),
        ("q", -1, [0.0] * 2),
    ):
        fields = {"label": label, "port": port, "tolerance": None, "sync": None, **texts, **rest}
        writer.add_signal(fields, np.array(times), np.array([1.0, 2.0]), (2,), b"")
    writer.commit()
    with pytest.raises(kvr.FormatError, match="time falls at time") as caught:
        store.load(path)
    assert caught.value.where == "signal 'bad'"
    assert len(store) == 0


def test_runs_of_a_file_are_saved_as_the_same_bytes(filled, path, tmp_path):
    filled.save(path)
    with kvr.open(path) as recording:
        formats.save(tmp_path / "again.kvr", list(recording.runs), append=False)
    assert (tmp_path / "again.kvr").read_bytes() == path.read_bytes()


@hypothesis.given(st.data())
@hypothesis.settings(
    max_examples=400 if LONG else 40, deadline=None,
    suppress_health_check=list(hypothesis.HealthCheck),
)  # fmt: skip
def test_any_signal_comes_back(tmp_path_factory, data):
    store = kvr.Store()
    store.clear()
    run = store.new_run(data.draw(TEXT), instance=data.draw(st.integers(-2, 5)))
    for number in range(data.draw(st.integers(1, 3))):
        shape = data.draw(arrays.array_shapes(min_dims=1, max_dims=4, min_side=0, max_side=4))
        if data.draw(st.booleans()):
            values = data.draw(arrays.arrays(data.draw(st.sampled_from(CLASSES)), shape))
        else:
            texts = data.draw(st.lists(TEXT, min_size=shape[0], max_size=shape[0]))
            values = np.array(texts, dtype=object)
        if values.size == 0 and values.ndim > 1:
            values = values.reshape(-1)[:0]
        times = np.arange(len(values), dtype=data.draw(st.sampled_from(["f8", "f4", "i4", "u8"])))
        made = run.add(
            data.draw(TEXT), values, times, path=data.draw(TEXT), sid=data.draw(TEXT),
            unit=data.draw(st.none() | TEXT), port=data.draw(st.integers(0, 2**31 - 1)),
            channel=data.draw(st.lists(st.integers(-5, 5), max_size=3)),
            parent=data.draw(st.sampled_from([None, *run.signals])),
        )  # fmt: skip
        if data.draw(st.booleans()):
            made.tolerance = data.draw(
                st.builds(kvr.Tolerance, NUMBER, NUMBER)
                | st.builds(kvr.Tolerance.function, TEXT)
                | st.builds(kvr.Tolerance.window, NUMBER, NUMBER, NUMBER, NUMBER)
            )
        if data.draw(st.booleans()):
            made.sync = data.draw(
                st.builds(kvr.Sync, st.sampled_from(["union", "intersection"]), interval=NUMBER)
                | st.builds(kvr.Sync.custom, TEXT)
            )
        made.visible = data.draw(st.booleans())
    folder = tmp_path_factory.mktemp("any")
    run.save(folder / "one.kvr")
    with kvr.open(folder / "one.kvr") as recording:
        assert_same_run(run, recording.runs[0])
    store.clear()
    store.load(folder / "one.kvr")
    store.save(folder / "two.kvr")
    assert (folder / "one.kvr").read_bytes() == (folder / "two.kvr").read_bytes()


def test_real_data_comes_back(store, path):
    for day in DAYS:
        store.load(day)
    store.save(path)
    with kvr.open(path) as recording:
        for mine, its in zip(store.runs, recording.runs):
            assert_same_run(mine, its)


def test_dates_stay_dates(run, path):
    run.add("speed", [1.0], time=np.array(["2020-01-01"], "datetime64[s]"))
    run.save(path)
    with kvr.open(path) as recording:
        assert recording.runs[0]["speed"].time_source == "seconds since 1970-01-01"


# ---- Choosing, adding, refusing ----


def test_named_runs_are_saved_and_loaded(filled, path):
    filled.save(path, runs="Tuesday")
    filled.save(path, runs=["Monday", filled.runs[2]], append=True)
    with kvr.open(path) as recording:
        assert [run.name for run in recording.runs] == ["Tuesday", "Monday", "without signals"]
        assert recording.runs["Tuesday"]["on"].parent is None  # it was not saved with it
        loaded = filled.load(recording, runs="Monday")
    assert [run.name for run in loaded] == ["Monday"]
    with pytest.raises(kvr.NotFound):
        filled.load(path, runs="Friday")


def test_runs_of_a_file_are_asked_as_those_of_the_store(filled, path, tmp_path):
    filled.save(path)
    (tmp_path / "one.csv").write_text("time,a\n0,1\n")
    for recording in (kvr.open(path), kvr.open(tmp_path / "one.csv")):
        runs = recording.runs
        assert runs.by_id(runs[-1].id) == runs[-1]
        with pytest.raises(kvr.NotFound, match="no run has the id 9"):
            runs.by_id(9)
        assert runs[0].name in runs
        assert runs[0] in runs
        assert "Friday" not in runs
        assert None not in runs


def test_run_of_a_file_is_saved_as_one_of_the_store(filled, path, tmp_path):
    filled.save(path)
    with kvr.open(path) as recording:
        recording.runs["Monday"].save(tmp_path / "monday.kvr")
        with kvr.open(tmp_path / "monday.kvr") as copy:
            assert copy.runs[0].created == recording.runs["Monday"].created
            assert [facts(one) for one in copy.runs[0]] == [
                facts(one) for one in recording.runs["Monday"]
            ]


def test_run_that_is_saved_twice_keeps_its_hierarchy_in_both_copies(store, path):
    run = store.new_run("Monday")
    whole = run.add("whole", [1.0], time=[0.0])
    run.add("part", [1.0], time=[0.0], parent=whole)
    store.save(path, runs=[run, run])
    with kvr.open(path) as recording:
        for copy in recording.runs:
            assert copy["part"].parent == copy["whole"]


def test_option_that_the_format_does_not_have_is_told(filled, path, tmp_path):
    filled.save(path)
    (tmp_path / "one.csv").write_text("time;a\n0;1\n")
    with pytest.raises(TypeError, match="'recording' has no option 'time', it takes no options"):
        kvr.open(path, time="t")
    with pytest.raises(TypeError, match="'csv' has no option 'sep', it takes 'delimiter', 'dec"):
        kvr.open(tmp_path / "one.csv", sep=";")
    assert kvr.open(tmp_path / "one.csv", delimiter=";").runs[0]["a"].values.tolist() == [1]


def test_run_that_is_not_in_the_file_is_told_with_the_file(filled, path):
    filled.save(path)
    with pytest.raises(kvr.NotFound, match=r"drive\.kvr: no run is named 'Tuesdy'; did you mean"):
        filled.load(path, runs=["Monday", "Tuesdy"])
    with pytest.raises(TypeError, match="chosen by name; 0 is not a text"):
        filled.load(path, runs=[0])
    with pytest.raises(TypeError, match="runs are runs or names of runs, not 5"):
        filled.save(path, runs=[5])


@pytest.mark.parametrize("append", [False, True])
def test_place_that_cannot_be_written_is_an_error_of_the_system(filled, tmp_path, append):
    (tmp_path / "taken.kvr").mkdir()
    with pytest.raises(FileNotFoundError, match=r"No such file or directory: '.*none/a\.kvr'"):
        filled.save(tmp_path / "none" / "a.kvr", append=append)
    with pytest.raises(IsADirectoryError, match=r"Is a directory: '.*taken\.kvr'"):
        filled.save(tmp_path / "taken.kvr", append=append)
    assert [entry.name for entry in tmp_path.iterdir()] == ["taken.kvr"]


def test_signal_that_is_removed_while_its_run_is_saved_is_gone(store, path):
    run = store.new_run("Monday")
    first, second = (run.add(label, [1.0, 2.0], time=[0.0, 1.0]) for label in ("a", "b"))
    store.save(path)
    before = path.read_bytes()
    with pytest.raises(kvr.Gone, match=f"^signal {second.id} was removed$"):
        save_recording(str(path), [run], False, lambda done: second.remove())
    assert path.read_bytes() == before
    assert os.listdir(path.parent) == ["drive.kvr"]


def test_appending_makes_a_file_that_is_not_there(filled, path):
    filled.save(path, append=True)
    assert len(kvr.open(path)) == 3


def test_refused_save_leaves_the_old_file(filled, path, add_foreign):
    filled.save(path)
    before = path.read_bytes()
    add_foreign(filled.runs["Tuesday"], {"Time": np.array([0.0]), "Data": [{}]})
    for append in (False, True):
        with pytest.raises(ValueError, match="signal 'foreign': its values are of class object"):
            filled.save(path, append=append)
        assert path.read_bytes() == before
    assert os.listdir(path.parent) == ["drive.kvr"]


def test_signal_whose_parent_is_in_a_later_run_is_loaded(store, path):
    first, second = store.new_run("first"), store.new_run("second")
    parent = second.add("parent", [1.0], time=[0.0])
    first.add("child", [1.0], time=[0.0], parent=parent)
    store.save(path)
    store.clear()
    store.load(path)
    assert store.runs["first"]["child"].parent == store.runs["second"]["parent"]


def test_runs_compare_without_the_store(filled, path):
    filled.save(path)
    filled.clear()
    comparison = kvr.compare(f"{path}#Tuesday", f"{path}#Tuesday")
    assert comparison.passed and len(comparison) == 2
    assert len(filled) == 0


def test_signals_of_one_time_base_share_their_times(store, path):
    run = store.new_run("Monday")
    for label, times in (
        ("a", [0.0, 1.0]),
        ("b", [0.0, 1.0]),
        ("c", [0.0, 2.0]),
        ("d", [0.0, 1.0]),
    ):
        run.add(label, [1, 2], time=times)
    run.save(path)
    with kvr.open(path) as recording:
        a, b, c, d = (signal.time for signal in recording.runs[0])
        assert np.shares_memory(a, b) and not a.flags.writeable
        assert [times.tolist() for times in (a, b, c, d)] == [[0, 1], [0, 1], [0, 2], [0, 1]]
        kept = recording.runs[0]["d"]
        assert kept.time.tolist() == [0, 1]
    with pytest.raises(ValueError, match="is closed"):
        _ = kept.time


_COMPARING = """
import resource, sys
import numpy as np
import kvr
from kvr import _kvr

path, signals, samples = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
settings = {"tolerance": kvr.Tolerance().to_fields(), "sync": kvr.Sync().to_fields()}
writer = _kvr.RecordingWriter(path, False, 8 * signals * samples)
writer.add_run({"name": "a", "version": "", "created": 0, "instance": None, **settings})
times = np.arange(float(samples))
for number in range(signals):
    fields = dict.fromkeys(("path", "model", "source", "root_source", "time_source", "sid"), "")
    fields |= {"label": str(number), "unit": None, "port": 0, "channel": (), "color": (0, 0, 0)}
    fields |= {"dash": "-", "visible": True, "tolerance": None, "sync": None}
    writer.add_signal(fields, times, times + number, (samples,), b"")
writer.commit()

def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss // 1024

kvr.compare(path, path, only=["0"], threads=1)  # loads what comparing needs
before = peak()
assert kvr.compare(path, path, threads=2).counts["within"] == signals
with kvr.open(path) as recording:
    assert sum(signal.values[1] for signal in recording.runs[0]) == sum(range(1, signals + 1))
print(peak() - before)
"""


def test_comparing_and_reading_take_the_memory_of_a_few_signals(path):
    """The file has 160 MB; a batch of pairs for each thread, and four ahead, have 2 x 16 MB."""
    done = subprocess.run(
        [sys.executable, "-c", _COMPARING, str(path), "200", "100000"],
        capture_output=True, text=True,
    )  # fmt: skip
    assert done.returncode == 0, done.stderr
    assert path.stat().st_size > 160_000_000
    assert int(done.stdout) < 60


def test_closed_recording_says_so(filled, path):
    filled.save(path)
    recording = kvr.open(path)
    speed = recording.runs["Monday"]["speed"]
    recording.close()
    recording.close()
    with pytest.raises(ValueError, match=r"drive\.kvr is closed"):
        _ = speed.values


def test_failed_load_leaves_the_store_empty(filled, path):
    filled.save(path)
    database = sqlite3.connect(path)
    database.execute("UPDATE signal SET label='x' WHERE label='wave'")
    database.commit()
    database.close()
    filled.clear()
    with pytest.raises(kvr.FormatError) as caught:
        filled.load(path)
    assert (caught.value.path, caught.value.where) == (str(path), "signal 6")
    assert caught.value.what == "the row has changed since it was written: its sum differs"
    assert len(filled) == 0


def run_sql(path, sql):
    database = sqlite3.connect(path)
    database.executescript(sql)
    database.close()


@pytest.mark.parametrize(
    ("sql", "what"),
    [
        ("PRAGMA user_version=2", "has format 2 of recording files; this program reads up to 1"),
        ("PRAGMA application_id=1", "is no recording file"),
        ("CREATE VIEW more AS SELECT 1", "has other tables than a recording file"),
    ],
)
def test_newer_foreign_and_crafted_files_are_format_errors(filled, path, sql, what):
    filled.save(path)
    run_sql(path, sql)
    for use in (kvr.open, filled.load, lambda at: filled.save(at, append=True)):
        with pytest.raises(kvr.FormatError) as caught:
            use(path)
        error = caught.value
        assert (error.path, error.what, error.where) == (str(path), what, "")
    assert run_kvr("verify", path) == (2, "", f"kvr: {path}: {what}\n")


@pytest.mark.skipif(not LONG, reason="waits 10 seconds")
def test_second_writer_says_who_holds_the_file(filled, path):
    filled.save(path)
    program = f"""
import sqlite3, sys
database = sqlite3.connect({str(path)!r}, isolation_level=None)
database.execute("BEGIN IMMEDIATE")
print(flush=True)
sys.stdin.read()
"""
    with subprocess.Popen(
        [sys.executable, "-c", program], stdin=subprocess.PIPE, stdout=subprocess.PIPE
    ) as holder:
        holder.stdout.readline()
        with pytest.raises(
            BlockingIOError, match=rf"process {holder.pid} \(.*\) is writing"
        ) as caught:
            filled.save(path, append=True)
        assert caught.value.filename == str(path)
        holder.stdin.close()


def test_full_disk_is_an_os_error_that_names_the_file(filled, path):
    program = f"""
import kvr, resource, signal
signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
store = kvr.Store()
store.new_run("Monday").add("long", range(100_000), time=range(100_000))
resource.setrlimit(resource.RLIMIT_FSIZE, (300_000, -1))
try:
    store.save({str(path)!r})
except OSError as error:
    print(type(error).__name__, error.filename)
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.stdout == f"OSError {path}\n", done.stderr
    assert os.listdir(path.parent) == []


def test_file_that_cannot_be_written_is_read(filled, path):
    filled.save(path)
    os.chmod(path, 0o400)
    os.chmod(path.parent, 0o500)
    try:
        with kvr.open(path) as recording:
            assert recording.runs["Monday"]["speed"].unit == "m/s"
        assert os.listdir(path.parent) == ["drive.kvr"]
    finally:
        os.chmod(path.parent, 0o700)
    assert stat.S_IMODE(path.stat().st_mode) == 0o400


# ---- Several processes ----

_ADDING = """
import sys, kvr
store = kvr.Store()
run = store.new_run(sys.argv[2])
run.add("speed", [1.0] * 1000, time=range(1000))
for _ in range(int(sys.argv[3])):
    store.save(sys.argv[1], append=True)
"""


def test_two_processes_add_runs_at_a_time(filled, path):
    filled.save(path)
    writers = [
        subprocess.Popen([sys.executable, "-c", _ADDING, str(path), name, "10"])
        for name in ("one", "other")
    ]
    assert [writer.wait() for writer in writers] == [0, 0]
    with kvr.open(path) as recording:
        names = [run.name for run in recording.runs]
    assert sorted(names[3:]) == ["one"] * 10 + ["other"] * 10
    assert kvr._kvr.verify_recording(str(path), lambda done, total: None) == []


def test_killed_process_leaves_the_old_or_the_new_file(store, path):
    store.new_run("old").add("speed", [1.0], time=[0.0])
    store.save(path)
    program = f"""
import kvr
store = kvr.Store()
store.new_run("new").add("long", range(200_000), time=range(200_000))
print(flush=True)
while True:
    store.save({str(path)!r})
"""
    with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE) as process:
        process.stdout.readline()
        time.sleep(0.5)
        process.send_signal(signals.SIGKILL)
    with kvr.open(path) as recording:
        assert recording.runs[0].name in ("old", "new")
    store.save(path)
    assert os.listdir(path.parent) == ["drive.kvr"]


# ---- The format ----


def test_file_of_format_1_opens(tmp_path):
    path = tmp_path / "format_1.kvr"
    path.write_bytes(gzip.decompress((Path(__file__).parent / "format_1.kvr.gz").read_bytes()))
    with kvr.open(path) as recording:
        monday, tuesday = recording.runs
        assert (monday.name, monday.instance, monday.tolerance) == (
            "Monday", 3, kvr.Tolerance(relative=0.5),
        )  # fmt: skip
        speed = monday["speed"]
        assert same(speed.values, np.array([4.5, 7.0, 9.5]))
        assert same(speed.time, np.array([0.0, 0.1, 0.2]))
        assert facts(speed) == (
            ("speed", "car/engine", "car", "sensor", "bus", "s", 2, (1, 2), "car:1"),
            "m/s", (1.0, 0.5, 0.0), ":", True,
        )  # fmt: skip
        assert speed.tolerance == kvr.Tolerance.window(0, 10, 1, 0.5, 0.1, 0.01, 0.001)
        assert speed.sync == kvr.Sync.custom("edges", interp="linear")
        assert [child.label for child in speed.children] == ["gear", "on"]
        assert monday["gear"].values.tolist() == ["one", "twö"]
        assert same(monday["cube"].values, np.arange(24, dtype=np.int16).reshape(4, 3, 2))
        assert monday["cube"].metadata["list"] == [np.int32(1), "a"]
        assert same(tuesday["wave"].values, np.array([1 + 2j, -0.0]))
    assert kvr._kvr.verify_recording(str(path), lambda done, total: None) == []


def python_of(page):
    text = (ROOT / "docs" / page).read_text()
    return text.split("```python\n")[1].split("```")[0]


def test_plain_python_of_the_page_reads_a_signal(filled, path):
    filled.save(path)
    names = {}
    exec(python_of("recording-files.md"), names)  # noqa: S102
    times, values = names["read_signal"](str(path), "Monday", "speed")
    assert (times, values) == ((0.0, 0.1, 0.2), (4.5, 7.0, 9.5))


def test_schema_of_the_page_is_that_of_the_file(filled, path):
    filled.save(path)
    page = (ROOT / "docs" / "recording-files.md").read_text()
    sql = page.split("```sql\n")[1].split("```")[0]
    database = sqlite3.connect(path)
    tables = [text for (text,) in database.execute("SELECT sql FROM sqlite_schema")]
    numbers = [
        database.execute(f"PRAGMA {name}").fetchone()[0]
        for name in ("application_id", "user_version")
    ]
    database.close()
    assert [" ".join(text.split()).replace("( ", "(") for text in sql.split(";\n")[:-1]] == tables
    assert numbers == [0x4B565252, 1]


# ---- The command ----


def run_kvr(*arguments):
    done = subprocess.run(
        [sys.executable, "-m", "kvr", *map(str, arguments)], capture_output=True, text=True
    )
    return done.returncode, done.stdout, done.stderr


def test_convert_joins_files_and_takes_a_run_out(path, tmp_path):
    assert run_kvr("convert", *DAYS, path) == (0, "", "")
    with kvr.open(path) as recording:
        assert [run.name for run in recording.runs] == ["2016-06-29", "2016-07-29"]
    one = tmp_path / "one.csv"
    assert run_kvr("convert", f"{path}#2016-07-29", one) == (0, "", "")
    assert kvr.compare(one, DAYS[1]).passed


def test_verify_tells_sound_damaged_and_unreadable(filled, path, tmp_path):
    filled.save(path)
    assert run_kvr("verify", path) == (0, f"{path}: sound\n", "")
    database = sqlite3.connect(path)
    database.execute("UPDATE signal SET label='x' WHERE id=2")
    database.commit()
    database.close()
    what = "the row has changed since it was written: its sum differs"
    assert run_kvr("verify", path) == (1, "", f"kvr: {path}, signal 2: {what}\n")
    foreign = tmp_path / "foreign.kvr"
    foreign.write_bytes(b"x" * 1000)
    assert run_kvr("verify", foreign) == (2, "", f"kvr: {foreign}: is no recording file\n")


def test_runs_added_to_a_file_that_another_process_makes_meanwhile_are_kept(
    store, tmp_path, monkeypatch
):
    path = tmp_path / "both.kvr"
    store.new_run("mine").add("a", [1.0], time=[0.0])
    write = writing._write
    theirs = "import kvr, sys; kvr.Store().new_run('theirs').save(sys.argv[1])"

    def after_another_process(*arguments):
        if not path.exists():
            subprocess.run([sys.executable, "-c", theirs, path], check=True)
        write(*arguments)

    monkeypatch.setattr(writing, "_write", after_another_process)
    store.save(path, append=True)
    with kvr.open(path) as recording:
        assert [run.name for run in recording.runs] == ["theirs", "mine"]
    assert list(tmp_path.iterdir()) == [path]
