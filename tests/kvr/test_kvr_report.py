"""Comparison.to_html: one file that carries the comparison, and real samples of its curves."""

import json
import math
import os
import re
from pathlib import Path

import kvr
import numpy as np
import pytest
from kvr._comparing import report, report_curves
from report_reading import Report, sha256
from test_kvr_command import run_kvr

PAGE = Path(kvr.__file__).parent / "_page"
pytestmark = pytest.mark.skipif(not PAGE.is_dir(), reason="this build has no page")
HOSTILE = (
    "</script><script>alert(1)</script><!--<img src=x onerror=alert(1)>{{7*7}}\u202e\x00\ud800"
)


@pytest.fixture
def reported(tmp_path):
    """The report of a comparison, read back."""

    def make(comparison):
        comparison.to_html(tmp_path / "report.html")
        return Report((tmp_path / "report.html").read_bytes())

    return make


@pytest.fixture
def compared(store, reported):
    """The only verdict on two series, and the report on it."""

    def make(baseline, other, **options):
        runs = [store.new_run(name) for name in ("base", "other")]
        for run, (time, values) in zip(runs, (baseline, other)):
            run.add("signal", values, time=time)
        comparison = kvr.compare(*runs, **options)
        return comparison.verdicts[0], reported(comparison)

    return make


def bits(numbers):
    """What tells doubles apart: NaN is equal to itself, 0 and -0 differ."""
    doubles = np.asarray(numbers, np.float64)
    return np.where(np.isnan(doubles), np.nan, doubles).view(np.uint64).tolist()


def samples(curve):
    """Time and value of each sample, as bits."""
    return list(zip(bits(curve[0]), bits(curve[1])))


# ---- The file ----


def test_the_policy_allows_the_script_and_the_style_of_the_file_and_nothing_else(compared):
    _, made = compared(([0], [1.0]), ([0], [1.0]))
    (script,) = made.code
    ((_, style),) = made.elements.named("style")
    assert made.policy() == {
        "default-src": ["'none'"], "script-src": [sha256(script)], "style-src": [sha256(style)],
        "img-src": ["data:", "blob:"], "connect-src": ["'none'"], "base-uri": ["'none'"],
        "form-action": ["'none'"],
    }  # fmt: skip


def test_the_file_refers_to_no_other(compared):
    _, made = compared(([0], [1.0]), ([0], [1.0]))
    for tag, attributes, _ in made.elements.found:
        for name in ("src", "href", "action", "data"):
            assert attributes.get(name, "data:,") == "data:,", tag


def test_the_policy_comes_before_everything_that_it_governs(compared, tmp_path):
    compared(([0], [1.0]), ([0], [1.0]))
    text = (tmp_path / "report.html").read_text()
    assert text.index("Content-Security-Policy") < min(text.index("<style"), text.index("<script"))


def test_names_of_signals_and_runs_end_no_element(store, reported):
    runs = [store.new_run(HOSTILE.replace("\ud800", "").replace("\x00", "")) for _ in range(2)]
    for run in runs:
        run.add(HOSTILE.replace("\x00", "").replace("\ud800", ""), [1.0], time=[0], path="</style>")
    made = reported(kvr.compare(*runs))
    names = [tag for tag, _, _ in made.elements.found]
    assert (names.count("script"), names.count("style"), names.count("img")) == (3, 1, 0)
    assert made.verdicts()[0]["baseline"]["path"] == "</style>"
    assert "onerror" in made.elements.named("title")[0][1]  # as text


def test_a_megabyte_of_name_does_not_stand_in_the_title(store, reported):
    runs = [store.new_run("n" * 1_000_000) for _ in range(2)]
    runs[0].add("x" * 1_000_000, [1.0], time=[0])
    made = reported(kvr.compare(*runs))
    assert len(made.elements.named("title")[0][1]) < 300


def test_a_report_of_nothing_is_a_report(store, reported):
    made = reported(kvr.compare(store.new_run("a"), store.new_run("b")))
    assert (made.verdicts(), made.data["kind"]) == ([], "comparison")


# ---- The comparison ----


