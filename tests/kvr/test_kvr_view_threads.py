"""The inspector's server while several windows and the program use the store at once."""

import queue
import threading
import time

import kvr
import numpy as np
import pytest
import vormel
from viewing import PATIENCE, Window, in_threads

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

pytestmark = pytest.mark.usefixtures("short_pauses")


def test_many_requests_at_once_are_all_answered(view, own_window, run):
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


def inside_a_host_function(store):
    """A thread that is in the store and stays there, and the event that lets it go on."""
    inside, leave = threading.Event(), threading.Event()

    def now():
        inside.set()
        assert leave.wait(PATIENCE)
        return 739000.0

    vormel.functions["now"] = now
    program = threading.Thread(target=lambda: store.new_run("Tuesday"))
    program.start()
    assert inside.wait(PATIENCE)
    return program, leave


def test_server_waits_while_the_program_is_inside_a_host_function(store, view, own_window, speed):
    """The host refuses a second thread as busy; the window's request is only answered later."""
    program, leave = inside_a_host_function(store)
    answers = queue.Queue()
    change = {"visible": True}
    asking = threading.Thread(
        target=lambda: answers.put(own_window.ask("PATCH", f"/api/signals/{speed.id}", change))
    )
    asking.start()
    with pytest.raises(queue.Empty):
        answers.get(timeout=0.3)
    leave.set()
    assert answers.get(timeout=PATIENCE).status == 200
    assert speed.visible
    program.join()
    asking.join()


def test_state_that_meets_a_busy_store_is_whole_all_the_same(store, view, own_window, run):
    """The look at the store used to end where it was refused, and the state lacked the rest."""
    ids = [run.add("a", [1.0], time=[0.0]).id for _ in range(5)]
    program, leave = inside_a_host_function(store)
    threading.Timer(0.2, leave.set).start()
    assert list(own_window.signals()) == ids
    program.join()


def test_store_that_stays_busy_is_told(store, view, own_window, speed, monkeypatch):
    monkeypatch.setattr("kvr._view.worker._PATIENCE", 0.1)
    answers = []

    def now():
        answers.append(own_window.ask("PATCH", f"/api/signals/{speed.id}", {"visible": True}))
        return 739000.0

    vormel.functions["now"] = now
    store.new_run("Tuesday")
    assert (answers[0].status, answers[0].headers["retry-after"]) == (503, "1")
    assert "another thread of the program was inside the store" in answers[0].error
    assert not speed.visible


def test_signal_that_is_removed_while_its_curve_is_asked_for_is_410(
    view, own_window, run, monkeypatch
):
    signal = run.add("a", np.arange(5.0), time=np.arange(5.0))
    original = kvr.Signal._series

    def series(self):
        read = original(self)
        self.remove()
        return read

    monkeypatch.setattr(kvr.Signal, "_series", series)
    assert own_window.ask("GET", f"/api/curves?of={signal.id}").status == 200  # it was there
    monkeypatch.setattr(kvr.Signal, "_series", original)
    assert own_window.ask("GET", f"/api/curves?of={signal.id}").status == 410


def test_removal_under_requests_is_a_clean_answer(store, view, own_window):
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


def test_curve_of_a_cleared_store_is_never_drawn_for_the_next(store, own_window):
    for value in (1.0, 2.0, 3.0):
        store.new_run("a").add("a", [value], time=[0.0])
        assert own_window.curves("/api/curves?of=1")["1"][1].tolist() == [value]
        store.clear()
