"""The demo's reading of its files: gaps stay gaps, months become the host's day numbers."""

import sys
from datetime import date
from pathlib import Path

import numpy as np
import pytest
import vormel

sys.path.insert(0, str(Path(__file__).parents[2] / "examples"))

from tour import nowcast  # noqa: E402  found beside the demo


@pytest.fixture(scope="module", params=nowcast.DAYS)
def recording(request):
    return nowcast.read_recording(request.param)


def test_every_column_of_a_file_is_recorded(recording):
    header = (nowcast.DATA / f"{recording.day}.csv").read_text().partition("\n")[0]
    assert sorted(recording.values) == sorted(header.split(",")[1:])
    assert len(recording.values) == 29


def test_months_follow_each_other_from_january_1985(recording):
    count = [12 * month.year + month.month for month in recording.months]
    assert recording.months[0] == date(1985, 1, 1)
    assert set(np.diff(count)) == {1}


def test_gap_in_the_file_is_nan():
    values = nowcast.read_recording("2016-06-29").values
    assert np.isnan(values["HOUST"][-1])
    assert values["HOUST"][-2] == 1164


def test_day_numbers_are_those_of_the_hosts_clock():
    clock = vormel.functions["now"]()
    assert abs(float(clock) - nowcast.day_number(date.today())) <= 1


def test_seconds_come_back_as_their_day():
    assert nowcast.seconds(date(1970, 1, 2)) == 86400.0
    assert nowcast.from_seconds(nowcast.seconds(date(1985, 1, 1))) == date(1985, 1, 1)


def test_day_number_comes_back_as_its_day():
    assert nowcast.from_day_number(nowcast.day_number(date(2016, 7, 29))) == date(2016, 7, 29)
