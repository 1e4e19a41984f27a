"""HDF5 files: those of h5py, pandas and netCDF's library, bad ones, and our own."""

import datetime
import os
import subprocess
import sys

import h5py
import kvr
import netCDF4
import numpy as np
import pandas
import pytest
import xarray

TIME = np.array([0.0, 0.5, 1.0])
SPEED = np.array([4.5, 7.0, 9.5])


@pytest.fixture
def path(tmp_path):
    return tmp_path / "drive.h5"


def read(path):
    """The signals of all runs: run, path and label to times and values."""
    with kvr.open(path) as recording:
        return {
            (run.name, s.path, s.label): (s.time.tolist(), s.values.tolist())
            for run in recording for s in run
        }  # fmt: skip


def with_scale(group, name, values, scale):
    item = group.create_dataset(name, data=values)
    item.dims[0].attach_scale(scale)
    return item


def scale(group, name, values, **attributes):
    made = group.create_dataset(name, data=values)
    made.make_scale(name)
    made.attrs.update(attributes)
    return made


# ---- Files of h5py ----


def test_time_is_a_dataset_of_that_name_beside(path):
    with h5py.File(path, "w") as file:
        file["time"], file["speed"], file["limit"] = TIME, SPEED, 3.0
        file["speed"].attrs["units"] = "m/s"
        file["speed"].attrs["sensor"] = 7
    with kvr.open(path) as recording:
        (run,) = recording.runs
        (speed,) = run.signals
        assert (run.name, run.id, speed.label, speed.id) == ("drive", 1, "speed", 1)
        assert (speed.unit, speed.metadata) == ("m/s", {"unit": "m/s", "sensor": 7})
        assert (speed.time_source, speed.root_source) == ("time", "drive.h5")
        np.testing.assert_array_equal(speed.time, TIME)
        np.testing.assert_array_equal(speed.values, SPEED)
        assert not speed.values.flags.writeable
        now = datetime.datetime.now(datetime.timezone.utc)
        assert abs(run.created - now) < datetime.timedelta(minutes=10)


def test_time_is_a_dimension_scale_before_a_dataset_of_that_name(path):
    with h5py.File(path, "w") as file:
        file["time"] = TIME
        clock = scale(file, "clock", TIME + 10)
        with_scale(file, "speed", SPEED, clock)
        file["plain"] = SPEED
        late = with_scale(file, "turned", np.ones((3, 3)), clock)
        late.dims[1].attach_scale(scale(file, "t", TIME))
    found = read(path)
    assert found["drive", "", "speed"] == ([10, 10.5, 11], [4.5, 7, 9.5])
    assert found["drive", "", "plain"][0] == [0, 0.5, 1]
    assert found["drive", "", "turned"][0] == [0, 0.5, 1]
    assert len(found) == 3


def test_time_runs_along_the_axis_of_its_scale(path):
    values = np.arange(6).reshape(2, 3)
    with h5py.File(path, "w") as file:
        item = file.create_dataset("force", data=values)
        item.dims[1].attach_scale(scale(file, "time", TIME))
        file["beside"] = values
    found = read(path)
    assert found["drive", "", "force"][1] == values.T.tolist()
    assert found["drive", "", "beside"][1] == values.T.tolist()


def test_top_level_groups_with_times_are_runs_and_groups_are_paths(path):
    with h5py.File(path, "w") as file:
        for day in ("Monday", "Tuesday"):
            file[f"{day}/time"] = TIME
            file[f"{day}/speed"] = SPEED
            file[f"{day}/car/engine/speed"] = SPEED
            file[f"{day}/bus/time"], file[f"{day}/bus/load"] = TIME * 2, SPEED
        file["time"], file["all/clock"] = TIME + 1, SPEED
    found = read(path)
    assert set(found) == {
        (day, *names) for day in ("Monday", "Tuesday")
        for names in (("", "speed"), ("car/engine", "speed"), ("bus", "load"))
    } | {("drive", "all", "clock")}  # fmt: skip
    assert found["Monday", "bus", "load"][0] == [0, 1, 2]
    assert found["drive", "all", "clock"][0] == [1, 1.5, 2]


