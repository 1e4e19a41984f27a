"""The inspector's server: files that a window saves."""

import time

import kvr
import pytest
from viewing import compare

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


def test_runs_are_exported_as_a_recording(store, run, speed, window, tmp_path):
    store.new_run("Tuesday")
    answer = window.ask("GET", f"/api/export.kvr?runs={run.id}")
    assert answer.headers["content-disposition"] == 'attachment; filename="Monday.kvr"'
    (tmp_path / "a.kvr").write_bytes(answer.data)
    with kvr.open(tmp_path / "a.kvr") as recording:
        assert [one.name for one in recording.runs] == ["Monday"]
        assert recording.runs[0]["speed"].values.tolist() == [4.5, 7.0, 9.5]
    (tmp_path / "b.kvr").write_bytes(window.ask("GET", "/api/export.kvr").data)
    with kvr.open(tmp_path / "b.kvr") as recording:
        assert [one.name for one in recording.runs] == ["Monday", "Tuesday"]


def test_run_is_exported_as_csv(run, speed, window):
    pytest.importorskip("pandas")
    answer = window.ask("GET", f"/api/export.csv?run={run.id}")
    assert answer.data == b"time,speed [m/s]\n0.0,4.5\n0.1,7.0\n0.2,9.5\n"
    assert answer.headers["content-disposition"] == 'attachment; filename="Monday.csv"'


def test_comparison_is_exported_as_a_report(window, pair):
    assert window.ask("GET", "/api/report.html").status == 404
    compare(window, pair)
    answer = window.ask("GET", "/api/report.html")
    assert answer.status == 200, answer.data
    assert answer.headers["content-disposition"] == 'attachment; filename="report.html"'
    assert answer.headers["content-type"] == "text/html; charset=utf-8"
    assert answer.data.startswith(b"<!doctype html>")
    assert b"connect-src 'none'" in answer.data


def test_what_a_format_cannot_hold_is_told_without_the_servers_folders(run, window):
    pytest.importorskip("pandas")
    run.add("a", [1j], time=[0.0])
    answer = window.ask("GET", f"/api/export.csv?run={run.id}")
    assert (answer.status, answer.error) == (
        422, "Monday.csv: 'a' is complex, which CSV files cannot hold",
    )  # fmt: skip


@pytest.mark.parametrize(
    "name", ["../../etc/passwd", "a\r\nSet-Cookie: x=y", '"; x="', "\u202e", ""]
)
def test_name_of_an_exported_file_is_harmless(store, window, name):
    run = store.new_run(name)
    answer = window.ask("GET", f"/api/export.kvr?runs={run.id}")
    assert answer.status == 200
    disposition = answer.headers["content-disposition"]
    assert disposition.count('"') == 2
    assert not set(disposition.partition('"')[2]) & set("/\\\r\n\u202e")
    assert "set-cookie" not in answer.headers


def test_exported_files_leave_nothing_behind(run, speed, window, tmp_path, monkeypatch):
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.setattr("tempfile.tempdir", None)
    window.ask("GET", "/api/export.kvr")
    window.ask("GET", "/api/export.kvr?runs=99")
    window.ask("GET", f"/api/export.csv?run={run.id}")
    end = time.monotonic() + 10
    while list(tmp_path.iterdir()) and time.monotonic() < end:
        time.sleep(0.01)  # the last answer is here before its file is removed
    assert list(tmp_path.iterdir()) == []
