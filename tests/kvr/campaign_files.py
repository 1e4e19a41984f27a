"""Pairs of files for the tests of campaigns, and what one process says of them."""

import gzip
import os
import signal

import kvr
import numpy as np
from kvr._base.error_lines import told
from kvr._comparing.verdict import STATUSES


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


def default_interrupt():
    """Have Ctrl-C end the process, also one of a shell that runs in the background."""
    signal.signal(signal.SIGINT, signal.default_int_handler)


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


def told_by_one_process(pairs, **options):
    """(baseline, other, status, counts, error) of each pair, compared one by one in this process."""
    found = []
    for baseline, other in pairs:
        try:
            comparison = kvr.compare(baseline, other, **options)
        except Exception as error:
            found.append((baseline, other, "error", dict.fromkeys(STATUSES, 0), told(error)))
        else:
            status = "passed" if comparison.passed else "differs"
            found.append((baseline, other, status, comparison.counts, None))
    return sorted(found)


def told_by_campaign(results):
    """The same of the results of a campaign."""
    return sorted((r.baseline, r.other, r.status, r.counts, r.error) for r in results)


def write_damaged_pairs(folder):
    """Pairs of every format whose other file is cut, overwritten, empty, huge or not there."""
    pairs = []
    for ending, content in _contents(folder):
        good = folder / f"good{ending}"
        good.write_bytes(content)
        middle = len(content) // 2
        bad = {
            "cut": content[:middle],
            "overwritten": content[: middle // 2] + b"\0\xff" * 64 + content[middle // 2 + 128 :],
            "empty": b"",
        }
        for name, damaged in bad.items():
            (folder / f"{name}{ending}").write_bytes(damaged)
        (folder / f"folder{ending}").mkdir()
        for name in ("good", *bad, "gone", "folder"):
            pairs.append((str(good), str(folder / f"{name}{ending}")))
    return pairs + [_huge_pair(folder)]


def _contents(folder):
    """An ending and the bytes of a file, for each format that can be written."""
    run = kvr.Store().new_run("Monday")
    for number in range(5):
        run.add(f"s{number}", np.sin(np.arange(200.0) + number), time=np.arange(200.0))
    for ending in (".csv", ".kvr", ".h5", ".csv.gz"):
        path = folder / f"made{ending}"
        if ending == ".csv.gz":
            path.write_bytes(gzip.compress((folder / "made.csv").read_bytes()))
        else:
            run.save(path)
        yield ending, path.read_bytes()


def _huge_pair(folder):
    """A text file that grows by a terabyte of zeros after its first lines."""
    sides = [folder / "small.csv", folder / "huge.csv"]
    for side in sides:
        side.write_text("time,speed\n" + "".join(f"{number},1\n" for number in range(60_000)))
    os.truncate(sides[1], 1 << 40)
    return tuple(map(str, sides))
