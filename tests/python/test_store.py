"""Runs, signals, their hierarchy and the columns, through Python."""

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import SignalRepository

COLUMNS = ("GBLOCKPATH", "GDATASOURCE", "GSIGNALNAME", "GMODEL")


class Adder:
    """Adds signals to a store, each a good one but for what is named."""

    GOOD = {
        "unused": None, "run": 1, "root": "root", "time": "time", "source": "source",
        "values": 1.5, "block": "block", "model": "model", "label": "label", "time_dim": 1,
        "sample_dims": [2, 3], "port": 4, "channel": [5], "sid": "sid", "metadata": {"a": 1},
        "parent": 0, "root_source": "source",
    }  # fmt: skip

    def __init__(self, repo):
        self.repo = repo

    def __call__(self, **changes):
        assert changes.keys() <= self.GOOD.keys()
        return self.repo.add(*(self.GOOD | changes).values())


@pytest.fixture
def add(repo):
    """Adds to run 1, of instance 3, which goes with the test."""
    run = repo.createEmptyRun("run", 3)
    yield Adder(repo)
    for run in range(repo.getNextRunID() + 1):
        if repo.isValidRunID(run):
            repo.removeRun(run)


@pytest.fixture
def family(repo, add):
    """A parent, 1, and its children 2, 3 and 4."""
    parent = add()
    for _ in range(3):
        add(parent=parent)


def expect_failure(name, word, method, *arguments, **keywords):
    with pytest.raises(vormel.Error) as caught:
        method(*arguments, **keywords)
    assert (caught.value.identifier, caught.value.word) == ("KVR:kvr:" + name, word)


def integers(array):
    """The elements, be they one or many."""
    return np.ravel(array).tolist()


# ---- Adding ----


def test_bad_inputs_of_add_are_reported_in_their_order(repo, add):
    bad = [
        ({"time_dim": True}, "NOT_INTEGER_SCALAR", "Time Dimension"),
        ({"time_dim": float("nan")}, "NOT_POSITIVE", "Time Dimension"),
        ({"sample_dims": 2.0}, "NOT_INTEGER", "sample dimensions"),
        ({"sample_dims": np.ones((2, 2), np.int32)}, "NOT_VECTOR", "sample dimensions"),
        ({"port": 3.0}, "NOT_INTEGER_SCALAR", "Port Index"),
        ({"port": -1}, "NOT_POSITIVE", "Port Index"),
        ({"channel": "text"}, "NOT_INTEGER", "channel"),
        ({"channel": np.ones((1, 2, 1), np.int32)}, "NOT_1BY2VECTOR", "channel"),
        ({"parent": [1, 2]}, "NOT_INTEGER_SCALAR", "Parent data id"),
        ({"parent": -1.5}, "NOT_POSITIVE", "Parent id"),
        ({"run": 99}, "NON_EXISTENT", "Run ID"),
    ]
    worst = {}
    for change, name, word in reversed(bad):
        worst |= change
        expect_failure(name, word, add, **change)
        expect_failure(name, word, add, **worst)
    assert add() == 1


def test_inputs_of_add_are_stored_as_they_are_read(repo, add):
    record = repo.getSignal(
        add(time_dim=2.9, sample_dims=np.array([[6], [7]], np.int32), port=np.uint8(8), channel=9)
    )
    assert (record["TimeDim"], record["PortIndex"], record["Channel"]) == (2, 8, 9)
    assert record["SampleDims"].tolist() == [[6, 7]]


def test_lists_of_other_classes_are_read_as_32_bit_words(repo, add):
    record = repo.getSignal(add(sample_dims=np.array([5, 6]), channel=np.array([1, 2], np.int16)))
    assert record["SampleDims"].tolist() == [[5, 0]]
    assert record["Channel"].tolist() == [[0x20001, 0]]


@pytest.mark.parametrize("kind", ["double", "int8", "char", "cell", "struct", "logical"])
def test_empty_inputs_of_add_stand_for_nothing(repo, add, kind):
    names = ("time_dim", "sample_dims", "port", "channel", "sid", "parent")
    record = repo.getSignal(add(**dict.fromkeys(names, vormel.array([], kind))))
    assert [record[name] for name in ("TimeDim", "PortIndex", "SID", "ParentID")] == [0, 0, "", 0]
    assert record["SampleDims"].shape == record["Channel"].shape == (1, 0)


