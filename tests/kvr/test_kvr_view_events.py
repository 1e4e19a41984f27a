"""What windows of the inspector are told without asking, and what happens under them."""

import gc
import json
import os
import queue
import socket
import threading
import time

import kvr
import numpy as np
import pytest
import vormel
from viewing import Window

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

PATIENCE = 20.0  # seconds
ENDS_WITHIN = 6.0  # 1 second on a machine of its own; other tests may have the processors


@pytest.fixture(autouse=True)
def short_pauses(monkeypatch):
    """The server looks at the store more often than people need."""
    monkeypatch.setattr("kvr._view.inspection._PAUSE", 0.05)


@pytest.fixture
def view(store):
    with store.view(browser=False) as view:
        yield view


@pytest.fixture
def window(view):
    return Window(view.url)


@pytest.fixture
def other_window(view):
    return Window(view.url)


@pytest.fixture
def speed(run):
    return run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine")


def until(is_so):
    """Wait until it is so."""
    end = time.monotonic() + PATIENCE
    while not is_so():
        assert time.monotonic() < end
        time.sleep(0.01)


# ---- Events ----


def test_stream_begins_with_the_revision(window, speed):
    revision = window.get("/api/state")["revision"]
    with window.listen() as events:
        assert events.next() == ("hello", {"revision": revision})


def test_change_of_one_window_is_told_to_the_other(window, other_window, run, speed):
    window.get("/api/state")
    with other_window.listen() as events:
        change = {"visible": True, "color": "#02fe01", "tolerance": {"absolute": 2}}
        revision = window.send("PATCH", f"/api/signals/{speed.id}", change)["revision"]
        patch = events.until("patch")
    assert patch == {
        "revision": revision,
        "runs": [],
        "signals": [
            {"id": speed.id, "visible": True, "color": "#02fe01", "tolerance_inherited": False,
             "tolerance": kvr.Tolerance(absolute=2).to_fields()},
        ],
    }  # fmt: skip


def test_settings_of_a_run_are_told_for_the_signals_that_inherit_them(window, run, speed):
    own = run.add("own", [1.0], time=[0.0])
    own.tolerance = kvr.Tolerance(absolute=1)
    window.get("/api/state")
    with window.listen() as events:
        window.send("PATCH", f"/api/runs/{run.id}", {"name": "x", "tolerance": {"relative": 0.5}})
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
    store, run, speed, window, change
):
    window.get("/api/state")
    with window.listen() as events:
        assert events.next()[0] == "hello"
        change(store, run)
        revision = events.until("reload")["revision"]
    assert window.get("/api/state")["revision"] == revision


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
def test_what_the_program_changes_is_told(run, speed, window, change, told):
    window.get("/api/state")
    with window.listen() as events:
        assert events.next()[0] == "hello"
        change(run, speed)
        patch = events.until("patch")
    (found,) = patch["signals"] + patch["runs"]
    assert {name: value for name, value in found.items() if name != "id"} == told


def test_comparison_of_one_window_is_told_to_the_other(window, other_window, run, speed):
    copy = run.copy()
    window.get("/api/state")
    with other_window.listen() as events:
        assert events.next()[0] == "hello"
        made = window.send("PUT", "/api/comparison", {"baseline": run.id, "other": copy.id})
        assert events.until("comparison") == {"revision": made["revision"]}
        changed = window.send("PATCH", f"/api/runs/{run.id}", {"tolerance": {"absolute": 1}})
        assert events.until("comparison")["revision"] == changed["revision"]
        assert other_window.get("/api/comparison")["revision"] == changed["revision"]
        window.send("DELETE", "/api/comparison")
        assert events.until("comparison")
    assert other_window.get("/api/comparison") is None


def test_window_that_is_quiet_gets_a_comment_now_and_then(window, monkeypatch):
    monkeypatch.setattr("kvr._view.events._QUIET", 0.05)
    with window.listen() as events:
        lines = [events._answer.readline() for _ in range(5)]
    assert lines[:3] == [b"event: hello\n", lines[1], b"\n"]
    assert lines[3:] == [b": still here\n", b"\n"]


