"""CSV files: what is found out about them, and what is said about bad ones."""

import codecs
import csv
import datetime
import gzip
import io
import math
import os
from pathlib import Path

import hypothesis
import kvr
import numpy as np
import pytest
from hypothesis import strategies as st

DATA = Path(__file__).parents[2] / "examples" / "data"


@pytest.fixture
def opened(tmp_path):
    """Writes a file and opens it: its one run."""

    def write(content, name="x.csv", **options):
        path = tmp_path / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return kvr.open(path, **options).runs[0]

    return write


def refusal(opened, content, name="x.csv", **options):
    """The error of reading all of a file, without its folder."""
    with pytest.raises(kvr.FormatError) as caught:
        for signal in opened(content, name, **options):
            _ = signal.values
    error = caught.value
    assert str(error).count("\n") == 0
    return f"{error.where}: {error.what}" if error.where else error.what


# ---- What a file holds ----


def test_run_and_signals_of_a_file(opened, tmp_path):
    run = opened("time,speed [m/s],gear\n0.0,4.5,1\n0.1,7.0,2\n", "drive.csv")
    assert (run.name, run.id, run.instance, len(run)) == ("drive", 1, None, 2)
    assert abs(run.created - datetime.datetime.now(datetime.timezone.utc)).total_seconds() < 600
    speed, gear = run.signals
    assert (speed.label, speed.unit, speed.source) == ("speed", "m/s", "speed")
    assert (speed.root_source, speed.time_source) == ("drive.csv", "time")
    assert (speed.path, speed.port, speed.channel, speed.parent) == ("", 0, (), None)
    assert (gear.label, gear.unit, gear.metadata, gear.id) == ("gear", None, None, 2)
    assert speed.time.tolist() == [0.0, 0.1]
    assert speed.values.tolist() == [4.5, 7.0]
    assert gear.values.dtype == np.int64
    assert (speed.tolerance, speed.sync) == (kvr.Tolerance(), kvr.Sync())
    assert speed.tolerance.inherited
    assert not speed.values.flags.writeable
    assert run["gear"] == gear
    assert run.find("s*") == [speed]
    assert run.to_dataframe()["speed"].tolist() == [4.5, 7.0]


@pytest.mark.parametrize(
    ("name", "run"),
    [("a.csv", "a"), ("a.b.TSV", "a.b"), ("a.csv.gz", "a"), (".csv", ".csv"), ("#1.csv", "#1")],
)
def test_run_is_named_as_its_file(opened, name, run):
    content = b"t\ta\n0\t1\n"
    assert opened(gzip.compress(content) if name.endswith("gz") else content, name).name == run


def test_values_are_read_when_they_are_asked_for(opened, tmp_path):
    run = opened("t,a\n0,1\n")
    (tmp_path / "x.csv").write_text("t,a\n0,9\n")
    assert run["a"].values.tolist() == [9]


def test_closed_file_reads_no_more(tmp_path):
    path = tmp_path / "x.csv"
    path.write_text("t,a\n0,1\n")
    with kvr.open(path) as recording:
        signal = recording.runs["x"]["a"]
        assert [run.name for run in recording] == ["x"]
        assert len(recording) == 1
    recording.close()
    with pytest.raises(ValueError, match="is closed"):
        _ = signal.values


def test_file_is_loaded_into_the_store(store, tmp_path):
    path = tmp_path / "drive.csv"
    path.write_text("time,speed [m/s],ok,note\n0,4.5,true,a\n1,,false,b\n")
    (run,) = store.load(path)
    assert store.runs["drive"] == run
    assert run["speed"].unit == "m/s"
    assert run["speed"].values.tolist()[0] == 4.5
    assert math.isnan(run["speed"].values[1])
    assert run["ok"].values.dtype == bool
    assert run["note"].values.tolist() == ["a", "b"]
    assert run["note"].time.tolist() == [0, 1]
    with kvr.open(path) as recording:
        assert len(store.load(recording, runs=["drive"])) == 1
        assert abs(run.created - recording.runs[0].created).total_seconds() < 0.001
        with pytest.raises(kvr.NotFound, match="no run is named 'other'"):
            store.load(recording, runs=["other"])
    assert len(store) == 2


def test_file_that_the_store_does_not_take_leaves_nothing_behind(store, tmp_path):
    path = tmp_path / "x.csv"
    path.write_text("time,a\n0,1\n2,2\n1,3\n")
    with pytest.raises(kvr.FormatError, match="signal 'a': the store does not take it: time falls"):
        store.load(path)
    assert (len(store), len(store.signals)) == (0, 0)


