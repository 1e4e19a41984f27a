"""NumPy arrays go in by their dtype and come out as views of the host's memory."""

import gc

import hypothesis
import numpy as np
import pytest
import vormel
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

CLASSES = [
    ("bool", 3, "logical"),
    ("float64", 6, "double"),
    ("float32", 7, "single"),
    ("int8", 8, "int8"),
    ("uint8", 9, "uint8"),
    ("int16", 10, "int16"),
    ("uint16", 11, "uint16"),
    ("int32", 12, "int32"),
    ("uint32", 13, "uint32"),
    ("int64", 14, "int64"),
    ("uint64", 15, "uint64"),
]

DTYPES = [dtype for dtype, _, _ in CLASSES] + ["complex64", "complex128"]


def expected(array):
    return np.reshape(array, (1,) * (2 - array.ndim) + array.shape)


@pytest.mark.parametrize("dtype, class_id, class_name", CLASSES)
def test_dtype_decides_the_class(dtype, class_id, class_name):
    array = vormel.array(np.ones((2, 3), dtype))
    assert (array.class_id, array.class_name, array.shape) == (class_id, class_name, (2, 3))
    assert array.to_python().dtype == dtype


@pytest.mark.parametrize("dtype, part", [("complex64", "single"), ("complex128", "double")])
def test_complex_dtype_gives_complex_array(dtype, part):
    array = vormel.array(np.array([[1 + 2j, 3]], dtype))
    assert (array.class_name, array.is_complex) == (part, True)
    assert array.to_python().dtype == dtype
    assert array.to_python().tolist() == [[1 + 2j, 3]]


@pytest.mark.parametrize(
    "shape, host_shape",
    [((), (1, 1)), ((0,), (1, 0)), ((3,), (1, 3)), ((3, 1), (3, 1)), ((0, 4), (0, 4)),
     ((2, 3, 4), (2, 3, 4)), ((2, 3, 1), (2, 3, 1)), ((1, 1, 1), (1, 1, 1))],
)  # fmt: skip
def test_shape_is_kept_from_two_dimensions_on(shape, host_shape):
    array = vormel.array(np.zeros(shape))
    assert array.shape == host_shape


@hypothesis.settings(deadline=None, max_examples=300)
@hypothesis.given(
    hnp.arrays(
        dtype=st.sampled_from(DTYPES).flatmap(
            lambda name: st.sampled_from([np.dtype(name), np.dtype(name).newbyteorder()])
        ),
        shape=hnp.array_shapes(min_dims=0, max_dims=5, min_side=0, max_side=5),
    ),
    st.data(),
)
def test_any_array_comes_back_equal(array, data):
    steps = [data.draw(st.sampled_from([1, 2, -1])) for _ in range(array.ndim)]
    array = array[tuple(slice(None, None, step) for step in steps)]
    array = np.transpose(array, data.draw(st.permutations(range(array.ndim))))
    back = vormel.array(array).to_python()
    np.testing.assert_array_equal(np.asarray(back).reshape(expected(array).shape), expected(array))


@pytest.mark.parametrize("dtype", DTYPES)
def test_foreign_byte_order_is_read_right(dtype):
    array = np.arange(6).reshape(2, 3).astype(np.dtype(dtype).newbyteorder())
    np.testing.assert_array_equal(vormel.array(array).to_python(), array)


def test_unaligned_array_is_read_right():
    records = np.zeros(3, dtype=[("pad", "u1"), ("value", "f8")])
    records["value"] = [1.5, 2.5, 3.5]
    assert vormel.array(records["value"]).to_python().tolist() == [[1.5, 2.5, 3.5]]


def test_array_subclass_counts_as_its_data():
    assert vormel.array(np.zeros(2, "i4").view(np.recarray)).shape == (1, 2)


def test_bool_bytes_become_truths():
    odd = np.array([0, 1, 2, 255], np.uint8).view(bool)
    assert vormel.array(odd).to_python().view(np.uint8).tolist() == [[0, 1, 1, 1]]


