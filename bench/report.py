# SPDX-License-Identifier: MIT
"""report.py BUILD-FOLDER: runs the benchmarks and sets their figures against the goals."""
import math
import os
import statistics
import subprocess
import sys
import time
from collections import defaultdict

BUILD = sys.argv[1]
ROUNDS = 15
PAUSE = 1000  # microseconds, as in flood.cpp
table = []


def lines(name, *arguments):
    """Runs a program and gives its lines, each split at blanks."""
    print("running", name, *arguments, flush=True)
    text = subprocess.check_output([f"{BUILD}/bench/{name}", *arguments], text=True)
    with open(f"{BUILD}/{'-'.join([name, *arguments])}.txt", "w") as file:
        file.write(text)
    return [line.split() for line in text.splitlines()]


def goal(text, limit, measured, unit="", spread=""):
    figure = f"{measured:,.0f}" if measured >= 100 else f"{measured:.3g}"
    verdict = "met" if measured <= limit else "NOT MET"
    table.append((text, f"{limit:g} {unit}", f"{figure} {unit}", spread, verdict))


def note(text, measured, spread=""):
    table.append((text, "", measured, spread, ""))


def undisturbed(costs):
    """The limit of the fastest tenth of the batches. The machine's other guests slow the others down,
    more or fewer of them from minute to minute."""
    return statistics.quantiles(costs, n=10)[0]


# --- The goals, one function for each sort of measurement.

def instructions():
    """As recorded: scripts/instructions holds the library to them."""
    with open("bench/instructions/recorded") as file:
        counts = {name: int(count) for name, count in map(str.split, file)}
    goal("NOTIFY of another search target, instructions", 1500, counts["notify_other"])
    goal("NOTIFY of a known peer, instructions", 3000, counts["notify_known"])
    goal("search response, instructions", 3000, counts["search_response"])


def cost():
    batches = defaultdict(list)
    for subject, *figures in lines("bench_cost", str(ROUNDS)):
        peers, round_, cost, bare = map(float, figures)
        batches[subject, peers].append((round_, cost, bare))

    def compare(text, subject, peers=0, limit=None):
        rows = batches[subject, peers]
        ratio = undisturbed([cost for _, cost, _ in rows]) / undisturbed([bare for *_, bare in rows])
        medians = [statistics.median(cost / bare for at, cost, bare in rows if at == round_)
                   for round_ in range(ROUNDS)]
        spread = f"{min(medians):.2f} to {max(medians):.2f}"
        goal(text, limit, ratio, "x", spread) if limit else note(text, f"{ratio:.3g} x", spread)

    bare = undisturbed([bare for *_, bare in batches["notify_other", 0]])
    note("bare receive loop", f"{bare:.0f} ns")
    compare("the same on a second thread", "bare_thread")
    compare("NOTIFY of another search target / bare loop", "notify_other", limit=1.35)
    compare("NOTIFY of a known peer, one known / bare loop", "notify_known", 1)
    compare("NOTIFY, 100 peers known / bare loop", "notify_known", 100, limit=1.9)
    compare("the same, UUIDs with 24 equal leading characters", "notify_alike", 100, limit=1.9)
    compare("NOTIFY, 10,000 peers known / bare loop", "notify_known", 10000, limit=3.5)
    compare("the same, UUIDs with 24 equal leading characters", "notify_alike", 10000, limit=4.2)
    compare("search response / bare loop", "search_response", 1, limit=1.7)
    compare("M-SEARCH answered / bare receive and send", "msearch_answered", limit=1.6)


def loss():
    """By the floods during which neither processor was away for a millisecond; of the others the count
    and the losses are printed."""
    floods, disturbed = defaultdict(list), defaultdict(list)
    processors = [str(number) for number in sorted(os.sched_getaffinity(0))]
    floods_of_all = lines("bench_flood", "loss", processors[0], processors[-1])
    for receiver, *figures in (line for line in floods_of_all if line[0] != "#"):
        aimed_at, reached, lost, _, pause = map(int, figures)
        (floods if pause < PAUSE else disturbed)[receiver].append((aimed_at, reached, lost))
    for receiver in ("bare", "library"):
        at_50 = [flood[2] for flood in floods[receiver] if flood[0] == 50000 <= 1.05 * flood[1]]
        worst, count = max(at_50, default=math.inf), f"{len(at_50)} floods"
        text = f"lost at 50,000/s, {receiver}"
        goal(text, 0, worst, "", count) if receiver == "library" else note(text, f"{worst:,}", count)
        losing = [reached for _, reached, lost in floods[receiver] if lost > 0]
        note(f"lowest rate with a loss, {receiver}", f"{min(losing):,}/s" if losing else "none",
             f"up to {max((flood[1] for flood in floods[receiver]), default=0):,}/s were sent")
        paused = [lost for *_, lost in disturbed[receiver]]
        note(f"floods with a pause, {receiver}", f"{len(paused)}", f"lost up to {max([0, *paused]):,}")


def crowd():
    for order, sent, heard in lines("bench_flood", "crowd"):
        goal(f"refreshes missed beside 4,000 new peers/s, {order}", 5,
             100 * (1 - int(heard) / int(sent)), "%", f"{heard} of {sent} heard")


def resources():
    figures = {line[0]: float(line[1]) for line in lines("bench_resources") if len(line) == 2}
    goal("idle, wake-ups a second", 5.2, figures["idle_wakeups_per_second"])
    goal("idle, allocations a pass", 1, figures["idle_allocations_per_pass"])
    goal("idle, CPU in 10 s", 2, figures["idle_cpu_ms_in_10_s"], "ms")
    note("pauses alone, CPU in 10 s", f"{figures['idle_bare_cpu_ms_in_10_s']:.3g} ms")
    goal("heap a known peer", 420, figures["heap_bytes_per_peer"], "bytes")
    goal("start / its bare system calls", 2, figures["start_ratio"], "x")
    goal("announcement / bare send", 1.5, figures["announcement_ratio"], "x")


def resident(name):
    """KiB of a program that has started and waits, in a private network."""
    command = ("ip link set lo up; ip addr add 10.77.0.1/24 dev lo; "
               f"ip route add 239.0.0.0/8 dev lo src 10.77.0.1; exec {BUILD}/bench/{name}")
    process = subprocess.Popen(["unshare", "--user", "--map-root-user", "--net", "sh", "-c", command])
    time.sleep(1)
    with open(f"/proc/{process.pid}/status") as file:
        size = next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))
    process.kill()
    process.wait()
    return size


def memory():
    more = [resident("bench_smallest") - resident("bench_nothing") for _ in range(7)]
    goal("resident memory of the smallest application, more than nothing", 1024,
         statistics.median(more), "KiB", f"{min(more)} to {max(more)}")
    subprocess.run(["strip", "-o", f"{BUILD}/stripped.so", f"{BUILD}/libSSDP.so"], check=True)
    goal("libSSDP.so stripped, Release", 132, os.path.getsize(f"{BUILD}/stripped.so") / 1024, "KiB")


for measure in (instructions, cost, loss, crowd, resources, memory):
    measure()
print()
for row in (("", "goal", "measured", "medians of rounds", ""), *table):
    print(f"{row[0]:66} {row[1]:>10} {row[2]:>14} {row[3]:>30}  {row[4]}")
verdicts = [row[4] for row in table]
print(f"\n{verdicts.count('NOT MET')} of {len(verdicts) - verdicts.count('')} goals not met.")
sys.exit("NOT MET" in verdicts)