def test_window_that_does_not_read_keeps_nobody_waiting(window, run, speed, monkeypatch):
    """It hears at last that it should load all again; the server keeps few events for it."""
    monkeypatch.setattr("kvr._view.events._MOST_WAITING", 8)
    window.get("/api/state")
    slow = socket.socket()
    slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
    slow.connect((window.host, window.port))
    request = (
        f"GET /api/events HTTP/1.1\r\nHost: {window.netloc}\r\nCookie: {window.cookie}\r\n\r\n"
    )
    slow.sendall(request.encode())
    window.get("/api/state")
    for i in range(90):  # 100 KB each: more than all buffers on the way, and the most that wait
        change = {"dash": f"{i:0100000}"}
        revision = window.send("PATCH", f"/api/signals/{speed.id}", change)["revision"]
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


def test_windows_beyond_the_most_are_refused(view, window):
    listening = [window.listen() for _ in range(64)]
    try:
        for events in listening:
            events.next()
        assert window.ask("GET", "/api/events").status == 503
    finally:
        for events in listening:
            events.close()
    until(lambda: _listens(window))


def _listens(window):
    try:
        window.listen().close()
    except AssertionError:
        return False
    return True


# ---- Files ----


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


# ---- Threads ----


def in_threads(*actions):
    """Run them at once; what they raised."""
    failures = []

    def run(action):
        try:
            action()
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=run, args=(action,)) for action in actions]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(120)
    assert not any(thread.is_alive() for thread in threads)
    return failures


def test_many_requests_at_once_are_all_answered(view, window, run):
    ids = [run.add("a", np.arange(2000.0), time=np.arange(2000.0)).id for _ in range(8)]

    def ask():
        mine = Window(view.url)
        for number in ids:
            mine.curves(f"/api/curves?of={','.join(map(str, ids))}&columns=10")
            mine.send("PATCH", f"/api/signals/{number}", {"visible": True})
            mine.get("/api/state")

    assert in_threads(*[ask] * 6) == []
    assert all(signal.visible for signal in run.signals)


def test_program_uses_the_store_while_windows_do(store, view, run, speed):
    """Calls that let no other thread in are never refused, on either side."""
    end = time.monotonic() + 0.7

    def program():
        while time.monotonic() < end:
            signal = run.add("mine", [1.0], time=[0.0])
            signal.visible = True
            assert signal.values.tolist() == [1.0]
            signal.remove()

    def ask():
        window = Window(view.url)
        while time.monotonic() < end:
            window.get("/api/state")
            window.curves(f"/api/curves?of={speed.id}")
            window.send("PATCH", f"/api/signals/{speed.id}", {"color": "#123456"})

    assert in_threads(program, ask, ask) == []


def test_server_waits_while_the_program_is_inside_a_host_function(store, view, window, speed):
    """The host refuses a second thread as busy; the window's request is only answered later."""
    inside, leave = threading.Event(), threading.Event()

    def now():
        inside.set()
        assert leave.wait(PATIENCE)
        return 739000.0

    vormel.functions["now"] = now
    program = threading.Thread(target=lambda: store.new_run("Tuesday"))
    program.start()
    assert inside.wait(PATIENCE)
    answers = queue.Queue()
    change = {"visible": True}
    asking = threading.Thread(
        target=lambda: answers.put(window.ask("PATCH", f"/api/signals/{speed.id}", change))
    )
    asking.start()
    with pytest.raises(queue.Empty):
        answers.get(timeout=0.3)
    leave.set()
    assert answers.get(timeout=PATIENCE).status == 200
    assert speed.visible
    program.join()
    asking.join()


def test_state_that_meets_a_busy_store_is_whole_all_the_same(store, view, window, run):
    """The look at the store used to end where it was refused, and the state lacked the rest."""
    ids = [run.add("a", [1.0], time=[0.0]).id for _ in range(5)]
    inside, leave = threading.Event(), threading.Event()

    def now():
        inside.set()
        assert leave.wait(PATIENCE)
        return 739000.0

    vormel.functions["now"] = now
    program = threading.Thread(target=lambda: store.new_run("Tuesday"))
    program.start()
    assert inside.wait(PATIENCE)
    threading.Timer(0.2, leave.set).start()
    assert list(window.signals()) == ids
    program.join()


