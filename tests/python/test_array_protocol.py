"""Values that give NumPy arrays, arrays that are refused with a hint, and vormel.Array for NumPy."""

import datetime

import numpy as np
import pytest
import vormel


class Gives:
    """A class of somebody's own with __array__."""

    def __init__(self, result):
        self.result = result

    def __array__(self):
        return self.result


def refusal(value, cls=None):
    with pytest.raises(vormel.CallError) as caught:
        vormel.array(value, cls)
    assert caught.value.identifier == "Vormel:NotConvertible"
    return str(caught.value)


# ---- Going in: anything else with __array__ ----


@pytest.mark.parametrize(
    "given, class_name, shape",
    [
        (np.arange(3.0), "double", (1, 3)),
        (np.ones((2, 3), "u2"), "uint16", (2, 3)),
        (np.array(True), "logical", (1, 1)),
        (np.array([["a"], ["b"]]), "char", (2, 1)),
        (np.array([1j], "c8"), "single", (1, 1)),
    ],
)
def test_value_with_an_array_goes_in_as_that_array(given, class_name, shape):
    array = vormel.array(Gives(given))
    assert (array.class_name, array.shape) == (class_name, shape)
    assert array == vormel.array(given)


def test_value_with_an_array_is_an_argument(any_map, repo):
    any_map.insert("series", Gives(np.array([1.0, 2.0])))
    assert any_map.getDataByKey("series").tolist() == [[1.0, 2.0]]
    run = repo.createEmptyRun("Monday", Gives(np.array(1)))
    assert repo.getRunName(Gives(np.array([run]))) == "Monday"


def test_value_with_an_array_stands_within_containers_and_value_objects():
    cell = vormel.array([Gives(np.arange(2.0)), "a"])
    assert cell.to_python()[0].tolist() == [[0.0, 1.0]]
    assert vormel.timeseries(Gives(np.arange(2.0)), 1.0).Data.tolist() == [[0.0, 1.0]]
    assert vormel.array(Gives(np.arange(3)), "int8").class_name == "int8"
    assert vormel.array(Gives(np.array([1, "a"], object)), "cell").to_python() == [1, "a"]


@pytest.mark.parametrize("result", [None, 5, [1.0], np.float64(1)], ids=repr)
def test_array_method_that_gives_no_array_is_refused(result):
    assert "__array__" in refusal(Gives(result))


def test_masked_array_that_an_array_method_gives_is_refused():
    assert ".filled(" in refusal(Gives(np.ma.masked_array([1.0, 2.0], [False, True])))


def test_what_an_array_method_raises_comes_through_every_way_in(any_map):
    class Failing:
        def __array__(self):
            raise ZeroDivisionError("of the caller's own")

    before = vormel.live_arrays()
    for use in (
        lambda: vormel.array(Failing()),
        lambda: vormel.array(Failing(), "double"),
        lambda: vormel.array(Failing(), "cell"),
        lambda: vormel.array([1, Failing()]),
        lambda: vormel.timeseries([1.0], Failing()),
        lambda: vormel.dumps({"a": [Failing()]}),
        lambda: any_map.insert("a", Failing()),
        lambda: any_map.getDataByIndex(Failing()),
    ):
        with pytest.raises(ZeroDivisionError):
            use()
    assert any_map.getCount() == 0
    assert vormel.live_arrays() == before


def test_class_with_an_array_method_is_no_value():
    refusal(Gives)
    refusal(np.ndarray)


def test_list_with_an_array_method_counts_as_a_list():
    class Both(list):
        def __array__(self):
            raise AssertionError("asked")

    assert vormel.array(Both([1, 2])).to_python().tolist() == [[1, 2]]


def test_series_and_frames_go_in_as_their_arrays():
    pandas = pytest.importorskip("pandas")
    assert vormel.array(pandas.Series([1.5, 2.5])).to_python().tolist() == [[1.5, 2.5]]
    assert vormel.array(pandas.Series([1, 2], dtype="uint8")).class_name == "uint8"
    assert vormel.array(pandas.Series([True, False])).class_name == "logical"
    assert vormel.array(pandas.Index([1.0, 2.0])).shape == (1, 2)
    frame = pandas.DataFrame({"a": [1.0, 2.0, 3.0], "b": [4.0, 5.0, 6.0]})
    assert vormel.array(frame).to_python().tolist() == [[1, 4], [2, 5], [3, 6]]
    assert vormel.array(pandas.Series(["a", "bc"]), "cell").to_python() == ["a", "bc"]


