"""The typed map through Python: the types that samples choose, entries, indices, failures."""

import math

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import Map

# Class of a sample, and the type of keys that it chooses; as a value it chooses itself.
KEY_TYPES = {
    "logical": "double", "double": "double", "single": "single", "int8": "double",
    "uint8": "double", "int16": "double", "uint16": "double", "int32": "int32",
    "uint32": "uint32", "int64": "int64", "uint64": "uint64", "char": "char",
}  # fmt: skip
NUMERIC = [cls for cls in KEY_TYPES if cls != "char"]
NO_SCALARS = [None, [], [1, 2], 1j, [[]], {}, vormel.function_handle("f"), vormel.timeseries(1, 2)]


def sample(cls):
    return vormel.array("x" if cls == "char" else 1, cls)


def expect_failure(name, word, method, *arguments, **keywords):
    with pytest.raises(vormel.Error) as caught:
        method(*arguments, **keywords)
    assert (caught.value.identifier, caught.value.word) == ("KVR:kvr:" + name, word)


def key_methods(entries):
    """Every method that takes a key."""
    return [
        entries.isKey, entries.getDataByKey, entries.getIndexByKey, entries.deleteDataByKey,
        lambda key: entries.insert(key, None),
    ]  # fmt: skip


def index_methods(entries):
    return [entries.getDataByIndex, entries.getKeyByIndex, entries.deleteDataByIndex]


@pytest.fixture
def letters():
    """Keys a, b, c with values 1, 2, 3."""
    entries = Map("k", 1.0)
    for value, key in enumerate("abc", 1):
        entries.insert(key, float(value))
    return entries


# ---- Types ----


@pytest.mark.parametrize("value", [*KEY_TYPES, "any"])
@pytest.mark.parametrize("key", KEY_TYPES)
def test_samples_choose_the_types_and_are_not_entered(key, value):
    entries = Map(sample(key), {} if value == "any" else sample(value))
    assert (entries.getKeyType(), entries.getValueType()) == (KEY_TYPES[key], value)
    assert entries.getCount() == 0


@pytest.mark.parametrize("value", [{}, ["a"], [1, 2], "abc", [{}, {}], Map("k", 1.0)])
def test_value_sample_of_another_class_or_size_gives_any(value):
    assert Map("k", value).getValueType() == "any"


def test_complex_and_nan_samples_choose_by_their_class():
    assert Map(1j, 1j).getKeyType() == "double"
    assert Map(math.nan, "v").getKeyType() == "double"


@pytest.mark.parametrize(
    "key, value, name",
    [
        ([], 1.0, "EMPTY_KEY"),
        ("", "", "EMPTY_KEY"),
        ([1, 2], [], "ARRAY_KEYS_NOT_ALLOWED"),
        ("abc", 1.0, "ARRAY_KEYS_NOT_ALLOWED"),
        ([{}, {}], 1.0, "ARRAY_KEYS_NOT_ALLOWED"),
        ({}, [], "KEY_NEEDS_VALUE"),
        ("k", None, "KEY_NEEDS_VALUE"),
        ({}, 1.0, "UNSUPPORTED_KEY"),
        (["a"], 1.0, "UNSUPPORTED_KEY"),
        (vormel.function_handle("f"), 1.0, "UNSUPPORTED_KEY"),
        (vormel.timeseries(1, 2), 1.0, "UNSUPPORTED_KEY"),
    ],
)
def test_refused_samples_are_reported_in_the_order_of_the_tests(key, value, name):
    expect_failure(name, None, Map, key, value)


# ---- Entries ----


def test_entry_is_reached_by_key_and_by_index(letters):
    assert (letters.getDataByKey("b"), letters.getDataByIndex(2)) == (2, 2)
    assert (letters.getKeyByIndex(2), letters.getIndexByKey("b")) == ("b", 2)
    assert (letters.isKey("b"), letters.isKey("d")) == (True, False)


def test_replaced_value_keeps_its_index(letters):
    letters.insert("a", 9.0)
    assert (letters.getCount(), letters.getIndexByKey("a")) == (3, 1)
    assert letters.getDataByIndex(1) == 9


def test_deleted_entry_lowers_the_indices_behind_it_and_comes_back_last(letters):
    letters.deleteDataByKey("a")
    assert [letters.getKeyByIndex(i) for i in (1, 2)] == ["b", "c"]
    letters.deleteDataByIndex(1)
    letters.insert("a", 1.0)
    assert (letters.getIndexByKey("c"), letters.getIndexByKey("a")) == (1, 2)


def test_cleared_map_keeps_its_types_and_counts_from_1(letters):
    letters.Clear()
    assert (letters.getCount(), letters.getKeyType()) == (0, "char")
    assert letters.getValueType() == "double"
    letters.insert("b", 1.0)
    assert letters.getIndexByKey("b") == 1


@pytest.mark.parametrize("index", [0, -1, 4, 2**31 - 1, -(2**31)])
def test_index_without_an_entry_is_out_of_bounds(letters, index):
    for method in index_methods(letters):
        expect_failure("INDEX_OUT_OF_BOUNDS", None, method, index)
    assert letters.getCount() == 3


