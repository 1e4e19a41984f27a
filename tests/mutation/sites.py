"""Finds what can be changed in a C++ source, one small thing at a time.

A Mutant is one change. Its region is the piece of source that is written twice in the instrumented
build, as it stands and as it would be: an expression, a condition, a statement or a switch. Regions
nest or lie apart, never across each other.
"""

import dataclasses
import re

from clang.cindex import CursorKind, TokenKind

COMPARISONS = {
    "<": ("<=", ">="),
    "<=": ("<", ">"),
    ">": (">=", "<="),
    ">=": (">", "<"),
    "==": ("!=",),
    "!=": ("==",),
}
BINARY = {
    **COMPARISONS,
    "&&": ("||",),
    "||": ("&&",),
    "+": ("-",),
    "-": ("+",),
    "*": ("/",),
    "/": ("*",),
    "%": ("*",),
    "+=": ("-=",),
    "-=": ("+=",),
}
STEPS = {"++": "--", "--": "++"}
TWINS = {"min": "max", "max": "min", "true": "false", "false": "true"}
JUMPS = (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT)

# The order in which changes of one and the same region enclose each other.
STATEMENT, CONDITION, SWITCH, EXPRESSION = range(4)


@dataclasses.dataclass
class Mutant:
    start: int
    end: int
    level: int
    change: str  # what a reader is told
    text: str  # what stands there in its place; of a switch, the label that is taken for the next
    at: int = -1  # where a reader sees it; the start if not told
    line: int = 0
    code: str = ""  # the line, stripped
    file: str = ""
    number: int = -1


class Source:
    """One file, its tokens and the regions that the compiler's parser sees in it."""

    def __init__(self, path, index, arguments):
        with open(path, encoding="utf-8") as file:
            self.text = file.read()
        self.path = path
        self.unit = index.parse(path, args=arguments)
        root = self.unit.cursor
        extent = root.extent
        self.tokens = [
            token
            for token in self.unit.get_tokens(extent=extent)
            if token.kind != TokenKind.COMMENT
        ]
        self.cursors = []
        self._collect(root)
        self.expressions = sorted(
            {span(c) for c in self.cursors if c.kind.is_expression()}, key=lambda s: s[1] - s[0]
        )
        self.fixed = self._fixed_zones()

    def _collect(self, cursor):
        for child in cursor.get_children():
            file = child.extent.start.file
            if file and file.name == self.path:
                self.cursors.append(child)
                self._collect(child)

    def _fixed_zones(self):
        """Where nothing can be chosen at run time: directives, what the compiler has to know."""
        zones = [m.span() for m in re.finditer(r"^[ \t]*#(.*\\\n)*.*", self.text, re.M)]
        for token in self.tokens:
            start, end = span(token)
            if token.spelling == "case":
                zones.append((start, re.compile(r"(?:[^:]|::)*").match(self.text, end).end()))
            if token.spelling in ("static_assert", "constexpr"):
                opening = re.compile(r" ?\(").match(self.text, end)
                if opening:
                    zones.append((start, self._closing(opening.end())))
        zones += [
            m.span() for m in re.finditer(r"\bconstexpr (bool|std::size_t) [^;]*;", self.text)
        ]
        zones += [m.span() for m in re.finditer(r'extern "C"|operator""\w+', self.text)]
        zones += [m.span() for m in re.finditer(r"(\)|const|override|noexcept) = 0;", self.text)]
        zones += [m.span() for m in re.finditer(r"\w+>", self.text) if m.group()[0].isdigit()]
        zones += [span(c) for c in self.cursors if c.kind == CursorKind.ENUM_DECL]
        return zones

    def _closing(self, position):
        depth = 1
        while depth:
            depth += {"(": 1, ")": -1}.get(self.text[position], 0)
            position += 1
        return position

    def is_fixed(self, start):
        return any(a <= start < b for a, b in self.fixed)

    def enclosing(self, start, end, before, after):
        """The smallest expression that begins `before` and ends `after` the piece, if need be."""
        for a, b in self.expressions:
            if a <= start - before and b >= end + after:
                return a, b
        return None


