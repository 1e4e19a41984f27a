#!/usr/bin/python3
"""Changes the module in one place at a time and sees whether the quick suite notices.

    mutate.py [FOLDER...]    all of kvrntob/, or the folders and files named

Fails if a change survives that survivors.txt does not list, or if it lists one that no longer does.
Every change is compiled into one build, in build/mutation, and chosen at run time; so a change costs
the run of those tests that reach it. Prints the counts as a table for docs/reliability.md last.
"""

import argparse
import collections
import os
import sys

import accepted
import fixed
import sites
import suite
import tree

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
KINDS = {
    sites.STATEMENT: "statements removed",
    sites.CONDITION: "conditions always true or false",
    sites.SWITCH: "cases taken for another",
    sites.EXPRESSION: "",
}


def kind_of(mutant):
    if mutant.file.endswith(".def"):
        return "words and entries of tables"
    old, _, new = mutant.change.partition(" -> ")
    if KINDS[mutant.level]:
        return KINDS[mutant.level]
    if new == "the next one":
        return "named constants"
    if old.startswith('"'):
        return "fixed words and field names"
    if old[0].isdigit() or old[0] == "'" or old in ("true", "false"):
        return "numbers and other literals"
    if old in sites.COMPARISONS:
        return "comparisons and bounds"
    return "other operators"


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("paths", nargs="*", default=["kvrntob"])
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument(
        "--tests",
        nargs="+",
        default=list(suite.PROGRAMS),
        metavar="FOLDER",
        help="run only the tests of these folders below tests/",
    )
    parser.add_argument("--counts", help="write the counts into this file, as lines of a table")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    paths = [os.path.normpath(path) for path in arguments.paths]
    project = tree.Tree(ROOT)
    mutants = judged(project, arguments, paths)
    listed = accepted.Accepted(os.path.join(HERE, "survivors.txt"))
    unlisted = [m for m in mutants if survived(m) and not listed.accepts(m)]
    files = {
        key[0] for key in listed.reasons if within(key[0], paths) or key[0] not in project.files
    }
    stale = listed.stale(files)
    show(mutants, unlisted, stale)
    if arguments.counts:
        with open(arguments.counts, "w", encoding="utf-8") as file:
            file.write(table(mutants))
    sys.exit(1 if unlisted or stale else 0)


def judged(project, arguments, paths):
    """The changes of the paths, each with its verdict."""
    programs = [(folder, name) for folder in arguments.tests for name in suite.PROGRAMS[folder]]
    say(f"building the instrumented copy in {os.path.relpath(project.build)}")
    project.prepare([name for _, name in programs], arguments.jobs)
    say("running the tests without any change")
    tests = suite.Suite(project.binary, programs, project.numbers, arguments.jobs)
    tests.record()
    mutants = [m for m in project.mutants if within(m.file, paths)]
    pinned = [m for m in fixed.find(ROOT) if within(m.file, paths)]
    say(f"{len(mutants) + len(pinned)} changes, {len(tests.tests)} tests")
    for mutant in pinned:
        mutant.verdict = fixed.judge(mutant, ROOT, project.build)
    tests.judge_all(mutants, progress(len(mutants)))
    return mutants + pinned


def say(text):
    print(f"== {text}", flush=True)


def within(path, paths):
    return any(path == p or path.startswith(p + "/") for p in paths)


def survived(mutant):
    return mutant.verdict in suite.SURVIVED


def progress(total):
    """A function to be called after each change: on a terminal it tells how far it is."""
    count = 0

    def report():
        nonlocal count
        count += 1
        if sys.stderr.isatty():
            print(f"\r{100 * count // total} % ", end="", file=sys.stderr, flush=True)

    return report


def counts(mutants):
    by_kind = collections.defaultdict(collections.Counter)
    for mutant in mutants:
        by_kind[kind_of(mutant)]["survived" if survived(mutant) else "noticed"] += 1
    return sorted(by_kind.items())


def table(mutants):
    rows = [
        (kind, c["noticed"] + c["survived"], c["noticed"], c["survived"])
        for kind, c in counts(mutants)
    ]
    rows.append(("all", *(sum(row[i] for row in rows) for i in (1, 2, 3))))
    lines = ["| changed | changes | noticed | listed |", "|---|---|---|---|"]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def show(mutants, unlisted, stale):
    for mutant in unlisted:
        print(f"{mutant.file}:{mutant.line}: {mutant.change}: {mutant.verdict}\n    {mutant.code}")
    for path, code, change in stale:
        print(f"{path}: {change}: listed, but noticed or gone\n    {code}")
    print(table(mutants), end="")
    for kind, c in counts(mutants):
        print(f"tally: changes of {kind}, noticed: {c['noticed']}")
    print(f"tally: changes that nothing notices: {sum(survived(m) for m in mutants)}")
    print(f"mutate: {len(unlisted)} unlisted survivors, {len(stale)} stale entries")


if __name__ == "__main__":
    main()
