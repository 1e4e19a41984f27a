"""Adds up what gcov counted while the tests ran, and fails unless it is enough.

usage: measure.py BUILD_TREE UNREACHABLE

Every line of kvrntob/ has to be run and every branch taken but those that UNREACHABLE lists; of
embedded_host/ 95 lines in 100; python/ is only counted. A branch is one outcome of a decision in the
code: the ways on which exceptions leave a call are none. Code that is compiled more than once, a
template or an inline function, counts once, and its branch as taken if it is taken in any of its
forms. A line of nothing but closing brackets is no code: what the compiler puts there runs when an
exception passes.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys
from collections import Counter, defaultdict

ROOT = pathlib.Path(__file__).resolve().parents[2]
HOST_LINES_IN_100 = 95
NO_CODE = re.compile(r"\s*[\]})]*;?\s*")


def decisions(branches):
    """The counts of the branches that are decisions: a call that may throw has two ways out."""
    counts = []
    for branch in branches:
        if branch["throw"]:
            if counts:
                counts.pop()
        else:
            counts.append(branch["count"])
    return counts


def no_code(name):
    """The lines of a file that are no code, by number."""
    lines = (ROOT / name).read_text().splitlines()
    return {number for number, line in enumerate(lines, 1) if NO_CODE.fullmatch(line)}


class Measured:
    """What was run, by file and line. A branch is known by its line, by where its function starts,
    which is the same for all forms of a template, and by its number of so many in a line."""

    def __init__(self):
        self.lines = defaultdict(Counter)
        self.branches = defaultdict(Counter)

    def add(self, report):
        """Takes in what gcov prints about one object file."""
        for file in report["files"]:
            path = pathlib.Path(report["current_working_directory"], file["file"])
            if not path.is_relative_to(ROOT):
                continue
            name = str(path.relative_to(ROOT))
            starts = {f["name"]: (f["start_line"], f["start_column"]) for f in file["functions"]}
            for line in file["lines"]:
                number = line["line_number"]
                start = starts.get(line.get("function_name"))
                self.lines[name][number] += line["count"]
                counts = decisions(line["branches"])
                for index, count in enumerate(counts, 1):
                    self.branches[name][number, start, f"{index}/{len(counts)}"] += count

    def within(self, folder):
        """The measured files of a folder."""
        return sorted(name for name in self.lines if name.startswith(folder + "/"))

    def leave_out_lines(self, which=no_code):
        """Forgets the lines that are no code."""
        for name, lines in self.lines.items():
            for number in which(name):
                lines.pop(number, None)

    def count_lines(self, folder):
        counts = [n for name in self.within(folder) for n in self.lines[name].values()]
        return len(counts), sum(n > 0 for n in counts)

    def lines_not_run(self, folder):
        return [
            (name, number)
            for name in self.within(folder)
            for number, count in sorted(self.lines[name].items())
            if count == 0
        ]

    def branches_not_taken(self, folder):
        return [
            (name, number, which)
            for name in self.within(folder)
            for (number, _, which), count in sorted(self.branches[name].items(), key=str)
            if count == 0
        ]


def read_list(path):
    """The rows of the list: file, text of the line, branch. A reason has to follow."""
    rows = Counter()
    for line in pathlib.Path(path).read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        name, text, which, reason = line.split(" || ")
        if not reason.strip():
            sys.exit(f"measure: no reason: {line}")
        rows[name, text, which] += 1
    return rows


def text_of(name, number):
    return (ROOT / name).read_text().splitlines()[number - 1].strip()


def compare(not_taken, listed, text=text_of):
    """Untaken branches that the list lacks, with their lines, and its rows that are none of them."""
    left = Counter(listed)
    missing = []
    for name, number, which in not_taken:
        key = name, text(name, number), which
        if left[key] > 0:
            left[key] -= 1
        else:
            missing.append((number, key))
    return missing, sorted(left.elements())


def gcov(note):
    """gcov's report on one object file; zeros if it never ran."""
    run = subprocess.run(
        ["gcov", "--json-format", "--branch-probabilities", "--stdout", note],
        cwd=note.parent,
        check=True,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )
    return [json.loads(line) for line in run.stdout.splitlines() if line]


def measure(tree):
    measured = Measured()
    notes = sorted(pathlib.Path(tree).resolve().rglob("*.gcno"))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for reports in pool.map(gcov, notes):
            for report in reports:
                measured.add(report)
    return measured


def tally(what, number):
    print(f"tally: {what}: {number}")


def main(tree, unreachable):
    measured = measure(tree)
    measured.leave_out_lines()
    lines, run = measured.count_lines("kvrntob")
    not_taken = measured.branches_not_taken("kvrntob")
    branches = sum(len(measured.branches[name]) for name in measured.within("kvrntob"))
    host_lines, host_run = measured.count_lines("embedded_host")
    python_lines, python_run = measured.count_lines("python")
    tally("lines of kvrntob", lines)
    tally("lines of kvrntob that ran", run)
    tally("branches of kvrntob", branches)
    tally("branches of kvrntob that were taken", branches - len(not_taken))
    tally("branches of kvrntob that cannot be taken", sum(read_list(unreachable).values()))
    tally("lines of embedded_host", host_lines)
    tally("lines of embedded_host that ran", host_run)
    tally("lines of python", python_lines)
    tally("lines of python that ran", python_run)

    missing, stale = compare(not_taken, read_list(unreachable))
    for name, number in measured.lines_not_run("kvrntob"):
        print(f"not run: {name}:{number}: {text_of(name, number)}")
    for number, (name, text, which) in missing:
        print(f"not taken: line {number}: {name} || {text} || {which}")
    for row in stale:
        print(f"listed, and taken or gone: {' || '.join(row)}")
    too_few = host_run * 100 < host_lines * HOST_LINES_IN_100
    if too_few:
        for name, number in measured.lines_not_run("embedded_host"):
            print(f"not run: {name}:{number}: {text_of(name, number)}")
    return 1 if lines == 0 or run < lines or missing or stale or too_few else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
