"""The store, its runs and what they tell."""

import datetime
import math
import re

import kvr
import pytest
import vormel

UTC = datetime.timezone.utc


def labels(signals):
    return [signal.label for signal in signals]


# ---- The store ----


def test_two_stores_and_a_host_object_see_the_same(store, repo):
    run = store.new_run("Monday", instance=3)
    run.add("speed", [1.5], time=[0.0])
    assert kvr.Store().runs["Monday"] == run
    assert repo.getRunName(run.id) == "Monday"
    repo.setRunName(run.id, "Tuesday")
    assert run.name == "Tuesday"
    assert kvr.Store().signals[0].label == "speed"


def test_store_counts_and_iterates_over_runs(store):
    runs = [store.new_run(name) for name in ("a", "b", "a")]
    assert len(store) == 3
    assert list(store) == runs
    assert store.runs[0] == runs[0]
    assert store.runs[-1] == runs[2]
    assert store.runs[1:] == runs[1:]
    with pytest.raises(IndexError):
        store.runs[3]


def test_empty_store_is_true(store):
    assert store
    assert len(store) == 0


def test_repr_tells_what_is_held(store, run):
    run.add("speed", [1.0], time=[0.0], path="car")
    assert repr(store) == "<Store of 1 runs, 1 signals>"
    assert repr(run) == "<Run 1 'Monday', 1 signal>"
    assert repr(run["speed"]) == "<Signal 1 'speed' at 'car' of run 1>"


def test_html_is_capped_and_escapes_names(store):
    for i in range(60):
        store.new_run(f"<script>{i}" if i else "\u202e<b>&\n" + "x" * 1000)
    page = store._repr_html_()
    assert page.count("<tr>") == 52  # header, 50 runs, the rest in one
    assert "<script>" not in page
    assert "<b>" not in page
    assert "\u202e" not in page
    assert "&lt;script&gt;1" in page
    assert "and 10 more" in page
    assert len(page) < 10_000


def test_signals_are_listed_run_by_run(store):
    first, second = store.new_run("a"), store.new_run("b")
    second.add("s1", [1.0], time=[0.0])
    first.add("s2", [1.0], time=[0.0])
    assert labels(store.signals) == ["s2", "s1"]
    assert store.signal(1).label == "s1"


def test_signals_of_a_run_in_no_list_are_found_too(store, repo):
    repo.setDateCreated(77, 800000.0)  # makes run 77, which stands in no list
    store.runs.by_id(77).add("hidden", [1.0], time=[0.0])
    store.new_run("a").add("seen", [1.0], time=[0.0])
    assert [run.name for run in store.runs] == ["a"]
    assert labels(store.signals) == ["seen", "hidden"]
    assert store.runs.by_id(77).instance is None
    assert store.signal(1).run.id == 77
    assert store.signal(1).values.tolist() == [1.0]


def test_unknown_ids_are_not_found(store, run):
    with pytest.raises(KeyError, match="no run has the id 2"):
        store.runs.by_id(2)
    with pytest.raises(kvr.NotFound, match="no signal has the id 1"):
        store.signal(1)
    for wrong in ("1", 1.0, True):
        with pytest.raises(TypeError):
            store.runs.by_id(wrong)
    with pytest.raises(kvr.NotFound, match="no signal has the id 1099511627776"):
        store.signal(2**40)


def test_unknown_run_name_names_near_misses(store):
    for name in ("Monday", "Tuesday"):
        store.new_run(name)
    with pytest.raises(KeyError) as caught:
        store.runs["monday"]
    assert str(caught.value) == "no run is named 'monday'; did you mean 'Monday'?"
    with pytest.raises(KeyError) as caught:
        store.runs["x"]
    assert str(caught.value) == "no run is named 'x'; there is 'Monday' and 'Tuesday'"


def test_run_name_that_stands_twice_lists_the_ids(store):
    for _ in range(2):
        store.new_run("Monday")
    with pytest.raises(kvr.Ambiguous) as caught:
        store.runs["Monday"]
    assert str(caught.value) == "2 runs are named 'Monday', with the ids 1 and 2"


def test_runs_that_the_list_names_twice_or_after_their_end_are_left_out(store, repo):
    for name in "abc":
        store.new_run(name)
    repo.removeEmptyRun(1)  # the next run gets number 3 once more
    store.new_run("d")
    assert [run.name for run in store.runs] == ["b", "d"]
    store.runs["d"].remove()
    assert [run.name for run in store.runs] == ["b"]
    assert len(store) == 1


