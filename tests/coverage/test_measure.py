"""That the measure of coverage fails where it has to."""
import pathlib

import pytest

import measure


def branch(count, throw=False):
    return {"count": count, "throw": throw, "fallthrough": False}


def report(*lines, name="f()"):
    """gcov's report on one function in a file of the project, from (line, count, branches)."""
    function = {"name": name, "start_line": 1, "start_column": 1}
    entries = [
        {"line_number": number, "count": count, "branches": branches, "function_name": name}
        for number, count, branches in lines
    ]
    return {
        "current_working_directory": str(measure.ROOT),
        "files": [{"file": "kvrntob/x.cpp", "functions": [function], "lines": entries}],
    }


def measured(*reports):
    result = measure.Measured()
    for each in reports:
        result.add(each)
    return result


def test_line_that_never_ran_is_named():
    assert measured(report((4, 1, []), (5, 0, []))).lines_not_run("kvrntob") == [
        ("kvrntob/x.cpp", 5)
    ]


def test_line_that_ran_in_one_of_two_objects_has_run():
    both = measured(report((4, 0, [])), report((4, 7, [])))
    assert both.lines_not_run("kvrntob") == []
    assert both.count_lines("kvrntob") == (1, 1)


def test_outcome_that_never_came_is_named_by_its_number():
    one = measured(report((4, 3, [branch(3), branch(0)])))
    assert one.branches_not_taken("kvrntob") == [("kvrntob/x.cpp", 4, "2/2")]


def test_ways_on_which_exceptions_leave_a_call_are_no_branches():
    call = [branch(3), branch(0, throw=True)]
    assert measure.decisions(call + [branch(3), branch(0)] + call) == [3, 0]


def test_branch_is_taken_if_one_instantiation_takes_it():
    forms = measured(
        report((4, 1, [branch(1), branch(0)]), name="f<int>()"),
        report((4, 1, [branch(0), branch(1)]), name="f<long>()"),
    )
    assert forms.branches_not_taken("kvrntob") == []


def test_files_outside_the_project_do_not_count():
    outside = report((4, 0, []))
    outside["files"][0]["file"] = "/usr/include/c++/12/vector"
    assert not measured(outside).lines


def test_lines_of_closing_brackets_are_left_out():
    one = measured(report((4, 0, []), (5, 0, [])))
    one.leave_out_lines(lambda name: {5})
    assert one.lines_not_run("kvrntob") == [("kvrntob/x.cpp", 4)]


@pytest.mark.parametrize(
    "line, is_code",
    [("  }", False), ("  });", False), ("", False), ("  } else {", True), ("  x;", True)],
)
def test_a_line_is_code_if_it_holds_more_than_closing_brackets(line, is_code):
    assert (measure.NO_CODE.fullmatch(line) is None) == is_code


def test_other_folders_do_not_count():
    assert measured(report((4, 0, []))).lines_not_run("embedded_host") == []


NOT_TAKEN = [("kvrntob/x.cpp", 4, "1/2")]
ROW = ("kvrntob/x.cpp", "if (a)", "1/2")


@pytest.mark.parametrize(
    "listed, missing, stale",
    [
        ({ROW: 1}, [], []),
        ({}, [(4, ROW)], []),
        ({ROW: 2}, [], [ROW]),
        ({(ROW[0], "if (b)", "1/2"): 1}, [(4, ROW)], [(ROW[0], "if (b)", "1/2")]),
    ],
)
def test_list_has_to_hold_what_is_not_taken_and_nothing_else(listed, missing, stale):
    assert measure.compare(NOT_TAKEN, listed, lambda name, number: "if (a)") == (missing, stale)


def test_row_without_a_reason_is_refused(tmp_path):
    path = pathlib.Path(tmp_path, "list")
    path.write_text("# heading\nkvrntob/x.cpp || if (a) || 1/2 ||  \n")
    with pytest.raises(SystemExit):
        measure.read_list(path)


def test_row_that_occurs_twice_counts_twice(tmp_path):
    path = pathlib.Path(tmp_path, "list")
    path.write_text(2 * "kvrntob/x.cpp || if (a) || 1/2 || never\n")
    assert measure.read_list(path) == {ROW: 2}