def test_the_report_tells_what_the_comparison_tells(store, reported):
    baseline, other = store.new_run("base"), store.new_run("other")
    for run, shift in ((baseline, 0.0), (other, 1.0)):
        run.add("within", [1.0, 2.0], time=[0.0, 1.0])
        run.add("out", np.arange(500) + shift * (np.arange(500) % 3 == 0), time=np.arange(500.0))
        run.add("lost", [1.0, math.nan if shift else 1.0], time=[0.0, 1.0])
        run.add("infinite", [math.inf if shift else -math.inf], time=[0.0])
        run.add("complex", [1j + shift, 2.0], time=[0.0, 1.0])
        run.add("text", ["a"], time=[0.0])
    baseline.add("alone", [1.0], time=[0.0])
    other.add("extra", [1.0], time=[0.0])
    baseline["within"].tolerance = kvr.Tolerance(absolute=math.inf)
    comparison = kvr.compare(baseline, other, time_tolerance=0.25)
    made = reported(comparison)
    told = json.loads(comparison.to_json())
    assert made.verdicts() == told.pop("verdicts")
    assert made.data["comparison"] == told


def test_looks_units_and_dates_are_those_of_the_store(store, reported):
    baseline, other = store.new_run("base"), store.new_run("other")
    days = np.array(["2016-01-01", "2016-01-02"], "datetime64[s]")
    first = baseline.add("s", [1.0, 2.0], time=days, unit="m/s")
    second = other.add("s", [1.0, 2.0], time=days)
    first.color, first.dash, second.color, second.dash = "#ff0080", "--", "#000000", ":"
    made = reported(kvr.compare(baseline, other))
    (pair,) = made.data["pairs"]
    looks = [made.data["looks"][number] for number in pair["looks"]]
    assert looks == [["#ff0080", "--"], ["#000000", ":"]]
    assert (pair["unit"], pair["is_date"]) == ("m/s", True)


# ---- Samples ----


