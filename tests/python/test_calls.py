"""Calls of methods: arguments, outputs, refusals."""

import functools

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import Map, SignalRepository


# ---- Outputs ----


def test_one_output_comes_back_as_the_value(repo):
    run = repo.createEmptyRun("Monday", 1)
    assert type(run) is int
    assert repo.getRunName(run) == "Monday"
    assert repo.isValidRunID(run) is True


def test_no_output_comes_back_as_none(repo):
    run = repo.createEmptyRun("Monday", 1)
    assert repo.setRunName(run, "Tuesday") is None
    assert repo.getRunName(run) == "Tuesday"


def test_none_comes_back_where_no_output_is_asked_for(repo):
    run = repo.createEmptyRun("Monday", 1)
    assert repo.getRunName(run, nargout=0) is None
    assert repo.getSignalCount(nargout=0) is None


def test_none_comes_back_where_the_body_raised_the_count(repo):
    assert vormel.invoke(repo, "getRunCount", nargout=0).count == 1
    assert repo.getRunCount(nargout=0) is None
    assert SignalRepository.getRunCount(repo, nargout=0) is None


def test_more_outputs_come_back_as_tuple():
    entries = Map("k", 1.0)
    assert entries.getCount(nargout=3) == (0, None, None)
    assert entries.getDataByKey("missing", nargout=2) == (None, None)
    assert entries.Clear(nargout=1) is None
    assert entries.Clear(nargout=2) == (None, None)


def test_truth_comes_back_as_bool():
    entries = Map("k", 1.0)
    entries.insert("a", 1.0)
    assert entries.isKey("a") is True
    assert entries.isKey("b") is False


@pytest.mark.parametrize("nargout", [1.0, "1", None, [1]])
def test_nargout_that_is_no_int_is_refused(repo, nargout):
    invoke = functools.partial(vormel.invoke, repo, "getRunCount")
    for call in (repo.getRunCount, invoke):
        with pytest.raises(vormel.CallError, match="nargout") as error:
            call(nargout=nargout)
        assert error.value.identifier == "Vormel:InvalidOutputCount"


@pytest.mark.parametrize("nargout", [-1, 2**31, 2**63, -(2**80)])
def test_nargout_out_of_range_is_refused(repo, nargout):
    with pytest.raises(vormel.CallError) as error:
        repo.getRunCount(nargout=nargout)
    assert error.value.identifier == "Vormel:InvalidOutputCount"


def test_nargout_may_be_a_numpy_integer(repo):
    assert repo.getRunCount(nargout=np.int64(1)) == 0


# ---- Arguments ----

INTEGERS = [1, True, 1.0, np.int8(1), np.uint64(1), np.float32(1), np.bool_(True), np.array([[1]])]


@pytest.mark.parametrize("value", INTEGERS + [vormel.array(1.0)], ids=repr)
def test_int32_takes_whole_real_scalars_of_any_class(repo, value):
    repo.createEmptyRun("Monday", 1)
    assert repo.getRunName(value) == "Monday"


@pytest.mark.parametrize(
    "value",
    [1.5, 2**31, -(2**31) - 1, 2**80, float("nan"), float("inf"), 1j, "1", [1, 2], [], None, {},
     "", object()],
    ids=repr,
)  # fmt: skip
def test_int32_refuses_everything_else(repo, value):
    repo.createEmptyRun("Monday", 1)
    with pytest.raises(vormel.CallError) as error:
        repo.setRunName(value, "changed")
    assert error.value.identifier.startswith("Vormel:")
    assert repo.getRunName(1) == "Monday"


@pytest.mark.parametrize("value", [2, True, 2.5, np.float32(2.5), np.uint8(2), [7], 2**53])
def test_double_takes_real_scalars_of_any_class(repo, value):
    run = repo.createEmptyRun("Monday", 1)
    repo.setDateCreated(run, value)
    assert repo.getDateCreated(run) == np.ravel(value)[0]


@pytest.mark.parametrize("value", [1j, "2", [1, 2], [], None, {}, 2**80, object()], ids=repr)
def test_double_refuses_everything_else(repo, value):
    run = repo.createEmptyRun("Monday", 1)
    with pytest.raises(vormel.CallError):
        repo.setDateCreated(run, value)


@pytest.mark.parametrize("text", ["", "Zürich", "日本", "a😀b", np.str_("numpy"), "x" * 10_000])
def test_string_takes_texts(repo, text):
    run = repo.createEmptyRun(text, 1)
    assert repo.getRunName(run) == text


def test_string_takes_character_arrays(repo):
    row = repo.createEmptyRun(vormel.array(np.array([["a", "b"]]), "char"), 1)
    empty = repo.createEmptyRun(np.zeros((3, 0), "U1"), 1)
    assert (repo.getRunName(row), repo.getRunName(empty)) == ("ab", "")


def test_string_replaces_a_lone_surrogate(repo):
    run = repo.createEmptyRun("a\ud800b", 1)
    assert repo.getRunName(run) == "a\ufffdb"