def test_find_takes_shell_patterns_and_regular_expressions(store, run):
    for label, path in (("engine", "car/a"), ("Engine", "car/b"), ("gear", "bike/a")):
        run.add(label, [1.0], time=[0.0], path=path, model="m", sid=label)
    assert labels(run.find("eng*")) == ["engine"]
    assert labels(store.find("car/*", by="path")) == ["engine", "Engine"]
    assert labels(run.find(re.compile("(?i)ENG"))) == ["engine", "Engine"]
    assert labels(run.find("[eE]ngine", by="sid")) == ["engine", "Engine"]
    assert labels(run.find("gin")) == []
    with pytest.raises(ValueError, match="by must be"):
        run.find("x", by="colour")
    with pytest.raises(TypeError):
        run.find(3)


# ---- Runs ----


def test_run_name_can_be_any_text_without_nul(store):
    run = store.new_run("")
    for name in ("Grüße €", "\U0001f600", "two\nlines"):
        run.name = name
        assert run.name == name
    for wrong in ("a\0b", "half \ud800"):
        with pytest.raises(ValueError, match="position"):
            run.name = wrong
        with pytest.raises(ValueError, match="name has"):
            store.new_run(wrong)
    with pytest.raises(TypeError):
        run.name = 3


@pytest.mark.parametrize("instance", [0, 1, -1, 500, 65535, 2**31 - 1, -(2**31)])
def test_instance_is_read_from_the_lists_of_the_store(store, instance):
    store.new_run("a", instance=instance)
    assert store.runs["a"].instance == instance


def test_instance_given_by_another_program_is_found(store, repo):
    repo.createEmptyRun("a", 1234)
    far = repo.createEmptyRun("b", 10**9)
    store.runs["b"].add("s", [1.0], time=[0.0])  # a signal carries the number
    assert [run.instance for run in store.runs] == [1234, 10**9]
    assert store.runs.by_id(far).instance == 10**9


def test_instance_of_a_copy_is_not_what_its_signals_carry(store):
    run = store.new_run("a", instance=4)
    run.add("s", [1.0], time=[0.0])
    assert run.copy(instance=9).instance == 9
    assert run.copy().instance == 4


def test_instance_beyond_the_store_is_refused(store):
    with pytest.raises(ValueError, match="instance must be"):
        store.new_run("a", instance=2**31)


def test_created_counts_days_from_1970(run, repo):
    repo.setDateCreated(run.id, 719528.0)
    assert run.created == datetime.datetime(1970, 1, 1, tzinfo=UTC)
    repo.setDateCreated(run.id, 719529.5)
    assert run.created == datetime.datetime(1970, 1, 2, 12, tzinfo=UTC)


@pytest.mark.parametrize(
    "moment",
    [
        datetime.datetime(2020, 2, 29, 12, 34, 56, tzinfo=UTC),
        datetime.datetime(1, 1, 1, tzinfo=UTC),
        datetime.datetime(9999, 12, 31, 23, 59, 59, tzinfo=UTC),
        datetime.datetime(2026, 7, 1, 1, 2, 3, 250000, tzinfo=UTC),
    ],
)
def test_created_comes_back_as_it_was_set(run, moment):
    run.created = moment
    assert run.created == moment
    assert run.created.tzinfo == UTC


def test_created_takes_any_zone_and_refuses_none(run):
    zone = datetime.timezone(datetime.timedelta(hours=2))
    run.created = datetime.datetime(2020, 1, 1, 2, tzinfo=zone)
    assert run.created == datetime.datetime(2020, 1, 1, tzinfo=UTC)
    with pytest.raises(ValueError, match="time zone"):
        run.created = datetime.datetime(2020, 1, 1)
    with pytest.raises(TypeError, match="a date must be an aware datetime, not '2020-01-01'"):
        run.created = "2020-01-01"


def test_date_that_is_none_is_said_to_be_none(run, repo):
    for day in (math.nan, math.inf, 1e9, 0.0):
        repo.setDateCreated(run.id, day)
        with pytest.raises(ValueError, match="is not a date"):
            _ = run.created


def test_version_is_the_text_of_the_host(run, repo):
    assert run.version == repo.getVersion(run.id) != ""


def test_label_that_stands_twice_lists_the_paths(run):
    run.add("speed", [1.0], time=[0.0], path="car/engine")
    run.add("speed", [1.0], time=[0.0])
    with pytest.raises(kvr.Ambiguous) as caught:
        run["speed"]
    assert str(caught.value) == ("2 signals are labelled 'speed', at car/engine and an empty path")


def test_unknown_label_names_near_misses(run):
    with pytest.raises(KeyError, match="the run has no signals"):
        run["speed"]
    run.add("speed", [1.0], time=[0.0])
    for wrong in ("sped", "Speed"):
        with pytest.raises(KeyError, match="did you mean 'speed'"):
            run[wrong]
    for odd in ("a\0", "\ud800", ""):
        with pytest.raises(kvr.NotFound):
            run[odd]
    with pytest.raises(TypeError):
        run[0]


def test_label_is_looked_up_in_its_own_run(store, run):
    other = store.new_run("other")
    other.add("speed", [2.0], time=[0.0])
    with pytest.raises(kvr.NotFound):
        run["speed"]
    mine = run.add("speed", [1.0], time=[0.0])
    assert run["speed"] == mine
    assert "speed" in run
    assert mine in run
    assert mine not in other


