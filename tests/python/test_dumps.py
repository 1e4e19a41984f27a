"""Values as bytes: vormel.dumps and vormel.loads."""

import doctest
import struct

import numpy as np
import pytest
import vormel

PREFIX = bytes.fromhex("d9d9f7 84 6c") + b"vormel value" + b"\x01"

NESTED = {
    "Time": np.array([[0.0], [0.5]]),
    "Data": np.arange(24, dtype=np.int16).reshape(2, 3, 4),
    "complex": np.array([1 + 2j, 3 - 4j], dtype=np.complex64),
    "truth": [True, False],
    "text": "Geschwindigkeit \u20ac \U0001f600",
    "cell": [1, "two", [], {"three": None}],
    "list": [{"a": 1}, {"a": 2}],
}


def value_of(data):
    """The bytes between what every result of dumps begins with, and the sum."""
    assert data.startswith(PREFIX)
    assert data[-9] == 0x48
    return data[len(PREFIX) : -9]


# Each worked out by hand from RFC 8949 and RFC 8746.
@pytest.mark.parametrize(
    ("value", "form"),
    [
        (1.5, "83 66 646f75626c65 82 01 01 d856 48 000000000000f83f"),
        (np.float32([[1.5]]), "83 66 73696e676c65 82 01 01 d855 44 0000c03f"),
        (True, "83 67 6c6f676963616c 82 01 01 d840 41 01"),
        ("h\u00e9", "83 64 63686172 82 01 02 d845 44 6800e900"),
        (np.int8([[-1, 2]]), "83 64 696e7438 82 01 02 d848 42 ff02"),
        (np.uint8([[255]]), "83 65 75696e7438 82 01 01 d840 41 ff"),
        (np.int16([[-2]]), "83 65 696e743136 82 01 01 d84d 42 feff"),
        (np.uint16([[258]]), "83 66 75696e743136 82 01 01 d845 42 0201"),
        (7, "83 65 696e743332 82 01 01 d84e 44 07000000"),
        (np.uint32([[7]]), "83 66 75696e743332 82 01 01 d846 44 07000000"),
        (np.int64([[-1]]), "83 65 696e743634 82 01 01 d84f 48 ffffffffffffffff"),
        (np.uint64([[1]]), "83 66 75696e743634 82 01 01 d847 48 0100000000000000"),
        (
            1 - 2j,
            "84 66 646f75626c65 82 01 01 d856 48 000000000000f03f d856 48 00000000000000c0",
        ),
        (None, "83 66 646f75626c65 82 00 00 d856 40"),
        (
            np.zeros((2, 0, 300)),
            "83 66 646f75626c65 83 02 00 19012c d856 40",
        ),
        (
            [None, "a"],
            "83 64 63656c6c 82 01 02 82"
            "83 66 646f75626c65 82 00 00 d856 40"
            "83 64 63686172 82 01 01 d845 42 6100",
        ),
        (
            {"x": True, "yz": None},
            "84 66 737472756374 82 01 01 82 61 78 62 797a 81 82"
            "83 67 6c6f676963616c 82 01 01 d840 41 01"
            "83 66 646f75626c65 82 00 00 d856 40",
        ),
    ],
)
def test_bytes_of_a_value_are_those_worked_out_by_hand(value, form):
    assert value_of(vormel.dumps(value)) == bytes.fromhex(form)


def test_bytes_of_objects_and_functions_are_those_worked_out_by_hand():
    series = vormel.timeseries(1.5, True)
    assert value_of(vormel.dumps(series)) == bytes.fromhex(
        "85 66 6f626a656374 82 01 01 6a 74696d65736572696573 82 64 44617461 64 54696d65 81 82"
        "83 66 646f75626c65 82 01 01 d856 48 000000000000f83f"
        "83 67 6c6f676963616c 82 01 01 d840 41 01"
    )
    assert value_of(vormel.dumps(vormel.function_handle("sin"))) == bytes.fromhex(
        "83 6f 66756e6374696f6e5f68616e646c65 82 01 01 63 73696e"
    )


def test_structures_without_fields_take_a_byte_an_element():
    data = vormel.dumps(vormel.array([], "struct"))
    assert value_of(data) == bytes.fromhex("84 66 737472756374 82 00 00 80 80")
    assert vormel.loads(data).shape == (0, 0)


def test_value_comes_back_equal_and_its_bytes_are_the_same_again():
    array = vormel.array(NESTED)
    data = vormel.dumps(NESTED)
    assert type(data) is bytes
    back = vormel.loads(data)
    assert type(back) is vormel.Array
    assert back == array
    assert vormel.dumps(back) == data == vormel.dumps(array)


def test_text_keeps_lone_surrogates_and_nuls():
    text = "a\0\ud800b"
    assert vormel.loads(vormel.dumps(text)).to_python() == text


@pytest.mark.parametrize(
    "wrap",
    [
        bytearray,
        memoryview,
        lambda data: np.frombuffer(data, dtype=np.uint8),
        lambda data: np.repeat(np.frombuffer(data, dtype=np.uint8), 2)[::2],
        lambda data: memoryview(bytes(reversed(data)))[::-1],
    ],
)
def test_any_bytes_like_object_can_be_loaded(wrap):
    data = vormel.dumps(NESTED)
    assert vormel.loads(wrap(data)) == vormel.array(NESTED)


@pytest.mark.parametrize("data", ["text", None, 5, [1, 2], {}])
def test_what_is_not_bytes_like_is_refused(data):
    with pytest.raises(vormel.CallError, match="takes a bytes-like object") as caught:
        vormel.loads(data)
    assert isinstance(caught.value, TypeError)
    assert caught.value.identifier == "Vormel:NotBytes"


def test_changed_byte_anywhere_is_refused():
    data = bytearray(vormel.dumps({"a": [1, 2]}))
    for place in range(len(data)):
        data[place] ^= 1
        with pytest.raises(vormel.Error) as caught:
            vormel.loads(data)
        assert caught.value.identifier == "Vormel:ValueBytes"
        data[place] ^= 1


def test_bytes_cut_anywhere_or_with_more_behind_are_refused():
    data = vormel.dumps({"a": [1, 2]})
    for length in range(len(data)):
        with pytest.raises(vormel.Error):
            vormel.loads(data[:length])
    with pytest.raises(vormel.Error):
        vormel.loads(data + b"\0")


def test_what_a_file_cannot_hold_is_refused(repo):
    with pytest.raises(vormel.Error, match="an opaque array cannot be stored") as caught:
        vormel.dumps([1, repo])
    assert caught.value.identifier == "Vormel:NotStorable"


def test_large_values_take_little_more_than_their_elements():
    values = np.arange(1_000_000, dtype=np.float64)
    data = vormel.dumps(values)
    assert len(data) < values.nbytes + 60
    assert data.endswith(struct.pack("<d", 999_999.0) + data[-9:])
    np.testing.assert_array_equal(vormel.loads(data).to_python(), [values])


def test_nothing_is_left_behind():
    data = vormel.dumps(NESTED)
    before = vormel.live_arrays()
    for _ in range(10):
        vormel.loads(data)
        with pytest.raises(vormel.Error):
            vormel.loads(data[:-1])
    assert vormel.live_arrays() == before


def test_examples_of_the_documentation_run():
    for function in (vormel.dumps, vormel.loads):
        results = [
            doctest.DocTestRunner().run(test)
            for test in doctest.DocTestFinder().find(function, globs={})
        ]
        assert [(result.failed, result.attempted > 0) for result in results] == [(0, True)]
