"""The signals of a run as the extension holds them: what it takes, leaves and lets go of."""

import kvr
import numpy as np
import pytest
import vormel
from kvr import _kvr

FACTS = ("run", "label", "path", "model", "source", "root_source", "time_source", "port",
         "channel", "sid")  # fmt: skip
TIME = [0.0, 1.0, 2.0]
MUCH = 1 << 30
PLAIN = {
    "double": [1.0, 2.0, 4.0],
    "single": np.array([1, 2, 4], np.float32),
    "integer": np.array([1, 2, 4], np.int16),
    "unsigned": np.array([1, 2, 4], np.uint64),
    "logical": [True, False, True],
}
OTHERS = {
    "complex": [1j, 2.0, 4.0],
    "matrix": [[1.0, 2.0], [3.0, 4.0], [5.0, 6.0]],
    "text": ["a", "b", "c"],
}


def record_of(signal):
    return signal._record(signal._repository())


def records_of(run):
    records = _kvr.SignalRecords(vormel.Object)
    taken = [records.add(record_of(signal), MUCH) for signal in run.signals]
    return records, taken


@pytest.mark.parametrize("name", PLAIN)
def test_vectors_of_native_numbers_are_taken(run, name):
    run.add(name, PLAIN[name], time=TIME)
    records, taken = records_of(run)
    assert taken == [True]
    assert records.holds(0)
    assert records.bytes == 3 * (8 + np.asarray(PLAIN[name]).itemsize)


@pytest.mark.parametrize("name", OTHERS)
def test_other_samples_are_left_to_the_package(run, name):
    run.add(name, OTHERS[name], time=TIME)
    records, taken = records_of(run)
    assert taken == [False]
    assert len(records) == 0


def test_few_samples_are_left_to_the_package(run):
    run.add("none", [], time=[])
    run.add("one", [1.0], time=[0.0])
    assert records_of(run)[1] == [False, False]


@pytest.mark.parametrize("time", [[True, True, True], ["a", "b", "c"], [[0, 1], [2, 3]], [0, 1]])
def test_samples_at_no_times_of_theirs_are_left_to_the_package(run, add_foreign, time):
    held = vormel.timeseries([1.0, 2.0, 3.0], TIME)
    record = dict(record_of(add_foreign(run, held)))
    assert _kvr.SignalRecords(vormel.Object).add(record, MUCH)
    record["DataValues"] = {"Time": np.array(time), "Data": np.ones((3, 1))}
    assert not _kvr.SignalRecords(vormel.Object).add(record, MUCH)


@pytest.mark.parametrize("key", ["RunID", "SignalLabel", "PortIndex", "Channel", "DataValues"])
def test_records_without_a_field_or_with_another_type_are_left(run, key):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    record = dict(record_of(run["speed"]))
    for other in (None, object(), 1.5, np.array([1.5, 2.5])):
        assert not _kvr.SignalRecords(vormel.Object).add({**record, key: other}, MUCH)
    del record[key]
    assert not _kvr.SignalRecords(vormel.Object).add(record, MUCH)


def test_names_are_those_of_the_signal(run):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0], path="a/b", model="m", source="s",
            root_source="r", time_source="t", port=3, channel=(4, 5), sid="7:1")  # fmt: skip
    run.add("torque", [1.0, 2.0], time=[0.0, 1.0], channel=(6,))
    records, taken = records_of(run)
    assert taken == [True, True]
    expected = [tuple(getattr(signal._facts(), name) for name in FACTS) for signal in run.signals]
    assert [records.facts(place) for place in (0, 1)] == expected
    assert [records.column(name, 0, 2) for name in FACTS] == [
        list(values) for values in zip(*expected)
    ]
    for value, known in zip(records.facts(0), expected[0]):
        assert type(value) is type(known)


def test_unknown_fields_and_places_are_refused():
    records = _kvr.SignalRecords(vormel.Object)
    records.add_nothing()
    assert records.facts(0) == (None,) * len(FACTS)
    assert records.column("label", 0, 1) == [None]
    assert not records.holds(0)
    with pytest.raises(ValueError, match="^no field labels$"):
        records.column("labels", 0, 1)
    for first, end in ((0, 2), (1, 0)):
        with pytest.raises(IndexError):
            records.column("label", first, end)
    for look in (records.facts, records.holds):
        with pytest.raises(IndexError):
            look(1)


def test_samples_are_held_if_wanted_until_they_are_dropped(run):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    records = _kvr.SignalRecords(vormel.Object)
    record = record_of(run["speed"])
    assert records.add(record, 0)
    assert not records.holds(0)
    assert records.add(record, MUCH)
    assert [records.holds(place) for place in (0, 1)] == [False, True]
    assert records.bytes == 32
    records.drop_series()
    assert not records.holds(1)
    assert records.bytes == 0