@pytest.mark.parametrize("zone", [None, "UTC"])
def test_series_of_dates_are_refused_with_a_hint(zone):
    pandas = pytest.importorskip("pandas")
    dates = pandas.Series(pandas.date_range("2020-01-01", periods=2, tz=zone))
    refusal(dates)
    refusal(dates, "cell")
    refusal(pandas.Index(dates))
    assert "timedelta64" in refusal(pandas.Series(pandas.to_timedelta([1, 2], "s")))
    assert "seconds" in refusal(pandas.Timestamp("2020-01-01", tz=zone))
    assert "seconds" in refusal(pandas.Timedelta(1, "s"))
    refusal(pandas.NaT)


def test_series_and_frames_of_objects_that_are_dates_are_refused_as_dates():
    pandas = pytest.importorskip("pandas")
    zoned = pandas.Series(pandas.date_range("2020-01-01", periods=2, tz="UTC"))
    frame = pandas.DataFrame({"speed": [1.0, 2.0], "at": zoned})
    for value in (zoned, frame, [zoned, 1], {"at": zoned}):
        assert "total_seconds()" in refusal(value)
    assert "seconds" in refusal(zoned, "cell")
    assert "timedelta64" in refusal(
        pandas.Series(pandas.date_range("2020-01-01", periods=2)), "double"
    )


def test_data_arrays_go_in_as_their_arrays():
    xarray = pytest.importorskip("xarray")
    speed = xarray.DataArray([[1.0, 2.0]], dims=["run", "time"])
    assert vormel.array(speed).to_python().tolist() == [[1.0, 2.0]]
    assert vormel.array(speed.sum()).to_python() == 3.0
    assert vormel.array(speed.astype("f4")[0]).shape == (1, 2)
    dates = xarray.DataArray(np.array(["2020-01-01"], "datetime64[ns]"))
    assert "timedelta64" in refusal(dates)


def test_hint_for_series_of_dates_works():
    pandas = pytest.importorskip("pandas")
    times = pandas.Series(pandas.date_range("2020-01-01", periods=3, freq="s"))
    seconds = (times - times[0]) / np.timedelta64(1, "s")
    assert vormel.array(seconds).to_python().tolist() == [[0.0, 1.0, 2.0]]


# ---- Refused, with what to do instead ----

HINTS = [
    (np.array(["2020-01-01"], "datetime64[s]"), "np.timedelta64(1, 's')"),
    (np.datetime64("2020-01-01"), "np.timedelta64(1, 's')"),
    (np.array([1], "timedelta64[s]"), "np.timedelta64(1, 's')"),
    (np.timedelta64(1, "s"), "np.timedelta64(1, 's')"),
    (np.zeros(2, "float16"), ".astype(np.float32)"),
    (np.float16(1), ".astype(np.float32)"),
    (np.zeros(2, "longdouble"), ".astype(np.float64)"),
    (np.longdouble(1), ".astype(np.float64)"),
    (np.zeros(2, "clongdouble"), ".astype(np.complex128)"),
    (np.zeros(2, [("a", "i4"), ("b", "f8")]), "dict of its fields"),
    (np.zeros(2, "V8"), ".view(np.uint8)"),
    (np.void(b"ab"), ".view(np.uint8)"),
    (np.array([b"ab"]), ".astype(str)"),
    (np.bytes_(b"ab"), ".astype(str)"),
    (np.array(["ab", "c"]), ".tolist()"),
    (np.array([1, "a"], object), 'vormel.array(value, "cell")'),
    (np.ma.masked_array([1.0, 2.0], [False, True]), ".filled("),
    (np.ma.masked, ".filled("),
    (datetime.datetime(2020, 1, 1), "seconds"),
    (datetime.date(2020, 1, 1), "seconds"),
    (datetime.time(1), "seconds"),
    (datetime.timedelta(1), "total_seconds()"),
    (b"bytes", "decode"),
    (bytearray(b"x"), "decode"),
    (range(3), "list(value)"),
    ({1, 2}, "list(value)"),
    (len, "vormel.function_handle"),
]


@pytest.mark.parametrize("value, hint", HINTS, ids=lambda item: repr(item)[:60])
def test_refusal_says_what_to_pass_instead(value, hint):
    assert hint in refusal(value)
    assert hint in refusal([value, "a"])
    assert hint in refusal({"field": value})


DATE = datetime.datetime(2020, 1, 1)


@pytest.mark.parametrize(
    "times, hint",
    [
        ([DATE, DATE + datetime.timedelta(seconds=2)], "[(time - start).total_seconds() for time in times]"),
        ([None, DATE.date()], "[(time - start).total_seconds() for time in times]"),
        ([datetime.timedelta(seconds=3)], "[time.total_seconds() for time in times]"),
        ([1, "a"], ".astype(float)"),
    ],
)  # fmt: skip
def test_refusal_of_an_object_array_looks_at_its_items(times, hint):
    objects = np.array(times, object)
    assert hint in refusal(objects)
    assert hint in refusal(np.array([objects, objects]), "double")
    assert hint in refusal({"times": objects})


