"""Results of a comparison as JSON, JUnit, a frame, HTML and text."""

import json
import math
import os
import xml.etree.ElementTree
from pathlib import Path

import jsonschema
import kvr
import numpy as np
import pytest

ROOT = Path(__file__).parents[2]
SCHEMA = json.loads((ROOT / "docs" / "comparison.schema.json").read_text())
HOSTILE = "<b>&\"'\u202e\x01\x1b[31m]]>\n" + "x" * 1000


@pytest.fixture
def comparison(store):
    """One verdict of every kind, with numbers that JSON does not have, and a hostile name."""
    baseline, other = store.new_run("base"), store.new_run("other")
    for run, shift in ((baseline, 0.0), (other, 1.0)):
        run.add("within", [1.0, 2.0], time=[0.0, 1.0])
        run.add("out", [1.0, 2.0 + shift], time=[0.0, 1.0])
        run.add("lost", [1.0, math.nan if shift else 1.0], time=[0.0, 1.0])
        run.add("infinite", [math.inf if shift else -math.inf], time=[0.0])
        run.add("complex", [1j + shift, 2.0], time=[0.0, 1.0])
        run.add("text", ["a"], time=[0.0])
        run.add("twice", [1.0], time=[0.0])
        run.add("twice", [1.0], time=[0.0])
    baseline.add(HOSTILE, [1.0], time=[0.0], path=HOSTILE)
    other.add("extra", [1.0], time=[0.0])
    return kvr.compare(baseline, other)


def test_json_fits_its_schema(comparison):
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    document = json.loads(comparison.to_json())
    jsonschema.validate(document, SCHEMA, jsonschema.Draft202012Validator)
    assert len(document["verdicts"]) == len(comparison)


def test_schema_is_no_open_door(comparison):
    document = json.loads(comparison.to_json())
    document["verdicts"][0]["status"] = "fine"
    with pytest.raises(jsonschema.ValidationError):
        jsonschema.validate(document, SCHEMA, jsonschema.Draft202012Validator)


def test_json_tells_what_the_verdicts_tell(comparison):
    document = json.loads(comparison.to_json())
    assert (document["version"], document["passed"]) == (1, False)
    assert document["counts"] == comparison.counts
    assert document["options"] == {
        "match": "path", "coverage": "baseline", "time_tolerance": 0.0, "tolerance": None,
        "sync": None, "only": [], "ignore": [], "strict": False,
    }  # fmt: skip
    assert document["baseline"] == {"file": None, "run": "base", "id": 1, "signals": 9}
    verdicts = {verdict["text"]: verdict for verdict in document["verdicts"]}
    out = verdicts[comparison["out"].text]
    assert out["worst"] == {
        "time": 1.0, "baseline": 2.0, "other": 3.0, "difference": 1.0, "tolerance": 0.0,
        "component": 0,
    }  # fmt: skip
    assert out["intervals"] == [{"first": 1.0, "last": 1.0, "count": 1}]
    assert out["baseline"] == {
        "run": "base", "id": 2, "label": "out", "path": "", "source": "", "port": 0, "channel": [],
    }  # fmt: skip
    assert verdicts[comparison["lost"].text]["worst"]["other"] == "NaN"
    infinite = verdicts[comparison["infinite"].text]["worst"]
    assert (infinite["baseline"], infinite["other"]) == ("-Infinity", "Infinity")
    assert infinite["tolerance"] == "NaN"
    assert verdicts[comparison["complex"].text]["worst"]["other"] == [1.0, 1.0]
    missing = document["verdicts"][8]
    assert (missing["status"], missing["other"]) == ("missing", None)
    assert missing["baseline"]["label"] == HOSTILE
    assert document["warnings"] == comparison.warnings != []


def test_dict_keeps_numbers(comparison):
    infinite = comparison.to_dict()["verdicts"][3]["worst"]
    assert infinite["baseline"] == -math.inf
    assert comparison.to_dict()["verdicts"][4]["worst"]["other"] == 1 + 1j


def test_options_with_settings_stand_in_the_json(store):
    run = store.new_run("a")
    run.add("a", [1.0], time=[0.0])
    found = kvr.compare(
        run,
        run,
        match=("label", "path"),
        tolerance=kvr.Tolerance(1, math.inf),
        sync=kvr.Sync(),
        only="a",
    )
    document = json.loads(found.to_json())
    jsonschema.validate(document, SCHEMA, jsonschema.Draft202012Validator)
    assert document["options"]["match"] == ["label", "path"]
    assert document["options"]["tolerance"]["relative"] == "Infinity"
    assert document["options"]["sync"]["method"] == "union"
    assert document["options"]["only"] == ["a"]


def test_junit_has_a_case_a_pair(comparison):
    suites = xml.etree.ElementTree.fromstring(comparison.to_junit())
    (suite,) = suites
    assert suite.get("name") == "base against other"
    assert suites.get("failures") == suite.get("failures") == str(len(comparison.failed))
    cases = suite.findall("testcase")
    assert len(cases) == int(suite.get("tests")) == len(comparison)
    for case, verdict in zip(cases, comparison):
        failure = case.find("failure")
        assert (failure is not None) == comparison.fails(verdict)
        if failure is not None:
            assert failure.get("message") == verdict.text
            assert failure.get("type") == (verdict.reason or verdict.status)
    assert cases[1].get("name") == "out"
    hostile = cases[8].get("name")
    assert hostile == HOSTILE.replace("\x01", "\ufffd").replace("\x1b", "\ufffd")


