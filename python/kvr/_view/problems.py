"""What can go wrong with a request, as the status and the sentence of its answer."""

from __future__ import annotations

import json
import logging
from collections.abc import Mapping

import vormel
from starlette.responses import Response

from kvr._base.errors import Ambiguous, Error, Gone, MissingPackage, NotFound, NoValues
from kvr._base.text import shown
from kvr._view.worker import Busy

_LOG = logging.getLogger("kvr.view")


class Problem(Exception):
    """A request that is refused: its HTTP status, and what is wrong and what to do about it."""

    def __init__(self, status: int, text: str, headers: Mapping[str, str] | None = None) -> None:
        super().__init__(text)
        self.status = status
        self.text = text
        self.headers = dict(headers or {})

    def answer(self) -> Response:
        body = json.dumps({"error": self.text})
        return Response(body, self.status, self.headers, "application/json")


def wrong(text: str) -> Problem:
    """A request whose form is right and whose content is not."""
    return Problem(422, text)


def problem_of(error: Exception) -> Problem:
    """The problem that an error of a request's work is. One that nobody expected is logged."""
    text = shown(str(error), 1000)
    if isinstance(error, Problem):
        return error
    if isinstance(error, Gone):
        return Problem(410, f"{text}; load the state again")
    if isinstance(error, (NotFound, Ambiguous)):
        return Problem(404, text)
    if isinstance(error, Busy):
        return Problem(503, f"{text}; try again", {"Retry-After": "1"})
    if isinstance(error, MissingPackage):
        return Problem(501, text)
    if isinstance(error, MemoryError):
        return Problem(507, "memory is exhausted; show fewer or shorter curves")
    if isinstance(error, OSError):
        return Problem(507, f"the server cannot write its file: {error.strerror or text}")
    if isinstance(error, (NoValues, Error, ValueError, TypeError, OverflowError, vormel.Error)):
        return wrong(text)
    _LOG.error("a request failed", exc_info=error)
    return Problem(500, f"the server failed: {type(error).__name__}: {text}")
