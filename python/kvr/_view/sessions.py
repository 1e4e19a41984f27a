"""Who may talk to the server: single-use tokens in addresses, and the cookies they are swapped for."""

from __future__ import annotations

import hmac
import secrets
import threading

_MOST_TOKENS = 64  # that wait to be used; the oldest are dropped
_MOST_SESSIONS = 256
_BYTES = 32


class Sessions:
    """The tokens and cookies in force. Any thread may call it.

    Secrets are compared in constant time, each with all that there are.
    """

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._tokens: list[bytes] = []
        self._sessions: list[bytes] = []

    def new_token(self) -> str:
        """A token that admits one browser, once."""
        return self._issue(self._tokens, _MOST_TOKENS)

    def swap(self, token: str) -> str | None:
        """The cookie for a token, which is void from now on; None for an unknown token."""
        with self._lock:
            found = _find(self._tokens, token)
            if found is None:
                return None
            self._tokens.remove(found)
        return self._issue(self._sessions, _MOST_SESSIONS)

    def knows(self, cookie: str) -> bool:
        """Whether the cookie is one of a browser that was admitted."""
        with self._lock:
            return _find(self._sessions, cookie) is not None

    def _issue(self, kept: list[bytes], most: int) -> str:
        secret = secrets.token_urlsafe(_BYTES)
        with self._lock:
            kept.append(secret.encode())
            del kept[:-most]
        return secret


def _find(kept: list[bytes], given: str) -> bytes | None:
    wanted = given.encode("utf-8", "surrogateescape")
    found = [secret for secret in kept if hmac.compare_digest(secret, wanted)]
    return found[0] if found else None
