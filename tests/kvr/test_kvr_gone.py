"""Objects of what was removed, or of a store that was cleared, say so."""

import sys
import threading

import kvr
import pytest
import vormel
from vormel.Dravik.kvr import SignalRepository

RUN_USES = {
    "name": lambda run: run.name,
    "instance": lambda run: run.instance,
    "version": lambda run: run.version,
    "created": lambda run: run.created,
    "signals": lambda run: run.signals,
    "len": len,
    "label": lambda run: run["speed"],
    "find": lambda run: run.find("*"),
    "tolerance": lambda run: run.tolerance,
    "sync": lambda run: run.sync,
    "add": lambda run: run.add("x", [1.0], time=[0.0]),
    "copy": lambda run: run.copy(),
    "remove": lambda run: run.remove(),
    "set name": lambda run: setattr(run, "name", "x"),
    "set tolerance": lambda run: setattr(run, "tolerance", kvr.Tolerance()),
    "set sync": lambda run: setattr(run, "sync", kvr.Sync()),
}
SIGNAL_USES = {
    "run": lambda signal: signal.run,
    "label": lambda signal: signal.label,
    "channel": lambda signal: signal.channel,
    "parent": lambda signal: signal.parent,
    "children": lambda signal: signal.children,
    "metadata": lambda signal: signal.metadata,
    "unit": lambda signal: signal.unit,
    "time": lambda signal: signal.time,
    "values": lambda signal: signal.values,
    "color": lambda signal: signal.color,
    "dash": lambda signal: signal.dash,
    "visible": lambda signal: signal.visible,
    "tolerance": lambda signal: signal.tolerance,
    "sync": lambda signal: signal.sync,
    "remove": lambda signal: signal.remove(),
    "set color": lambda signal: setattr(signal, "color", "#000000"),
    "set visible": lambda signal: setattr(signal, "visible", True),
    "set tolerance": lambda signal: setattr(signal, "tolerance", kvr.Tolerance()),
    "del sync": lambda signal: delattr(signal, "sync"),
}


def same_again(store):
    """A run and signal that nothing but their place in time tells from the first ones."""
    vormel.functions["now"] = lambda: 739000.25
    run = store.new_run("Monday")
    return run, run.add("speed", [4.5, 7.0], time=[0.0, 0.1])


ENDS = {
    "removed": lambda store, run: run.remove(),
    "cleared": lambda store, run: store.clear(),
    "cleared and made again": lambda store, run: (store.clear(), same_again(store)),
    "cleaned by another host object": lambda store, run: SignalRepository().clean(),
    "cleaned by another and made again": lambda store, run: (
        SignalRepository().clean(),
        same_again(store),
    ),
}


@pytest.mark.parametrize("end", ENDS)
@pytest.mark.parametrize("use", RUN_USES)
def test_object_of_a_run_that_ended_is_gone(store, use, end):
    run, _ = same_again(store)
    ENDS[end](store, run)
    with pytest.raises(kvr.Gone, match="run 1 was removed"):
        RUN_USES[use](run)
    assert repr(run) == "<Run 1, gone>"


@pytest.mark.parametrize("end", ENDS)
@pytest.mark.parametrize("use", SIGNAL_USES)
def test_object_of_a_signal_that_ended_is_gone(store, use, end):
    run, signal = same_again(store)
    assert signal.label == "speed"  # what it knows by now does not bring it back
    ENDS[end](store, run)
    with pytest.raises(LookupError, match="signal 1 was removed"):
        SIGNAL_USES[use](signal)
    assert repr(signal) == "<Signal 1, gone>"


def test_new_objects_differ_from_the_old_ones_of_the_same_numbers(store):
    old_run, old_signal = same_again(store)
    store.clear()
    run, signal = same_again(store)
    assert (run.id, signal.id) == (old_run.id, old_signal.id)
    assert run != old_run
    assert signal != old_signal
    assert run == store.runs[0]
    assert signal == store.signals[0]
    assert hash(signal) == hash(store.signals[0])


