"""Errors about names list the names that there are."""

import pytest
import vormel
from vormel.Dravik.kvr import Map, SignalRepository


@pytest.mark.parametrize("use", ["get", "set", "delete"])
@pytest.mark.parametrize("name", ["later", "", "\ud800", "now\0", 5, None])
def test_unknown_function_lists_the_functions(name, use):
    with pytest.raises(KeyError, match="now, tempdir, timeseries, version"):
        if use == "get":
            vormel.functions[name]
        elif use == "set":
            vormel.functions[name] = print
        else:
            del vormel.functions[name]
    assert len(vormel.functions) == 4


def test_name_that_lies_about_itself_adds_no_function():
    class Lying(str):
        def __eq__(self, other):
            return True

        __hash__ = str.__hash__

    with pytest.raises(KeyError):
        vormel.functions[Lying("later")] = print
    assert "later" not in list(vormel.functions)


def test_unknown_class_lists_the_classes():
    with pytest.raises(vormel.CallError) as caught:
        vormel.array(1, "int128")
    assert caught.value.identifier == "Vormel:NoSuchClass"
    assert (
        "cell, struct, logical, char, double, single, int8, uint8, int16, uint16, int32, uint32, "
        "int64, uint64, function_handle" in str(caught.value)
    )


@pytest.mark.parametrize(
    "cls, name, near",
    [
        (SignalRepository, "getRunNme", "getRunName"),
        (SignalRepository, "getrunname", "getRunName"),
        (SignalRepository, "createEmptyRuns", "createEmptyRun"),
        (Map, "clear", "Clear"),
        (Map, "Insert", "insert"),
    ],
)
def test_unknown_method_suggests_near_ones(cls, name, near):
    with pytest.raises(vormel.MethodError) as caught:
        vormel.invoke(cls, name)
    assert f"has no method {name}; did you mean {near}" in str(caught.value)


def test_method_like_no_other_gets_no_suggestion_but_the_way_to_the_list():
    for name in ("quux", "", "x" * 100_000):
        with pytest.raises(vormel.MethodError) as caught:
            vormel.invoke(Map, name)
        assert "did you mean" not in str(caught.value)
        assert str(caught.value).endswith("; vormel.methods(cls) lists those it has")


def test_misspelt_attribute_suggests_near_ones(run_python):
    program = """
import sys, vormel
from vormel.Dravik.kvr import Map
for use in (lambda: Map("k", 1.0).getCont, lambda: vormel.timeseries(1, 2).Dta):
    try:
        use()
    except AttributeError:
        sys.stderr = sys.stdout
        sys.excepthook(*sys.exc_info())
"""
    output = run_python(program)
    assert "Did you mean: 'getCount'?" in output
    assert "Did you mean: 'Data'?" in output


def test_unknown_name_in_a_package_lists_what_it_holds():
    with pytest.raises(AttributeError, match="Map, SignalRepository"):
        vormel.Dravik.kvr.Mop
    with pytest.raises(AttributeError, match="kvr"):
        vormel.Dravik.krv


def test_unknown_package_is_an_attribute_error_that_lists_the_packages():
    with pytest.raises(AttributeError, match="Dravik"):
        vormel.Drawik
