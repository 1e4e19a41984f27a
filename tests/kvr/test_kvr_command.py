"""The command kvr, run as a process."""

import json
import os
import pty
import re
import subprocess
import sys
import xml.etree.ElementTree
from pathlib import Path

import jsonschema
import kvr
import pytest

ROOT = Path(__file__).parents[2]
DAYS = [str(ROOT / "examples" / "data" / f"{day}.csv") for day in ("2016-06-29", "2016-07-29")]
LAUNCHER = Path(kvr.__file__).parents[2] / "bin" / "kvr"
HOSTILE = "\u202e<b>\x1b[31mred\x07"
COMMANDS = ["ls", "show", "compare", "convert", "verify", "view", "campaign"]


def run_kvr(*arguments, cwd=None, **environment):
    """Exit code, output and errors of the command."""
    done = subprocess.run(
        [sys.executable, "-m", "kvr", *map(str, arguments)],
        capture_output=True, text=True, cwd=cwd, env=os.environ | environment,
    )  # fmt: skip
    assert "Traceback" not in done.stderr
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def files(tmp_path):
    """Two files in a folder: the other differs from the base in b, and has c in place of d."""
    (tmp_path / "base.csv").write_text("time,a,b,d\n0,1,2,9\n1,1,4,9\n")
    (tmp_path / "other.csv").write_text("time,a,b,c\n0,1,2,9\n1,1,5,9\n")
    (tmp_path / "alone.csv").write_text("time,z\n0,1\n")
    return tmp_path


def compared(files, *options, other="other.csv", **environment):
    return run_kvr("compare", "base.csv", other, *options, cwd=files, **environment)


def on_a_terminal(*arguments, width=80, **environment):
    """What the command writes to a terminal of this width."""
    leader, follower = pty.openpty()
    settings = {"COLUMNS": str(width), "TERM": "xterm", "NO_COLOR": ""} | environment
    process = subprocess.Popen(
        [sys.executable, "-m", "kvr", *map(str, arguments)],
        stdout=follower, stderr=subprocess.DEVNULL, env=os.environ | settings,
    )  # fmt: skip
    os.close(follower)
    written = b""
    try:
        while chunk := os.read(leader, 65536):
            written += chunk
    except OSError:  # the other end is closed
        pass
    process.wait()
    os.close(leader)
    return written.decode().replace("\r\n", "\n")


# ---- Help and usage ----


@pytest.mark.parametrize("arguments", [["--help"], *([name, "--help"] for name in COMMANDS)])
def test_help_has_an_example(arguments):
    code, out, err = run_kvr(*arguments)
    assert (code, err) == (0, "")
    assert re.search(r"example: kvr \w+ \w+", out)


def test_every_command_is_documented():
    _, out, _ = run_kvr("--help")
    assert re.findall(r"^    (\w+) +\w", out, re.MULTILINE) == COMMANDS


def test_help_imports_nothing_heavy():
    program = (
        "import sys, kvr._command.main; kvr._command.main.main(['--help']); "
        "print([name for name in ('numpy', 'vormel', 'json') if name in sys.modules])"
    )
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.stdout.splitlines()[-1] == "[]"


def test_comparing_files_does_not_start_the_host(files):
    program = (
        "import sys, kvr; kvr.compare('base.csv', 'other.csv'); print('vormel' in sys.modules)"
    )
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, cwd=files
    )
    assert done.stdout == "False\n"


@pytest.mark.parametrize(
    "arguments",
    [
        [], ["fly"], ["ls"], ["compare", "a"], ["compare", "a", "b", "--colour"],
        ["compare", "a", "b", "--absolute", "-1"], ["compare", "a", "b", "--absolute", "nan"],
        ["compare", "a", "b", "--relative", "inf"], ["compare", "a", "b", "--relative", "x"],
        ["compare", "a", "b", "--sync", "uniform"], ["compare", "a", "b", "--sync", "union:1"],
        ["compare", "a", "b", "--sync", "uniform:0"], ["compare", "a", "b", "--jobs", "0"],
        ["compare", "a", "b", "--interp", "cubic"], ["compare", "a", "b", "--rel", "1"],
    ],
)  # fmt: skip
def test_wrong_usage_is_2_and_one_line(arguments):
    code, out, err = run_kvr(*arguments)
    assert code == 2
    if arguments:
        assert out == ""
        assert re.fullmatch(r"kvr[^\n]*: [^\n]+; see kvr[^\n]* --help\n", err)


