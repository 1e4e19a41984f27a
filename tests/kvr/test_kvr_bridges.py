"""Signals and runs as objects of pandas, xarray and matplotlib, and back."""

import kvr
import numpy as np
import pandas
import pytest
import vormel

DAYS = np.array(["2020-01-01", "2020-01-02"], "datetime64[s]")


def new_axes():
    return pytest.importorskip("matplotlib.figure").Figure().subplots()


@pytest.fixture
def axes():
    return new_axes()


# ---- To other packages ----


def test_series_has_dates_and_the_unit(run):
    series = run.add("a", [1.0, 2.0], DAYS, unit="V").to_series()
    assert series.index.tolist() == [pandas.Timestamp("2020-01-01"), pandas.Timestamp("2020-01-02")]
    assert series.attrs == {"unit": "V"}


def test_dates_of_whole_milli_and_microseconds_come_back_as_they_were(run):
    rng = np.random.default_rng(5)
    milliseconds = np.sort(rng.integers(-2_208_988_800_000, 7_258_118_400_000, 2000))
    microseconds = np.sort(rng.integers(-2_208_988_800_000_000, 7_258_118_400_000_000, 2000))
    for label, times in (("ms", milliseconds), ("us", microseconds)):
        dates = times.astype(f"datetime64[{label}]")
        signal = run.add(label, np.arange(2000), dates)
        np.testing.assert_array_equal(signal.to_series().index.to_numpy(), dates)
    near = np.array([0, 1, 123_456_789], "datetime64[ns]")  # doubles tell nanoseconds apart here
    np.testing.assert_array_equal(run.add("ns", [1, 2, 3], near).to_series().index.to_numpy(), near)


def test_frame_has_dates_if_all_signals_have(run):
    run.add("a", [1.0, 2.0], DAYS, unit="V")
    run.add("b", [3.0], DAYS[1:])
    frame = run.to_dataframe()
    assert isinstance(frame.index, pandas.DatetimeIndex)
    assert frame.index.name == "time"
    assert frame.loc["2020-01-02"].tolist() == [2.0, 3.0]
    assert frame.attrs == {"units": {"a": "V"}}
    run.add("c", [4.0], [1577836800.0])
    assert run.to_dataframe().index.tolist() == [1577836800, 1577923200]


def test_frame_joins_times_and_keeps_every_component(run):
    run.add("force", np.arange(8.0).reshape(2, 2, 2), [0.0, 1.0])
    run.add("force[1,1]", [9.0], [0.5])
    frame = run.to_dataframe()
    assert frame.columns.tolist() == [
        "force[0,0]", "force[0,1]", "force[1,0]", "force[1,1]", "force[1,1] (2)",
    ]  # fmt: skip
    assert frame.index.tolist() == [0, 0.5, 1]
    np.testing.assert_array_equal(frame["force[1,1]"], [3, np.nan, 7])
    np.testing.assert_array_equal(frame["force[1,1] (2)"], [np.nan, 9, np.nan])


def test_data_set_has_a_dimension_a_time_base_and_attributes(run):
    a = run.add("a", [1.0, 2.0], DAYS, unit="V", path="p")
    a.tolerance = kvr.Tolerance(relative=0.5)
    run.add("b", [1.0, 2.0], [1577836800.0, 1577923200.0])
    run.add("time", np.arange(6).reshape(2, 3), [0.0, 1.0]).sync = kvr.Sync(interp="linear")
    data = run.to_xarray()
    assert [data[name].dims for name in ("a", "b", "time")] == [
        ("time_",), ("time_2",), ("time_3", "time_1"),
    ]  # fmt: skip
    assert data["time_"].dtype.kind == "M"
    assert data["time_2"].dtype == np.float64
    assert data["a"].attrs == {"units": "V", "path": "p", "tolerance": repr(a.tolerance)}
    assert data["time"].attrs == {"sync": repr(run["time"].sync)}
    assert data.attrs == {"run": "Monday", "created": run.created.isoformat()}


def test_runs_of_files_have_the_same_bridges(tmp_path):
    path = tmp_path / "x.csv"
    path.write_text("time,a [V]\n2020-01-01,1\n2020-01-02,2\n")
    (run,) = kvr.open(path).runs
    assert run.to_dataframe()["a"].loc["2020-01-02"] == 2
    assert run["a"].to_series().attrs == {"unit": "V"}
    assert run.to_xarray()["a"].attrs["units"] == "V"


