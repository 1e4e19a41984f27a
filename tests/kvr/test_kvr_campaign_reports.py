"""kvr campaign --html: the page over all pairs, and the reports of those that fail."""

import base64
import json
import os
import re
import subprocess
import sys
import zlib
from pathlib import Path

import kvr
import pytest
from campaign_files import write_pairs
from kvr._campaign import campaign, schedule
from kvr._campaign.pairs import FilePair, from_python
from kvr._campaign.reports import CampaignPage, ReportFolder


def held_by(path):
    """The data that a page carries."""
    text = re.search(r'id="kvr-data">([^<]*)<', path.read_text(encoding="utf-8"))[1]
    return json.loads(zlib.decompress(base64.b64decode(text), -zlib.MAX_WBITS))


def command(*arguments):
    done = subprocess.run(
        [sys.executable, "-m", "kvr", "campaign", *map(str, arguments)],
        capture_output=True, text=True,
    )  # fmt: skip
    return done.returncode, done.stderr


@pytest.fixture
def folders(tmp_path):
    """Files a to e: b is out by 1 and d by 4, c is damaged, e is missing."""
    for side in ("base", "other"):
        (tmp_path / side).mkdir()
        for name, last in {"a": 2, "b": 3, "c": 2, "d": 6, "e": 2}.items():
            value = last if side == "other" else 2
            (tmp_path / side / f"{name}.csv").write_text(f"time,speed\n0,1\n1,{value}\n")
    (tmp_path / "other" / "c.csv").write_bytes(b"\0\1")
    (tmp_path / "other" / "e.csv").unlink()
    return tmp_path / "base", tmp_path / "other"


def test_the_page_has_a_row_a_pair_worst_first_with_links_to_reports(folders, tmp_path):
    assert command(*folders, "--html", tmp_path / "html") == (1, "")
    data = held_by(tmp_path / "html" / "index.html")
    rows = data["columns"]
    assert data["counts"] == {"passed": 1, "differs": 2, "error": 1, "missing": 1}
    names = [os.path.basename(name) for name in rows["other"]]
    assert names == ["c.csv", "e.csv", "d.csv", "b.csv", "a.csv"]
    assert rows["status"] == ["error", "missing", "differs", "differs", "passed"]
    assert rows["excess"] == [None, None, 4, 1, None]
    assert rows["what"][2].startswith("speed: out at 1 of 2 instants")
    links = rows["report"]
    assert links[:2] == [None, None] and links[4] is None
    for link, value in zip(links[2:4], (6, 3)):
        report = held_by(tmp_path / "html" / link)
        (verdict,) = report["verdicts"]
        worst = verdict[report["fields"].index("worst")]
        assert (report["kind"], worst["other"], worst["baseline"]) == ("comparison", value, 2)
    assert len(list((tmp_path / "html" / "pairs").iterdir())) == 2


def test_started_again_it_makes_the_reports_that_are_missing_and_no_others(folders, tmp_path):
    html, results = tmp_path / "html", tmp_path / "results.jsonl"
    command(*folders, "--results", results)
    lines = results.read_bytes()
    command(*folders, "--results", results, "--html", html)
    reports = sorted((html / "pairs").iterdir())
    assert len(reports) == 2
    reports[0].unlink()
    kept = reports[1].stat()
    (html / "index.html").unlink()
    command(*folders, "--results", results, "--html", html)
    assert sorted((html / "pairs").iterdir()) == reports
    assert (reports[1].stat().st_ino, reports[1].stat().st_mtime_ns) == (
        kept.st_ino,
        kept.st_mtime_ns,
    )
    linked = [link for link in held_by(html / "index.html")["columns"]["report"] if link]
    assert sorted(html / link for link in linked) == reports
    assert results.read_bytes() == lines


def test_the_report_of_a_pair_that_passes_now_is_removed_and_other_files_stay(folders, tmp_path):
    html = tmp_path / "html"
    command(*folders, "--html", html)
    (html / "pairs" / "notes.html").write_text("mine")
    (folders[1] / "b.csv").write_text("time,speed\n0,1\n1,2\n")
    command(*folders, "--html", html)
    names = sorted(path.name for path in (html / "pairs").iterdir())
    assert len(names) == 2 and names[0].startswith("d.csv-") and names[1] == "notes.html"