@pytest.mark.parametrize("name", [
    "bool", "int8", "uint8", "int16", "int32", "int64", "uint64", "float32", "float64",
    "complex64", "complex128", ">f8", ">i4", ">c16",
])  # fmt: skip
def test_classes_of_numbers_are_kept(path, name):
    values = np.array([0, 1, 1]).astype(name)
    with h5py.File(path, "w") as file:
        file["time"], file["a"] = TIME, values
    with kvr.open(path) as recording:
        found = recording.runs[0]["a"].values
        np.testing.assert_array_equal(found, values)
        assert found.dtype == values.dtype.newbyteorder("=")
        assert found.dtype.isnative


def test_texts_of_any_kind_are_signals_of_text(path):
    with h5py.File(path, "w") as file:
        file["time"] = TIME
        file.create_dataset("a", data=["x", "é", ""], dtype=h5py.string_dtype())
        file["b"] = np.array([b"x", b"yy", b""])
    assert [signal[1] for signal in read(path).values()] == [["x", "é", ""], ["x", "yy", ""]]


def test_runs_without_signals_come_back(store, path):
    for name in ("Monday", "none", "Tuesday"):
        run = store.new_run(name)
        if name != "none":
            run.add("speed", SPEED, TIME)
    store.save(path)
    with kvr.open(path) as recording:
        assert [(run.name, len(run)) for run in recording.runs] == [
            ("Monday", 1), ("none", 0), ("Tuesday", 1),
        ]  # fmt: skip
        assert recording.runs["none"].created == store.runs["none"].created
    store.save(path, runs="none")
    assert [run.name for run in store.load(path)] == ["none"]


def test_soft_links_cycles_and_empty_datasets_do_no_harm(path):
    with h5py.File(path, "w") as file:
        file["time"], file["a"] = TIME, SPEED
        file["group/again"] = h5py.SoftLink("/a")
        file["group/nowhere"] = h5py.SoftLink("/none")
        file["group/cycle"] = file["/"]
        file["nothing"] = h5py.Empty("f8")
    assert list(read(path)) == [("drive", "", "a")]


@pytest.mark.parametrize(
    ("units", "calendar", "values", "times"),
    [
        ("seconds since 1970-01-01", None, [0, 1, 2], [0, 1, 2]),
        ("days since 2000-01-01", "standard", [0, 1, 2.5], [946684800, 946771200, 946900800]),
        ("hours since 1970-01-01 01:00:00 +02:00", None, [1, 2, 3], [0, 3600, 7200]),
        ("minutes since 1970-1-1T0:0", "gregorian", [0, 1, 2], [0, 60, 120]),
        ("milliseconds since 1970-01-01T00:00:01.5Z", None, [0, 500, 1000], [1.5, 2, 2.5]),
        ("us since 1970-01-01", "proleptic_gregorian", [0, 1, 2], [0, 1e-6, 2e-6]),
    ],
)
def test_units_since_a_date_are_dates(path, units, calendar, values, times):
    with h5py.File(path, "w") as file:
        attributes = {"units": units} | ({"calendar": calendar} if calendar else {})
        with_scale(file, "a", SPEED, scale(file, "time", values, **attributes))
    with kvr.open(path) as recording:
        signal = recording.runs[0]["a"]
        assert signal.time.tolist() == times
        assert signal.time_source == "seconds since 1970-01-01"


