"""The inspector's server: requests that it refuses, the page, and the document that lists them all."""

import doctest
import re
from pathlib import Path

import pytest

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")
from kvr._view.routes import make_app  # noqa: E402  it needs them


# ---- What is wrong with a request ----

WRONG = [
    ("PATCH", "/api/signals/1", b"{", 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"\xff", 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"NaN", 400, "NaN is no JSON number"),
    ("PATCH", "/api/signals/1", b"[" * 100_000, 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"1" * 10_000, 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", [], 422, "the body must be a JSON object"),
    ("PATCH", "/api/signals/1", {"colour": "x"}, 422, "there is no field 'colour'"),
    ("PATCH", "/api/signals/1", {"visible": 1}, 422, "visible must be true or false"),
    ("PATCH", "/api/signals/1", {"color": "red"}, 422, "color must be '#rrggbb'"),
    ("PATCH", "/api/signals/1", {"color": [0, 1]}, 422, "color must be three numbers"),
    ("PATCH", "/api/signals/1", {"color": [0, 1, 1.5]}, 422, "numbers from 0 to 1"),
    ("PATCH", "/api/signals/1", {"dash": "\0"}, 422, "dash must not contain a NUL"),
    ("PATCH", "/api/signals/1", {"dash": "\ud800"}, 422, "dash has half a character at position 0"),
    ("PATCH", "/api/signals/1", {"tolerance": 1}, 422, "tolerance must be an object"),
    ("PATCH", "/api/signals/1", {"tolerance": {"type": 3}}, 422, "tolerance.type must be"),
    ("PATCH", "/api/signals/1", {"tolerance": {"absolute": "1"}}, 422, "tolerance.absolute must be"),
    ("PATCH", "/api/signals/1", {"tolerance": {"absolute": 10**400}}, 422, "too large a number"),
    ("PATCH", "/api/signals/1", {"sync": {"method": "x"}}, 422, "sync.method must be"),
    ("PATCH", "/api/signals/1", {"sync": {"method": []}}, 422, "sync.method must be"),
    ("PATCH", "/api/signals", {"visible": True}, 422, "ids must be a list"),
    ("PATCH", "/api/signals", {"ids": [1.0]}, 422, "ids[0] must be a whole number"),
    ("PATCH", "/api/signals", {"ids": [2**40]}, 422, "ids[0] must be a whole number"),
    ("PATCH", "/api/runs/1", {"name": None}, 422, "name must be a text"),
    ("PATCH", "/api/runs/1", {"created": "2024-05-01"}, 422, "created must be a time with an offset"),
    ("PATCH", "/api/runs/1", {"created": "0001-01-01T00:00+23:59"}, 422, "created must be"),
    ("PATCH", "/api/runs/1", {"tolerance": None}, 422, "tolerance must be an object"),
    ("POST", "/api/runs/1/copy", {"instance": 2**31}, 422, "instance must be a whole number"),
    ("PUT", "/api/comparison", {}, 422, "baseline must be a whole number"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": []}, 422, "options must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"match": "x"}}, 422, "match must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"only": ["x"]}}, 422, "matches no signal"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"coverage": "x"}}, 422, "coverage must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"time_tolerance": -1}}, 422, "0 or more"),
    ("POST", "/api/readings", {"at": [1]}, 422, "of must name 1 to 256 curves"),
    ("POST", "/api/readings", {"of": ["1"], "at": [None]}, 422, "at[0] must be a number"),
    ("GET", "/api/groups", None, 422, "by must be"),
    ("GET", "/api/groups?by=path&descending=2", None, 422, "descending must be"),
    ("GET", "/api/curves", None, 422, "of must name 1 to 256 curves"),
    ("GET", "/api/curves?of=a", None, 422, "'a' is no curve"),
    ("GET", "/api/curves?of=1.1.1", None, 422, "'1.1.1' is no curve"),
    ("GET", "/api/curves?of=-1", None, 422, "'-1' is no curve"),
    ("GET", "/api/curves?of=1&of=1", None, 422, "of stands in the address twice"),
    ("GET", "/api/curves?of=1&from=nan", None, 422, "from must be a finite number"),
    ("GET", "/api/curves?of=1&from=2&to=1", None, 422, "to must not be below from"),
    ("GET", "/api/curves?of=1&columns=0", None, 422, "columns must be 1 or more"),
    ("GET", "/api/curves?of=1&columns=1e9", None, 422, "columns must be a whole number"),
    ("GET", "/api/curves?of=1.3", None, 422, "1.3: there is no component 3; a sample has 1"),
    ("GET", "/api/curves?of=1i", None, 422, "this signal is real"),
    ("GET", "/api/pair", None, 422, "the address needs index="),
    ("GET", "/api/export.kvr?runs=1,x", None, 422, "runs must be ids"),
    ("GET", "/api/export.csv", None, 422, "the address needs run="),
    ("GET", "/api/state?x=1", None, 422, "there is no field 'x'"),
]  # fmt: skip


