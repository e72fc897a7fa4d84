# SPDX-License-Identifier: MIT
"""The documents as the tests see them: their fenced blocks, and the comments that direct a test.

The first word after a fence is the language; the rest of the line gives the block's purpose:

    ```sh                     commands; run
    ```sh no-run: REASON      commands that no test can run
    ```text output            the output of the commands before it; "…" is any text within a line
    ```text picture           a drawing
    ```cpp                    a whole program; compiled
    ```cmake                  lines of a project that builds that program; configured
    ```LANGUAGE FILE          a file; written for the commands that follow

Two comments, which a renderer hides, direct the test:

    <!-- folder: NAME -->     the rest of the document runs in a new folder, not in the checkout
    <!-- run: COMMANDS -->    run before the next commands, to create the situation described

Other comments are for scripts/figures: it writes the table between <!-- table: NAME --> and
<!-- table: end -->, and the number before a comment within a line.
"""
import pathlib
import re
from dataclasses import dataclass

LANGUAGES = {"sh", "text", "cpp", "cmake", "mermaid"}


class Fault(Exception):
    pass


@dataclass
class Block:
    line: int
    language: str  # or "run", "folder" for a comment
    words: str
    text: str

    def is_output(self):
        return self.language == "text" and self.words == "output"


def documents(root):
    """All documents, relative to `root`."""
    found = sorted(root.glob("*.md")) + sorted(root.glob("docs/*.md"))
    return [path.relative_to(root) for path in found]


def read_blocks(path):
    blocks = []
    lines = iter(enumerate(pathlib.Path(path).read_text().splitlines(), 1))
    for number, line in lines:
        comment = re.match(r"<!-- (run|folder):(.*)", line)
        if line.startswith("<!--") and not comment and not line.startswith("<!-- table: "):
            raise Fault(f"{number}: a comment without a meaning")
        if comment:
            text = comment[2]
            while not text.endswith("-->"):
                text += "\n" + next(lines)[1]
            blocks.append(Block(number, comment[1], "", text[:-3].strip()))
        elif line.lstrip().startswith(("```", "~~~")):
            blocks.append(read_block(number, line, lines))
    return blocks


def read_block(number, fence, lines):
    indent = len(fence) - len(fence.lstrip())  # of the list that the block stands in
    language, _, words = fence[indent + 3:].partition(" ")
    if "~" in fence or language not in LANGUAGES:
        raise Fault(f"{number}: a fence must name one of " + ", ".join(sorted(LANGUAGES)))
    if language == "text" and words not in ("output", "picture"):
        raise Fault(f"{number}: text is either output or picture")
    if " " in words and not words.startswith("no-run: "):
        raise Fault(f"{number}: not a file name: {words}")
    text = ""
    for _, line in lines:
        line = line[indent:]
        if line == "```":
            if not text.strip():
                raise Fault(f"{number}: an empty block")
            return Block(number, language, words.strip(), text)
        text += line + "\n"
    raise Fault(f"{number}: a block without an end")