def test_hostile_usage_is_shown_escaped():
    code, _, err = run_kvr("compare", "a", "b", "--interp", HOSTILE)
    assert (code, err.count("\n")) == (2, 1)
    assert not re.search("[\u202e\x1b\x07]", err)


# ---- Exit codes and errors ----


def test_exit_codes(files):
    assert compared(files, other="base.csv")[0] == 0
    assert compared(files)[0] == 1
    assert compared(files, other="none.csv")[0] == 2
    assert compared(files, other="alone.csv")[0] == 3
    assert compared(files, "--only", "a")[0] == 0
    assert compared(files, "--ignore", "*")[0] == 3


def test_incomparable_pair_is_1(files):
    (files / "text.csv").write_text("time,a\n0,x\n1,y\n")
    assert compared(files, "--only", "a", other="text.csv")[0] == 1


@pytest.mark.parametrize(
    ("content", "error"),
    [
        (None, "there is no such file; check the name"),
        ("", "is empty"),
        ("x,y\na,b\n", "has no time column"),
        ("time,a\n0,1\n1\n", "line 3: has 1 cells instead of 2"),
        (b"\x00\x01", "byte 1: is binary, not text; is it a CSV file?"),
    ],
)
def test_error_is_one_line_that_names_the_file(files, content, error):
    path = files / "bad.csv"
    if content is not None:
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
    for arguments in (["ls", path, "--signals"], ["show", path, "a"], ["compare", path, path]):
        code, out, err = run_kvr(*arguments)
        assert (code, out) == (2, "")
        assert err.count("\n") == 1
        assert re.match(rf"kvr: {re.escape(str(path))}[:,] {re.escape(error)}", err)


def test_folder_ending_and_run_that_are_not_there(files):
    (files / "x.xyz").write_text("time,a\n0,1\n")
    for wrong, text in (
        (".", "kvr: .: is a folder; name a file in it\n"),
        (
            "x.xyz",
            "kvr: x.xyz: its ending is of no known format; name the format, 'recording', 'csv', 'hdf5' or 'ngspice', or give the file its ending\n",
        ),
        ("base.csv#monday", "kvr: base.csv: no run is named 'monday'; there is 'base'\n"),
        ("none.csv#x", "kvr: none.csv#x: there is no such file; check the name\n"),
    ):
        assert compared(files, other=wrong) == (2, "", text)
    assert compared(files, other="base.csv#base")[0] == 0


def test_debug_shows_where_an_error_comes_from(files):
    for arguments in (["--debug", "ls", "none.csv"], ["ls", "none.csv", "--debug"]):
        done = subprocess.run(
            [sys.executable, "-m", "kvr", *arguments], capture_output=True, text=True, cwd=files
        )
        assert done.returncode == 2
        assert "Traceback" in done.stderr


def test_picture_that_cannot_be_made_is_told_with_its_file(files):
    (files / "words.csv").write_text("time,word\n0,a\n1,b\n")
    code, out, err = run_kvr("show", "base.csv", "a", "--plot", "a.foo", cwd=files)
    assert (code, out) == (2, "")
    assert err.startswith("kvr: a.foo: Format 'foo' is not supported")
    assert run_kvr("show", "words.csv", "word", "--plot", "a.png", cwd=files) == (
        2, "", "kvr: words.csv: 'word' holds values of class text, which cannot be drawn; "
        "leave out --plot\n",
    )  # fmt: skip
    assert not list(files.glob("a.*"))


def test_runs_that_do_not_fit_a_csv_file_are_told_with_how_to_name_one(files):
    assert run_kvr("convert", "base.csv", "other.csv", "both.csv", cwd=files) == (
        2, "", "kvr: both.csv: a CSV file holds one run, not 2; "
        "name one, as runs=[...] or FILE#RUN\n",
    )  # fmt: skip


