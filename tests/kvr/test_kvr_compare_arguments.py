"""Options of a comparison at the edge, and finding its verdicts."""

import kvr
import numpy as np
import pytest


@pytest.fixture
def pair(store):
    """Two runs of the signals a, b and b, of which the other's a differs."""
    runs = [store.new_run(name) for name in ("Monday", "Tuesday")]
    for place, run in enumerate(runs):
        run.add("a", [1.0, 2.0 + place], time=[0.0, 1.0])
        for path in ("one", "two"):
            run.add("b", [1.0, 2.0], time=[0.0, 1.0], path=path)
    return runs


@pytest.mark.parametrize(
    ("options", "text"),
    [
        ({"match": 3}, "match must be a word or a tuple of fields, not 3"),
        ({"only": None}, "only takes shell patterns, not None"),
        ({"ignore": 3}, "ignore takes shell patterns, not 3"),
        ({"time_tolerance": None}, "time_tolerance must be a number, not None"),
        ({"time_tolerance": "1"}, "time_tolerance must be a number, not '1'"),
        ({"strict": "no"}, "strict must be True or False, not 'no'"),
        ({"threads": 1.5}, "threads must be a whole number, not 1.5"),
        ({"progress": 3}, "progress must be a callable or True, not 3"),
    ],
)
def test_option_of_another_type_is_told(pair, options, text):
    with pytest.raises(TypeError, match=text):
        kvr.compare(*pair, **options)


def test_numbers_of_numpy_are_options(pair):
    found = kvr.compare(
        *pair, threads=np.int64(2), strict=np.True_, time_tolerance=np.float32(0.5), progress=False
    )
    assert found.options["strict"] is True
    assert found.options["time_tolerance"] == 0.5
    assert '"time_tolerance": 0.5' in found.to_json()


def test_ragged_lists_are_shown_with_their_place():
    with pytest.raises(ValueError, match=r"values is ragged: values\[1\] has the shape \(1,\)"):
        kvr.compare_series([0, 1], [[1, 2], [3]], [0, 1], [1, 2])
    with pytest.raises(ValueError, match=r"time is ragged: time\[1\] has the shape \(1,\)"):
        kvr.compare_series([0, 1], [1, 2], [0, [1]], [1, 2])


def test_position_beyond_the_verdicts_says_how_many_there_are(pair):
    found = kvr.compare(*pair)
    with pytest.raises(IndexError, match="there are 3 verdicts, none at position 3"):
        found[3]
    assert found[-3] is found[0] is found.verdicts[0]


def test_finding_a_verdict_makes_no_other(pair, monkeypatch):
    from kvr._comparing import verdicts

    found = kvr.compare(*pair)
    made = []
    make = verdicts.Found.verdict
    monkeypatch.setattr(
        verdicts.Found, "verdict", lambda self, pair, *rest: made.append(pair) or make(self, pair, *rest)
    )  # fmt: skip
    assert found["a"].status == "out"
    assert made == [(0, 0)]
    with pytest.raises(kvr.Ambiguous, match="2 verdicts are on 'b', at one and two"):
        found["b"]
    with pytest.raises(kvr.NotFound, match="no verdict is on 'c'; there is 'a' and 'b'"):
        found["c"]


def test_lone_signals_are_found_by_their_label(store, pair):
    pair[0].add("missing", [1.0], time=[0.0])
    pair[1].add("extra", [1.0], time=[0.0])
    found = kvr.compare(*pair)
    assert (found["missing"].status, found["extra"].status) == ("missing", "extra")


def test_finding_signals_of_a_file_reads_their_labels_once(store, pair, tmp_path, monkeypatch):
    from kvr._files.sqlite import recording

    store.save(tmp_path / "week.kvr")
    with kvr.open(tmp_path / "week.kvr") as opened:
        run = opened.runs["Monday"]
        read = []
        rows = recording._Signals._range
        monkeypatch.setattr(
            recording._Signals, "_range",
            lambda self, first, count: read.append(count) or rows(self, first, count),
        )  # fmt: skip
        assert run["a"].values.tolist() == [1.0, 2.0]
        assert read == [3, 1]
        for _ in range(5):
            assert run["a"].label == "a"
        assert read == [3, 1, 1, 1, 1, 1, 1]
        with pytest.raises(kvr.Ambiguous):
            run["b"]
        assert "c" not in run


def test_sources_say_whose_the_settings_are(pair):
    pair[0]["a"].sync = kvr.Sync(interp="linear")
    sources = [
        (verdict.tolerance_source, verdict.sync_source)
        for options in ({}, {"tolerance": kvr.Tolerance(1)}, {"sync": kvr.Sync("intersection")})
        for verdict in kvr.compare(*pair, **options)[:2]
    ]
    assert sources == [
        ("run", "own"), ("run", "run"),
        ("override", "own"), ("override", "run"),
        ("run", "override"), ("run", "override"),
    ]  # fmt: skip
    assert kvr.compare(*pair, sync=kvr.Sync("intersection"))["a"].sync.interp == "zoh"
