"""Which signal of one run is compared with which of the other."""

import hypothesis
import kvr
import numpy as np
import pytest
from hypothesis import strategies as st


@pytest.fixture
def two(store):
    return store.new_run("baseline"), store.new_run("other")


def statuses(comparison):
    return [(verdict.label, verdict.status) for verdict in comparison]


def paired(two, first, second, **options):
    """Pairs as (baseline id, other id), 0 for none. Runs are made of dicts of fields."""
    for run, signals_of_run in zip(two, (first, second)):
        for fields in signals_of_run:
            run.add(**({"label": "l", "values": [1.0], "time": [0.0]} | fields))
    comparison = kvr.compare(*two, **options)
    ids = [
        tuple(side.id if side else 0 for side in (v.baseline_identity, v.other_identity))
        for v in comparison
    ]
    return ids, comparison.warnings


def test_path_pairs_path_port_and_channel_whatever_the_label(two):
    first = [dict(path="p", port=1), dict(path="p", port=2), dict(path="p", channel=[1])]
    second = [
        dict(path="p", channel=[1], label="x"),
        dict(path="p", port=2),
        dict(path="q", port=1),
    ]
    assert paired(two, first, second) == ([(1, 0), (2, 5), (3, 4), (0, 6)], [])


def test_empty_path_pairs_by_label_port_and_channel(two):
    first = [dict(label="a"), dict(label="b", port=1), dict(label="c")]
    second = [dict(label="b"), dict(label="a"), dict(label="b", port=1), dict(path="c")]
    assert paired(two, first, second)[0] == [(1, 5), (2, 6), (3, 0), (0, 4), (0, 7)]


def test_name_source_and_sid_pair_by_their_text(two):
    first = [dict(label="a", source="s", sid="1"), dict(label="b", source="t", sid="2")]
    second = [dict(label="b", source="s", sid="2"), dict(label="a", source="u", sid="1")]
    assert paired(two, first, second, match="name")[0] == [(1, 4), (2, 3)]
    assert [v.other.id if v.other else 0 for v in kvr.compare(*two, match="source")] == [3, 0, 4]
    assert [v.other.id for v in kvr.compare(*two, match="sid")] == [4, 3]


def test_signal_without_key_texts_is_keyed_by_its_label_apart_from_the_others(two):
    first = [dict(label="a"), dict(label="s")]
    second = [dict(label="x", source="a"), dict(label="a"), dict(label="b", source="s")]
    assert paired(two, first, second, match="source")[0] == [(1, 4), (2, 0), (0, 3), (0, 5)]


def test_tuple_of_fields_pairs_by_all_of_them(two):
    first = [dict(label="a", path="p", port=1), dict(label="a", path="q")]
    second = [dict(label="a", path="q"), dict(label="a", path="p", port=2)]
    assert paired(two, first, second, match=("label", "path"))[0] == [(1, 4), (2, 3)]
    assert len(kvr.compare(*two, match=("label", "path", "port"))) == 3


def test_numbers_of_a_tuple_stay_where_the_texts_are_empty(two):
    first = [dict(label="a", port=1), dict(label="a", port=2)]
    second = [dict(label="a", port=2), dict(label="a", port=1)]
    assert paired(two, first, second, match=("source", "port"))[0] == [(1, 4), (2, 3)]


def test_key_that_stands_several_times_is_paired_in_order_with_one_warning(two):
    first = [dict(path="p"), dict(path="p"), dict(path="p")]
    second = [dict(path="p"), dict(path="q"), dict(path="p")]
    ids, warnings = paired(two, first, second)
    assert ids == [(1, 4), (2, 6), (3, 0), (0, 5)]
    assert warnings == [
        "the key 'p' stands 3 times in the baseline and twice in the other; "
        "its signals are paired in their order"
    ]


def test_warning_names_a_key_of_numbers_alone(two):
    _, warnings = paired(two, [{}, {}, dict(port=2), dict(port=2)], [{}], match=("port",))
    assert [text.split(" stands ")[0] for text in warnings] == ["the key '0'", "the key '2'"]