def test_hostile_names_are_escaped(files):
    name = f"{HOSTILE}.csv"
    (files / name).write_text(f"time,{HOSTILE}{'x' * 1_000_000}\n0,1\n")
    for command in (["ls", name, "--signals"], ["compare", name, name], ["compare", name, "none"]):
        _, out, err = run_kvr(*command, cwd=files)
        for text in (out, err):
            assert not re.search("[\u202e\x1b\x07]", text)
            assert len(text) < 5000
    assert "\\u202e<b>\\x1b[31mred\\x07" in run_kvr("ls", name, cwd=files)[1]


def test_output_that_nobody_reads_is_no_error(files):
    done = subprocess.run(
        f"{sys.executable} -m kvr ls base.csv --json | true; exit ${{PIPESTATUS[0]}}",
        shell=True, cwd=files, capture_output=True, text=True, executable="/bin/bash",
    )  # fmt: skip
    assert done.stderr == ""


# ---- ls and show ----


def test_ls_lists_runs(files):
    code, out, _ = run_kvr("ls", "base.csv", cwd=files)
    assert code == 0
    lines = out.splitlines()
    assert lines[0].split() == ["id", "run", "created", "signals"]
    assert re.fullmatch(r"1   base  \d{4}-\d\d-\d\d \d\d:\d\d  3", lines[1])


def test_ls_lists_signals(files):
    (files / "base.csv").write_text("time,a [m/s],b\n0,1.5,x\n2,2.5,y\n")
    _, out, _ = run_kvr("ls", "base.csv", "--signals", cwd=files)
    assert [line.split() for line in out.splitlines()] == [
        ["signal", "path", "class", "samples", "span", "unit", "settings"],
        ["a", "float64", "2", "0", "to", "2", "m/s"],
        ["b", "text", "2", "0", "to", "2"],
    ]


def test_ls_as_json(files):
    (files / "nan.csv").write_text("time,a [m]\n,1\n2,2\n")
    document = json.loads(run_kvr("ls", "nan.csv", "--signals", "--json", cwd=files)[1])
    (run,) = document["runs"]
    (signal,) = run["signals"]
    assert (document["file"], run["name"], run["id"]) == ("nan.csv", "nan", 1)
    assert (signal["label"], signal["unit"], signal["samples"]) == ("a", "m", 2)
    assert signal["span"] == ["NaN", 2.0]
    assert json.loads(run_kvr("ls", "base.csv", "--json", cwd=files)[1])["runs"][0]["signals"] == 3


def test_show_tells_facts_and_samples(files):
    rows = "".join(f"{i},{i * i}\n" for i in range(20))
    (files / "x.csv").write_text(f"time,square [m]\n{rows}")
    code, out, _ = run_kvr("show", "x.csv", "square", cwd=files)
    assert code == 0
    assert re.search(r"^unit +m$", out, re.MULTILINE)
    assert re.search(r"^samples +20$", out, re.MULTILINE)
    assert re.search(r"^ +4  16$", out, re.MULTILINE)
    assert not re.search(r"^ +5  25$", out, re.MULTILINE)
    assert re.search(r"^ +19  361$", out, re.MULTILINE)
    assert re.search(r"^ +361 \|", out, re.MULTILINE)
    code, _, err = run_kvr("show", "x.csv", "sqare", cwd=files)
    assert (code, err) == (2, "kvr: x.csv: no signal is labelled 'sqare'; did you mean 'square'?\n")


def test_show_draws_a_picture(files):
    assert run_kvr("show", "base.csv", "a", "--plot", "a.png", cwd=files)[0] == 0
    assert (files / "a.png").read_bytes().startswith(b"\x89PNG")
    code, _, err = run_kvr("show", "base.csv", "a", "--plot", "a.nope", cwd=files)
    assert (code, err.count("\n")) == (2, 1)
    assert "nope" in err