# ---- From frames ----


def test_columns_of_a_frame_become_signals(run):
    frame = pandas.DataFrame(
        {
            "f": [1.5, 2.5], "i": np.array([1, 2], "int16"), "b": [True, False], "s": ["x", None],
            "n": pandas.array([1, None], "Int64"), "w": pandas.array([1, 2], "Int32"),
            "c": pandas.Categorical(["u", "v"]),
        },
        index=[0.0, 1.0],
    )  # fmt: skip
    frame.attrs["units"] = {"f": "V"}
    signals = run.add_frame(frame, path="bus")
    assert signals == run.signals
    assert [s.label for s in signals] == list("fibsnwc")
    assert {s.path for s in signals} == {"bus"}
    assert [s.unit for s in signals[:2]] == ["V", None]
    assert [s.values.dtype.str[1:] for s in signals[:3]] == ["f8", "i2", "b1"]
    assert run["s"].values.tolist() == ["x", ""]
    np.testing.assert_array_equal(run["n"].values, [1, np.nan])
    assert run["w"].values.dtype == np.int32
    assert run["c"].values.tolist() == ["u", "v"]
    assert run["f"].time.tolist() == [0, 1]


def test_column_index_dates_and_timedeltas_can_be_the_time(run):
    frame = pandas.DataFrame({"when": [0.5, 1.5], "a": [1.0, 2.0]})
    (by_column,) = run.add_frame(frame, time="when", units={"a": "A"})
    assert (by_column.time.tolist(), by_column.unit) == ([0.5, 1.5], "A")
    assert run.add_frame(frame[["a"]])[0].time.tolist() == [0, 1]
    days = pandas.to_datetime(["2020-01-01", "2020-01-02"])
    aware = frame[["a"]].set_index(days.tz_localize("Europe/Berlin"))
    (dated,) = run.add_frame(aware)
    assert dated.time.tolist() == [1577833200, 1577919600]
    assert dated.time_source == "seconds since 1970-01-01"
    spans = frame[["a"]].set_index(pandas.to_timedelta([1, 2.5], "s"))
    assert run.add_frame(spans)[0].time.tolist() == [1, 2.5]
    months = frame[["a"]].set_index(pandas.period_range("2020-01", periods=2, freq="M"))
    assert run.add_frame(months)[0].time.tolist() == [1577836800, 1580515200]


def test_series_and_several_levels_of_names(run):
    series = pandas.Series([1.0], index=[0.0], name="a")
    series.attrs["unit"] = "V"
    assert run.add_frame(series)[0].unit == "V"
    names = pandas.MultiIndex.from_tuples([("p", "x"), ("q", "x")])
    added = run.add_frame(pandas.DataFrame([[1.0, 2.0]], columns=names), path="top")
    assert [(s.path, s.label) for s in added] == [("top/p", "x"), ("top/q", "x")]


def test_frame_comes_back(run, store):
    run.add("a", [1.0, 2.0], DAYS, unit="V")
    run.add("b", [True, False], DAYS)
    run.add("c", ["x", "y"], DAYS)
    back = store.new_run("back")
    back.add_frame(run.to_dataframe())
    for signal in run:
        np.testing.assert_array_equal(back[signal.label].values, signal.values)
        np.testing.assert_array_equal(back[signal.label].time, signal.time)
        assert back[signal.label].unit == signal.unit


@pytest.mark.parametrize(
    ("frame", "options", "error", "text"),
    [
        ([1, 2], {}, TypeError, "a frame is a pandas DataFrame or Series, not list"),
        (pandas.DataFrame({"a": [1]}), {"time": "t"}, KeyError, "no one column 't'"),
        (pandas.DataFrame({"a": [1]}, index=pandas.MultiIndex.from_tuples([(1, 2)])), {}, ValueError, "several levels"),
        (pandas.DataFrame({"a": [1, 2], "b": [object(), object()]}), {}, ValueError, "values"),
        (pandas.DataFrame({"a": [1, 2]}, index=[1, 0]), {}, ValueError, "time falls"),
    ],
)  # fmt: skip
def test_refused_frame_leaves_the_store_as_it_was(run, store, frame, options, error, text):
    with pytest.raises(error, match=text):
        run.add_frame(frame, **options)
    assert len(store.signals) == 0


