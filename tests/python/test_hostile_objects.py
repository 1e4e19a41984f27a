"""Hostile objects as arguments of everything: a result or an exception, never a crash.

The objects come from hostile.py. A failure prints its seed; hostile.run(seed, 0) runs it again.
"""

import pytest
from own_process import run_alone, wants_long_form

PROGRAM = """
import sys
import hostile
print(hostile.run(int(sys.argv[1]), float(sys.argv[2])))
"""


@pytest.mark.parametrize("part", range(2))
def test_hostile_objects_do_no_harm(part):
    seconds = 300 if wants_long_form() else 8
    done = run_alone(PROGRAM, str(1_000_000 * part), str(seconds), seconds=2 * seconds + 120)
    rounds, came_through, actions = map(int, done.split()[-3:])
    assert rounds > 0
    assert came_through > 0  # some are harmless, so that both ends of a call are seen
    assert actions > 20 * rounds
