"""Where the command writes: full disks, closed streams, devices, links, and files that it reads."""

import os
import stat
import subprocess
import sys
import threading

import pytest

KVR = [sys.executable, "-m", "kvr"]
NO_SPACE = "cannot be written, No space left on device; name another place\n"


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "base.csv").write_text("time,a\n0,1\n1,2\n")
    (tmp_path / "other.csv").write_text("time,a\n0,1\n1,5\n")
    return tmp_path


def shell(folder, line):
    """Exit code, output and errors of a line for the shell, in which kvr stands for the command."""
    done = subprocess.run(
        line.replace("kvr ", f"{sys.executable} -m kvr ", 1),
        shell=True, cwd=folder, capture_output=True, text=True, executable="/bin/bash",
    )  # fmt: skip
    return done.returncode, done.stdout, done.stderr


# ---- Output that cannot be written ----


@pytest.mark.parametrize(
    "line",
    [
        "--help", "--version", "ls --help", "ls base.csv", "ls base.csv --json",
        "show base.csv a", "compare base.csv base.csv", "compare base.csv base.csv --json -",
        "compare base.csv base.csv --html -", "campaign . .",
    ],
)  # fmt: skip
def test_full_disk_under_the_output_is_2_and_says_so(folder, line):
    assert shell(folder, f"kvr {line} >/dev/full") == (
        2,
        "",
        f"kvr: the standard output: {NO_SPACE}",
    )


def test_full_disk_under_the_errors_is_2_all_the_same(folder):
    assert shell(folder, "kvr ls none.csv 2>/dev/full") == (2, "", "")
    assert shell(folder, "kvr ls none.csv --debug 2>/dev/full") == (2, "", "")
    assert shell(folder, "kvr ls --none 2>/dev/full") == (2, "", "")


def test_command_without_output_does_its_work(folder):
    assert shell(folder, "kvr compare base.csv other.csv --json r.json >&-") == (1, "", "")
    assert (folder / "r.json").stat().st_size > 0
    assert shell(folder, "kvr ls base.csv >&-") == (0, "", "")


def test_command_without_errors_writes_none_to_its_output(folder):
    assert shell(folder, "kvr ls none.csv 2>&-") == (2, "", "")
    assert shell(folder, "kvr compare base.csv other.csv --quiet 2>&-") == (1, "", "")


def test_errors_that_nobody_reads_are_2(folder):
    line = "kvr ls none.csv 2> >(exec <&-; sleep 1)"
    assert shell(folder, line)[0] == 2


# ---- Devices, pipes and links ----


@pytest.mark.parametrize("option", ["--json", "--junit", "--html"])
def test_results_go_through_a_pipe_that_stays(folder, option):
    pipe = folder / "pipe"
    os.mkfifo(pipe)
    found = []
    reader = threading.Thread(target=lambda: found.append(pipe.read_bytes()), daemon=True)
    reader.start()
    assert shell(folder, f"kvr compare base.csv other.csv {option} pipe --quiet") == (1, "", "")
    reader.join(timeout=20)
    assert stat.S_ISFIFO(pipe.stat().st_mode)
    assert shell(folder, f"kvr compare base.csv other.csv {option} file --quiet")[0] == 1
    assert len(found[0]) == (folder / "file").stat().st_size > 0
    assert sorted(os.listdir(folder)) == ["base.csv", "file", "other.csv", "pipe"]


def test_results_of_a_campaign_go_through_a_pipe_that_stays(folder):
    os.mkfifo(folder / "pipe")
    (folder / "pairs.csv").write_text("baseline,other\nbase.csv,other.csv\n")
    found = []
    pipe = folder / "pipe"
    reader = threading.Thread(target=lambda: found.append(pipe.read_text()), daemon=True)
    reader.start()
    line = "kvr campaign --pairs pairs.csv --jobs 1 --junit pipe --quiet"
    assert shell(folder, line) == (1, "", "")
    reader.join(timeout=20)
    assert stat.S_ISFIFO(pipe.stat().st_mode)
    assert found[0].endswith("</testsuites>\n")


@pytest.mark.parametrize("option", ["--json", "--junit", "--html"])
def test_device_is_written_to_and_stays(folder, option):
    device = folder / "full"
    try:
        os.mknod(device, 0o666 | stat.S_IFCHR, os.makedev(1, 7))
        device.open("w").close()
    except OSError:
        pytest.skip("devices can be made by root alone")
    line = f"kvr compare base.csv other.csv {option} full --quiet"
    assert shell(folder, line) == (2, "", f"kvr: full: {NO_SPACE}")
    assert stat.S_ISCHR(device.stat().st_mode)


@pytest.mark.parametrize(
    "line",
    [
        "kvr compare base.csv other.csv --quiet --json", "kvr compare base.csv other.csv --quiet --html",
        "kvr convert base.csv --quiet", "kvr campaign --pairs pairs.csv --quiet --junit",
    ],
)  # fmt: skip
def test_link_stays_and_its_file_is_written(folder, line):
    (folder / "pairs.csv").write_text("baseline,other\nbase.csv,other.csv\n")
    (folder / "real").mkdir()
    for target in ("real/out.csv", "real/new.csv"):  # the second is not there yet
        (folder / "real" / "out.csv").write_text("old")
        link = folder / "link.csv"
        link.unlink(missing_ok=True)
        link.symlink_to(target)
        assert shell(folder, f"{line} link.csv")[0] in (0, 1)
        assert link.is_symlink()
        assert (folder / target).read_text() not in ("", "old")
    assert sorted(os.listdir(folder / "real")) == ["new.csv", "out.csv"]


# ---- Files that are read ----


@pytest.mark.parametrize(
    "line",
    [
        "kvr compare base.csv other.csv --json base.csv",
        "kvr compare base.csv other.csv --junit ./other.csv",
        "kvr compare base.csv#base other.csv --html base.csv",
        "kvr compare base.csv other.csv --html link.csv",
        "kvr compare base.csv other.csv --json r --junit r",
        "kvr campaign --pairs pairs.csv --junit pairs.csv",
        "kvr campaign --pairs pairs.csv --results pairs.csv",
    ],
)
def test_output_that_is_an_input_is_refused(folder, line):
    (folder / "pairs.csv").write_text("baseline,other\nbase.csv,other.csv\n")
    (folder / "link.csv").symlink_to("base.csv")
    before = {path.name: path.read_text() for path in folder.iterdir()}
    code, out, err = shell(folder, line)
    assert (code, out) == (2, "")
    output = line.split()[-1]
    assert err == f"kvr: {output}: is read or written already; name another file\n"
    assert {path.name: path.read_text() for path in folder.iterdir()} == before


@pytest.mark.parametrize("options", ["--json - --junit -", "--html - --json /dev/stdout"])
def test_standard_output_takes_one_of_the_results(folder, options):
    assert shell(folder, f"kvr compare base.csv other.csv {options}") == (
        2, "", "kvr: the standard output: takes one of the results; name files for the others\n",
    )  # fmt: skip


def test_standard_output_can_be_named_as_a_file(folder):
    one = shell(folder, "kvr compare base.csv other.csv --json - >a.json")
    other = shell(folder, "kvr compare base.csv other.csv --json /dev/stdout >b.json")
    assert one == other == (1, "", "")
    assert (folder / "a.json").read_text() == (folder / "b.json").read_text() != ""
