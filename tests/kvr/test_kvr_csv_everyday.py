"""CSV files as spreadsheets, loggers and pandas write them, and what is said where one cannot be read."""

import gzip
import signal as process_signals
import zlib
from contextlib import contextmanager
from datetime import datetime, timezone
from types import SimpleNamespace

import kvr
import numpy as np
import pytest
from kvr import _kvr
from kvr._files.csv.writing import _written_times


@pytest.fixture
def opened(tmp_path):
    """Writes a file and opens it: its one run."""

    def write(content, **options):
        path = tmp_path / "x.csv"
        path.write_text(content)
        return kvr.open(path, **options).runs[0]

    return write


def refusal(opened, content, **options):
    """The error of reading all of a file, without its folder."""
    with pytest.raises(kvr.FormatError) as caught:
        for signal in opened(content, **options):
            _ = signal.values
    error = caught.value
    return f"{error.where}: {error.what}" if error.where else error.what


def seconds(*moment):
    return datetime(*moment, tzinfo=timezone.utc).timestamp()


# ---- Separators and names ----


@pytest.mark.parametrize("sign", [";", ",", "\t"])
@pytest.mark.parametrize("first", ["sep={}", '"sep={}"', "SEP={}"])
def test_separator_that_a_spreadsheet_declares_is_taken(opened, sign, first):
    rows = f"time{sign}a [V]{sign}b\n0{sign}1{sign}x\n1{sign}2{sign}y\n"
    run = opened(f"{first.format(sign)}\n{rows}")
    assert [(signal.label, signal.unit) for signal in run] == [("a", "V"), ("b", None)]
    assert run["a"].time.tolist() == [0, 1]
    assert run["b"].values.tolist() == ["x", "y"]


def test_declared_separator_stands_above_rows_without_names(opened):
    run = opened("sep=;\n0;1\n1;2\n")
    assert (run["column 2"].time.tolist(), run["column 2"].values.tolist()) == ([0, 1], [1, 2])


def test_separator_that_is_given_goes_before_the_declared_one(opened):
    run = opened("sep=;\ntime,a\n0,1\n", delimiter=",")
    assert run["a"].values.tolist() == [1]


def test_numbers_may_be_names_as_pandas_writes_them(opened):
    run = opened(",2019,2020\n0.5,5,6\n1.5,7,8\n")
    assert [signal.label for signal in run] == ["2019", "2020"]
    assert run["2020"].time.tolist() == [0.5, 1.5]
    assert run["2020"].values.tolist() == [6, 8]


@pytest.mark.parametrize("end", [";", ""])
def test_separator_at_the_end_of_rows_makes_no_signal(opened, end):
    run = opened(f"time;a;b{end}\n;V;A;\n0;1,5;x;\n1;2,5;y;\n")
    assert [(signal.label, signal.unit) for signal in run] == [("a", "V"), ("b", "A")]
    assert run["b"].values.tolist() == ["x", "y"]


def test_value_behind_the_last_name_is_refused_wherever_it_stands(opened):
    rows = "".join(f"{i},1,\n" for i in range(300))
    assert refusal(opened, f"time,a,\n{rows}300,1,5\n") == (
        "line 302, column 'column 3': has a value, but no name: name the column"
    )
    run = opened("time,a,\n0,1,5\n1,2,\n")  # it is seen at once, and a signal
    np.testing.assert_array_equal(run["column 3"].values, [5, np.nan])


# ---- Decimal signs ----


def test_point_in_a_column_of_decimal_commas_is_refused_not_guessed(opened):
    found = refusal(opened, "time;a\n0;0,5\n1;1.234\n2;3,5\n")
    assert found == (
        "line 3, column 'a': '1.234' has a point, while others of its column have a decimal comma; "
        "write all of them alike, without separators of thousands"
    )


def test_times_may_have_points_beside_a_column_of_decimal_commas(opened):
    run = opened("time;a\n0.5;1,5\n1.5;2,5\n")
    assert run["a"].time.tolist() == [0.5, 1.5]
    assert run["a"].values.tolist() == [1.5, 2.5]


def test_separator_is_not_the_decimal_sign_too(opened):
    with pytest.raises(ValueError, match="delimiter and decimal cannot both be ','"):
        opened("time,a\n0,1\n", delimiter=",", decimal=",")