def test_nowcast_days_are_read_to_the_last_month():
    with kvr.open(DATA / "2016-06-29.csv") as recording:
        run = recording.runs["2016-06-29"]
        assert len(run) == 29
        payrolls = run["PAYEMS"]
        assert payrolls.time[0] == 473385600  # 1985-01-01
        assert payrolls.values[0] == 96373
        assert payrolls.time_source == "seconds since 1970-01-01"
        with open(DATA / "2016-06-29.csv", newline="") as file:
            rows = list(csv.DictReader(file))
        assert len(payrolls.time) == len(rows)
        for signal in run:
            cells = [float(row[signal.label] or "nan") for row in rows]
            np.testing.assert_array_equal(signal.values, cells)


# ---- What is found out ----


@pytest.mark.parametrize(
    ("content", "values"),
    [
        ("time,a,b\n0.5,1.5,x\n", [1.5]),
        ("time;a;b\n0,5;1,5;x\n1,5;2,5;y\n", [1.5, 2.5]),
        ("time;a;b\n0.5;1.5;x\n", [1.5]),
        ("time\ta\tb\n0,5\t1,5\tx\n", [1.5]),
        ("time|a|b\n0.5|1.5|x\n", [1.5]),
        ("time a b\n0.5   1.5 x\n 1.5 2.5  y\n", [1.5, 2.5]),
        ('"time","a","b"\n"0,5","1,5","x"\n', [1.5]),
        ("time,a,b\n0,1e3,x\n1,-.5,y\n2,+2.,z\n", [1000.0, -0.5, 2.0]),
        ("time,a,b\n0,1.5,'x,y'\n", [1.5]),
        ("\n\ntime,a,b\n\n0,1.5,x\n\n\n1,2.5,y\n,,\n", [1.5, 2.5]),
        ("# made by me\n# on Monday\ntime,a,b\n0,1.5,x\n", [1.5]),
        ("# time,a,b\n0,1.5,3\n", [1.5]),
        ("time,a,b\n0,nan,x\n1,NA,y\n2,inf,z\n", [math.nan, math.nan, math.inf]),
        ("time,a,b\n0,1.5,x", [1.5]),
        ("a,time,b\n1.5,0,x\n", [1.5]),
        ("Date;a;b\n2020-01-01;1,5;x\n", [1.5]),
    ],
)
def test_make_up_of_a_file_is_found_out(opened, content, values):
    run = opened(content)
    first = run.signals[0]
    np.testing.assert_array_equal(first.values, values)
    assert len(run) == 2


def test_labels_are_made_up_for_a_file_without_names(opened):
    run = opened("0,1,2\n1,3,4\n")
    assert [signal.label for signal in run] == ["column 2", "column 3"]
    assert run["column 3"].values.tolist() == [2, 4]


def test_what_is_given_is_not_found_out(opened):
    run = opened("when;a\n'0,5';'1;5'\n", delimiter=";", quote="'", decimal=",", time="when")
    assert run["a"].values.tolist() == ["1;5"]
    assert run["a"].time.tolist() == [0.5]
    for options in ({"delimiter": ",,"}, {"decimal": ";"}, {"quote": ""}):
        with pytest.raises(ValueError, match="must be"):
            opened("t,a\n0,1\n", **options)
    with pytest.raises(TypeError):
        opened("t,a\n0,1\n", colour="red")


@pytest.mark.parametrize(
    ("header", "units"),
    [
        ("time [s],a [m/s],b\n", ["m/s", None]),
        ("time,a,b\ns,m/s,\n", ["m/s", None]),
        ("time,a,b\n[s],[m/s],[V]\n", ["m/s", "V"]),
        ("time,a [x],b\n,m/s,-\n", ["m/s", "-"]),
        ("time,a [],b[0]\n", [None, None]),
    ],
)
def test_units_stand_behind_the_name_or_in_a_row(opened, header, units):
    run = opened(header + "0,1,2\n1,2,3\n")
    assert [signal.unit for signal in run] == units
    assert run.signals[0].label == "a"
    assert run.signals[0].values.tolist() == [1, 2]


def test_second_row_of_texts_is_no_row_of_units_if_there_are_texts_below(opened):
    run = opened("time,a\n2020-01-01,x\n2020-01-02,y\n")
    assert run["a"].values.tolist() == ["x", "y"]


