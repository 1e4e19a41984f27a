"""The file of results: a line of JSON for each pair, on disk before its result is handed on.

Every line has a key made of everything that decides the result: the names, sizes and times of the
two files, the options and the version of the program. A campaign that is started again with the file
reuses the lines whose keys are unchanged. An incomplete last line, as a killed process leaves it, is
cut off.
"""

from __future__ import annotations

import errno
import fcntl
import hashlib
import json
import os
import re
from collections.abc import Iterator, Sequence
from contextlib import contextmanager, suppress
from typing import Any

from kvr._base.errors import FormatError
from kvr._base.writing import is_device, unwritable
from kvr._campaign.pairs import FilePair, SeenFile
from kvr._campaign.results import PairResult

_FOREIGN = "is no result of a campaign; name another file, or remove this one"
_TAKEN = -1
_KEY_LENGTH = 32
_LONGEST_LINE = 1 << 26  # bytes; keeps the size of a foreign file out of memory
_START = b'{"key": "' + b"0" * _KEY_LENGTH + b'", "baseline": '
_KEY_AT = _START.index(b"0")
_LINE = re.compile(rb'\{"key": "([0-9a-f]{32})", "baseline": .*\}\n', re.DOTALL)


def key_of(pair: FilePair, files: Sequence[SeenFile], options: dict[str, Any], version: str) -> str:
    """What decides the result of a pair, in 32 characters."""
    decisive = [pair.baseline, pair.other, *files, options, pair.alone, version]
    text = json.dumps(decisive, sort_keys=True, default=repr)
    return hashlib.blake2b(text.encode("utf-8", "surrogatepass"), digest_size=16).hexdigest()


class Journal:
    """The results file of a campaign, open for appending and locked against other campaigns.

    Raises OSError that names the file, FormatError if the file holds something else, ValueError if
    another campaign has it open.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self._path = os.fspath(path)
        with self._naming_the_file():
            if is_device(self._path):  # reading one may never end
                raise OSError(errno.EINVAL, "results need a regular file")
            is_new = not os.path.exists(self._path)
            self._file = open(self._path, "a+b")
        try:
            self._lock()
            if is_new:
                self._put_into_folder()
            # Where the line of each result begins; _TAKEN once its pair has come.
            self._places = self._read()
        except BaseException:
            self._file.close()
            raise

    def close(self) -> None:
        with suppress(OSError):  # of lines that could not be written, as `append` has told
            self._file.close()

    def take(self, key: str) -> tuple[bool, PairResult | None]:
        """Whether this key comes for the first time, and its result if that stands in the file."""
        digest = bytes.fromhex(key)
        place = self._places.get(digest)
        self._places[digest] = _TAKEN
        if place is None or place == _TAKEN:
            return place is None, None
        self._file.seek(place)
        try:
            return True, PairResult.from_dict(json.loads(self._file.readline()))
        except (ValueError, KeyError, TypeError):
            raise FormatError(self._path, _FOREIGN, f"byte {place + 1}") from None

    def append(self, results: list[tuple[str, PairResult]]) -> None:
        """Write results and their keys; on disk when this returns. Raises OSError."""
        lines = [
            json.dumps({"key": key, **result.to_dict()}, allow_nan=False) + "\n"
            for key, result in results
        ]
        with self._naming_the_file():
            self._file.seek(0, os.SEEK_END)
            self._file.write("".join(lines).encode("utf-8", "surrogatepass"))
            self._file.flush()
            os.fdatasync(self._file.fileno())

    @contextmanager
    def _naming_the_file(self) -> Iterator[None]:
        try:
            yield
        except OSError as error:
            raise unwritable(self._path, error) from error

    def _lock(self) -> None:
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise ValueError(f"{self._path}: another campaign writes this file") from None

    def _put_into_folder(self) -> None:
        """Have the name of the new file on disk as well."""
        folder = os.open(os.path.dirname(os.path.abspath(self._path)), os.O_RDONLY)
        try:
            with suppress(OSError):  # not every file system can
                os.fsync(folder)
        finally:
            os.close(folder)

    def _read(self) -> dict[bytes, int]:
        """The place of the last line of each key; the file then ends with a whole line."""
        places: dict[bytes, int] = {}
        self._file.seek(0)
        place = 0
        lines = iter(lambda: self._file.readline(_LONGEST_LINE), b"")
        for number, line in enumerate(lines, 1):
            found = _LINE.fullmatch(line)
            if found is None:
                if not _is_cut(line) or self._file.peek(1):
                    raise FormatError(self._path, _FOREIGN, f"line {number}")
                self._file.truncate(place)
                break
            places[bytes.fromhex(found[1].decode())] = place
            place += len(line)
        return places


def _is_cut(line: bytes) -> bool:
    """Whether this can be the beginning of a line; some file systems fill the rest with zeros."""
    if line.endswith(b"\n"):
        return False
    start = line.rstrip(b"\0")[: len(_START)]
    key = start[_KEY_AT : _KEY_AT + _KEY_LENGTH]
    start = start[:_KEY_AT] + b"0" * len(key) + start[_KEY_AT + _KEY_LENGTH :]
    return _START.startswith(start) and not key.strip(b"0123456789abcdef")
