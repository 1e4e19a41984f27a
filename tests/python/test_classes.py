"""Host packages and classes as Python modules and classes."""

import copy
import importlib
import inspect
import pydoc
import weakref

import pytest
import vormel
from method_rows import method_rows
from vormel.Dravik.kvr import Map, SignalRepository


def test_packages_are_modules():
    module = importlib.import_module("vormel.Dravik.kvr")
    assert module is vormel.Dravik.kvr
    assert module.SignalRepository is SignalRepository
    assert vormel.Dravik.kvr.Map is Map


def test_star_import_brings_the_classes():
    names = {}
    exec("from vormel.Dravik.kvr import *", names)
    assert names["Map"] is Map
    assert names["SignalRepository"] is SignalRepository


def test_contents_are_listed():
    assert "Dravik" in dir(vormel)
    assert "kvr" in dir(vormel.Dravik)
    assert {"Map", "SignalRepository"} <= set(dir(vormel.Dravik.kvr))
    assert {"add", "getSignal"} <= set(dir(SignalRepository))


@pytest.mark.parametrize(
    "name", ["vormel.Nothing", "vormel.Dravik.Nothing", "vormel.Dravik.kvr.Map", "vormel.a.b"]
)
def test_unknown_package_cannot_be_imported(name):
    with pytest.raises(ModuleNotFoundError):
        importlib.import_module(name)


def test_unknown_name_is_an_attribute_error():
    for module in (vormel, vormel.Dravik, vormel.Dravik.kvr):
        with pytest.raises(AttributeError):
            module.Nothing
    with pytest.raises(ImportError):
        from vormel.Dravik.kvr import Nothing  # noqa: F401


def test_class_is_named_and_described_by_its_descriptor():
    assert SignalRepository.__name__ == "SignalRepository"
    assert SignalRepository.__module__ == "vormel.Dravik.kvr"
    assert SignalRepository.__doc__ == "Dravik KVR Data Container"
    assert Map.__doc__ == "Dravik KVR Map Container"
    assert issubclass(Map, vormel.HostObject)


def test_methods_lists_every_registration_in_order():
    for cls in (SignalRepository, Map):
        listed = [(method.name, method.inputs, method.outputs) for method in vormel.methods(cls)]
        assert listed == [(row.name, row.inputs, row.outputs) for row in method_rows(cls)]
    names = [method.name for method in vormel.methods(SignalRepository)]
    assert names.count("getSyncOptions") == 2


def test_methods_lists_the_constructor_too():
    first = vormel.methods(Map)[0]
    assert (first.name, first.inputs, first.outputs) == ("Map", ["any", "any"], ["Dravik.kvr.Map"])


@pytest.mark.parametrize("value", [int, vormel.HostObject, vormel.Array, 5, "Map"])
def test_methods_of_what_is_no_host_class_is_a_type_error(value):
    with pytest.raises(TypeError):
        vormel.methods(value)


def test_every_method_is_an_attribute():
    for cls in (SignalRepository, Map):
        for method in vormel.methods(cls):
            if method.name != cls.__name__:
                assert callable(getattr(cls, method.name)), method.name


def test_help_shows_inputs_and_outputs():
    text = pydoc.plain(pydoc.render_doc(SignalRepository.createEmptyRun))
    assert "createEmptyRun(self, name, instance, /, *more, nargout=1)" in text
    assert "inputs:   Dravik.kvr.SignalRepository, string, int32 scalar" in text
    assert "outputs:  int32 scalar" in text


def test_help_of_the_class_shows_its_methods():
    text = pydoc.plain(pydoc.render_doc(Map))
    assert "Dravik KVR Map Container" in text
    assert "getDataByKey(self, key, /, *more, nargout=1)" in text
    assert "outputs:  none" in text


def test_method_tells_its_name_and_signature():
    method = SignalRepository.getRunName
    assert (method.__name__, method.__qualname__) == ("getRunName", "SignalRepository.getRunName")
    assert list(inspect.signature(method).parameters) == ["self", "run", "more", "nargout"]
    assert "getRunName" in repr(method)


