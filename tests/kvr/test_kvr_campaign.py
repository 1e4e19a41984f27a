"""Campaigns in processes of this machine."""

import math
import subprocess
import sys
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, outcome, write_pairs
from kvr._campaign import pool, results, schedule, work


@pytest.fixture
def pairs(tmp_path):
    return write_pairs(tmp_path, 12)


def run(pairs, **options):
    return list(kvr.campaign(pairs, **{"jobs": 2, **options}))


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


@pytest.mark.parametrize("error", [None, kvr.FormatError("other0.csv", "is cut off")])
def test_a_file_that_changes_while_it_is_read_is_told(tmp_path, monkeypatch, error):
    ((baseline, other),) = write_pairs(tmp_path, 1)
    import kvr._comparing.compare

    compare = kvr._comparing.compare.compare_part

    def slow(*arguments, **options):
        found = compare(*arguments, **options)
        Path(other).write_text("time,speed\n0,1\n1,9\n2,9\n")
        if error:
            raise error
        return found

    monkeypatch.setattr(kvr._comparing.compare, "compare_part", slow)
    (found,) = work.run_batch([work.Job(0, baseline, other, {})], work.program_version())
    assert found.error == f"{other}: changed while it was read; compare it again"


def test_a_worker_with_another_version_is_refused(tmp_path):
    (pair,) = write_pairs(tmp_path, 1)
    with pytest.raises(RuntimeError, match="its program is version .*, the campaign's is 0/0/0"):
        work.run_batch([work.Job(0, *pair, {})], "0/0/0")


WORKER = """
import sys
from kvr._campaign import work
(outcome,) = work.run_batch([work.Job(0, *sys.argv[1:], {})], work.program_version())
assert outcome.error is None and outcome.summary.passed, outcome
print(*sorted({"vormel", "ssl", "email", "pandas", "h5py"} & set(sys.modules)))
"""


def test_a_worker_imports_nothing_that_its_files_do_not_need(tmp_path, run):
    """A small campaign takes hardly longer than its workers' start."""
    run.add("speed", [1.0, 2.0], time=[0.0, 1.0])
    run.save(tmp_path / "a.kvr")
    command = [sys.executable, "-c", WORKER, str(tmp_path / "a.kvr"), str(tmp_path / "a.kvr")]
    done = subprocess.run(command, check=True, capture_output=True, text=True)
    assert done.stdout == "\n"


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


# ---- What passes and what is worse ----


def test_a_summary_and_its_comparison_pass_and_rank_alike(store):
    """Signals that are lost, out by 1 and 2, missing, incomparable, within; with and without."""
    baseline, other = store.new_run("Monday"), store.new_run("Tuesday")
    values = {
        "within": [1.0, 2.0], "out by 1": [1.0, 3.0], "lost": [1.0, math.nan],
        "out by 2": [1.0, 4.0], "incomparable": [[1.0, 2.0], [3.0, 4.0]],
    }  # fmt: skip
    for label, there in values.items():
        baseline.add(label, [1.0, 2.0], time=[0.0, 1.0])
        other.add(label, there, time=[0.0, 1.0])
    baseline.add("missing", [1.0], time=[0.0])
    worst = ["lost", "out by 2", "out by 1"]
    for only, passes in [((), False), (("within",), True), (("incomparable",), False)]:
        whole = kvr.compare(baseline, other, only=only)
        short = results.Summary.of(whole)
        assert (short.passed, short.compared, short.paired) == (
            whole.passed,
            whole.compared,
            whole.paired,
        )
        assert short.passed == passes
        failed = [verdict.label for verdict in whole.worst_first() if whole.fails(verdict)]
        assert [failure.label for failure in short.failed] == failed
        assert only or failed[:3] == worst and set(failed[3:]) == {"missing", "incomparable"}


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
