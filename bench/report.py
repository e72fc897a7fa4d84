# SPDX-License-Identifier: MIT
"""report.py BUILD-FOLDER: runs the benchmarks and sets their figures against the goals."""
import json
import math
import os
import statistics
import subprocess
import sys
import time
from collections import defaultdict, namedtuple

import matplotlib
matplotlib.use("svg")
import matplotlib.pyplot as plt

BUILD = sys.argv[1]
ROUNDS = 15
PAUSE = 1000  # microseconds, as in loss.cpp
Flood = namedtuple("Flood", "aimed_at reached lost share")  # the first two a second


def lines(*command):
    """Runs a program and gives its lines, each split at blanks."""
    print("running", os.path.basename(command[0]), *command[1:], flush=True)
    text = subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout
    with open(os.path.join(BUILD, os.path.basename(command[0]) + ".txt"), "w") as file:
        file.write(text)
    return [line.split() for line in text.splitlines()]


def program(name):
    return os.path.join(BUILD, "bench", name)


# --- What there is to print.

table = []
failed = 0


def goal(text, limit, measured, unit, spread=""):
    global failed
    met = measured <= limit
    failed += not met
    table.append((text, f"{limit:g} {unit}", f"{measured:.3f} {unit}" if unit == "x"
                  else f"{measured:,.0f} {unit}" if measured >= 100 else f"{measured:.2f} {unit}",
                  spread, "met" if met else "NOT MET"))


def note(text, measured, spread=""):
    table.append((text, "", measured, spread, ""))


def undisturbed(costs):
    """What the fastest tenth of the batches stayed below. The other guests of the machine slow the
    others down, more or fewer of them from minute to minute."""
    return statistics.quantiles(costs, n=10)[0]


def spread(figures):
    return f"{min(figures):.2f} to {max(figures):.2f}"


# --- The goals, one function for each kind of measurement.

def instructions():
    """As recorded: scripts/instructions holds the library to them."""
    with open("bench/instructions/recorded") as file:
        counts = {name: int(count) for name, count in map(str.split, file)}
    goal("NOTIFY of another search target, instructions", 1500, counts["notify_other"], "")
    goal("NOTIFY of a known peer, instructions", 3000, counts["notify_known"], "")
    goal("search response, instructions", 3000, counts["search_reply"], "")


def cost():
    batches, announcements = defaultdict(list), []
    for subject, *figures in lines(program("bench_cost"), str(ROUNDS)):
        if subject == "announcement":
            announcements.append(float(figures[0]))
        else:
            peers, round_, cost, bare = map(float, figures)
            batches[subject, peers].append((round_, cost, bare))
    costs = {key: undisturbed([cost for _, cost, _ in rows]) for key, rows in batches.items()}
    bares = {key: undisturbed([bare for _, _, bare in rows]) for key, rows in batches.items()}

    def of_each_round(subject, peers, figure):
        by_round = defaultdict(list)
        for round_, cost, bare in batches[subject, peers]:
            by_round[round_].append(figure(cost, bare))
        return spread([statistics.median(figures) for figures in by_round.values()])

    def compare(text, subject, peers=0, limit=None):
        ratio = costs[subject, peers] / bares[subject, peers]
        rounds = of_each_round(subject, peers, lambda cost, bare: cost / bare)
        if limit is None:
            note(text, f"{ratio:.2f} x", rounds)
        else:
            goal(text, limit, ratio, "x", rounds)

    note("bare receive loop", f"{bares['notify_other', 0]:.0f} ns",
         of_each_round("notify_other", 0, lambda cost, bare: bare))
    compare("the same on a second thread", "bare_thread")
    compare("and with what is fixed for every datagram", "fixed")
    compare("NOTIFY of another search target / bare loop", "notify_other", limit=1.35)
    compare("NOTIFY of a known peer, one known / bare loop", "notify_known", 1)
    compare("NOTIFY, 100 peers known / bare loop", "notify_known", 100, limit=1.9)
    compare("the same, UUIDs with 24 equal leading characters", "notify_alike", 100, limit=1.9)
    compare("NOTIFY, 10,000 peers known / bare loop", "notify_known", 10000, limit=3.5)
    compare("the same, UUIDs with 24 equal leading characters", "notify_alike", 10000, limit=4.2)
    compare("search response / bare loop", "search_reply", 1, limit=1.7)
    compare("M-SEARCH answered / bare receive and send", "msearch_answered", limit=1.6)
    goal("announcement / bare send", 1.5, statistics.median(announcements), "x", spread(announcements))
    plot_cost({peers: cost for (subject, peers), cost in costs.items()
               if subject == "notify_known"}, bares["notify_other", 0])