def test_show_of_text_gaps_and_nothing(files):
    (files / "x.csv").write_text("time,a,b\n0,x,\n1,y,\n")
    assert "1  y" in run_kvr("show", "x.csv", "a", cwd=files)[1]
    assert "0  nan" in run_kvr("show", "x.csv", "b", cwd=files)[1]
    (files / "x.csv").write_text("time,a\n")
    assert run_kvr("show", "x.csv", "a", cwd=files)[0] == 0


# ---- compare ----


def test_table_stands_worst_first(files):
    code, out, err = compared(files)
    lines = out.splitlines()
    assert lines[0] == "base against other: within 1, out 1, missing 1, extra 1"
    assert [line.split()[-1] for line in lines[1:6]] == ["signal", "b", "d", "a", "c"]
    assert lines[2].split() == ["out", "1", "1", "b"]
    outcome = "failed: 2 of 4; b: out at 1 of 2 instants, first at 1: 5 instead of 4"
    assert lines[-1].startswith(outcome)
    assert err == ""


def test_outcome_is_said(files):
    assert compared(files, other="base.csv")[1].splitlines()[-1] == "passed"
    assert compared(files, other="alone.csv")[1].splitlines()[-1] == "nothing was compared"


def test_quiet_prints_nothing_but_errors(files):
    assert compared(files, "--quiet") == (1, "", "")
    assert compared(files, "--quiet", other="none.csv")[2].count("\n") == 1


def test_options_override_single_fields(files):
    assert compared(files, "--only", "b", "--absolute", "1")[0] == 0
    assert compared(files, "--only", "b", "--relative", "0.25")[0] == 0
    assert compared(files, "--only", "b", "--relative", "0.2")[0] == 1
    assert compared(files, "--only", "b", "--time-tolerance", "5")[0] == 1
    assert compared(files, "--only", "b", "--sync", "uniform:2")[0] == 0
    assert compared(files, "--only", "a", "--only", "c")[0] == 0
    assert compared(files, "--only", "a", "--only", "c", "--strict")[0] == 1
    assert compared(files, "--only", "a", "--match", "label,path", "--jobs", "2")[0] == 0
    code, _, err = compared(files, "--only", "q")
    assert (code, err) == (2, "kvr: only='q' matches no signal on either side\n")
    code, _, err = compared(files, "--match", "colour")
    assert (code, err.count("\n")) == (2, 1)


def test_coverage_of_the_baseline(files):
    (files / "short.csv").write_text("time,a\n0,1\n")
    assert compared(files, "--only", "a", other="short.csv")[0] == 1
    assert compared(files, "--only", "a", "--coverage", "common", other="short.csv")[0] == 0


def test_overridden_fields_stand_in_the_results(files):
    compared(files, "--relative", "0.5", "--interp", "linear", "--json", "r.json", "--quiet")
    document = json.loads((files / "r.json").read_text())
    first = document["verdicts"][0]
    assert (first["tolerance"]["relative"], first["tolerance_source"]) == (0.5, "override")
    assert (first["sync"]["interp"], first["sync_source"]) == ("linear", "override")
    assert document["options"]["tolerance"] == {"relative": 0.5}


def test_results_go_to_files_and_fit_the_schema(files):
    code, out, _ = compared(files, "--json", "r.json", "--junit", "r.xml")
    assert code == 1
    schema = json.loads((ROOT / "docs" / "comparison.schema.json").read_text())
    document = json.loads((files / "r.json").read_text())
    jsonschema.validate(document, schema, jsonschema.Draft202012Validator)
    assert document["counts"]["out"] == 1
    suite = xml.etree.ElementTree.parse(files / "r.xml").getroot()[0]
    assert (suite.get("tests"), suite.get("failures")) == ("4", "2")
    assert json.loads(compared(files, "--json", "-")[1]) == document
    assert compared(files, "--json", "none/r.json") == (
        2,
        "",
        "kvr: none/r.json: cannot be written, No such file or directory; name another place\n",
    )


