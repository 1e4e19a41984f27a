"""Signals go in through Run.add and come out as they were; records of others are read too."""

import datetime

import hypothesis
import kvr
import numpy as np
import pytest
import vormel
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp
from vormel.Dravik.kvr import SignalRepository

DTYPES = [
    "bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",
    "float32", "float64", "complex64", "complex128",
]  # fmt: skip


def column(*values):
    return np.array(values, float).reshape(-1, 1)


# ---- In and out ----


def test_every_field_comes_back(run):
    parent = run.add("bus", [1.0], time=[0.0])
    signal = run.add(
        "speed", [4.5, 7.0], time=[0.0, 0.1], path="car/engine", model="car", source="bus.speed",
        root_source="bus", time_source="clock", port=2, channel=[1, 3], sid="car:7", unit="m/s",
        metadata={"gain": 2.0}, parent=parent,
    )  # fmt: skip
    assert (signal.label, signal.path, signal.model) == ("speed", "car/engine", "car")
    assert (signal.source, signal.root_source, signal.time_source) == ("bus.speed", "bus", "clock")
    assert (signal.port, signal.channel, signal.sid) == (2, (1, 3), "car:7")
    assert signal.metadata == {"gain": 2.0, "unit": "m/s"}
    assert (signal.unit, signal.run, signal.id) == ("m/s", run, 2)
    assert (signal.parent, parent.children) == (parent, (signal,))
    assert (parent.parent, signal.children) == (None, ())


def test_defaults_are_empty(run):
    signal = run.add("speed", [4.5], time=[0.0])
    texts = (signal.path, signal.model, signal.source, signal.root_source, signal.time_source)
    assert texts == ("",) * 5
    assert (signal.port, signal.channel, signal.sid) == (0, (), "")
    assert (signal.metadata, signal.unit, signal.visible) == (None, None, False)


def test_one_number_is_a_channel(run):
    assert run.add("a", [1.0], time=[0.0], channel=3).channel == (3,)


@hypothesis.settings(deadline=None, max_examples=200)
@hypothesis.given(
    hnp.arrays(
        dtype=st.sampled_from(DTYPES).flatmap(
            lambda name: st.sampled_from([np.dtype(name), np.dtype(name).newbyteorder()])
        ),
        shape=hnp.array_shapes(min_dims=1, max_dims=4, min_side=0, max_side=4),
    )
)
def test_values_of_every_class_and_shape_come_back(values):
    run = kvr.Store().new_run("x")
    time = np.arange(float(len(values)))
    back = run.add("a", values, time).values
    assert back.dtype == values.dtype.newbyteorder("=")
    shape = values.shape
    if shape == (0, 0) or (len(shape) == 2 and shape[1] == 1):  # nothing, and one column
        shape = shape[:1]
    assert back.shape == shape
    np.testing.assert_array_equal(back, values.reshape(shape))
    run.remove()


@pytest.mark.parametrize("dtype", ["int8", "int64", "uint16", "float32", "float64"])
def test_time_keeps_its_class(run, dtype):
    time = run.add("a", [1.0, 2.0, 3.0], np.array([0, 1, 1], dtype)).time
    assert (time.dtype, time.tolist()) == (np.dtype(dtype), [0, 1, 1])


def test_values_are_read_only_and_share_memory_with_the_store(run):
    for values in (np.arange(6.0), np.arange(24.0).reshape(6, 2, 2)):
        signal = run.add("a", values, np.arange(6.0))
        first, second = signal.values, kvr.Store().signal(signal.id).values
        assert np.shares_memory(first, second)
        assert first.__array_interface__["data"] == (second.__array_interface__["data"][0], True)
        assert np.shares_memory(signal.time, signal.time)
        with pytest.raises(ValueError):
            first[0] = 1
        with pytest.raises(ValueError):
            signal.time[0] = 1


