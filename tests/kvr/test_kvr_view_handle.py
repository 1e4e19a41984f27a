"""store.view and comparison.view: the handle, its port, several servers at once."""

import json

import kvr
import pytest
from viewing import Window, in_threads

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

pytestmark = pytest.mark.usefixtures("short_pauses")


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


def test_port_that_is_taken_is_an_error_that_says_so(store, view):
    with pytest.raises(OSError, match="choose another port, or 0 for a free one"):
        store.view(port=int(view.address.rstrip("/").rpartition(":")[2]), browser=False)


@pytest.mark.parametrize(("port", "error"), [("x", TypeError), (True, TypeError), (-1, OverflowError),
                                             (65536, OverflowError), (1.5, TypeError)])  # fmt: skip
def test_port_that_is_none_is_refused(store, port, error):
    with pytest.raises(error):
        store.view(port=port, browser=False)
