"""Formats that other packages bring, through distributions made in a folder of their own."""

import sys

import kvr
import pytest

MODULE = """
import kvr

def open_letters(path):
    return kvr.open(path, format="csv")

def save_letters(path, runs, append, tell):
    with open(path, "w") as file:
        file.write(" ".join(run.name for run in runs))
    tell(1)

letters = kvr.Format("letters", (".abc", ".abc.gz"), open_letters, save_letters)
only_read = kvr.Format("only read", (".ro",), open_letters)
no_format = 7
"""


@pytest.fixture
def install(tmp_path, monkeypatch):
    """Makes a distribution of a module and its entry points, as an installer lays it down."""

    def make(name, module, points):
        site = tmp_path / f"site-{name}"
        info = site / f"{name}-1.0.dist-info"
        info.mkdir(parents=True)
        (site / f"{name}.py").write_text(module)
        (info / "METADATA").write_text(f"Metadata-Version: 2.1\nName: {name}\nVersion: 1.0\n")
        lines = [f"{point} = {name}:{target}" for point, target in points.items()]
        (info / "entry_points.txt").write_text("\n".join(["[kvr.formats]", *lines, ""]))
        monkeypatch.syspath_prepend(str(site))
        monkeypatch.delitem(sys.modules, name, raising=False)

    return make


@pytest.fixture
def table(tmp_path):
    path = tmp_path / "x.abc"
    path.write_text("time,a\n0,1\n")
    return path


def test_format_of_another_package_reads_and_writes(install, table, store):
    install("kvrletters", MODULE, {"letters": "letters", "ro": "only_read"})
    assert kvr.open(table).runs[0]["a"].values.tolist() == [1]
    assert kvr.open(table, format="letters").path == str(table)
    store.new_run("Monday").save(table)
    assert table.read_text() == "Monday"
    with pytest.raises(ValueError, match="files of format 'only read' can only be read"):
        store.runs[0].save(table.with_suffix(".ro"))


def test_unknown_format_names_all_formats(install, table):
    install("kvrletters", MODULE, {"letters": "letters"})
    known = "'recording', 'csv', 'hdf5', 'ngspice' or 'letters'"
    with pytest.raises(ValueError, match=f"format must be {known}, not 'none'"):
        kvr.open(table, format="none")
    table.with_suffix(".xyz").write_text("")
    with pytest.raises(kvr.FormatError, match=f"no known format; name the format, {known}, or"):
        kvr.open(table.with_suffix(".xyz"))


@pytest.mark.parametrize(
    ("module", "target", "reason"),
    [
        ("import no_such_module", "x", "ModuleNotFoundError: No module named 'no_such_module'"),
        ("raise SystemExit(3)", "x", "SystemExit: 3"),
        ("1 / 0", "x", "ZeroDivisionError: division by zero"),
        ("", "missing", "AttributeError: module 'kvrbroken' has no attribute 'missing'"),
        ("x = 7", "x", "TypeError: kvrbroken:x is no kvr.Format"),
    ],
)
def test_format_that_cannot_be_loaded_breaks_no_other_and_is_named(
    install, table, module, target, reason
):
    install("kvrletters", MODULE, {"letters": "letters"})
    install("kvrbroken", module, {"broken": target})
    assert kvr.open(table).runs[0]["a"].values.tolist() == [1]
    told = f"'broken' of the package kvrbroken cannot be loaded ({reason})"
    other = table.with_suffix(".broken")
    other.write_text("")
    with pytest.raises(kvr.FormatError) as caught:
        kvr.open(other)
    assert caught.value.what.endswith(f"; the format {told}")
    with pytest.raises(ValueError) as caught:
        kvr.open(table, format="broken")
    assert str(caught.value) == f"format {told}"


def test_other_packages_are_not_loaded_for_own_formats(install, table, tmp_path):
    install("kvrbroken", "raise RuntimeError", {"csv": "x"})
    (tmp_path / "x.csv").write_text("time,a\n0,1\n")
    assert kvr.open(tmp_path / "x.csv").runs[0]["a"].values.tolist() == [1]
    assert "kvrbroken" not in sys.modules
