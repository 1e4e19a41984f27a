"""The requests that the server answers; docs/inspector.md lists them."""

from __future__ import annotations

import asyncio
import os
import re
import tempfile
from collections.abc import Awaitable, Callable
from contextlib import suppress
from pathlib import Path
from typing import Any

from starlette.applications import Starlette
from starlette.exceptions import HTTPException
from starlette.requests import Request
from starlette.responses import FileResponse, Response, StreamingResponse
from starlette.routing import Route
from starlette.types import Receive, Scope, Send

from kvr._comparing.compare import plan_of
from kvr._comparing.results import for_json
from kvr._view import fields
from kvr._view.changes import RUN_FIELDS, SIGNAL_FIELDS, run_change, signal_change
from kvr._view.curves import DEFAULT_COLUMNS, MOST_COLUMNS, Window, names_of
from kvr._view.inspection import Inspection
from kvr._view.problems import Problem, problem_of, wrong
from kvr._view.state import json_bytes

Endpoint = Callable[[Inspection, Request], Awaitable[Response]]

_PAGE = Path(__file__).parents[1] / "_page"
_MOST_CHANGED = 200_000  # signals in one request
_MOST_READINGS = 10_000
_COLUMNS = ("path", "source", "label", "model", "run")
_OPTIONS = (
    "match", "coverage", "time_tolerance", "tolerance", "sync", "only", "ignore", "strict",
)  # fmt: skip


def make_app(inspection: Inspection) -> Starlette:
    """The application behind the gate."""

    def route(path: str, endpoint: Endpoint, method: str = "GET") -> Route:
        async def answer(request: Request) -> Response:
            try:
                return await endpoint(inspection, request)
            except Exception as error:
                return problem_of(error).answer()

        made = Route(path, answer, methods=[method])
        made.methods = {method}  # without HEAD, which would begin endless answers
        return made

    routes = [
        route("/", _page("page.html", "text/html")),
        route("/page.js", _page("page.js", "text/javascript")),
        route("/page.css", _page("page.css", "text/css")),
        route("/favicon.ico", _no_icon),
        route("/api/state", _state),
        route("/api/groups", _groups),
        route("/api/curves", _curves),
        route("/api/readings", _readings, "POST"),
        route("/api/signals", _change_signals, "PATCH"),
        route("/api/signals/{id}", _change_signal, "PATCH"),
        route("/api/signals/{id}", _remove_signal, "DELETE"),
        route("/api/runs/{id}", _change_run, "PATCH"),
        route("/api/runs/{id}", _remove_run, "DELETE"),
        route("/api/runs/{id}/copy", _copy_run, "POST"),
        route("/api/comparison", _comparison),
        route("/api/comparison", _compare, "PUT"),
        route("/api/comparison", _drop_comparison, "DELETE"),
        route("/api/pair", _pair),
        route("/api/export.kvr", _export_recording),
        route("/api/export.csv", _export_csv),
        route("/api/report.html", _export_report),
        route("/api/events", _events),
    ]
    app = Starlette(routes=routes, exception_handlers={HTTPException: _refused})
    app.router.redirect_slashes = False
    return app


async def _refused(request: Request, error: Exception) -> Response:
    """What no route takes: 404, or 405 with the methods that the address does take."""
    assert isinstance(error, HTTPException)
    if error.status_code == 405:
        allowed = {
            method
            for one in request.app.routes
            if one.path_regex.fullmatch(request.url.path)
            for method in one.methods
        }
        headers = {"Allow": ", ".join(sorted(allowed))}
        return Problem(405, f"{request.method} is not offered here", headers).answer()
    return Problem(404, "there is nothing at this address").answer()


def _json(value: Any) -> Response:
    return Response(json_bytes(value), media_type="application/json")


def _id_of(request: Request) -> int:
    text = request.path_params["id"]
    if not (text.isascii() and text.isdigit() and len(text) < 11):
        raise Problem(404, "ids are whole numbers")
    return int(text)


# ---- The page ----


