"""Tolerances, synchronisation options and display attributes, set and read through Python."""

import math

import numpy as np
import pytest
import vormel

TOLERANCE = {
    "toleranceType": 1, "absolute": 0.5, "relative": 1.5, "timeStart": 2.5, "timeEnd": 3.5,
    "timeStep": 4.5, "initAbsTolVal": 5.5, "absStep": 6.5, "initRelTolVal": 7.5, "relStep": 8.5,
    "fcnCall": "f(x)",
}  # fmt: skip
SYNC = {
    "SyncMethod": "uniform", "InterpMethod": "linear", "UniformTimeInterval": 0.5,
    "customSyncMethod": "mine", "syncType": 1,
}  # fmt: skip

# Method, field, type that it selects.
NUMBERS = [
    ("setAbsoluteTolerance", "absolute", 0),
    ("setRelativeTolerance", "relative", 0),
    ("setTimeStart", "timeStart", 1),
    ("setTimeEnd", "timeEnd", 1),
    ("setTimeStep", "timeStep", 1),
    ("setInitAbsTolVal", "initAbsTolVal", 1),
    ("setAbsStep", "absStep", 1),
    ("setInitRelTolVal", "initRelTolVal", 1),
    ("setRelStep", "relStep", 1),
]


@pytest.fixture
def run(repo):
    """A run of two signals, 1 and 2."""
    run = repo.createEmptyRun("Monday", 1)
    for source in ("first", "second"):
        repo.add(None, run, "", "", source, 0.0, "", "", "", [], [], [], [], "", None, [], source)
    yield run
    repo.removeRun(run)


def failure_of(method, *arguments):
    """The failure's class and word."""
    with pytest.raises(vormel.Error) as caught:
        method(*arguments)
    return caught.value.identifier.removeprefix("KVR:kvr:"), caught.value.word


def test_tolerance_is_a_dict_of_its_fields_in_order(repo, run):
    repo.setTolerance(1, TOLERANCE)
    tolerance = repo.getTolerance(1)
    assert list(tolerance.items()) == list(TOLERANCE.items())
    assert tolerance["toleranceType"].dtype == np.int32
    assert tolerance["absolute"].dtype == np.float64


def test_sync_options_are_a_dict_of_their_fields_in_order(repo, run):
    repo.setSyncOptions(run, 2, SYNC)
    assert list(repo.getSyncOptions(2).items()) == list(SYNC.items())
    assert repo.getSyncOptions(2)["syncType"].dtype == np.int32


@pytest.mark.parametrize(("method", "field", "kind"), NUMBERS)
def test_number_is_set_by_id_by_index_and_for_a_run(repo, run, method, field, kind):
    getattr(repo, method)(1, 0.25)
    getattr(repo, method)(run, 2, -math.inf)
    getattr(repo, method + "ByRun")(run, 7)
    assert repo.getTolerance(1)[field] == 0.25
    assert repo.getTolerance(run, 2)[field] == -math.inf
    assert repo.getToleranceByRun(run)[field] == 7
    assert repo.getTolerance(1)["toleranceType"] == kind


@pytest.mark.parametrize(("method", "field", "kind"), NUMBERS)
def test_int_is_no_double(repo, run, method, field, kind):
    if kind == 0:
        failure = ("NOT_NUMERIC_SCALAR", "Absolute tolerance")
        assert failure_of(getattr(repo, method), 1, 7) == failure
    else:
        getattr(repo, method)(1, 7)
        assert repo.getTolerance(1)[field].dtype == np.float64


@pytest.mark.parametrize("value", [True, "1", "", None, [1.0, 2.0], [1, "a"], {"a": 1}])
def test_what_is_no_number_is_named_by_the_form_of_the_call(repo, run, value):
    assert failure_of(repo.setTimeStep, 1, value) == ("NOT_NUMERIC_SCALAR", "Time step")
    assert failure_of(repo.setTimeStep, run, 1, value) == ("NOT_NUMERIC_SCALAR", "Time Start")
    assert repo.isToleranceInherited(1) is True


def test_float_is_no_index(repo, run):
    for method in (repo.setAbsoluteTolerance, repo.setTimeStart, repo.setRelStep):
        assert failure_of(method, run, 1.0, 0.5) == ("NOT_INTEGER_SCALAR", "Index")
    failure = ("NOT_INTEGER_SCALAR", "Index or Data Run ID")
    assert failure_of(repo.setTolerance, run, 1.0, TOLERANCE) == failure
    assert failure_of(repo.setTolerance, 1.0, TOLERANCE) == failure
    assert failure_of(repo.setSyncOptions, run, 1.0, SYNC) == failure


