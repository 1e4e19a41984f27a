"""Campaigns in processes of this machine."""

import json
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, facts, outcome, write_pairs
from kvr._campaign import pool, results, schedule, work


@pytest.fixture
def pairs(tmp_path):
    return write_pairs(tmp_path, 12)


def run(pairs, **options):
    return list(kvr.campaign(pairs, **{"jobs": 2, **options}))


def own_children():
    """Process ids of the workers of this process."""
    children = Path(f"/proc/{os.getpid()}/task/{os.getpid()}/children").read_text().split()
    return [
        int(pid)
        for pid in children
        if "multiprocessing.spawn" in Path(f"/proc/{pid}/cmdline").read_text()
    ]


# ---- What it gives ----


def test_every_pair_gets_the_verdicts_of_one_process(pairs):
    assert outcome(run(pairs)) == expected(pairs)


def test_a_result_has_the_pair_its_comparison_in_short_and_its_time(tmp_path):
    (pair,) = write_pairs(tmp_path, 1)
    (result,) = run([pair])
    assert result.pair == pair
    assert (result.passed, result.status, result.error) == (False, "differs", None)
    assert result.counts["out"] == 1 and result.seconds > 0
    (failure,) = result.comparison.failed
    whole = kvr.compare(*pair)["speed"]
    assert (failure.label, failure.status, failure.excess) == ("speed", "out", 1.0)
    assert failure.text == whole.text


def test_results_come_before_all_pairs_are_read(pairs):
    read = []

    def endless():
        while True:
            for pair in pairs:
                read.append(pair)
                yield pair

    running = kvr.campaign(endless(), jobs=1)
    for _ in range(50):
        next(running)
    running.close()
    assert len(read) < 5000


def test_options_hold_for_all_pairs_and_those_of_a_pair_stand_before_them(pairs):
    wide = kvr.Tolerance(absolute=5)
    assert all(result.passed for result in run(pairs, tolerance=wide))
    exact = [(*pairs[0], {"tolerance": kvr.Tolerance()}), *pairs[1:]]
    assert [r.pair for r in run(exact, tolerance=wide) if not r.passed] == [pairs[0]]


def test_option_that_there_is_not_is_the_error_of_its_pair(pairs):
    wrong, right = run([(*pairs[0], {"tolerence": 1}), pairs[1]], jobs=1)
    assert "'tolerence' is no option of a campaign; there are 'match', 'coverage'" in wrong.error
    assert right.error is None


def test_no_pairs_give_no_results():
    assert run([]) == []


def test_a_run_of_a_file_is_named_as_elsewhere(tmp_path):
    ((baseline, other),) = write_pairs(tmp_path, 1)
    (result,) = run([(f"{baseline}#base0", other)])
    assert result.error is None and result.counts["out"] == 1


# ---- What bad input gets ----


def test_a_file_that_is_missing_is_the_result_of_its_pair(pairs, tmp_path):
    gone = str(tmp_path / "gone.csv")
    found = run([*pairs, (pairs[0][0], gone)])
    (failed,) = [result for result in found if result.error]
    assert failed.error == f"{gone}: there is no such file; check the name"
    assert not failed.passed and failed.comparison is None
    assert outcome(r for r in found if not r.error) == expected(pairs)


def test_a_file_that_is_damaged_is_the_result_of_its_pair(pairs, tmp_path):
    bad = tmp_path / "bad.csv"
    bad.write_bytes(b"\0\1\2")
    (failed,) = [result for result in run([*pairs, (bad, bad)]) if result.error]
    assert failed.error.startswith(str(bad))


def test_a_file_that_changes_while_it_is_read_is_told(tmp_path, monkeypatch):
    ((baseline, other),) = write_pairs(tmp_path, 1)
    import kvr._comparing.compare

    compare = kvr._comparing.compare.compare_part

    def slow(*arguments, **options):
        found = compare(*arguments, **options)
        Path(other).write_text("time,speed\n0,1\n1,9\n2,9\n")
        return found

    monkeypatch.setattr(kvr._comparing.compare, "compare_part", slow)
    (found,) = work.run_batch([work.Job(0, baseline, other, {})], work.program_version())
    assert found.error == f"{other}: changed while it was read; compare it again"


def test_a_worker_with_another_version_is_refused(tmp_path):
    (pair,) = write_pairs(tmp_path, 1)
    with pytest.raises(RuntimeError, match="its program is version .*, the campaign's is 0/0/0"):
        work.run_batch([work.Job(0, *pair, {})], "0/0/0")