@pytest.mark.parametrize(
    ("units", "calendar"),
    [("days since 2000-01-01", "noleap"), ("days since 0001-01-01", "standard"), ("months since 2000-01-01", "standard")],
)  # fmt: skip
def test_dates_of_other_calendars_stay_numbers(path, units, calendar):
    with h5py.File(path, "w") as file:
        with_scale(file, "a", SPEED, scale(file, "time", TIME, units=units, calendar=calendar))
    with kvr.open(path) as recording:
        signal = recording.runs[0]["a"]
        assert (signal.time.tolist(), signal.time_source) == (TIME.tolist(), units)


# ---- Files of netCDF's library ----


def test_netcdf_file_with_packed_values_gaps_and_dates(path):
    with netCDF4.Dataset(path, "w") as file:
        file.createDimension("time", None)
        file.createDimension("lat", 2)
        file.createDimension("name", 4)
        time = file.createVariable("time", "i4", ("time",))
        time.units, time[:] = "days since 1970-01-01 00:00:00", [0, 1, 2]
        file.createVariable("lat", "f4", ("lat",))[:] = [50, 40]
        file.createVariable("height", "f4", ("lat",))[:] = [100, 200]
        heat = file.createVariable("heat", "i2", ("lat", "time"), fill_value=-999)
        heat.units, heat.scale_factor, heat.add_offset = "K", 0.5, 270.0
        heat[:] = np.ma.masked_invalid([[270, 271, np.nan], [280, 281, 282]])
        count = file.createVariable("count", "i8", ("time",), fill_value=-1)
        count[:] = [1, -1, 3]
        rain = file.createVariable("rain", "f4", ("time",), fill_value=1e20)
        rain[:] = [0.5, 1e20, 1.5]
        whole = file.createVariable("whole", "i8", ("time",), fill_value=-1)
        whole[:] = [1, 2, 3]
        day = file.createVariable("day", str, ("time",))
        for place, text in enumerate(("a", "b", "c")):
            day[place] = text
        letters = file.createVariable("letters", "S1", ("time", "name"))
        letters[:] = netCDF4.stringtochar(np.array([b"ab", b"", b"abcd"], "S4"))
    with kvr.open(path) as recording:
        (run,) = recording.runs
        heat = run["heat"]
        assert {s.label for s in run} == {"heat", "count", "rain", "whole", "day", "letters"}
        assert heat.unit == "K"
        np.testing.assert_array_equal(heat.values, [[270, 280], [271, 281], [np.nan, 282]])
        assert heat.time.tolist() == [0, 86400, 172800]
        assert heat.time_source == "seconds since 1970-01-01"
        np.testing.assert_array_equal(run["count"].values, [1, np.nan, 3])
        np.testing.assert_array_equal(run["rain"].values, np.float32([0.5, np.nan, 1.5]))
        assert run["rain"].values.dtype == np.float32
        assert run["whole"].values.dtype == np.int64
        assert run["day"].values.tolist() == ["a", "b", "c"]
        assert run["letters"].values.tolist() == ["ab", "", "abcd"]


def test_netcdf_groups_with_their_own_times_are_runs(path):
    with netCDF4.Dataset(path, "w") as file:
        for name in ("Monday", "Tuesday"):
            group = file.createGroup(name)
            group.createDimension("time", 3)
            group.createVariable("time", "f8", ("time",))[:] = TIME
            group.createVariable("speed", "f8", ("time",))[:] = SPEED
    assert set(read(path)) == {("Monday", "", "speed"), ("Tuesday", "", "speed")}


def test_dataset_of_xarray(path):
    when = pandas.date_range("2020-01-01", periods=3)
    data = xarray.Dataset(
        {"a": ("when", SPEED), "ok": ("when", [True, False, True])}, {"when": when}
    )
    data.to_netcdf(path, engine="netcdf4")
    with kvr.open(path) as recording:
        run = recording.runs[0]
        assert run["a"].time.tolist() == [1577836800, 1577923200, 1578009600]
        assert run["ok"].values.dtype == bool


# ---- Files of pandas ----


