"""A typed map: two samples choose its types, entries stay in the order of insertion."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from vormel.Dravik.kvr import Map

from tour.reading import failure


def entries(prices: Any) -> str:
    """All entries by index."""
    return "  ".join(
        f"{index}: {prices.getKeyByIndex(index)} = {prices.getDataByIndex(index):g}"
        for index in range(1, prices.getCount() + 1)
    )


def typed_map() -> Iterator[str]:
    prices = Map("k", 1.0)
    yield f"made from two samples: keys {prices.getKeyType()}, values {prices.getValueType()}"
    for key, value in (("copper", 2.1), ("oil", 48.3), ("gold", 1322.0)):
        prices.insert(key, value)
    yield f"inserted    {entries(prices)}"
    prices.insert("oil", 41.6)
    yield f"replaced    {entries(prices)}"
    prices.deleteDataByKey("copper")
    yield f"deleted     {entries(prices)}"
    yield failure(prices.getDataByKey, "copper")
