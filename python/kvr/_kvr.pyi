from collections.abc import Callable, Sequence
from typing import Any

import numpy as np
from numpy.typing import NDArray

__version__: str

class Stopped(Exception): ...

class Stop:
    def __init__(self) -> None: ...
    def set(self) -> None: ...

class Rules:
    def __init__(
        self,
        tolerance: dict[str, Any],
        sync: dict[str, Any],
        tolerance_source: int,
        whole_baseline: bool,
        time_tolerance: float,
    ) -> None: ...

class SignalRecords:
    """The signals of a run of the store: their names, and their samples if these are plain vectors.

    add         takes a record of getSignal, its samples if fewer bytes are held than these; False if
                it is not plain
    add_nothing leaves a place without names and samples
    read_to     adds the records that a function returns of numbers, up to a place; a record that is
                not plain ends it and is returned, else None
    column      a field of Facts of signals that follow each other, None where there are no names
    facts       the fields of Facts of one signal
    holds       whether the samples of a signal are held
    drop        lets go of the samples of a signal
    bytes       of all samples that are held
    """

    def __init__(self, series_type: type) -> None: ...
    def __len__(self) -> int: ...
    def add(self, record: dict[str, Any], most_bytes: int) -> bool: ...
    def add_nothing(self) -> None: ...
    def read_to(
        self,
        read: Callable[[int], dict[str, Any]],
        numbers: list[int],
        end: int,
        most_bytes: int,
    ) -> dict[str, Any] | None: ...
    def column(self, field: str, first: int, end: int) -> list[Any]: ...
    def facts(self, place: int) -> tuple[Any, ...]: ...
    def holds(self, place: int) -> bool: ...
    def drop(self, place: int) -> None: ...
    def drop_series(self) -> None: ...
    @property
    def bytes(self) -> int: ...

class PairJudging:
    """Judges pairs in several threads, of which the calling one is one, while that goes on reading.

    Lets go of the samples of records once they are judged.

    add       takes a pair: its baseline signal's place, and each side as a Side or as its place
    add_held  as add for pairs of places; returns those of which samples are not held
    wait      until more verdicts are there; False if all are
    done      how many there are
    close     ends what is being judged, and lets go of all samples; the verdicts stay
    statuses  of each baseline signal, None without a verdict
    fields    of the verdict at a place, None without
    """

    def __init__(
        self,
        baseline: SignalRecords | None,
        other: SignalRecords | None,
        signals: int,
        threads: int,
    ) -> None: ...
    def add(
        self,
        place: int,
        baseline: int | tuple[Any, ...],
        other: int | tuple[Any, ...],
        rules: Rules,
    ) -> None: ...
    def add_held(self, pairs: list[tuple[int, int]], rules: Rules) -> list[tuple[int, int]]: ...
    def wait(self) -> bool: ...
    def close(self) -> None: ...
    def statuses(self) -> list[str | None]: ...
    def fields(self, place: int, dated: bool) -> dict[str, Any] | None: ...
    @property
    def done(self) -> int: ...

def judge(
    baseline: tuple[Any, ...],
    other: tuple[Any, ...],
    tolerance: dict[str, Any],
    sync: dict[str, Any],
    tolerance_call: Any,
    sync_call: Any,
    tolerance_source: int,
    whole_baseline: bool,
    time_tolerance: float,
    dated: bool,
    stop: Stop,
    wants_series: bool,
) -> tuple[dict[str, Any], tuple[Any, ...] | None]: ...
def date_text(seconds: float) -> str: ...
def describe_alone(missing: bool) -> str: ...

class SignalRow:
    id: int
    run: int
    label: str
    path: str
    model: str
    source: str
    root_source: str
    time_source: str
    sid: str
    unit: str | None
    port: int
    dash: str
    visible: bool
    time_base: int
    metadata_bytes: int
    samples: int
    is_text: bool
    own_settings: tuple[bool, bool]  # a tolerance, synchronisation options
    def fields(self) -> dict[str, Any]: ...
    def facts(self) -> tuple[Any, ...]:
        """The fields of Facts; quicker than `fields`."""

class RecordingReader:
    def __init__(self, path: str) -> None: ...
    def close(self) -> None: ...
    def run_count(self) -> int: ...
    def signal_count(self) -> int: ...
    def run(self, id: int) -> dict[str, Any]: ...
    def signals(self, first: int, count: int) -> list[SignalRow]: ...
    def parent(self, signal: int) -> int | None: ...
    def children(self, signal: int) -> list[int]: ...
    def times(self, row: SignalRow, first: int, count: int) -> NDArray[Any]: ...
    def values(self, row: SignalRow, first: int, count: int) -> NDArray[Any]: ...
    def text(self, row: SignalRow) -> bytes: ...
    def metadata(self, row: SignalRow) -> bytes: ...

class RecordingWriter:
    def __init__(
        self, path: str, append: bool, expected_bytes: int, replaces: bool = True
    ) -> None: ...
    def add_run(self, fields: dict[str, Any]) -> int: ...
    def add_signal(
        self,
        fields: dict[str, Any],
        times: NDArray[Any],
        values: NDArray[Any] | bytes,
        shape: tuple[int, ...],
        metadata: bytes,
    ) -> int: ...
    def add_record(
        self,
        record: dict[str, Any],
        series_type: type,
        settings: dict[str, Any],
        metadata: bytes,
    ) -> int | None:
        """Adds a record of getSignal; None, and nothing is added, if it is not plain."""
    def set_parent(self, signal: int, parent: int) -> None: ...
    def commit(self) -> None: ...
    def close(self) -> None: ...

def verify_recording(
    path: str, progress: Callable[[int, int], object]
) -> list[tuple[str, str]]: ...
def read_numbers(text: str, columns: int, delimiter: str, decimal: str) -> list[Any] | None: ...

class Thinned:
    """Chooses the samples that draw what all draw; thinning/thinning.h has the details.

    Both arrays are (n,) float64, contiguous, and must not change while the object is in use; it
    keeps them alive. TypeError for other numbers, ValueError for other layouts, for different
    lengths, and for times that fall or are NaN.
    """

    def __init__(self, time: NDArray[np.float64], values: NDArray[np.float64]) -> None: ...
    def __len__(self) -> int: ...
    def window(
        self, first_time: float, last_time: float, columns: int, keep: Sequence[int] = ()
    ) -> NDArray[np.int64]:
        """Rising indices from 0 of the samples to draw of a window of so many pixel columns.

        ValueError for no columns and for a window that ends before it begins or at NaN, IndexError
        for an index in `keep` that is none of a sample.
        """
    def extremes(self, first: int, last: int) -> tuple[int, int] | None:
        """Where the lowest and the highest of the samples `first` to `last` are, both included.

        None if all are NaN. IndexError if there is none of these samples, or `last` is below
        `first`.
        """
