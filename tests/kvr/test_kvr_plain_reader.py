"""A reader of recording files made from docs/recording-files.md and docs/variable-files.md alone.

It uses sqlite3 and struct, neither kvr nor vormel nor NumPy, and reads every kind of value and
setting. What it finds is compared with what was saved.
"""

import ctypes
import datetime
import math
import sqlite3
import struct

import kvr
import numpy as np
import pytest

# ---- The reader ----

LETTERS = {"logical": "?", "int8": "b", "uint8": "B", "int16": "h", "uint16": "H", "int32": "i",
           "uint32": "I", "int64": "q", "uint64": "Q", "single": "f", "double": "d"}  # fmt: skip
TAGS = {64: "B", 69: "H", 86: "d", 85: "f", 72: "b", 77: "h", 78: "i", 70: "I", 79: "q", 71: "Q"}
NULL_IS_NAN = ("absolute", "relative", "start", "end", "step", "initial_absolute", "absolute_step",
               "initial_relative", "relative_step", "interval", "red", "green", "blue")  # fmt: skip


def item(data, place):
    """One CBOR item and the place behind it."""
    major, low = data[place] >> 5, data[place] & 31
    width = {24: 1, 25: 2, 26: 4, 27: 8}.get(low, 0)
    place += 1
    number = int.from_bytes(data[place : place + width], "big") if width else low
    place += width
    if major in (2, 3):
        raw = data[place : place + number]
        return (raw.decode() if major == 3 else raw), place + number
    if major == 4:
        items = []
        for _ in range(number):
            one, place = item(data, place)
            items.append(one)
        return items, place
    if major == 6 and number in TAGS:
        raw, place = item(data, place)
        return [value for (value,) in struct.iter_unpack("<" + TAGS[number], raw)], place
    if major == 6:
        return item(data, place)
    return number, place


def plain(value):
    """A value of the host's classes as Python's own: texts, lists, dicts, numbers."""
    kind, dims, *rest = value
    if kind == "char":
        return struct.pack(f"<{len(rest[0])}H", *rest[0]).decode("utf-16-le")
    if kind == "cell":
        return [plain(one) for one in rest[0]]
    if kind == "struct":
        names, rows = rest
        (row,) = rows
        return dict(zip(names, map(plain, row)))
    if len(rest) == 2:
        return [complex(*parts) for parts in zip(*rest)]
    return rest[0]


def dumped(data):
    (mark, version, value, checksum), end = item(data, 0)
    assert (mark, version, len(checksum), end) == ("vormel value", 1, 8, len(data))
    return plain(value)