# ---- Dates ----


@pytest.mark.parametrize(
    ("header", "rows"),
    [
        ("date,time,a", ["2020-02-01,10:00,1", "2020-02-01,11:30,2"]),
        ("time,date,a", ["10:00,2020-02-01,1", "11:30,2020-02-01,2"]),
        ("Datum;Uhrzeit;a", ["01.02.2020;10:00:00;1,5", "01.02.2020;11:30:00;2,5"]),
        ("Date,Time,a", ["1/2/2020,10:00 AM,1", "13/2/2020,11:30 AM,2"]),
        ("a,date,time", ["1,2020-02-01,10:00:00.0", "2,2020-02-01,11:30:00.0"]),
        ("Datum;Uhrzeit;a", ["01.02.2020;10:00:00,0;1,5", "01.02.2020;11:30:00,0;2,5"]),
    ],
)
def test_time_of_day_beside_a_date_belongs_to_it(opened, header, rows):
    run = opened("\n".join([header, *rows]) + "\n")
    day = 13 if "13/2" in rows[1] else 1
    assert [signal.label for signal in run] == ["a"]
    assert run["a"].time.tolist() == [seconds(2020, 2, 1, 10), seconds(2020, 2, day, 11, 30)]
    assert run["a"].time_source == "seconds since 1970-01-01"


def test_days_and_times_of_day_without_names_are_no_names(opened):
    (signal,) = opened("2020-02-01,10:00,1\n2020-02-01,11:30,2\n")
    assert (signal.label, signal.values.tolist()) == ("column 3", [1, 2])
    assert signal.time.tolist() == [seconds(2020, 2, 1, 10), seconds(2020, 2, 1, 11, 30)]


def test_time_of_day_that_is_missing_among_the_first_rows_is_told(opened):
    found = refusal(opened, "date,time,a\n2020-02-01,10:00,1\n2020-02-01,,2\n")
    assert found == "line 3, column 'time': the time is missing"


def test_time_of_day_that_is_missing_is_told(opened):
    rows = "".join(f"2020-02-01,10:00:{second:02},1\n" for second in range(60)) * 4
    found = refusal(opened, f"date,time,a\n{rows}2020-02-01,,1\n")
    assert found == "line 242, column 'time': the time is missing"


def test_one_time_of_day_for_each_day_is_a_signal_unless_it_is_named_time(opened):
    run = opened("date,sunrise,a\n2020-02-01,07:12,1\n2020-02-02,07:11,2\n")
    assert run["sunrise"].values.tolist() == ["07:12", "07:11"]
    assert run["a"].time.tolist() == [seconds(2020, 2, 1), seconds(2020, 2, 2)]


def test_texts_beside_dates_that_are_no_times_of_day_stay_a_signal(opened):
    run = opened("date,shift,a\n2020-02-01,10:00,1\n2020-02-02,late,2\n")
    assert run["shift"].values.tolist() == ["10:00", "late"]


@pytest.mark.parametrize(
    ("cell", "moment"),
    [
        ("1/13/2020 1:05 PM", (2020, 1, 13, 13, 5)),
        ("1/13/2020 12:00:10 AM", (2020, 1, 13, 0, 0, 10)),
        ("2020-01-13 9:05", (2020, 1, 13, 9, 5)),
        ("2020-01-13 09:05:00 UTC", (2020, 1, 13, 9, 5)),
    ],
)
def test_dates_with_half_days_single_digits_and_utc(opened, cell, moment):
    assert opened(f"time,a\n{cell},1\n")["a"].time.tolist() == [seconds(*moment)]


def test_date_too_far_away_is_told_as_such(opened):
    for far in ("1600-01-01", "2300-01-01 10:00", "01.02.1500"):
        found = refusal(opened, f"time;a\n{far};1\n")
        assert found.startswith(f"line 2, column 'time': '{far}' is a date outside 1677 to 2262")


# ---- What is said ----


