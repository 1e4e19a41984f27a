"""Whatever a window sends, the inspector's server answers, and never that it failed itself."""

import os
import urllib.parse

import kvr
import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from viewing import Window, raw

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


@pytest.fixture(scope="module")
def window():
    with kvr.Store().view(browser=False) as view:
        yield Window(view.url)


@pytest.fixture(autouse=True)
def runs(store):
    """Two runs of signals of every kind, which requests may change and remove."""
    run = store.new_run("Monday")
    run.add("real", np.arange(50.0), time=np.arange(50.0))
    run.add("complex", np.ones((3, 2)) * 1j, time=np.arange(3))
    run.add("text", ["a", "b"], time=[0, 1])
    run.add("empty", [], time=[])
    run.copy()
    store.new_run("no signals")


ROUTES = [
    ("PATCH", "/api/signals"), ("PATCH", "/api/signals/{id}"), ("DELETE", "/api/signals/{id}"),
    ("PATCH", "/api/runs/{id}"), ("POST", "/api/runs/{id}/copy"), ("DELETE", "/api/runs/{id}"),
    ("PUT", "/api/comparison"), ("DELETE", "/api/comparison"), ("POST", "/api/readings"),
]  # fmt: skip
ASKED = {
    "/api/state": [], "/api/groups": ["by", "descending"], "/api/comparison": [],
    "/api/curves": ["of", "from", "to", "columns"], "/api/export.kvr": ["runs"],
    "/api/pair": ["index", "component", "from", "to", "columns"], "/api/export.csv": ["run"],
}  # fmt: skip
NAMES = [
    "ids", "visible", "color", "dash", "tolerance", "sync", "name", "created", "instance", "baseline",
    "other", "options", "match", "coverage", "time_tolerance", "only", "ignore", "strict", "of", "at",
    *kvr.Tolerance().to_fields(), *kvr.Sync().to_fields(),
]  # fmt: skip
WORDS = [
    "1", "2", "1.0", "2.1i", "5", "NaN", "Infinity", "-Infinity", "path", "name", "label", "union",
    "uniform", "linear", "zoh", "baseline", "common", "#102030", "-", "*", "2024-01-01T00:00+00:00",
    "\0", "\ud800", "", "é", "run",
]  # fmt: skip

numbers = st.one_of(
    st.integers(-2, 6),
    st.integers(),
    st.floats(),
    st.sampled_from([2**31, 2**63, 10**400, 1e308]),
)
values = st.recursive(
    st.one_of(st.none(), st.booleans(), numbers, st.sampled_from(WORDS), st.text(max_size=5)),
    lambda inner: st.one_of(
        st.lists(inner, max_size=4),
        st.dictionaries(st.one_of(st.sampled_from(NAMES), st.text(max_size=3)), inner, max_size=5),
    ),
    max_leaves=12,
)
bodies = st.dictionaries(st.sampled_from(NAMES), values, max_size=6)
numbered = st.one_of(st.integers(0, 9), st.integers(0, 10**30))

examples = 2000 if os.environ.get("KVR_LONG_TESTS") else 60
same = settings(max_examples=examples, deadline=None, suppress_health_check=list(HealthCheck))


def assert_answered(answer):
    assert answer.status < 500 or answer.status == 501, (answer.status, answer.data)
    if answer.status >= 400:
        assert answer.error


@same
@given(route=st.sampled_from(ROUTES), number=numbered, body=st.one_of(bodies, values))
def test_any_json_is_answered(window, route, number, body):
    method, path = route
    if body == body:
        try:
            assert_answered(window.ask(method, path.format(id=number), body))
        except ValueError:  # a number that JSON in Python does not write
            pass


@same
@given(route=st.sampled_from(ROUTES), number=numbered, body=st.binary(max_size=200))
def test_any_body_is_answered(window, route, number, body):
    method, path = route
    assert_answered(window.ask(method, path.format(id=number), body))


@same
@given(data=st.data(), path=st.sampled_from(sorted(ASKED)))
def test_any_query_is_answered(window, data, path):
    names = st.sampled_from([*ASKED[path], "x"])
    given_values = st.one_of(st.sampled_from(WORDS), numbers.map(str), st.text(max_size=8))
    pairs = data.draw(st.lists(st.tuples(names, given_values), max_size=5))
    text = urllib.parse.urlencode(pairs, errors="replace")
    answer = window.ask("GET", f"{path}?{text}")
    assert answer.status < 500 or answer.status == 501, (answer.status, answer.data)


@same
@given(path=st.text(st.characters(min_codepoint=33, max_codepoint=126), max_size=30))
def test_any_address_is_answered(window, path):
    assert_answered(window.ask("GET", "/" + path.replace("#", "")))


@same
@given(data=st.binary(max_size=300))
def test_any_bytes_are_answered_or_hung_up_on(window, data):
    answer = raw(window, data + b"\r\n\r\n")
    assert answer == b"" or answer.startswith(b"HTTP/1.1 4")
    assert window.ask("GET", "/api/comparison").status in (200, 404)


@settings(same, max_examples=examples // 3)
@given(changes=st.lists(st.tuples(st.sampled_from(ROUTES), numbered, bodies), max_size=8))
def test_any_changes_leave_a_store_that_can_be_shown(window, changes):
    for (method, path), number, body in changes:
        try:
            assert_answered(window.ask(method, path.format(id=number), body))
        except ValueError:
            pass
    state = window.get("/api/state")
    assert [run["id"] for run in state["runs"]] == [run.id for run in kvr.Store().runs]
    assert state["signals"]["id"] == [signal.id for signal in kvr.Store().signals]