def test_results_that_do_not_fit_on_the_disk_leave_nothing_behind(files):
    (files / "r.json").write_text("old")
    program = f"ulimit -f 0; {sys.executable} -m kvr compare base.csv other.csv --json r.json"
    done = subprocess.run(program, shell=True, cwd=files, capture_output=True, text=True)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == "kvr: r.json: cannot be written, File too large; name another place\n"
    assert (files / "r.json").read_text() == "old"
    assert not any(name.startswith(".kvr") for name in os.listdir(files))


def test_nowcast_days_on_the_command_line():
    code, out, _ = run_kvr("compare", *DAYS, "--match", "name", "--relative", "0.01")
    assert code == 1
    assert out.splitlines()[0] == "2016-06-29 against 2016-07-29: within 26, out 3"


def test_many_signals_are_cut_off_in_the_table(files):
    header = ",".join(["time", *(f"s{i}" for i in range(300))])
    (files / "many.csv").write_text(f"{header}\n{','.join(['0'] * 301)}\n")
    _, out, _ = run_kvr("compare", "many.csv", "many.csv", cwd=files)
    assert out.splitlines()[-2] == "and 100 more; --json writes them all"


# ---- On a terminal ----


def test_table_fits_the_terminal(files):
    (files / "long.csv").write_text(f"time,{'n' * 300}\n0,1\n")
    for width in (60, 100):
        shown = on_a_terminal("compare", files / "long.csv", files / "long.csv", width=width)
        plain = re.sub("\x1b\\[\\d+m", "", shown)
        assert max(map(len, plain.splitlines())) <= width
        assert "nnn…" in plain
        listed = on_a_terminal("ls", files / "long.csv", "--signals", width=width)
        assert max(map(len, listed.splitlines())) <= width


def test_colors_heed_the_environment(files):
    arguments = ("compare", files / "base.csv", files / "other.csv")
    assert "\x1b[31m" in on_a_terminal(*arguments)
    assert "\x1b" not in on_a_terminal(*arguments, NO_COLOR="1")
    assert "\x1b" not in on_a_terminal(*arguments, TERM="dumb")
    assert "\x1b" not in compared(files)[1]


# ---- The launcher ----


@pytest.mark.skipif(not LAUNCHER.exists(), reason="the package lies in its source folder")
def test_launcher_works_from_any_folder_and_through_a_link(files):
    link = files / "link"
    link.symlink_to(LAUNCHER)
    (files / "kvr.py").write_text("raise SystemExit('imported from the present folder')")
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    for command in (LAUNCHER, link):
        done = subprocess.run(
            [command, "compare", "base.csv", "base.csv"],
            capture_output=True, text=True, cwd=files, env=environment,
        )  # fmt: skip
        assert (done.returncode, done.stderr) == (0, "")
        assert done.stdout.splitlines()[-1] == "passed"


def test_help_imports_neither_numpy_nor_the_host():
    done = subprocess.run(
        [sys.executable, "-X", "importtime", "-m", "kvr", "--help"],
        capture_output=True, text=True, check=True,
    )  # fmt: skip
    imported = {line.rsplit("|", 1)[-1].strip() for line in done.stderr.splitlines()}
    assert "argparse" in imported
    assert not {"numpy", "pandas", "vormel", "kvr._kvr"} & imported


def test_convert_does_not_write_over_what_it_reads(files):
    (files / "link.csv").symlink_to("base.csv")
    before = (files / "base.csv").read_bytes()
    for output in ("base.csv", "link.csv", "./base.csv"):
        code, _, err = run_kvr("convert", "alone.csv", "base.csv#base", output, cwd=files)
        assert (code, err) == (2, f"kvr: {output}: is read or written already; name another file\n")
    assert (files / "base.csv").read_bytes() == before


@pytest.mark.parametrize("ending", ["kvr", "csv", "h5"])
def test_convert_into_a_folder_that_is_not_there(files, ending):
    code, _, err = run_kvr("convert", "base.csv", f"none/x.{ending}", cwd=files)
    assert (code, err) == (
        2,
        f"kvr: none/x.{ending}: cannot be written, No such file or directory; name another place\n",
    )