def test_first_input_is_a_number_of_any_kind_only_where_it_is_not_typed(repo, run):
    repo.setAbsoluteTolerance(2.9, 0.5)
    assert repo.getTolerance(2)["absolute"] == 0.5
    assert failure_of(repo.setAbsoluteTolerance, "no id", 0.5) == ("NON_EXISTENT", "ID")
    with pytest.raises(vormel.CallError):
        repo.setTimeStart(2.9, 0.5)


def test_list_of_dicts_is_read_at_its_first(repo, run):
    repo.setToleranceByRun(run, [TOLERANCE, TOLERANCE | {"absolute": 9.0}])
    repo.setSyncOptionsByRun(run, [SYNC, SYNC | {"SyncMethod": "zoh"}])
    assert repo.getTolerance(1) == TOLERANCE
    assert repo.getSyncOptions(1) == SYNC


def test_dict_with_a_fault_names_it_and_changes_nothing(repo, run):
    def failure(**fields):
        return failure_of(repo.setTolerance, 1, TOLERANCE | fields)

    assert failure(more=1) == ("NUMBER_OF_FIELDS", "11")
    assert failure(toleranceType=3) == ("TOL_TYPE", None)
    assert failure(timeStart=True) == ("NOT_NUMERIC", "Start time")
    assert failure(initRelTolVal=1j) == ("NOT_NUMERIC", "Initial relative tolerance")
    assert failure(fcnCall=0) == ("INPUT_MISMATCH", "Character of strings")
    assert repo.isToleranceInherited(1) is True


def test_sync_dict_with_a_fault_names_it_and_changes_nothing(repo, run):
    def failure(**fields):
        return failure_of(repo.setSyncOptions, 1, SYNC | fields)

    assert failure(more=1) == ("NUMBER_OF_FIELDS", "5")
    assert failure(UniformTimeInterval=1) == ("MISSING_FIELD", None)  # an int32
    assert failure(syncType=2, SyncMethod="none") == ("SYNC_TYPE", None)
    assert failure(SyncMethod="union ") == ("INVALID_SYNC", None)
    assert failure(InterpMethod="") == ("INVALID_INTERP", None)
    assert repo.isSyncOptionsInherited(1) is True


@pytest.mark.parametrize("value", [1, "text", None, ["a"], True])
def test_what_is_no_dict_is_no_structure(repo, run, value):
    for method in (repo.setTolerance, repo.setSyncOptions):
        assert failure_of(method, 1, value) == ("INPUT_MISMATCH", "struct")
    for method in (repo.setToleranceByRun, repo.setSyncOptionsByRun):
        assert failure_of(method, 99, value) == ("INPUT_MISMATCH", "struct")


def test_value_object_is_a_structure_but_not_for_the_sync_options_of_a_signal(repo, run):
    series = vormel.timeseries(1.0, 2.0)
    assert failure_of(repo.setTolerance, 1, series) == ("NUMBER_OF_FIELDS", "11")
    assert failure_of(repo.setSyncOptionsByRun, run, series) == ("NUMBER_OF_FIELDS", "5")
    assert failure_of(repo.setSyncOptions, 1, series) == ("INPUT_MISMATCH", "struct")


def test_text_keeps_characters_of_every_kind(repo, run):
    for text in ("Größe €", "\U0001f600", "f\tx"):
        repo.setFcnCallTol(1, text)
        repo.setCustomSyncMethod(run, 1, text)
        repo.setLineStyle(1, text)
        assert repo.getTolerance(1)["fcnCall"] == text
        assert repo.getSyncOptions(1)["customSyncMethod"] == text
        assert repo.getSignal(1)["LineDashed"] == text


def test_visibility_is_a_bool(repo, run):
    assert repo.getVisibility(1) is False
    repo.setVisibility(1, np.True_)
    assert repo.getVisibility(run, 1) is True
    assert failure_of(repo.setVisibility, 1, 1) == ("NOT_LOGICAL_SCALAR", "Visibility")


# Required: the index is read in place of the flag.
def test_visibility_by_run_and_index_is_true_whatever_the_flag_says(repo, run):
    repo.setVisibility(run, 1, False)
    assert repo.getVisibility(1) is True


def test_color_takes_numbers_of_every_class(repo, run):
    repo.setLineColor(1, 1, True, np.float32(0.5))
    assert repo.getSignal(1)["LineColor"].tolist() == [[1, 1, 0.5]]
    assert failure_of(repo.setLineColor, 1, 2, 0, 0) == ("INVALID_COLOR", None)
    with pytest.raises(vormel.CallError):
        repo.setLineColor(1, [0, 0, 0])


@pytest.mark.parametrize("value", ["text", 1, [1.5, 2.5], ["a", 1], {"a": 1}, None, 1j])
def test_metadata_of_every_class_comes_back_as_it_was(repo, run, value):
    repo.setMetaData(1, value)
    repo.setMetaData(run, 2, value)
    for signal in (1, 2):
        assert vormel.array(repo.getSignal(signal)["MetaData"]) == vormel.array(value)
