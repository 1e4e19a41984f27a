"""The typed map as a mapping, measured by CPython's own tests of mappings."""

import collections.abc
import copy
import math
import pickle

import kvr
import numpy as np
import pytest
from test import mapping_tests

INTEGERS = ["int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64"]


class TestBasicProtocol(mapping_tests.BasicTestMappingProtocol):
    type2test = kvr.Map

    def _reference(self):
        return {"1": "2", "key1": "value1", "key2": "value2"}


class TestProtocol(mapping_tests.TestMappingProtocol):
    """The tests of dict-like classes, each map with the type of key that its test begins with."""

    type2test = kvr.Map

    def _reference(self):
        return {"1": "2", "key1": "value1", "key2": "value2"}

    def _full_mapping(self, data):
        of_numbers = any(isinstance(key, int) for key in data)
        return kvr.Map(data, key_type="double" if of_numbers else "char")

    test_update = None  # puts numbers and texts into one map
    test_setdefault = None  # appends to a list in the map, which keeps a copy of it
    test_fromkeys = None  # there is no fromkeys: the types of a map come with its making


@pytest.fixture
def letters():
    return kvr.Map(a=1, b=2, c=3, value_type="double")


# ---- Making ----


def test_made_like_a_dict():
    expected = {"x": 1, "y": 2}
    for made in (
        kvr.Map(expected),
        kvr.Map([("x", 1), ("y", 2)]),
        kvr.Map(x=1, y=2),
        kvr.Map({"x": 1}, y=2),
        kvr.Map(kvr.Map(expected)),
    ):
        assert made == expected
        assert dict(made) == expected
        assert isinstance(made, collections.abc.MutableMapping)


def test_names_of_parameters_are_no_keys_but_can_be_given_in_data():
    assert kvr.Map({"key_type": 1, "data": 2}, self=3) == {"key_type": 1, "data": 2, "self": 3}


@pytest.mark.parametrize("key_type", kvr._store.map.KEY_TYPES)
@pytest.mark.parametrize("value_type", kvr._store.map.VALUE_TYPES)
def test_every_pair_of_types_keeps_an_entry(key_type, value_type):
    key = "k" if key_type == "char" else 1
    value = "v" if value_type in ("char", "any") else 1
    made = kvr.Map({key: value}, key_type=key_type, value_type=value_type)
    assert made[key] == value
    assert list(made.items()) == [(key, value)]
    folded = key_type in ("logical", "int8", "uint8", "int16", "uint16")
    assert made.key_type == ("double" if folded else key_type)
    assert made.value_type == value_type


def test_unknown_types_are_refused():
    with pytest.raises(ValueError, match="key_type must be 'char', 'double'"):
        kvr.Map(key_type="any")
    with pytest.raises(ValueError, match="value_type must be 'any'"):
        kvr.Map(value_type="text")


# ---- Order ----


def test_entries_stay_in_the_order_of_insertion(letters):
    letters["a"] = 9
    del letters["b"]
    letters["b"] = 5
    assert list(letters.items()) == [("a", 9), ("c", 3), ("b", 5)]
    assert list(reversed(letters)) == ["b", "c", "a"]
    assert letters.popitem() == ("b", 5)


def test_item_at_counts_from_0_and_from_the_end(letters):
    assert letters.item_at(0) == ("a", 1)
    assert letters.item_at(-1) == ("c", 3)
    for index in (3, -4, 2**70):
        with pytest.raises(IndexError):
            letters.item_at(index)


def test_change_of_size_during_iteration_is_an_error(letters):
    with pytest.raises(RuntimeError, match="changed its size"):
        for key in letters:
            del letters[key]


# ---- Operators and views ----


def test_merging(letters):
    assert letters | {"d": 4} == {"a": 1, "b": 2, "c": 3, "d": 4}
    assert list({"z": 0} | letters) == ["z", "a", "b", "c"]
    assert isinstance({"z": 0} | letters, kvr.Map)
    same = letters
    same |= {"a": 7}
    assert same is letters
    assert letters["a"] == 7
    same |= [("e", 8)]
    assert letters["e"] == 8
    with pytest.raises(TypeError):
        letters | [("e", 8)]


def test_views_follow_the_map(letters):
    keys, values, items = letters.keys(), letters.values(), letters.items()
    del letters["a"]
    assert (list(keys), list(values), list(items)) == (["b", "c"], [2, 3], [("b", 2), ("c", 3)])
    assert keys & {"b", "x"} == {"b"}
    assert ("b", 2) in items
    assert 3 in values


def test_equality(letters):
    assert letters == {"c": 3, "b": 2, "a": 1}
    assert letters != {"a": 1}
    assert letters != {"a": 1, "b": 2, "d": 3}
    assert letters != 3
    assert kvr.Map(a=[1, 2]) == {"a": np.array([[1, 2]])}
    assert kvr.Map(a=[1, 2]) != {"a": np.array([[1, 3]])}
    with pytest.raises(TypeError):
        hash(letters)


def test_copy_is_a_map_of_its_own(letters):
    twin = letters.copy()
    twin["a"] = 9
    assert letters["a"] == 1
    assert (twin.key_type, twin.value_type) == ("char", "double")


def test_repr_makes_the_same_again(letters):
    for one in (letters, kvr.Map({1: "a"}, key_type="int32"), kvr.Map()):
        again = eval(f"kvr.{one!r}")
        assert again == one
        assert (again.key_type, again.value_type) == (one.key_type, one.value_type)


# ---- Keys ----


