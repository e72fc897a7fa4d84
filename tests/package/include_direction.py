# SPDX-License-Identifier: MIT
"""include_direction.py SOURCE: who includes whom in the library, top to bottom and never upward."""
import pathlib
import re
import sys

# The component, and all that its header and code may include of ours.
ALLOWED = {
    "libssdp": {"ssdp", "report"},
    "ssdp": {"ssdphandler", "ssdplistener", "ssdpstorage", "worker", "mutex", "report"},
    "ssdphandler": {"ssdpbase", "ssdpstorage", "address", "message", "report"},
    "ssdplistener": {"ssdpbase", "ssdpstorage", "address", "message", "mutex", "report"},
    "ssdpbase": {"worker", "report"},
    "ssdpstorage": {"ssdpdevice", "message"},
    "ssdpdevice": {"ssdpconfig"},
    "ssdpconfig": {"mutex", "report"},
    "worker": {"report"},
    "address": set(),
    "message": set(),
    "mutex": set(),
    "report": set(),
}
PUBLIC = "libssdp"  # the public header's types are for all but the two at the bottom
WITHOUT_PUBLIC = {"mutex", "report"}


def main(source):
    files = sorted(path for path in source.iterdir() if path.suffix in (".h", ".cpp"))
    errors = [f"{name}: no such component" for name in set(ALLOWED) - {path.stem for path in files}]
    for path in files:
        allowed = ALLOWED.get(path.stem)
        if allowed is None:
            errors.append(f"{path.name}: a component without a place in the order")
            continue
        allowed = allowed | {path.stem}
        if path.stem not in WITHOUT_PUBLIC:
            allowed = allowed | {PUBLIC}
        for included in re.findall(r'^\s*#\s*include\s+"([^"]+)"', path.read_text(), re.MULTILINE):
            if not included.endswith(".h") or included[:-2] not in allowed:
                errors.append(f"{path.name} must not include {included}")
        for included in re.findall(r"^\s*#\s*include\s+<([^>]+)>", path.read_text(), re.MULTILINE):
            if included[:-2] in ALLOWED:
                errors.append(f'{path.name} includes our own <{included}> without ""')
    print("\n".join(errors) or f"{len(files)} files in {len(ALLOWED)} components")
    return 1 if errors else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