def test_half_a_character_does_not_find_its_replacement(run):
    run.add("\ufffd", [1.0], time=[0.0])
    with pytest.raises(kvr.NotFound):
        run["\ud800"]


def test_looking_at_a_run_without_signals_changes_nothing_of_it(run, repo):
    assert list(run.signals) == []
    assert len(run) == 0
    with pytest.raises(vormel.Error) as caught:
        repo.getSignal(run.id, 1)
    assert caught.value.word == "Run ID"  # "Index" once the store was asked for its count


def test_copy_keeps_names_and_values(store, run):
    run.add("speed", [1.5, 2.5], time=[0.0, 0.1], unit="m/s")
    twin = run.copy()
    assert (twin.name, twin.id) == ("Monday", 2)
    assert twin["speed"].values.tolist() == [1.5, 2.5]
    assert twin["speed"].unit == "m/s"
    assert twin != run


def test_html_shows_a_run_whose_date_is_none(store, run, repo):
    repo.setDateCreated(run.id, math.nan)
    assert "Monday" in store._repr_html_()


def test_very_long_names_are_cut_in_errors(store, run):
    run.name = "x" * 1_000_000
    run.add("y" * 1_000_000, [1.0], time=[0.0])
    for look in (lambda: store.runs["z" * 1_000_000], lambda: run["z" * 1_000_000]):
        with pytest.raises(kvr.NotFound) as caught:
            look()
        assert len(str(caught.value)) < 1000
    assert len(repr(run)) < 300
    assert len(repr(run.signals)) < 300


# ---- Columns ----


def test_columns_group_signals_by_their_texts(store, run):
    for label, path in (("b", "Z"), ("é", "z"), ("a", "Z")):
        run.add(label, [1.0], time=[0.0], path=path, model="m", source=label)
    columns = store.columns
    assert list(columns) == ["path", "source", "label", "model", "run"]
    assert columns["label"].names() == ["a", "b", "é"]  # by bytes
    assert columns["label"].names(descending=True) == ["é", "b", "a"]
    assert labels(columns["path"]["Z"]) == ["b", "a"]
    assert {name: len(found) for name, found in columns["model"].items()} == {"m": 3}
    assert len(columns["path"]) == 2
    with pytest.raises(KeyError):
        columns["path"]["none"]
    with pytest.raises(KeyError):
        columns["colour"]


def test_group_keeps_its_name_when_its_signals_are_gone(store, run):
    run.add("a", [1.0], time=[0.0]).remove()
    assert store.columns["label"]["a"] == []
    assert "a" in store.columns["label"]
    assert "\0" not in store.columns["label"]


def test_source_column_forgets_removed_signals_that_the_store_still_lists(store, run, repo):
    repo.add(None, run.id, "", "", "here", 1.0, "", "", "l", 0, [], 0, [], "", None, [], "there")
    store.signal(1).remove()
    assert repo.getIDCount("here", "GDATASOURCE") == 1
    assert store.columns["source"]["here"] == []


def test_run_column_lists_the_runs_of_a_name_by_creation(store):
    runs = [store.new_run(name) for name in ("b", "a", "b")]
    column = store.columns["run"]
    assert column.names() == ["b", "a"]
    assert column.names(descending=True) == ["b", "a"]  # the store keeps the order of creation
    assert column["b"] == [runs[0], runs[2]]
    with pytest.raises(KeyError):
        column["c"]


@pytest.mark.parametrize("removed", [0, 1])
def test_names_of_many_groups_are_those_that_the_store_lists(store, monkeypatch, removed):
    monkeypatch.setattr("kvr._store.columns._COMPARISONS", 10)
    labels = ["", "Z", "a", "é", "\uffff", "\U0001f600", *(f"s{i}" for i in range(60))]
    run = store.new_run("many")
    for label in labels:
        run.add(label, [1.0], time=[0.0])
    for signal in run.signals[:removed]:
        signal.remove()
    repository = vormel.Dravik.kvr.SignalRepository()
    listed = [repository.getGroup(i, "GSIGNALNAME", "ASC") for i in range(1, len(labels) + 1)]
    assert store.columns["label"].names() == listed
    assert store.columns["label"].names(descending=True) == listed[::-1]


def test_copy_of_a_run_whose_values_are_lost_leaves_no_run_behind(store):
    run = store.new_run("Monday", instance=3)
    with store.to_file():
        run.add("a", [1.0, 2.0], time=[0.0, 1.0])
    with store.to_file():  # a new scratch file, in place of the first
        with pytest.raises(kvr.NoValues, match="run 1 cannot be copied: the values of a signal"):
            run.copy()
    assert [each.name for each in store] == ["Monday"]
    assert (len(run), run.instance) == (1, 3)