def test_unknown_key_is_not_in_the_map(letters):
    for method in (letters.getDataByKey, letters.getIndexByKey, letters.deleteDataByKey):
        expect_failure("KEY_NOT_IN_MAP", None, method, "d")
    assert letters.getCount() == 3


def test_empty_map_never_says_that_it_is_empty():
    entries = Map("k", 1.0)
    expect_failure("KEY_NOT_IN_MAP", None, entries.deleteDataByKey, "a")
    expect_failure("INDEX_OUT_OF_BOUNDS", None, entries.deleteDataByIndex, 1)


def test_data_is_neither_read_nor_missed_where_two_outputs_are_asked_for(letters):
    assert letters.getDataByKey("a", nargout=2) == (None, None)
    assert letters.getDataByKey("d", nargout=2) == (None, None)
    assert letters.getDataByIndex(99, nargout=2) == (None, None)
    expect_failure("INDEX_OUT_OF_BOUNDS", None, letters.getKeyByIndex, 99, nargout=2)


# ---- Keys ----


@pytest.mark.parametrize("cls", NUMERIC)
def test_numeric_key_is_a_real_scalar(cls):
    for method in key_methods(Map(sample(cls), {})):
        for key in [*NO_SCALARS, "x", ""]:
            expect_failure("TYPE_MISMATCH", "key", method, key)


def test_char_key_is_a_character_array():
    for method in key_methods(Map("k", {})):
        for key in [*NO_SCALARS, 1, True, 1.5]:
            expect_failure("TYPE_MISMATCH", "key", method, key)


def test_char_key_is_its_characters_whatever_the_shape():
    entries = Map("k", "v")
    entries.insert(np.array([["a", "c"], ["b", "d"]]), "")
    assert entries.isKey("abcd")
    entries.insert("", "empty")
    assert (entries.getKeyByIndex(1), entries.getKeyByIndex(2)) == ("abcd", "")


def test_nan_is_no_floating_point_key_and_the_integer_key_0():
    for cls in ("double", "single", "int8"):
        for method in key_methods(Map(sample(cls), {})):
            expect_failure("TYPE_MISMATCH", "key", method, math.nan)
    entries = Map(1, 1.0)
    entries.insert(math.nan, 7.0)
    assert (entries.isKey(0), entries.getDataByKey(math.nan)) == (True, 7)


def test_key_of_a_folded_class_comes_back_as_double():
    entries = Map(np.int8(1), np.uint16(1))
    entries.insert(np.int8(5), 1)
    assert type(entries.getKeyByIndex(1)) is np.float64


# ---- Values ----


@pytest.mark.parametrize("cls", NUMERIC)
def test_numeric_value_is_a_real_scalar(cls):
    entries = Map("k", sample(cls))
    entries.insert("a", 1)
    for value in [*NO_SCALARS, "x", ""]:
        expect_failure("TYPE_MISMATCH", "value", entries.insert, "a", value)
        expect_failure("TYPE_MISMATCH", "key", entries.insert, 1, value)
    assert (entries.getCount(), entries.getDataByKey("a")) == (1, 1)


@pytest.mark.parametrize("cls", [cls for cls in NUMERIC if "int" in cls])
def test_integer_value_rounds_half_away_from_zero_and_saturates(cls):
    lowest, highest = int(np.iinfo(cls).min), int(np.iinfo(cls).max)
    entries = Map("k", sample(cls))
    for value, stored in [
        (2.5, 3), (2.4, 2), (-0.4, 0), (-2.5, max(lowest, -3)), (math.nan, 0), (True, 1),
        (math.inf, highest), (-math.inf, lowest), (1e300, highest), (-1e300, lowest),
    ]:  # fmt: skip
        entries.insert("a", value)
        assert entries.getDataByKey("a") == stored


def test_wide_integers_travel_through_a_double():
    entries = Map("k", np.int64(1))
    entries.insert("a", 2**53 + 1)
    assert entries.getDataByKey("a") == 2**53


@pytest.mark.parametrize("value", [2, -1, math.nan, 1e300])
def test_logical_value_is_true_if_its_integer_is_not_zero(value):
    entries = Map("k", True)
    entries.insert("a", value)
    entries.insert("b", 0.5)
    assert (entries.getDataByKey("a"), entries.getDataByKey("b")) == (True, False)


def test_char_value_comes_back_as_a_row():
    entries = Map("k", "v")
    entries.insert("a", np.array([["a", "b", "c"], ["d", "e", "f"]]))
    entries.insert("b", "")
    assert entries.getDataByKey("a") == "adbecf"
    assert vormel.invoke(entries, "getDataByKey", "b").cells[0].shape == (1, 0)


def test_any_value_is_read_as_often_as_wanted_and_shares_its_data(any_map):
    any_map.insert("a", np.arange(10.0))
    assert np.shares_memory(any_map.getDataByKey("a"), any_map.getDataByIndex(1))
    any_map.insert("nothing", None)
    assert any_map.getDataByKey("nothing").shape == (0, 0)


def test_any_value_is_released_when_it_is_replaced_or_deleted(any_map):
    before = vormel.live_arrays()
    for value in ([1.0, 2.0], [3.0, 4.0]):
        any_map.insert("a", value)
    assert vormel.live_arrays() == before + 1
    any_map.deleteDataByIndex(1)
    assert vormel.live_arrays() == before