@pytest.mark.parametrize(
    "array",
    [
        np.zeros(2, "float16"),
        np.zeros(2, "longdouble"),
        np.zeros(2, "clongdouble"),
        np.zeros(2, "datetime64[s]"),
        np.zeros(2, "timedelta64[s]"),
        np.array([1, "a"], object),
        np.zeros(2, "S3"),
        np.array(["ab"]),
        np.zeros(2, [("a", "i4")]),
        np.float16(1),
        np.longdouble(1),
        np.datetime64("2020-01-01"),
        np.timedelta64(1, "s"),
        [np.timedelta64(1, "s"), 2],
        np.void(b"ab"),
        np.bytes_(b"ab"),
    ],
    ids=repr,
)
def test_dtype_without_a_class_is_refused_by_name(array):
    with pytest.raises(vormel.CallError) as error:
        vormel.array(array)
    assert error.value.identifier == "Vormel:NotConvertible"


def test_refused_dtype_is_named():
    with pytest.raises(vormel.CallError, match="datetime64"):
        vormel.array(np.zeros(2, "datetime64[s]"))


# ---- Characters ----


def test_single_characters_become_character_array_and_come_back():
    letters = np.array([["a", "ü"], ["日", ""]])
    array = vormel.array(letters)
    assert (array.class_name, array.shape) == ("char", (2, 2))
    back = array.to_python()
    assert (back.dtype, back.tolist()) == (np.dtype("U1"), letters.tolist())


def test_row_of_single_characters_comes_back_as_str():
    assert vormel.array(np.array(["a", "b"])).to_python() == "ab"
    assert vormel.array(np.array("a")).to_python() == "a"


def test_foreign_byte_order_of_characters_is_read_right():
    letters = np.array([["a"], ["b"]]).astype(">U1")
    assert vormel.array(letters).to_python().tolist() == [["a"], ["b"]]


def test_empty_character_array_comes_back_as_empty_str():
    array = vormel.array(np.zeros((3, 0), "U1"))
    assert (array.class_name, array.shape, array.to_python()) == ("char", (3, 0), "")


def test_character_beyond_one_unit_is_refused():
    with pytest.raises(vormel.CallError):
        vormel.array(np.array([["a", "😀"]]))


# ---- Views ----


def test_result_is_a_read_only_view_in_fortran_order():
    view = vormel.array(np.arange(6.0).reshape(2, 3)).to_python()
    assert view.flags.f_contiguous
    assert not view.flags.owndata
    assert not view.flags.writeable
    assert view.tolist() == [[0, 1, 2], [3, 4, 5]]
    with pytest.raises(ValueError):
        view[0, 0] = 1
    with pytest.raises(ValueError):
        view.flags.writeable = True


def test_views_of_one_array_share_its_memory():
    array = vormel.array(np.arange(1000.0))
    assert np.shares_memory(array.to_python(), array.to_python())


def test_complex_result_is_read_only_in_fortran_order():
    values = vormel.array(np.array([[1j, 2], [3, 4]])).to_python()
    assert values.flags.f_contiguous
    assert not values.flags.writeable


def test_view_keeps_the_memory_when_all_else_is_dropped():
    array = vormel.array({"data": np.arange(100_000.0)})
    view = array.to_python()["data"]
    del array
    gc.collect()
    assert view.sum() == 4999950000.0


def test_view_counts_as_one_live_array():
    before = vormel.live_arrays()
    view = vormel.array(np.arange(10.0)).to_python()
    part = view[:, 2:5]
    assert vormel.live_arrays() == before + 1
    del view
    assert vormel.live_arrays() == before + 1
    del part
    assert vormel.live_arrays() == before


def test_change_of_the_source_does_not_reach_the_host():
    source = np.zeros(3)
    array = vormel.array(source)
    source[0] = 7
    assert array.to_python().tolist() == [[0, 0, 0]]


def test_scalar_result_is_numpy_scalar_of_its_dtype():
    for dtype in DTYPES[1:]:
        value = vormel.array(np.ones((1, 1), dtype)).to_python()
        assert type(value) is np.dtype(dtype).type


def test_logical_scalar_is_bool():
    assert vormel.array(np.bool_(True)).to_python() is True
    assert vormel.array(np.ones((1, 2), bool)).to_python().dtype == bool


def test_one_element_of_three_dimensions_stays_an_array():
    assert vormel.array(np.ones((1, 1, 1))).to_python().shape == (1, 1, 1)


def test_memory_that_cannot_be_had_is_out_of_memory_error():
    with pytest.raises(vormel.OutOfMemoryError) as error:
        vormel.array(np.broadcast_to(np.float64(1), (2**40, 2**10)))
    assert isinstance(error.value, MemoryError)
    assert isinstance(error.value, vormel.Error)
