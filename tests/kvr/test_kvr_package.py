"""The package as a whole: its names, its examples, what importing it costs."""

import doctest
import importlib
import inspect
import pkgutil
from pathlib import Path

import kvr
import pytest

EXPORTED = [
    "Ambiguous",
    "Comparison",
    "Error",
    "Format",
    "FormatError",
    "Gone",
    "Map",
    "MissingPackage",
    "NoValues",
    "NotFound",
    "PairResult",
    "Recording",
    "Run",
    "Runs",
    "Signal",
    "Store",
    "Sync",
    "Tolerance",
    "Verdict",
    "View",
    "campaign",
    "compare",
    "compare_series",
    "functions",
    "open",
]
MODULES = sorted(name for _, name, _ in pkgutil.walk_packages(kvr.__path__, "kvr."))


def test_exported_names():
    assert sorted(kvr.__all__) == EXPORTED
    for name in EXPORTED:
        assert getattr(kvr, name).__doc__
    assert set(EXPORTED) <= set(dir(kvr))


def test_classes_name_the_package_as_their_home():
    assert repr(kvr.Gone) == "<class 'kvr.Gone'>"


def test_unknown_name_is_an_attribute_error():
    with pytest.raises(AttributeError, match="has no attribute 'Sotre'"):
        _ = kvr.Sotre


class EmptyStoreFirst(doctest.DocTestRunner):
    """Runs every docstring in a store of its own."""

    def run(self, *arguments, **keywords):
        kvr.Store().clear()
        kvr.functions.clear()
        return super().run(*arguments, **keywords)


@pytest.mark.parametrize("name", ["kvr", *(name for name in MODULES if "__main__" not in name)])
def test_examples_print_what_they_say(name, tmp_path, monkeypatch):
    module = importlib.import_module(name)
    monkeypatch.chdir(tmp_path)  # some write files
    runner = EmptyStoreFirst()
    for example in doctest.DocTestFinder().find(module, globs={"kvr": kvr}):
        runner.run(example)
    assert runner.failures == 0


@pytest.mark.parametrize("name", EXPORTED)
def test_public_name_has_an_example(name):
    assert ">>> " in getattr(kvr, name).__doc__


# What Python's own base classes bring along, and methods that need no example.
INHERITED = {"args", "add_note", "with_traceback", "errno", "msg", "name", "path"}
SELF_EXPLAINING = {"Recording.close", "PairResult.of_one_side"}


def own_members():
    """The public methods and properties that classes of this package define."""
    for name in EXPORTED:
        home = getattr(kvr, name)
        for base in home.__mro__ if inspect.isclass(home) else ():
            for member, value in vars(base).items() if base.__module__.startswith("kvr") else ():
                if not member.startswith("_") and member not in INHERITED:
                    yield f"{name}.{member}", value


@pytest.mark.parametrize(("name", "member"), own_members())
def test_method_has_an_example_and_property_a_docstring(name, member):
    if isinstance(member, property):
        if not name.startswith(("Signal.", "Run.")):
            assert member.__doc__
        else:  # or the class that it derives from tells it
            assert getattr(getattr(kvr, name.split(".")[0]), name.split(".")[1]).__doc__
    elif inspect.isroutine(member) or isinstance(member, (classmethod, staticmethod)):
        function = getattr(member, "__func__", member)
        assert function.__doc__
        assert name in SELF_EXPLAINING or ">>> " in function.__doc__


def test_importing_the_package_imports_nothing_heavy(run_python):
    printed = run_python(
        "import sys, kvr; print([name for name in ('numpy', 'vormel') if name in sys.modules])"
    )
    assert printed == "[]\n"


def test_examples_of_the_guide_print_what_they_say():
    guide = Path(__file__).parents[2] / "docs" / "kvr.md"
    failures, tests = doctest.testfile(str(guide), module_relative=False)
    assert (failures, tests) == (0, 21)
