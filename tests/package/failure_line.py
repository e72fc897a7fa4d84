# SPDX-License-Identifier: MIT
"""failure_line.py PROJECT CMAKE GENERATOR COMPILER: a failure line names its file from the source
tree on, whatever folder the library was built in, and the binary gives no folder away."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

# A host that forgot CreateSSDP. Search is the one with no argument, so it takes no compiler to call.
HOST = "import ctypes, sys; sys.exit(ctypes.CDLL(sys.argv[1])._ZN7libSSDP6SearchEv() & 0xff)"
EXPECTED = rb"\[\d+\] Search: ssdpserver != NULL failed\. \n source/libssdp\.cpp\n"


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(done.stdout)


def build(source, folder, cmake, generator, compiler):
    run(cmake, "-G", generator, "-S", source, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
        "-DCMAKE_BUILD_TYPE=Release", "-DLIBSSDP_BUILD_TESTS=OFF", "-DLIBSSDP_BUILD_EXAMPLES=OFF")
    run(cmake, "--build", folder, "--target", "libSSDP")
    return folder / "libSSDP.so"


def main(project, *tools):
    with tempfile.TemporaryDirectory() as temporary:
        top = pathlib.Path(temporary)
        source = top / "some where" / "else"
        for part in ("cmake", "include", "source"):
            shutil.copytree(project / part, source / part)
        shutil.copy(project / "CMakeLists.txt", source)
        for folder in (source / "build", top / "apart"):
            library = build(source, folder, *tools)
            host = subprocess.run([sys.executable, "-c", HOST, library], stdout=subprocess.PIPE)
            print(folder.relative_to(top), host.stdout, host.returncode)
            if host.returncode != 0xff or not re.fullmatch(EXPECTED, host.stdout):
                return 1
            if os.fsencode(top) in library.read_bytes():
                print("the binary names the folder that it was built in")
                return 1
    return 0


sys.exit(main(pathlib.Path(sys.argv[1]), *sys.argv[2:]))
