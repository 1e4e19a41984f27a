"""What the package exports, and its version."""

import re
from pathlib import Path

import vormel

PROJECT = Path(__file__).parents[2] / "CMakeLists.txt"


def test_version_is_the_projects_as_a_python_version():
    declared = re.search(r"project\(kvrntob VERSION (\d+\.\d+\.\d+)", PROJECT.read_text())
    assert declared is not None
    assert vormel.__version__ == declared[1]


def test_exported_names_are_these():
    assert sorted(vormel.__all__) == [
        "Argument", "Array", "CallError", "Error", "Failure", "Form", "HostObject", "Invocation",
        "Method", "MethodError", "MethodInfo", "Object", "OutOfMemoryError", "__version__", "array",
        "delete", "dumps", "function_handle", "functions", "invoke", "live_arrays", "loads",
        "methods", "same_instance", "timeseries",
    ]  # fmt: skip
    for name in vormel.__all__:
        assert getattr(vormel, name) is not None


def test_module_lies_beside_the_package_file():
    assert Path(vormel.__file__).with_name("kvrntob.so").is_file()
