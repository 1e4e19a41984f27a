from typing import Any

class Stopped(Exception): ...

class Stop:
    def __init__(self) -> None: ...
    def set(self) -> None: ...

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
    stop: Stop,
    wants_series: bool,
) -> tuple[dict[str, Any], tuple[Any, ...] | None]: ...
def describe_alone(missing: bool) -> str: ...
def read_numbers(text: str, columns: int, delimiter: str, decimal: str) -> list[Any] | None: ...
