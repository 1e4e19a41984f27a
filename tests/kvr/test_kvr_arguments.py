"""Arguments at the edge: what is taken as it is meant, and what is refused with a text that helps."""

from datetime import date, datetime, timedelta, timezone

import kvr
import numpy as np
import pandas as pd
import pytest

UTC = timezone.utc


@pytest.fixture
def signal(run):
    return run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2])


# ---- Values and times of a new signal ----


@pytest.mark.parametrize(
    ("values", "text"),
    [
        (None, "values must be an array with time as its first axis, not None"),
        ({1, 2}, "values must be an array with time as its first axis, not {1, 2}"),
        ([[1, 2], [3]], r"values is ragged: values\[1\] has the shape \(1,\), values\[0\] has \(2,\)"),
        ([1, [2, 3]], r"values is ragged: values\[1\] has the shape \(2,\), values\[0\] has \(\)"),
        ([1, 2**64], r"values\[1\] fits neither int64 nor uint64: 18446744073709551616"),
        ([[1, 1], [1, -(2**64)]], r"values\[1, 1\] fits neither int64 nor uint64: -1844674"),
        (np.float16([1, 2]), "class float16 have no class in the store; convert them, as in values.astype"),
        (np.array([0, 1], "M8[s]"), r"datetime64\[s\] have no class in the store; give numbers, as in"),
        (np.array([0, 1], "m8[s]"), r"timedelta64\[s\] have no class in the store; give numbers, as"),
        (np.array([b"a", b"b"]), r"class \|S1 have no class in the store; give texts, as in"),
    ],
)  # fmt: skip
def test_refused_values_are_shown_with_their_place(run, values, text):
    with pytest.raises(ValueError, match=text):
        run.add("a", values, time=[0, 1])
    assert len(run) == 0


@pytest.mark.parametrize(
    ("time", "text"),
    [
        ([0, [1]], r"time is ragged: time\[1\] has the shape \(1,\), time\[0\] has \(\)"),
        (np.array([0, 1], "m8[s]"), "not timedeltas; give seconds"),
        ([pd.Timestamp(0), pd.NaT], r"time\[1\] is not a date \(NaT\)"),
        ([datetime(2020, 1, 1), 3], r"time\[1\] is neither a number nor a date: 3"),
        (np.array([0, None]), r"time\[0\] is neither a number nor a date: 0"),
    ],
)
def test_refused_times_are_shown_with_their_place(run, time, text):
    with pytest.raises(ValueError, match=text):
        run.add("a", [1, 2], time=time)
    assert len(run) == 0


def test_integers_of_a_list_stay_integers_up_to_uint64(run):
    values = run.add("a", [1, 2**63, 2**64 - 1], time=[0, 1, 2]).values
    assert values.dtype == np.uint64
    assert values.tolist() == [1, 2**63, 2**64 - 1]


@pytest.mark.parametrize(
    "time",
    [
        [date(1970, 1, 1), date(1970, 1, 2)],
        [datetime(1970, 1, 1), np.datetime64("1970-01-02")],
        [date(1970, 1, 1), datetime(1970, 1, 2, 1, tzinfo=timezone(timedelta(hours=1)))],
        [pd.Timestamp(0), pd.Timestamp("1970-01-02", tz="UTC")],
    ],
)
def test_dates_of_every_kind_become_seconds(run, time):
    signal = run.add("a", [1, 2], time=time)
    assert signal.time.tolist() == [0.0, 86400.0]
    assert signal.time_source == "seconds since 1970-01-01"


def test_times_in_an_array_of_objects_are_numbers(run):
    signal = run.add("a", [1, 2], time=np.array([0, 0.5], object))
    assert signal.time.tolist() == [0.0, 0.5]
    assert run.add("b", [1, 2], time=pd.Series([3, 4], dtype="Int64")).time.tolist() == [3, 4]


def test_dates_in_attoseconds_become_seconds(run):
    time = np.array([-5, 0, 9 * 10**18], "datetime64[as]")
    assert run.add("a", [1, 2, 3], time=time).time.tolist() == [-5e-18, 0.0, 9.0]
    verdict = kvr.compare_series(time, [1, 2, 3], time, [1, 2, 3])
    assert (verdict.status, verdict.judged) == ("within", 3)


def test_channel_without_dimensions_is_one_number(run):
    assert run.add("a", [1], time=[0], channel=np.array(3)).channel == (3,)
    for wrong in (np.array([[1, 2]]), np.array(1.5), None, True, "12"):
        with pytest.raises(TypeError, match="channel.* must be a whole number, not"):
            run.add("a", [1], time=[0], channel=wrong)


def test_metadata_that_cannot_be_kept_are_named(run, signal):
    for wrong in (object(), {"a": {1, 2}}, {3: 4}, 2**70):
        with pytest.raises(TypeError, match="^metadata cannot be kept: "):
            run.add("a", [1], time=[0], metadata=wrong)
        with pytest.raises(TypeError, match="^metadata cannot be kept: "):
            signal.metadata = wrong
    assert (len(run), signal.metadata) == (1, None)


