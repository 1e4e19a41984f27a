"""vormel.array with a class, and what an Array tells of itself."""

import numpy as np
import pytest
import vormel

NUMERIC = ["double", "single", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64",
           "uint64"]  # fmt: skip


@pytest.mark.parametrize("cls", NUMERIC + ["logical", "char", "cell", "struct"])
@pytest.mark.parametrize("value", [[], None, ()])
def test_empty_value_gives_empty_array_of_the_class(cls, value):
    array = vormel.array(value, cls)
    assert (array.class_name, array.shape) == (cls, (0, 0))


@pytest.mark.parametrize("cls", NUMERIC)
def test_numbers_take_the_named_class(cls):
    array = vormel.array([1, 2, 3], cls)
    assert (array.class_name, array.shape) == (cls, (1, 3))
    assert array.to_python().tolist() == [[1, 2, 3]]


BOUNDS = [
    ("int8", -128, 127),
    ("uint8", 0, 255),
    ("int16", -(2**15), 2**15 - 1),
    ("uint16", 0, 2**16 - 1),
    ("int32", -(2**31), 2**31 - 1),
    ("uint32", 0, 2**32 - 1),
    ("int64", -(2**63), 2**63 - 1),
    ("uint64", 0, 2**64 - 1),
]


@pytest.mark.parametrize("cls, lowest, highest", BOUNDS)
def test_bounds_of_the_class_fit_and_the_next_do_not(cls, lowest, highest):
    assert vormel.array(lowest, cls).to_python() == lowest
    assert vormel.array(highest, cls).to_python() == highest
    for outside in (lowest - 1, highest + 1):
        with pytest.raises(vormel.CallError):
            vormel.array(outside, cls)


@pytest.mark.parametrize("value", [0.5, float("nan"), float("inf"), [1, 2.5], 1e300])
def test_numbers_that_are_not_whole_do_not_fit_integers(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(value, "int64")
    assert error.value.identifier == "Vormel:NotConvertible"


def test_shape_and_complexity_are_kept():
    array = vormel.array(np.array([[1 + 2j], [3]]), "int16")
    assert (array.class_name, array.shape, array.is_complex) == ("int16", (2, 1), True)


@pytest.mark.parametrize("value", [1 + 300j, 300 + 1j, 1 + 0.5j, complex(1, float("nan"))])
def test_both_parts_of_a_complex_number_must_fit(value):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(value, "int8")
    assert error.value.identifier == "Vormel:NotConvertible"


def test_numbers_become_truths():
    assert vormel.array([0, 1, -2.5], "logical").to_python().tolist() == [[False, True, True]]
    for value in (float("nan"), 1j):
        with pytest.raises(vormel.CallError):
            vormel.array(value, "logical")


def test_nested_lists_become_a_matrix():
    array = vormel.array([[1, 2], [3, 4], [5, 6]], "double")
    assert array.to_python().tolist() == [[1, 2], [3, 4], [5, 6]]


@pytest.mark.parametrize("value", [[[1, 2], [3]], ["a", 1], [{}, 1], {"a": 1}, [object()]])
def test_what_has_no_numbers_is_refused(value):
    with pytest.raises(vormel.CallError):
        vormel.array(value, "double")


def test_characters_and_codes_are_exchanged():
    assert vormel.array("ab", "uint16").to_python().tolist() == [[97, 98]]
    assert vormel.array([97, 98], "char").to_python() == "ab"
    with pytest.raises(vormel.CallError):
        vormel.array(65536, "char")


def test_character_array_keeps_its_shape():
    array = vormel.array(np.array([["a", "b"]]), "char")
    assert (array.class_name, array.shape) == ("char", (1, 2))
    column = vormel.array([["a"], ["b"]], "char")
    assert (column.class_name, column.shape) == ("char", (2, 1))


def test_cell_holds_each_item():
    array = vormel.array([1, 2.5], "cell")
    assert (array.class_name, array.shape) == ("cell", (1, 2))
    assert array.to_python() == [1, 2.5]
    assert vormel.array("abc", "cell").to_python() == ["abc"]
    assert vormel.array(array, "cell") == array


def test_cell_takes_the_shape_of_an_object_array():
    items = np.empty((2, 2), object)
    items[:] = [[1, "a"], [None, [2.5, 3.5]]]
    array = vormel.array(items, "cell")
    assert (array.class_name, array.shape) == ("cell", (2, 2))
    back = array.to_python()
    assert (back.dtype, back.shape) == (object, (2, 2))
    assert (back[0, 0], back[0, 1]) == (1, "a")
    assert back[1, 0].shape == (0, 0)
    assert back[1, 1].tolist() == [[2.5, 3.5]]


def test_cell_of_a_flat_object_array_is_a_row():
    items = np.array([1, "a", None], object)
    assert vormel.array(items, "cell").shape == (1, 3)
    assert vormel.array(items, "cell").to_python()[:2] == [1, "a"]
    assert vormel.array(np.array({"a": 1}, object), "cell").to_python() == [{"a": 1}]


def test_empty_cell_comes_back_as_object_array():
    back = vormel.array([], "cell").to_python()
    assert (back.dtype, back.shape) == (object, (0, 0))


def test_struct_takes_dicts_alone():
    assert vormel.array({"a": 1}, "struct").shape == (1, 1)
    assert vormel.array([{"a": 1}, {"a": 2}], "struct").shape == (1, 2)
    assert vormel.array([], "struct").to_python() == []
    for value in (5, [{"a": 1}, {"b": 1}], "a"):
        with pytest.raises(vormel.CallError):
            vormel.array(value, "struct")


def test_function_handle_has_its_class():
    handle = vormel.function_handle("sin")
    assert (handle.class_id, handle.class_name, handle.shape) == (16, "function_handle", (1, 1))
    assert handle.to_python() == handle
    assert handle != vormel.function_handle("cos")


@pytest.mark.parametrize(
    "cls", ["", "Double", "int128", "handle", "timeseries", "function", "a\0b"]
)
def test_unknown_class_is_refused(cls):
    with pytest.raises(vormel.CallError):
        vormel.array(1, cls)


def test_class_that_is_no_str_is_a_type_error():
    with pytest.raises(TypeError):
        vormel.array(1, 6)


def test_arrays_are_equal_by_class_shape_and_content():
    assert vormel.array([1, 2]) == vormel.array([1, 2])
    assert vormel.array([1, 2]) != vormel.array([1.0, 2.0])
    assert vormel.array([1, 2]) != vormel.array(np.array([[1], [2]], "int32"))
    assert vormel.array(float("nan")) == vormel.array(float("nan"))
    assert vormel.array(1) != 1


def test_array_has_no_hash_and_cannot_be_made_or_changed():
    with pytest.raises(TypeError):
        hash(vormel.array(1))
    with pytest.raises(TypeError):
        vormel.Array()
    with pytest.raises(AttributeError):
        vormel.array(1).shape = (2, 2)


def test_array_shows_class_and_shape():
    assert repr(vormel.array(np.zeros((2, 3, 4)))) == "<vormel.Array 2-by-3-by-4 double>"
    assert repr(vormel.array(1j)) == "<vormel.Array 1-by-1 complex double>"
