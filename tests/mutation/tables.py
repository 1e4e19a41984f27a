"""Finds what can be changed in the *.def tables.

A table is a list of rows, MACRO(first, second, ...). Words are changed as in sources, and so are the
names of types in the lists of inputs and outputs. The types of maps stand in switches, where a row
is changed by what it expands to.
"""

import re

from sites import EXPRESSION, Mutant, order, placed, respelled

METHOD_ROW = re.compile(r'^METHOD\(\w+, \w+,\s+("\w+"),', re.M)
TYPES = ("INT32", "DOUBLE", "STRING", "TRUTH", "ANY")
HANDLES = ("REPOSITORY", "ANY_REPOSITORY", "MAP")
WRAPPER_ROW = re.compile(r"^(KEY|VALUE)\((\w+), (\"\w+\"), ([\w:]+)\)$", re.M)


def find_rows(path):
    """The changes of a table; wrapper_types.def has switch_rows and class_rows beside them."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    mutants = []
    if METHOD_ROW.search(text):
        return sorted((placed(m, text) for m in method_rows(text)), key=order)
    for row in re.finditer(r"^\w+\(.*\).*$", text, re.M):
        at = row.start()
        for word in re.finditer(r'"(?:[^"\\]|\\.)*"', row.group()):
            start, end = at + word.start(), at + word.end()
            other = respelled(word.group())
            mutants.append(Mutant(start, end, EXPRESSION, f"{word.group()} -> {other}", other))
    return sorted((placed(m, text) for m in mutants), key=order)


def method_rows(text):
    """The host name of each method as another, and each type of its inputs and outputs.

    What a row has beyond them is for the manual, which the module does not contain.
    """
    for row in METHOD_ROW.finditer(text):
        start, end = row.span(1)
        other = respelled(row.group(1))
        yield Mutant(start, end, EXPRESSION, f"{row.group(1)} -> {other}", other)
        for name in ("IN(", "OUT("):
            at = text.index(name, end) + len(name)
            end = closing(text, at)
            yield from list_entries(text[at:end], at)


def closing(text, at):
    """Where the parenthesis that is open at `at` closes."""
    depth = 1
    while depth:
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        at += 1
    return at - 1


def list_entries(entries, at):
    """Each type in a list as another one; "any" under another kind is the same type."""
    for number, entry in enumerate(re.finditer(r"\b[A-Z][A-Z0-9_]*\b(?=[(,]|$)", entries), 1):
        name = entry.group()
        if name in HANDLES:
            other = 'STRING("other")'
        else:
            same = "ANY" if name.startswith(("ANY", "OPTIONAL")) else name
            other = TYPES[(TYPES.index(same) + 1) % len(TYPES)]
        yield Mutant(
            at + entry.start(),
            at + entry.end(),
            EXPRESSION,
            f"{name}, argument {number} -> {other}",
            other,
        )


def find_wrapper_rows(path):
    """Rows of wrapper_types.def: gone, or with the native type or the class of another row."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    rows = list(WRAPPER_ROW.finditer(text))
    natives = {
        kind: list(dict.fromkeys(r.group(4) for r in rows if r.group(1) == kind))
        for kind in ("KEY", "VALUE")
    }
    mutants = []
    for row in rows:
        kind, name, word, native = row.groups()
        others = natives[kind]
        other = others[(others.index(native) + 1) % len(others)]
        changes = [
            ("gone", "row -> gone", ""),
            ("type", f"{native} -> {other}", other),
            ("word", f"{word} -> {respelled(word)}", respelled(word)),
        ]
        if kind == "VALUE":
            changes.append(("class", f"{name} -> the next one", name))
        for what, change, new in changes:
            mutant = Mutant(row.start(), row.end(), EXPRESSION, change, new)
            mutant.what = what
            mutants.append(placed(mutant, text))
    return mutants


def switch_rows(text, mutants):
    """The table as a list of cases, where a changed row breaks out or falls into another type."""
    by_line = {}
    for mutant in mutants:
        by_line.setdefault(mutant.line, {})[mutant.what] = mutant
    lines = text.split("\n")
    for line, changes in by_line.items():
        macro, name, word, native = WRAPPER_ROW.match(lines[line - 1]).groups()
        gone, other, renamed = changes["gone"].number, changes["type"], changes["word"]
        word = f"(kvrMutant({renamed.number}) ? {renamed.text} : {word})"
        lines[line - 1] = (
            f"{macro}({name}: if (kvrMutant({gone})) break; "
            f"if (kvrMutant({other.number})) case -{gone}, {word}, {other.text})\n"
            f"{macro}(-{other.number}, {word}, {native})"
        )
    return "\n".join(lines)


def class_rows(text, mutants):
    """The table as a list of classes by native type."""
    by_line = {m.line: m for m in mutants if m.what == "class"}
    lines = text.split("\n")
    for line, mutant in by_line.items():
        macro, name, word, native = WRAPPER_ROW.match(lines[line - 1]).groups()
        lines[
            line - 1
        ] = f"{macro}((kvrMutant({mutant.number}) ? {name} + 1 : {name}), {word}, {native})"
    return "\n".join(lines)
