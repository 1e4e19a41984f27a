"""Value objects of the host: properties as attributes."""

import numpy as np
import pytest
import vormel


def test_timeseries_has_data_time_and_what_is_named():
    series = vormel.timeseries([1.0, 2.0], np.array([[0], [1]]), Name="speed")
    assert series.Data.tolist() == [[1.0, 2.0]]
    assert series.Time.tolist() == [[0], [1]]
    assert series.Name == "speed"
    array = vormel.array(series)
    assert (array.class_id, array.class_name, array.shape) == (18, "timeseries", (1, 1))


def test_properties_are_listed_and_shown():
    series = vormel.timeseries(1.0, 2.0, Units="m")
    assert {"Data", "Time", "Units"} <= set(dir(series))
    assert repr(series) == "<vormel.Object timeseries: Data, Time, Units>"


def test_unknown_property_is_an_attribute_error():
    series = vormel.timeseries(1.0, 2.0)
    for name in ("Missing", "data", "Data\0", "\ud800"):
        with pytest.raises(AttributeError):
            getattr(series, name)
    assert not hasattr(series, "Missing")


def test_properties_cannot_be_set_or_deleted():
    series = vormel.timeseries(1.0, 2.0)
    with pytest.raises(AttributeError, match="read-only"):
        series.Data = 3.0
    with pytest.raises(AttributeError, match="read-only"):
        del series.Data
    assert series.Data == 1.0


def test_object_goes_in_and_comes_out(any_map):
    series = vormel.timeseries([1.0, 2.0], [0, 1])
    any_map.insert("series", series)
    back = any_map.getDataByKey("series")
    assert isinstance(back, vormel.Object)
    assert back == series
    assert back != vormel.timeseries([1.0, 2.0], [0, 2])


def test_property_shares_the_objects_memory():
    series = vormel.timeseries(np.arange(1000.0), np.arange(1000.0))
    assert np.shares_memory(series.Data, series.Data)


def test_data_given_twice_is_a_type_error():
    with pytest.raises(TypeError):
        vormel.timeseries(1.0, 2.0, Data=3.0)


def test_property_without_a_host_array_is_refused():
    with pytest.raises(vormel.CallError):
        vormel.timeseries(object(), 1.0)


def test_many_properties_keep_their_values_and_order():
    properties = {f"p{i}": float(i) for i in range(2000)}
    made = vormel.timeseries(1.0, 2.0, **properties)
    assert [getattr(made, name) for name in properties] == list(properties.values())
    assert (made.Data, made.Time) == (1.0, 2.0)