def series_cases():
    rng = np.random.default_rng(5)
    n = 4_000
    steps = np.arange(n)
    noise = np.cumsum(rng.normal(size=n))
    gaps = np.where(steps % 1000 < 50, np.nan, noise)
    irregular = np.cumsum(rng.exponential(size=n))
    events = np.repeat(np.arange(n // 2) * 0.25, 2)
    regular = steps * 0.001
    few = [3, 1500, n - 2]
    changed = noise.copy()
    changed[few] += 1.0
    infinite = changed.copy()
    infinite[[7, 9]] = np.inf, -np.inf
    decimal = np.array([float(f"{k / 1000:.3f}") for k in steps])
    return {
        "equal steps": (regular, noise, regular, changed),
        "decimals": (decimal, noise, decimal, changed),
        "whole seconds": (steps * 5.0, noise, steps * 5.0, changed),
        "before zero": (regular - 7.3, noise, regular - 7.3, changed),
        "irregular": (irregular, noise, irregular, changed),
        "other times": (irregular, noise, np.sort(rng.uniform(0, irregular[-1], n)), changed),
        "events": (events, noise, events, changed),
        "gaps": (regular, gaps, regular, np.where(steps % 777 == 0, np.nan, gaps + 1e-9)),
        "infinite": (regular, np.where(steps == 7, np.inf, noise), regular, infinite),
        "whole numbers": (regular, steps % 1000, regular, (steps % 1000).astype(np.int16) + 1),
        "truth": (regular, steps % 7 == 0, regular, steps % 6 == 0),
        "equal": (regular, noise, regular, noise.copy()),
        "huge": (regular, noise * 1e305, regular, changed * -1e305),
        "zeros": (regular, noise * 0, regular, noise * -0.0),
        "one sample": ([4.5], [1.0], [4.5], [2.0]),
        "short": ([0, 1, 2], [1.0, 2.0, 3.0], [0.5, 1.5, 3.5], [1.0, 2.0, 3.0]),
        "offset of large times": (1.7e9 + irregular, noise, 1.7e9 + irregular, changed),
    }


RULES = [
    kvr.Tolerance(absolute=1e-6),
    kvr.Tolerance(relative=0.01, absolute=0.1),
    kvr.Tolerance.window(1.0, 10.0, 0.5, 0.1, 0.01, 0.001, 0.0),
]
SYNCS = [kvr.Sync(), kvr.Sync("union", "linear"), kvr.Sync("uniform", "zoh", 0.5)]


@pytest.mark.parametrize("sync", SYNCS, ids=["zoh", "linear", "uniform"])
@pytest.mark.parametrize("case", series_cases().items(), ids=lambda case: case[0])
def test_kept_samples_are_real_ones(compared, case, sync, monkeypatch):
    monkeypatch.setattr(report, "LARGEST", len(report.page_of("", {})) + 25_000)
    _, (time, values, other_time, other_values) = case
    for rule in RULES:
        verdict, made = compared(
            (time, values), (other_time, other_values), tolerance=rule, sync=sync
        )
        curves = made.curves(0)
        for name, times, wanted in (
            ("baseline", time, values), ("other", other_time, other_values),
        ):  # fmt: skip
            known = set(zip(bits(times), bits(wanted)))
            kept = samples(curves[name])
            assert kept and set(kept) <= known
            assert np.all(np.diff(curves[name][0]) >= 0)
        series = verdict.series() if verdict.status != "incomparable" else None
        assert verdict.instants < 1_000_000
        for name in ("difference", "tolerance"):
            if series is None:
                assert curves[name] is None
                continue
            known = set(zip(bits(series.instants), bits(getattr(series, name))))
            assert set(samples(curves[name])) <= known, (name, rule)


def test_a_grid_of_very_many_instants_takes_no_memory(compared, monkeypatch):
    monkeypatch.setattr(report_curves, "MOST_ALIGNED", 1000)
    sides = ([0.0, 10.0], [1.0, 2.0]), ([0.0, 10.0], [1.0, 3.0])
    verdict, made = compared(*sides, sync=kvr.Sync("uniform", "zoh", 0.001))
    assert verdict.instants == 10_001
    curves = made.curves(0)
    assert curves["baseline"] == ([0.0, 10.0], [1.0, 2.0], False)
    assert curves["difference"] is curves["tolerance"] is None


@pytest.mark.parametrize("case", series_cases().items(), ids=lambda case: case[0])
def test_ends_of_what_is_out_and_the_worst_instant_are_kept(compared, case, monkeypatch):
    monkeypatch.setattr(report, "LARGEST", 0)  # no room for anything that may be left out
    _, (time, values, other_time, other_values) = case
    verdict, made = compared((time, values), (other_time, other_values), tolerance=RULES[0])
    kept = set(made.curves(0)["difference"][0])
    marks = {end for one in verdict.intervals for end in (one.first, one.last)}
    marks |= {verdict.first_out, verdict.last_out, verdict.worst.time} if verdict.worst else set()
    assert marks <= kept


def test_samples_beside_what_is_out_are_kept_where_there_is_room(compared):
    steps = np.arange(100_000)
    rng = np.random.default_rng(1)
    noise = rng.normal(size=len(steps))
    changed = noise.copy()
    changed[[5, 40_000, 40_001, 99_999]] += 1e-3
    _, made = compared((steps * 0.1, noise), (steps * 0.1, changed), tolerance=RULES[0])
    kept = set(made.curves(0)["baseline"][0])
    beside = [4, 5, 6, 39_999, 40_000, 40_001, 40_002, 99_998, 99_999]
    assert {place * 0.1 for place in beside} <= kept


def test_every_column_of_a_screen_keeps_its_extremes(compared):
    steps = np.arange(200_000)
    rng = np.random.default_rng(2)
    noise = np.where(steps % 999 == 0, np.nan, rng.normal(size=len(steps)))
    changed = rng.permutation(noise)
    _, made = compared((steps * 1.0, noise), (steps * 1.0, changed))
    curves = made.curves(0)
    for name, values in (("baseline", noise), ("other", changed)):
        times, kept = (np.array(part) for part in curves[name][:2])
        assert curves[name][2] and len(times) < len(steps) / 2
        columns = np.minimum(times * 1000 // len(steps), 999).astype(int)
        for column, part in enumerate(np.array_split(values, 1000)):
            own = kept[columns == column]
            assert (np.nanmin(own), np.nanmax(own)) == (np.nanmin(part), np.nanmax(part))


def test_components_and_complex_values_are_kept_with_the_worst_one(compared):
    time = np.arange(10.0)
    values = np.arange(10.0 * 3 * 5).reshape(10, 3, 5)
    other = values.copy()
    other[4, 2, 3] += 5
    verdict, made = compared((time, values), (time, other))
    assert verdict.worst.component == 13
    assert made.curves(0, 13)["difference"][1] == [0, 0, 0, 0, 5, 0, 0, 0, 0, 0]
    assert made.curves(0, 6)["baseline"][1] == values[:, 1, 1].tolist()
    verdict, made = compared((time, time + 2j), (time, time + 2j + 1))
    curves = made.curves(0)
    assert curves["other_imaginary"][1] == [2.0] * 10
    assert curves["difference"][1] == [1.0] * 10


def test_a_tolerance_of_a_function_is_kept_as_it_was_told(compared):
    kvr.functions["growing"] = lambda time, baseline, other: time * 0.5
    time = np.arange(10.0)
    _, made = compared((time, time), (time, time + 1), tolerance=kvr.Tolerance.function("growing"))
    assert made.curves(0)["tolerance"][1] == (time * 0.5).tolist()


def test_a_signal_without_a_partner_has_its_curve(store, reported):
    baseline, other = store.new_run("base"), store.new_run("other")
    baseline.add("alone", [1.0, 2.0], time=[0.0, 1.0])
    other.add("extra", [3.0], time=[5.0])
    baseline.add("text", ["a"], time=[0.0])
    made = reported(kvr.compare(baseline, other))
    assert made.curves(0)["baseline"] == ([0.0, 1.0], [1.0, 2.0], False)
    assert made.curves(0)["other"] is made.curves(0)["difference"] is None
    assert made.curves(1) is None
    assert made.curves(2)["other"] == ([5.0], [3.0], False)


def test_times_that_cannot_be_drawn_have_no_curve(store, add_foreign, reported):
    import vormel

    baseline, other = store.new_run("base"), store.new_run("other")
    for run in (baseline, other):
        add_foreign(run, vormel.timeseries([1.0, 2.0, 3.0], [0.0, 2.0, 1.0]), label="falling")
    made = reported(kvr.compare(baseline, other))
    assert made.verdicts()[0]["reason"] == "bad-time"
    assert made.curves(0) is None


# ---- The budget ----


def runs_of(store, pairs, samples, *, failing):
    """Two runs of pairs; those of these numbers differ."""
    rng = np.random.default_rng(3)
    baseline, other = store.new_run("base"), store.new_run("other")
    time = np.arange(samples) * 0.001
    for number in range(pairs):
        values = rng.normal(size=samples)
        baseline.add(f"s{number}", values, time=time)
        other.add(f"s{number}", values + (1e-3 if number in failing else 1e-12), time=time)
    return kvr.compare(baseline, other, tolerance=kvr.Tolerance(absolute=1e-6))


def test_the_file_keeps_to_its_budget(store, reported, monkeypatch, tmp_path):
    comparison = runs_of(store, 60, 10_000, failing=range(30))
    reported(comparison)
    all_of_it = os.path.getsize(tmp_path / "report.html")
    empty = len(report.page_of("", {}))
    monkeypatch.setattr(report, "LARGEST", empty + 300_000)
    reported(comparison)
    assert empty < os.path.getsize(tmp_path / "report.html") <= report.LARGEST < all_of_it


def test_pairs_that_fail_get_more_samples(store, reported, monkeypatch):
    monkeypatch.setattr(report, "LARGEST", len(report.page_of("", {})) + 300_000)
    made = reported(runs_of(store, 40, 10_000, failing=[11]))
    counts = [len(made.curves(place)["baseline"][0]) for place in range(40)]
    assert counts[11] > 2 * max(counts[:11] + counts[12:])


def test_pairs_beyond_the_most_have_facts_and_no_curves(store, reported, monkeypatch):
    monkeypatch.setattr(report_curves, "MOST_PAIRS", 3)
    made = reported(runs_of(store, 5, 100, failing=[4]))
    assert [made.curves(place) is not None for place in range(5)] == [
        True,
        True,
        False,
        False,
        True,
    ]


def test_equal_pairs_are_stored_once(store, reported):
    baseline, other = store.new_run("base"), store.new_run("other")
    for number in range(6):
        for run in (baseline, other):
            run.add(f"s{number}", np.arange(100.0) + (number == 3), time=np.arange(100.0))
    made = reported(kvr.compare(baseline, other))
    assert [pair["curves"] for pair in made.data["pairs"]] == [0, 0, 0, 1, 0, 0]


def test_pairs_that_differ_in_one_sample_are_not_taken_for_equal(store, reported):
    baseline, other = store.new_run("base"), store.new_run("other")
    values = np.zeros(1000)
    for number in range(3):
        changed = values.copy()
        changed[501 + number] = 5.0
        baseline.add(f"s{number}", changed, time=np.arange(1000.0))
        other.add(f"s{number}", changed, time=np.arange(1000.0))
    made = reported(kvr.compare(baseline, other))
    assert [made.curves(place)["baseline"][1].index(5.0) for place in range(3)] == [501, 502, 503]


def test_the_same_comparison_gives_the_same_file(store, tmp_path):
    comparison = runs_of(store, 150, 3_000, failing=range(0, 150, 7))
    files = []
    for name in ("first", "second"):
        comparison.to_html(tmp_path / name)
        files.append((tmp_path / name).read_bytes())
    assert files[0] == files[1]


@pytest.mark.skipif(not os.environ.get("KVR_LONG_TESTS"), reason="the long form")
@pytest.mark.parametrize("failing", [range(0), range(0, 1000, 50), range(1000)])
def test_a_thousand_signals_of_1e5_samples_take_five_megabytes(store, tmp_path, failing):
    comparison = runs_of(store, 1000, 100_000, failing=failing)
    comparison.to_html(tmp_path / "report.html")
    assert os.path.getsize(tmp_path / "report.html") <= 5_000_000


# ---- Failures ----


def test_a_removed_signal_is_gone(store, tmp_path):
    run = store.new_run("base")
    run.add("s", [1.0], time=[0])
    other = run.copy()
    comparison = kvr.compare(run, other)
    other.remove()
    with pytest.raises(kvr.Gone):
        comparison.to_html(tmp_path / "report.html")


def test_a_place_that_cannot_be_written_is_named(store, tmp_path):
    comparison = kvr.compare(store.new_run("a"), store.new_run("b"))
    with pytest.raises(OSError, match="cannot be written") as caught:
        comparison.to_html(tmp_path / "none" / "report.html")
    assert caught.value.filename == str(tmp_path / "none" / "report.html")


def test_a_failed_report_leaves_the_old_file(store, tmp_path, monkeypatch):
    from kvr._report import page

    comparison = kvr.compare(store.new_run("a"), store.new_run("b"))
    target = tmp_path / "report.html"
    target.write_text("old")
    monkeypatch.setattr(page, "_part", lambda name: page._read(tmp_path / "_page" / name))
    with pytest.raises(kvr.Error, match="has no page.*KVRNTOB_BUILD_PAGE"):
        comparison.to_html(target)
    assert target.read_text() == "old"
    assert os.listdir(tmp_path) == ["report.html"]


# ---- The command ----


@pytest.fixture
def files(tmp_path):
    (tmp_path / "base.csv").write_text("time,a,b\n0,1,2\n1,1,4\n")
    (tmp_path / "other.csv").write_text("time,a,b\n0,1,2\n1,1,5\n")
    return tmp_path


def test_kvr_compare_writes_the_page(files):
    code, output, errors = run_kvr(
        "compare", "base.csv", "other.csv", "--html", "r.html", cwd=files
    )
    assert (code, errors) == (1, "")
    assert re.match("base against other: within 1, out 1\n", output)
    made = Report((files / "r.html").read_bytes())
    assert [verdict["status"] for verdict in made.verdicts()] == ["within", "out"]


def test_kvr_compare_writes_the_page_to_standard_output(files):
    code, output, errors = run_kvr("compare", "base.csv", "other.csv", "--html", "-", cwd=files)
    assert (code, errors) == (1, "")
    assert Report(output.encode()).data["kind"] == "comparison"
    assert output.startswith("<!doctype html>") and output.endswith("</html>\n")


def test_kvr_compare_names_a_page_that_cannot_be_written(files):
    code, _, errors = run_kvr("compare", "base.csv", "other.csv", "--html", "no/r.html", cwd=files)
    assert (code, errors.count("\n")) == (2, 1)
    assert "no/r.html" in errors