@pytest.mark.parametrize(
    ("cells", "times"),
    [
        (["2016-06-29", "2016-06-30"], [1467158400, 1467244800]),
        (["2016-06-29 12:00:00", "2016-06-29T12:00:00.250"], [1467201600, 1467201600.25]),
        (["2016-06-29T12:00:00Z", "2016-06-29T12:00:00+02:00"], [1467201600, 1467194400]),
        (["6/29/16", "6/30/16"], [1467158400, 1467244800]),
        (["29/06/2016", "30/06/2016"], [1467158400, 1467244800]),
        (["29.06.2016 12:00", "29.06.2016 12:01"], [1467201600, 1467201660]),
        (["31/12/1969", "01/01/1970", "02/01/1970"], [-86400, 0, 86400]),
        (["01/02/1970", "02/02/1970", "01/03/1970"], [2678400, 2764800, 5097600]),
        (["1900-01-01", "2100-01-01"], [-2208988800, 4102444800]),
        (["29-Jun-2016", "30-Jun-2016"], [1467158400, 1467244800]),
    ],
)
def test_dates_become_seconds_since_1970(opened, cells, times):
    signal = opened("when;a\n" + "".join(f"{cell};1\n" for cell in cells))["a"]
    assert signal.time.tolist() == times
    assert signal.time_source == "seconds since 1970-01-01"


def test_month_comes_first_unless_the_times_would_fall(opened):
    assert opened("d,a\n01/02/1970,1\n")["a"].time.tolist() == [86400]
    falling = "d,a\n01/12/1970,1\n01/11/1970,2\n"
    assert opened(falling)["a"].time.tolist() == [950400, 864000]  # they fall either way


@pytest.mark.parametrize(
    ("cells", "values"),
    [
        (["true", "FALSE", "True"], [True, False, True]),
        (["1", "2", ""], [1.0, 2.0, math.nan]),
        (["9007199254740993", "1", "2"], [9007199254740993, 1, 2]),
        (["18446744073709551615", "1", "2"], [18446744073709551615, 1, 2]),
        (["a", "", "c"], ["a", "", "c"]),
        (["12", "x", "y"], ["12", "x", "y"]),
        (["0.1", "0.30000000000000004", "5e-324"], [0.1, 0.1 + 0.2, 5e-324]),
        (["", "", ""], [math.nan] * 3),
        (["1", "2", "1" + "0" * 30], [1.0, 2.0, 1e30]),
    ],
)
def test_class_of_a_column_comes_from_its_cells(opened, cells, values):
    found = opened("time,a\n" + "".join(f"{i},{cell}\n" for i, cell in enumerate(cells)))["a"]
    np.testing.assert_array_equal(found.values, values)
    assert [type(value) for value in found.values.tolist()] == [type(value) for value in values]


def test_truths_with_gaps_are_numbers(opened):
    values = opened("time,a\n0,true\n1,\n2,false\n")["a"].values
    np.testing.assert_array_equal(values, [1.0, math.nan, 0.0])


@pytest.mark.parametrize(
    "encode",
    [
        lambda text: codecs.BOM_UTF8 + text.encode(),
        lambda text: text.encode("utf-16"),
        lambda text: text.encode("cp1252"),
        lambda text: text.replace("\n", "\r\n").encode(),
        lambda text: text.replace("\n", "\r").encode(),
    ],
    ids=["bom", "utf-16", "cp1252", "crlf", "cr"],
)
def test_encodings_and_line_ends(opened, encode):
    run = opened(encode("time,Größe [°C]\n0,1.5\n1,2.5\n"))
    assert run["Größe"].values.tolist() == [1.5, 2.5]
    assert run["Größe"].unit == "°C"


def test_quoted_cells_may_hold_separators_quotes_and_line_ends(opened):
    run = opened('time,"a ""b"", c"\n0,"x,y"\n1,"two\nlines"\n')
    assert run['a "b", c'].values.tolist() == ["x,y", "two\nlines"]


def test_gzip_is_unpacked(opened):
    assert opened(gzip.compress(b"time,a\n0,1\n"), "x.csv.gz")["a"].values.tolist() == [1]


def test_label_may_stand_twice(opened):
    run = opened("time,a,a\n0,1,2\n")
    assert [signal.values.tolist() for signal in run] == [[1], [2]]
    with pytest.raises(kvr.Ambiguous):
        run["a"]