# ---- Pictures ----


def test_dates_stand_on_the_axis_of_a_signal(run, axes):
    signal = run.add("a", [1.0, 2.0], DAYS, unit="V")
    assert signal.plot(axes) is axes
    assert axes.lines[0].get_xdata().tolist() == DAYS.astype("datetime64[ns]").tolist()
    assert type(axes.xaxis.get_major_locator()).__name__ == "AutoDateLocator"
    assert (axes.get_xlabel(), axes.get_ylabel()) == ("time in UTC", "V")


def test_pair_is_drawn_in_the_colours_of_the_store_over_dates(store, axes):
    base, other = store.new_run("a"), store.new_run("b")
    one = base.add("s", [1.0, 2.0], DAYS)
    two = other.add("s", [1.0, 3.0], DAYS)
    one.color, one.dash, two.color, two.dash = "#ff0000", "--", "#0000ff", ":"
    kvr.compare(base, other)["s"].plot(axes)
    first, second, mark = axes.lines
    assert (first.get_color(), first.get_linestyle()) == ((1.0, 0.0, 0.0), "--")
    assert (second.get_color(), second.get_linestyle()) == ((0.0, 0.0, 1.0), ":")
    assert type(axes.xaxis.get_major_locator()).__name__ == "AutoDateLocator"
    assert mark.get_xdata()[0] == np.datetime64("2020-01-02")


def test_signals_of_files_without_colours_are_told_apart(tmp_path, axes):
    path = tmp_path / "x.csv"
    path.write_text("time,a,b\n0,1,2\n1,2,3\n")
    (run,) = kvr.open(path).runs
    run.plot(axes)
    assert len({str(line.get_color()) for line in axes.lines}) == 2


def test_signal_without_samples_is_drawn(run, axes):
    run.add("none", [], time=[])
    run.add("no vectors", np.zeros((0, 2)), time=[])
    run.plot(axes)
    assert [len(line.get_xdata()) for line in axes.lines] == [0, 0, 0]


def test_pair_without_common_instants_is_drawn(store, axes):
    base, other = store.new_run("a"), store.new_run("b")
    for run in (base, other):
        run.add("none", [], time=[])
        run.add("words", ["a"], time=[0.0])
    comparison = kvr.compare(base, other)
    for label in ("none", "words"):
        assert comparison[label].plot(axes) is axes


def test_run_is_drawn_without_what_cannot_be_drawn(run, axes):
    run.add("words", ["a", "b"], time=[0, 1])
    run.add("complex", [1j, 2j], time=[0, 1])
    run.add("speed", [4.5, 7.0], time=[0, 1])
    run.plot(axes)
    assert [line.get_label() for line in axes.lines] == ["speed"]
    with pytest.raises(ValueError, match="'words' holds values of class text"):
        run["words"].plot(axes)


def test_run_without_signals_gives_its_axes(run, axes):
    assert run.plot(axes) is axes


@pytest.mark.parametrize(
    ("package", "call", "purpose"),
    [
        ("pandas", "run['a'].to_series()", "to_series"),
        ("pandas", "run.to_dataframe()", "to_dataframe"),
        ("pandas", "run.add_frame(None)", "add_frame"),
        ("xarray", "run.to_xarray()", "to_xarray"),
        ("matplotlib", "run['a'].plot()", "plot"),
        ("matplotlib", "run.plot()", "plot"),
        ("matplotlib", "kvr.compare(run, run)['a'].plot()", "plot"),
    ],
)
def test_missing_package_is_named(run_python, package, call, purpose):
    printed = run_python(
        f"import sys; sys.modules[{package!r}] = None\n"
        "import kvr\n"
        "run = kvr.Store().new_run('a'); run.add('a', [1.0], [0.0])\n"
        f"try: {call}\n"
        "except kvr.MissingPackage as error: print(error)\n"
    )
    hint = f"which is not installed: try 'apt install python3-{package}'"
    assert printed == f"{purpose} needs {package}, {hint}\n"