def test_records_are_read_up_to_one_that_is_not_plain(run):
    for number, values in enumerate(([1.0, 2.0], [3.0, 4.0], [1j, 2.0], [5.0, 6.0])):
        run.add(str(number), values, time=[0.0, 1.0])
    found = {signal.id: record_of(signal) for signal in run.signals}
    numbers = list(found)
    records = _kvr.SignalRecords(vormel.Object)
    assert records.read_to(found.__getitem__, numbers, 1, MUCH) is None
    assert len(records) == 1
    assert records.read_to(found.__getitem__, numbers, 4, MUCH)["SignalLabel"] == "2"
    assert records.column("label", 1, 2) == ["1"]
    records.add_nothing()
    assert records.read_to(found.__getitem__, numbers, 4, MUCH) is None
    assert [records.holds(place) for place in range(4)] == [True, True, False, True]


def test_what_reading_raises_leaves_the_records_before(run):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    record = record_of(run["speed"])
    records = _kvr.SignalRecords(vormel.Object)
    with pytest.raises(KeyError):
        records.read_to({1: record}.__getitem__, [1, 2], 2, MUCH)
    assert len(records) == 1
    for numbers in ([1], []):
        with pytest.raises(IndexError, match="fewer signals"):
            records.read_to({1: record}.__getitem__, numbers, 2, MUCH)
    assert records.read_to(lambda number: 5, [1, 2], 2, MUCH) == 5


# ---- Saved as they are ----

SETTINGS = {"unit": None, "visible": False, "tolerance": None, "sync": None}


@pytest.fixture
def writer(tmp_path):
    writer = _kvr.RecordingWriter(str(tmp_path / "a.kvr"), False, 0)
    settings = {"tolerance": kvr.Tolerance().to_fields(), "sync": kvr.Sync().to_fields()}
    writer.add_run({"name": "", "version": "", "created": 0, "instance": None, **settings})
    yield writer
    writer.close()


def signals_of(writer, tmp_path):
    writer.commit()
    with kvr.open(tmp_path / "a.kvr") as recording:
        return [(signal.label, signal.values.tolist()) for signal in recording.runs[0]]


def test_writer_takes_records_of_native_vectors(run, writer, tmp_path):
    for name, values in PLAIN.items():
        run.add(name, values, time=TIME)
    for number, signal in enumerate(run.signals, start=1):
        assert writer.add_record(record_of(signal), vormel.Object, SETTINGS, b"") == number
    expected = [(name, np.asarray(values).tolist()) for name, values in PLAIN.items()]
    assert signals_of(writer, tmp_path) == expected


def test_writer_adds_nothing_for_other_records(run, writer, tmp_path):
    for name, values in OTHERS.items():
        run.add(name, values, time=TIME)
    run.add("one", [1.0], time=[0.0])
    for signal in run.signals:
        assert writer.add_record(record_of(signal), vormel.Object, SETTINGS, b"") is None
    assert signals_of(writer, tmp_path) == []


@pytest.mark.parametrize(
    ("key", "value"),
    [
        ("LineColor", np.zeros((1, 3), np.float32)),
        ("LineColor", np.zeros((1, 2))),
        ("LineColor", (0.0, 0.0, 0.0)),
        ("LineDashed", 1),
        ("SignalLabel", "\ud800"),
        ("PortIndex", 1 << 31),
        ("PortIndex", 1 << 70),
        ("Channel", np.array([1 << 31])),
        ("DataValues", {}),
    ],
)
def test_writer_adds_nothing_for_a_record_with_another_field(run, writer, tmp_path, key, value):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    record = dict(record_of(run["speed"]))
    assert writer.add_record({**record, key: value}, vormel.Object, SETTINGS, b"") is None
    del record[key]
    assert writer.add_record(record, vormel.Object, SETTINGS, b"") is None
    assert signals_of(writer, tmp_path) == []


def rules():
    tolerance, sync = kvr.Tolerance(), kvr.Sync().to_dict()
    sync |= {"SyncMethod": 0, "InterpMethod": 0}
    return _kvr.Rules(tolerance.to_dict(), sync, 0, True, 0.0)


def judged(pairs, baseline, other, threads=1):
    """The judging that was told these pairs, each (place, one side, other side)."""
    judging = _kvr.PairJudging(baseline, other, 3, threads)
    for pair in pairs:
        judging.add(*pair, rules())
    while judging.wait():
        pass
    return judging


@pytest.mark.parametrize("threads", [1, 2, 5])
def test_places_are_judged_as_the_arrays_there(run, threads):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    run.add("other", [1.0, 2.5], time=[0.0, 1.0])
    records, _ = records_of(run)
    side = (0, 0, np.array([0.0, 1.0]), np.array([1.0, 2.5]), ())
    judging = judged([(0, 0, 0), (1, 0, 1), (2, 0, side)], records, records, threads)
    assert judging.statuses() == ["within", "out", "out"]
    assert judging.fields(1, False) == judging.fields(2, False)
    assert judging.done == 3