@pytest.mark.parametrize(
    "item, hint",
    [
        (DATE, "total_seconds()"),
        (datetime.time(1), "since midnight"),
        (datetime.timedelta(1), "value.total_seconds()"),
        (np.datetime64("2020-01-01"), "np.timedelta64(1, 's')"),
        (np.timedelta64(1, "s"), "np.timedelta64(1, 's')"),
        (np.ma.masked, ".filled("),
        (np.ma.masked_array([1.0], [True]), ".filled("),
    ],
    ids=lambda item: repr(item)[:40],
)
@pytest.mark.parametrize("cls", ["double", "int8", "logical", "char"])
def test_dates_and_masked_elements_in_lists_of_a_class_are_refused_with_their_hint(cls, item, hint):
    assert hint in refusal([1, item], cls)
    assert hint in refusal([[1, 2], [3, item]], cls)
    assert hint in refusal((item,), cls)


def test_hints_for_times_lead_to_numbers_that_go_in():
    times = [DATE, DATE + datetime.timedelta(seconds=2)]
    start = times[0]
    seconds = vormel.array([(time - start).total_seconds() for time in times])
    assert seconds.to_python().tolist() == [[0.0, 2.0]]
    value = datetime.timedelta(minutes=1)
    assert vormel.array(value.total_seconds()).to_python() == 60.0
    time = datetime.time(1, 2, 3)
    expression = refusal(time).split("since midnight: ")[1]
    assert vormel.array(eval(expression, {"time": time})).to_python() == 3723


def test_hints_lead_to_values_that_go_in():
    record = np.zeros(2, [("a", "i4"), ("b", "f8")])
    fields = vormel.array({name: record[name] for name in record.dtype.names})
    assert list(fields.to_python()) == ["a", "b"]
    assert vormel.array(np.array([b"ab"]).astype(str).tolist()).to_python() == ["ab"]
    assert vormel.array(np.array(["ab", "c"]), "cell").to_python() == ["ab", "c"]
    assert vormel.array(np.zeros(2, "V8").view(np.uint8)).shape == (1, 16)
    masked = np.ma.masked_array([1.0, 2.0], [False, True])
    assert vormel.array(masked.filled(7)).to_python().tolist() == [[1.0, 7.0]]
    assert vormel.array(masked.compressed()).to_python() == 1.0


def test_masked_array_without_masked_elements_goes_in():
    for mask in (np.ma.nomask, [False, False]):
        masked = np.ma.masked_array([1.0, 2.0], mask)
        assert vormel.array(masked).to_python().tolist() == [[1.0, 2.0]]
    assert vormel.array(np.ma.masked_array([1, "a"], dtype=object), "cell").to_python() == [1, "a"]


@pytest.mark.parametrize("cls", ["double", "cell", "logical", "struct"])
def test_masked_elements_are_refused_for_every_class(cls):
    refusal(np.ma.masked_array([1.0, 2.0], [False, True]), cls)


# ---- Cells of NumPy arrays ----


def test_cell_of_numbers_holds_a_scalar_each():
    cell = vormel.array(np.array([[1, 2, 3], [4, 5, 6]], ">i2"), "cell")
    assert (cell.class_name, cell.shape) == ("cell", (2, 3))
    assert cell.to_python().tolist() == [[1, 2, 3], [4, 5, 6]]
    assert type(cell.to_python()[0, 0]) is np.int16
    assert vormel.array(np.array([1j, 2]), "cell").to_python() == [1j, 2]


@pytest.mark.parametrize("dtype", ["<U3", ">U3"])
def test_cell_of_texts_holds_a_text_each(dtype):
    texts = np.array([["ab", "", "a\0b"], ["日本", "😀", "x"]], dtype)
    assert vormel.array(texts, "cell").to_python().tolist() == texts.tolist()


def test_cell_of_an_unwritten_object_array_holds_empty_doubles():
    cell = vormel.array(np.empty(2, object), "cell").to_python()
    assert [item.shape for item in cell] == [(0, 0), (0, 0)]


# ---- Nested lists of a class ----


def test_nested_lists_take_any_depth():
    deep = [[[1, 2], [3, 4], [5, 6]], [[7, 8], [9, 10], [11, 12]]]
    array = vormel.array(deep, "int16")
    assert array.shape == (2, 3, 2)
    np.testing.assert_array_equal(array.to_python(), np.array(deep))


def test_rows_of_nested_lists_may_be_of_different_kinds():
    array = vormel.array([[1, 2], (2.5, True), np.array([3, 4], "u1"), [1j, 0]], "double")
    expected = [[1, 2], [2.5, 1], [3, 4], [1j, 0]]
    assert array.to_python().tolist() == expected


