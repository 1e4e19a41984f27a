"""Writes sources in which every mutant is compiled in and chosen at run time by its number."""

import re

from clang.cindex import CursorKind

from sites import CONDITION, STATEMENT, SWITCH, next_one


def instrumented(text, mutants):
    """The text with a choice at each region. Also lists where each choice stands in the result."""
    spots = []
    return render(text, 0, len(text), list(mutants), 0, spots), spots


def render(text, start, end, mutants, offset, spots):
    """text[start:end] with its mutants, the outermost first; `offset` is where the result goes."""
    result = []
    length = 0
    position = start

    def put(piece):
        nonlocal length
        result.append(piece)
        length += len(piece)

    while mutants:
        outer = mutants.pop(0)
        inner = []
        while mutants and mutants[0].start < outer.end:
            inner.append(mutants.pop(0))
        put(text[position : outer.start])
        before, after = around(outer, text[outer.start : outer.end])
        begin = offset + length
        put(before)
        put(render(text, outer.start, outer.end, inner, offset + length, spots))
        put(after)
        spots.append((begin, offset + length, outer))
        position = outer.end
    put(text[position:end])
    return "".join(result)


def around(mutant, original):
    """What stands before and after the original."""
    chosen = f"kvrMutant({mutant.number})"
    if mutant.level == STATEMENT:
        return f"if ({chosen}) {{}} else ", ""
    if mutant.level == CONDITION:
        return f"({chosen} ? {mutant.text} : static_cast<bool>(", "))"
    if mutant.level == SWITCH:
        return (
            f"({chosen} && ({original}) == {mutant.text} ? "
            f"static_cast<decltype({original})>({next_one(mutant.text)}) : (",
            "))",
        )
    return f"({chosen} ? ({mutant.text}) : (", "))"


def free_constants(text, source=None):
    """Constants that the compiler need not know become ordinary ones, so that they can be chosen.
    Every offset stays what it was."""
    classes = (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL, CursorKind.CLASS_TEMPLATE)
    members = (
        {
            c.extent.start.offset
            for c in source.cursors
            if c.kind == CursorKind.VAR_DECL
            and c.semantic_parent is not None
            and c.semantic_parent.kind in classes
        }
        if source
        else set()
    )

    def free(match):
        if match.start() in members:
            return "KVR_STATIC_CONST"
        return match.group().replace("constexpr", "const    ")

    return re.sub(r"(?<!if )(static )?\bconstexpr(?! bool\b| std::size_t\b)", free, text)