def test_many_columns_and_long_names(opened):
    count = 20_000
    header = ",".join(["time", "x" * 1_000_000, *(f"s{i}" for i in range(count))])
    row = ",".join(str(i) for i in range(count + 2))
    run = opened(f"{header}\n{row}\n")
    assert len(run) == count + 1
    assert run.signals[-1].values.tolist() == [count + 1]
    assert len(run.signals[0].label) == 1_000_000


def test_header_alone_is_a_file_without_samples(opened):
    run = opened("time,a\n")
    assert run["a"].values.shape == run["a"].time.shape == (0,)


@hypothesis.settings(
    deadline=None,
    max_examples=60,
    suppress_health_check=[hypothesis.HealthCheck.function_scoped_fixture],
)
@hypothesis.given(
    st.lists(st.tuples(*[st.floats(allow_infinity=False)] * 2), min_size=3, max_size=6),
    st.sampled_from([",", ";", "\t", "|"]),
    st.sampled_from([".", ","]),
)
def test_any_numbers_come_back_exactly(opened, rows, delimiter, decimal):
    hypothesis.assume(delimiter != decimal)
    file = io.StringIO()
    writer = csv.writer(file, delimiter=delimiter)
    writer.writerow(["time", "first", "second"])
    for i, row in enumerate(rows):
        cells = [str(i), *("" if math.isnan(x) else repr(x).replace(".", decimal) for x in row)]
        writer.writerow(cells)
    run = opened(file.getvalue())
    for place, signal in enumerate(run):
        np.testing.assert_array_equal(signal.values, [row[place] for row in rows])


# ---- What is wrong with a file ----


def test_missing_file_and_folder(tmp_path):
    with pytest.raises(FileNotFoundError):
        kvr.open(tmp_path / "none.csv")
    (tmp_path / "folder.csv").mkdir()
    with pytest.raises(kvr.FormatError, match="is a folder; name a file in it"):
        kvr.open(tmp_path / "folder.csv")
    with pytest.raises(kvr.FormatError, match="is not a regular file"):
        kvr.open("/dev/null", format="csv")
    os.mkfifo(tmp_path / "pipe.csv")
    with pytest.raises(kvr.FormatError, match="is not a regular file"):
        kvr.open(tmp_path / "pipe.csv")


def test_unknown_formats(tmp_path):
    path = tmp_path / "x.xyz"
    path.write_text("t,a\n0,1\n")
    with pytest.raises(kvr.FormatError, match="its ending is of no known format; name the format"):
        kvr.open(path)
    with pytest.raises(ValueError, match="format must be 'recording', 'csv', .* not 'xml'"):
        kvr.open(path, format="xml")
    assert kvr.open(path, format="csv").runs[0].name == "x.xyz"
    with pytest.raises(TypeError):
        kvr.open(b"x.csv")


@pytest.mark.skipif(os.geteuid() == 0, reason="root may read everything")
def test_file_without_permission_is_an_os_error(tmp_path):
    path = tmp_path / "x.csv"
    path.write_text("t,a\n0,1\n")
    path.chmod(0)
    with pytest.raises(PermissionError):
        kvr.open(path)


@pytest.mark.parametrize(
    ("content", "text"),
    [
        ("", "is empty"),
        (" \n\n", "is empty"),
        (b"\x89PNG\r\n\x1a\n\0\0", "byte 9: is binary, not text; is it a CSV file?"),
        (b"time,a\n0,\x81\n", "byte 10: is not text in UTF-8; save it as UTF-8"),
        (
            "name,a\nx,1\ny,2\n",
            "has no time column: neither one named 'time', 't' or 'date', nor a first column of "
            "numbers or dates; call it 'time', or name it with the option time",
        ),
        (
            "time,a\n0,1\n1\n2,3\n",
            "line 3: has 1 cells instead of 2; is it cut off, or does a text hold the separator "
            "without quotes?",
        ),
        (
            "time,a\n0,1\n1,2,3\n",
            "line 3: has 3 cells instead of 2; is it cut off, or does a text hold the separator "
            "without quotes?",
        ),
        (
            'time,a\n0,"x\ny"\n1,2,3\n',
            "line 4: has 3 cells instead of 2; is it cut off, or does a text hold the separator "
            "without quotes?",
        ),
        (
            "time,a\n0,1\n\n1,oops\n2,3\n3,4\n",
            "line 4, column 'a': 'oops' is not a number, as most of its column are; correct it, "
            "or leave it empty for a gap",
        ),
        (
            "time,a\n2020-01-01,1\n2020-01-32,2\n",
            "line 3, column 'time': '2020-01-32' is not a date",
        ),
        ("time,a\n2020-01-01,1\n,2\n", "line 3, column 'time': the time is missing"),
        (
            "time,a\ntrue,1\nfalse,2\n",
            "line 2, column 'time': the time is neither numbers nor dates",
        ),
        ('time,a\n0,"x\n1,y\n', "line 2: a text in quotes does not end; close it, or name the"),
        ("# only\n# comments\n", "holds comments alone"),
    ],
)
def test_bad_file_is_told_in_one_line(opened, content, text):
    assert refusal(opened, content).startswith(text)