@pytest.mark.parametrize(("method", "path", "body", "status", "text"), WRONG)
def test_wrong_request_is_told_what_is_wrong(speed, window, method, path, body, status, text):
    answer = window.ask(method, path, body)
    assert (answer.status, text in answer.error) == (status, True), answer.error


def test_body_of_another_type_is_refused(speed, window):
    answer = window.ask("PATCH", "/api/signals/1", {"visible": True}, Content_Type="text/plain")
    assert (answer.status, speed.visible) == (415, False)


@pytest.mark.parametrize(
    ("method", "path", "body"),
    [
        ("PATCH", "/api/signals/99", {"visible": True}), ("DELETE", "/api/signals/99", None),
        ("PATCH", "/api/runs/99", {"name": "x"}), ("DELETE", "/api/runs/99", None),
        ("POST", "/api/runs/99/copy", None), ("GET", "/api/curves?of=99", None),
        ("POST", "/api/readings", {"of": ["99"], "at": [0]}),
        ("PUT", "/api/comparison", {"baseline": 99, "other": 99}),
        ("GET", "/api/export.kvr?runs=99", None), ("GET", "/api/export.csv?run=99", None),
    ],
)  # fmt: skip
def test_what_is_gone_is_410(window, method, path, body):
    answer = window.ask(method, path, body)
    assert answer.status == 410
    assert answer.error.endswith("99 was removed; load the state again")


def test_page_that_is_not_built_is_told(window, monkeypatch, tmp_path):
    monkeypatch.setattr("kvr._view.routes._PAGE", tmp_path)
    answer = window.ask("GET", "/page.js")
    assert (answer.status, answer.error) == (503, "page.js is not built: scripts/build makes it")


def test_page_is_served_as_what_it_is(window, monkeypatch, tmp_path):
    monkeypatch.setattr("kvr._view.routes._PAGE", tmp_path)
    for name in ("page.html", "page.js", "page.css"):
        (tmp_path / name).write_text(name)
    found = [window.ask("GET", path) for path in ("/", "/page.js", "/page.css")]
    assert [answer.data for answer in found] == [b"page.html", b"page.js", b"page.css"]
    assert [answer.headers["content-type"] for answer in found] == [
        "text/html; charset=utf-8", "text/javascript; charset=utf-8", "text/css; charset=utf-8",
    ]  # fmt: skip


def routes_of_the_document():
    """Method and address of every row of the protocol's table."""
    text = (Path(__file__).parents[2] / "docs" / "inspector.md").read_text()
    table = text.partition("| request | answer |")[2].partition("\n\n")[0]
    found = set()
    for row in table.splitlines()[2:]:
        method = None
        for word in re.findall(r"`([^`]*)`", row.split("|")[1]):
            parts = word.split()
            if parts[0].isupper():
                method = parts.pop(0)
            path = parts[0].partition("?")[0] if parts else None
            if path is None:  # as in `GET`, `DELETE /api/comparison`
                found.add((method, "/api/comparison"))
            else:
                found.add((method, path.replace("ID", "{id}")))
    return found


def test_document_lists_every_request_that_is_answered():
    routes = make_app(None).routes
    answered = {(method, route.path) for route in routes for method in route.methods}
    assert routes_of_the_document() == answered - {("GET", "/favicon.ico")}


def test_example_of_the_document_prints_what_it_says():
    document = Path(__file__).parents[2] / "docs" / "inspector.md"
    failures, tests = doctest.testfile(str(document), module_relative=False)
    assert (failures, tests) == (0, 5)