class PlainReader:
    def __init__(self, path):
        self.database = sqlite3.connect(f"file:{path}?mode=ro", uri=True)
        self.database.row_factory = sqlite3.Row

    def close(self):
        self.database.close()

    def rows(self, sql, *values):
        for row in self.database.execute(sql, values):
            names = row.keys()
            yield {name: math.nan if row[name] is None and name in NULL_IS_NAN else row[name]
                   for name in names}  # fmt: skip

    def row(self, table, number):
        (found,) = self.rows(f"SELECT * FROM {table} WHERE id = ?", number)
        return found

    def bytes(self, first, size):
        count = -(-size // 2**20)
        rows = self.database.execute(
            "SELECT bytes FROM piece WHERE id >= ? AND id < ? ORDER BY id", (first, first + count)
        )
        data = b"".join(row[0] for row in rows)
        assert len(data) == size
        return data

    def numbers(self, kind, count, first):
        parts = 2 if kind.startswith("complex ") else 1
        letter = LETTERS[kind.removeprefix("complex ")]
        data = self.bytes(first, count * parts * struct.calcsize("<" + letter))
        found = struct.unpack(f"<{count * parts}{letter}", data)
        return [complex(*pair) for pair in zip(found[::2], found[1::2])] if parts == 2 else found

    def runs(self):
        for run in self.rows("SELECT * FROM run ORDER BY id"):
            run["tolerance"] = self.row("tolerance", run["tolerance"])
            run["sync"] = self.row("sync", run["sync"])
            run["signals"] = [self.signal(run, run["first_signal"] + i)
                              for i in range(run["signals"])]  # fmt: skip
            yield run

    def signal(self, run, number):
        found = self.row("signal", number)
        for name in ("tolerance", "sync"):
            found[f"{name}_is_own"] = found[name] is not None
            found[name] = self.row(name, found[name]) if found[name] else run[name]
        base = self.row("time_base", found["time_base"])
        found["time"] = self.numbers(base["class"], base["samples"], base["first_piece"])
        found["shape"] = tuple(map(int, found["shape"].split()))
        found["channel"] = tuple(map(int, found["channel"].split()))
        if found["class"] == "text":
            found["values"] = dumped(self.bytes(found["first_piece"], found["bytes"]))
        else:
            count = math.prod((found["samples"], *found["shape"]))
            found["values"] = self.numbers(found["class"], count, found["first_piece"])
        size = found["metadata_bytes"]
        found["metadata"] = (
            dumped(self.bytes(found["metadata_first_piece"], size)) if size else None
        )
        parents = list(self.rows("SELECT parent FROM hierarchy WHERE signal = ?", number))
        found["parent"] = parents[0]["parent"] if parents else None
        return found


# ---- What it finds ----


def same(one, other):
    return one == other or (one != one and other != other)


def assert_settings(found, expected):
    fields = expected.to_fields()
    fields["function"] = fields.pop("function_name")
    assert set(found) - {"id", "sum"} == set(fields)
    for name, value in fields.items():
        assert same(found[name], value), name


def assert_signal(found, expected):
    for name in ("label", "path", "model", "source", "root_source", "time_source", "sid", "port",
                 "channel", "unit", "dash"):  # fmt: skip
        assert found[name] == getattr(expected, name), name
    assert tuple(found[part] for part in ("red", "green", "blue")) == expected.color
    assert bool(found["visible"]) == expected.visible
    for name in ("tolerance", "sync"):
        settings = getattr(expected, name)
        assert found[f"{name}_is_own"] != settings.inherited
        assert_settings(found[name], settings)
    assert found["samples"] == len(expected.values)
    assert found["shape"] == expected.values.shape[1:]
    for name in ("time", "values"):
        mine, its = list(found[name]), getattr(expected, name).ravel().tolist()
        assert len(mine) == len(its) and all(map(same, mine, its)), name
    parent = expected.parent
    assert found["parent"] == (None if parent is None else parent.id)


def add_values(run):
    """Signals of every class and shape; some longer than a piece."""
    for kind in ("bool", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64",
                 "float32", "float64"):  # fmt: skip
        run.add(kind, np.array([0, 1, 100, 127]).astype(kind), np.arange(4, dtype="f4"))
    for kind in ("complex64", "complex128"):
        run.add(kind, np.array([1 + 2j, -0.5j, complex(np.inf, np.nan)], kind), np.arange(3))
    run.add("cube", np.arange(24.0).reshape(4, 3, 2), [0, 1, 1, 2])
    run.add("special", [np.nan, np.inf, -np.inf, -0.0], range(4))
    run.add("texts", ["", "twö", "\U0001f600 three"], range(3))
    run.add("table of texts", np.array([["a", "b"], ["c", "d"]]), range(2))
    run.add("empty", [], [])
    run.add("long", np.arange(150_000.0), np.arange(150_000))


def add_settings(run):
    for number, tolerance in enumerate([
        kvr.Tolerance(0.5, 0.25),
        kvr.Tolerance(absolute=math.nan, relative=-math.inf),
        kvr.Tolerance.window(1, 2, 3, 4, 5, 6, 7),
        kvr.Tolerance.function("wide"),
    ]):  # fmt: skip
        run.add(f"tolerance {number}", [1.0], [0.0]).tolerance = tolerance
    for number, sync in enumerate([
        kvr.Sync("intersection", "linear"), kvr.Sync("uniform", interval=0.5), kvr.Sync.custom("ed"),
    ]):  # fmt: skip
        run.add(f"sync {number}", [1.0], [0.0]).sync = sync


def add_facts(run):
    speed = run.add(
        "speed", [1.0], time=np.array(["2020-01-01T12:00"], "datetime64[s]"), path="car/engine",
        model="car", source="sensor", root_source="bus", port=2, channel=(1, -2), sid="car:1",
        unit="m/s", metadata={"list": ["one", "two"], "gain": 2.5},
    )  # fmt: skip
    speed.color, speed.dash, speed.visible = (1.0, 0.5, 0.25), ":", True
    child = run.add("child", [1.0], time=[0.0], parent=speed)
    run.add("grandchild", [1.0], time=[0.0], parent=child)


@pytest.fixture
def saved(store, tmp_path):
    first, second = store.new_run("Monday", instance=3), store.new_run("Tuesdäy")
    add_values(first)
    add_settings(second)
    add_facts(second)
    second.tolerance, second.sync = kvr.Tolerance(relative=0.5), kvr.Sync("intersection")
    second.created = datetime.datetime(2020, 2, 29, 12, 30, 0, 250_000, datetime.timezone.utc)
    store.save(tmp_path / "drive.kvr")
    return tmp_path / "drive.kvr"


def test_reader_made_from_the_page_reads_every_value_and_setting(saved):
    reader = PlainReader(saved)
    with kvr.open(saved) as recording:
        runs = list(reader.runs())
        assert len(runs) == len(recording.runs)
        for found, expected in zip(runs, recording.runs):
            assert (found["name"], found["version"]) == (expected.name, expected.version)
            assert found["instance"] == expected.instance
            since = expected.created - datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
            assert found["created"] == since // datetime.timedelta(microseconds=1)
            assert_settings(found["tolerance"], expected.tolerance)
            assert_settings(found["sync"], expected.sync)
            assert len(found["signals"]) == len(expected)
            for one, other in zip(found["signals"], expected):
                assert_signal(one, other)
    reader.close()


def test_reader_made_from_the_page_reads_metadata_and_dates(saved):
    reader = PlainReader(saved)
    speed = next(one for run in reader.runs() for one in run["signals"] if one["label"] == "speed")
    assert speed["metadata"] == {"list": ["one", "two"], "gain": [2.5], "unit": "m/s"}
    assert speed["time_source"] == "seconds since 1970-01-01"
    assert speed["time"] == (1577880000.0,)
    reader.close()


def xxh3(data, seed=0):
    """The XXH3-64 of the bytes, from the hash library itself."""
    digest = ctypes.CDLL("libxxhash.so.0").XXH3_64bits_withSeed
    digest.restype = ctypes.c_uint64
    return digest(data, ctypes.c_size_t(len(data)), ctypes.c_uint64(seed))


def test_checksums_are_those_of_the_page(saved):
    database = sqlite3.connect(saved)
    tables = [name for (name,) in database.execute("SELECT name FROM sqlite_schema")]
    checked = 0
    for table in tables:
        for *cells, last in database.execute(f"SELECT * FROM {table}"):
            if table == "piece":
                number, total, data = *cells, last
                sum_ = xxh3(data, seed=number)
            else:
                total = last
                sum_ = xxh3(b"".join(map(cell_bytes, cells)))
            assert total % 2**64 == sum_, (table, cells[0])
            checked += 1
    for kind, samples, first, hash_ in database.execute(
        "SELECT class, samples, first_piece, hash FROM time_base"
    ):
        size = samples * struct.calcsize("<" + LETTERS[kind])
        rows = database.execute("SELECT bytes FROM piece WHERE id >= ? ORDER BY id", (first,))
        data = b"".join(row[0] for row in rows)[:size] if size else b""
        number = list(LETTERS).index(kind)
        assert hash_ % 2**64 == xxh3(data, seed=number), kind
    database.close()
    assert checked > 80


def cell_bytes(cell):
    if cell is None:
        return b"n"
    if isinstance(cell, int):
        return b"i" + struct.pack("<q", cell)
    if isinstance(cell, float):
        return b"r" + struct.pack("<d", cell)
    text = cell.encode()
    return b"t" + struct.pack("<Q", len(text)) + text
