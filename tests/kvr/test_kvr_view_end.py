"""How the inspector's server ends, and what it leaves behind."""

import gc
import os
import queue
import socket
import threading
import time

import numpy as np
import pytest
import vormel
from viewing import PATIENCE, Window, in_threads, until

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

pytestmark = pytest.mark.usefixtures("short_pauses")

ENDS_WITHIN = 6.0  # 1 second on a machine of its own; other tests may have the processors


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


def test_next_comparison_ends_one_that_is_still_judged(view, own_window, store):
    run = store.new_run("a")
    run.add("a", [0.0, 1.0], time=[0.0, 2.0])
    copy = run.copy()
    body = {"baseline": run.id, "other": copy.id}
    endless = {"sync": {"method": "uniform", "interp": "linear", "interval": 1e-9}}
    answers = queue.Queue()
    asking = threading.Thread(
        target=lambda: answers.put(
            own_window.ask("PUT", "/api/comparison", {**body, "options": endless})
        )
    )
    asking.start()
    time.sleep(0.3)
    assert own_window.send("PUT", "/api/comparison", body)["passed"]
    assert answers.get(timeout=PATIENCE).status == 409
    asking.join()


def test_closing_again_or_from_two_threads_does_nothing_more(store):
    view = store.view(browser=False)
    assert in_threads(view.close, view.close) == []
    view.close()
    assert repr(view) == f"<View at {view.address}, closed>"


def test_child_of_a_fork_leaves_the_server_to_its_parent(store, view, own_window, run, speed):
    with own_window.listen() as events:
        assert events.next()[0] == "hello"
        child = os.fork()
        if child == 0:
            view.close()
            time.sleep(30)
            os._exit(0)
        try:
            assert own_window.send("PATCH", f"/api/signals/{speed.id}", {"visible": True})
            view.close()
            # The child has no copy of the sockets: the port is free, and the stream at its end.
            with pytest.raises(ConnectionRefusedError):
                socket.create_connection((own_window.host, own_window.port), timeout=1)
            while events.next() is not None:
                pass
            assert events.is_hung_up()
        finally:
            os.kill(child, 9)
            os.waitpid(child, 0)


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


def test_curves_of_removed_signals_are_let_go(store, view, own_window):
    run = store.new_run("a")
    ids = [run.add("a", np.arange(1000.0), time=np.arange(1000.0)).id for _ in range(5)]
    own_window.get("/api/state")
    before = vormel.live_arrays()
    own_window.curves(f"/api/curves?of={','.join(map(str, ids))}")
    for number in ids:
        own_window.send("DELETE", f"/api/signals/{number}")
    own_window.get("/api/state")
    until(lambda: (gc.collect(), vormel.live_arrays())[1] < before - 5)