def test_junit_replaces_every_control_character_but_white_space(store):
    name = "".join(map(chr, [*range(1, 32), *range(127, 161)]))
    run = store.new_run("a")
    run.add(name, [1.0], time=[0.0], path=name)
    (case,) = xml.etree.ElementTree.fromstring(kvr.compare(run, run).to_junit()).iter("testcase")
    allowed = "\t\n\r\u00a0"
    expected = "".join(c if c in allowed else "\ufffd" for c in name)
    assert (case.get("name"), case.get("classname")) == (expected, expected)


def test_results_are_written_beside_and_renamed(comparison, tmp_path):
    path = tmp_path / "result.json"
    path.write_text("old")
    path.chmod(0o600)
    assert comparison.to_json(path) == path.read_text() == comparison.to_json()
    assert comparison.to_junit(str(tmp_path / "r.xml")) == (tmp_path / "r.xml").read_text()
    assert sorted(os.listdir(tmp_path)) == ["r.xml", "result.json"]
    mask = os.umask(0)
    os.umask(mask)
    assert (tmp_path / "r.xml").stat().st_mode & 0o777 == 0o666 & ~mask


def test_file_that_cannot_be_written_leaves_nothing(comparison, tmp_path):
    with pytest.raises(FileNotFoundError):
        comparison.to_json(tmp_path / "none" / "r.json")
    (tmp_path / "folder").mkdir()
    with pytest.raises(OSError):
        comparison.to_json(tmp_path / "folder")
    assert os.listdir(tmp_path) == ["folder"]


def test_frame_has_a_row_a_verdict(comparison):
    frame = comparison.to_dataframe()
    assert len(frame) == len(comparison)
    assert frame["status"].tolist() == [verdict.status for verdict in comparison]
    assert frame.set_index("label").loc["out", "worst_difference"] == 1.0
    # Plain facts alone: a list of intervals has no cell.
    assert "intervals_total" in frame.columns
    assert not {"worst", "intervals"} & set(frame.columns)


def test_html_escapes_names(comparison):
    page = comparison._repr_html_()
    assert "<b>" not in page
    assert "\u202e" not in page
    assert "\x1b" not in page
    assert "&lt;b&gt;" in page
    assert len(page) < 20_000


def test_text_is_a_short_table_worst_first(comparison):
    text = str(comparison)
    lines = text.splitlines()
    assert lines[0] == "base against other: within 3, out 4, missing 1, extra 1, incomparable 1"
    order = [line.split()[-1] for line in lines[2:]]
    assert order[:4] == ["lost", "infinite", "out", "complex"]
    assert max(map(len, lines)) <= 100
    assert "\x1b" not in text


def test_text_calls_lost_only_what_the_other_side_lacks(store):
    first, second = store.new_run("a"), store.new_run("b")
    cases = {
        "gone": (1.0, np.nan),
        "far": (1e308, -1e308),
        "up": (np.inf, 3.0),
        "both": (1j, np.nan),
    }
    for label, sides in cases.items():
        for run, value in zip((first, second), sides):
            run.add(label, [value], time=[0.0])
    rows = [line.split() for line in str(kvr.compare(first, second)).splitlines()[2:]]
    assert {row[-1]: row[1] for row in rows} == {
        "gone": "lost", "far": "infinite", "up": "infinite", "both": "lost",
    }  # fmt: skip


def test_text_names_how_many_more(store):
    run = store.new_run("a")
    for i in range(50):
        run.add(str(i), np.zeros(1), time=[0.0])
    assert str(kvr.compare(run, run)).splitlines()[-1] == "and 30 more"


# ---- Pictures ----


@pytest.fixture
def axes():
    figure = pytest.importorskip("matplotlib.figure")
    return figure.Figure().subplots()


def test_plots_draw_into_the_given_axes(comparison, axes):
    verdict = comparison["out"]
    assert verdict.plot(axes) is axes
    baseline, other, mark = axes.lines
    assert baseline.get_ydata().tolist() == [1.0, 2.0]
    assert other.get_ydata().tolist() == [1.0, 3.0]
    assert mark.get_xdata() == [1.0, 1.0]
    with pytest.raises(ValueError, match="complex"):
        comparison["complex"].plot(axes)


def test_signals_are_drawn_in_their_colour_dash_and_interpolation(store, axes):
    run = store.new_run("a")
    signal = run.add("speed", [1, 2], time=[0.0, 1.0], unit="m/s")
    signal.color, signal.dash = "#ff0000", "--"
    run.add("matrix", [[1, 2], [3, 4]], time=[0.0, 1.0]).sync = kvr.Sync(interp="linear")
    assert run.plot(axes) is axes
    steps, first, second = axes.lines
    assert (steps.get_color(), steps.get_linestyle()) == ((1.0, 0.0, 0.0), "--")
    assert (steps.get_drawstyle(), first.get_drawstyle()) == ("steps-post", "default")
    assert second.get_ydata().tolist() == [2.0, 4.0]
    with pytest.raises(ValueError, match="cannot be drawn"):
        run.add("text", ["a"], time=[0.0]).plot(axes)
