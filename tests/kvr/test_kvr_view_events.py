"""What windows of the inspector are told without asking."""

import socket

import kvr
import pytest
from viewing import PATIENCE, Window, until

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

pytestmark = pytest.mark.usefixtures("short_pauses")


def test_stream_begins_with_the_revision(own_window, speed):
    revision = own_window.get("/api/state")["revision"]
    with own_window.listen() as events:
        assert events.next() == ("hello", {"revision": revision})


def test_change_of_one_window_is_told_to_the_other(own_window, other_window, run, speed):
    own_window.get("/api/state")
    with other_window.listen() as events:
        change = {"visible": True, "color": "#02fe01", "tolerance": {"absolute": 2}}
        revision = own_window.send("PATCH", f"/api/signals/{speed.id}", change)["revision"]
        patch = events.until("patch")
    assert patch == {
        "revision": revision,
        "runs": [],
        "signals": [
            {"id": speed.id, "visible": True, "color": "#02fe01", "tolerance_inherited": False,
             "tolerance": kvr.Tolerance(absolute=2).to_fields()},
        ],
    }  # fmt: skip


def test_settings_of_a_run_are_told_for_the_signals_that_inherit_them(own_window, run, speed):
    own = run.add("own", [1.0], time=[0.0])
    own.tolerance = kvr.Tolerance(absolute=1)
    own_window.get("/api/state")
    with own_window.listen() as events:
        own_window.send(
            "PATCH", f"/api/runs/{run.id}", {"name": "x", "tolerance": {"relative": 0.5}}
        )
        patch = events.until("patch")
    record = kvr.Tolerance(relative=0.5).to_fields()
    assert patch["runs"] == [{"id": run.id, "name": "x", "tolerance": record}]
    assert patch["signals"] == [{"id": speed.id, "tolerance": record}]


@pytest.mark.parametrize(
    "change",
    [
        lambda store, run: store.new_run("b"),
        lambda store, run: run.add("b", [1.0], time=[0.0]),
        lambda store, run: run.signals[0].remove(),
        lambda store, run: run.remove(),
        lambda store, run: store.clear(),
    ],
    ids=["new run", "new signal", "signal removed", "run removed", "cleared"],
)
def test_what_the_program_adds_and_removes_makes_windows_load_again(
    store, run, speed, own_window, change
):
    own_window.get("/api/state")
    with own_window.listen() as events:
        assert events.next()[0] == "hello"
        change(store, run)
        revision = events.until("reload")["revision"]
    assert own_window.get("/api/state")["revision"] == revision


@pytest.mark.parametrize(
    ("change", "told"),
    [
        (lambda run, signal: setattr(signal, "visible", True), {"visible": True}),
        (lambda run, signal: setattr(signal, "color", "#fe0102"), {"color": "#fe0102"}),
        (lambda run, signal: setattr(signal, "dash", ":"), {"dash": ":"}),
        (lambda run, signal: setattr(signal, "metadata", {"unit": "m"}), {"unit": "m"}),
        (lambda run, signal: setattr(run, "name", "x"), {"name": "x"}),
    ],
)
def test_what_the_program_changes_is_told(run, speed, own_window, change, told):
    own_window.get("/api/state")
    with own_window.listen() as events:
        assert events.next()[0] == "hello"
        change(run, speed)
        patch = events.until("patch")
    (found,) = patch["signals"] + patch["runs"]
    assert {name: value for name, value in found.items() if name != "id"} == told


def test_comparison_of_one_window_is_told_to_the_other(own_window, other_window, run, speed):
    copy = run.copy()
    own_window.get("/api/state")
    with other_window.listen() as events:
        assert events.next()[0] == "hello"
        made = own_window.send("PUT", "/api/comparison", {"baseline": run.id, "other": copy.id})
        assert events.until("comparison") == {"revision": made["revision"]}
        changed = own_window.send("PATCH", f"/api/runs/{run.id}", {"tolerance": {"absolute": 1}})
        assert events.until("comparison")["revision"] == changed["revision"]
        assert other_window.get("/api/comparison")["revision"] == changed["revision"]
        own_window.send("DELETE", "/api/comparison")
        assert events.until("comparison")
    assert other_window.get("/api/comparison") is None


def test_window_that_is_quiet_gets_a_comment_now_and_then(own_window, monkeypatch):
    monkeypatch.setattr("kvr._view.events._QUIET", 0.05)
    with own_window.listen() as events:
        lines = [events._answer.readline() for _ in range(5)]
    assert lines[:3] == [b"event: hello\n", lines[1], b"\n"]
    assert lines[3:] == [b": still here\n", b"\n"]


def test_window_that_does_not_read_keeps_nobody_waiting(own_window, run, speed, monkeypatch):
    """It hears at last that it should load all again; the server keeps few events for it."""
    monkeypatch.setattr("kvr._view.events._MOST_WAITING", 8)
    own_window.get("/api/state")
    slow = socket.socket()
    slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
    slow.connect((own_window.host, own_window.port))
    request = f"GET /api/events HTTP/1.1\r\nHost: {own_window.netloc}\r\nCookie: {own_window.cookie}\r\n\r\n"
    slow.sendall(request.encode())
    own_window.get("/api/state")
    for i in range(90):  # 100 KB each: more than all buffers on the way, and the most that wait
        change = {"dash": f"{i:0100000}"}
        revision = own_window.send("PATCH", f"/api/signals/{speed.id}", change)["revision"]
    read = b""
    slow.settimeout(PATIENCE)
    newest = f'"revision":{revision}'.encode()
    while newest not in read[-300_000:]:
        part = slow.recv(1 << 20)
        assert part
        read += part
    assert read.count(b"event: patch") < 90
    assert b"event: reload" in read
    slow.close()


def test_windows_beyond_the_most_are_refused(view, own_window):
    listening = [own_window.listen() for _ in range(64)]
    try:
        for events in listening:
            events.next()
        assert own_window.ask("GET", "/api/events").status == 503
    finally:
        for events in listening:
            events.close()
    until(lambda: _listens(own_window))


def _listens(window):
    try:
        window.listen().close()
    except AssertionError:
        return False
    return True


def test_file_that_changes_or_goes_is_told_and_never_mixed(store, tmp_path):
    from kvr._view.handle import start
    from kvr._view.opening import load_files

    paths = [tmp_path / "a.csv", tmp_path / "b.csv"]
    for path in paths:
        path.write_text("time,a\n0,1\n1,2\n")
    files = load_files([str(path) for path in paths])
    with start(browser=False, files=files) as view:
        window = Window(view.url)
        told = [{"path": str(path), "state": "same"} for path in paths]
        assert window.get("/api/state")["files"] == told
        with window.listen() as events:
            assert events.next()[0] == "hello"
            paths[0].write_text("time,a\n0,5\n1,6\n2,7\n")
            told[0]["state"] = "changed"
            assert events.until("files") == told
            paths[1].unlink()
            told[1]["state"] = "gone"
            assert events.until("files") == told
        assert window.get("/api/state")["files"] == told
        assert window.curves("/api/curves?of=1")["1"][1].tolist() == [1.0, 2.0]