@pytest.mark.parametrize(
    ("content", "text"),
    [
        ("time,a\nx,1\ny,2\n", "line 2, column 'time': 'x' is neither a number nor a date"),
        (
            "a,time\n1,10:00:00\n",
            "line 2, column 'time': '10:00:00' is neither a number nor a date",
        ),
        ("time,a\n0,1\n# half way,\n1,2\n", "line 3, column 'time': '# half way' is neither"),
        (
            "date;a\n2020-01-01;1\n02.01.2020;2\n",
            "line 3, column 'date': '02.01.2020' is not written as those above it",
        ),
    ],
)
def test_cell_that_is_no_time_is_named(opened, content, text):
    assert refusal(opened, content).startswith(text)


def test_quote_that_does_not_end_is_named_with_its_line(opened):
    found = refusal(opened, 'time,a,b\n0,1,x\n1,2,"y\n2,3,z\n')
    assert found.startswith("line 3: a text in quotes does not end; close it")


@pytest.mark.parametrize("name", ["delimiter", "decimal", "quote", "time"])
def test_option_that_is_no_text_is_refused(opened, name):
    with pytest.raises(TypeError, match=f"{name} must be a text, not 1"):
        opened("time,a\n0,1\n", **{name: 1})


def test_dates_written_by_pandas_with_integer_columns_come_back(opened):
    pandas = pytest.importorskip("pandas")
    index = pandas.date_range("2020-01-01", periods=3, freq="h", tz="Europe/Berlin")
    frame = pandas.DataFrame(np.arange(6).reshape(3, 2), index=index)
    run = opened(frame.to_csv())
    assert [signal.label for signal in run] == ["0", "1"]
    assert run["1"].time.tolist() == [seconds(2019, 12, 31, hour) for hour in (23,)] + [
        seconds(2020, 1, 1, 0), seconds(2020, 1, 1, 1),
    ]  # fmt: skip


# ---- Writing ----


def test_packing_a_file_can_be_interrupted(store, tmp_path, monkeypatch):
    packed = []

    class Interrupted:
        def __init__(self, wbits):
            self.packer = zlib.compressobj(wbits=wbits)

        def compress(self, data):
            packed.append(len(data))
            if len(packed) == 3:
                raise KeyboardInterrupt  # as Python does between two calls
            return self.packer.compress(data)

    run = store.new_run("long")
    run.add("a", np.linspace(0, 1, 300_000), np.arange(300_000))
    path = tmp_path / "long.csv.gz"
    with monkeypatch.context() as patch:
        patch.setattr("kvr._files.csv.writing.zlib", SimpleNamespace(compressobj=Interrupted))
        with pytest.raises(KeyboardInterrupt):
            run.save(path)
    assert max(packed) <= 1 << 20
    assert list(tmp_path.iterdir()) == []
    run.save(path)
    assert gzip.decompress(path.read_bytes()).startswith(b"time,a\n0,0.0\n1,3.33")
    np.testing.assert_array_equal(kvr.open(path).runs[0]["a"].values, run["a"].values)


@contextmanager
def alarms(handler, first, interval=0.0):
    before = process_signals.signal(process_signals.SIGALRM, handler)
    process_signals.setitimer(process_signals.ITIMER_REAL, first, interval)
    try:
        yield
    finally:
        process_signals.setitimer(process_signals.ITIMER_REAL, 0)
        process_signals.signal(process_signals.SIGALRM, before)


def test_no_interruption_is_lost_while_dates_are_written(store):
    times = np.arange(20_000) * 0.001 + 1.6e9
    run = store.new_run("dated")
    run.add("a", [1.0], [0.0], time_source="seconds since 1970-01-01")
    raised, caught = [], 0

    def interrupt(number, frame):
        raised.append(frame)
        raise KeyboardInterrupt

    for attempt in range(100):
        try:
            with alarms(interrupt, 0.0005 + attempt * 0.0001):
                _written_times(run, times)
        except KeyboardInterrupt:
            caught += 1
    assert raised
    assert caught == len(raised)


def test_signals_are_handled_while_numbers_are_read():
    handled = []
    body = "0,1.25,-3.5e7\n" * 4_000_000
    with alarms(lambda *_: handled.append(1), 0.02, 0.02):
        columns = _kvr.read_numbers(body, 3, ",", ".")
    assert len(handled) > 2  # at most one during the call, and one after it, if none is handled
    assert len(columns[0]) == 4_000_000