def test_object_shows_its_class_and_that_it_has_ended():
    entries = Map("k", 1.0)
    assert repr(entries).startswith("<Map object at ")
    vormel.delete(entries)
    assert repr(entries).endswith("(ended)>")


def test_objects_of_one_store_are_the_same_instance():
    one, other = SignalRepository(), SignalRepository()
    assert one is not other
    assert vormel.same_instance(one, other)
    assert vormel.same_instance(one, one)


def test_objects_of_stores_before_and_after_clean_are_not_the_same_instance():
    old = SignalRepository()
    SignalRepository().clean()
    new = SignalRepository()
    assert not vormel.same_instance(old, new)
    assert vormel.same_instance(new, SignalRepository())


def test_maps_ended_objects_and_other_values_are_not_the_same_instance():
    entries, more = Map("k", 1.0), Map("k", 1.0)
    assert vormel.same_instance(entries, entries)
    assert not vormel.same_instance(entries, more)
    vormel.delete(entries)
    assert not vormel.same_instance(entries, entries)
    assert not vormel.same_instance(1, "text")


def test_base_class_makes_no_objects():
    with pytest.raises(TypeError):
        vormel.HostObject()


def test_object_takes_no_attributes_but_can_be_referred_to_weakly():
    entries = Map("k", 1.0)
    with pytest.raises(AttributeError):
        entries.note = 1
    reference = weakref.ref(entries)
    assert reference() is entries
    del entries
    assert reference() is None


def test_object_cannot_be_copied():
    with pytest.raises(TypeError):
        copy.copy(Map("k", 1.0))


def test_handle_comes_back_as_the_same_object(any_map):
    inner = Map("k", 1.0)
    any_map.insert("inner", inner)
    assert any_map.getDataByKey("inner") is inner


def test_handle_of_a_forgotten_object_comes_back_as_its_class(any_map):
    any_map.insert("inner", Map(1.0, 2.0))
    inner = any_map.getDataByKey("inner")
    assert type(inner) is Map
    assert inner.getKeyType() == "double"


def test_objects_are_equal_when_they_are_the_same(any_map):
    first, second = Map("k", 1.0), Map("k", 1.0)
    any_map.insert("first", first)
    assert first != second
    assert len({first, second, any_map.getDataByKey("first")}) == 2


def test_constructor_that_fails_leaves_no_object():
    before = vormel.live_arrays()
    with pytest.raises(vormel.Error) as error:
        Map([], 1.0)
    assert (error.value.identifier, error.value.function) == ("KVR:kvr:EMPTY_KEY", "Map")
    del error
    assert vormel.live_arrays() == before


def test_constructor_runs_once():
    entries = Map("k", 1.0)
    entries.insert("a", 2.0)
    with pytest.raises(TypeError):
        entries.__init__("k", 1.0)
    assert entries.getCount() == 1


def test_constructor_takes_nargout_alone_as_keyword():
    assert Map("k", 1.0, nargout=1).getCount() == 0
    with pytest.raises(TypeError):
        Map("k", value=1.0)


# ---- Subclasses in Python ----


class Named(Map):
    def __init__(self, name):
        super().__init__("k", {})
        self.name = name

    def count_twice(self):
        return 2 * self.getCount()


def test_subclass_has_a_constructor_and_attributes_of_its_own():
    named = Named("mine")
    named.insert("a", 1)
    assert (named.name, named.count_twice()) == ("mine", 2)
    assert vormel.methods(Named) == vormel.methods(Map)


def test_object_of_a_subclass_comes_back_as_itself(any_map):
    named = Named("mine")
    any_map.insert("named", named)
    assert any_map.getDataByKey("named") is named


def test_object_whose_constructor_never_ran_is_refused(any_map):
    class Forgetful(Map):
        def __init__(self):
            pass

    empty = Forgetful()
    assert "never constructed" in repr(empty)
    for use in (
        lambda: empty.getCount(),
        lambda: any_map.insert("a", empty),
        lambda: vormel.array(empty),
        lambda: vormel.delete(empty),
    ):
        with pytest.raises(vormel.CallError):
            use()
