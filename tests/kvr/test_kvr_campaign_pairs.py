"""Which files a campaign compares: folders with links, tables, and what Python gives."""

import os

import kvr
import pytest
from campaign_files import write_pairs
from kvr._campaign.pairs import from_folders, from_table
from kvr._command.main import main


def write(path, last=2):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(f"time,speed\n0,1\n1,{last}\n")


def told_by_command(capsys, *arguments):
    """Exit code, output and errors of kvr campaign, without the blanks that align columns."""
    code = main(["campaign", *map(str, arguments)])
    told = capsys.readouterr()
    return code, " ".join(told.out.split()), told.err


# ---- Folders ----


@pytest.fixture
def folders(tmp_path):
    for side in ("base", "other"):
        write(tmp_path / side / "a.csv")
    return tmp_path / "base", tmp_path / "other"


def names_of(folders):
    found = from_folders(*map(str, folders), (".csv",))
    return [(os.path.relpath(pair.baseline, folders[0]), pair.alone) for pair in found]


def test_files_of_a_linked_folder_meet_those_of_a_folder(folders, tmp_path):
    write(folders[0] / "week" / "b.csv")
    write(tmp_path / "elsewhere" / "b.csv")
    (folders[1] / "week").symlink_to("../elsewhere")
    assert names_of(folders) == [("a.csv", ""), ("week/b.csv", "")]


def test_files_of_folders_that_are_linked_on_both_sides_are_compared(folders, tmp_path):
    for number, folder in enumerate(folders):
        write(tmp_path / f"week{number}" / "deep" / "b.csv")
        (folder / "week").symlink_to(f"../week{number}")
    assert names_of(folders) == [("a.csv", ""), ("week/deep/b.csv", "")]


def test_links_that_lead_back_end_there(folders):
    for folder in folders:
        (folder / "self").symlink_to(".")
        (folder / "sub").mkdir()
        (folder / "sub" / "up").symlink_to("..")
        write(folder / "sub" / "b.csv")
    assert names_of(folders) == [("a.csv", ""), ("sub/b.csv", "")]


def test_links_to_nothing_and_folders_with_an_ending_are_no_surprise(folders):
    (folders[0] / "gone.csv").symlink_to("nowhere")
    write(folders[1] / "gone.csv")
    for folder in folders:
        write(folder / "dir.csv" / "b.csv")
    assert names_of(folders) == [("a.csv", ""), ("dir.csv/b.csv", ""), ("gone.csv", "")]


def test_junit_in_place_of_a_file_of_a_pair_is_refused(folders, tmp_path, capsys):
    text = (folders[0] / "a.csv").read_bytes()
    (tmp_path / "hard.csv").hardlink_to(folders[0] / "a.csv")
    (tmp_path / "pairs.csv").write_text(
        f"baseline,other\n{folders[0]}/a.csv#a,{folders[1]}/a.csv\n"
    )
    for output in (folders[0] / "a.csv", tmp_path / "hard.csv"):
        for sides in (folders, ("--pairs", tmp_path / "pairs.csv")):
            code, out, err = told_by_command(capsys, *sides, "--junit", output)
            assert (code, out) == (2, "")
            assert err == f"kvr: {output}: is read or written already; name another file\n"
    assert (folders[0] / "a.csv").read_bytes() == text


# ---- Tables ----


