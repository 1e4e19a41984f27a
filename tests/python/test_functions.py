"""Host functions as Python callables."""

import os
import stat
import time

import numpy as np
import pytest
import vormel
from vormel.Dravik.kvr import Map

NAMES = ["now", "tempdir", "timeseries", "version"]


def test_mapping_lists_the_names_that_modules_call():
    assert sorted(vormel.functions) == NAMES
    assert len(vormel.functions) == 4
    assert "now" in vormel.functions
    assert "later" not in vormel.functions


def test_own_functions_are_called():
    assert isinstance(vormel.functions["version"](), str)
    assert isinstance(vormel.functions["timeseries"](), vormel.Object)


def test_now_is_the_date_in_days_with_fractions():
    unix_epoch_in_days = 719528  # 1 January 1970, counted from the beginning of year 0
    days = vormel.functions["now"]()
    assert isinstance(days, np.float64)
    assert abs((days - unix_epoch_in_days) * 86400 - time.time()) < 60


def test_tempdir_is_private_and_ends_with_a_separator():
    path = vormel.functions["tempdir"]()
    assert path.endswith(os.sep)
    assert stat.S_IMODE(os.stat(path).st_mode) == 0o700
    assert vormel.functions["tempdir"]() == path


def test_tempdir_is_removed_at_exit(run_python):
    path = run_python(
        "import os, vormel; print(os.path.realpath(vormel.functions['tempdir']()))"
    ).strip()
    assert os.path.basename(path).startswith("vormel-private-")
    assert os.path.isdir(os.path.dirname(path))
    assert not os.path.exists(path)


def test_replacement_is_called_by_the_module(repo):
    vormel.functions["version"] = lambda: "own version"
    vormel.functions["now"] = lambda: 12.25
    run = repo.createEmptyRun("Monday", 1)
    assert repo.getVersion(run) == "own version"
    assert repo.getDateCreated(run) == 12.25


def test_replacement_comes_back_as_it_is():
    def version():
        return "own"

    vormel.functions["version"] = version
    assert vormel.functions["version"] is version


def test_deletion_puts_the_hosts_own_back(repo):
    own = vormel.functions["version"]()
    vormel.functions["version"] = lambda: "other"
    del vormel.functions["version"]
    assert vormel.functions["version"]() == own
    assert repo.getVersion(repo.createEmptyRun("Monday", 1)) == own
    del vormel.functions["version"]  # nothing to put back


def test_replacement_may_call_the_hosts_own(repo):
    own = vormel.functions["now"]
    vormel.functions["now"] = lambda: own() + 1000
    run = repo.createEmptyRun("Monday", 1)
    assert abs(repo.getDateCreated(run) - own() - 1000) < 1


def test_pop_and_clear_put_the_hosts_own_back():
    def version():
        return "own"

    vormel.functions["version"] = version
    assert vormel.functions.pop("version") is version
    vormel.functions.update(version=version, now=time.time)
    assert "now, version" in repr(vormel.functions)
    vormel.functions.clear()
    assert "none" in repr(vormel.functions)


@pytest.mark.parametrize("name", ["later", "", "Now", 5, None])
def test_unknown_name_is_a_key_error(name):
    with pytest.raises(KeyError):
        vormel.functions[name]
    with pytest.raises(KeyError):
        vormel.functions[name] = print
    with pytest.raises(KeyError):
        del vormel.functions[name]


def test_entry_that_is_not_callable_is_a_type_error():
    with pytest.raises(TypeError):
        vormel.functions["now"] = 5


# ---- Callables that fail ----


def test_exception_is_the_cause_of_the_failure(repo):
    original = ValueError("no clock")

    def now():
        raise original

    vormel.functions["now"] = now
    with pytest.raises(vormel.Error) as caught:
        repo.createEmptyRun("Monday", 1)
    assert caught.value.identifier.startswith("Vormel:")
    assert not isinstance(caught.value, vormel.CallError)
    assert caught.value.__cause__ is original
    assert original.__traceback__ is not None
    assert "no clock" in str(caught.value)


@pytest.mark.parametrize("result", [object(), {1: 2}, 10**30])
def test_result_without_a_host_array_fails_likewise(repo, result):
    vormel.functions["now"] = lambda: result
    with pytest.raises(vormel.Error) as caught:
        repo.createEmptyRun("Monday", 1)
    assert caught.value.identifier.startswith("Vormel:")
    assert not isinstance(caught.value, vormel.CallError)
    assert isinstance(caught.value.__cause__, vormel.CallError)


def test_callable_that_takes_arguments_fails_likewise(repo):
    vormel.functions["now"] = lambda required: required
    with pytest.raises(vormel.Error) as caught:
        repo.createEmptyRun("Monday", 1)
    assert isinstance(caught.value.__cause__, TypeError)


def test_failure_without_printable_text_still_fails(repo):
    class Unprintable(Exception):
        def __str__(self):
            raise ValueError

    def now():
        raise Unprintable

    vormel.functions["now"] = now
    with pytest.raises(vormel.Error) as caught:
        repo.createEmptyRun("Monday", 1)
    assert isinstance(caught.value.__cause__, Unprintable)


