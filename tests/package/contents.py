# SPDX-License-Identifier: MIT
"""contents.py PREFIX LIBDIR SOURCE VERSION BUILD-TYPE WITH-TOOL: what an installation puts there: every file
by name, the library under its three names, a licence, and no path of the machine that built it."""
import os
import pathlib
import re
import subprocess
import sys


def files(libdir, version, build_type, with_tool):
    major = version.split(".")[0]
    yield from ("include/libssdp.h", "share/doc/libSSDP/LICENSE", "share/doc/libSSDP/tutorial.md")
    yield from (f"share/doc/libSSDP/examples/{name}.cpp" for name in ("minimal", "presence"))
    for name in ("libSSDP.a", "libSSDP.so", f"libSSDP.so.{major}", f"libSSDP.so.{version}"):
        yield f"{libdir}/{name}"
    yield f"{libdir}/pkgconfig/libSSDP.pc"
    for name in ("Config", "ConfigVersion", "Targets", f"Targets-{build_type.lower() or 'noconfig'}"):
        yield f"{libdir}/cmake/libSSDP/libSSDP{name}.cmake"
    if with_tool:
        yield from ("bin/ssdp-peer", "share/man/man1/ssdp-peer.1")
        yield "share/bash-completion/completions/ssdp-peer"
        yield "share/zsh/vendor-completions/_ssdp-peer"
        yield "share/doc/ssdp-peer/examples/ssdp-peer.service"


def check(condition, complaint):
    if not condition:
        sys.exit(complaint)


def main(prefix, libdir, source, version, build_type, with_tool):
    there = {str(path.relative_to(prefix)) for path in prefix.rglob("*") if not path.is_dir()}
    expected = set(files(libdir, version, build_type, with_tool))
    check(there == expected, f"missing: {expected - there}, not expected: {there - expected}")

    major = version.split(".")[0]
    library = prefix / libdir / f"libSSDP.so.{version}"
    check(os.readlink(prefix / libdir / "libSSDP.so") == f"libSSDP.so.{major}", "libSSDP.so leads elsewhere")
    check(os.readlink(prefix / libdir / f"libSSDP.so.{major}") == library.name, "the SONAME leads elsewhere")
    dynamic = subprocess.run(["readelf", "-d", library], check=True, capture_output=True, text=True)
    names = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic.stdout)
    check(names == [f"libSSDP.so.{major}"], f"SONAME {names}")
    check("RUNPATH" not in dynamic.stdout and "RPATH" not in dynamic.stdout, "it has a search path")

    for copy, original in (("include/libssdp.h", "include/libssdp.h"),
                           ("share/doc/libSSDP/LICENSE", "LICENSE"),
                           ("share/doc/libSSDP/tutorial.md", "docs/tutorial.md"),
                           ("share/doc/libSSDP/examples/presence.cpp", "examples/presence.cpp")):
        check((prefix / copy).read_bytes() == (source / original).read_bytes(), f"{copy} differs")
    for path in [*prefix.rglob("*.cmake"), *prefix.rglob("*.pc")]:
        for folder in (prefix, source):
            check(str(folder) not in path.read_text(), f"{path} names {folder}")
    if with_tool:
        tool = [prefix / "bin/ssdp-peer", "--version"]
        said = subprocess.run(tool, check=True, capture_output=True, text=True).stdout
        check(said == f"ssdp-peer {version}\n", f"ssdp-peer --version says {said!r}")
    print(*sorted(there), sep="\n")


main(pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3]), *sys.argv[4:6],
     sys.argv[6] == "1")
