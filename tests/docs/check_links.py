#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_links.py ROOT: what our documents refer to exists, and every fence says what it holds."""
import pathlib
import re
import sys

from fences import Fault, documents, read_blocks

ROOT = pathlib.Path(sys.argv[1])
FOLDERS = "bench|cmake|docs|examples|include|scripts|source|tests|tools"


def without_blocks(text):
    return re.sub(r"^ *```.*?^ *```$", "", text, flags=re.M | re.S)


def anchors(path):
    """The names that a heading gets where the documents are read in a browser."""
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


found = [f"{document}: {fault}" for document in documents(ROOT) for fault in faults(document)]
print(f"{len(documents(ROOT))} documents looked through")
sys.exit("\n".join(found) or 0)
