"""Python values become host arrays: class, shape and content."""

import enum

import numpy as np
import pytest
import vormel

INT32_MAX = 2**31 - 1
INT64_MAX = 2**63 - 1
UINT64_MAX = 2**64 - 1


class Colour(enum.IntEnum):
    RED = 7


class Text(str):
    pass


SCALARS = [
    (True, "logical", True),
    (False, "logical", False),
    (0, "int32", 0),
    (INT32_MAX, "int32", INT32_MAX),
    (-(2**31), "int32", -(2**31)),
    (INT32_MAX + 1, "int64", INT32_MAX + 1),
    (-(2**31) - 1, "int64", -(2**31) - 1),
    (INT64_MAX, "int64", INT64_MAX),
    (-(2**63), "int64", -(2**63)),
    (INT64_MAX + 1, "uint64", INT64_MAX + 1),
    (UINT64_MAX, "uint64", UINT64_MAX),
    (1.5, "double", 1.5),
    (Colour.RED, "int32", 7),
    (np.bool_(True), "logical", True),
    (np.int8(-3), "int8", -3),
    (np.uint16(9), "uint16", 9),
    (np.uint64(UINT64_MAX), "uint64", UINT64_MAX),
    (np.float32(0.5), "single", 0.5),
    (np.float64(2.5), "double", 2.5),
]


@pytest.mark.parametrize("value, class_name, content", SCALARS)
def test_scalar_becomes_one_element_of_its_class(value, class_name, content):
    array = vormel.array(value)
    assert (array.class_name, array.shape, array.is_complex) == (class_name, (1, 1), False)
    assert array.to_python() == content


@pytest.mark.parametrize("value", [1 + 2j, np.complex128(1 + 2j), np.complex64(1 + 2j)])
def test_complex_number_becomes_complex_scalar(value):
    array = vormel.array(value)
    assert (array.shape, array.is_complex) == ((1, 1), True)
    assert array.class_name == ("single" if isinstance(value, np.complex64) else "double")
    assert array.to_python() == 1 + 2j


