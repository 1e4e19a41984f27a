"""The scratch file of the store, read with Python's own sqlite3."""

import os
import re
import sqlite3
import stat
from pathlib import Path

import numpy as np
import pytest
import vormel

TIME = np.array([[0.0], [0.5], [1.0]])
DATA = np.array([[1.5], [-2.0], [4.0]])
DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "variable-files.md"


@pytest.fixture
def record(repo):
    """Adds values as a signal of a new run and gives its id; the signals go with the test."""
    signals = []

    def add(values):
        run = repo.createEmptyRun("run", 1)
        signal = repo.add(
            0, run, "root", "time", "source", values, "block", "model", "label",
            1, [1, 3], 1, [1], "sid", {}, 0, "root source",
        )  # fmt: skip
        signals.append(signal)
        return signal

    yield add
    for signal in signals:
        repo.remove(signal)


@pytest.fixture
def scratch(tmp_path):
    """Has the scratch file made where the test can see it; gives its path."""
    directory = f"{tmp_path}{os.sep}"
    vormel.functions["tempdir"] = lambda: directory
    return directory + "KVR.vdf"


@pytest.fixture(scope="module")
def variables():
    """The function of that name in the document's example."""
    names = {}
    example = re.search(r"```python\n(.*?)```", DOCUMENT.read_text(), re.DOTALL)
    exec(example[1], names)
    return names["variables"]


def rows(scratch, sql):
    database = sqlite3.connect(f"file:{scratch}?mode=ro", uri=True)
    found = database.execute(sql).fetchall()
    database.close()
    return found


def column(values):
    return ["double", [len(values), 1], [value for (value,) in values.tolist()]]


def test_example_of_the_document_reads_time_and_data(repo, record, scratch, variables):
    repo.writeToFile()
    signal = record(vormel.timeseries(DATA, TIME))
    other = record(vormel.timeseries(TIME, DATA))
    fields = ["Time", "Data"]
    assert variables(scratch) == {
        f"id{signal}": ["struct", [1, 1], fields, [[column(TIME), column(DATA)]]],
        f"id{other}": ["struct", [1, 1], fields, [[column(DATA), column(TIME)]]],
    }


def test_value_shown_in_the_document_is_that_of_the_example(repo, record, scratch, variables):
    repo.writeToFile()
    signal = record(vormel.timeseries(DATA, TIME))
    shown = str(variables(scratch)[f"id{signal}"]).replace("'", '"')
    assert shown in DOCUMENT.read_text()


def test_data_of_other_classes_and_shapes_are_read(repo, record, scratch, variables):
    repo.writeToFile()
    cube = np.arange(24, dtype=np.int16).reshape(2, 3, 4)
    first = record(vormel.timeseries(cube, TIME))
    second = record(vormel.timeseries(np.array([[1 + 2j], [3 - 4j]]), TIME))
    third = record(vormel.timeseries("a\u20ac", [True, False]))
    read = variables(scratch)
    assert read[f"id{first}"][3][0][1] == ["int16", [2, 3, 4], cube.flatten("F").tolist()]
    assert read[f"id{second}"][3][0][1] == ["double", [2, 1], [1.0, 3.0], [2.0, -4.0]]
    assert read[f"id{third}"][3][0] == [["logical", [1, 2], [1, 0]], ["char", [1, 2], [97, 0x20AC]]]


def test_pieces_of_a_variable_are_the_bytes_of_dumps(repo, record, scratch):
    repo.writeToFile()
    time = np.arange(100_000, dtype=np.float64).reshape(-1, 1)
    record(vormel.timeseries(time, time))
    pieces = [bytes for (bytes,) in rows(scratch, "SELECT bytes FROM piece ORDER BY id")]
    assert len(pieces) > 6
    assert max(map(len, pieces)) == 262_144
    prefix = len(b"\xd9\xd9\xf7\x84\x6cvormel value\x01")
    assert b"".join(pieces) == vormel.dumps({"Time": time, "Data": time})[prefix:-9]


def test_file_is_what_the_document_says(repo, record, scratch):
    repo.writeToFile()
    record(vormel.timeseries(DATA, TIME))
    document = DOCUMENT.read_text()
    schema = rows(scratch, "SELECT type, name, sql FROM sqlite_schema")
    assert [row[:2] for row in schema] == [("table", "piece"), ("table", "variable")]
    assert "```sql\n" + "\n".join(row[2] for row in schema) + "\n```" in document
    assert rows(scratch, "PRAGMA application_id") == [(0x56564446,)]
    assert rows(scratch, "PRAGMA user_version") == [(2,)]
    assert rows(scratch, "PRAGMA page_size") == [(8192,)]
    assert rows(scratch, "PRAGMA integrity_check") == [("ok",)]


def test_file_is_for_the_user_alone_and_goes_with_the_store(repo, scratch):
    repo.writeToFile()
    assert stat.S_IMODE(os.stat(scratch).st_mode) == 0o600
    assert rows(scratch, "PRAGMA integrity_check") == [("ok",)]
    repo.clean()
    assert os.listdir(os.path.dirname(scratch)) == []


def test_signal_comes_back_from_the_file(repo, record, scratch):
    repo.writeToFile()
    signal = record(vormel.timeseries(DATA, TIME))
    values = repo.getSignal(signal)["DataValues"]
    np.testing.assert_array_equal(values.Data, DATA)
    np.testing.assert_array_equal(values.Time, TIME)