def loss():
    """By the floods during which neither processor was away for a millisecond; the others are counted,
    and what was lost in them is said."""
    floods, disturbed = defaultdict(list), defaultdict(list)
    for receiver, *figures in (line for line in lines(program("bench_loss")) if line[0] != "#"):
        aimed_at, reached, lost, sent, pause = map(int, figures)
        (floods if pause < PAUSE else disturbed)[receiver].append(
            Flood(aimed_at, reached, lost, lost / sent))
    plot_loss(floods)
    for receiver in ("bare", "library"):
        counted = floods[receiver]
        at_50 = [flood.lost for flood in counted if flood.aimed_at == 50000 <= 1.05 * flood.reached]
        worst, number = max(at_50, default=math.inf), f"{len(at_50)} floods"
        if receiver == "library":
            goal("lost at 50,000/s, 1,000 peers known", 0, worst, "", number)
        else:
            note("lost at 50,000/s by the bare loop", f"{worst:,}", number)
        losing = [flood.reached for flood in counted if flood.lost > 0]
        note(f"lowest rate with a loss, {receiver}", f"{min(losing):,}/s" if losing else "none",
             f"up to {max((flood.reached for flood in counted), default=0):,}/s were sent")
        by_rate = defaultdict(list)
        for flood in counted:
            by_rate[flood.aimed_at].append(flood)
        mostly = [min(flood.reached for flood in some) for some in by_rate.values()
                  if statistics.median(flood.lost for flood in some) > 0]
        note(f"lowest rate where most floods lose, {receiver}",
             f"{min(mostly):,}/s" if mostly else "none")
        without = [flood.lost for flood in disturbed[receiver]]
        note(f"floods with a pause of a processor, {receiver}", str(len(without)),
             f"lost up to {max(without, default=0):,}")


def crowd():
    for order, sent, heard in lines(program("bench_crowd")):
        missed = 100 * (1 - int(heard) / int(sent))
        goal(f"refreshes missed beside 4,000 new peers/s, {order}", 5, missed, "%",
             f"{heard} of {sent} heard")


def resources():
    figures = {line[0]: float(line[1]) for line in lines(program("bench_resources"))
               if len(line) == 2 and not line[0].startswith("[")}
    goal("idle, wake-ups a second", 5.2, figures["idle_wakeups_per_second"], "")
    goal("idle, allocations a pass", 1, figures["idle_allocations_per_pass"], "")
    goal("idle, CPU in 10 s", 2, figures["idle_cpu_ms_in_10_s"], "ms")
    note("as many pauses and nothing else, CPU in 10 s",
         f"{figures['idle_bare_cpu_ms_in_10_s']:.2f} ms")
    goal("heap a known peer", 420, figures["heap_bytes_per_peer"], "bytes")
    goal("start / its bare system calls", 2, figures["start_ratio"], "x")


def resident(name):
    """KiB of a program that has started and waits; the programs keep to a private network."""
    command = ("ip link set lo up; ip addr add 10.77.0.1/24 dev lo; "
               "ip route add 239.0.0.0/8 dev lo src 10.77.0.1; exec " + program(name))
    process = subprocess.Popen(["unshare", "--user", "--map-root-user", "--net", "sh", "-c", command])
    time.sleep(1)
    with open(f"/proc/{process.pid}/status") as file:
        size = next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))
    process.kill()
    process.wait()
    return size


def memory():
    more = [resident("bench_smallest") - resident("bench_nothing") for _ in range(7)]
    goal("resident memory of the smallest host, more than nothing", 1024,
         statistics.median(more), "KiB", f"{min(more)} to {max(more)}")
    stripped = os.path.join(BUILD, "stripped.so")
    subprocess.run(["strip", "-o", stripped, os.path.join(BUILD, "libSSDP.so")], check=True)
    goal("libSSDP.so stripped, Release", 132, os.path.getsize(stripped) / 1024, "KiB")


def micro():
    file = os.path.join(BUILD, "micro.json")
    lines(program("bench_micro"), "--benchmark_min_time=0.2", "--benchmark_out=" + file,
          "--benchmark_out_format=json")
    with open(file) as stream:
        results = json.load(stream)["benchmarks"]
    figures = {result["name"]: (result["cpu_time"], result["time_unit"]) for result in results}
    for name, (figure, unit) in figures.items():
        note("micro: " + name, f"{figure:,.1f} {unit}")


# --- The plots.

def save(name):
    plt.grid(True, alpha=0.3)
    plt.legend()
    plt.tight_layout()
    plt.savefig(os.path.join(BUILD, name))
    plt.close()


def plot_cost(by_peers, bare):
    peers = sorted(by_peers)
    plt.semilogx(peers, [by_peers[count] for count in peers], "o-", label="libSSDP")
    plt.axhline(bare, color="grey", label="bare loop")
    plt.ylim(bottom=0)
    plt.xlabel("known peers")
    plt.ylabel("CPU of a known peer's NOTIFY, ns")
    save("cost-against-peers.svg")


def plot_loss(floods):
    for receiver, points in floods.items():
        plt.plot([flood.reached / 1000 for flood in points],
                 [100 * flood.share for flood in points], "o", label=receiver, alpha=0.7)
    plt.xlabel("thousand datagrams a second")
    plt.ylabel("lost, %")
    save("loss-against-rate.svg")


instructions()
cost()
loss()
crowd()
resources()
memory()
micro()
print()
for row in (("", "goal", "measured", "medians of rounds", ""), *table):
    print(f"{row[0]:56} {row[1]:>12} {row[2]:>14} {row[3]:>30}  {row[4]}")
print(f"\n{failed} of {sum(1 for row in table if row[4])} goals not met. Plots: {BUILD}/*.svg")
sys.exit(failed > 0)
