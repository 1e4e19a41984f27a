"""The results file of a campaign: what is in it, what is reused, and what damages it."""

import json
import os
import subprocess
import sys
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, facts, outcome, write_pairs
from kvr._campaign import pool


@pytest.fixture
def pairs(tmp_path):
    return write_pairs(tmp_path, 12)


def run(pairs, **options):
    return list(kvr.campaign(pairs, **{"jobs": 2, **options}))


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


@pytest.mark.parametrize("text", ["my notes", '{"key": "', '{"key": "0g', "[1, 2]", '{"ke\0y'])
def test_a_last_line_that_is_no_cut_result_is_refused_and_kept(pairs, tmp_path, text):
    path = tmp_path / "notes.txt"
    path.write_text(text)
    if text == '{"key": "':
        assert len(run(pairs, results=path)) == len(pairs)  # as a killed campaign leaves it
        return
    with pytest.raises(kvr.FormatError, match="line 1: is no result of a campaign"):
        kvr.campaign(pairs, results=path)
    assert path.read_text() == text


def test_a_cut_line_that_the_file_system_filled_with_zeros_is_compared_again(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    first = run(pairs, results=path)
    whole = path.read_bytes()
    path.write_bytes(whole[:-300] + bytes(300))
    assert facts(run(pairs, results=path)) == facts(first)
    assert sorted(without_seconds(path)) == sorted(without_seconds(path, whole))


def test_a_whole_line_without_the_facts_of_a_result_is_refused(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    run(pairs[:1], results=path)
    path.write_text(path.read_text().replace('"counts"', '"Counts"'))
    with pytest.raises(kvr.FormatError, match="byte 1: is no result of a campaign"):
        run(pairs[:1], results=path)


def without_seconds(path, text=None):
    """The lines of a results file, as bytes, without the times that comparing took."""
    lines = []
    for line in (path.read_bytes() if text is None else text).splitlines():
        row = json.loads(line)
        seconds = json.dumps(row["seconds"]).encode()
        lines.append(line.replace(b'"seconds": ' + seconds, b'"seconds": 0'))
    return lines


def test_two_processes_write_the_bytes_of_one_but_for_times_and_order(pairs, tmp_path):
    run(pairs, jobs=1, results=tmp_path / "one.jsonl")
    run(pairs, jobs=2, results=tmp_path / "two.jsonl")
    one, two = (sorted(without_seconds(tmp_path / name)) for name in ("one.jsonl", "two.jsonl"))
    assert one == two and len(one) == len(pairs)


def test_the_same_names_in_another_folder_are_other_pairs(tmp_path, monkeypatch):
    """Two nights whose files differ in their values alone, not in name, size and time."""
    for night, last in (("monday", 2), ("tuesday", 3)):
        folder = tmp_path / night
        folder.mkdir()
        for side, value in (("base", 2), ("other", last)):
            (folder / f"{side}.csv").write_text(f"time,speed\n0,1\n1,{value}\n")
            os.utime(folder / f"{side}.csv", (1e9, 1e9))
    found = []
    for night in ("monday", "tuesday"):
        monkeypatch.chdir(tmp_path / night)
        found += run([("base.csv", "other.csv")], results=tmp_path / "results.jsonl")
    assert [result.status for result in found] == ["passed", "differs"]


def test_a_results_file_that_cannot_be_made_names_it(pairs, tmp_path):
    path = tmp_path / "none" / "results.jsonl"
    with pytest.raises(OSError, match="cannot be written, No such file") as failed:
        kvr.campaign(pairs, results=path)
    assert failed.value.filename == str(path)


def test_a_full_disk_ends_the_campaign_and_keeps_what_is_written(pairs, tmp_path):
    path = tmp_path / "results.jsonl"
    program = (
        "import resource, signal, sys, kvr\n"
        "if __name__ == '__main__':\n"
        "    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)\n"
        "    resource.setrlimit(resource.RLIMIT_FSIZE, (3000, 3000))\n"
        f"    for result in kvr.campaign({pairs!r}, jobs=1, results={str(path)!r}):\n"
        "        print(result.other, flush=True)\n"
    )
    (tmp_path / "main.py").write_text(program)
    done = subprocess.run(
        [sys.executable, tmp_path / "main.py"], capture_output=True, text=True, cwd=tmp_path
    )
    assert done.returncode == 1
    assert done.stderr.rstrip().endswith(f"cannot be written, File too large: '{path}'")
    assert path.stat().st_size <= 3000
    assert outcome(run(pairs, results=path)) == expected(pairs)
    assert len(path.read_text().splitlines()) == len(pairs)


# ---- What no campaign wrote ----


@pytest.mark.parametrize("path", ["/dev/full", "/dev/null", "fifo"])
def test_a_device_or_a_pipe_is_refused_before_it_is_read(pairs, tmp_path, path):
    path = tmp_path / path
    if path.name == "fifo":
        os.mkfifo(path)
    with pytest.raises(OSError, match="cannot be written, results need a regular file") as caught:
        kvr.campaign(pairs, jobs=1, results=path)
    assert caught.value.filename == str(path)


def test_a_large_file_without_lines_is_refused_and_not_held_in_memory(pairs, tmp_path):
    path = tmp_path / "image"
    path.write_bytes(b"x")
    os.truncate(path, 1 << 40)
    with pytest.raises(kvr.FormatError, match="line 1: is no result of a campaign"):
        kvr.campaign(pairs, jobs=1, results=path)
    assert path.stat().st_size == 1 << 40


@pytest.mark.parametrize(
    ("field", "value"),
    [
        ("baseline", 7),
        ("other", None),
        ("error", 7),
        ("alone", "bogus"),
        ("failed_total", 2),
        ("failed_total", -1),
        ("counts", {"within": -1, "out": 1, "missing": 0, "extra": 0, "incomparable": 0}),
        ("counts", {"within": "1", "out": 1, "missing": 0, "extra": 0, "incomparable": 0}),
        ("failed", []),
        ("failed", [{"label": 1}]),
        ("warnings", "none"),
        ("warnings", [1]),
        ("seconds", "long"),
    ],
)
def test_a_line_that_was_changed_by_hand_is_refused(pairs, tmp_path, field, value):
    path = tmp_path / "results.jsonl"
    run(pairs[:1], results=path)
    row = json.loads(path.read_text())
    assert row["failed_total"] == 1
    path.write_text(json.dumps({**row, field: value}) + "\n")
    with pytest.raises(kvr.FormatError, match="byte 1: is no result of a campaign"):
        run(pairs[:1], results=path)
