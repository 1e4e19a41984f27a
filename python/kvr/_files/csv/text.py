"""The text of a CSV file: decompressed, decoded, with one kind of line end."""

from __future__ import annotations

import codecs
import gzip
import zlib

from kvr._base.errors import FormatError

_HEAD = 1 << 18  # bytes from which the make-up of a file is found out
_MOST_HEAD = 1 << 26
_HEAD_LINES = 20  # the head grows until it has as many

_BYTE_ORDER_MARKS = (
    (codecs.BOM_UTF8, "utf-8"),
    (codecs.BOM_UTF16_LE, "utf-16-le"),
    (codecs.BOM_UTF16_BE, "utf-16-be"),
)


def read_all(path: str) -> str:
    """The whole file as text. Raises OSError, FormatError."""
    return _text(path, _bytes(path, -1))


def read_head(path: str) -> str:
    """The first lines of the file, whole ones. Raises OSError, FormatError."""
    size = _HEAD
    while True:
        data = _bytes(path, size)
        if len(data) < size:
            return _text(path, data)
        lines = _text(path, data, cut_off=True)
        if lines.count("\n") >= _HEAD_LINES or size >= _MOST_HEAD:
            return lines[: lines.rfind("\n") + 1] or lines
        size *= 4


def _bytes(path: str, size: int) -> bytes:
    try:
        if path.lower().endswith(".gz"):
            with gzip.open(path) as packed:
                return packed.read(size)
        with open(path, "rb") as file:
            return file.read(size)
    except (EOFError, zlib.error, gzip.BadGzipFile) as error:
        raise FormatError(path, f"cannot be unpacked, write it anew: {error}") from error


def _text(path: str, data: bytes, cut_off: bool = False) -> str:
    mark, encoding = _encoding(data)
    data = data[len(mark) :]
    if encoding == "utf-8" and b"\0" in data:
        place = f"byte {data.index(0) + len(mark) + 1}"
        raise FormatError(path, "is binary, not text; is it a CSV file?", place)
    text = _decoded(path, data, encoding, cut_off)
    if "\r" in text:
        text = text.replace("\r\n", "\n").replace("\r", "\n")
    if "\0" in text:
        raise FormatError(path, "is binary, not text; is it a CSV file?")
    return text


def _encoding(data: bytes) -> tuple[bytes, str]:
    for mark, encoding in _BYTE_ORDER_MARKS:
        if data.startswith(mark):
            return mark, encoding
    return b"", "utf-8"


def _decoded(path: str, data: bytes, encoding: str, cut_off: bool) -> str:
    """The text; without a last character that is cut off. What is not UTF-8 is taken as cp1252."""
    decoder = codecs.getincrementaldecoder(encoding)()
    try:
        return decoder.decode(data, final=not cut_off)
    except UnicodeDecodeError as error:
        if encoding != "utf-8":
            raise FormatError(path, f"is not the {encoding} that it begins as: {error}") from error
    try:
        return data.decode("cp1252")
    except UnicodeDecodeError as error:
        place = f"byte {error.start + 1}"
        raise FormatError(path, "is not text in UTF-8; save it as UTF-8", place) from error