@pytest.mark.parametrize("interruption", [KeyboardInterrupt, SystemExit, GeneratorExit])
@pytest.mark.parametrize("function", ["version", "now"])
def test_interruption_passes_unchanged(repo, function, interruption):
    original = interruption("stop")

    def stop():
        raise original

    vormel.functions[function] = stop
    with pytest.raises(interruption) as caught:
        repo.createEmptyRun("Monday", 1)
    assert caught.value is original
    vormel.functions.clear()
    assert repo.createEmptyRun("Monday", 1) > 0


def test_interruption_passes_where_the_module_swallows_the_failure(repo):
    def stop():
        raise KeyboardInterrupt

    vormel.functions["tempdir"] = stop
    with pytest.raises(KeyboardInterrupt):
        repo.writeToFile()
        run = repo.createEmptyRun("Monday", 1)
        repo.add(*signal_arguments(run))


def signal_arguments(run):
    series = vormel.timeseries([1.0, 2.0], [0.0, 1.0])
    return [0, run, "source", "block", "model", series, "label", "name", "sid",
            1, 1, 1, 0, [], [], 0, "root"]  # fmt: skip


# ---- Calls within calls ----


def test_callable_may_call_methods(repo):
    entries = Map("k", 1.0)

    def now():
        entries.insert("called", 1.0)
        return float(repo.getRunCount())

    vormel.functions["now"] = now
    run = repo.createEmptyRun("Monday", 1)
    assert repo.getDateCreated(run) in (0.0, 1.0)
    assert entries.getCount() == 1


def test_failure_in_a_nested_call_is_the_cause(repo):
    vormel.functions["now"] = lambda: repo.getRunName(99)
    with pytest.raises(vormel.Error) as caught:
        repo.createEmptyRun("Monday", 1)
    cause = caught.value.__cause__
    assert (cause.identifier, cause.function) == ("KVR:kvr:NON_EXISTENT", "getRunName")


def test_failure_handled_in_the_callable_is_gone(repo):
    def now():
        with pytest.raises(vormel.Error):
            repo.getRunName(99)
        return 3.0

    vormel.functions["now"] = now
    assert repo.getDateCreated(repo.createEmptyRun("Monday", 1)) == 3.0


def test_values_made_in_a_callable_outlive_the_call(repo):
    kept = []

    def now():
        kept.append(vormel.array([1.0, 2.0]))
        kept.append(vormel.timeseries(1.0, 2.0))
        kept.append(Map("k", 1.0))
        return 3.0

    vormel.functions["now"] = now
    repo.createEmptyRun("Monday", 1)
    assert kept[0].to_python().tolist() == [[1.0, 2.0]]
    assert kept[1].Time == 2.0
    assert kept[2].getCount() == 0


def test_callable_may_replace_itself(repo):
    def now():
        vormel.functions["now"] = lambda: 2.0
        return 1.0

    vormel.functions["now"] = now
    first, second = repo.createEmptyRun("a", 1), repo.createEmptyRun("b", 1)
    assert (repo.getDateCreated(first), repo.getDateCreated(second)) == (1.0, 2.0)


def test_endless_nesting_ends_in_an_error(repo):
    vormel.functions["now"] = lambda: repo.createEmptyRun("again", 1)
    with pytest.raises((vormel.Error, RecursionError)):
        repo.createEmptyRun("Monday", 1)


# ---- Callables whose end changes the functions ----


class Ending:
    """A callable that gives 1.0, and does something when it is let go of."""

    def __init__(self, end):
        self.end = end

    def __call__(self):
        return 1.0

    def __del__(self):
        self.end()


def created(repo):
    return repo.getDateCreated(repo.createEmptyRun("Monday", 1))


def set_now():
    vormel.functions["now"] = lambda: 3.0


def delete_now():
    del vormel.functions["now"]


def test_callable_that_sets_its_entry_as_it_ends_is_replaced_by_what_it_set(repo):
    vormel.functions["now"] = Ending(set_now)
    vormel.functions["now"] = lambda: 2.0
    assert created(repo) == 3.0


def test_callable_that_deletes_its_entry_as_it_ends_is_replaced_by_the_hosts_own(repo):
    vormel.functions["now"] = Ending(delete_now)
    vormel.functions["now"] = lambda: 2.0
    assert created(repo) > 700_000
    assert "none" in repr(vormel.functions)


def test_callable_that_sets_its_entry_as_it_is_deleted_is_followed_by_what_it_set(repo):
    vormel.functions["now"] = Ending(set_now)
    del vormel.functions["now"]
    assert created(repo) == 3.0


def test_callables_that_set_one_another_as_they_end_leave_the_last_one(repo):
    def again():
        vormel.functions["now"] = Ending(set_now)
        vormel.functions["now"] = lambda: 4.0

    vormel.functions["now"] = Ending(again)
    vormel.functions["now"] = lambda: 2.0
    assert created(repo) == 3.0


def test_callable_that_deletes_itself_while_it_runs_comes_to_its_end(repo):
    ended = []

    class Once(Ending):
        def __call__(self):
            del vormel.functions["now"]
            assert not ended
            return 5.0

    vormel.functions["now"] = Once(lambda: ended.append(True))
    assert created(repo) == 5.0
    assert ended
    assert created(repo) > 700_000


def test_callable_that_clears_all_functions_while_it_runs_comes_to_its_end(repo):
    def version():
        vormel.functions.clear()
        return "own"

    vormel.functions.update(version=version, now=Ending(vormel.functions.clear))
    assert created(repo) > 700_000
    assert "none" in repr(vormel.functions)