def test_store_has_a_copy_of_what_was_given(run):
    values, time = np.zeros(3), np.zeros(3)
    signal = run.add("a", values, time)
    values[0] = time[0] = 9
    assert signal.values.tolist() == signal.time.tolist() == [0, 0, 0]


def test_numbers_in_an_array_of_objects_are_numbers(run):
    for values, dtype in (([1, 2], "int64"), ([1, 2.5], "float64"), ([True, False], "bool")):
        signal = run.add("a", np.array(values, object), [0.0, 1.0])
        assert (signal.values.tolist(), signal.values.dtype) == (values, np.dtype(dtype))


def test_values_outlive_their_signal(run):
    signal = run.add("a", np.arange(1000.0), np.arange(1000.0))
    values = signal.values
    run.remove()
    assert values.sum() == 499500.0


def test_one_sample_and_none_come_back(run):
    one = run.add("one", [4.5], time=[1.0])
    none = run.add("none", [], time=[])
    assert (one.values.tolist(), one.time.tolist()) == ([4.5], [1.0])
    assert (none.values.shape, none.time.shape) == ((0,), (0,))
    assert not one.values.flags.writeable


def test_one_sample_of_many_components_keeps_its_shape(run):
    signal = run.add("a", [[1.0, 2.0, 3.0]], time=[0.0])
    assert signal.values.tolist() == [[1.0, 2.0, 3.0]]


# ---- Text ----


@pytest.mark.parametrize("texts", [["a", "bb", ""], ["Grüße", "\U0001f600", "x\ny"], ["one"]])
def test_text_signals_are_arrays_of_str(run, texts):
    signal = run.add("a", texts, np.arange(float(len(texts))))
    assert signal.values.dtype.kind == "U"
    assert signal.values.tolist() == texts
    with pytest.raises(ValueError):
        signal.values[0] = "b"


def test_text_of_two_components_keeps_its_shape(run):
    signal = run.add("a", np.array([["a", "b"], ["c", "dd"]]), [0.0, 1.0])
    assert signal.values.tolist() == [["a", "b"], ["c", "dd"]]


def test_one_long_text_does_not_make_all_of_them_long(run):
    texts = ["x"] * 5000 + ["y" * 100_000]
    signal = run.add("a", texts, np.arange(5001.0))
    assert signal.values.nbytes < 1_000_000
    assert signal.values[-1] == "y" * 100_000
    assert signal.values[0] == "x"


# ---- Dates ----


def test_dates_become_seconds(run):
    dates = np.array(["1970-01-01", "1970-01-02T00:00:00.5"], "datetime64[ns]")
    signal = run.add("a", [1.0, 2.0], dates)
    assert signal.time.tolist() == [0.0, 86400.5]
    assert signal.time_source == "seconds since 1970-01-01"


def test_dates_of_every_unit_and_far_away(run):
    for unit in ("D", "h", "m", "s", "ms", "us"):
        dates = np.array(["1900-01-01", "2100-01-01"]).astype(f"datetime64[{unit}]")
        assert run.add("a", [1, 2], dates).time.tolist() == [-2208988800.0, 4102444800.0]


def test_datetimes_are_taken_as_utc_or_brought_to_it(run):
    zone = datetime.timezone(datetime.timedelta(hours=1))
    naive = [datetime.datetime(1970, 1, 1, 0, 0, 1)]
    aware = [datetime.datetime(1970, 1, 1, 1, 0, 2, tzinfo=zone)]
    assert run.add("a", [1.0], naive).time.tolist() == [1.0]
    assert run.add("a", [1.0], aware).time.tolist() == [2.0]


def test_pandas_index_of_dates_is_taken(run):
    pandas = pytest.importorskip("pandas")
    index = pandas.date_range("1970-01-01", periods=2, freq="s")
    assert run.add("a", pandas.Series([1.0, 2.0]), index).time.tolist() == [0.0, 1.0]
    assert run.add("a", [1.0, 2.0], index.tz_localize("UTC")).time.tolist() == [0.0, 1.0]