def test_pairs_of_places_are_judged_as_one_by_one(run):
    for number in range(3):
        run.add(str(number), [1.0, 2.0 + number], time=[0.0, 1.0])
    records, _ = records_of(run)
    judging = _kvr.PairJudging(records, records, 3, 2)
    records.add_nothing()
    assert judging.add_held([(0, 0), (1, 0), (2, 3), (3, 2)], rules()) == [(2, 3), (3, 2)]
    while judging.wait():
        pass
    assert judging.statuses() == ["within", "out", None]
    assert judging.fields(2, False) is None
    again, _ = records_of(run)
    by_one = judged([(1, 1, 0)], again, again)
    assert judging.fields(1, False) == by_one.fields(1, False)


def test_places_without_samples_are_refused(run):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    records, _ = records_of(run)
    with pytest.raises(TypeError, match="no records"):
        judged([(0, 0, 0)], records, None)
    for place in (1, -1):
        with pytest.raises((IndexError, RuntimeError)):
            judged([(0, place, 0)], records, records)
    with pytest.raises(IndexError, match="no such baseline signal"):
        judged([(3, 0, 0)], records, records)
    with pytest.raises(ValueError, match="one thread at least"):
        _kvr.PairJudging(records, records, 3, 0)
    records.drop_series()
    with pytest.raises(IndexError, match="signal 0 are not held"):
        judged([(0, 0, 0)], records, records)


def test_verdicts_stay_when_the_judging_is_closed(run):
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    records, _ = records_of(run)
    judging = judged([(0, 0, 0)], records, records)
    judging.close()
    assert judging.statuses() == ["within", None, None]
    with pytest.raises(ValueError, match="has ended"):
        judging.add(0, 0, 0, rules())
    assert not judging.wait()


def test_a_comparison_lets_go_of_the_samples(store):
    runs = store.new_run("a"), store.new_run("b")
    for one in runs:
        for name, values in {**PLAIN, **OTHERS}.items():
            one.add(name, values, time=TIME)
    comparison = kvr.compare(*runs)
    assert len(comparison) == len(PLAIN) + len(OTHERS)
    for looks in comparison.verdicts._found.looks:
        assert looks.held.bytes == 0
        assert all(look.series is None for look in looks)


def test_signals_beyond_the_memory_kept_are_read_again(store, monkeypatch):
    from kvr._store import looks

    runs = store.new_run("a"), store.new_run("b")
    for one, last in zip(runs, (4.0, 5.0)):
        for name, values in {
            **PLAIN,
            "matrix": OTHERS["matrix"],
            "changed": [1.0, 2.0, last],
        }.items():
            one.add(name, values, time=TIME)
    whole = kvr.compare(*runs).to_dict()
    for kept in (0, 100):
        monkeypatch.setattr(looks, "_KEPT", kept)
        assert kvr.compare(*runs).to_dict() == whole
    assert whole["counts"]["out"] == 1


def test_plain_and_other_signals_get_the_verdicts_of_their_arrays(store):
    runs = store.new_run("a"), store.new_run("b")
    values = {**PLAIN, "matrix": OTHERS["matrix"], "complex": OTHERS["complex"]}
    for name, one in values.items():
        runs[0].add(name, one, time=TIME)
        changed = np.array(one)
        changed[1] = changed[0]
        runs[1].add(name, changed, time=np.array(TIME) + 0.25)
    for name, verdict in zip(values, kvr.compare(*runs, coverage="common")):
        baseline, other = runs[0][name], runs[1][name]
        alone = kvr.compare_series(
            baseline.time, baseline.values, other.time, other.values, coverage="common"
        )
        for field in ("status", "instants", "judged", "out", "worst", "rms", "intervals"):
            assert getattr(verdict, field) == getattr(alone, field), name


def test_samples_are_let_go_as_soon_as_they_are_judged(run):
    """Before, a comparison held the samples of whole runs to its end."""
    for number in range(3):
        run.add(str(number), [1.0, 2.0], time=[0.0, 1.0])
    (here, _), (there, _) = records_of(run), records_of(run)
    judging = _kvr.PairJudging(here, there, 3, 1)
    judging.add_held([(0, 1), (2, 2)], rules())
    while judging.wait():
        pass
    assert [here.holds(place) for place in range(3)] == [False, True, False]
    assert [there.holds(place) for place in range(3)] == [True, False, False]
    assert (here.bytes, there.bytes) == (32, 32)
    here.drop(1)
    here.drop(1)
    assert here.bytes == 0
    with pytest.raises(IndexError):
        here.drop(3)
