"""The check of includes against the arrows of docs/architecture.md, on small trees of its own."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

SCRIPT = Path(__file__).parents[2] / "scripts" / "check_includes"

CLEAN = {
    "docs/architecture.md": "# Tree\n\n```arrows\nlow ->\nhigh -> low  # the only arrow\n```\n",
    "low/a.h": "#pragma once\n#include <vector>\n",
    "low/a.cpp": '#include "low/a.h"\n',
    "high/b.cpp": '#include "low/a.h"\n#include "generated.h"\n',
}


class Tree:
    """A tree of files under git, and what the check prints for it."""

    def __init__(self, root: Path) -> None:
        self.root = root
        subprocess.run(["git", "init", "-q", str(root)], check=True)
        self.write(CLEAN)

    def write(self, files: dict[str, str]) -> None:
        for name, text in files.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")

    def arrows(self, rows: str) -> None:
        self.write({"docs/architecture.md": f"```arrows\n{rows}\n```\n"})

    def check(self) -> tuple[int, list[str]]:
        done = subprocess.run(
            [str(SCRIPT), "--root", str(self.root)], capture_output=True, text=True, check=False
        )
        assert done.returncode == 2 or not done.stderr, done.stderr
        return done.returncode, (done.stdout + done.stderr).splitlines()

    def expect(self, *lines: str) -> None:
        assert self.check() == (1, list(lines))


@pytest.fixture
def tree(tmp_path: Path) -> Tree:
    return Tree(tmp_path)


def test_tree_that_follows_its_arrows_passes(tree: Tree) -> None:
    assert tree.check() == (0, [])


def test_include_without_an_arrow_is_reported_once_with_the_count_of_more(tree: Tree) -> None:
    tree.write({"high/b.h": ""})
    tree.write({"low/a.h": '\n#include "high/b.h"\n'})
    tree.write({"low/c.cpp": '#include "high/b.h"\n'})
    assert "low/a.h:2: no arrow low -> high allows high/b.h (1 more)" in tree.check()[1]


def test_include_relative_to_its_own_folder_counts(tree: Tree) -> None:
    tree.write({"low/c.cpp": '#include "../high/b.h"\n', "high/b.h": '#include "low/a.h"\n'})
    tree.expect("low/c.cpp:1: no arrow low -> high allows high/b.h")


def test_arrow_that_nothing_needs_is_reported(tree: Tree) -> None:
    tree.write({"high/b.cpp": ""})
    tree.expect("docs/architecture.md: nothing needs the arrow high -> low")


def test_row_without_files_is_reported(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\ngone ->")
    tree.expect("docs/architecture.md: the row gone has no files")


def test_file_that_no_row_covers_is_reported(tree: Tree) -> None:
    tree.write({"other/d.cpp": ""})
    tree.expect("other/d.cpp: no row covers it")


def test_file_belongs_to_the_longest_row(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\nhigh/inner ->")
    tree.write({"high/inner/e.cpp": '#include "low/a.h"\n'})
    tree.expect("high/inner/e.cpp:1: no arrow high/inner -> low allows low/a.h")


def test_circle_of_arrows_is_reported(tree: Tree) -> None:
    tree.arrows("low -> high\nhigh -> low")
    tree.write({"low/c.cpp": '#include "high/f.h"\n', "high/f.h": ""})
    tree.expect("docs/architecture.md: arrows lead in a circle: high -> low -> high")


def test_header_and_source_of_one_name_count_as_one_file_in_a_circle(tree: Tree) -> None:
    tree.write({"low/x.h": "", "low/x.cpp": '#include "low/y.h"\n'})
    tree.write({"low/y.h": ""})
    tree.write({"low/y.cpp": '#include "low/z.h"\n'})
    tree.write({"low/z.h": '#include "low/x.h"\n'})
    tree.expect("files use each other in a circle: low/x -> low/y -> low/z -> low/x")


def test_kvrntob_never_includes_from_the_embedded_host_whatever_the_arrows_say(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\nkvrntob -> embedded_host\nembedded_host ->")
    tree.write({"embedded_host/g.h": "", "kvrntob/h.cpp": '#include "embedded_host/g.h"\n'})
    tree.expect(
        "kvrntob/h.cpp:1: kvrntob never uses embedded_host, but this uses embedded_host/g.h"
    )


def test_python_imports_between_packages_need_arrows(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\npython/one ->\npython/two ->")
    tree.write({"python/one/__init__.py": "", "python/one/_part.py": "import os\n"})
    tree.write({"python/two/__init__.py": "from one import _part\n"})
    tree.write({"python/two/later.py": "def run() -> None:\n    import one\n"})
    tree.expect(
        "python/two/__init__.py:1: no arrow python/two -> python/one allows python/one/_part.py"
        " (1 more)"
    )


def test_modules_that_import_each_other_are_reported(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\npython/one ->")
    tree.write({"python/one/__init__.py": "from ._a import x\n"})
    tree.write({"python/one/_a.py": "from . import _b\n"})
    tree.write({"python/one/_b.py": "from one._a import x\n"})
    tree.expect(
        "files use each other in a circle: python/one/_a.py -> python/one/_b.py -> python/one/_a.py"
    )


def test_imports_for_types_and_in_functions_make_no_circle(tree: Tree) -> None:
    tree.arrows("low ->\nhigh -> low\npython/one ->")
    guarded = "from typing import TYPE_CHECKING\nif TYPE_CHECKING:\n    from one import _b\n"
    tree.write({"python/one/_a.py": guarded, "python/one/__init__.py": ""})
    late = "from one import _a\n\n\ndef f() -> None:\n    import one._c\n"
    tree.write({"python/one/_b.py": late})
    tree.write({"python/one/_c.py": "from one import _b\n"})
    assert tree.check() == (0, [])


@pytest.mark.parametrize(
    ("document", "why"),
    [
        ("no block", "there must be one block ```arrows, found 0"),
        (2 * "```arrows\na ->\n```\n", "there must be one block ```arrows, found 2"),
        ("```arrows\nlow high\n```\n", "not a row, or a second one of a folder: low high"),
        ("```arrows\nlow ->\nlow ->\n```\n", "not a row, or a second one of a folder: low ->"),
    ],
)
def test_document_without_a_readable_table_is_refused(tree: Tree, document: str, why: str) -> None:
    tree.write({"docs/architecture.md": document})
    assert tree.check() == (2, [f"docs/architecture.md: {why}"])


def test_typescript_imports_are_held_against_the_arrows(tree: Tree) -> None:
    tree.write({"low/a.ts": 'import "./a.css";\nimport { x } from "uplot";\nexport const y = 1;\n'})
    tree.write({"high/b.ts": 'import {\n  y,\n} from "../low/a";\n'})
    assert tree.check() == (0, [])
    tree.write({"low/c.ts": '\nexport { z } from "../high/b";\n'})
    tree.expect("low/c.ts:2: no arrow low -> high allows high/b.ts")


def test_circles_of_typescript_files_count_unless_they_are_for_types(tree: Tree) -> None:
    tree.write({"low/a.ts": 'import type { B } from "./b";\n', "low/b.ts": 'import "./a";\n'})
    assert tree.check() == (0, [])
    tree.write({"low/a.ts": 'import { B } from "./b";\n'})
    tree.expect("files use each other in a circle: low/a.ts -> low/b.ts -> low/a.ts")


def test_row_of_one_file_goes_before_the_row_of_its_folder(tree: Tree) -> None:
    tree.arrows("low ->\nhigh/b.cpp -> low\nhigh -> low")
    tree.write({"high/c.h": ""})
    tree.expect("docs/architecture.md: nothing needs the arrow high -> low")
