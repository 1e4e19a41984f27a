"""Copies of the example recordings with differences in places that are known from their making."""

import csv
import random
import shutil
import subprocess
from datetime import datetime, timezone
from pathlib import Path
from typing import NamedTuple

import numpy as np

EXAMPLES = Path(__file__).parents[2] / "examples"


class Plant(NamedTuple):
    """A value that differs: the signal's label, the time, and by how much; NaN where it is lost."""

    label: str
    time: float
    difference: float


class Nowcast:
    """The recording of 29 monthly series, a CSV file whose first column is the date."""

    ending = ".csv"

    def __init__(self):
        with open(EXAMPLES / "data" / "2016-06-29.csv", newline="") as file:
            self.rows = list(csv.reader(file))

    def write(self, path, plants=()):
        rows = [list(row) for row in self.rows]
        for row, column, text in plants:
            rows[row][column] = text
        with open(path, "w", newline="") as file:
            csv.writer(file).writerows(rows)

    def choose(self, chance):
        """A change of one cell, and what it is to a comparison."""
        while True:
            row, column = chance.randrange(1, len(self.rows)), chance.randrange(1, 30)
            text = self.rows[row][column]
            if text:
                break
        month = datetime.strptime(self.rows[row][0], "%m/%d/%y").replace(tzinfo=timezone.utc)
        changed = "" if chance.random() < 0.2 else repr(float(text) + chance.choice([-2.5, 0.125]))
        by = abs(float(changed) - float(text)) if changed else np.nan
        plant = Plant(self.rows[0][column], month.timestamp(), by)
        return (row, column, changed), plant


class Circuit:
    """A simulation of the circuit: a binary file, time and four variables at each point."""

    ending = ".raw"

    def __init__(self, folder):
        assert shutil.which("ngspice"), "ngspice is not installed: apt install ngspice"
        subprocess.run([EXAMPLES / "circuit" / "simulate", folder], check=True)
        self.header, mark, values = (folder / "loose.raw").read_bytes().partition(b"Binary:\n")
        self.header += mark
        names = [line.split() for line in self.header.decode().splitlines() if line[:1] == "\t"]
        self.labels = [name for _, name, _ in names]
        self.values = np.frombuffer(values).reshape(-1, len(self.labels))

    def write(self, path, plants=()):
        values = self.values.copy()
        for point, column, value in plants:
            values[point, column] = value
        path.write_bytes(self.header + values.tobytes())

    def choose(self, chance):
        point, column = chance.randrange(len(self.values)), chance.randrange(1, len(self.labels))
        value = self.values[point, column]
        changed = value + chance.choice([-0.5, 1e-6])
        plant = Plant(self.labels[column], self.values[point, 0], abs(changed - value))
        return (point, column, changed), plant


def write_copies(folder, count):
    """`count` pairs of copies of each recording; every third differs in one to three signals.

    Returns the pairs, and the plants of each that has some.
    """
    chance = random.Random(7)
    (folder / "circuit").mkdir(parents=True)
    pairs, planted = [], {}
    for recording in (Nowcast(), Circuit(folder / "circuit")):
        baseline = folder / f"baseline{recording.ending}"
        recording.write(baseline)
        for number in range(count):
            other = folder / f"copy{number}{recording.ending}"
            chosen = {}
            for _ in range(chance.randint(1, 3) if number % 3 == 0 else 0):
                change, plant = recording.choose(chance)
                chosen[plant.label] = change, plant
            recording.write(other, [change for change, _ in chosen.values()])
            pairs.append((str(baseline), str(other)))
            if chosen:
                planted[pairs[-1]] = sorted(plant for _, plant in chosen.values())
    return pairs, planted
