"""Pairs of small files for the tests of campaigns."""

import kvr


def write_pairs(folder, count, out_every=3):
    """`count` pairs of CSV files; every `out_every`-th, from the first, differs."""
    pairs = []
    for number in range(count):
        last = 3 if number % out_every == 0 else 2
        sides = folder / f"base{number}.csv", folder / f"other{number}.csv"
        sides[0].write_text("time,speed\n0,1\n1,2\n")
        sides[1].write_text(f"time,speed\n0,1\n1,{last}\n")
        pairs.append(tuple(map(str, sides)))
    return pairs


def facts(results):
    """Everything of the results but the times they took, in order of the pairs."""
    plain = [result.to_dict() for result in results]
    for result in plain:
        del result["seconds"]
    return sorted(plain, key=lambda result: (result["baseline"], result["other"]))


def expected(pairs, **options):
    """The same facts, from comparing pair by pair in this process."""
    found = []
    for baseline, other in pairs:
        comparison = kvr.compare(baseline, other, **options)
        found.append((baseline, other, comparison.passed, comparison.counts))
    return sorted(found)


def outcome(results):
    """Pair, verdict and counts of each result, in order of the pairs."""
    return sorted((r.baseline, r.other, r.passed, r.counts) for r in results)
