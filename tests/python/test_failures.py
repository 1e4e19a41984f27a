"""Failures as Python errors."""

import pickle

import pytest
import vormel
from vormel.Dravik.kvr import Map


def test_failure_carries_identifier_word_and_function(repo):
    with pytest.raises(vormel.Error) as caught:
        repo.getRunName(7)
    error = caught.value
    assert type(error) is vormel.Error
    assert error.identifier == "KVR:kvr:NON_EXISTENT"
    assert error.word == "Run ID"
    assert error.function == "getRunName"
    assert "Run ID" in str(error)


def test_failure_without_a_word_has_none():
    with pytest.raises(vormel.Error) as caught:
        Map("k", 1.0).getDataByIndex(1)
    assert caught.value.identifier == "KVR:kvr:INDEX_OUT_OF_BOUNDS"
    assert caught.value.word is None
    assert caught.value.function == "getDataByIndex"
    assert str(caught.value)


def test_refusal_is_error_and_type_error(repo):
    with pytest.raises(vormel.CallError) as caught:
        repo.getRunName("x")
    assert isinstance(caught.value, vormel.Error)
    assert isinstance(caught.value, TypeError)
    assert caught.value.identifier.startswith("Vormel:")
    assert caught.value.word is None


def test_failure_of_a_constructor_names_it():
    with pytest.raises(vormel.Error) as caught:
        Map(["a", "b"], 1.0)
    assert caught.value.identifier == "KVR:kvr:ARRAY_KEYS_NOT_ALLOWED"
    assert caught.value.function == "Map"


def test_dead_repository_handle_is_the_modules_affair(repo):
    vormel.delete(repo)
    with pytest.raises(vormel.Error) as caught:
        repo.getRunCount()
    assert caught.value.identifier == "KVR:kvr:INVALID_OBJ"
    assert type(caught.value) is vormel.Error


def test_dead_map_handle_is_refused():
    entries = Map("k", 1.0)
    vormel.delete(entries)
    with pytest.raises(vormel.CallError):
        entries.getCount()


def test_delete_twice_does_nothing():
    entries = Map("k", 1.0)
    vormel.delete(entries)
    vormel.delete(entries)


@pytest.mark.parametrize("value", [5, None, "a", Map, vormel.array(1), vormel.timeseries(1, 2)])
def test_delete_of_what_is_no_host_object_is_refused(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.delete(value)
    assert error.value.identifier == "Vormel:InvalidInput"


def test_errors_can_be_made_and_pickled():
    error = vormel.Error("text", "My:id", "word", "function")
    back = pickle.loads(pickle.dumps(error))
    assert (str(back), back.identifier, back.word, back.function) == (
        "text", "My:id", "word", "function",
    )  # fmt: skip


def test_failure_within_an_except_block_keeps_its_context(repo):
    with pytest.raises(vormel.Error) as caught:
        try:
            raise KeyError("first")
        except KeyError:
            repo.getRunName(7)
    assert isinstance(caught.value.__context__, KeyError)


def test_failing_calls_change_no_book(repo):
    before = vormel.live_arrays()
    for _ in range(1000):
        with pytest.raises(vormel.Error):
            repo.getRunName(7)
        with pytest.raises(vormel.CallError):
            repo.getRunName([1, 2])
        with pytest.raises(vormel.CallError):
            repo.add({"a": [1, object()]})
    assert vormel.live_arrays() == before
