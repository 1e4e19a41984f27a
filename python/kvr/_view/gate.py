"""What a request must be before any of its work is done: from this page, of an admitted browser.

Tested in this order: the Host header is one that is served (a foreign name that resolves to this
machine is not), the request comes from a page of this server, the cookie is in force.
"""

from __future__ import annotations

import ipaddress
import socket
from collections.abc import Callable

from starlette.datastructures import Headers, QueryParams
from starlette.requests import cookie_parser
from starlette.responses import RedirectResponse, Response
from starlette.types import ASGIApp, Receive, Scope, Send

from kvr._view.problems import Problem
from kvr._view.sessions import Sessions

IsServed = Callable[[str], bool]
_FROM_ELSEWHERE = ("cross-site", "same-site")
# A browser withholds a strict cookie from a navigation that another site began, and from where that
# is redirected to. This page begins a navigation of its own, and leaves no entry in the history.
_STEP = '<!doctype html><meta http-equiv="refresh" content="0;url=/"><title>kvr</title>'
_NEEDS_COOKIE = (
    "this browser was not admitted: open the whole address that the server printed, once; "
    "a server that was started again has a new one"
)


def served_hosts(address: str, port: int) -> IsServed:
    """Whether a Host header names a server that listens on this address, an IP, and port.

    On all addresses: any IP of the right port, and the machine's own names. A name that someone
    else can point to this machine is never taken.
    """
    names = {"localhost"} if _is(address, "is_loopback") else set()
    anywhere = _is(address, "is_unspecified")
    if anywhere:
        names |= {"localhost", socket.gethostname().lower(), socket.getfqdn().lower()}
    else:
        names.add(address.lower())

    def is_served(host: str) -> bool:
        name, given = _split(host.lower())
        if given != port:
            return False
        return name in names or (anywhere and _is(name, "version"))

    return is_served


def _is(address: str, what: str) -> bool:
    try:
        return bool(getattr(ipaddress.ip_address(address), what))
    except ValueError:
        return False


def _split(host: str) -> tuple[str, int]:
    """Name and port of a Host header; port -1 for what is none. Browsers leave out port 80."""
    if host.startswith("["):
        name, _, rest = host[1:].partition("]")
    else:
        name, colon, port = host.partition(":")
        rest = colon + port
    if not rest:
        return name, 80
    digits = rest[1:]
    usable = rest[0] == ":" and digits.isascii() and digits.isdigit() and len(digits) <= 5
    return name, int(digits) if usable else -1


class Gate:
    """Passes on the requests that may be served, and answers the others."""

    def __init__(self, app: ASGIApp, is_served: IsServed, sessions: Sessions, port: int) -> None:
        self._app = app
        self._is_served = is_served
        self._sessions = sessions
        # Browsers send a host's cookies to all its ports: servers must not overwrite each other's.
        self._cookie = f"kvr-{port}"

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        try:
            answer = self._answer(scope)
        except Problem as problem:
            answer = problem.answer()
        if answer is None:
            await self._app(scope, receive, send)
        else:
            await answer(scope, receive, send)

    def _answer(self, scope: Scope) -> Response | None:
        """The answer to a request that is not passed on. Raises Problem."""
        headers = Headers(scope=scope)
        host = headers.get("host", "")
        if not self._is_served(host):
            raise Problem(421, "this name is not one of this server: use the address it printed")
        is_navigation = _is_navigation(scope, headers)
        if not is_navigation:
            _require_own_page(scope["method"], headers, f"http://{host}")
        if is_navigation and scope["path"] == "/":
            answer = self._admission(scope, headers)
            if answer is not None:
                return answer
        if not self._sessions.knows(self._cookie_of(headers)):
            raise Problem(401, _NEEDS_COOKIE)
        return None

    def _admission(self, scope: Scope, headers: Headers) -> Response | None:
        """Swaps a token for a cookie, and leads to the address without the token."""
        from_elsewhere = headers.get("sec-fetch-site") == "cross-site"
        token = QueryParams(scope["query_string"].decode("latin-1")).get("token")
        step = Response(_STEP, media_type="text/html") if from_elsewhere else None
        if token is None:
            return step
        answer = step or RedirectResponse("/", 303)
        cookie = self._sessions.swap(token)
        if cookie is not None:
            answer.set_cookie(self._cookie, cookie, httponly=True, samesite="strict")
        elif not from_elsewhere and not self._sessions.knows(self._cookie_of(headers)):
            raise Problem(401, _NEEDS_COOKIE)
        return answer

    def _cookie_of(self, headers: Headers) -> str:
        return cookie_parser(headers.get("cookie", "")).get(self._cookie, "")


def _is_navigation(scope: Scope, headers: Headers) -> bool:
    """Whether the browser loads a page of its own for it, or a program just asks."""
    return (
        scope["method"] in ("GET", "HEAD")
        and headers.get("sec-fetch-mode", "navigate") == "navigate"
        and headers.get("sec-fetch-dest", "document") == "document"
        and scope["path"] == "/"
    )


def _require_own_page(method: str, headers: Headers, origin: str) -> None:
    """Raises Problem for a request that another page made."""
    if headers.get("sec-fetch-site", "same-origin") not in ("same-origin", "none"):
        raise Problem(403, "another page made this request; use the inspector's own")
    given = headers.get("origin")
    if given is None and method in ("GET", "HEAD"):
        return
    if given != origin:
        raise Problem(403, f"the Origin of a change must be {origin}")