@pytest.mark.parametrize(
    ("options", "error", "text"),
    [
        ({"jobs": 0}, ValueError, "jobs must be 1 or more"),
        ({"jobs": True}, TypeError, "jobs must be a whole number"),
        ({"coverage": "all"}, ValueError, "coverage must be"),
        ({"tolerence": 1}, TypeError, "'tolerence' is no option"),
        ({"threads": 2}, TypeError, "'threads' is no option"),
        ({"jobs": 2, "client": object()}, TypeError, "a client or jobs, not both"),
    ],
)
def test_wrong_arguments_are_refused_at_once(options, error, text):
    with pytest.raises(error, match=text):
        kvr.campaign([], **options)


def test_what_is_no_pair_is_refused(pairs):
    with pytest.raises(TypeError, match="a pair is"):
        run([pairs[0][0]])


# ---- Parts ----


def many_signals(path, count, last):
    names = ",".join(f"s{number}" for number in range(count))
    ends = ",".join(str(last(number)) for number in range(count))
    path.write_text(f"time,{names}\n0{',1' * count}\n1,{ends}\n")


def test_a_pair_that_is_cut_gives_what_it_gives_in_one_piece(tmp_path):
    sides = tmp_path / "base.csv", tmp_path / "other.csv"
    many_signals(sides[0], 300, lambda number: 1)
    many_signals(sides[1], 300, lambda number: 1 if number % 2 else 2 + number)
    jobs = [[work.Job(0, *map(str, sides), {}, part, parts) for part in range(parts)]
            for parts in (1, 2, 7)]  # fmt: skip
    whole, halves, sevenths = (
        results.Summary.joined([outcome.summary for outcome in work.run_batch(cut, version)])
        for version in [work.program_version()]
        for cut in jobs
    )
    assert whole.failed_total == 150 and len(whole.failed) == results.KEPT_FAILURES
    assert whole.failed[0].label == "s298"
    assert halves == whole and sevenths == whole


def test_a_large_pair_is_cut_over_the_workers(tmp_path, monkeypatch):
    sides = tmp_path / "base.csv", tmp_path / "other.csv"
    many_signals(sides[0], 50, lambda number: 1)
    many_signals(sides[1], 50, lambda number: number)
    monkeypatch.setattr(schedule, "is_read_by_signal", lambda path: True)
    monkeypatch.setattr(schedule, "_FIRST_RATE", 1.0)  # so slow that any file is large
    seen = []
    start = pool.Pool.start

    def noting(self, batch, version):
        seen.extend((job.part, job.parts) for job in batch.jobs)
        start(self, batch, version)

    monkeypatch.setattr(pool.Pool, "start", noting)
    (result,) = run([sides])
    assert sorted(seen) == [(part, 8) for part in range(8)]
    assert result.counts == kvr.compare(*sides).counts


# ---- The results file ----