# ---- Records of other programs ----


def test_times_that_fit_no_samples_are_told_with_the_signal(run, add_foreign):
    run.add("good", [1.0, 2.0], time=[0.0, 1.0])
    odd = add_foreign(run, vormel.timeseries([1.0, 2.0], [0.0, 1.0, 2.0]), label="odd")
    text = "'odd' has 2 samples at 3 times; only .time and .values can show it"
    for call in (run.to_dataframe, run.to_xarray, run.plot, odd.to_series, odd.plot):
        with pytest.raises(ValueError, match=text):
            call()
    assert len(odd.values) == 2


def test_dash_that_no_plot_knows_is_drawn_as_a_line(run):
    signal = run.add("a", [1.0, 2.0], time=[0.0, 1.0])
    signal.dash = "waves"
    assert signal.plot(new_axes()).lines[0].get_linestyle() == "-"
    verdict = kvr.compare(run, run.copy())["a"]
    assert len(verdict.plot(new_axes()).lines) == 2


def test_frame_keeps_the_order_of_the_signals_over_two_time_bases(run):
    for label, times in (("a", [0, 1]), ("b", [0, 2]), ("c", [0, 1]), ("d", [0, 2])):
        run.add(label, [1, 2], time=times)
    frame = run.to_dataframe()
    assert list(frame.columns) == ["a", "b", "c", "d"]
    assert frame.index.tolist() == [0, 1, 2]
    assert frame["c"].tolist()[:2] == [1, 2]
    assert frame["d"].dropna().tolist() == [1, 2]
    assert run.to_dataframe()["a"].dtype == float
    same = run.copy()
    for label in ("b", "d"):
        same[label].remove()
    assert same.to_dataframe().dtypes.tolist() == ["int64", "int64"]


def test_many_instants_out_are_one_artist(run):
    run.add("a", np.zeros(5000), time=np.arange(5000))
    other = run.copy()
    other["a"].remove()
    other.add("a", np.ones(5000), time=np.arange(5000))
    axes = kvr.compare(run, other)["a"].plot(new_axes())
    assert len(axes.lines) + len(axes.collections) == 3


def test_times_of_another_program_that_fall_are_put_in_order(run, add_foreign):
    add_foreign(run, vormel.timeseries([1.0, 2.0, 3.0], [5.0, 1.0, 5.0]), label="a")
    frame = run.to_dataframe()
    assert frame.index.tolist() == [1.0, 5.0, 5.0]
    assert frame["a"].tolist() == [2.0, 1.0, 3.0]


def test_signals_of_one_name_and_path_are_told_apart_by_their_ids(run):
    for _ in range(3):
        run.add("a", [1, 2], time=[0, 1], path="p")
    names = ["p/a", "p/a (2)", "p/a (3)"]
    assert list(run.to_dataframe().columns) == names
    assert list(run.to_xarray()) == names


def test_sides_that_look_the_same_are_drawn_in_two_colours(run):
    signal = run.add("a", [1.0, 2.0], time=[0.0, 1.0])
    other = run.copy()
    signal.color = other["a"].color = "#ff0000"
    baseline, second = kvr.compare(run, other)["a"].plot(new_axes()).lines
    assert baseline.get_color() != second.get_color()


def test_refused_column_of_a_frame_is_named(run):
    frame = pandas.DataFrame({"a": [1.0, 2.0], "b": [object(), object()]}, index=[0.0, 1.0])
    with pytest.raises(ValueError, match=r"^column 'b': values\[0\] is not a number: <object"):
        run.add_frame(frame)
    assert len(run) == 0


def test_frame_of_truths_with_gaps_can_be_added_back(run):
    run.add("ok", [True, False], [0.0, 1.0])
    run.add("speed", [1.5, 2.5], [0.0, 9.0])
    ok, speed = run.add_frame(run.to_dataframe())
    np.testing.assert_array_equal(ok.values, [1, 0, np.nan])
    np.testing.assert_array_equal(speed.values, [1.5, np.nan, 2.5])
    (gaps,) = run.add_frame(pandas.DataFrame({"a": [1, None]}, index=[0.0, 1.0], dtype=object))
    np.testing.assert_array_equal(gaps.values, [1, np.nan])
