# SPDX-License-Identifier: MIT
"""exports.py LIBRARY: the shared library exports its entry points, each once, and nothing else."""
import subprocess
import sys

ENTRY_POINTS = """
    libSSDP::Announce
    libSSDP::CreateSSDP
    libSSDP::DestroySSDP
    libSSDP::GetDevices
    libSSDP::GetUUID
    libSSDP::Initialize
    libSSDP::Search
    libSSDP::SetCallback
    libSSDP::SetDeviceType
    libSSDP::SetDomainName
    libSSDP::SetMSearchTimeOut
    libSSDP::SetNetworkInterface
    libSSDP::SetNotifyTimeOut
    libSSDP::SetServerInfo
    libSSDP::SetStatus
    libSSDP::SetUUID
    libSSDP::SetUserAgent
    libSSDP::SetVersionInfo
    libSSDP::Uninitialize
""".split()


def run(*command, text=None):
    return subprocess.run(command, input=text, check=True, capture_output=True, text=True).stdout


# "NAME TYPE VALUE SIZE" a line; c++filt -p leaves the parameters out.
symbols = [line.split() for line in run("nm", "-D", "-P", "--defined-only", sys.argv[1]).splitlines()]
names = sorted(run("c++filt", "-p", text="\n".join(s[0] for s in symbols)).splitlines())
print("exported:", *names, sep="\n  ")
sys.exit(0 if names == sorted(ENTRY_POINTS) and {s[1] for s in symbols} == {"T"} else 1)
