"""The file of results: a line of JSON for each pair, on disk before its result is handed on.

Every line has a key made of everything that decides the result: the names, sizes and times of the
two files, the options and the version of the program. A campaign that is started again with the file
reuses the lines whose keys are unchanged. An incomplete last line, as a killed process leaves it, is
cut off.
"""

from __future__ import annotations

import fcntl
import hashlib
import json
import os
from typing import Any

from kvr._base.errors import FormatError
from kvr._campaign.pairs import FilePair
from kvr._campaign.results import PairResult
from kvr._files.opening import split_name


def key_of(pair: FilePair, options: dict[str, Any], version: str) -> str:
    """What decides the result of a pair, in 32 characters."""
    files = [_stamp(side) for side in (pair.baseline, pair.other)]
    decisive = [pair.baseline, pair.other, *files, options, pair.alone, version]
    text = json.dumps(decisive, sort_keys=True, default=repr)
    return hashlib.blake2b(text.encode("utf-8", "surrogatepass"), digest_size=16).hexdigest()


def _stamp(side: str) -> tuple[int, int] | None:
    """Size and time of the file of a side; None if it cannot be looked at."""
    try:
        status = os.stat(split_name(side)[0])
    except (OSError, ValueError):
        return None
    return status.st_size, status.st_mtime_ns


class Journal:
    """The results file of a campaign, open for appending and locked against other campaigns.

    Raises OSError, FormatError if the file holds something else, ValueError if another campaign
    has it open.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self._path = os.fspath(path)
        self._file = open(self._path, "a+b")
        try:
            self._lock()
            self._places = self._read()
        except BaseException:
            self._file.close()
            raise

    def close(self) -> None:
        self._file.close()

    def done(self, key: str) -> PairResult | None:
        """The result of this key, if it stands in the file."""
        place = self._places.get(bytes.fromhex(key))
        if place is None:
            return None
        self._file.seek(place)
        return PairResult.from_dict(json.loads(self._file.readline()))

    def append(self, results: list[tuple[str, PairResult]]) -> None:
        """Write results and their keys; on disk when this returns."""
        for key, result in results:
            line = json.dumps({"key": key, **result.to_dict()}, allow_nan=False)
            self._places[bytes.fromhex(key)] = self._file.seek(0, os.SEEK_END)
            self._file.write(line.encode("utf-8", "surrogatepass") + b"\n")
        self._file.flush()
        os.fdatasync(self._file.fileno())

    def _lock(self) -> None:
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise ValueError(f"{self._path}: another campaign writes this file") from None

    def _read(self) -> dict[bytes, int]:
        """The place of the last line of each key; the file then ends with a whole line."""
        places: dict[bytes, int] = {}
        self._file.seek(0)
        place = 0
        for number, line in enumerate(self._file, 1):
            if not line.endswith(b"\n"):
                self._file.truncate(place)
                break
            places[self._key(line, number)] = place
            place += len(line)
        return places

    def _key(self, line: bytes, number: int) -> bytes:
        try:
            data = json.loads(line)
            PairResult.from_dict(data)
            return bytes.fromhex(data["key"])
        except (ValueError, KeyError, TypeError):
            what = "is no result of a campaign; name another file, or remove this one"
            raise FormatError(self._path, what, f"line {number}") from None
