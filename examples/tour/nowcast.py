"""Two recordings of the same 29 economic series, a month apart: the files in examples/data.

Rows are months, columns series. A month without a figure is a gap and reads as NaN.
"""

from __future__ import annotations

import csv
from dataclasses import dataclass
from datetime import date, datetime, timedelta
from pathlib import Path

import numpy as np

DATA = Path(__file__).parents[1] / "data"
DAYS = ("2016-06-29", "2016-07-29")

# Column of the file: group, label. In the order of recording.
SERIES = {
    "TTLCONS": ("construction", "Construction spending"),
    "HOUST": ("construction", "Housing starts"),
    "PERMIT": ("construction", "Building permits"),
    "HSN1F": ("construction", "New houses sold"),
    "GDPC1": ("output", "Domestic product"),
    "A261RX1Q020SBEA": ("output", "Domestic income"),
    "INDPRO": ("output", "Industrial production"),
    "TCU": ("output", "Capacity utilization"),
    "DGORDER": ("output", "Durable goods orders"),
    "ULCNFB": ("output", "Unit labor cost"),
    "PAYEMS": ("labor", "Nonfarm payrolls"),
    "JTSJOL": ("labor", "Job openings"),
    "UNRATE": ("labor", "Unemployment rate"),
    "CPIAUCSL": ("prices", "Consumer prices"),
    "CPILFESL": ("prices", "Core consumer prices"),
    "PCEPI": ("prices", "Spending prices"),
    "PCEPILFE": ("prices", "Core spending prices"),
    "PPIFIS": ("prices", "Producer prices"),
    "IR": ("prices", "Import prices"),
    "IQ": ("prices", "Export prices"),
    "BOPTEXP": ("trade", "Exports"),
    "BOPTIMP": ("trade", "Imports"),
    "WHLSLRIMSA": ("trade", "Wholesale inventories"),
    "BUSINV": ("trade", "Business inventories"),
    "RSAFS": ("demand", "Retail sales"),
    "PCEC96": ("demand", "Real consumption"),
    "DSPIC96": ("demand", "Disposable income"),
    "GACDISA066MSFRBNY": ("surveys", "New York survey"),
    "GACDFSA066MSFRBPHI": ("surveys", "Philadelphia survey"),
}


@dataclass
class Recording:
    """The series as they stood on one day: a row of values for each code, one value a month."""

    day: date
    months: list[date]
    values: dict[str, np.ndarray]

    @property
    def time(self) -> np.ndarray:
        """The months in seconds since 1970-01-01."""
        return np.array([seconds(month) for month in self.months])

    @property
    def gaps(self) -> int:
        return sum(int(np.isnan(row).sum()) for row in self.values.values())


def seconds(day: date) -> float:
    """From 1970-01-01 to the beginning of the day."""
    return float((day - date(1970, 1, 1)).total_seconds())


def from_seconds(number: float) -> date:
    return date(1970, 1, 1) + timedelta(seconds=number)


def day_number(day: date) -> float:
    """Days since the first of January of year 0, as the host's own clock counts them."""
    return float(day.toordinal() + 365)


def from_day_number(number: float) -> date:
    return date.fromordinal(int(number) - 365)


def read_recording(day: str) -> Recording:
    with open(DATA / f"{day}.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    months = [datetime.strptime(row["Date"], "%m/%d/%y").date() for row in rows]
    values = {code: np.array([float(row[code] or "nan") for row in rows]) for code in SERIES}
    return Recording(date.fromisoformat(day), months, values)