def test_arrays_that_were_added_do_not_follow_their_source(repo, add):
    values, metadata = np.zeros(1000), np.zeros((2, 500))
    signal = add(values=values, metadata=metadata)
    values[:] = metadata[:] = 1
    record = repo.getSignal(signal)
    assert not record["DataValues"].any() and not record["MetaData"].any()


def test_dead_handle_is_reported_after_the_inputs_and_before_the_run(repo, add):
    dead = SignalRepository()
    vormel.delete(dead)
    expect_failure("NOT_POSITIVE", "Parent id", Adder(dead), run=99, parent=-1)
    expect_failure("INVALID_OBJ", None, Adder(dead), run=99)
    assert add() == 1


def test_unknown_parent_uses_up_an_id(add):
    add()
    expect_failure("NON_EXISTENT", "ID", add, parent=99)
    assert add() == 3


# ---- Finding ----


def test_signal_is_asked_for_by_integers_or_text_alone(repo, add):
    add()
    for bad in (1.0, True, [1, 1], [], "", {"id": 1}, repo):
        expect_failure("INVALID_SIGNATURE", None, repo.getSignal, bad)
    for bad in ((1.0, 1), ([1, 1], 1), (1, 1.0), ("1", 1), (1, [])):
        expect_failure("NOT_INTEGER_SCALAR", "Index or Data Run ID", repo.getSignal, *bad)
    for count in (0, 3, 4):
        expect_failure("INVALID_SIGNATURE", None, repo.getSignal, *[1] * count)


def test_signal_that_is_not_there_is_reported(repo, add):
    add()
    expect_failure("NON_EXISTENT", "ID", repo.getSignal, 2)
    expect_failure("NON_EXISTENT", "Signal source", repo.getSignal, "Source")
    expect_failure("NON_EXISTENT", "Run ID", repo.getSignal, 2, 1)
    expect_failure("NON_EXISTENT", "Index", repo.getSignal, 1, 2)
    expect_failure("INDEX_OUT_OF_BOUNDS", None, repo.getSignalByRunIndex, 2, 1)


def test_id_is_read_from_storage_and_a_longer_index_by_its_first(repo, add):
    add()
    add()
    assert repo.getSignal(2**32 + 1)["DataID"] == 1
    assert repo.getSignal(1, [2, 1])["DataID"] == 2


def test_count_takes_any_scalar_and_any_integers(repo, add):
    add()
    for run in (1, 1.9, True, [1, 7], np.ones((2, 2), np.uint8)):
        assert repo.getSignalCount(run) == 1
    for run in (99, {"a": 1}, np.zeros(0, np.int32), 2**32 + 1):
        assert repo.getSignalCount(run) == 0
    for run in ([1.0, 1.0], [], "11"):
        expect_failure("NOT_INTEGER", "Run ID", repo.getSignalCount, run)


# ---- Hierarchy ----


def test_signal_without_children_gives_an_empty_array_of_the_class_asked_with(repo, family):
    for signal in (2, 2.0, np.uint16(2), np.float32(2)):
        top, children, parent = repo.getChildrenAndParent(signal)
        assert (top, children.shape, parent) == (False, (0, 0), 1)
        assert children.dtype == np.array(signal, np.int32 if type(signal) is int else None).dtype


def test_children_come_in_order_and_close_up(repo, family):
    repo.remove(1, 3)
    top, children, parent = repo.getChildrenAndParent(1, 1)
    assert (top, children.tolist(), parent) == (True, [[2, 4]], 0)


def test_parent_is_removed_with_its_children_and_not_with_theirs(repo, add, family):
    grandchild = add(parent=3)
    repo.remove(1)
    assert repo.getSignalCount() == 1
    assert repo.getChildrenAndParent(grandchild)[2] == 3
    expect_failure("NON_EXISTENT", "ID", repo.remove, grandchild)


def test_instance_is_answered_for_any_id_and_the_root_source_is_not(repo, family):
    assert [repo.getInstanceID(signal) for signal in (0, 1, 99)] == [-1, 3, -1]
    expect_failure("NON_EXISTENT", "ID", repo.getRootDataSource, 0)
    expect_failure("NON_EXISTENT", "Run ID", repo.getInstanceID, 99, 1)


# ---- Runs ----


