"""Every option of the command does what its help says."""

import json

import kvr
import numpy as np
import pytest
from kvr._command.main import main


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """The present folder, with two files: `late` steps a second after `base`."""
    monkeypatch.chdir(tmp_path)
    (tmp_path / "base.csv").write_text("time,a,b\n0,0,1\n1,0,1\n2,5,1\n3,5,1\n")
    (tmp_path / "late.csv").write_text("time,a,b,c\n0,0,1,9\n1,0,1,9\n2,0,1,9\n3,5,1,9\n")
    (tmp_path / "short.csv").write_text("time,a,b\n0,0,1\n1,0,1\n")
    return tmp_path


def compared(capsys, *arguments):
    """Exit code, and the JSON of the comparison."""
    code = main(["compare", *arguments, "--json", "-"])
    return code, json.loads(capsys.readouterr().out)


# ---- compare ----


@pytest.mark.parametrize(
    ("other", "options", "code"),
    [
        ("late.csv", [], 1),
        ("late.csv", ["--time-tolerance", "1"], 0),
        ("late.csv", ["--time-tolerance", "0"], 1),
        ("late.csv", ["--absolute", "5"], 0),
        ("late.csv", ["--absolute", "4.5"], 1),
        ("late.csv", ["--relative", "1"], 0),
        ("late.csv", ["--only", "b"], 0),
        ("late.csv", ["--only", "?"], 1),
        ("late.csv", ["--ignore", "a"], 0),
        ("late.csv", ["--ignore", "a", "--strict"], 1),
        ("late.csv", ["--ignore", "a", "--ignore", "c", "--strict"], 0),
        ("late.csv", ["--sync", "uniform:3"], 0),
        ("late.csv", ["--only", "c"], 3),
        ("late.csv", ["--only", "c", "--strict"], 3),
        ("short.csv", [], 1),
        ("short.csv", ["--coverage", "common"], 0),
        ("short.csv", ["--time-tolerance", "2"], 0),
    ],
)
def test_options_of_compare_decide_the_exit_code(folder, capsys, other, options, code):
    assert main(["compare", "base.csv", other, *options, "--quiet"]) == code
    assert capsys.readouterr().out == ""


def test_sync_options_stand_in_every_verdict(folder, capsys):
    _, found = compared(
        capsys, "base.csv", "late.csv", "--sync", "uniform:0.5", "--interp", "linear"
    )
    sync = found["verdicts"][0]["sync"]
    assert (sync["method"], sync["interval"], sync["interp"], sync["type"]) == (
        "uniform", 0.5, "linear", 0,
    )  # fmt: skip
    assert found["verdicts"][0]["instants"] == 7


def test_given_fields_replace_stored_ones_of_another_kind(store, folder, capsys):
    run = store.new_run("Monday")
    signal = run.add("a", [1.0, 2.0], time=[0.0, 1.0])
    signal.tolerance, signal.sync = kvr.Tolerance.function("mine"), kvr.Sync.custom("my", "linear")
    store.save("own.kvr")
    code, found = compared(capsys, "own.kvr", "own.kvr")
    assert (code, found["verdicts"][0]["reason"]) == (1, "no-function")
    code, found = compared(capsys, "own.kvr", "own.kvr", "--absolute", "1", "--sync", "union")
    (verdict,) = found["verdicts"]
    assert (code, verdict["tolerance"]["type"], verdict["sync"]["type"]) == (0, 0, 0)
    assert verdict["sync"]["interp"] == "linear"  # kept


@pytest.mark.parametrize(
    ("jobs", "threads"), [(["--jobs", "3"], 3), (["--jobs", "1"], 1), ([], None)]
)
def test_jobs_are_the_threads_of_a_comparison(folder, capsys, monkeypatch, jobs, threads):
    from kvr._command import compare

    asked = []
    judge = compare.compare_runs

    def asking(*sides, **options):
        asked.append(options["threads"])
        return judge(*sides, **options)

    monkeypatch.setattr(compare, "compare_runs", asking)
    assert main(["compare", "base.csv", "base.csv", *jobs]) == 0
    assert asked == [threads]


