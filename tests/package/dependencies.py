# SPDX-License-Identifier: MIT
"""dependencies.py LIBRARY: it needs the C and C++ run-time libraries and nothing else."""
import re
import subprocess
import sys

# libpthread was a library of its own before glibc 2.34.
RUN_TIME = r"(libc|libm|libpthread|libstdc\+\+|libgcc_s|ld-linux-[\w-]+)\.so\.\d+"

dynamic = subprocess.run(["readelf", "-d", sys.argv[1]], check=True, capture_output=True, text=True)
needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic.stdout)
strangers = [name for name in needed if not re.fullmatch(RUN_TIME, name)]
print("needed:", *needed, "strangers:", *strangers)
sys.exit(0 if needed and not strangers else 1)