def test_run_made_by_its_date_stands_in_no_list(repo, add):
    repo.setDateCreated(2, float("inf"))
    assert (repo.getRunCount(), repo.getRunName(2), repo.getVersion(2)) == (2, "", "")
    assert repo.getDateCreated(2) == float("inf")
    expect_failure("INDEX_OUT_OF_BOUNDS", None, repo.getRunID, 2)
    assert repo.getInstanceID(add(run=2)) == -1


def test_position_of_a_run_is_a_real_integer_scalar(repo, add):
    assert repo.getRunID(np.uint64(1)) == 1
    for bad in (1.0, True, "1", [1, 1], [], {"a": 1}):
        expect_failure("INPUT_MISMATCH", "integer", repo.getRunID, bad)
    for outside in (0, -1, 2, 2**32 + 1, 2**63):
        expect_failure("INDEX_OUT_OF_BOUNDS", None, repo.getRunID, outside)


def test_number_of_a_run_can_be_given_out_twice(repo, add):
    repo.createEmptyRun("second", 3)
    repo.removeEmptyRun(1)
    assert repo.createEmptyRun("again", 4) == 2
    assert (repo.getRunCount(), repo.getRunName(2)) == (1, "again")
    assert [integers(repo.getAllRunIDs(instance)) for instance in (3, 4, 5)] == [[2], [2], []]


def test_copy_of_a_run_holds_unlinked_signals_of_the_old_instance(repo, add, family):
    copy = repo.copyRun(1, 8)
    assert [repo.getID(copy, index) for index in (1, 2, 3, 4)] == [5, 6, 7, 8]
    assert repo.getChildrenAndParent(6)[2] == 0
    assert (repo.getInstanceID(6), integers(repo.getAllRunIDs(8))) == (3, [copy])
    assert repo.getSignal("source")["DataID"] == 8


def test_object_that_outlives_clean_works_on_the_old_store(repo, add):
    add(label="older")
    SignalRepository().clean()
    assert add(label="newer") == 1
    assert (repo.getSignalCount(), repo.getSignalCount(1)) == (1, 2)
    assert repo.getSignal(1)["SignalLabel"] == "newer"
    assert SignalRepository().getSignalCount() == 0


# ---- Columns ----


@pytest.mark.parametrize("column", COLUMNS)
def test_groups_come_in_byte_order(repo, add, column):
    for name in ("b", "a", "C", "", "\u00e9"):
        add(block=name, source=name, root_source=name, label=name, model=name)
    names = ["", "C", "a", "b", "\u00e9"]
    assert repo.getGroupCount(column.lower()) == 5
    assert [repo.getGroup(i, column, "asc") for i in range(1, 6)] == names
    assert [repo.getGroup(i, column, "DEsc") for i in range(1, 6)] == names[::-1]
    assert repo.getIDFromGroup(1, "b", column) == 1


def test_sort_of_block_paths_outlives_the_call(repo, add):
    for block in ("b", "a", "c"):
        add(block=block)
    expect_failure("INDEX_OUT_OF_BOUNDS", None, repo.getGroup, 4, "GBLOCKPATH", "ASC")
    assert repo.getSignalSource(1) == "b"
    repo.getGroup(1, "GBLOCKPATH", "ASC")
    assert repo.getSignalSource(1) == "a"


def test_faults_of_column_calls_are_reported_in_their_order(repo, add):
    expect_failure("INVALID_ORDER", None, repo.getGroup, 0, "none", "none")
    expect_failure("NON_EXISTENT", "Column name", repo.getGroup, 0, "none", "asc")
    for column in ("", "GMODEL ", "GRUNNAME"):
        expect_failure("NON_EXISTENT", "Column name", repo.getIDCount, "none", column)
        expect_failure("NON_EXISTENT", "Column name", repo.getIDFromGroup, 0, "none", column)
    expect_failure("NON_EXISTENT", "group name", repo.getIDCount, "none", "GMODEL")
    expect_failure("NON_EXISTENT", "Group name", repo.getIDFromGroup, 0, "none", "GMODEL")


def test_removed_signal_of_another_root_source_stays_in_its_group(repo, add):
    signal = add(root_source="root")
    repo.remove(signal)
    assert repo.getIDFromGroup(1, "source", "GDATASOURCE") == signal
    assert repo.getIDCount("root", "GDATASOURCE") == 0
    assert repo.getIDCount("block", "GBLOCKPATH") == 0