@pytest.mark.parametrize(
    "name",
    ["../../x.csv", "<img onerror=alert(1)>.csv", "a\nb.csv", "ü\u202e.csv", ".hidden", "n" * 255],
)
def test_names_of_reports_are_safe_whatever_the_file_is_called(tmp_path, name):
    folder = ReportFolder(tmp_path / "html")
    place = Path(folder.place(FilePair("b.csv", f"/data/{name}", {}), "0123456789abcdef" * 2))
    assert place.parent == tmp_path / "html" / "pairs"
    assert re.fullmatch(r"[A-Za-z0-9_][A-Za-z0-9._-]*-0123456789abcdef\.html", place.name)
    assert len(place.name) < 110


def run(pairs, folder, **options):
    return list(campaign.start(from_python(pairs), {}, jobs=1, reports=folder, **options))


def test_two_files_of_one_name_have_reports_of_their_own(tmp_path):
    pairs = []
    for side in ("one", "two"):
        (tmp_path / side).mkdir()
        pairs += write_pairs(tmp_path / side, 1)
    found = run(pairs, ReportFolder(tmp_path / "html"))
    assert len({result.report for result in found}) == 2
    assert all(os.path.exists(result.report) for result in found)


def test_a_report_that_cannot_be_written_is_told_and_the_result_stays(tmp_path):
    pairs = write_pairs(tmp_path, 1)
    folder = ReportFolder(tmp_path / "html")
    (tmp_path / "html" / "pairs").rmdir()
    with pytest.warns(RuntimeWarning, match="a report is missing: .*cannot be written"):
        (result,) = run(pairs, folder, results=tmp_path / "results.jsonl")
    assert (result.report, result.status) == ("", "differs")
    assert len((tmp_path / "results.jsonl").read_text().splitlines()) == 1


def test_the_report_of_a_pair_that_was_cut_has_its_failures(tmp_path, monkeypatch, store):
    paths = [str(tmp_path / name) for name in ("base.kvr", "other.kvr")]
    for path, last in zip(paths, (2.0, 3.0)):
        made = store.new_run("Monday")
        for number in range(8):
            value = last if number in (2, 7) else 2.0
            made.add(f"s[{number}]*", [1.0, value], time=[0.0, 1.0], path="car/engine")
        made.save(path)
    monkeypatch.setattr(schedule, "_FIRST_RATE", 1.0)  # so slow that any file is large
    (result,) = run([paths], ReportFolder(tmp_path / "html"), results=tmp_path / "r.jsonl")
    assert result.counts == kvr.compare(*paths).counts
    report = held_by(Path(result.report))
    labels = [row[report["fields"].index("baseline")]["label"] for row in report["verdicts"]]
    assert labels == ["s[2]*", "s[7]*"]
    assert len((tmp_path / "r.jsonl").read_text().splitlines()) == 1


def test_of_many_pairs_those_that_pass_are_left_out_of_the_page(tmp_path, monkeypatch):
    from kvr._campaign import reports
    from kvr._campaign.results import PairResult, Summary

    monkeypatch.setattr(reports, "_MOST_ROWS", 3)
    many = CampaignPage("many", {})
    counts = {"within": 1, "out": 0, "missing": 0, "extra": 0, "incomparable": 0}
    for number in range(9):
        passed = PairResult("a", f"{number}", Summary(counts, (), 0), 0.1)
        many.add(passed if number < 6 else PairResult("a", f"{number}", None, 0.1, "is cut"))
    (tmp_path / "index.html").write_bytes(many.page(str(tmp_path)))
    data = held_by(tmp_path / "index.html")
    assert data["counts"] == {"passed": 6, "error": 3}
    assert data["columns"]["other"] == ["6", "7", "8", "0", "1", "2"]


def test_a_folder_that_cannot_be_made_is_named(folders, tmp_path):
    (tmp_path / "taken").write_text("a file")
    code, err = command(*folders, "--html", tmp_path / "taken" / "html")
    assert code == 2
    assert err.startswith(f"kvr: {tmp_path}/taken/html: cannot be written, Not a directory")


def test_a_build_without_the_page_is_told_before_anything_is_compared(tmp_path, monkeypatch):
    monkeypatch.setattr("kvr._report.page.__file__", str(tmp_path / "_report" / "page.py"))
    with pytest.raises(kvr.Error, match="this build of kvr has no page"):
        ReportFolder(tmp_path / "html")
    assert not (tmp_path / "html").exists()