def test_store_that_stays_busy_is_told(store, view, window, speed, monkeypatch):
    monkeypatch.setattr("kvr._view.worker._PATIENCE", 0.1)
    answers = []

    def now():
        answers.append(window.ask("PATCH", f"/api/signals/{speed.id}", {"visible": True}))
        return 739000.0

    vormel.functions["now"] = now
    store.new_run("Tuesday")
    assert (answers[0].status, answers[0].headers["retry-after"]) == (503, "1")
    assert "another thread of the program was inside the store" in answers[0].error
    assert not speed.visible


def test_signal_that_is_removed_while_its_curve_is_asked_for_is_410(view, window, run, monkeypatch):
    signal = run.add("a", np.arange(5.0), time=np.arange(5.0))
    original = kvr.Signal._series

    def series(self):
        read = original(self)
        self.remove()
        return read

    monkeypatch.setattr(kvr.Signal, "_series", series)
    assert window.ask("GET", f"/api/curves?of={signal.id}").status == 200  # it was there
    monkeypatch.setattr(kvr.Signal, "_series", original)
    assert window.ask("GET", f"/api/curves?of={signal.id}").status == 410


def test_removal_under_requests_is_a_clean_answer(store, view, window):
    """Two windows draw and compare while the program removes and clears."""
    end = time.monotonic() + 1.0
    statuses = set()

    def program():
        while time.monotonic() < end:
            run = store.new_run("a")
            for i in range(5):
                run.add(f"s{i}", np.arange(100.0), time=np.arange(100.0))
            copy = run.copy()
            run.signals[0].remove()
            copy.remove()
            store.clear()

    def ask():
        mine = Window(view.url)
        while time.monotonic() < end:
            for method, path, body in [
                ("GET", "/api/curves?of=1,2,3", None),
                ("PUT", "/api/comparison", {"baseline": 1, "other": 2}),
                ("GET", "/api/pair?index=0", None),
                ("PATCH", "/api/signals", {"ids": [1, 2], "visible": True}),
                ("POST", "/api/readings", {"of": ["1"], "at": [0.5]}),
                ("GET", "/api/state", None),
                ("GET", "/api/groups?by=label", None),
                ("GET", "/api/export.kvr", None),
                ("DELETE", "/api/signals/3", None),
            ]:
                answer = mine.ask(method, path, body)
                statuses.add(answer.status)
                assert answer.status in (200, 404, 409, 410, 422), (path, answer.data)

    assert in_threads(program, ask, ask) == []
    assert {200, 410} <= statuses


def test_curve_of_a_cleared_store_is_never_drawn_for_the_next(store, window):
    for value in (1.0, 2.0, 3.0):
        store.new_run("a").add("a", [value], time=[0.0])
        assert window.curves("/api/curves?of=1")["1"][1].tolist() == [value]
        store.clear()


# ---- The end ----


def test_server_ends_within_a_second_with_open_streams(store, run, speed):
    view = store.view(browser=False)
    window = Window(view.url)
    listening = [window.listen() for _ in range(5)]
    for events in listening:
        assert events.next()[0] == "hello"
    half = socket.create_connection((window.host, window.port))
    half.sendall(b"GET / HTTP/1.1\r\n")
    began = time.monotonic()
    view.close()
    assert view.wait(PATIENCE)
    assert time.monotonic() - began < ENDS_WITHIN
    for events in listening:
        while events.next() is not None:
            pass
    with pytest.raises(ConnectionRefusedError):
        socket.create_connection((window.host, window.port), timeout=1)
    for connection in (*listening, half):
        connection.close()


