#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_links.py ROOT: links and file names in the documents exist, fences are well-formed, and the
documents stay short."""
import pathlib
import re
import sys

from fences import Fault, documents, read_blocks

ROOT = pathlib.Path(sys.argv[1])
MAX_README_LINES = 140
MAX_DOCS_WORDS = 8000
FOLDERS = "bench|cmake|docs|examples|include|scripts|source|tests|tools"


def without_blocks(text):
    return re.sub(r"^ *```.*?^ *```$", "", text, flags=re.M | re.S)


def anchors(path):
    """The anchors that a renderer gives to the headings."""
    headings = re.findall(r"^#+ (.*)$", without_blocks(path.read_text()), re.M)
    return {re.sub(r"[^\w\- ]", "", heading).strip().lower().replace(" ", "-")
            for heading in headings}


def faults(document):
    path = ROOT / document
    text = without_blocks(path.read_text())
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        if re.match(r"[a-z]+:", target):
            continue
        name, _, anchor = target.partition("#")
        file = path.parent / name if name else path
        if not file.exists():
            yield f"{target}: there is no such file"
        elif anchor and anchor not in anchors(file):
            yield f"{target}: there is no such heading"
    for name in re.findall(rf"`(?:\./)?((?:{FOLDERS})/[\w./-]*\w)[^`]*`", text):
        if not (ROOT / name).exists():
            yield f"`{name}`: there is no such file"
    try:
        read_blocks(path)
    except Fault as fault:
        yield str(fault)


def lengths():
    lines = (ROOT / "README.md").read_text().count("\n")
    words = sum(len(path.read_text().split()) for path in ROOT.glob("docs/*.md"))
    print(f"README.md has {lines} lines, docs/ {words} words")
    if lines > MAX_README_LINES:
        yield f"README.md has more than {MAX_README_LINES} lines"
    if words > MAX_DOCS_WORDS:
        yield f"docs/ has more than {MAX_DOCS_WORDS} words"


found = [f"{document}: {fault}" for document in documents(ROOT) for fault in faults(document)]
found += lengths()
print(f"{len(documents(ROOT))} documents checked")
sys.exit("\n".join(found) or 0)
