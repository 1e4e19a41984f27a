"""Numbers that the compiler has to know: enumerators. They cannot be chosen at run time; each is
changed in a header of its own, with which the test that pins them must not compile any more."""

import os
import re
import subprocess

from sites import EXPRESSION, Mutant, placed
from tree import COMPILER_OPTIONS

PINNED_BY = {
    "kvrntob/host/libvr.h": "tests/embedded_host/arrays_making_test.cpp",
    "kvrntob/columns/columns.h": "tests/columns/keywords_test.cpp",
}


def find(root):
    mutants = []
    for path in PINNED_BY:
        with open(os.path.join(root, path), encoding="utf-8") as file:
            text = file.read()
        for number in re.finditer(r"(?<=\w = )\d+(?=,?( *//.*)?\n)", text):
            new = str(int(number.group()) + 20)
            mutant = Mutant(
                number.start(), number.end(), EXPRESSION, f"{number.group()} -> {new}", new
            )
            mutant.file = path
            mutants.append(placed(mutant, text))
    return mutants


def judge(mutant, root, build):
    """As suite.Suite.judge."""
    with open(os.path.join(root, mutant.file), encoding="utf-8") as file:
        text = file.read()
    overlay = os.path.join(build, "overlay")
    header = os.path.join(overlay, mutant.file)
    os.makedirs(os.path.dirname(header), exist_ok=True)
    with open(header, "w", encoding="utf-8") as file:
        file.write(text[: mutant.start] + mutant.text + text[mutant.end :])
    compiles = subprocess.run(
        [
            "clang++-14",
            *COMPILER_OPTIONS.split(),
            "-fsyntax-only",
            "-include",
            os.path.join(build, "prefix.h"),
            f"-I{overlay}",
            f"-I{root}",
            os.path.join(root, PINNED_BY[mutant.file]),
        ],
        stderr=subprocess.DEVNULL,
        check=False,
    )
    os.remove(header)
    return "not noticed" if compiles.returncode == 0 else "compiler"
