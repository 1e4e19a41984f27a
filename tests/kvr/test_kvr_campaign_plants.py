"""Campaigns over copies of the example recordings: they find the planted differences, no others."""

import math

import kvr
import pytest
from planted_recordings import write_copies

COPIES = 60


@pytest.fixture(scope="module")
def copies(tmp_path_factory):
    return write_copies(tmp_path_factory.mktemp("copies"), COPIES)


def assert_planted(results, pairs, planted):
    results = list(results)
    assert sorted(result.pair for result in results) == sorted(pairs)
    assert {result.pair for result in results if not result.passed} == set(planted)
    assert not [result.error for result in results if result.error]
    for result in results:
        plants = planted.get(result.pair, [])
        found = sorted(result.comparison.failed, key=lambda failure: failure.label)
        assert [failure.label for failure in found] == [plant.label for plant in plants]
        assert result.counts["out"] == len(plants)
        for failure, plant in zip(found, plants):
            assert failure.first_out == plant.time
            if math.isnan(plant.difference):
                assert math.isnan(failure.excess)
            else:
                assert failure.excess == plant.difference  # nothing is allowed


def test_there_are_plants_of_each_kind(copies):
    _, planted = copies
    plants = [plant for chosen in planted.values() for plant in chosen]
    assert len(planted) == 2 * COPIES // 3 and len(plants) > len(planted)
    assert any(math.isnan(plant.difference) for plant in plants)
    assert any(plant.difference < 1e-5 for plant in plants)


def test_processes_find_exactly_what_was_planted(copies):
    pairs, planted = copies
    assert_planted(kvr.campaign(pairs, jobs=2), pairs, planted)


def test_a_cluster_finds_exactly_what_was_planted(copies, tmp_path):
    pytest.importorskip("distributed")
    from local_cluster import LocalCluster

    pairs, planted = copies
    with LocalCluster(tmp_path) as cluster:
        assert_planted(kvr.campaign(pairs, client=cluster.client), pairs, planted)