def test_date_that_goes_wrong_after_the_sample_is_named(opened):
    rows = "".join(f"2020-01-01 00:00:{i % 60:02},1\n" for i in range(300))
    content = f"time,a\n{rows}2020-13-01,2\n"
    assert refusal(opened, content) == "line 302, column 'time': '2020-13-01' is not a date"


def test_gzip_that_is_cut_off_is_told(opened):
    packed = gzip.compress(os.urandom(1000))
    for wrong in (packed[:-500], b"time,a\n0,1\n", packed[:10] + b"\xff" * 100):
        assert refusal(opened, wrong, "x.csv.gz").startswith("cannot be unpacked, write it anew")


def test_time_column_that_is_not_there(opened):
    found = refusal(opened, "time,a\n0,1\n", time="tme")
    assert found == "line 1: no column is named 'tme'; did you mean 'time'?"


@pytest.mark.parametrize("content", ["''", '""', "''\n''\n"])
def test_file_of_empty_quotes_alone_is_refused(opened, content):
    assert refusal(opened, content) == "holds no cell with a value"


@hypothesis.settings(
    deadline=None,
    max_examples=300,
    suppress_health_check=[hypothesis.HealthCheck.function_scoped_fixture],
)
@hypothesis.given(
    st.one_of(
        st.binary(max_size=200),
        st.text(alphabet="0123456789.,;\n\t\"' abtrue-:/[]#\r\0é", max_size=120),
        st.text(alphabet="0123456789.,;\n\t\"'", max_size=60).map("time,a\n0,1\n".__add__),
    )
)
def test_any_file_gives_a_result_or_one_error(opened, content):
    try:
        for signal in opened(content):
            assert len(signal.values) == len(signal.time)
    except kvr.FormatError as error:
        assert "\n" not in str(error)


# ---- Writing ----


def test_run_comes_back_from_its_file(store, tmp_path):
    run = store.new_run("drive")
    time = [0.0, 0.1, 0.30000000000000004]
    run.add("speed", [4.5, math.nan, -math.inf], time, unit="m/s")
    run.add("gear", np.array([1, 2, 3], np.uint8), time)
    run.add("brake", [True, False, True], time)
    run.add("note", ["a,b", 'say "x"', "two\nlines"], time)
    run.add("odd [name]", [1.5, 2.5, 5e-324], time)
    for name in ("x.csv", "x.tsv", "x.csv.gz"):
        run.save(tmp_path / name)
        (back,) = store.load(tmp_path / name)
        assert [signal.label for signal in back] == [signal.label for signal in run]
        for signal in run:
            np.testing.assert_array_equal(back[signal.label].values, signal.values)
            np.testing.assert_array_equal(back[signal.label].time, signal.time)
            assert back[signal.label].unit == signal.unit
        assert back["brake"].values.dtype == bool
        assert kvr.compare(run, back, ignore="note").passed


@pytest.mark.parametrize("seconds", [[0.0, 86400.0], [1467158400.25, 1467158400.5], [1e-12, 1e11]])
def test_dates_come_back_from_their_file(store, tmp_path, seconds):
    run = store.new_run("a")
    run.add("a", [1, 2], seconds, time_source="seconds since 1970-01-01")
    run.save(tmp_path / "a.csv")
    (back,) = store.load(tmp_path / "a.csv")
    assert back["a"].time.tolist() == seconds
    is_dated = back["a"].time_source == "seconds since 1970-01-01"
    assert is_dated == (seconds != [1e-12, 1e11])


def test_signals_of_different_times_leave_empty_cells(store, tmp_path):
    run = store.new_run("a")
    run.add("a", [1.5, 2.5], time=[0.0, 2.0])
    run.add("b", [True], time=[1.0])
    run.add("c", [[1, 2], [3, 4]], time=[2.0, 2.0])
    run.save(tmp_path / "a.csv")
    assert (tmp_path / "a.csv").read_text() == (
        'time,a,b,"c[0]","c[1]"\n0.0,1.5,,,\n1.0,,true,,\n2.0,2.5,,1.0,2.0\n2.0,,,3.0,4.0\n'
    ).replace('"', "")


