"""Prints the tables of docs/scaling.md: what a campaign costs, and what the model makes of it.

    simulate_campaign            all tables; the large campaigns take a minute
    simulate_campaign --quick    without the large campaigns

The costs in costs.json come from bench/campaign_costs.py.
"""

from __future__ import annotations

import argparse
import json
from collections.abc import Iterator
from dataclasses import fields, replace
from pathlib import Path
from typing import Any, NamedTuple

from model import Campaign, Costs, simulate

_MOST_SECONDS = 4.0  # of a batch, as kvr.campaign cuts them for many workers
_PAIRS = 10_000_000


class Case(NamedTuple):
    """A large campaign, and how many of it run side by side, each with a scheduler of its own."""

    name: str
    campaign: Campaign
    beside: int = 1


def recorded() -> dict[str, Any]:
    found: dict[str, Any] = json.loads((Path(__file__).parent / "costs.json").read_text())
    return found


def costs_of(where: dict[str, float]) -> Costs:
    return Costs(**{field.name: where[field.name] for field in fields(Costs)})


def cost_lines(data: dict[str, Any]) -> Iterator[str]:
    core, machine = data["one core"], data["machine"]
    load = f"{machine['load at start']} at the start, {machine['load at end']} at the end"
    yield f"Measured with {machine['cores']} cores and Python {machine['python']}; load {load}."
    yield ""
    yield "| what | processes | cluster |"
    yield "|---|---|---|"
    names = {
        "start": "a worker starts",
        "caller_pair": "a pair, in the caller",
        "caller_batch": "a batch, in the caller",
        "scheduler_batch": "a batch, in the scheduler",
        "worker_pair": "a pair beyond its comparison, in the worker",
    }
    for name, what in names.items():
        row = (milliseconds(data[where][name]) for where in ("pool", "cluster"))
        yield f"| {what} | {' | '.join(row)} |"
    yield ""
    yield (
        f"One core compares {core['samples a second'] / 1e6:.0f} million samples a second of "
        f"recordings, reading them included; a pair of 10 signals of 100 samples takes "
        f"{milliseconds(core['seconds of a pair of 10 x 100'])}."
    )


def milliseconds(seconds: float) -> str:
    return f"{seconds * 1e3:.3g} ms" if seconds else "-"


def checked_lines(data: dict[str, Any]) -> Iterator[str]:
    yield "| where | workers | pairs | of | measured | model | error |"
    yield "|---|---|---|---|---|---|---|"
    for run in data["runs"]:
        campaign = Campaign(run["pairs"], run["compare"], run["workers"])
        costs = replace(costs_of(data[run["where"]]), start=run["start"])
        seconds = simulate(campaign, costs).seconds
        error = seconds / run["seconds"] - 1
        yield (
            f"| {run['where']} | {run['workers']} | {run['pairs']} | {milliseconds(run['compare'])} "
            f"| {run['seconds']:.2f} s | {seconds:.2f} s | {error:+.0%} |"
        )


def cases() -> list[Case]:
    def campaign(**options: Any) -> Campaign:
        given = {"pairs": _PAIRS, "workers": 1000, "batch_seconds": _MOST_SECONDS, **options}
        return Campaign(compare=0.02, **given)

    part = campaign(pairs=_PAIRS // 10, workers=100, batch_seconds=0.4)
    return [
        Case("100 workers", campaign(workers=100, batch_seconds=0.4, pairs=_PAIRS // 10)),
        Case("1,000 workers, batches of 4 s", campaign()),
        Case("the same with batches of 1 s", campaign(batch_seconds=1.0)),
        Case("10 campaigns of 100 workers", part, beside=10),
        Case("files of 1 MB a pair at 10 GB/s", campaign(size=1e6, bandwidth=1e10)),
        Case("a worker dies each hour of work", campaign(death_every=3600.0)),
    ]


def large_lines(data: dict[str, Any]) -> Iterator[str]:
    costs = costs_of(data["cluster"])
    yield "| campaign | pairs | time | ideal | workers busy | caller busy | scheduler busy |"
    yield "|---|---|---|---|---|---|---|"
    for case in cases():
        found = simulate(case.campaign, costs)
        campaign = case.campaign
        ideal = campaign.pairs * campaign.compare / campaign.workers
        assert found.done == campaign.pairs
        shares = (found.workers_busy, found.caller_busy, found.scheduler_busy)
        busy = " | ".join(f"{share:.0%}" for share in shares)
        pairs = f"{campaign.pairs * case.beside:.0e}".replace("e+0", "e")
        yield f"| {case.name} | {pairs} | {found.seconds:.0f} s | {ideal:.0f} s | {busy} |"


def limit_lines(data: dict[str, Any]) -> Iterator[str]:
    costs = costs_of(data["cluster"])
    batches = 1 / max(costs.scheduler_batch, 1e-9)
    caller = 1 / (costs.caller_pair + costs.caller_batch / 256)
    yield "| limit | at |"
    yield "|---|---|"
    yield f"| batches a second that the scheduler hands on | {batches:.0f} |"
    yield f"| pairs a second that one caller takes in, 256 a batch | {caller:.0f} |"
    size = data["bytes of a result"]
    yield f"| results file of 1e7 pairs that pass | {_PAIRS * size['in the file'] / 1e9:.1f} GB |"
    yield f"| memory of the caller for 1e7 results | {_PAIRS * size['in memory'] / 1e9:.1f} GB |"
    yield "| bandwidth that 1,000 workers need for pairs of 20 ms and 1 MB | 50 GB/s |"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0] if __doc__ else "")
    parser.add_argument("--quick", action="store_true", help="without the large campaigns")
    options = parser.parse_args()
    data = recorded()
    tables = [cost_lines, checked_lines, limit_lines]
    if not options.quick:
        tables.append(large_lines)
    print("\n\n".join("\n".join(table(data)) for table in tables))


if __name__ == "__main__":
    main()
