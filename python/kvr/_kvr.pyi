from collections.abc import Sequence
from typing import Any

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

class Finding:
    @property
    def status(self) -> str: ...
    def fields(self) -> dict[str, Any]: ...

def judge_all(
    tasks: Sequence[tuple[tuple[Any, ...], tuple[Any, ...], Rules, bool]], stop: Stop
) -> list[Finding]: ...
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