def test_server_ends_within_a_second_while_it_judges(store):
    """The judging of this pair takes many seconds."""
    run = store.new_run("a")
    run.add("a", [0.0, 1.0], time=[0.0, 2.0])
    copy = run.copy()
    view = store.view(browser=False)
    window = Window(view.url)
    options = {"sync": {"method": "uniform", "interp": "linear", "interval": 1e-9}}
    body = {"baseline": run.id, "other": copy.id, "options": options}
    asking = threading.Thread(target=lambda: _ask_quietly(window, body))
    asking.start()
    time.sleep(0.5)
    assert window.ask("GET", "/api/state").status == 200  # nobody waits for the judging
    began = time.monotonic()
    view.close()
    assert view.wait(PATIENCE)
    assert time.monotonic() - began < ENDS_WITHIN
    asking.join(PATIENCE)
    assert not asking.is_alive()


def _ask_quietly(window, body):
    try:
        window.ask("PUT", "/api/comparison", body)
    except OSError:
        pass


def test_next_comparison_ends_one_that_is_still_judged(view, window, store):
    run = store.new_run("a")
    run.add("a", [0.0, 1.0], time=[0.0, 2.0])
    copy = run.copy()
    body = {"baseline": run.id, "other": copy.id}
    endless = {"sync": {"method": "uniform", "interp": "linear", "interval": 1e-9}}
    answers = queue.Queue()
    asking = threading.Thread(
        target=lambda: answers.put(
            window.ask("PUT", "/api/comparison", {**body, "options": endless})
        )
    )
    asking.start()
    time.sleep(0.3)
    assert window.send("PUT", "/api/comparison", body)["passed"]
    assert answers.get(timeout=PATIENCE).status == 409
    asking.join()


def test_closing_again_or_from_two_threads_does_nothing_more(store):
    view = store.view(browser=False)
    assert in_threads(view.close, view.close) == []
    view.close()
    assert repr(view) == f"<View at {view.address}, closed>"


def test_two_servers_at_once_show_one_store(store, run, speed):
    with store.view(browser=False) as one, store.view(browser=False) as two:
        assert one.address != two.address
        first, second = Window(one.url), Window(two.url)
        second.cookie = f"{first.cookie}; {second.cookie}"  # a browser sends both to each
        second.get("/api/state")
        with second.listen() as events:
            assert events.next()[0] == "hello"
            first.send("PATCH", f"/api/signals/{speed.id}", {"visible": True})
            assert events.until("patch")["signals"] == [{"id": speed.id, "visible": True}]


def test_servers_can_be_started_from_threads_at_once(store):
    views = []
    assert in_threads(*[lambda: views.append(store.view(browser=False))] * 3) == []
    try:
        assert {Window(view.url).ask("GET", "/api/state").status for view in views} == {200}
    finally:
        for view in views:
            view.close()


def test_child_of_a_fork_leaves_the_server_to_its_parent(store, view, window, run, speed):
    with window.listen() as events:
        assert events.next()[0] == "hello"
        child = os.fork()
        if child == 0:
            view.close()
            time.sleep(30)
            os._exit(0)
        try:
            assert window.send("PATCH", f"/api/signals/{speed.id}", {"visible": True})
            view.close()
            # The child has no copy of the sockets: the port is free, and the stream at its end.
            with pytest.raises(ConnectionRefusedError):
                socket.create_connection((window.host, window.port), timeout=1)
            while events.next() is not None:
                pass
            assert events.is_hung_up()
        finally:
            os.kill(child, 9)
            os.waitpid(child, 0)


def test_port_that_is_taken_is_an_error_that_says_so(store, view):
    with pytest.raises(OSError, match="choose another port, or 0 for a free one"):
        store.view(port=int(view.address.rstrip("/").rpartition(":")[2]), browser=False)


@pytest.mark.parametrize(("port", "error"), [("x", TypeError), (True, TypeError), (-1, OverflowError),
                                             (65536, OverflowError), (1.5, TypeError)])  # fmt: skip
def test_port_that_is_none_is_refused(store, port, error):
    with pytest.raises(error):
        store.view(port=port, browser=False)


