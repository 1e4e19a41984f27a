"""The one file that a page and its data are.

The build makes the page from ``inspector/``: a skeleton, a script and a style sheet. Here they are put
together with the data, which stands in elements that no browser runs or shows. A policy in the file
allows this script and this style sheet, and no request of any kind.
"""

from __future__ import annotations

import base64
import hashlib
import html
import json
import zlib
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import Any

from kvr._base.errors import Error
from kvr._base.text import shown

_STYLE_LINK = '<link rel="stylesheet" href="/page.css">'
_SCRIPT_LINK = '<script src="/page.js"></script>'
_TITLE = "<title>kvr</title>"
_CHARSET = '<meta charset="utf-8">'
_LONGEST_TITLE = 200
_LEVEL = 6


def deflated(data: bytes) -> bytes:
    """The data as raw deflate, which browsers can read."""
    packer = zlib.compressobj(_LEVEL, zlib.DEFLATED, -zlib.MAX_WBITS)
    return packer.compress(data) + packer.flush()


def page_of(title: str, data: Mapping[str, Any], blocks: Sequence[bytes] = ()) -> bytes:
    """The file. Raises kvr.Error if the build left the page out.

    title   of the browser's window
    data    what JSON can hold, numbers finite; "kind" says to the page what it is
    blocks  made by `deflated`; the page finds them by their numbers, from 0
    """
    skeleton, script, style = (_part(name) for name in ("page.html", "page.js", "page.css"))
    text = json.dumps(data, allow_nan=False, separators=(",", ":"))
    held = [_held("kvr-data", deflated(text.encode("ascii")))]
    held += [_held(f"kvr-block-{number}", block) for number, block in enumerate(blocks)]
    name = html.escape(shown(title, _LONGEST_TITLE))
    replaced = {
        _CHARSET: f'{_CHARSET}\n<meta http-equiv="Content-Security-Policy" '
        f'content="{_policy(script, style)}">',
        _TITLE: f"<title>{name}</title>",
        _STYLE_LINK: f"<style>{style}</style>",
        _SCRIPT_LINK: "\n".join([*held, f"<script>{script}</script>"]),
    }
    return _replaced(skeleton, replaced).encode("utf-8", "replace")


def size_of(data: Mapping[str, Any]) -> int:
    """How many bytes the file has without blocks, about."""
    return len(page_of("", data))


def block_size(block: bytes) -> int:
    """How many bytes a block takes in the file."""
    return len(_held("kvr-block-0000", block)) + 1


def _part(name: str) -> str:
    return _read(Path(__file__).parent.parent / "_page" / name)


def _read(path: Path) -> str:
    try:
        return path.read_text(encoding="utf-8")
    except FileNotFoundError:
        raise Error(
            f"this build of kvr has no page ({path} is missing); "
            "build it with -DKVRNTOB_BUILD_PAGE=ON"
        ) from None


def _held(name: str, packed: bytes) -> str:
    text = base64.b64encode(packed).decode("ascii")
    return f'<script type="text/plain" id="{name}">{text}</script>'


def _policy(script: str, style: str) -> str:
    return (
        f"default-src 'none'; script-src {_hash(script)}; style-src {_hash(style)}; "
        "img-src data: blob:; connect-src 'none'; base-uri 'none'; form-action 'none'"
    )


def _hash(text: str) -> str:
    digest = hashlib.sha256(text.encode("utf-8")).digest()
    return f"'sha256-{base64.b64encode(digest).decode('ascii')}'"


def _replaced(skeleton: str, parts: Mapping[str, str]) -> str:
    """Put every part in place of its mark. Later marks may not be found in earlier parts."""
    pieces = []
    rest = skeleton
    for mark, part in parts.items():
        before, found, rest = rest.partition(mark)
        assert found, f"the page has no {mark}"
        pieces += [before, part]
    return "".join([*pieces, rest])