def test_labels_that_stand_twice_are_told_apart_by_their_paths(store, tmp_path):
    run = store.new_run("a")
    for path in ("p", "q"):
        run.add("a", [1], time=[0.0], path=path)
    run.save(tmp_path / "a.csv")
    assert (tmp_path / "a.csv").read_text().splitlines()[0] == "time,p/a,q/a"


def test_what_a_csv_file_cannot_hold_is_refused_and_the_old_file_stays(store, tmp_path):
    path = tmp_path / "a.csv"
    path.write_text("old")
    run = store.new_run("a")
    run.add("z", [1j], time=[0.0])
    with pytest.raises(ValueError, match="'z' is complex, which CSV files cannot hold"):
        run.save(path)
    with pytest.raises(ValueError, match="nothing can be added to a CSV file"):
        store.save(path, append=True)
    store.new_run("b")
    with pytest.raises(ValueError, match="a CSV file holds one run, not 2"):
        store.save(path)
    with pytest.raises(kvr.NotFound):
        store.save(path, runs=["c"])
    with pytest.raises(kvr.FormatError, match="its ending is of no known format"):
        run.save(tmp_path / "a.xyz")
    assert path.read_text() == "old"
    assert os.listdir(tmp_path) == ["a.csv"]
    store.save(path, runs="b")
    assert path.read_text() == "time\n"


# ---- Plain numbers, which are read by the extension ----


def by_python(cells, decimal):
    """The values of a column of numbers and empty cells, as Python reads numbers."""
    texts = [cell.strip().replace(decimal, ".") for cell in cells]
    if all(text and text.lstrip("+-").isdigit() for text in texts):
        return [int(text) for text in texts]
    return [float(text) if text else math.nan for text in texts]


NUMBERS = st.one_of(
    st.integers(-(2**63), 2**63 - 1).map(str),
    st.floats(allow_subnormal=True).filter(math.isfinite).map(repr),
    st.floats(-1e300, 1e300).map(lambda value: f"{value:+.25e}"),
    st.decimals(-1000, 1000, places=3).map(str),
    st.sampled_from(
        ["", " 1", "2 ", " .5", "5.", "+3", "-0", "007", "nan", "-inf", "5e-324", "1e-400"]
    ),
)


@hypothesis.settings(
    deadline=None,
    max_examples=400,
    suppress_health_check=[hypothesis.HealthCheck.function_scoped_fixture],
)
@hypothesis.given(
    st.lists(st.tuples(NUMBERS, NUMBERS), min_size=1, max_size=8), st.sampled_from([".", ","])
)
def test_numbers_are_those_that_python_reads(opened, rows, decimal):
    rows = [[cell.replace(".", decimal) for cell in row] for row in rows]
    lines = [f"{place};{first};{second}" for place, (first, second) in enumerate(rows)]
    run = opened("\n".join(["time;a;b", *lines]), delimiter=";", decimal=decimal)
    for column, label in enumerate("ab"):
        expected = by_python([row[column] for row in rows], decimal)
        values = run[label].values
        np.testing.assert_array_equal(values, expected)
        assert values.dtype == np.asarray(expected).dtype


def test_columns_that_are_no_plain_numbers_are_read_beside_those_that_are(opened):
    run = opened("time,a,b,c,d\n0,1,x,true,\n\n1,2.5,,false,\n2,,z,true,\n")
    np.testing.assert_array_equal(run["a"].values, [1, 2.5, math.nan])
    assert run["b"].values.tolist() == ["x", "", "z"]
    assert run["c"].values.tolist() == [True, False, True]
    np.testing.assert_array_equal(run["d"].values, [math.nan] * 3)


def test_few_short_rows_below_a_long_header_take_little_memory(opened):
    header = ",".join(["time", *(f"s{i}" for i in range(100_000))])
    content = header + "\n" + "1\n" * 100_000
    assert refusal(opened, content).startswith("line 2: has 1 cells instead of 100001")


def test_hundred_thousand_columns(opened):
    count = 100_000
    header = ",".join(["time", *(f"s{i}" for i in range(count))])
    rows = [",".join(map(str, range(first, first + count + 1))) for first in (0, 1)]
    run = opened("\n".join([header, *rows]))
    assert len(run) == count
    assert run.signals[-1].values.tolist() == [count, count + 1]