# ---- What is refused ----

REFUSED = [
    (dict(values=[1.0, 2.0], time=[0.0]), "values have 2 samples, but time has 1"),
    (dict(values=[1.0, 2.0], time=[0.0, float("nan")]), r"time\[1\] is NaN"),
    (dict(values=[1.0] * 3, time=[0, 2, 1]), r"time falls at time\[2\]: 1 comes after 2"),
    (dict(values=[1.0], time=[[0.0]]), r"time must be a vector, not of shape \(1, 1\)"),
    (dict(values=[1.0], time=0.0), "time must be a vector"),
    (dict(values=1.0, time=[0.0]), "values must be an array with time as its first axis"),
    (dict(values=[1.0], time=[True]), "time must be real numbers or dates"),
    (dict(values=[1.0], time=[1j]), "time must be real numbers or dates"),
    (dict(values=[1.0], time=["a"]), "time must be real numbers or dates"),
    (dict(values=[1.0], time=[None]), r"time\[0\] is neither a number nor a date"),
    (dict(values=[1.0], time=np.array(["NaT"], "datetime64[s]")), r"time\[0\] is not a date"),
    (
        dict(values=[1, 2], time=np.array(["1971", "1970"], "datetime64[Y]")),
        r"time falls at time\[1\]",
    ),
    (dict(values=[1.0], time=np.zeros(1, "float16")), "not of class float16"),
    (dict(values=np.zeros(1, "float16"), time=[0.0]), "class float16"),
    (dict(values=np.zeros(1, "longdouble"), time=[0.0]), "class float128"),
    (dict(values=np.zeros(1, "M8[s]"), time=[0.0]), r"class datetime64\[s\]"),
    (dict(values=[b"a"], time=[0.0]), "class |S1"),
    (dict(values=["a", 1], time=[0, 1]), r"values\[1\] is not a text, as others are: 1"),
    (dict(values=[1.0, None], time=[0, 1]), r"values\[1\] is not a number: None"),
    (dict(values=["a", "b\0"], time=[0, 1]), r"values\[1\] has a NUL at position 1"),
    (dict(values=np.ma.masked_array([1.0], [True]), time=[0.0]), "values has masked elements"),
    (dict(label="a\0b"), "label has a NUL at position 1"),
    (dict(path="\0"), "path has a NUL at position 0"),
    (dict(unit="\0"), "unit has a NUL"),
    (dict(time_source="x\0"), "time_source has a NUL"),
    (dict(root_source="x\0"), "root_source has a NUL"),
    (dict(sid="\ud800"), "sid has half a character at position 0"),
    (dict(port=-1), "port must be from 0"),
    (dict(channel=[0, 2**31]), r"channel\[1\] must be from"),
    (dict(unit="m", metadata=3), "metadata must be a dict"),
    (dict(unit="m", metadata={"unit": "s"}), "metadata has another unit"),
    (
        dict(time=np.array(["1970"], "datetime64[s]"), time_source="clock"),
        "time_source must be 'seconds since 1970-01-01'",
    ),
]


@pytest.mark.parametrize(("arguments", "text"), REFUSED)
def test_refused_signal_is_told_why_and_changes_nothing(run, arguments, text):
    full = {"label": "a", "values": [1.0], "time": [0.0]} | arguments
    with pytest.raises(ValueError, match=text):
        run.add(**full)
    assert len(run) == 0
    assert run.add("next", [1.0], time=[0.0]).id == 1


@pytest.mark.parametrize(
    "arguments",
    [dict(label=3), dict(path=None), dict(port=1.5), dict(channel=[1.5]), dict(parent=1)],
)
def test_argument_of_another_type_is_a_type_error(run, arguments):
    with pytest.raises(TypeError):
        run.add(**({"label": "a", "values": [1.0], "time": [0.0]} | arguments))
    assert len(run) == 0