def test_complex_numbers_stand_as_real_and_imaginary_part(store, folder, capsys):
    for name, value in (("one", 1 + 2j), ("two", 3 - 4j)):
        store.new_run(name).add("z", np.array([value]), time=[0.0])
    store.save("z.kvr")
    _, found = compared(capsys, "z.kvr#one", "z.kvr#two")
    worst = found["verdicts"][0]["worst"]
    assert (worst["baseline"], worst["other"]) == ([1.0, 2.0], [3.0, -4.0])


def test_file_whose_own_name_has_the_sign_wins(store, folder, capsys):
    store.new_run("late").add("a", [1.0], time=[0.0])
    store.save("base.csv#late.kvr")
    _, found = compared(capsys, "base.csv#late.kvr", "base.csv#late.kvr#late")
    assert [found[side]["file"] for side in ("baseline", "other")] == ["base.csv#late.kvr"] * 2
    run = store.new_run("a#b")
    run.add("a", [1.0], time=[0.0])
    store.save("week.kvr", runs=["late", "a#b"])
    _, found = compared(capsys, "week.kvr#a#b", "week.kvr#late")
    assert (found["baseline"]["run"], found["other"]["run"]) == ("a#b", "late")


# ---- ls, show, convert ----


def test_ls_as_json_tells_all_of_a_signal(store, folder, capsys):
    run = store.new_run("Monday", instance=4)
    matrix = run.add("m", np.ones((2, 3, 4), np.int8), time=[1.5, 2.5], path="p", unit="V", port=2)
    matrix.sync = kvr.Sync(interp="linear")
    store.save("m.kvr")
    assert main(["ls", "m.kvr#Monday", "--signals", "--json"]) == 0
    (found,) = json.loads(capsys.readouterr().out)["runs"]
    assert (found["name"], found["instance"], found["version"]) == ("Monday", 4, run.version)
    assert found["created"] == run.created.isoformat()
    (signal,) = found["signals"]
    assert (signal["class"], signal["samples"], signal["shape"]) == ("int8", 2, [3, 4])
    assert (signal["span"], signal["unit"], signal["path"], signal["port"]) == (
        [1.5, 2.5],
        "V",
        "p",
        2,
    )
    assert signal["sync"]["interp"] == "linear"
    assert main(["ls", "m.kvr", "--signals"]) == 0
    assert "Sync('union', interp='linear', interval=0.01)" in capsys.readouterr().out


def test_ls_lists_the_named_run_alone(store, folder, capsys):
    for name in ("Monday", "Tuesday"):
        store.new_run(name)
    store.save("week.kvr")
    assert main(["ls", "week.kvr#Tuesday"]) == 0
    assert [line.split()[1] for line in capsys.readouterr().out.splitlines()] == ["run", "Tuesday"]


def test_show_has_the_first_and_the_last_five_samples(folder, capsys):
    rows = "".join(f"{i},{i * i}\n" for i in range(12))
    (folder / "long.csv").write_text(f"time,a\n{rows}")
    assert main(["show", "long.csv", "a"]) == 0
    samples = capsys.readouterr().out.split("\n\n")[1].split("\n")
    assert [line.split() for line in samples] == [
        *([str(i), str(i * i)] for i in range(5)), ["..."],
        *([str(i), str(i * i)] for i in range(7, 12)),
    ]  # fmt: skip


def test_convert_takes_the_named_run_and_adds_to_a_file(store, folder, capsys):
    for name in ("Monday", "Tuesday"):
        store.new_run(name).add("a", [1.0], time=[0.0])
    store.save("week.kvr")
    names = lambda: [run.name for run in kvr.open("out.kvr").runs]  # noqa: E731
    assert main(["convert", "week.kvr#Tuesday", "out.kvr", "--quiet"]) == 0
    assert names() == ["Tuesday"]
    assert main(["convert", "base.csv", "out.kvr", "--append", "--quiet"]) == 0
    assert names() == ["Tuesday", "base"]
    assert main(["convert", "week.kvr", "out.kvr", "--quiet"]) == 0
    assert names() == ["Monday", "Tuesday"]
    assert capsys.readouterr() == ("", "")
