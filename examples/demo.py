"""Two recordings of 29 economic series go into the store as two runs and are compared.

Run it with scripts/demo, which writes into build/demo, or with a folder for the files. What is
shown was read back from the store.
"""

from __future__ import annotations

import sys
from collections.abc import Iterable
from pathlib import Path

from vormel.Dravik.kvr import SignalRepository

from tour import changes, comparing, reading, settings, typed_map
from tour.nowcast import DAYS, SERIES, read_recording
from tour.recorder import data_source, record

FILES = Path("build/demo")
INSTANCE = 1
DRAWN = "TTLCONS"


def section(title: str, lines: Iterable[str]) -> None:
    print(title)
    for line in lines:
        print(f"  {line}".rstrip())


def main(folder: Path) -> None:
    repo = SignalRepository()
    recordings = [read_recording(day) for day in DAYS]
    first, second = (record(repo, recording, INSTANCE) for recording in recordings)
    source = data_source(recordings[0], "UNRATE")
    picture = folder / f"{DRAWN}.png"
    index = list(SERIES).index(DRAWN) + 1

    section("Runs of instance 1", reading.runs(repo, INSTANCE))
    section(f"Signals of run {first}", reading.signals(repo, first))
    section("Read back", reading.ways_to_read(repo, second, source))
    section("An id that is not there", [reading.failure(repo.getSignal, 99)])
    section(f"Drawn in {picture}", reading.pictured(repo, [first, second], index, picture))
    section(f"Settings in force in run {first}", settings.settings(repo, first))
    section("Groups of each column", settings.groups(repo))
    comparison = list(comparing.compared(first, second, folder))  # before the second run is removed
    section("Copy", changes.copied(repo, first, INSTANCE))
    section("Scratch file", changes.kept_in_file(repo, recordings[0], first, INSTANCE))
    section("Removal", changes.removed(repo, second, INSTANCE, DRAWN))
    section("A typed map", typed_map.typed_map())
    section(f"Run {second} compared with run {first}", comparison)
    section("Try next", comparing.next_steps(folder))
    repo.clean()


if __name__ == "__main__":
    main(Path(sys.argv[1]) if len(sys.argv) > 1 else FILES)
