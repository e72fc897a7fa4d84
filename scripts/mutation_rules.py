# SPDX-License-Identifier: MIT
"""Small mutants of C++ source text, by rules alone: each rule is applied wherever it fits. libclang
says what the tokens and the statements are."""
import re
import sys
from dataclasses import dataclass

from clang.cindex import CursorKind, Index, TokenKind

# Operators between two operands. The formatter's blanks on both sides tell them from a template's
# bracket or a pointer.
BETWEEN = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"], "+": ["-"],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
}  # fmt: skip
ANYWHERE = {
    "++": "--", "--": "++", "|=": "&=", "&=": "|=", "!": "", "true": "false", "false": "true",
    "min": "max", "max": "min", "find": "rfind", "kReject": "kReadAsEmpty",
    "SSDP_SUCCESS": "SSDP_FAILURE", "SSDP_FAILURE": "SSDP_SUCCESS",
    "SSDP_NOT_CREATED": "SSDP_FAILURE", "SSDP_DEVICE_ADDED": "SSDP_DEVICE_CHANGED",
    "SSDP_DEVICE_CHANGED": "SSDP_DEVICE_REMOVED", "SSDP_DEVICE_REMOVED": "SSDP_SEARCH_RECEIVED",
    "SSDP_SEARCH_RECEIVED": "SSDP_DEVICE_ADDED", "kReadAsEmpty": "kReject",
}  # fmt: skip
# Where the statements begin among the children.
BODIES = {
    CursorKind.COMPOUND_STMT: 0, CursorKind.IF_STMT: 1, CursorKind.WHILE_STMT: 1,
    CursorKind.FOR_STMT: -1, CursorKind.CXX_FOR_RANGE_STMT: -1,
}  # fmt: skip


@dataclass(frozen=True)
class Mutant:
    file: str
    source: str
    start: int
    end: int
    text: str

    def apply(self):
        return self.source[: self.start] + self.text + self.source[self.end :]

    def change(self):
        """The file and the lines that differ, as scripts/mutants.survivors has them."""
        lines = list(zip(self.source.split("\n"), self.apply().split("\n")))
        old = ["- " + one.strip() for one, other in lines if one != other and one.strip()]
        new = ["+ " + other.strip() for one, other in lines if one != other and other.strip()]
        return "\n".join([self.file, *old, *new])


def mutants_of(file):
    """All mutants of one file, in the order of the text. Offsets count bytes, as libclang's do."""
    source = file.read_text("latin-1")
    unit = Index.create().parse(file, ["-x", "c++", "-std=c++17", "-Isource", "-Iinclude"])
    directives = re.finditer(r"^[ \t]*#(?:\\\n|.)*", source, re.M)
    skipped = {at for directive in directives for at in range(*directive.span())}
    tokens = [
        (*span(token), token.spelling) for token in unit.get_tokens(extent=unit.cursor.extent)
        if token.kind != TokenKind.COMMENT and span(token)[0] not in skipped
    ]  # fmt: skip
    tops = [top for top in unit.cursor.get_children() if str(top.location.file) == str(file)]
    cursors = [cursor for top in tops for cursor in top.walk_preorder()]
    found = {change for rule in (operators, literals, neighbors) for change in rule(source, tokens)}
    found |= {change for rule in (conditions, statements) for change in rule(source, cursors)}
    return [Mutant(str(file), source, *change) for change in sorted(found)]


def span(found):
    return found.extent.start.offset, found.extent.end.offset


def operators(source, tokens):
    """Operators and names that have a counterpart."""
    for start, end, text in tokens:
        if source[start - 1 : end + 1] == f" {text} ":
            yield from ((start, end, other) for other in BETWEEN.get(text, []))
        if text in ANYWHERE:
            yield start, end, ANYWHERE[text]


def literals(_, tokens):
    """One more and one less; of a text a letter changed, the middle one, and no line end."""
    for start, end, text in tokens:
        if text.isdigit():
            yield from ((start, end, str(n)) for n in (int(text) - 1, int(text) + 1) if n >= 0)
        elif text[0] == "'":
            yield start, end, "' '" if "\\" in text else f"'{chr(ord(text[1]) + 1)}'"
        elif text[0] == '"':
            letters = [m.end() - 1 for m in re.finditer(r"(?<!\\)[\w :.*%]", text)]
            at = letters[len(letters) // 2] if letters else 1
            if letters or text == '""':
                yield start, end, text[:at] + "#" + text[at + len(letters[:1]) :]
            shorter = re.sub(r'(\\r)?(\\n)?"$', '"', text)
            if shorter != text:
                yield start, end, shorter


def neighbors(source, tokens):
    """Two texts in a row swapped, as the header lines of a message."""
    for (start, end, one), (begin, last, other) in zip(tokens, tokens[1:]):
        if one[0] == other[0] == '"':
            yield start, last, other + source[end:begin] + one


def conditions(source, cursors):
    """A condition negated, unless it is one comparison, which operators() negates."""
    for cursor in cursors:
        if cursor.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT):
            start, end = span(next(cursor.get_children()))
            if re.search(r"&&|\|\|", source[start:end]) or not re.search("!|==", source[start:end]):
                yield start, end, f"!({source[start:end]})"


def statements(source, cursors):
    """A statement dropped, alone or with the if or the loop that it belongs to; no declaration but
    a lock's, and no return that the compiler insists on."""
    for cursor in cursors:
        for statement in list(cursor.get_children())[BODIES.get(cursor.kind, sys.maxsize) :]:
            start, end = span(statement)
            end += source[end] == ";"
            if statement.kind == CursorKind.DECL_STMT and "ScopedLock" not in source[start:end]:
                continue
            needed = re.match("return [^;]", source[start:end]) and not BODIES[cursor.kind]
            if source[end - 1] == ";" and not needed:
                yield start, end, ";" + "\n" * source.count("\n", start, end)