def _page(name: str, kind: str) -> Endpoint:
    async def answer(_: Inspection, request: Request) -> Response:
        try:
            text = await asyncio.to_thread((_PAGE / name).read_bytes)
        except OSError:
            raise Problem(503, f"{name} is not built: scripts/build makes it") from None
        return Response(text, media_type=kind)

    return answer


async def _no_icon(_: Inspection, request: Request) -> Response:
    return Response(None, 204)


# ---- Asking ----


async def _state(inspection: Inspection, request: Request) -> Response:
    fields.query(request)
    return Response(await inspection.state(), media_type="application/json")


async def _groups(inspection: Inspection, request: Request) -> Response:
    given = fields.query(request, "by", "descending")
    if given.get("by") not in _COLUMNS:
        raise wrong("by must be path, source, label, model or run")
    descending = fields.query_whole(given, "descending", 0, 1)
    return _json(await inspection.groups(given["by"], bool(descending)))


def _window(given: dict[str, str]) -> Window:
    first, last = fields.query_number(given, "from"), fields.query_number(given, "to")
    if first is not None and last is not None and last < first:
        raise wrong("to must not be below from")
    columns = fields.query_whole(given, "columns", DEFAULT_COLUMNS, MOST_COLUMNS)
    if not columns:
        raise wrong("columns must be 1 or more")
    return Window(first, last, columns)


def _binary(data: bytes) -> Response:
    return Response(data, media_type="application/octet-stream")


async def _curves(inspection: Inspection, request: Request) -> Response:
    given = fields.query(request, "of", "from", "to", "columns")
    texts = given.get("of", "").split(",") if given.get("of") else []
    return _binary(await inspection.curves(names_of(texts), texts, _window(given)))


async def _readings(inspection: Inspection, request: Request) -> Response:
    given = await fields.body_fields(request, ("of", "at"))
    names = names_of(list(fields.texts("of", given.get("of", []))))
    at = fields.array("at", given.get("at", []), _MOST_READINGS)
    times = [fields.number(f"at[{i}]", time) for i, time in enumerate(at)]
    if len(names) * len(times) > _MOST_READINGS:
        raise wrong(f"these are more than {_MOST_READINGS} readings")
    return _json(for_json(await inspection.readings(names, times)))


# ---- Changing ----


async def _change_signals(inspection: Inspection, request: Request) -> Response:
    given = await fields.body_fields(request, ("ids", *SIGNAL_FIELDS))
    ids = fields.array("ids", given.pop("ids", None), _MOST_CHANGED)
    numbers = [fields.whole(f"ids[{i}]", number) for i, number in enumerate(ids)]
    revision = await inspection.change_signals(numbers, signal_change(given))
    return _json({"revision": revision})


async def _change_signal(inspection: Inspection, request: Request) -> Response:
    change = signal_change(await fields.body_fields(request, SIGNAL_FIELDS))
    return _json({"revision": await inspection.change_signals([_id_of(request)], change)})


async def _change_run(inspection: Inspection, request: Request) -> Response:
    change = run_change(await fields.body_fields(request, RUN_FIELDS))
    return _json({"revision": await inspection.change_run(_id_of(request), change)})


async def _copy_run(inspection: Inspection, request: Request) -> Response:
    given = await fields.body_fields(request, ("instance",))
    instance = given.get("instance")
    wanted = None if instance is None else fields.whole("instance", instance)
    number, revision = await inspection.copy_run(_id_of(request), wanted)
    return _json({"id": number, "revision": revision})


async def _remove_run(inspection: Inspection, request: Request) -> Response:
    return _json({"revision": await inspection.remove(_id_of(request), is_run=True)})


async def _remove_signal(inspection: Inspection, request: Request) -> Response:
    return _json({"revision": await inspection.remove(_id_of(request), is_run=False)})


# ---- Comparing ----


