"""The inspector's server: the samples of curves, and readings at times."""

import numpy as np
import pytest

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


def test_short_curve_comes_whole(run, speed, window):
    times, values, is_thinned = window.curves(f"/api/curves?of={speed.id}")[str(speed.id)]
    assert (times.tolist(), values.tolist()) == ([0.0, 0.1, 0.2], [4.5, 7.0, 9.5])
    assert not is_thinned


def test_curves_come_in_the_order_and_under_the_names_asked_for(run, window):
    values = np.arange(12).reshape(2, 2, 3) * (1 + 2j)
    signal = run.add("a", values, time=[0, 1])
    names = [f"{signal.id}", f"{signal.id}.1", f"{signal.id}.5i", f"{signal.id}i"]
    blocks = window.curves(f"/api/curves?of={','.join(names)}")
    assert list(blocks) == names
    found = [values.tolist() for _, values, _ in blocks.values()]
    # Component 1, column by column, is row 1 of column 0.
    assert found == [
        values[:, 0, 0].real.tolist(), values[:, 1, 0].real.tolist(),
        values[:, 1, 2].imag.tolist(), values[:, 0, 0].imag.tolist(),
    ]  # fmt: skip


def test_long_curve_keeps_its_extremes_and_its_ends(run, window):
    values = np.zeros(100_000)
    values[[31_000, 77_777]] = 5.0, -7.0
    signal = run.add("a", values, time=np.arange(100_000))
    times, values, is_thinned = window.curves(f"/api/curves?of={signal.id}&columns=100")[
        str(signal.id)
    ]
    assert is_thinned and len(times) <= 1000
    assert {31_000.0, 77_777.0, 0.0, 99_999.0} <= set(times)
    assert (values.max(), values.min()) == (5.0, -7.0)


def test_window_has_one_sample_beyond_on_either_side(run, window):
    signal = run.add("a", np.arange(100.0), time=np.arange(100.0))
    times, _, is_thinned = window.curves(f"/api/curves?of={signal.id}&from=10.5&to=13.5")[
        str(signal.id)
    ]
    assert times.tolist() == [10.0, 11.0, 12.0, 13.0, 14.0]
    assert not is_thinned


@pytest.mark.parametrize(("ends", "times"), [("from=98.5", [98, 99]), ("to=0.5", [0, 1]),
                                             ("from=1000", [99]), ("to=-5", [0]),
                                             ("from=200&to=300", [99])])  # fmt: skip
def test_window_with_an_open_end_or_beyond_the_signal(run, window, ends, times):
    signal = run.add("a", np.arange(100.0), time=np.arange(100.0))
    found, _, _ = window.curves(f"/api/curves?of={signal.id}&{ends}")[str(signal.id)]
    assert found.tolist() == times


def test_gaps_events_and_infinities_come_as_they_are(run, window):
    times, values = [0.0, 1.0, 1.0, 2.0, 3.0], [0.0, np.nan, np.inf, -np.inf, 1.0]
    signal = run.add("a", values, time=times)
    found = window.curves(f"/api/curves?of={signal.id}")[str(signal.id)]
    assert found[0].tolist() == times
    assert np.array_equal(found[1], values, equal_nan=True)


def test_signal_without_samples_has_an_empty_curve(run, window):
    signal = run.add("a", [], time=[])
    found = window.curves(f"/api/curves?of={signal.id}&from=0&to=1")[str(signal.id)]
    assert [len(part) for part in found[:2]] == [0, 0]


def test_reading_is_the_last_sample_at_or_before_the_time(run, window):
    signal = run.add("a", [1, 2, 3, 4], time=[0.0, 1.0, 1.0, 2.0])
    at = [-1, 0, 0.5, 1.0, 7, "-Infinity"]
    found = window.send("POST", "/api/readings", {"of": [str(signal.id)], "at": at})
    last = {"index": 3, "time": 2.0, "value": 4}
    assert found == [
        [
            None,
            {"index": 0, "time": 0.0, "value": 1, "next": {"index": 1, "time": 1.0, "value": 2}},
            {"index": 0, "time": 0.0, "value": 1, "next": {"index": 1, "time": 1.0, "value": 2}},
            {"index": 2, "time": 1.0, "value": 3, "next": last},
            {**last, "next": None},
            None,
        ]
    ]


def test_readings_are_exact_in_every_class(run, window):
    samples = {
        "whole": (np.array([2**63 + 1], np.uint64), 2**63 + 1),
        "truth": ([True], True),
        "single": (np.array([0.1], np.float32), float(np.float32(0.1))),
        "gap": ([np.nan], "NaN"),
        "complex": ([3 - 4j], 3.0),
        "text": (["é"], "é"),
    }
    ids = [str(run.add(name, values, time=[0]).id) for name, (values, _) in samples.items()]
    found = window.send("POST", "/api/readings", {"of": ids, "at": [0]})
    assert [row[0]["value"] for row in found] == [value for _, value in samples.values()]
