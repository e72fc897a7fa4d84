# SPDX-License-Identifier: MIT
"""ways.py WAY FOLDER PREFIX LIBDIR SOURCE VERSION CMAKE: builds a stranger's program in FOLDER, with
libSSDP found in WAY, and runs it in a private network. Compiler, flags and generator come in the
environment variables that CMake reads: CXX, CXXFLAGS, CMAKE_GENERATOR."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
NETWORK = ["unshare", "--user", "--map-root-user", "--net", "--mount", "sh", "-c",
           "PATH=$PATH:/sbin:/usr/sbin; ip link set lo up && ip addr add 10.77.0.1/24 dev lo && "
           "ip route add 239.0.0.0/8 dev lo src 10.77.0.1 && exec \"$@\"", "-"]


def run(*command, **more):
    print("+", shlex.join(map(str, command)), flush=True)
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)
    print(done.stdout, flush=True)
    if done.returncode != 0:
        sys.exit(done.returncode)
    return done.stdout


def network_or_skip():
    tried = subprocess.run([*NETWORK, "true"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if tried.returncode != 0:
        print("SKIPPED, no private network:", tried.stdout.strip())
        sys.exit(1 if "LIBSSDP_REQUIRE_NETWORK" in os.environ else 77)


class Ways:
    def __init__(self, folder, prefix, libdir, source, version, cmake):
        self.folder, self.prefix, self.libdir = folder, prefix, prefix / libdir
        self.source, self.version, self.cmake = source, version, cmake

    def with_cmake(self, project, *arguments):
        run(self.cmake, "-S", HERE / project, "-B", self.folder, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            *arguments)
        if project == "stranger":
            run(self.cmake, "--build", self.folder, "--parallel", "2")

    def with_pkg_config(self, static):
        self.folder.mkdir()
        # Nothing but ours is found.
        environment = dict(os.environ, PKG_CONFIG_LIBDIR=str(self.libdir / "pkgconfig"))
        ask = ["pkg-config", "--static"] if static else ["pkg-config"]
        if run(*ask, "--modversion", "libSSDP", env=environment) != self.version + "\n":
            sys.exit("libSSDP.pc has another version")
        found = shlex.split(run(*ask, "--cflags", "--libs", "libSSDP", env=environment))
        for path in [flag[2:] for flag in found if flag[:2] in ("-I", "-L")]:
            if self.prefix not in pathlib.Path(path).resolve().parents:
                sys.exit(f"libSSDP.pc leads out of its prefix: {path}")
        # g++ would add the latter two by itself, a C compiler that links would not.
        libraries = ["-lSSDP"] if not static else ["-lSSDP", "-pthread", "-lstdc++"]
        if [flag for flag in found if flag[:2] not in ("-I", "-L")] != libraries:
            sys.exit("libSSDP.pc has other libraries")
        flags = shlex.split(os.environ.get("CXXFLAGS", ""))
        run(os.environ["CXX"], "-std=c++17", *flags, *WARNINGS, HERE / "stranger/main.cpp",
            "-o", self.folder / "stranger", *(["-static"] if static else []), *found)

    def program(self, shared):
        program = self.folder / "stranger"
        dynamic = subprocess.run(["readelf", "-d", program], check=True, capture_output=True, text=True)
        needed = re.findall(r"\(NEEDED\).*\[(libSSDP.*)\]", dynamic.stdout)
        if bool(needed) != shared:
            sys.exit(f"needs {needed}")
        environment = dict(os.environ, LD_LIBRARY_PATH=str(self.libdir))
        if run(*NETWORK, program, env=environment) != "heard of stranger-1\n":
            sys.exit("it said something else")

    def versions(self):
        self.with_cmake("versions")

    def cmake_shared(self):
        self.with_cmake("stranger", "-DLIBRARY=libSSDP::libSSDP")
        self.program(shared=True)

    def cmake_static(self):
        self.with_cmake("stranger", "-DLIBRARY=libSSDP::libSSDP_static")
        self.program(shared=False)

    def pkg_config_shared(self):
        self.with_pkg_config(static=False)
        self.program(shared=True)

    def pkg_config_static(self):
        self.with_pkg_config(static=True)
        self.program(shared=False)

    def add_subdirectory(self):
        self.with_cmake("stranger", "-DLIBRARY=libSSDP::libSSDP", f"-DLIBSSDP_SOURCE={self.source}")
        self.program(shared=True)


def main(way, folder, prefix, libdir, source, *build):
    network_or_skip()
    folder = pathlib.Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    getattr(Ways(folder, pathlib.Path(prefix), libdir, pathlib.Path(source), *build), way)()


main(*sys.argv[1:])
