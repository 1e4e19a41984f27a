"""Python's memory runs out at every allocation in turn, in every call and conversion.

Each family of steps runs in a process of its own. A step is prepared, run once as it is, and then
again and again while the n-th allocation of Python fails, or all from the n-th on, until a run comes
through. Each run ends in the right result or in a MemoryError; host arrays are back at their number,
and the store is as it was, or as the step leaves it.
"""

import pytest
from own_process import run_alone, under_sanitizer, wants_long_form

PROGRAM = """
import sys
import no_memory_steps
print(no_memory_steps.run_family(sys.argv[1], one=sys.argv[2] == "one", stride=int(sys.argv[3])))
"""

FAMILIES = ["in", "in_class", "out", "values", "store_reading", "store_writing", "store_adding",
            "map", "constructors", "invoke", "functions", "packages"]  # fmt: skip


@pytest.mark.parametrize("failing", ["one", "all"])
@pytest.mark.parametrize("family", FAMILIES)
def test_memory_error_or_the_result(family, failing):
    # The quick form passes over allocations beyond the first 25, a few at a time.
    stride = 1 if wants_long_form() else 11 if under_sanitizer() else 5
    done = run_alone(
        PROGRAM, family, failing, str(stride), seconds=600 if wants_long_form() else 90
    )
    steps, runs = map(int, done.split()[-2:])
    assert steps > 0
    assert runs > 2 * steps  # memory failed at least once in each step, before it came through


NUMPY_PROGRAM = """
import sys
import no_memory_steps
print(no_memory_steps.run_numpy_family(sys.argv[1], every=sys.argv[2] == "all"))
"""


@pytest.mark.parametrize("failing", ["one", "all"])
@pytest.mark.parametrize("family", ["in", "out"])
def test_memory_error_or_the_result_where_numpy_has_no_memory(family, failing):
    steps, failures = map(int, run_alone(NUMPY_PROGRAM, family, failing).split()[-2:])
    assert steps > 0
    assert failures > 0


@pytest.mark.skipif(under_sanitizer(), reason="the sanitizer needs the whole address space")
def test_large_values_in_an_address_space_with_bounds():
    program = "import sys, no_memory_steps; print(no_memory_steps.run_bounded(int(sys.argv[1])))"
    done = run_alone(program, "1" if wants_long_form() else "8", seconds=300)
    came_through, failed = map(int, done.split()[-2:])
    assert came_through > 10
    assert failed > 10
