"""What a request asks for: its body as JSON, its query, and the values in them, checked."""

from __future__ import annotations

import json
import math
from collections.abc import Iterable, Mapping
from datetime import datetime, timezone
from typing import Any, NoReturn

from starlette.requests import Request

from kvr._base.names import listed
from kvr._base.settings import INTERPOLATIONS, METHODS, Sync, Tolerance
from kvr._base.text import shown
from kvr._reading.signals import Color
from kvr._store.signal import as_color
from kvr._view.problems import Problem, wrong

MOST_BYTES = 4 << 20  # of a body
_NUMBERS = {"NaN": math.nan, "Infinity": math.inf, "-Infinity": -math.inf}
_INT32 = 2**31 - 1

Fields = dict[str, Any]


async def body_fields(request: Request, known: Iterable[str]) -> Fields:
    """The JSON object of the body; one that is empty is {}. Raises Problem.

    In this order: a body that is too long, its type, its JSON, fields that are not known.
    """
    data = await _body(request)
    if not data:
        return {}
    kind = request.headers.get("content-type", "").partition(";")[0].strip().lower()
    if kind != "application/json":
        raise Problem(415, "the body must be application/json")
    try:
        fields = json.loads(data.decode("utf-8"), parse_constant=_refuse_constant)
    except (ValueError, RecursionError) as error:
        raise Problem(400, f"the body is no JSON: {shown(str(error), 200)}") from None
    if not isinstance(fields, dict):
        raise wrong("the body must be a JSON object")
    require_known(fields, known)
    return fields


def _refuse_constant(name: str) -> NoReturn:
    raise ValueError(f'{name} is no JSON number; write it as the text "{name}"')


async def _body(request: Request) -> bytes:
    told = request.headers.get("content-length", "0")
    if not told.isdigit() or int(told) > MOST_BYTES:
        raise _too_long()
    data = bytearray()
    async for part in request.stream():
        data += part
        if len(data) > MOST_BYTES:
            raise _too_long()
    return bytes(data)


def _too_long() -> Problem:
    return Problem(413, f"a body has at most {MOST_BYTES} bytes", {"Connection": "close"})


def require_known(fields: Mapping[str, Any], known: Iterable[str]) -> None:
    known = list(known)
    for name in fields:
        if name not in known:
            raise wrong(
                f"there is no field {shown(repr(name), 80)}; there are {listed(known, 'and')}"
            )


# ---- Values ----


def text(name: str, value: Any) -> str:
    """A text that the store can keep: no NUL, no half of a character."""
    if not isinstance(value, str):
        raise wrong(f"{name} must be a text")
    if "\0" in value:
        raise wrong(f"{name} must not contain a NUL")
    try:
        value.encode()
    except UnicodeEncodeError as error:
        raise wrong(f"{name} has half a character at position {error.start}") from None
    return value


def truth(name: str, value: Any) -> bool:
    if not isinstance(value, bool):
        raise wrong(f"{name} must be true or false")
    return value


def whole(name: str, value: Any, least: int = -_INT32 - 1, most: int = _INT32) -> int:
    if isinstance(value, bool) or not isinstance(value, int) or not least <= value <= most:
        raise wrong(f"{name} must be a whole number from {least} to {most}")
    return value


def number(name: str, value: Any) -> float:
    """A number of any size; NaN and infinities as their texts."""
    if isinstance(value, str) and value in _NUMBERS:
        return _NUMBERS[value]
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise wrong(f'{name} must be a number, or "NaN", "Infinity" or "-Infinity"')
    try:
        return float(value)
    except OverflowError:
        raise wrong(f"{name} is too large a number") from None


def array(name: str, value: Any, most: int) -> list[Any]:
    if not isinstance(value, list) or len(value) > most:
        raise wrong(f"{name} must be a list of at most {most}")
    return value


def texts(name: str, value: Any, most: int = 1000) -> tuple[str, ...]:
    return tuple(text(f"{name}[{i}]", one) for i, one in enumerate(array(name, value, most)))


def color(name: str, value: Any) -> Color:
    """ "#rrggbb" or three numbers from 0 to 1."""
    if isinstance(value, list):
        value = [number(f"{name}[{i}]", part) for i, part in enumerate(array(name, value, 3))]
    elif not isinstance(value, str):
        raise wrong(f'{name} must be "#rrggbb" or three numbers from 0 to 1')
    return as_color(value)


def moment(name: str, value: Any) -> datetime:
    """A date and time with an offset, in the format of ISO 8601."""
    try:
        found = datetime.fromisoformat(text(name, value))
        if found.utcoffset() is None:
            raise ValueError
        found.astimezone(timezone.utc)
    except (ValueError, OverflowError):
        raise wrong(
            f"{name} must be a time with an offset, such as 2024-05-01T12:00+00:00"
        ) from None
    return found


def tolerance(name: str, value: Any) -> Tolerance:
    """A tolerance of these fields; those not given have the defaults of ``kvr.Tolerance``."""
    fields = _record(name, value, Tolerance._defaults)
    fields["type"] = whole(f"{name}.type", fields["type"], 0, 2)
    return Tolerance._make(fields)  # type: ignore[no-any-return]


def sync(name: str, value: Any) -> Sync:
    """Synchronisation options of these fields; those not given have the defaults of ``kvr.Sync``."""
    fields = _record(name, value, Sync().to_fields())
    fields["type"] = whole(f"{name}.type", fields["type"], 0, 1)
    for field, words in (("method", METHODS), ("interp", INTERPOLATIONS)):
        if fields[field] not in words:
            raise wrong(f"{name}.{field} must be {listed(words, 'or')}")
    return Sync._make(fields)  # type: ignore[no-any-return]


def _record(name: str, value: Any, defaults: Mapping[str, Any]) -> Fields:
    if not isinstance(value, dict):
        raise wrong(f"{name} must be an object with the fields {listed(defaults, 'and')}")
    require_known(value, defaults)
    read = {str: text, float: number}
    fields = dict(defaults)
    for field, given in value.items():
        take = read.get(type(defaults[field]))
        fields[field] = given if take is None else take(f"{name}.{field}", given)
    return fields


# ---- The query ----


def query(request: Request, *known: str) -> dict[str, str]:
    """The parameters of the address, each at most once. Raises Problem."""
    given = request.query_params.multi_items()
    require_known(dict(given), known)
    found: dict[str, str] = {}
    for name, value in given:
        if name in found:
            raise wrong(f"{name} stands in the address twice")
        found[name] = value
    return found


def query_whole(given: Mapping[str, str], name: str, default: int | None, most: int) -> int:
    value = given.get(name)
    if value is None:
        if default is None:
            raise wrong(f"the address needs {name}=")
        return default
    is_number = value.isascii() and value.isdigit() and len(value) < 12
    return whole(name, int(value) if is_number else None, 0, most)


def query_number(given: Mapping[str, str], name: str) -> float | None:
    """A finite number, None if it is not given."""
    value = given.get(name)
    if value is None:
        return None
    try:
        found = float(value)
    except ValueError:
        found = math.nan
    if not math.isfinite(found) or len(value) > 40:
        raise wrong(f"{name} must be a finite number")
    return found


def query_ids(given: Mapping[str, str], name: str, most: int = 100_000) -> list[int]:
    """Ids with commas between them, all if the parameter is not given: []."""
    parts = given[name].split(",") if name in given else []
    if len(parts) > most or not all(p.isascii() and p.isdigit() and len(p) < 11 for p in parts):
        raise wrong(f"{name} must be ids with commas between them")
    return [whole(name, int(part), 0) for part in parts]