def test_missing_key_is_a_key_error(letters):
    for key in ("d", 1, None, 1.5, ("a",)):
        with pytest.raises(KeyError) as caught:
            letters[key]
        assert caught.value.args == (key,)
        with pytest.raises(KeyError):
            del letters[key]
        assert key not in letters
        assert letters.get(key, 7) == 7
        assert letters.pop(key, 8) == 8


def test_unhashable_key_is_a_type_error(letters):
    with pytest.raises(TypeError):
        letters[[]]
    with pytest.raises(TypeError):
        assert {} in letters


def test_key_of_another_kind_is_not_taken(letters):
    with pytest.raises(TypeError, match="a key of this map is a text, not 1"):
        letters[1] = 1
    with pytest.raises(TypeError, match="a key of this map is a number, not '1'"):
        kvr.Map(key_type="double")["1"] = 1
    with pytest.raises(TypeError):
        kvr.Map(key_type="double")[1j] = 1
    assert len(letters) == 3


@pytest.mark.parametrize("key", ["", "\0", "a\0b", "Grüße", "\U0001f600", "\ud800"])
def test_any_text_is_a_key(key):
    made = kvr.Map({key: 1, "x": 2})
    assert made[key] == 1
    assert list(made) == [key, "x"]


def test_equal_numbers_are_one_key():
    made = kvr.Map({1: "a"}, key_type="int32")
    assert made[1.0] == made[True] == made[np.int8(1)] == "a"
    made[1.0] = "b"
    assert list(made) == [1]
    assert type(next(iter(made))) is int


@pytest.mark.parametrize(
    ("key_type", "key"),
    [
        ("int32", 1.5), ("int32", 2**31), ("int32", -(2**31) - 1), ("uint32", -1),
        ("int32", math.inf), ("int64", 2**53 + 1), ("uint64", 2**64), ("int64", 10**400),
        ("double", 2**53 + 1), ("double", 10**400), ("single", 0.1), ("single", 1e300),
    ],
)  # fmt: skip
def test_key_that_would_change_overflows(key_type, key):
    made = kvr.Map(key_type=key_type)
    with pytest.raises(OverflowError, match="does not fit"):
        made[key] = 1
    assert key not in made
    assert len(made) == 0
    with pytest.raises(KeyError):
        made[key]


@pytest.mark.parametrize("key_type", ["double", "single", "int32", "int64"])
def test_nan_is_no_key(key_type):
    made = kvr.Map({0: 1}, key_type=key_type)
    with pytest.raises(ValueError, match="NaN is not a key"):
        made[math.nan] = 1
    assert math.nan not in made


# ---- Values ----


@pytest.mark.parametrize("value_type", INTEGERS)
def test_integer_values_up_to_the_limits_are_kept(value_type):
    info = np.iinfo(value_type)
    made = kvr.Map(low=int(info.min), high=int(info.max), value_type=value_type)
    assert (made["low"], made["high"]) == (info.min, info.max)
    assert type(made["low"]) is int
    for wrong in (int(info.min) - 1, int(info.max) + 1, 0.5, math.nan, math.inf, -math.inf):
        with pytest.raises(OverflowError, match=f"does not fit {value_type}"):
            made["low"] = wrong
    assert made["low"] == info.min


@pytest.mark.parametrize("number", [2**53 + 1, 2**62 + 1, -(2**53) - 1])
def test_wide_integer_that_a_double_would_change_overflows(number):
    for value_type in ("int64", "double"):
        with pytest.raises(OverflowError):
            kvr.Map(a=number, value_type=value_type)
    assert kvr.Map(a=2**53, value_type="int64")["a"] == 2**53


def test_floats_are_kept_or_overflow():
    made = kvr.Map(nan=math.nan, inf=-math.inf, half=0.5, value_type="single")
    assert math.isnan(made["nan"])
    assert (made["inf"], made["half"]) == (-math.inf, 0.5)
    with pytest.raises(OverflowError):
        made["half"] = 0.1
    assert kvr.Map(a=0.1, value_type="double")["a"] == 0.1


def test_truths_are_kept_or_overflow():
    made = kvr.Map(yes=True, no=0, value_type="logical")
    assert (made["yes"], made["no"]) == (True, False)
    assert made["yes"] is True
    for wrong in (2, 0.5, -1):
        with pytest.raises(OverflowError):
            made["yes"] = wrong


def test_texts_are_kept_and_nothing_else():
    made = kvr.Map(a="", value_type="char")
    assert made["a"] == ""
    with pytest.raises(TypeError, match="a value of this map is a text"):
        made["a"] = 1


def test_any_values_come_back_as_the_host_gives_them():
    made = kvr.Map(none=None, text="t", list=[1, 2], dict={"a": 1}, map=kvr.Map(x=1)._host)
    assert made["none"] is None
    assert made["text"] == "t"
    assert made["list"].tolist() == [[1, 2]]
    assert made["dict"] == {"a": 1}
    assert made.setdefault("new", None) is None
    assert made.setdefault("text", "u") == "t"


def test_position_of_another_type_is_a_type_error():
    for wrong in ("0", 0.0, None):
        with pytest.raises(TypeError, match="cannot be interpreted as an integer"):
            kvr.Map(a=1).item_at(wrong)


def test_copy_with_its_values_is_a_map_of_its_own():
    held = kvr.Map({2.5: [1.0, 2.0], 1.5: {"unit": "m"}}, key_type="double")
    for twin in (copy.deepcopy(held), pickle.loads(pickle.dumps(held))):
        assert (twin, twin.key_type, twin.value_type) == (held, "double", "any")
        assert list(twin) == [2.5, 1.5]
        twin[3.5] = 1
        assert len(held) == 2
