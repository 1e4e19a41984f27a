"""Campaigns over files that are damaged, locked, huge or that change: each pair gets its result."""

import os
import sqlite3
import subprocess
import sys
import threading

import kvr
import pytest
from campaign_files import (
    expected,
    outcome,
    told_by_campaign,
    told_by_one_process,
    write_damaged_pairs,
    write_pairs,
)


def run(pairs, **options):
    return list(kvr.campaign(pairs, **{"jobs": 2, **options}))


@pytest.fixture
def overcommitting():
    """Skips where the system hands out memory that it does not have: a huge file then kills."""
    with open("/proc/sys/vm/overcommit_memory", encoding="ascii") as mode:
        if mode.read().strip() == "1":
            pytest.skip("vm.overcommit_memory is 1")


def test_damaged_files_get_the_errors_of_one_process(tmp_path, overcommitting):
    pairs = write_damaged_pairs(tmp_path)
    found = told_by_campaign(run(pairs, results=tmp_path / "results.jsonl"))
    assert found == told_by_one_process(pairs)
    assert sum(status == "error" for _, _, status, _, _ in found) >= 16
    assert sum(status == "passed" for _, _, status, _, _ in found) >= 4
    assert told_by_campaign(run(pairs, results=tmp_path / "results.jsonl")) == found


def test_a_recording_that_another_process_writes_is_told(tmp_path):
    good = write_pairs(tmp_path, 6)
    run_to_save = kvr.Store().new_run("Monday")
    run_to_save.add("speed", [1.0], time=[0.0])
    path = str(tmp_path / "locked.kvr")
    run_to_save.save(path)
    lock = (
        "import sqlite3, sys\n"
        "connection = sqlite3.connect(sys.argv[1])\n"
        "connection.execute('begin exclusive')\n"
        "print('locked', flush=True)\n"
        "sys.stdin.read()\n"
    )
    with subprocess.Popen(
        [sys.executable, "-c", lock, path], stdin=subprocess.PIPE, stdout=subprocess.PIPE
    ) as writer:
        assert writer.stdout.readline() == b"locked\n"
        found = run([(path, path), *good])
        writer.stdin.close()
    (failed,) = [result for result in found if result.error]
    assert failed.error.startswith(f"{path}: process {writer.pid} ")
    assert outcome(result for result in found if not result.error) == expected(good)
    assert sqlite3.connect(path).execute("select count(*) from sqlite_master").fetchone()[0] > 0


def test_files_that_are_written_all_the_time_get_one_result_each(tmp_path):
    """Each pair is compared as it was, or has an error that names the file."""
    pairs = write_pairs(tmp_path, 60, out_every=1000)
    rows = "".join(f"{time},2\n" for time in range(20_000))
    for baseline, _ in pairs:
        with open(baseline, "w", encoding="ascii") as file:
            file.write("time,speed\n" + rows)
    stop = threading.Event()

    def write():
        while not stop.is_set():
            for _, other in pairs:
                with open(other, "w", encoding="ascii") as file:
                    file.write("time,speed\n" + rows)

    writer = threading.Thread(target=write)
    writer.start()
    try:
        found = run(pairs)
    finally:
        stop.set()
        writer.join()
    assert sorted(result.pair for result in found) == sorted(pairs)
    for result in found:
        assert result.passed if result.error is None else result.other in result.error
    assert outcome(run(pairs)) == expected(pairs)


@pytest.mark.skipif("KVR_LONG_TESTS" not in os.environ, reason="long form")
def test_a_pair_of_100000_signals_has_the_verdicts_of_one_process(tmp_path):
    sides = [str(tmp_path / name) for name in ("base.kvr", "other.kvr")]
    for side, last in zip(sides, (2.0, 3.0)):
        made = kvr.Store().new_run("Monday")
        for number in range(100_000):
            made.add(f"s{number}", [1.0, last if number % 1000 == 0 else 2.0], time=[0.0, 1.0])
        made.save(side)
        made.remove()
    (result,) = run([sides])
    assert result.error is None
    assert result.counts["out"] == 100 and result.counts["within"] == 99_900
    assert [failure.label for failure in result.comparison.failed] == [
        f"s{number}" for number in range(0, 100_000, 1000)
    ]


@pytest.mark.skipif("KVR_LONG_TESTS" not in os.environ, reason="long form")
def test_100000_pairs_take_the_caller_the_memory_of_1000(tmp_path):
    """Also where they are started again. The pairs are made as they are read."""
    ((baseline, other),) = write_pairs(tmp_path, 1)
    program = (
        "import os, resource, sys, kvr\n"
        "def pairs(count):\n"
        "    for number in range(count):\n"
        "        yield f'{sys.argv[1]}/b/{number}.csv', f'{sys.argv[1]}/o/{number}.csv'\n"
        "if __name__ == '__main__':\n"
        "    found = 0\n"
        "    for result in kvr.campaign(pairs(int(sys.argv[2])), jobs=2, results=sys.argv[3]):\n"
        "        assert not result.passed and result.error is None, result\n"
        "        found += 1\n"
        "    print(found, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)\n"
    )
    (tmp_path / "main.py").write_text(program)
    for side, file in (("b", baseline), ("o", other)):
        (tmp_path / side).mkdir()
        for number in range(100_000):
            os.link(file, tmp_path / side / f"{number}.csv") if number % 30_000 else (
                (tmp_path / side / f"{number}.csv").write_bytes(open(file, "rb").read())
            )
    peaks = []
    for count, file in ((1000, "few"), (100_000, "many"), (100_000, "many")):
        done = subprocess.run(
            [sys.executable, tmp_path / "main.py", tmp_path, str(count), tmp_path / file],
            capture_output=True, text=True,
        )  # fmt: skip
        found, peak = map(int, done.stdout.split())
        assert found == count, done.stderr
        peaks.append(peak)
    assert len((tmp_path / "many").read_bytes().splitlines()) == 100_000
    assert max(peaks) < peaks[0] + 50_000 and max(peaks) < 200_000  # kilobytes