@pytest.mark.parametrize(
    "value", [1, 1.5, None, [], b"a", ["a"], "a\0b", np.array([["a"], ["b"]]), {}], ids=repr
)
def test_string_refuses_everything_else(repo, value):
    with pytest.raises(vormel.CallError):
        repo.createEmptyRun(value, 1)
    assert repo.getRunCount() == 0


def test_too_few_arguments_are_refused(repo):
    with pytest.raises(vormel.CallError) as error:
        repo.createEmptyRun("Monday")
    assert error.value.identifier == "Vormel:NotEnoughInputs"
    assert repo.getRunCount() == 0


def test_more_arguments_are_passed_on_under_the_last_type(repo):
    with pytest.raises(vormel.Error) as error:
        repo.remove(1, 2, 3)
    assert error.value.identifier == "KVR:kvr:INVALID_SIGNATURE"
    with pytest.raises(vormel.CallError):
        repo.remove(1, 2, "three")


@pytest.mark.parametrize("keywords", [{"name": "a"}, {"nargout": 1, "other": 2}, {"Nargout": 1}])
def test_unknown_keyword_is_refused(repo, keywords):
    for call in (repo.getRunCount, SignalRepository):
        with pytest.raises(vormel.CallError, match="keyword argument '") as error:
            call(**keywords)
        assert error.value.identifier == "Vormel:InvalidKeyword"


def test_unknown_method_is_an_attribute_error(repo):
    with pytest.raises(AttributeError):
        repo.noSuchMethod()
    with pytest.raises(AttributeError):
        repo.clear
    with pytest.raises(AttributeError):
        vormel.invoke(repo, "noSuchMethod")


# ---- Forms of a call ----


def test_method_is_called_unbound(repo):
    run = SignalRepository.createEmptyRun(repo, "Monday", 1)
    assert SignalRepository.getRunName(repo, run) == "Monday"


def test_bound_method_is_held_and_called_again(repo):
    create = repo.createEmptyRun
    assert [create("a", 1), create("b", 1)] == [1, 2]


@pytest.mark.parametrize("other", [5, "a", None, object(), vormel.array(1)], ids=repr)
def test_unbound_call_without_an_object_is_a_type_error(other):
    with pytest.raises(TypeError):
        SignalRepository.getRunCount(other)


def test_unbound_call_with_an_object_of_another_class_is_a_type_error(repo):
    with pytest.raises(TypeError):
        SignalRepository.getRunCount(Map("k", 1.0))
    with pytest.raises(TypeError):
        Map.getCount(repo)
    with pytest.raises(TypeError):
        SignalRepository.getSignalCount(Map("k", 1.0))


def test_call_without_any_argument_is_a_type_error():
    with pytest.raises(TypeError):
        SignalRepository.getRunCount()


# ---- invoke ----


def test_invoke_gives_count_and_cells(repo):
    repo.createEmptyRun("Monday", 1)
    outcome = vormel.invoke(repo, "getRunName", 1)
    assert outcome.count == 1
    assert [type(cell) for cell in outcome.cells] == [vormel.Array]
    assert outcome.cells[0].to_python() == "Monday"


def test_invoke_gives_typed_cells():
    entries = Map("k", 1.0)
    assert vormel.invoke(entries, "getCount").cells == [0]
    assert vormel.invoke(entries, "isKey", "a").cells == [False]
    assert type(vormel.invoke(entries, "isKey", "a").cells[0]) is bool


def test_invoke_shows_the_count_that_the_body_left(repo):
    assert vormel.invoke(repo, "getRunCount", nargout=0).count == 1
    assert vormel.invoke(repo, "getRunCount", nargout=3).count == 1
    assert vormel.invoke(repo, "getNextRunID", nargout=0).count == 0


def test_invoke_offers_a_cell_for_each_output(repo):
    assert len(vormel.invoke(repo, "getNextRunID", nargout=0).cells) == 1
    assert len(vormel.invoke(repo, "getNextRunID", nargout=4).cells) == 4
    assert vormel.invoke(repo, "clean", nargout=0).cells == []
    assert vormel.invoke(SignalRepository(), "clean", nargout=2).cells == [None, None]


def test_invoke_shows_unwritten_cells_as_none():
    entries = Map("k", 1.0)
    outcome = vormel.invoke(entries, "getDataByKey", "missing", nargout=2)
    assert (outcome.count, outcome.cells) == (2, [None, None])


def test_invoke_on_a_class_passes_the_arguments_alone(repo):
    assert vormel.invoke(SignalRepository, "getNextRunID", repo).cells == [1]
    made = vormel.invoke(Map, "Map", "k", 1.0).cells[0].to_python()
    assert type(made) is Map


@pytest.mark.parametrize("target", [5, None, "Map", int, vormel.array(1)], ids=repr)
def test_invoke_without_a_host_object_is_refused(target):
    with pytest.raises(vormel.CallError) as error:
        vormel.invoke(target, "getCount")
    assert error.value.identifier == "Vormel:WrongObject"