def span(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def find_mutants(source):
    found = []
    for finder in (of_tokens, of_constants, of_conditions, of_statements, of_switches):
        found += [m for m in finder(source) if not source.is_fixed(m.start)]
    unique = {(m.start, m.end, m.level, m.change, m.text): m for m in found}
    return [placed(m, source.text) for m in sorted(unique.values(), key=order)]


def order(mutant):
    return mutant.start, -mutant.end, mutant.level, mutant.change, mutant.text


def placed(mutant, text):
    """The mutant with its place in the text of its file."""
    at = mutant.start if mutant.at < 0 else mutant.at
    mutant.line = text.count("\n", 0, at) + 1
    mutant.code = text.split("\n")[mutant.line - 1].strip()
    return mutant


def swapped(source, region, piece, new):
    """The region with a piece of it, from start to end, replaced."""
    (a, b), (start, end) = region, piece
    text = source.text[a:start] + new + source.text[end:b]
    return Mutant(a, b, EXPRESSION, f"{source.text[start:end]} -> {new}", text, at=start)


def of_tokens(source):
    """Literals and operators become their neighbours."""
    for token in source.tokens:
        start, end = piece = span(token)
        word = token.spelling
        is_binary = source.text[start - 1] == " " and source.text[end : end + 1] in (" ", "\n")
        if token.kind == TokenKind.LITERAL or word in ("true", "false"):
            region, others = piece, neighbours(word)
        elif word == "!":
            yield from without_not(source, piece)
            continue
        elif word in STEPS:
            is_prefix = re.match(r"[\w(*]", source.text[end : end + 1]) is not None
            region = source.enclosing(start, end, int(not is_prefix), int(is_prefix))
            others = (STEPS[word],)
        elif word in ("min", "max") and source.text[start - 2 : start] == "::":
            region, others = source.enclosing(start, end, 1, 2), (TWINS[word],)
        elif word in BINARY and is_binary:
            region, others = source.enclosing(start, end, 1, 1), BINARY[word]
        else:
            continue
        for other in others if region else ():
            yield swapped(source, region, piece, other)


def without_not(source, piece):
    region = source.enclosing(*piece, 0, 1)
    if region and region[0] == piece[0]:
        mutant = swapped(source, region, piece, "")
        mutant.text = f"static_cast<bool>({mutant.text})"
        mutant.change = f"{source.text[slice(*region)]} -> without !"
        yield mutant


def neighbours(literal):
    if literal in TWINS:
        return (TWINS[literal],)
    if literal.startswith('"'):
        return (respelled(literal),)
    if literal.startswith("'"):
        return (
            (literal[:-2] + chr(ord(literal[-2]) + 1) + "'",) if "\\" not in literal else ("'x'",)
        )
    match = re.fullmatch(r"(\d+)(\.\d*)?(\w*)", literal)
    if not match:
        return ()
    whole, fraction, suffix = match.groups()
    up = str(int(whole) + 1) + (fraction or "") + suffix
    if fraction or whole == "0":
        return (up,)
    return up, str(int(whole) - 1) + suffix


def respelled(literal):
    """A word of the same length with another letter in its middle."""
    body = literal[1 : literal.rindex('"')]
    letters = [i for i, c in enumerate(body) if c != "\\" and (i == 0 or body[i - 1] != "\\")]
    if not letters:
        return '"x"' if not body else '"\\1"'
    place = letters[len(letters) // 2]
    other = "y" if body[place] in "xX" else "x"
    changed = '"' + body[:place] + other + body[place + 1 :] + '"'
    return changed + literal[literal.rindex('"') + 1 :]


def of_constants(source):
    """Enumerators in expressions become their neighbours."""
    for cursor in source.cursors:
        if cursor.kind != CursorKind.DECL_REF_EXPR or cursor.referenced is None:
            continue
        if cursor.referenced.kind != CursorKind.ENUM_CONSTANT_DECL:
            continue
        start, end = span(cursor)
        name = source.text[start:end]
        yield Mutant(start, end, EXPRESSION, f"{name} -> the next one", next_one(name))


def next_one(name):
    return f"static_cast<decltype({name})>(static_cast<int>({name}) + 1)"


def of_conditions(source):
    kinds = {
        CursorKind.IF_STMT: ("true", "false"),
        CursorKind.WHILE_STMT: ("false",),
        CursorKind.CONDITIONAL_OPERATOR: ("true", "false"),
    }
    for cursor in source.cursors:
        children = list(cursor.get_children()) if cursor.kind in kinds else []
        if not children or not children[0].kind.is_expression():
            continue
        start, end = span(children[0])
        for value in kinds[cursor.kind]:
            yield Mutant(
                start, end, CONDITION, f"{one_line(source.text[start:end])} -> {value}", value
            )


def of_statements(source):
    """Statements that can go: expressions, jumps out of a block, returns of nothing."""
    parents = {
        CursorKind.COMPOUND_STMT: 0,
        CursorKind.IF_STMT: 1,
        CursorKind.FOR_STMT: -1,
        CursorKind.CXX_FOR_RANGE_STMT: -1,
        CursorKind.WHILE_STMT: 1,
    }
    for cursor in source.cursors:
        if cursor.kind not in parents:
            continue
        first = parents[cursor.kind]
        children = list(cursor.get_children())
        for child in children[first:] if first >= 0 else children[-1:]:
            start, end = span(child)
            text = source.text[start:end]
            if not (child.kind.is_expression() or child.kind in JUMPS or text == "return"):
                continue
            if source.text[end : end + 1] != ";" or text.count("{") != text.count("}"):
                continue
            yield Mutant(start, end + 1, STATEMENT, f"{one_line(text)}; -> removed", "")


def of_switches(source):
    """A value of a switch is taken for the next one."""
    for cursor in source.cursors:
        if cursor.kind != CursorKind.SWITCH_STMT:
            continue
        children = list(cursor.get_children())
        start, end = span(children[0])
        body = re.sub(r"(?m)^#(.*\\\n)*.*", "", source.text[slice(*span(children[-1]))])
        for label in re.findall(r"\bcase ((?:[^:]|::)*):", body):
            yield Mutant(start, end, SWITCH, f"{label} -> the next one", label)


def one_line(text):
    return re.sub(r"\s+", " ", text)