@pytest.mark.parametrize("value", [2**64, -(2**63) - 1, 10**400])
def test_int_beyond_64_bits_is_refused(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(value)
    assert error.value.identifier == "Vormel:TooLarge"


@pytest.mark.parametrize("value", [None, [], ()])
def test_nothing_becomes_empty_double(value):
    array = vormel.array(value)
    assert (array.class_name, array.shape) == ("double", (0, 0))


ROWS = [
    ([True, False], "logical", [True, False]),
    ([1, 2, 3], "int32", [1, 2, 3]),
    ((1, INT32_MAX + 1), "int64", [1, INT32_MAX + 1]),
    ([-1, INT64_MAX], "int64", [-1, INT64_MAX]),
    ([1, INT64_MAX + 1], "uint64", [1, INT64_MAX + 1]),
    ([1.0, 2.5], "double", [1.0, 2.5]),
    ([1, 2.5], "double", [1.0, 2.5]),
    ([True, 2], "double", [1.0, 2.0]),
    ([True, 2.5], "double", [1.0, 2.5]),
    ([2**70, 0.5], "double", [2.0**70, 0.5]),
    ([1], "int32", [1]),
    ([Colour.RED, 1], "int32", [7, 1]),
    ([np.int64(1), np.uint8(2)], "int32", [1, 2]),
    ([np.uint64(UINT64_MAX), 2], "uint64", [UINT64_MAX, 2]),
    ([np.bool_(True), False], "logical", [True, False]),
    ([np.float32(0.5), 2], "double", [0.5, 2.0]),
]


@pytest.mark.parametrize("value, class_name, content", ROWS)
def test_list_of_numbers_becomes_one_row(value, class_name, content):
    array = vormel.array(value)
    assert (array.class_name, array.shape) == (class_name, (1, len(content)))
    assert np.ravel(array.to_python()).tolist() == content


def test_list_with_a_complex_number_becomes_complex_row():
    array = vormel.array([1, 2j, True, np.complex64(3)])
    assert (array.class_name, array.shape, array.is_complex) == ("double", (1, 4), True)
    assert array.to_python().tolist() == [[1, 2j, 1, 3]]


@pytest.mark.parametrize("value", [[-1, INT64_MAX + 1], [2**64], [10**400, 0.5]])
def test_list_of_numbers_without_a_common_class_is_refused(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(value)
    assert error.value.identifier == "Vormel:TooLarge"


TEXTS = [
    ("", (0, 0)),
    ("a", (1, 1)),
    ("Monday", (1, 6)),
    ("Zürich", (1, 6)),
    ("日本", (1, 2)),
    ("a😀b", (1, 4)),
    ("a\0b", (1, 3)),
    ("\ud800", (1, 1)),
    ("\ufeffa", (1, 2)),
    ("\ufffea", (1, 2)),
    ("x\udc00😀", (1, 4)),
    (Text("own"), (1, 3)),
    (np.str_("numpy"), (1, 5)),
]


@pytest.mark.parametrize("text, shape", TEXTS)
def test_str_becomes_character_row_and_comes_back(text, shape):
    array = vormel.array(text)
    assert (array.class_id, array.class_name, array.shape) == (4, "char", shape)
    assert array.to_python() == text
    assert type(array.to_python()) is str


def test_dict_becomes_structure_with_fields_in_order():
    array = vormel.array({"b": 1, "a": "text", "ä": [1.0, 2.0]})
    assert (array.class_id, array.shape) == (2, (1, 1))
    assert list(array.to_python()) == ["b", "a", "ä"]


def test_empty_dict_becomes_structure_without_fields():
    array = vormel.array({})
    assert (array.class_name, array.shape, array.to_python()) == ("struct", (1, 1), {})


def test_dicts_with_equal_keys_become_structure_array_in_the_order_of_the_first():
    array = vormel.array([{"a": 1, "b": 2}, {"b": 4, "a": 3}])
    assert (array.class_name, array.shape) == ("struct", (1, 2))
    assert array.to_python() == [{"a": 1, "b": 2}, {"a": 3, "b": 4}]
    assert [list(element) for element in array.to_python()] == [["a", "b"], ["a", "b"]]


@pytest.mark.parametrize(
    "value",
    [
        [{"a": 1}, {"b": 2}],
        [{"a": 1}, {"a": 2, "b": 3}],
        [{"a": 1}, 5],
        [1, "a"],
        ["a", "b"],
        [None],
        [[]],
        [[1, 2], [3, 4]],
        (1, (2, (3, ()))),
    ],
)
def test_other_list_becomes_cell_row(value):
    array = vormel.array(value)
    assert (array.class_id, array.class_name, array.shape) == (1, "cell", (1, len(value)))


def test_nested_lists_become_nested_cells():
    outer = vormel.array([["a", [True]], "b"]).to_python()
    assert outer == [["a", True], "b"]


@pytest.mark.parametrize(
    "value",
    [
        object(),
        b"bytes",
        bytearray(b"x"),
        {1, 2},
        range(3),
        iter([1]),
        lambda: 1,
        [1, object()],
        {"a": object()},
        {1: 2},
        {"a": 1, 2: 3},
        [{1: 2}],
        {"a\0b": 1},
        {"\ud800": 1},
    ],
    ids=repr,
)
def test_value_without_a_host_array_is_refused(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(value)
    assert error.value.identifier == "Vormel:NotConvertible"
    assert isinstance(error.value, TypeError)
    assert str(error.value)


def test_list_that_holds_itself_ends_in_recursion_error():
    loop = []
    loop.append(loop)
    with pytest.raises(RecursionError):
        vormel.array(loop)


def test_dict_that_holds_itself_ends_in_recursion_error():
    loop = {}
    loop["self"] = loop
    with pytest.raises(RecursionError):
        vormel.array(loop)


def test_deeply_nested_list_ends_in_recursion_error():
    nested = []
    for _ in range(200_000):
        nested = [nested]
    with pytest.raises(RecursionError):
        vormel.array(nested)
    while nested:
        nested = nested.pop()


def test_deeply_nested_cell_is_made_compared_and_dropped():
    def nest():
        array = vormel.array("deep")
        for _ in range(100_000):
            array = (
                vormel.array(array, "cell") if array.class_name == "char" else vormel.array([array])
            )
        return array

    array = nest()
    with pytest.raises(RecursionError):
        array.to_python()
    assert array == nest()


def test_host_values_go_in_as_themselves():
    array = vormel.array([1.0, 2.0])
    assert vormel.array(array) == array
    handle = vormel.function_handle("sin")
    cell = vormel.array([array, handle])
    assert cell.to_python()[1] == handle
    assert handle.class_id == 16
    assert handle.class_name == "function_handle"


def test_list_that_changes_while_it_is_read_does_no_harm():
    values = ["a", "b"]

    class Shrinking(dict):
        def __del__(self):
            values.clear()

    values.insert(0, Shrinking())
    assert vormel.array(values).shape == (1, 3)