def test_only_and_ignore_look_at_path_and_label_on_both_sides(two):
    first = [dict(path="car/a", label="x"), dict(path="car/b", label="y"), dict(label="z")]
    second = [dict(path="car/a", label="w"), dict(path="car/b", label="y")]
    assert paired(two, first, second, only="car/a/*")[0] == [(1, 4)]
    assert len(kvr.compare(*two, ignore=["*/y", "z"])) == 1
    assert statuses(kvr.compare(*two, only=["*x", "z"])) == [("x", "missing"), ("z", "missing")]
    assert statuses(kvr.compare(*two, only="*/w")) == [("w", "extra")]
    with pytest.raises(ValueError, match="only='car' matches no signal on either side"):
        kvr.compare(*two, only=["z", "car"])
    with pytest.raises(ValueError, match="only='Z'"):
        kvr.compare(*two, only="Z")
    assert len(kvr.compare(*two, only="z", ignore="*")) == 0
    with pytest.raises(TypeError):
        kvr.compare(*two, only=[1])


@pytest.mark.parametrize("match", ["label", "Path", ("label", "colour"), (), ("id",)])
def test_unknown_ways_of_pairing_are_refused(two, match):
    with pytest.raises(ValueError, match="match "):
        kvr.compare(*two, match=match)


@hypothesis.settings(deadline=None, max_examples=100)
@hypothesis.given(
    st.lists(st.sampled_from(["a", "b", "", "c"]), max_size=8),
    st.lists(st.sampled_from(["a", "b", "", "d"]), max_size=8),
    st.sampled_from(["path", "name", "source"]),
)
def test_each_signal_stands_in_one_verdict(first, second, match):
    store = kvr.Store()
    runs = store.new_run("a"), store.new_run("b")
    for run, names in zip(runs, (first, second)):
        for name in names:
            run.add(name, [1.0], time=[0.0], path=name, source=name)
    comparison = kvr.compare(*runs, match=match, threads=1)
    assert [v.baseline.id for v in comparison if v.baseline] == [s.id for s in runs[0]]
    assert sorted(v.other.id for v in comparison if v.other) == [s.id for s in runs[1]]
    expected = sum(min(first.count(name), second.count(name)) for name in set(first))
    assert comparison.counts["within"] == expected
    for run in runs:
        run.remove()


# ---- Pairing while signals are read ----


def paired_plainly(here, there):
    """For each of the labels `here` the place of its partner; the i-th goes with the i-th."""
    free = {label: [j for j, other in enumerate(there) if other == label] for label in here}
    return [free[label].pop(0) if free[label] else None for label in here]


@pytest.mark.parametrize("seed", range(4))
def test_many_signals_in_any_order_are_paired_as_few_at_once(store, seed):
    """More than are read at a time, some of them several times, some on one side only."""
    random = np.random.default_rng(seed)
    sides = [[str(label) for label in random.integers(0, 400, 300 + 150 * i)] for i in (0, 1)]
    runs = [store.new_run("baseline"), store.new_run("other")]
    for run, labels in zip(runs, sides):
        for place, label in enumerate(labels):
            run.add(label, [float(place), 0.0], time=[0.0, 1.0])
    found = kvr.compare(*runs, match="name", threads=2)
    partners = paired_plainly(*sides)
    ids = [[signal.id for signal in run.signals] for run in runs]
    told = [(v.baseline and v.baseline.id, v.other and v.other.id) for v in found]
    assert told[:300] == [
        (ids[0][i], None if j is None else ids[1][j]) for i, j in enumerate(partners)
    ]
    extras = [j for j in range(450) if j not in partners]
    assert told[300:] == [(None, ids[1][j]) for j in extras]
    for verdict in found[:300]:
        if verdict.other is not None:
            difference = abs(verdict.baseline.values[0] - verdict.other.values[0])
            assert verdict.max_difference == difference