def test_parent_that_is_gone_is_refused(run):
    parent = run.add("a", [1.0], time=[0.0])
    parent.remove()
    with pytest.raises(kvr.Gone):
        run.add("b", [1.0], time=[0.0], parent=parent)


def test_parent_of_a_removed_run_reads_as_none(store, run):
    other = store.new_run("other")
    child = run.add("b", [1.0], time=[0.0], parent=other.add("a", [1.0], time=[0.0]))
    other.remove()
    assert child.parent is None


def test_children_of_a_removed_run_are_left_out(store, run):
    parent = run.add("a", [1.0], time=[0.0])
    other = store.new_run("other")
    for label in "bc":
        other.add(label, [1.0], time=[0.0], parent=parent)
    assert len(parent.children) == 2
    other.remove()
    assert parent.children == ()


# ---- Display and metadata ----


def test_color_is_set_as_numbers_or_hex(run, repo):
    signal = run.add("a", [1.0], time=[0.0])
    signal.color = (1, 0.5, 0)
    assert signal.color == (1.0, 0.5, 0.0)
    signal.color = "#FF8000"
    assert signal.color == (1.0, 128 / 255, 0.0)
    assert np.ravel(repo.getSignal(1)["LineColor"]).tolist() == [1.0, 128 / 255, 0.0]
    for wrong in ("red", "#12345", "#1234567", (1, 2, 0), (0, 0), (0, 0, float("nan"))):
        with pytest.raises(ValueError, match="color must be"):
            signal.color = wrong
    assert signal.color == (1.0, 128 / 255, 0.0)


def test_dash_visibility_and_metadata_are_set(run, repo):
    signal = run.add("a", [1.0], time=[0.0])
    signal.dash = "-."
    signal.visible = np.True_
    signal.metadata = {"unit": "V"}
    assert (signal.dash, signal.visible, signal.unit) == ("-.", True, "V")
    assert repo.getVisibility(1) is True
    signal.visible = 0
    assert signal.visible is False


# ---- Records of others ----


@pytest.mark.parametrize(
    ("data", "time", "time_dim", "shape"),
    [
        ((1, 5), (1, 5), 0, (5,)),
        ((1, 5), (1, 5), 1, (5,)),  # the dimension has one entry, and yet it is a row of samples
        ((5, 1), (1, 5), 0, (5,)),
        ((1, 5), (5, 1), 2, (5,)),
        ((5, 3), (5, 1), 0, (5, 3)),
        ((3, 5), (5, 1), 0, (5, 3)),
        ((3, 5), (5, 1), 2, (5, 3)),
        ((5, 5), (5, 1), 0, (5, 5)),
        ((2, 3, 5), (5, 1), 3, (5, 2, 3)),
        ((2, 3, 5), (5, 1), 0, (5, 2, 3)),
        ((2, 5, 5), (5, 1), 0, (5, 2, 5)),
        ((1, 1, 5), (5, 1), 0, (5, 1, 1)),
        ((1, 3), (1, 1), 0, (1, 3)),
        ((3, 1), (1, 1), 2, (1, 3)),
        ((0, 0), (0, 0), 0, (0,)),
        ((0, 3), (1, 0), 0, (0, 3)),
        ((4, 2), (5, 1), 9, (4, 2)),  # nothing fits: left as it is
    ],
)
def test_axis_of_time_of_a_foreign_record(run, add_foreign, data, time, time_dim, shape):
    values = np.arange(float(np.prod(data))).reshape(data)
    times = np.arange(float(np.prod(time))).reshape(time)
    signal = add_foreign(run, vormel.timeseries(values, times), time_dim=time_dim)
    assert signal.values.shape == shape
    assert signal.time.shape == (np.prod(time),)


def test_axis_of_time_is_moved_not_copied_wrongly(run, add_foreign):
    data = np.arange(30.0).reshape(2, 3, 5)
    held = vormel.timeseries(data, column(0, 1, 2, 3, 4))
    signal = add_foreign(run, held, time_dim=3)
    np.testing.assert_array_equal(signal.values[4], data[:, :, 4])
    assert np.shares_memory(signal.values, signal.values)


