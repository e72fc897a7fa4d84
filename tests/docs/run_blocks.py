#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""run_blocks.py ROOT BUILD DOCUMENT [TOOL]: runs the commands and compiles the code of a document.

It works in a copy of the checkout and in a private network namespace. The library of BUILD is
installed in a scratch prefix, and TOOL, if it was built, is ssdp-peer in the path. A block that can't be
run here is reported in a line that begins with SKIPPED; a block marked no-run, in another line.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

from fences import read_blocks

NETWORK = """
PATH=$PATH:/sbin:/usr/sbin
ip link set lo up
ip link add eth0 type veth peer name cable
ip addr add 10.77.0.1/24 dev eth0
ip link set cable up
ip link set eth0 up
ip route add 239.0.0.0/8 dev eth0 src 10.77.0.1
"""
PROJECT = """cmake_minimum_required(VERSION 3.16)
project(reader LANGUAGES CXX)
add_executable({target} ../program.cpp)
{lines}"""
WARNINGS = "-std=c++17 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror".split()


class Failure(Exception):
    pass


class Reader:
    """Follows one document, block by block."""

    def __init__(self, scratch, tool):
        self.scratch = scratch
        self.prefix = scratch / "prefix"
        self.folder = scratch / "checkout"
        self.tool = tool
        self.hidden = ""    # commands of a comment, run before the next commands
        self.output = None  # of the last commands; None if they were not run
        self.ran = 0

    def follow(self, block):
        if block.language == "folder":
            self.folder = self.scratch / block.text
            self.folder.mkdir()
        elif block.language == "run":
            self.hidden += block.text + "\n"
        elif block.is_output():
            self.compare(block)
        elif block.language == "sh" and (not block.words or block.words.startswith("no-run:")):
            self.run_commands(block)
        elif block.words and block.language != "text":
            self.write(block)
        elif block.language == "cpp":
            self.compile(block.text)
        elif block.language == "cmake":
            self.configure(block.text)

    def run_commands(self, block):
        hidden, self.hidden, self.output = self.hidden, "", None
        if block.words:
            return tell(block, "never run", block.words.partition(":")[2].strip())
        if not self.tool and "ssdp-peer" in block.text:
            return tell(block, "SKIPPED", "ssdp-peer is not built here (-DLIBSSDP_BUILD_TOOLS=ON)")
        if hidden:
            self.execute(["bash", "-ec", hidden])
        self.output = self.execute(["bash", "-ec", block.text])
        self.ran += 1

    def execute(self, command):
        """Runs it in the document's folder and returns its output. Background jobs may live on."""
        with tempfile.TemporaryFile() as output:
            status = subprocess.run(command, cwd=self.folder, stdin=subprocess.DEVNULL,
                                    stdout=output, stderr=subprocess.STDOUT, timeout=240,
                                    check=False).returncode
            output.seek(0)
            text = output.read().decode(errors="replace")
        if status != 0:
            raise Failure(f"{' '.join(command)}\nexit status {status}, after:\n{text}")
        return text

    def compare(self, block):
        if self.output is None:
            return
        pattern = re.escape(block.text).replace("…", "[^\n]*")
        if re.fullmatch(pattern, self.output) is None:
            raise Failure(f"promised:\n{block.text}printed:\n{self.output}")
        self.ran += 1

    def write(self, block):
        (self.folder / block.words).write_text(block.text)
        if block.words.endswith(".cpp"):
            self.execute([os.environ["CXX"], *WARNINGS, "-fsyntax-only",
                          f"-I{self.prefix}/include", block.words])
        self.ran += 1

    def compile(self, program):
        (self.scratch / "program.cpp").write_text(program)
        self.execute([os.environ["CXX"], *WARNINGS, f"-I{self.prefix}/include", "-fsyntax-only",
                      str(self.scratch / "program.cpp")])
        self.ran += 1

    def configure(self, lines):
        """Configures a project that has these lines and builds the document's program."""
        project = pathlib.Path(tempfile.mkdtemp(prefix="project", dir=self.scratch))
        target = re.search(r"target_link_libraries\((\S+)", lines)
        (project / "CMakeLists.txt").write_text(
            PROJECT.format(target=target[1] if target else "program", lines=lines))
        (project / "libSSDP").symlink_to(self.scratch / "checkout")
        self.execute(["cmake", "-S", str(project), "-B", str(project / "build")])
        if "add_subdirectory" not in lines:  # that would build the library once more
            self.execute(["cmake", "--build", str(project / "build")])
        self.ran += 1


def tell(block, what, reason):
    print(f"{what}, {sys.argv[3]} line {block.line}: {reason}")


def read_document(root, document, scratch, tool):
    subprocess.run(["sh", "-ec", NETWORK], check=True)
    reader = Reader(scratch, tool)
    for block in read_blocks(root / document):
        try:
            reader.follow(block)
        except (Failure, subprocess.TimeoutExpired) as failure:
            sys.exit(f"{document}:{block.line}: {failure}")
    print(f"{document}: {reader.ran} blocks run, compiled or compared")


def prepare(root, build, scratch, tool):
    """Makes the environment of a user who has installed the library."""
    shutil.copytree(root, scratch / "checkout", symlinks=True,
                    ignore=shutil.ignore_patterns("build*", ".git"))
    prefix = scratch / "prefix"
    subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL)
    libraries = next(prefix.rglob("libSSDP.so")).parent
    path = [*([str(pathlib.Path(tool).parent)] if tool else []), os.environ["PATH"],
            "/sbin", "/usr/sbin"]
    os.environ.update(
        CXX=os.environ.get("CXX", "c++"), PATH=":".join(path), HOME=str(scratch), LC_ALL="C", TZ="UTC",
        CMAKE_BUILD_TYPE="Debug", CMAKE_PREFIX_PATH=str(prefix),
        PKG_CONFIG_PATH=str(libraries / "pkgconfig"), LD_LIBRARY_PATH=str(libraries))


def main():
    root, build, document = map(pathlib.Path, sys.argv[1:4])
    tool = "".join(sys.argv[4:5])
    if "LIBSSDP_DOCS_SCRATCH" in os.environ:  # inside the private network
        return read_document(root, document, pathlib.Path(os.environ["LIBSSDP_DOCS_SCRATCH"]), tool)
    alone = ["unshare", "--user", "--map-root-user", "--net"]
    refused = subprocess.run([*alone, "true"], stderr=subprocess.PIPE, text=True, check=False)
    if refused.returncode != 0:
        print("SKIPPED, no private network:", refused.stderr.strip())
        return 1 if os.environ.get("LIBSSDP_REQUIRE_NETWORK") else 77
    with tempfile.TemporaryDirectory() as scratch:
        prepare(root, build, pathlib.Path(scratch), tool)
        os.environ["LIBSSDP_DOCS_SCRATCH"] = scratch
        child = subprocess.Popen([*alone, sys.executable, *sys.argv], start_new_session=True)
        os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOWAIT)
        os.killpg(child.pid, signal.SIGKILL)  # jobs that the commands left behind
        return child.wait()


sys.exit(main())