def test_frames_and_series_of_pandas_in_fixed_format(path):
    frame = pandas.DataFrame(
        {"speed": SPEED, "gear": np.int64([1, 2, 3]), "ok": [True, False, True]},
        index=TIME,
    )
    frame.to_hdf(path, "Monday")
    frame["speed"].to_hdf(path, "Tuesday")
    when = pandas.date_range("2020-01-01", periods=3)
    frame.set_index(when)[["gear"]].to_hdf(path, "deep/Wednesday")
    found = read(path)
    time = TIME.tolist()
    assert found["Monday", "", "speed"] == (time, SPEED.tolist())
    assert found["Monday", "", "gear"] == (time, [1, 2, 3])
    assert found["Monday", "", "ok"] == (time, [1, 0, 1])
    assert found["Tuesday", "", "Tuesday"] == (time, SPEED.tolist())
    assert found["deep", "Wednesday", "gear"] == ([1577836800, 1577923200, 1578009600], [1, 2, 3])


@pytest.mark.parametrize(
    "index", [pandas.Index([], dtype=float), pandas.DatetimeIndex([])], ids=["numbers", "dates"]
)
def test_frame_and_series_without_rows_have_no_samples(path, index):
    frame = pandas.DataFrame({"a": [], "b": np.int64([])}, index=index)
    frame.to_hdf(path, "Monday")
    frame["b"].to_hdf(path, "Tuesday")
    assert read(path) == {
        ("Monday", "", "a"): ([], []),
        ("Monday", "", "b"): ([], []),
        ("Tuesday", "", "Tuesday"): ([], []),
    }
    with kvr.open(path) as recording:
        assert recording.runs["Monday"]["b"].values.dtype == np.int64


def test_truths_of_pandas_are_logical_and_its_own_attributes_no_metadata(path):
    pandas.Series([True, False], index=[0.0, 1.0]).to_hdf(path, "ok")
    with kvr.open(path) as recording:
        signal = recording.runs["ok"]["ok"]
        assert signal.values.dtype == bool
        assert signal.values.tolist() == [True, False]
        assert signal.metadata is None


@pytest.mark.parametrize(
    ("frame", "options", "what"),
    [
        (pandas.DataFrame({"a": SPEED}), {"format": "table"}, "names are pickled: write it with to_hdf"),
        (pandas.DataFrame({"a": ["x", "y", 3]}), {}, "objects are pickled; keep numbers alone"),
        (pandas.DataFrame({("a", "b"): SPEED}), {}, "has columns of several levels: write it"),
        (pandas.DataFrame({"a": SPEED}, index=["x", "y", "z"]), {}, "is a time of neither numbers nor dates"),
    ],
)  # fmt: skip
@pytest.mark.filterwarnings("ignore::pandas.errors.PerformanceWarning")
def test_what_pandas_pickles_is_refused_with_a_hint(path, frame, options, what):
    frame.to_hdf(path, "df", **options)
    with pytest.raises(kvr.FormatError, match=what):
        read(path)


def test_half_precision_is_read_as_single_precision(path, store):
    halves = np.array([0.1, -65504, np.inf, 6e-8], np.float16)
    with h5py.File(path, "w") as file:
        file["time"] = np.arange(4, dtype=np.float16)
        file["a"] = halves
    (run,) = store.load(path)
    assert (run["a"].time.dtype, run["a"].values.dtype) == (np.float32, np.float32)
    np.testing.assert_array_equal(run["a"].values, halves)


# ---- What is wrong with a file ----


def no_time(file):
    file["a"] = SPEED


def other_length(file):
    file["time"], file["group/a"] = TIME, [1.0]


def external_link(file):
    file["time"], file["a"], file["b"] = TIME, SPEED, h5py.ExternalLink("other.h5", "/a")


def external_values(file):
    file["time"] = TIME
    file.create_dataset("a", (3,), "f8", external=[("/etc/passwd", 0, 24)])


def virtual_values(file):
    file["time"] = TIME
    layout = h5py.VirtualLayout((3,), "f8")
    layout[:] = h5py.VirtualSource("other.h5", "a", (3,))
    file.create_virtual_dataset("a", layout)