def test_first_axis_of_several_that_fit_is_taken(run, add_foreign):
    data = np.arange(25.0).reshape(5, 5)
    signal = add_foreign(run, vormel.timeseries(data, column(0, 1, 2, 3, 4)))
    np.testing.assert_array_equal(signal.values, data)


@pytest.mark.parametrize(
    ("time_dim", "transposed"), [(0, False), (1, False), (2, True), (3, False)]
)
def test_time_dimension_of_the_record_decides_before_the_lengths(
    run, add_foreign, time_dim, transposed
):
    data = np.arange(25.0).reshape(5, 5)
    held = vormel.timeseries(data, column(0, 1, 2, 3, 4))
    signal = add_foreign(run, held, time_dim=time_dim)
    np.testing.assert_array_equal(signal.values, data.T if transposed else data)


def test_rows_of_characters_are_texts(run, add_foreign):
    data = vormel.array(np.array([["a", "b"], ["c", "d"], ["e", "f"]]), "char")
    signal = add_foreign(run, vormel.timeseries(data, column(0, 1, 2)))
    assert signal.values.tolist() == ["ab", "cd", "ef"]


def test_cells_of_other_things_come_as_objects(run, add_foreign):
    signal = add_foreign(run, vormel.timeseries(vormel.array(["a", 1], "cell"), column(0, 1)))
    assert signal.values.dtype == object
    assert signal.values.tolist() == ["a", 1]


def test_structure_with_time_and_data_is_a_time_series(run, add_foreign):
    signal = add_foreign(run, {"Time": column(0, 1), "Data": column(5, 6)})
    assert signal.values.tolist() == [5, 6]


@pytest.mark.parametrize("held", [1.0, None, "text", {"Time": 1.0}, {"Data": 1.0}, [1, 2]])
def test_record_without_a_time_series_has_no_values(run, add_foreign, held):
    signal = add_foreign(run, held)
    assert signal.label == "foreign"
    for read in (lambda: signal.values, lambda: signal.time):
        with pytest.raises(kvr.NoValues, match="holds no time series"):
            read()


# ---- File mode ----


@pytest.fixture
def scratch(tmp_path):
    vormel.functions["tempdir"] = lambda: f"{tmp_path}/"
    return tmp_path / "KVR.vdf"


def test_file_mode_keeps_values_in_the_file_until_its_end(store, scratch):
    run = store.new_run("a")
    with store.to_file() as same:
        assert same == store
        kept = run.add("kept", [[1, 2], [3, 4]], time=[0.0, 0.1])
    size = scratch.stat().st_size
    run.add("memory", np.zeros(100_000), np.zeros(100_000))
    assert scratch.stat().st_size == size
    assert kept.values.tolist() == [[1, 2], [3, 4]]
    assert kept.time.tolist() == [0.0, 0.1]
    store.clear()
    assert not scratch.exists()


def test_file_mode_without_a_context_lasts_until_it_is_ended(store, scratch):
    store.to_file()
    run = store.new_run("a")
    run.add("a", np.zeros(100_000), np.zeros(100_000))
    assert scratch.stat().st_size > 1_000_000
    store.to_memory()
    run.add("b", [1.0], time=[0.0])
    scratch.unlink()
    assert run["b"].values.tolist() == [1.0]


def test_signal_whose_values_are_lost_still_says_who_it_is(store, run, scratch):
    with store.to_file():
        lost = run.add("speed", [1.0], time=[0.0], path="car/engine", source="bus", model="m")
    with store.to_file():
        pass  # a new file in place of the old one
    for signal in (lost, store.signal(lost.id)):
        with pytest.raises(kvr.NoValues, match="are lost"):
            _ = signal.values
    fresh = store.signal(lost.id)
    assert (fresh.label, fresh.path) == ("speed", "car/engine")
    assert (fresh.source, fresh.model) == ("bus", "m")
    assert (fresh.run, fresh.port) == (run, 0)
    assert run["speed"] == fresh
    assert fresh.tolerance == kvr.Tolerance()