async def _compare(inspection: Inspection, request: Request) -> Response:
    given = await fields.body_fields(request, ("baseline", "other", "options"))
    runs = [fields.whole(name, given.get(name)) for name in ("baseline", "other")]
    made = await inspection.compare(runs[0], runs[1], _plan(given.get("options")))
    return Response(await asyncio.to_thread(made.json), media_type="application/json")


def _plan(given: Any) -> dict[str, Any]:
    """The options of a comparison, checked; null is as good as left out."""
    if given is None:
        given = {}
    if not isinstance(given, dict):
        raise wrong("options must be an object")
    fields.require_known(given, _OPTIONS)
    read: dict[str, Callable[[str, Any], Any]] = {
        "match": lambda name, value: value if isinstance(value, str) else fields.texts(name, value),
        "coverage": fields.text,
        "time_tolerance": fields.number,
        "tolerance": fields.tolerance,
        "sync": fields.sync,
        "only": fields.texts,
        "ignore": fields.texts,
        "strict": fields.truth,
    }
    options = {
        name: read[name](f"options.{name}", value)
        for name, value in given.items()
        if value is not None
    }
    return plan_of(**options)


async def _comparison(inspection: Inspection, request: Request) -> Response:
    made = await inspection.made()
    if made is None:
        return _json(None)
    return Response(await asyncio.to_thread(made.json), media_type="application/json")


async def _drop_comparison(inspection: Inspection, request: Request) -> Response:
    inspection.drop_comparison()
    return _json({"revision": inspection.revision})


async def _pair(inspection: Inspection, request: Request) -> Response:
    given = fields.query(request, "index", "component", "from", "to", "columns")
    index = fields.query_whole(given, "index", None, 2**31 - 1)
    component = None
    if "component" in given:
        component = fields.query_whole(given, "component", None, 2**31 - 1)
    return _binary(await inspection.pair(index, component, _window(given)))


# ---- Files for people ----


class _Attachment(FileResponse):
    """A file that is sent once, and removed with its folder whatever becomes of the request."""

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        try:
            await super().__call__(scope, receive, send)
        finally:
            _remove(self.path)


def _remove(path: Any) -> None:
    with suppress(OSError):
        os.unlink(path)
    with suppress(OSError):
        os.rmdir(os.path.dirname(path))


async def _attachment(
    name: str, ending: str, kind: str, write: Callable[[str], Awaitable[None]]
) -> Response:
    """A file named after `name`, written by `write` to a path in a folder of its own."""
    safe = (re.sub(r"[^\w.-]+", "_", name[:80], flags=re.ASCII).strip("._") or "run") + ending
    folder = tempfile.mkdtemp(prefix="kvr-view-")
    path = os.path.join(folder, safe)
    try:
        await write(path)
        return _Attachment(path, media_type=kind, filename=safe)
    except BaseException as error:
        _remove(path)
        if isinstance(error, Exception):
            problem = problem_of(error)
            text = problem.text.replace(folder + os.sep, "")
            raise Problem(problem.status, text, problem.headers) from error
        raise


async def _export_recording(inspection: Inspection, request: Request) -> Response:
    given = fields.query(request, "runs")
    runs = fields.query_ids(given, "runs") if "runs" in given else None
    name = await inspection.name_of(runs[0]) if runs and len(runs) == 1 else "runs"
    kind = "application/octet-stream"
    return await _attachment(name, ".kvr", kind, lambda path: inspection.write(path, runs))


async def _export_csv(inspection: Inspection, request: Request) -> Response:
    given = fields.query(request, "run")
    run = fields.query_whole(given, "run", None, 2**31 - 1)
    name = await inspection.name_of(run)
    return await _attachment(name, ".csv", "text/csv", lambda path: inspection.write(path, [run]))


async def _export_report(inspection: Inspection, request: Request) -> Response:
    fields.query(request)
    return await _attachment("report", ".html", "text/html", inspection.write_report)


# ---- Telling ----


async def _events(inspection: Inspection, request: Request) -> Response:
    fields.query(request)
    stream = inspection.events.listen(inspection.revision)
    return StreamingResponse(stream, media_type="text/event-stream")