def references(file):
    file["time"] = TIME
    file.create_dataset("a", data=[file.ref] * 3, dtype=h5py.ref_dtype)


def compounds(file):
    file["time"], file["a"] = TIME, np.zeros(3, [("x", "f8"), ("y", "i4")])


def ragged(file):
    file["time"] = TIME
    file.create_dataset("a", (3,), h5py.vlen_dtype("f8"))


def text_times(file):
    file["a"] = SPEED
    file.create_dataset("time", data=["x", "y", "z"], dtype=h5py.string_dtype())


def huge(file):
    file.create_dataset("time", (1 << 50,), "f8", chunks=(1024,), compression="gzip")
    file.create_dataset("a", (1 << 50,), "f8", chunks=(1024,), compression="gzip")


def huge_chunk(file):
    file["time"] = TIME
    file.create_dataset("a", (3,), "f8", chunks=(1 << 28,), maxshape=(None,), compression="gzip")


def broken_scale(file):
    made = scale(file, "x", TIME)
    with_scale(file, "a", SPEED, made)
    del file["x"]


@pytest.mark.parametrize(
    ("make", "text"),
    [
        (no_time, "holds no dataset with a time: give it a dimension scale, or put a dataset named 'time' beside it"),
        (other_length, "/group/a: has the shape (1,), its time '/time' has (3,): lengths must agree; move what is no signal to a group without a time"),
        (external_link, "/b: links to another file, 'other.h5': copy what it holds"),
        (external_values, "/a: has its values in another file: copy them into this one"),
        (virtual_values, "/a: has its values in another file: copy them into this one"),
        (references, "/a: holds references, which is no signal; move it to a group without a time, or leave it out"),
        (compounds, "/a: holds compounds, which is no signal; move it to a group without a time, or leave it out"),
        (ragged, "/a: holds arrays of any length, or pickled objects, which is no signal; move it to a group without a time, or leave it out"),
        (text_times, "/time: is a time of neither numbers nor dates; write numbers, with the units 'seconds since 1970-01-01' for dates"),
        (huge, "/a: claims 9007199254740992 bytes, of which the file stores 0: it is damaged, or was never written"),
        (huge_chunk, "/a: claims 2147483648 bytes, of which the file stores 0: it is damaged, or was never written"),
    ],
)  # fmt: skip
def test_bad_file_is_told_with_its_place(path, make, text):
    with h5py.File(path, "w") as file:
        make(file)
    with pytest.raises(kvr.FormatError) as caught:
        read(path)
    error = caught.value
    assert (f"{error.where}: {error.what}" if error.where else error.what) == text


def test_scale_that_is_gone_is_told(path):
    with h5py.File(path, "w") as file:
        broken_scale(file)
    try:
        found = read(path)
    except kvr.FormatError as error:
        assert "\n" not in str(error)
    else:
        assert list(found.values()) == [(TIME.tolist(), SPEED.tolist())]  # the reference holds it


def test_file_that_is_not_hdf5_or_cut_off(path):
    path.write_bytes(b"time,a\n")
    with pytest.raises(kvr.FormatError, match="is not an HDF5 file"):
        kvr.open(path)
    with h5py.File(path, "w") as file:
        file["time"], file["a"] = TIME, SPEED
    path.write_bytes(path.read_bytes()[:-8])
    with pytest.raises(kvr.FormatError, match="cannot be read, the file is damaged: .*truncated"):
        kvr.open(path)


def test_closed_recording_reads_no_more(path):
    with h5py.File(path, "w") as file:
        file["time"], file["a"] = TIME, SPEED
    with kvr.open(path) as recording:
        signal = recording.runs[0]["a"]
    recording.close()
    with pytest.raises(ValueError, match="is closed"):
        _ = signal.values


