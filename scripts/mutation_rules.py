# SPDX-License-Identifier: MIT
"""Small mutants of C++ source text, by rules alone: each rule is applied wherever it fits."""
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<skipped>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|\s+)
      |(?P<text>"(?:\\.|[^"\\])*")
      |(?P<char>'(?:\\.|[^'\\])')
      |(?P<number>\d[\w.]*)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<mark>::|->|\+\+|--|\|=|&=|==|!=|<=|>=|&&|\|\||.)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

# Marks that stand between two operands. Where one has other meanings too (a template's bracket, a
# pointer), it is told by the formatter's blanks on both sides.
BETWEEN = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"],
    "/": ["*"], "%": ["/"],
}  # fmt: skip
ANYWHERE = {"++": "--", "--": "++", "|=": "&=", "&=": "|="}
WORDS = {
    "true": "false", "false": "true", "min": "max", "max": "min", "find": "rfind",
    "SSDP_SUCCESS": "SSDP_FAILURE", "SSDP_FAILURE": "SSDP_SUCCESS",
    "SSDP_NOT_CREATED": "SSDP_FAILURE", "SSDP_DEVICE_ADDED": "SSDP_DEVICE_CHANGED",
    "SSDP_DEVICE_CHANGED": "SSDP_DEVICE_REMOVED", "SSDP_DEVICE_REMOVED": "SSDP_SEARCH_RECEIVED",
    "SSDP_SEARCH_RECEIVED": "SSDP_DEVICE_ADDED", "kReject": "kReadAsEmpty",
    "kReadAsEmpty": "kReject",
}  # fmt: skip
# What begins a declaration: without it, what follows would not compile.
DECLARES = {
    "auto", "class", "const", "constexpr", "enum", "explicit", "extern", "friend", "namespace",
    "private", "protected", "public", "static", "struct", "template", "typedef", "using", "virtual",
}  # fmt: skip


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    file: str
    rule: str
    start: int
    end: int
    text: str

    def apply(self, source):
        return source[: self.start] + self.text + source[self.end :]

    def diff(self, source):
        """The lines that differ: (first line's number, the old ones, the new ones)."""
        old, new = source.split("\n"), self.apply(source).split("\n")
        changed = [i for i, (a, b) in enumerate(zip(old, new)) if a != b]
        first, last = changed[0], changed[-1] + 1
        old, new = ([line.strip() for line in lines[first:last]] for lines in (old, new))
        return first + 1, list(filter(None, old)), list(filter(None, new))


def tokens_of(source):
    found = [Token(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(source)]
    return [token for token in found if token.kind != "skipped"]


def mutants_of(file, source):
    """All mutants of one file, in the order of the text."""
    tokens = tokens_of(source)
    closing = matching(tokens)
    found = []
    for rule in (marks, words, numbers, texts, swapped_texts, conditions, statements):
        for start, end, text in rule(source, tokens, closing):
            found.append(Mutant(file, rule.__name__, start, end, text))
    return sorted(set(found), key=lambda m: (m.start, m.end, m.text))


def matching(tokens):
    """For the index of each opening parenthesis or brace that of the closing one."""
    pairs, opened = {}, []
    for i, token in enumerate(tokens):
        if token.text in ("(", "{") and token.kind == "mark":
            opened.append(i)
        elif token.text in (")", "}") and token.kind == "mark":
            pairs[opened.pop()] = i
    return pairs


def marks(source, tokens, _):
    for token in tokens:
        if token.kind != "mark":
            continue
        around = source[token.start - 1 : token.end + 1]
        if token.text in ANYWHERE:
            yield token.start, token.end, ANYWHERE[token.text]
        elif around == f" {token.text} ":
            for other in BETWEEN.get(token.text, []):
                yield token.start, token.end, other
        elif token.text == "!":
            yield token.start, token.end, ""


def words(_, tokens, __):
    for token in tokens:
        if token.kind == "word" and token.text in WORDS:
            yield token.start, token.end, WORDS[token.text]


def numbers(_, tokens, __):
    """One more and one less."""
    for token in tokens:
        if token.kind == "char":
            other = " " if "\\" in token.text else chr(ord(token.text[1]) + 1)
            yield token.start, token.end, f"'{other}'"
        elif token.kind == "number" and token.text.isdigit():
            value = int(token.text)
            yield token.start, token.end, str(value + 1)
            if value > 0:
                yield token.start, token.end, str(value - 1)


def texts(_, tokens, __):
    """A letter changed, the middle one; a line end dropped; an empty text filled."""
    for token in tokens:
        if token.kind != "text":
            continue
        letters = [m.end() - 1 for m in re.finditer(r"(?<!\\)[\w :.*%]", token.text)]
        if letters:
            at = letters[len(letters) // 2]
            yield token.start, token.end, token.text[:at] + "#" + token.text[at + 1 :]
        elif token.text == '""':
            yield token.start, token.end, '"#"'
        shorter = re.sub(r'(\\r)?(\\n)?"$', '"', token.text)
        if shorter != token.text:
            yield token.start, token.end, shorter


def swapped_texts(source, tokens, _):
    """Two texts in a row, as the header lines of a message."""
    for one, other in zip(tokens, tokens[1:]):
        if one.kind == other.kind == "text":
            between = source[one.end : other.start]
            yield one.start, other.end, other.text + between + one.text


def conditions(source, tokens, closing):
    for i, token in enumerate(tokens[:-1]):
        if token.text in ("if", "while") and tokens[i + 1].text == "(":
            inner = tokens[i + 2 : closing[i + 1]]
            simple = not any(t.text in ("&&", "||") for t in inner)
            if simple and any(t.text in ("!", "==", "!=") for t in inner):
                continue  # marks() negates these already
            start, end = inner[0].start, inner[-1].end
            yield start, end, f"!({source[start:end]})"


def statements(source, tokens, closing):
    """A statement dropped: alone, and together with the if or the loop that it belongs to."""
    opened, begin = [], 0
    for i, token in enumerate(tokens):
        if token.kind != "mark":
            continue
        if token.text in ("(", "{"):
            opened.append(token.text)
        elif token.text in (")", "}"):
            opened.pop()
        if token.text == ";" and opened and opened[-1] == "{":
            for first in starts(tokens, closing, begin, i):
                dropped = source[tokens[first].start : token.end]
                yield tokens[first].start, token.end, ";" + "\n" * dropped.count("\n")
        if token.text in ("{", "}") or (token.text == ";" and (not opened or opened[-1] == "{")):
            begin = i + 1


def starts(tokens, closing, begin, end):
    """Where in tokens[begin:end] something begins that can be dropped."""
    at = begin
    while tokens[at].text in ("if", "while", "for") and tokens[at + 1].text == "(":
        yield at
        at = closing[at + 1] + 1
    if at < end and is_action(tokens[at : end + 1], at > begin):
        yield at


def is_action(statement, conditional):
    """Whether it does something: no declaration, and no return that the compiler insists on."""
    first, second = statement[0], statement[1]
    if [t.text for t in statement[-3:-1]] == ["=", "delete"]:
        return False
    if [t.text for t in statement[:2]] == ["const", "ScopedLock"]:
        return True
    if sum(t.text in ("(", "{") for t in statement) != sum(t.text in (")", "}") for t in statement):
        return False
    if first.text == "return":
        return conditional or second.text == ";"
    if first.kind == "mark":
        return first.text in ("++", "--", "*")
    if first.kind != "word" or first.text in DECLARES:
        return False
    return first.text in ("delete", "throw", "continue", "break") or second.kind != "word"