def test_scratch_file_that_is_gone_is_no_values_and_no_gone(store, run, scratch):
    with store.to_file():
        lost = run.add("speed", [1.0], time=[0.0])
    scratch.unlink()
    with pytest.raises(kvr.NoValues, match="are lost"):
        _ = lost.values
    lost.remove()
    with pytest.raises(kvr.Gone):
        _ = lost.values


def test_scratch_file_that_cannot_be_written_is_an_os_error(store, run, scratch):
    store.to_file()
    scratch.unlink()
    scratch.mkdir()
    with pytest.raises(OSError, match="the values cannot be written to the scratch file"):
        run.add("speed", [1.0], time=[0.0])
    assert len(run) == 0
    store.to_memory()
    vormel.functions["tempdir"] = lambda: ""
    with pytest.raises(OSError, match="the host names no folder for the scratch file"):
        store.to_file()


def test_signal_added_by_another_program_is_seen_at_once(store, run):
    SignalRepository().add(
        None, run.id, "", "", "s", vormel.timeseries([1.0, 2.0], [0.0, 1.0]), "p", "", "l",
        1, [1], 1, [], "", None, [], "s",
    )  # fmt: skip
    assert run["l"].values.tolist() == [1.0, 2.0]


# ---- Other packages ----


def test_series_and_frame_of_pandas(run):
    run.add("a", [1.0, 2.0], time=[0.0, 1.0])
    run.add("b", [[1, 2], [3, 4]], time=[1.0, 2.0])
    series = run["a"].to_series()
    assert (series.name, series.tolist(), series.index.tolist()) == ("a", [1.0, 2.0], [0.0, 1.0])
    frame = run.to_dataframe()
    assert frame.columns.tolist() == ["a", "b[0]", "b[1]"]
    assert frame.index.tolist() == [0.0, 1.0, 2.0]
    assert frame["a"].fillna(-1).tolist() == [1.0, 2.0, -1.0]
    assert frame["b[1]"].fillna(-1).tolist() == [-1.0, 2.0, 4.0]
    with pytest.raises(ValueError, match="takes one component"):
        run["b"].to_series()


def test_frame_keeps_events_and_tells_equal_labels_apart(run):
    run.add("a", [1.0, 2.0, 3.0], time=[0.0, 1.0, 1.0], path="p")
    run.add("a", [4.0], time=[1.0], path="p")
    frame = run.to_dataframe()
    assert frame.columns.tolist() == ["p/a", "p/a (2)"]
    assert frame.index.tolist() == [0.0, 1.0, 1.0]
    assert frame["p/a"].tolist() == [1.0, 2.0, 3.0]


def test_frame_of_an_empty_run_is_empty(run):
    assert run.to_dataframe().shape == (0, 0)
    assert len(run.to_xarray().variables) == 0


def test_data_set_of_xarray_shares_equal_times(run):
    for label, time in (("a", [0.0, 1.0]), ("b", [0.0, 1.0]), ("c", [0.0, 2.0])):
        run.add(label, [1.0, 2.0], time=time)
    data = run.to_xarray()
    assert [data[label].dims for label in "abc"] == [("time",), ("time",), ("time_2",)]


def test_missing_package_is_named(run_python):
    printed = run_python(
        "import sys, kvr\n"
        "sys.modules['pandas'] = None\n"
        "try: kvr.Store().new_run('a').to_dataframe()\n"
        "except ImportError as error: print(type(error).__name__, error)\n"
    )
    assert printed == (
        "MissingPackage to_dataframe needs pandas, which is not installed: "
        "try 'apt install python3-pandas'\n"
    )