def test_results_are_in_the_file_before_they_are_given(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    given = 0
    for result in kvr.campaign(pairs, jobs=2, results=path):
        given += 1
        written = [json.loads(line) for line in path.read_text().splitlines()]
        assert len(written) >= given
        assert any((row["baseline"], row["other"]) == result.pair for row in written)
    row = written[0]
    assert {"baseline", "other", "passed", "counts", "seconds", "error"} <= set(row)


def test_a_finished_campaign_compares_nothing_again(pairs, tmp_path, monkeypatch):
    path = tmp_path / "results.jsonl"
    first = run(pairs, results=path)
    text = path.read_bytes()
    monkeypatch.setattr(pool.Pool, "start", lambda *_: pytest.fail("something was compared"))
    assert facts(run(pairs, results=path)) == facts(first)
    assert path.read_bytes() == text


def test_a_changed_file_and_changed_options_are_compared_again(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    run(pairs, results=path)
    Path(pairs[0][1]).write_text("time,speed\n0,1\n1,2\n2,3\n")
    found = run(pairs, results=path)
    assert outcome(found) == expected(pairs)
    assert len(path.read_text().splitlines()) == len(pairs) + 1
    run(pairs, results=path, coverage="common")
    assert len(path.read_text().splitlines()) == 2 * len(pairs) + 1


@pytest.mark.parametrize("cut", [1, 20, 200])
def test_a_file_cut_in_its_last_line_loses_that_line_alone(pairs, tmp_path, cut):
    path = tmp_path / "results.jsonl"
    first = run(pairs, results=path)
    whole = path.read_bytes()
    path.write_bytes(whole[:-cut])
    assert facts(run(pairs, results=path)) == facts(first)
    lines = path.read_text().splitlines()
    assert len(lines) == len(pairs)
    assert len({json.loads(line)["key"] for line in lines}) == len(pairs)


def test_errors_and_files_on_one_side_come_back_from_the_file(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    wrong = [*pairs, (tmp_path / "gone.csv", pairs[0][1])]
    first = run(wrong, results=path)
    assert facts(run(wrong, results=path)) == facts(first)


def test_lost_values_come_back_from_the_file(tmp_path):
    sides = tmp_path / "base.csv", tmp_path / "other.csv"
    sides[0].write_text("time,speed\n0,1\n1,2\n2,2\n")
    sides[1].write_text("time,speed\n0,1\n1,\n2,2\n")
    first = run([sides], results=tmp_path / "results.jsonl")
    again = run([sides], results=tmp_path / "results.jsonl")
    assert first[0].comparison.failed[0].excess != first[0].comparison.failed[0].excess  # NaN
    assert facts(first) == facts(again)


def test_a_pair_that_stands_twice_is_given_once(pairs, tmp_path):
    found = run([*pairs, *pairs], results=tmp_path / "results.jsonl")
    assert sorted(result.pair for result in found) == sorted(pairs)


def test_a_file_of_something_else_is_refused_and_kept(pairs, tmp_path):
    path = tmp_path / "notes.txt"
    path.write_text('{"key": "00"}\nmy notes\n')
    with pytest.raises(kvr.FormatError, match="line 1: is no result of a campaign"):
        kvr.campaign(pairs, results=path)
    assert path.read_text() == '{"key": "00"}\nmy notes\n'


def test_two_campaigns_do_not_share_a_file(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    running = kvr.campaign(pairs, jobs=1, results=path)
    next(running)
    with pytest.raises(ValueError, match="another campaign writes this file"):
        kvr.campaign(pairs, results=path)
    running.close()
    assert len(run(pairs, results=path)) == len(pairs)


# ---- Workers that die ----


def test_killed_workers_lose_and_double_nothing(tmp_path):
    pairs = write_pairs(tmp_path, 400)
    found, killed = [], 0
    for result in kvr.campaign(pairs, jobs=2):
        found.append(result)
        if len(found) % 40 == 0:
            for pid in own_children()[:1]:
                os.kill(pid, signal.SIGKILL)
                killed += 1
    assert killed >= 5
    assert outcome(found) == expected(pairs)
    assert own_children() == []


def test_a_pair_that_kills_its_worker_says_so_and_the_others_go_on(pairs, tmp_path):
    script = tmp_path / "main.py"
    script.write_text(
        "import os, sys, json\n"
        "import kvr._campaign.work as work\n"
        "compared = work._compared\n"
        "def deadly(job):\n"
        "    if job.baseline.endswith('base5.csv'):\n"
        "        os._exit(9)\n"
        "    return compared(job)\n"
        "work._compared = deadly  # in the workers too: they import this script\n"
        "import kvr\n"
        "if __name__ == '__main__':\n"
        "    pairs = json.loads(sys.argv[1])\n"
        "    for result in kvr.campaign(pairs, jobs=2):\n"
        "        print(json.dumps(result.to_dict()), flush=True)\n"
    )
    output = subprocess.run(
        [sys.executable, str(script), json.dumps(pairs)], capture_output=True, text=True
    )
    rows = {row["baseline"]: row for row in map(json.loads, output.stdout.splitlines())}
    assert len(rows) == len(pairs) == len(output.stdout.splitlines()), output.stderr
    deadly = rows.pop(pairs[5][0])
    assert deadly["error"].startswith("its worker died 4 times, at last: process ")
    assert not any(row["error"] for row in rows.values())


def test_a_script_without_a_guard_is_told(pairs, tmp_path):
    script = tmp_path / "unguarded.py"
    script.write_text(f"import kvr\nprint(list(kvr.campaign([{pairs[0]!r}], jobs=1)))\n")
    output = subprocess.run([sys.executable, str(script)], capture_output=True, text=True)
    assert output.returncode != 0
    assert output.stderr.strip().splitlines()[-1] == (
        "RuntimeError: the worker processes cannot start; a script must call kvr.campaign under "
        'if __name__ == "__main__"'
    )


def test_leaving_the_loop_ends_the_workers(pairs):
    running = kvr.campaign(pairs * 50, jobs=2)
    next(running)
    assert len(own_children()) == 2
    running.close()
    assert own_children() == []


def test_the_workers_end_with_a_killed_parent(tmp_path):
    script = tmp_path / "main.py"
    pairs = write_pairs(tmp_path, 3)
    script.write_text(
        "import itertools, kvr, os, pathlib, time\n"
        "if __name__ == '__main__':\n"
        f"    for _ in kvr.campaign(itertools.cycle({pairs!r}), jobs=2):\n"
        "        children = pathlib.Path(f'/proc/{os.getpid()}/task/{os.getpid()}/children')\n"
        "        print(children.read_text(), flush=True)\n"
        "        time.sleep(60)\n"
    )
    with subprocess.Popen([sys.executable, str(script)], stdout=subprocess.PIPE, text=True) as run:
        children = [int(pid) for pid in run.stdout.readline().split()]
        assert len(children) >= 2
        run.kill()
    deadline = time.monotonic() + 20
    while any(os.path.exists(f"/proc/{pid}") for pid in children):
        assert time.monotonic() < deadline, "workers outlive their parent"
        time.sleep(0.05)
