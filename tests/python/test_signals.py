"""A signal goes in through Python and comes out again."""

import numpy as np
import pytest
import vormel


def signal_arguments(run, series, source="speed"):
    return (None, run, "root", "time", source, series, "plant/speed", "plant", "Speed",
            1, [1, 2], 3, [1], "plant:7", {"unit": "m/s"}, None, "root")  # fmt: skip


@pytest.fixture
def series():
    return vormel.timeseries(np.array([[1.5], [2.5]]), np.array([[0.0], [1.0]]), Name="speed")


# What a dropped store keeps, it keeps to the end of the process: the signal's series and metadata.
@pytest.fixture
def run(repo):
    run = repo.createEmptyRun("Monday", 1)
    yield run
    repo.removeRun(run)


def test_signal_comes_back_as_dict_of_its_fields(repo, run, series):
    signal = repo.add(*signal_arguments(run, series))
    assert type(signal) is int
    record = repo.getSignal(np.int32(signal))
    assert len(record) == 19
    assert record["DataID"] == signal
    assert record["DataSource"] == "speed"
    assert record["SID"] == "plant:7"


def test_signal_is_found_by_id_source_and_run(repo, run, series):
    signal = repo.add(*signal_arguments(run, series))
    for record in (
        repo.getSignal(signal),
        repo.getSignal("speed"),
        repo.getSignal(run, 1),
        repo.getSignalByRunIndex(1, 1),
    ):
        assert record["DataID"] == signal


def test_values_of_a_signal_are_read_only_views(repo, run, series):
    repo.add(*signal_arguments(run, series))
    values = next(
        value for value in repo.getSignal("speed").values() if isinstance(value, vormel.Object)
    )
    assert values == series
    assert values.Data.tolist() == [[1.5], [2.5]]
    assert not values.Data.flags.writeable


def test_refused_add_changes_nothing(repo, run, series):
    arguments = list(signal_arguments(run, series))
    arguments[4] = 5  # the data source is a string
    with pytest.raises(vormel.CallError):
        repo.add(*arguments)
    assert repo.getSignalCount() == 0


def test_failed_add_names_what_was_wrong(repo, run, series):
    arguments = list(signal_arguments(run, series))
    arguments[9] = "one"  # the time dimension is a number
    with pytest.raises(vormel.Error) as caught:
        repo.add(*arguments)
    assert caught.value.identifier == "KVR:kvr:NOT_INTEGER_SCALAR"
    assert caught.value.word == "Time Dimension"
    assert caught.value.function == "add"


def test_methods_with_several_outputs_give_a_tuple(repo, run, series):
    parent = repo.add(*signal_arguments(run, series, "parent"))
    child = repo.add(*signal_arguments(run, series, "child")[:15], parent, "root")
    has_children, children, above = repo.getChildrenAndParent(parent)
    assert (has_children, children, above) == (True, child, 0)
    assert repo.getChildrenAndParent(child)[2] == parent