def test_old_objects_never_touch_the_new_store(store):
    old_run, old_signal = same_again(store)
    SignalRepository().clean()
    run, signal = same_again(store)
    created, color = run.created, signal.color
    for use in ("set name", "add", "remove"):
        with pytest.raises(kvr.Gone):
            RUN_USES[use](old_run)
    for use in ("set color", "set visible", "remove"):
        with pytest.raises(kvr.Gone):
            SIGNAL_USES[use](old_signal)
    assert (run.name, len(run), run.created) == ("Monday", 1, created)
    assert (signal.visible, signal.color) == (False, color)


def test_looking_changes_nothing_in_the_store(run, repo, monkeypatch):
    """Looks used to move the date of a run for an instant, which another reader could see."""
    signal = run.add("speed", [1.0], time=[0.0])
    changes = []
    for name in dir(type(repo)):
        if name.startswith(("set", "update", "create", "remove", "reset")):
            monkeypatch.setattr(type(repo), name, lambda *given, name=name: changes.append(name))
    _ = run.name, run.created, len(run), run == kvr.Store().runs[0]
    _ = signal.values, signal.label, signal.visible, signal.tolerance, signal == run["speed"]
    assert changes == []


def test_looking_leaves_the_date_of_the_run_to_the_last_bit(run, repo):
    signal = run.add("speed", [1.0], time=[0.0])
    for day in (739000.1, 0.0, -1.5, 5e-324, float("inf"), 1.7976931348623157e308):
        repo.setDateCreated(run.id, day)
        assert signal.visible is False
        assert run.name == "Monday"
        assert float(repo.getDateCreated(run.id)).hex() == day.hex()


def test_run_whose_date_is_nan_is_there_all_the_same(run, repo):
    signal = run.add("speed", [1.0], time=[0.0])
    repo.setDateCreated(run.id, float("nan"))
    assert run.name == "Monday"
    assert signal.label == "speed"
    assert str(repo.getDateCreated(run.id)) == "nan"


def test_signal_is_gone_with_its_run_and_with_its_parent(run):
    parent = run.add("bus", [1.0], time=[0.0])
    child = run.add("wire", [1.0], time=[0.0], parent=parent)
    parent.remove()
    for signal in (parent, child):
        with pytest.raises(kvr.Gone):
            _ = signal.values


def test_other_objects_stay_when_one_is_removed(store, run):
    keep = run.add("keep", [1.0], time=[0.0])
    run.add("go", [1.0], time=[0.0]).remove()
    store.new_run("other").remove()
    assert keep.values.tolist() == [1.0]
    assert [signal.label for signal in run] == ["keep"]


def test_numbers_of_removed_signals_and_runs_are_not_given_out_again(store, run):
    old = run.add("a", [1.0], time=[0.0])
    old.remove()
    assert run.add("a", [1.0], time=[0.0]).id != old.id
    run.remove()
    assert store.new_run("Monday").id != run.id


def test_store_goes_on_after_clear(store):
    store.new_run("a")
    store.clear()
    assert len(store) == 0
    assert store.new_run("b").id == 1


def test_looking_leaves_no_host_arrays_behind(store, run):
    signal = run.add("speed", [1.0, 2.0], time=[0.0, 0.1])

    def look():
        assert signal.values.sum() == 3.0
        assert store.runs["Monday"]["speed"] == signal
        with pytest.raises(kvr.NotFound):
            store.signal(99)
        _ = signal.tolerance, signal.children, run.instance, store.columns["label"].names()

    look()
    before = vormel.live_arrays()
    for _ in range(100):
        look()
    assert vormel.live_arrays() == before


def test_threads_that_look_at_once_find_the_run_there(run):
    """Before looks excluded each other, one took what another did for another store."""
    signal = run.add("speed", [1.0], time=[0.0])
    failures = []

    def look():
        try:
            for _ in range(3000):
                assert run.name == "Monday"
                assert signal.visible is False
        except Exception as error:
            failures.append(error)

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)
    try:
        threads = [threading.Thread(target=look) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    finally:
        sys.setswitchinterval(interval)
    assert failures == []
