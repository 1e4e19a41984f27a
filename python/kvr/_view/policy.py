"""The headers that every answer has, and the answer to what is no HTTP."""

from __future__ import annotations

import json

CONTENT_POLICY = (
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"
)
HEADERS = {
    "content-security-policy": CONTENT_POLICY,
    "x-content-type-options": "nosniff",
    "referrer-policy": "no-referrer",
    "cross-origin-opener-policy": "same-origin",
    "cross-origin-resource-policy": "same-origin",
    "cache-control": "no-store",
}


def malformed_answer() -> bytes:
    """The whole answer to bytes that are no request."""
    body = json.dumps({"error": "this is not an HTTP request"})
    lines = ["HTTP/1.1 400 Bad Request", *(f"{name}: {value}" for name, value in HEADERS.items())]
    lines += ["content-type: application/json", f"content-length: {len(body)}"]
    return "\r\n".join([*lines, "connection: close", "", body]).encode()