@pytest.mark.parametrize(
    "value",
    [[[1], 2], [1, [2]], [[1, 2], [3]], [[], [1]], [[[1]], [1]], [["ab", "cd"]], [[1, "a"]],
     [[None]], [[{}]], [np.zeros((2, 2))]],
    ids=repr,
)  # fmt: skip
def test_lists_without_a_common_shape_are_refused(value):
    refusal(value, "double")


def test_empty_nested_lists_have_their_shape():
    assert vormel.array([[], []], "int8").shape == (2, 0)
    assert vormel.array([["a", "b"], ["c", "d"]], "char").to_python().tolist() == [
        ["a", "b"], ["c", "d"],
    ]  # fmt: skip
    assert vormel.array(["a", "b"], "char").to_python() == "ab"


# ---- vormel.Array for NumPy ----


@pytest.mark.parametrize(
    "value, dtype, content",
    [
        (np.arange(6.0).reshape(2, 3), "float64", [[0, 1, 2], [3, 4, 5]]),
        (5, "int32", [[5]]),
        (True, "bool", [[True]]),
        ([1j, 2], "complex128", [[1j, 2]]),
        ("abc", "<U1", [["a", "b", "c"]]),
        ("", "<U1", []),
        ([1, "a"], "object", [[1, "a"]]),
        ({"a": 1}, "object", [[{"a": 1}]]),
        ([{"a": 1}, {"a": 2}], "object", [[{"a": 1}, {"a": 2}]]),
        ([], "float64", []),
    ],
)
def test_array_is_a_numpy_array_of_its_shape(value, dtype, content):
    array = vormel.array(value)
    face = np.asarray(array)
    assert (face.dtype, face.shape, face.tolist()) == (np.dtype(dtype), array.shape, content)


def test_function_handles_and_objects_stand_in_object_arrays(any_map):
    handle = vormel.function_handle("sin")
    assert np.asarray(handle).tolist() == [[handle]]
    assert np.asarray(vormel.array(any_map))[0, 0] is any_map
    series = vormel.timeseries(1.0, 2.0)
    assert np.asarray(vormel.array(series)).tolist() == [[series]]


def test_numbers_share_the_hosts_memory_and_cannot_be_written():
    array = vormel.array(np.arange(10.0))
    face = np.asarray(array)
    assert np.shares_memory(face, array.to_python())
    assert not face.flags.writeable
    del array
    assert face.sum() == 45


@pytest.mark.parametrize("value", [[1.5, 2.5], [1j, 2], "ab", [1, "a"]], ids=repr)
def test_copy_asked_for_can_be_written_and_shares_nothing(value):
    array = vormel.array(value)
    for face in (np.array(array), array.__array__(copy=True), array.__array__(None, copy=True)):
        face[0, 0] = face[0, 1]
        assert face[0, 0] == face[0, 1]
        assert not np.shares_memory(face, np.asarray(array))
    assert np.asarray(array)[0, 0] != np.asarray(array)[0, 1]


def test_dtype_is_converted_to():
    array = vormel.array([1.5, 2.5])
    assert np.asarray(array, dtype="f4").dtype == np.float32
    assert np.asarray(array, dtype=int).tolist() == [[1, 2]]
    assert array.__array__(np.float64).dtype == np.float64
    assert array.__array__(dtype="c16").tolist() == [[1.5, 2.5]]
    assert np.asarray(array, dtype=object).tolist() == [[1.5, 2.5]]


def test_copy_refused_where_one_is_needed():
    array = vormel.array([1.5, 2.5])
    assert np.shares_memory(array.__array__(copy=False), np.asarray(array))
    assert np.shares_memory(array.__array__("f8", copy=False), np.asarray(array))
    for other, dtype in ((array, "f4"), (vormel.array(1j), None), (vormel.array("a"), None)):
        with pytest.raises(ValueError, match="copy"):
            other.__array__(dtype, copy=False)


def test_wrong_arguments_are_type_errors():
    array = vormel.array(1)
    for arguments in ((1, 2, 3), ("no such dtype",), (object(),)):
        with pytest.raises(TypeError):
            array.__array__(*arguments)
    with pytest.raises(TypeError):
        array.__array__(order="C")


def test_arrays_are_operands_of_numpy():
    array = vormel.array([1.0, 2.0])
    assert (np.add(array, 1)).tolist() == [[2.0, 3.0]]
    assert np.mean(array) == 1.5


# ---- 0-d arrays ----


@pytest.mark.parametrize("dtype", ["bool", "i1", "u8", "f4", ">f8", "c8", ">c16", "U1", ">U1"])
def test_array_of_no_dimensions_is_one_by_one(dtype):
    value = np.array("1" if "U" in dtype else 1).astype(dtype)
    array = vormel.array(value)
    assert array.shape == (1, 1)
    assert array.to_python() == value[()]