def test_requests_leave_no_host_arrays_and_no_threads_behind(store, run):
    signal = run.add("a", np.arange(1000.0), time=np.arange(1000.0))
    copy = run.copy()

    def use():
        with store.view(browser=False) as view:
            window = Window(view.url)
            with window.listen() as events:
                events.next()
                window.get("/api/state")
                window.curves(f"/api/curves?of={signal.id}")
                window.send("PUT", "/api/comparison", {"baseline": run.id, "other": copy.id})
                window.curves("/api/pair?index=0")
                window.send("PATCH", f"/api/signals/{signal.id}", {"visible": True})
                window.ask("GET", "/api/export.kvr")

    def settled():
        gc.collect()
        threads = [thread for thread in threading.enumerate() if thread.name.startswith("kvr-view")]
        return len(threads) == 0

    use()
    until(settled)
    before = vormel.live_arrays()
    for _ in range(3):
        use()
    until(settled)
    until(lambda: (gc.collect(), vormel.live_arrays())[1] <= before)
    assert vormel.live_arrays() == before


def test_curves_of_removed_signals_are_let_go(store, view, window):
    run = store.new_run("a")
    ids = [run.add("a", np.arange(1000.0), time=np.arange(1000.0)).id for _ in range(5)]
    window.get("/api/state")
    before = vormel.live_arrays()
    window.curves(f"/api/curves?of={','.join(map(str, ids))}")
    for number in ids:
        window.send("DELETE", f"/api/signals/{number}")
    window.get("/api/state")
    until(lambda: (gc.collect(), vormel.live_arrays())[1] < before - 5)


# ---- From Python ----


def test_comparison_is_viewed_with_its_options(store, run, speed):
    other = store.new_run("Tuesday")
    other.add("speed", [4.5, 7.0, 9.9], time=[0.0, 0.1, 0.2], path="car/engine")
    comparison = kvr.compare(run, other, match="name", tolerance=kvr.Tolerance(0.1), strict=True)
    with comparison.view(browser=False) as view:
        found = Window(view.url).get("/api/comparison")
    found.pop("revision"), found.pop("is_date")
    assert found == json.loads(comparison.to_json())


def test_comparison_of_files_is_viewed_on_runs_that_are_loaded(store, tmp_path):
    for name, value in (("a", 1), ("b", 2)):
        (tmp_path / f"{name}.csv").write_text(f"time,x\n0,{value}\n")
    comparison = kvr.compare(tmp_path / "a.csv", tmp_path / "b.csv")
    with comparison.view(browser=False) as view:
        found = Window(view.url).get("/api/comparison")
        assert [run.name for run in store.runs] == ["a", "b"]
    assert [verdict["status"] for verdict in found["verdicts"]] == ["out"]
    assert found["baseline"]["id"] == store.runs["a"].id


def test_comparison_of_runs_of_recordings_is_viewed(store, run, speed, tmp_path):
    run.save(tmp_path / "a.kvr")
    with kvr.open(tmp_path / "a.kvr") as recording:
        comparison = kvr.compare(run, recording.runs[0])
        with comparison.view(browser=False) as view:
            found = Window(view.url).get("/api/comparison")
    assert (found["passed"], len(store)) == (True, 2)


def test_comparison_of_a_run_that_was_removed_is_not_viewed(store, run, speed):
    comparison = kvr.compare(run, run.copy())
    run.remove()
    with pytest.raises(kvr.Gone):
        comparison.view(browser=False)


def test_notebook_shows_a_link_and_no_frame(view):
    shown = view._repr_html_()
    assert shown.startswith(f'<a href="{view.address}?token=')
    assert 'rel="noopener noreferrer"' in shown
    assert "iframe" not in shown
    view.close()
    assert "href" not in view._repr_html_()


def test_browser_is_opened_at_an_address_that_admits_it(store, monkeypatch):
    opened = []
    monkeypatch.setattr("webbrowser.open", opened.append)
    with store.view():
        assert Window(opened[0]).ask("GET", "/api/state").status == 200


def test_missing_package_is_named(store, monkeypatch):
    monkeypatch.setitem(__import__("sys").modules, "starlette", None)
    with pytest.raises(kvr.MissingPackage, match="view needs starlette, which is not installed"):
        store.view(browser=False)
