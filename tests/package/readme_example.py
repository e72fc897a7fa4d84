#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The README shows examples/minimal.cpp as it stands, in at most 40 lines; and what a reader copies seeds
rand, or all devices made from it answer at once."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
example = (root / "examples/minimal.cpp").read_text()
blocks = re.findall(r"^```cpp\n(.*?)^```$", (root / "README.md").read_text(), re.M | re.S)
if example not in blocks:
    sys.exit("README.md does not show examples/minimal.cpp as it stands")
if example.count("\n") > 40:
    sys.exit("examples/minimal.cpp is no longer short")
for name in ("examples/minimal.cpp", "examples/presence.cpp", "docs/tutorial.md"):
    if not re.search(r"^ *std::srand\(.*uuid", (root / name).read_text(), re.M):
        sys.exit(f"{name} does not seed rand from its UUID")
