#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""terminal_test.py DEMO: the demo has colors on a terminal that wants them and nowhere else, and ends
when its reader has gone."""
import os
import pty
import signal
import subprocess
import sys

DEMO = sys.argv[1]
SKIP = "allows no private network"
FIRST_SCENE = "lamp-kitchen"  # its command names it
READER_GONE = 128 + signal.SIGPIPE


def scene(read):
    """Reads up to the first command of the first scene."""
    text = ""
    while FIRST_SCENE not in text:
        chunk = os.read(read, 4096).decode()
        if not chunk or SKIP in text:
            print(f"SKIPPED, the demo said: {text}")
            sys.exit(1 if os.environ.get("LIBSSDP_REQUIRE_NETWORK") else 77)
        text += chunk
    return text


def run(environment, ends):
    """What the demo prints, up to its first command, into the second of two ends; its reader leaves then."""
    read, write = ends
    clean = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "TERM")}
    demo = subprocess.Popen([DEMO], stdout=write, start_new_session=True, env={**clean, **environment})
    os.close(write)
    text = scene(read)
    if "lamp-hall" in text or "(--notify-timeout 1800)" not in text:
        sys.exit(f"it begins with a search that nobody answers, or explains no timeout: {text}")
    os.close(read)
    status = demo.wait()
    if status != READER_GONE:
        sys.exit(f"{environment}: went on without a reader, and ended with status {status}")
    return text


def check(environment, colored, ends):
    if ("\x1b[" in run(environment, ends)) != colored:
        sys.exit(f"{environment}: colors are {'missing' if colored else 'there'}")


check({"TERM": "xterm"}, True, pty.openpty())
check({"TERM": "xterm", "NO_COLOR": ""}, True, pty.openpty())
check({"TERM": "xterm", "NO_COLOR": "1"}, False, pty.openpty())
check({"TERM": "dumb"}, False, pty.openpty())
check({"TERM": "xterm"}, False, os.pipe())