def test_date_that_is_no_date_in_utc_is_refused(run):
    before = run.created
    early = datetime(1, 1, 1, tzinfo=timezone(timedelta(hours=14)))
    late = datetime(9999, 12, 31, 23, tzinfo=timezone(timedelta(hours=-5)))
    for wrong in (early, late):
        with pytest.raises(ValueError, match="is before year 1 or after year 9999 in UTC"):
            run.created = wrong
    assert run.created == before


# ---- Settings, display and dates ----


def test_texts_are_no_numbers_of_settings():
    for text in ("0.5", b"1", bytearray(b"1")):
        with pytest.raises(TypeError, match="relative must be a number, not "):
            kvr.Tolerance(relative=text)
        with pytest.raises(TypeError, match="interval must be a number, not "):
            kvr.Sync(interval=text)


def test_whole_number_beyond_all_doubles_is_infinite():
    tolerance = kvr.Tolerance(10**400, -(10**400))
    assert (tolerance.absolute, tolerance.relative) == (np.inf, -np.inf)


def test_color_of_another_type_is_told(signal):
    before = signal.color
    for wrong in (None, 3, ("1", "0", "0"), (1j, 0, 0), (None, 0, 0)):
        with pytest.raises(TypeError, match="color must be '#rrggbb' or three numbers, not "):
            signal.color = wrong
    assert signal.color == before


def test_visibility_is_not_taken_from_a_text(signal):
    for wrong in ("no", None, [True]):
        with pytest.raises(TypeError, match="visible must be True or False, not "):
            signal.visible = wrong
    assert signal.visible is False


def test_last_instant_of_all_dates_can_be_read_back(run):
    run.created = datetime.max.replace(tzinfo=UTC)
    assert datetime.max.replace(tzinfo=UTC) - run.created < timedelta(milliseconds=1)
    run.created = datetime.min.replace(tzinfo=UTC)
    assert run.created == datetime.min.replace(tzinfo=UTC)


# ---- Looking up ----


def test_position_beyond_the_runs_says_how_many_there_are(store, run, tmp_path):
    for runs, owner in ((store.runs, "the store"), (_in_a_file(store, tmp_path), "the file")):
        assert runs[0].name == runs[-1].name == runs[np.int8(0)].name == "Monday"
        with pytest.raises(IndexError, match=f"{owner} has 1 run, none at position -2"):
            runs[-2]
        for wrong in (1.0, None, ("Monday",)):
            with pytest.raises(TypeError, match="runs are looked up by name or position"):
                runs[wrong]


def _in_a_file(store, folder):
    store.save(folder / "week.kvr")
    return kvr.open(folder / "week.kvr").runs


def test_run_of_a_file_is_not_found_by_what_is_no_whole_number(store, run, tmp_path):
    runs = _in_a_file(store, tmp_path)
    assert runs.by_id(np.int64(1)).name == "Monday"
    for wrong in (True, 1.0, "1"):
        with pytest.raises(TypeError, match="id must be a whole number"):
            runs.by_id(wrong)
    with pytest.raises(kvr.NotFound):
        runs.by_id(2**40)


def test_name_of_a_run_is_in_the_store(store, run):
    assert "Monday" in store
    assert run in store
    assert "Tuesday" not in store
    assert 1 not in store


def test_unknown_group_names_near_misses(store, run):
    run.add("speed", [1], time=[0], path="car/engine")
    for column, wrong, text in (
        ("label", "sped", "no group is named 'sped'; did you mean 'speed'?"),
        ("path", "car", "no group is named 'car'; there is 'car/engine'"),
        ("run", "monday", "no group is named 'monday'; did you mean 'Monday'?"),
    ):
        with pytest.raises(kvr.NotFound) as caught:
            store.columns[column][wrong]
        assert str(caught.value) == text
        assert wrong not in store.columns[column]
        assert store.columns[column].get(wrong) is None
        assert store.columns[column].get(wrong, 3) == 3
    with pytest.raises(kvr.NotFound, match="^a column is 'path', 'source', "):
        store.columns["colour"]


def test_store_takes_no_state_of_its_own(store):
    with pytest.raises(AttributeError):
        store.name = "mine"


# ---- Files ----


def test_runs_and_paths_of_another_type_are_told(store, run, tmp_path):
    path = tmp_path / "week.kvr"
    store.save(path)
    for call, text in (
        (lambda: store.save(path, runs=3), "runs are runs or names of runs, not 3"),
        (lambda: store.save(path, append="no"), "append must be True or False, not 'no'"),
        (lambda: store.load(path, runs=3), "runs of a file are chosen by name; 3 is not a text"),
        (lambda: store.save(b"x.kvr"), "path must be a text or a path, not b'x.kvr'"),
        (lambda: store.save(None), "path must be a text or a path, not None"),
        (lambda: kvr.open(3), "path must be a text or a path, not 3"),
        (lambda: kvr.compare(store, run), r"not <Store of .*; name one of its runs, as .runs\[0\]"),
        (lambda: kvr.compare(run, kvr.open(path)), "name one of its runs"),
        (lambda: kvr.compare(run, 3), "a side is a run or a path, not 3$"),
    ):
        with pytest.raises(TypeError, match=text):
            call()
    assert len(kvr.open(path)) == len(store) == 1
