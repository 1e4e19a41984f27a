"""Good inputs for every form of every method, and what to change for each failure of the manual."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np
import vormel
from vormel.Dravik.kvr import Map, SignalRepository

Inputs = dict[str, Any]
Change = Callable[[Inputs], None]


def tolerance_structure() -> dict[str, Any]:
    names = (
        "absolute relative timeStart timeEnd timeStep initAbsTolVal absStep initRelTolVal relStep"
    )
    return {"toleranceType": 1, **{name: 0.5 for name in names.split()}, "fcnCall": "f"}


def sync_structure() -> dict[str, Any]:
    return {"SyncMethod": "union", "InterpMethod": "zoh", "UniformTimeInterval": 0.5,
            "customSyncMethod": "", "syncType": 0}  # fmt: skip


def drop_store() -> None:
    """Empty the store, which clean alone forgets with its arrays, and drop it."""
    repo = SignalRepository()
    for run in range(-1, 100):  # setDateCreated makes runs that no list shows
        if repo.getRunCount() and repo.isValidRunID(run):
            repo.removeRun(run)
    repo.clean()


def a_store() -> Any:
    """A handle to a store of its own: run 1 with a signal, run 2 without."""
    drop_store()
    repo = SignalRepository()
    repo.createEmptyRun("run", 1)
    repo.createEmptyRun("empty", 1)
    repo.add(*[good_value("add", name) for name in ADD])
    return repo


def a_map() -> Any:
    entries = Map("k", 1.0)
    entries.insert("k", 1.0)
    return entries


ADD = (
    "reserved run root_source time_source data_source values block_path model label time_dimension "
    "sample_dimensions port_index channel sid metadata parent root_data_source"
).split()

# By method, then for all.
GOOD: dict[str, Inputs] = {
    "add": {"values": None, "data_source": "bus", "parent": []},
    "setInterpMethod": {"method": "zoh"},
    "setInterpMethodByRun": {"method": "zoh"},
    "any": {
        "run": 1, "signal": 1, "index": 1, "position": 1, "instance": 1, "parent": 1,
        "reserved": None, "root_source": "a", "time_source": "b", "data_source": "bus",
        "block_path": "block", "model": "model", "label": "label", "time_dimension": 1,
        "sample_dimensions": [2, 3], "port_index": 1, "channel": [1, 2], "sid": "sid",
        "metadata": 1, "root_data_source": "bus", "tolerance": 0.5, "step": 0.5, "start": 0.5,
        "end": 0.5, "interval": 0.5, "function_call": "f", "method": "union", "name": "name",
        "visible": True, "red": 0.5, "green": 0.5, "blue": 0.5, "style": "-", "date": 1.0,
        "group": "block", "column": "GBLOCKPATH", "order": "ASC", "key": "k", "value": 1.0,
    },
}  # fmt: skip


def good_value(method: str, name: str) -> Any:
    if name == "values":
        return vormel.timeseries([1.0, 2.0], [0.0, 1.0])
    if name == "settings":
        return tolerance_structure()
    if name == "options":
        return sync_structure()
    return GOOD.get(method, {}).get(name, GOOD["any"].get(name))


def setting(name: str, value: Any) -> Change:
    def change(inputs: Inputs) -> None:
        inputs[name] = value

    return change


def last(value: Any) -> Change:
    """The value that a setting method takes comes last."""

    def change(inputs: Inputs) -> None:
        inputs[list(inputs)[-1]] = value

    return change


def field(name: str, value: Any) -> Change:
    def change(inputs: Inputs) -> None:
        list(inputs.values())[-1][name] = value

    return change


def without_field(inputs: Inputs) -> None:
    structure = list(inputs.values())[-1]
    structure["other"] = structure.pop(list(structure)[-2])


NOT_NUMERIC = {
    "Absolute tolerance": "absolute", "Relative tolerance": "relative", "Start time": "timeStart",
    "End time": "timeEnd", "Time step": "timeStep", "Initial absolute tolerance": "initAbsTolVal",
    "Absolute step": "absStep", "Initial relative tolerance": "initRelTolVal",
    "Relative step": "relStep",
}  # fmt: skip
MATRIX = np.ones((2, 2), np.int32)

BY_FAILURE: dict[tuple[str, str | None], Change] = {
    ("NON_EXISTENT", "ID"): setting("signal", 99),
    ("NON_EXISTENT", "Run ID"): setting("run", 99),
    ("NON_EXISTENT", "Index"): setting("index", 99),
    ("NON_EXISTENT", "Column name"): setting("column", "none"),
    ("NON_EXISTENT", "group name"): setting("group", "none"),
    ("NON_EXISTENT", "Group name"): setting("group", "none"),
    ("NON_EXISTENT", "Signal source"): setting("data_source", "none"),
    ("INDEX_OUT_OF_BOUNDS", None): setting("index", 99),
    ("NOT_INTEGER_SCALAR", "Index"): setting("index", 1.5),
    ("NOT_INTEGER_SCALAR", "Time Dimension"): setting("time_dimension", "x"),
    ("NOT_POSITIVE", "Time Dimension"): setting("time_dimension", -1),
    ("NOT_INTEGER", "sample dimensions"): setting("sample_dimensions", [0.5, 1.5]),
    ("NOT_VECTOR", "sample dimensions"): setting("sample_dimensions", MATRIX),
    ("NOT_INTEGER_SCALAR", "Port Index"): setting("port_index", 0.5),
    ("NOT_POSITIVE", "Port Index"): setting("port_index", -1),
    ("NOT_INTEGER", "channel"): setting("channel", [0.5, 1.5]),
    ("NOT_1BY2VECTOR", "channel"): setting("channel", MATRIX),
    ("NOT_INTEGER_SCALAR", "Parent data id"): setting("parent", "x"),
    ("NOT_POSITIVE", "Parent id"): setting("parent", -1),
    ("NOT_INTEGER", "Run ID"): setting("run", [1.5, 2.5]),
    ("NOT_LOGICAL_SCALAR", "Visibility"): last(0.5),
    ("INPUT_MISMATCH", "string of characters"): last(5),
    ("INPUT_MISMATCH", "struct"): last(5),
    ("INPUT_MISMATCH", "integer"): setting("position", 1.5),
    ("INPUT_MISMATCH", "Character of strings"): field("fcnCall", 5),
    ("INVALID_ORDER", None): setting("order", "up"),
    ("INVALID_COLOR", None): setting("red", 2.0),
    ("INVALID_SYNC", None): last("none"),
    ("INVALID_INTERP", None): last("none"),
    ("NUMBER_OF_FIELDS", "11"): field("one more", 1),
    ("NUMBER_OF_FIELDS", "5"): field("one more", 1),
    ("MISSING_FIELD", None): without_field,
    ("TOL_TYPE", None): field("toleranceType", 3),
    ("SYNC_TYPE", None): field("syncType", 2),
    ("TYPE_MISMATCH", "key"): setting("key", 1.5),
    ("TYPE_MISMATCH", "value"): setting("value", "text"),
    ("KEY_NOT_IN_MAP", None): setting("key", "none"),
    ("EMPTY_KEY", None): setting("key", []),
    ("ARRAY_KEYS_NOT_ALLOWED", None): setting("key", [1, 2]),
    ("KEY_NEEDS_VALUE", None): setting("value", []),
    ("UNSUPPORTED_KEY", None): setting("key", {"a": 1}),
    **{("NOT_NUMERIC", word): field(name, "text") for word, name in NOT_NUMERIC.items()},
}


def both_unknown(inputs: Inputs) -> None:
    inputs.update(signal=99, parent=99)


# Where a method differs; by method and number of inputs.
BY_METHOD: dict[tuple[str, int, str, str | None], Change] = {
    ("add", 17, "NON_EXISTENT", "ID"): setting("parent", 99),
    ("setParent", 2, "NON_EXISTENT", "ID"): both_unknown,
    ("getRunID", 1, "INDEX_OUT_OF_BOUNDS", None): setting("position", 99),
    ("getSignalByRunIndex", 2, "INDEX_OUT_OF_BOUNDS", None): setting("position", 99),
    ("getSignalByRunIndex", 2, "NON_EXISTENT", "Run ID"): setting("position", 2),
    ("getSignal", 1, "INVALID_SIGNATURE", None): lambda inputs: inputs.update(
        {name: 1.5 for name in inputs}
    ),
    ("getSignal", 2, "NOT_INTEGER_SCALAR", "Index or Data Run ID"): setting("run", 1.5),
    ("setTolerance", 2, "NOT_INTEGER_SCALAR", "Index or Data Run ID"): setting("signal", 1.5),
    ("setTolerance", 3, "NOT_INTEGER_SCALAR", "Index or Data Run ID"): setting("run", 1.5),
    ("setSyncOptions", 3, "NOT_INTEGER_SCALAR", "Index or Data Run ID"): setting("index", 1.5),
    **{
        (method, count, "INVALID_SYNC", None): field("SyncMethod", "none")
        for method, count in (("setSyncOptions", 2), ("setSyncOptions", 3),
                              ("setSyncOptionsByRun", 2))
    },
    **{
        (method, count, "INVALID_INTERP", None): field("InterpMethod", "none")
        for method, count in (("setSyncOptions", 2), ("setSyncOptions", 3),
                              ("setSyncOptionsByRun", 2))
    },
}  # fmt: skip

# Failures that need more than other inputs; test_manual.py raises each in a test of its own.
NEEDS_A_FILE = [("FILE_NOT_LOCATED", None), ("INPUT_MISMATCH", "timeseries")]
NEEDS_A_STATE = [("getSignal", "ID"), ("getSignalByRunIndex", "ID"), ("copyRun", "ID"),
                 ("remove", "ID"), ("deleteInstanceID", "Run ID"),
                 ("getGroup", "Run ID")]  # fmt: skip


def change_for(method: str, form: vormel.Form, failure: vormel.Failure) -> Change | None:
    """What makes a good call of the form fail so; None where inputs cannot."""
    key = (failure.cls, failure.word)
    names = [item.name for item in form.inputs]
    if key in NEEDS_A_FILE or ("signal" not in names and (method, failure.word) in NEEDS_A_STATE):
        return None
    if failure.cls == "NOT_NUMERIC_SCALAR":
        return last("text")
    return BY_METHOD.get((method, len(names), *key)) or BY_FAILURE[key]