def test_damaged_files_give_a_result_or_one_error(path, tmp_path):
    """In a process of its own: the library below is C, and must not end ours."""
    with h5py.File(path, "w") as file:
        made = scale(file, "time", TIME, units="days since 2000-01-01")
        with_scale(file, "a", SPEED, made).attrs["units"] = "m/s"
        file["group/time"], file["group/b"] = TIME, np.array([1, 2, 3], "i2")
        file.create_dataset("packed", data=SPEED, chunks=(2,), compression="gzip")
        file.create_dataset("text", data=["x", "é", ""], dtype=h5py.string_dtype())
    rounds = 20_000 if os.environ.get("KVR_LONG_TESTS") else 100
    program = f"""
import kvr, random
good = open({str(path)!r}, "rb").read()
random.seed(1)
results = errors = 0
for step in range({rounds}):
    bad = bytearray(good)
    for _ in range(random.randint(1, 4)):
        bad[random.randrange(len(bad))] = random.randrange(256)
    open({str(tmp_path / "bad.h5")!r}, "wb").write(bad)
    try:
        with kvr.open({str(tmp_path / "bad.h5")!r}) as recording:
            for run in recording:
                for signal in run:
                    signal.values
        results += 1
    except kvr.FormatError as error:
        assert "\\n" not in str(error)
        errors += 1
print(results > 10, errors > 10, results + errors)
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert (done.stdout, done.returncode) == (f"True True {rounds}\n", 0), done.stderr


# ---- Writing ----


@pytest.fixture
def everything(store):
    """A run with a signal of every class that the store has."""
    run = store.new_run("Monday/1")
    for name in ("bool", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64",
                 "float32", "float64", "complex64", "complex128"):  # fmt: skip
        run.add(name, np.array([0, 1, 1]).astype(name), TIME, path="classes")
    odd = np.array([np.nan, -0.0, 5e-324])
    run.add("odd", odd, TIME, unit="m/s", source="a.b", model="m", sid="x:1", port=2, channel=(3, 4),
            root_source="root", metadata={"gain": 2.5, "text": "é", "flag": True})  # fmt: skip
    run.add("matrix", np.arange(12).reshape(3, 2, 2), TIME)
    run.add("late", [1.5], np.array([7], "int32"), time_source="clock")
    run.add("dated", [1, 2], np.array(["2020-01-01", "2020-01-02"], "datetime64[s]"))
    run.add("empty", np.zeros(0), np.zeros(0))
    run.add("text", ["a", "", "é" * 300], TIME)
    run.add("text", ["b", "", ""], TIME, path="other/place")
    run.add("time", SPEED, TIME)
    run.add("a/b", SPEED, TIME)
    run.add("", SPEED, TIME)
    run.add(".", SPEED, TIME)
    run.created = datetime.datetime(2020, 1, 2, 3, 4, 5, tzinfo=datetime.timezone.utc)
    return run


def assert_same(back, run):
    assert (back.name, back.created, len(back)) == (run.name, run.created, len(run))
    for ours, theirs in zip(back, run):
        assert ours._facts()[1:] == theirs._facts()[1:]
        assert ours.metadata == theirs.metadata
        assert ours.values.dtype == theirs.values.dtype
        assert ours.time.dtype == theirs.time.dtype
        assert ours.values.tobytes() == theirs.values.tobytes()
        assert ours.time.tobytes() == theirs.time.tobytes()
        assert ours.values.shape == theirs.values.shape


def test_run_comes_back_bit_for_bit(everything, store, path):
    everything.save(path)
    with kvr.open(path) as recording:
        assert_same(recording.runs["Monday/1"], everything)
        (loaded,) = store.load(recording)
    assert_same(loaded, everything)


def test_runs_are_added_to_a_file(store, path):
    for value in (1.0, 2.0):
        store.new_run("Monday").add("a", [value], [0.0])
    store.runs[0].save(path)
    store.save(path, append=True)
    with kvr.open(path) as recording:
        assert [(run.name, run["a"].values.tolist()) for run in recording] == [
            ("Monday", [1]), ("Monday", [1]), ("Monday", [2]),
        ]  # fmt: skip
    with h5py.File(path) as file:
        assert list(file) == ["Monday", "Monday (2)", "Monday (3)"]
    path.write_text("no HDF5")
    with pytest.raises(kvr.FormatError, match="nothing can be added to it"):
        store.save(path, append=True)
    assert path.read_text() == "no HDF5"


def test_signals_of_equal_times_share_a_scale(everything, path):
    everything.save(path)
    with h5py.File(path) as file:
        group = file["Monday|1"]
        times = [name for name in group if h5py.h5ds.is_scale(group[name].id)]
        assert times == ["time", "axis_2", "time_2", "time_3", "time_4"]
        assert group["odd"].dims[0][0] == group["time"]
        assert group["odd"].attrs["units"] == "m/s"
        assert group["time_3"].attrs["units"] == "seconds since 1970-01-01"
        np.testing.assert_array_equal(group["matrix"][()], everything["matrix"].values)
        assert group["complex128"][()].tolist() == [0, 1, 1]


def test_netcdf_and_xarray_read_what_we_write(everything, path):
    everything.save(path)
    with netCDF4.Dataset(path) as file:
        group = file["Monday|1"]
        np.testing.assert_array_equal(group["matrix"][:], everything["matrix"].values)
        assert group["odd"].units == "m/s"
        assert group["text"][2] == "é" * 300
        assert "complex128" not in group.variables  # netCDF has no complex numbers
    with xarray.open_dataset(path, group="Monday|1", engine="netcdf4") as data:
        assert data["bool"].dtype == bool
        assert data["dated"].dims == ("time_3",)
        assert data["time_3"].values[1] == np.datetime64("2020-01-02")
        np.testing.assert_array_equal(data["float32"].values, everything["float32"].values)


def test_many_signals_in_one_run(store, path):
    run = store.new_run("a")
    for number in range(400):
        run.add(f"s{number}", [number], [0.0])
    run.save(path)
    with kvr.open(path) as recording:
        assert [s.values[0] for s in recording.runs["a"]] == list(range(400))


def test_what_no_file_can_hold_leaves_the_old_file(run, add_foreign, path):
    path.write_text("old")
    add_foreign(run, {"Time": np.array([[0.0, 1.0]]), "Data": np.array([[1.0]])})
    with pytest.raises(ValueError, match="'foreign' is no time series that an HDF5 file can hold"):
        run.save(path)
    assert path.read_text() == "old"
    assert os.listdir(path.parent) == ["drive.h5"]


def test_full_disk_leaves_the_old_file_and_is_told(path):
    path.write_text("old")
    program = f"""
import kvr, resource
run = kvr.Store().new_run("a")
run.add("a", [0.0] * 1_000_000, range(1_000_000))
resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))
try:
    run.save({str(path)!r})
except OSError as error:
    print(error.filename == {str(path)!r}, "cannot be written" in str(error))
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert (done.stdout, done.returncode) == ("True True\n", 0), done.stderr
    assert path.read_text() == "old"
    assert os.listdir(path.parent) == ["drive.h5"]


def test_missing_package_is_named(run_python, path):
    printed = run_python(
        "import sys; sys.modules['h5py'] = None\n"
        "import kvr\n"
        f"open({str(path)!r}, 'w').close()\n"
        f"for call in (lambda: kvr.open({str(path)!r}), lambda: kvr.Store().new_run('a').save({str(path)!r})):\n"
        "    try: call()\n"
        "    except kvr.MissingPackage as error: print(error)\n"
    )
    hint = "which is not installed: try 'apt install python3-h5py'"
    assert (
        printed == f"reading HDF5 files needs h5py, {hint}\nwriting HDF5 files needs h5py, {hint}\n"
    )