@pytest.mark.parametrize(
    ("table", "error"),
    [
        (b"baseline,other\n\xff,b.csv\n", ": is not UTF-8; save the table in that encoding"),
        (b"\xff\xfeb\0a\0s\0e\0", ": is not UTF-8; save the table in that encoding"),
        (b"baseline,other\n" + b"a" * 200_000, ", line 2: is not CSV: field larger than"),
        (b'baseline,other\na.csv,"b.csv\n', ", line 2: is not CSV: unexpected end of data"),
        (b'baseline,other\na.csv,"b".csv\n', ", line 2: is not CSV: "),
        (b"baseline,other\na.csv,\n", ", line 2: other is empty; name a file"),
        (b"baseline,other,absolute\n,b.csv,1\n", ", line 2: baseline is empty; name a file"),
        (b"baseline,other,strict,strict\n", ", line 1: there are two columns 'strict'"),
        (b"baseline,other,baseline\n", ", line 1: there are two columns 'baseline'"),
        (b"baseline,other,interp\na,b,cubic\n",
         ", line 2: interp: 'cubic' is not understood (it is 'zoh' or 'linear')"),
        (b"baseline,other,strict\na,b,yes\n",
         ", line 2: strict: 'yes' is not understood (it is true or false)"),
    ],
)  # fmt: skip
def test_a_table_that_is_none_is_one_line_with_its_name(tmp_path, capsys, table, error):
    path = tmp_path / "pairs.csv"
    path.write_bytes(table)
    code, out, err = told_by_command(capsys, "--pairs", path)
    assert (code, out) == (2, "")
    assert err.startswith(f"kvr: {path}{error}") and err.count("\n") == 1


def test_a_folder_in_place_of_a_table_is_told(tmp_path, capsys):
    code, out, err = told_by_command(capsys, "--pairs", tmp_path)
    assert (code, out, err) == (2, "", f"kvr: {tmp_path}: is a folder; name a file in it\n")


def test_rows_of_empty_cells_are_passed_over(tmp_path):
    path = tmp_path / "pairs.csv"
    path.write_text('\ufeffbaseline,other\r\n\r\n,\r\n"a,1.csv","b""1"".csv"\r\n  \r\n')
    pairs = list(from_table(str(path), dict))
    assert [pair[:2] for pair in pairs] == [(f"{tmp_path}/a,1.csv", f'{tmp_path}/b"1".csv')]


# ---- What Python gives ----


@pytest.mark.parametrize(
    ("pair", "error"),
    [
        (None, "a pair is .*, not None"),
        (7, "a pair is .*, not 7"),
        (("a",), "a pair is .*, not \\('a',\\)"),
        ((1, 2), "a file is named by a text or a path, not 1"),
        (("a", b"b"), "a file is named by a text or a path, not b'b'"),
        (("a", "b", None), "the options of a pair are a dict, not None"),
        (("a", "b", [1]), "the options of a pair are a dict, not \\[1\\]"),
    ],
)
def test_what_is_no_pair_is_a_type_error_that_shows_it(pair, error):
    with pytest.raises(TypeError, match=f"^{error}$"):
        list(kvr.campaign([pair], jobs=1))


def test_a_name_that_no_file_can_have_is_the_error_of_its_pair(tmp_path):
    ((_, good),) = write_pairs(tmp_path, 1, out_every=2)
    (result,) = kvr.campaign([("a\0.csv", good)], jobs=1)
    assert "a\\x00.csv': no file has a NUL in its name" in result.error


def test_relative_names_count_from_the_folder_of_the_call(tmp_path, monkeypatch):
    write(tmp_path / "a.csv")
    monkeypatch.chdir(tmp_path)
    results = kvr.campaign([("a.csv", "a.csv")], jobs=1)
    monkeypatch.chdir("/")
    assert [result.error for result in results] == [None]


# ---- Workers ----


@pytest.mark.parametrize("jobs", [3, 10**7, 10**20])
def test_more_jobs_than_pairs_start_no_more_workers_than_pairs(tmp_path, monkeypatch, jobs):
    from kvr._campaign import pool

    started = []
    executor = pool._executor
    monkeypatch.setattr(pool, "_executor", lambda: started.append(1) or executor())
    pairs = write_pairs(tmp_path, 2, out_every=3)
    assert sorted(result.pair for result in kvr.campaign(pairs, jobs=jobs)) == sorted(pairs)
    assert 1 <= len(started) <= 2
