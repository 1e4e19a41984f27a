"""Makes format_1.kvr.gz, a recording of format 1 that later versions must open: run it by hand, once.

    PYTHONPATH=build/release/python /usr/bin/python3 tests/kvr/make_format_1.py
"""

import datetime
import gzip
import tempfile
from pathlib import Path

import kvr
import numpy as np

store = kvr.Store()
monday = store.new_run("Monday", instance=3)
speed = monday.add(
    "speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine", model="car",
    source="sensor", root_source="bus", time_source="s", port=2, channel=(1, 2), sid="car:1",
    unit="m/s",
)  # fmt: skip
speed.tolerance = kvr.Tolerance.window(0, 10, 1, 0.5, 0.1, 0.01, 0.001)
speed.sync = kvr.Sync.custom("edges", interp="linear")
speed.color, speed.dash, speed.visible = (1.0, 0.5, 0.0), ":", True
monday.add("gear", ["one", "twö"], time=[0, 1], parent=speed)
cube = np.arange(24, dtype=np.int16).reshape(4, 3, 2)
monday.add("cube", cube, time=np.arange(4, dtype=np.float32), metadata={"list": [1, "a"]})
monday.tolerance = kvr.Tolerance(relative=0.5)
tuesday = store.new_run("Tuesday")
tuesday.add("on", [True, False], time=[0.0, 0.1], parent=speed)
tuesday.add("wave", np.array([1 + 2j, -0.0]), time=[0.0, 0.1])
for run in store.runs:
    run.created = datetime.datetime(2026, 11, 22, tzinfo=datetime.timezone.utc)

with tempfile.TemporaryDirectory() as folder:
    path = Path(folder, "format_1.kvr")
    store.save(path)
    data = gzip.compress(path.read_bytes(), mtime=0)
(Path(__file__).parent / "format_1.kvr.gz").write_bytes(data)
