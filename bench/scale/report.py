# SPDX-License-Identifier: MIT
"""report.py BUILD-FOLDER PEERS: what bench_scale's raw lines say, each figure beside what a formula
expects of it, and the plots."""
import os
import statistics
import sys
from collections import Counter, defaultdict

import matplotlib
matplotlib.use("svg")
matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "scale", "font.size": 8})
import matplotlib.pyplot as plt

BUILD, PEERS = sys.argv[1], int(sys.argv[2])
TIME_OUT = 10  # as in scale.cpp
ADDED, SEARCHED = 1, 8
with open("/proc/sys/net/core/rmem_default") as file:
    BUFFER = int(file.read())

# --- What was printed: marks[phase][name], overrun[phase][name], stats[phase][when][peer][figure],
# events[phase][peer] as (seconds, event, peer, thread), capacity[kind], queue[(seconds, bytes)].

marks, overrun, stats, events = (defaultdict(dict), defaultdict(dict),
                                 defaultdict(lambda: defaultdict(dict)),
                                 defaultdict(lambda: defaultdict(list)))
capacity, queue, said = {}, [], []


def read(line):
    phase, peer, when, *words = line.split()
    if when == "mark":
        marks[phase][words[0]] = int(words[1]) / 1e9
        overrun[phase][words[0]] = int(words[2])
    elif when == "capacity":
        capacity[words[0]] = int(words[1]), int(words[3])
    elif when == "sample":
        queue.append((int(words[0]) / 1e9, int(words[2])))
    elif words[0] == "stats":
        stats[phase][when][int(peer)] = {name: float(number) for name, number
                                         in zip(words[1::2], words[2::2])}
    elif words[0] == "event":
        events[phase][int(peer)].append((int(words[1]) / 1e9, int(words[2]), *words[3:]))
    else:
        said.append(line)


with open(os.path.join(BUILD, f"scale-{PEERS}.raw")) as raw:
    for text in raw:
        read(text)


# --- What is asked of it.

def delta(phase, begin, end, name):
    """By how much a figure of each peer grew."""
    return [stats[phase][end][peer][name] - stats[phase][begin][peer][name]
            for peer in sorted(stats[phase][begin])]


def cpu(phase, begin, end):
    """Seconds of each peer, without what reading its figures cost."""
    return [late["user"] + late["system"] - early["user_after"] - early["system_after"]
            for early, late in ((stats[phase][begin][peer], stats[phase][end][peer])
                                for peer in sorted(stats[phase][begin]))]


def heard(phase, begin, end):
    """All events of all peers between two marks."""
    since, until = marks[phase][begin], marks[phase][end]
    return [event for log in events[phase].values() for event in log if since <= event[0] < until]


def first_seen(phase, begin):
    """For each peer, when it first heard of each other, in seconds after the mark."""
    tables = []
    for log in events[phase].values():
        table = {}
        for time, event, other, _ in log:
            if event == ADDED:
                table.setdefault(other, time - marks[phase][begin])
        tables.append(table)
    return tables


rows = []


def row(text, expected="", measured=""):
    rows.append((text, str(expected), str(measured)))


def number(figure):
    return f"{figure:,.0f}" if abs(figure) >= 100 else f"{figure:.3g}"


def spread(figures, unit=""):
    return f"{number(min(figures))} / {number(statistics.median(figures))} / " \
           f"{number(max(figures))}{unit}"


def overran(phase, begin, end):
    row("  dropped by this machine between its hosts", 0, overrun[phase][end] - overrun[phase][begin])


# --- The figures, one function for each kind of measurement.

def buffers():
    row(f"A socket's buffer: {BUFFER:,} bytes unless the host's system says otherwise")
    for kind, (held, length) in capacity.items():
        row(f"{kind} of {length} bytes: so many wait in it", "", held)
        row("  bytes that the system counts for each", "", number(BUFFER / held))


def completion(phase, begin, expected):
    tables = first_seen(phase, begin)
    complete = [max(table.values()) for table in tables if len(table) == PEERS]
    row("tables that became complete", PEERS, len(complete))
    if complete:
        row("  first / median / last, s", expected, spread(complete))


def announcing():
    row(f"Announcing: all start at once, notify time-out T = {TIME_OUT} s")
    completion("announcing", "start", f"<= T + {marks['announcing']['started'] - marks['announcing']['start']:.1f}")
    took = marks["announcing"]["quiet_end"] - marks["announcing"]["quiet"]
    sent = delta("announcing", "quiet", "quiet_end", "OutDatagrams")
    received = delta("announcing", "quiet", "quiet_end", "InDatagrams")
    row("announcements on the LAN, a second", f"N / T = {number(PEERS / TIME_OUT)}",
        number(sum(sent) / took))
    row("received by all peers together, a second",
        f"N * N / T = {number(PEERS * PEERS / TIME_OUT)}", number(sum(received) / took))
    frame = capacity["NOTIFY"][1] + 42  # Ethernet, IP and UDP headers
    row("bytes a second that one host's link brings in",
        f"(N - 1) / T * {frame} = {number((PEERS - 1) / TIME_OUT * frame)}",
        number(statistics.mean(delta("announcing", "quiet", "quiet_end", "rx_bytes")) / took))
    busy = statistics.mean(cpu("announcing", "quiet", "quiet_end"))
    row("CPU of a peer, its idling included, % of a core", "", number(100 * busy / took))
    row("table entries lost and found again", 0,
        sum(event[1] == ADDED for event in heard("announcing", "quiet", "quiet_end")))
    row("lost in a full socket buffer", 0,
        number(sum(delta("announcing", "before", "quiet_end", "RcvbufErrors"))))
    overran("announcing", "start", "quiet_end")


def memory():
    end = stats["announcing"]["quiet_end"].values()
    heap = statistics.mean(delta("announcing", "before", "quiet_end", "heap"))
    row("heap of a peer since before its start, KiB", "", number(heap / 1024))
    row("  a table entry of it (with the service), bytes", "", number(heap / PEERS))
    for kind, name in (("resident", "rss_kib"), ("its share of it (PSS)", "pss_kib")):
        row(f"{kind}, KiB", "", number(statistics.mean(peer[name] for peer in end)))


def searches_beside(phase, mx, begin, end, text):
    """Searches that keep every listener busy for half of the time, beside announcing."""
    span = f"searches_mx_{mx}", f"searches_end_mx_{mx}"
    took = marks[phase][span[1]] - marks[phase][span[0]]
    log = heard(phase, *span)
    searches = round(sum(event[1] == SEARCHED for event in log) / PEERS)
    rate = searches / took
    notifies = [event for event in log if event[3] == "listener" and event[1] != SEARCHED]
    late = sum(event[1] == ADDED for event in notifies)
    row(f"{text}: searches, S = {rate:.2f} a second, MX = {mx} s")
    row("  part of the time that a listener waits", f"S * MX / 2 = {rate * mx / 2:.2f}")
    waits = f"S (MX - 1)^2 / (2 MX) = {100 * rate * (mx - 1) ** 2 / (2 * mx):.1f} %"
    row("  answers sent", "", number(sum(event[1] == SEARCHED for event in log)))
    row("  answers received", "as many", number(sum(event[3] == "handler" for event in log)))
    row("  entries that ran out before their refresh was read",
        waits if phase == "out_of_step" else f"{waits} and the lost",
        f"{late:,} of {len(notifies):,}: {100 * late / max(1, len(notifies)):.1f} %")
    in_step = f"<= N (N - {capacity['NOTIFY'][0]}) a burst, or 0"
    row("  announcements lost in a full socket buffer",
        in_step if phase == "announcing" else 0, number(sum(delta(phase, begin, end, "RcvbufErrors"))))
    overran(phase, *span)


def one_search(phase, text):
    row(f"{text}, MX = 1 s")
    answers = sorted(time - marks[phase]["search"] for time, event, _, thread in events[phase][1]
                     if thread == "handler")
    row("  answers received", f"N = {PEERS}", len(answers))
    row("  first / median / last, s", "0 / 0.5 / 1", spread(answers))
    busiest = max(Counter(int(time * 100) for time in answers).values())
    row("  in the busiest 10 ms", "", busiest)
    row("  bytes into the searcher's link", f"N * {capacity['answer'][1] + 42} = "
        f"{number(PEERS * (capacity['answer'][1] + 42))}", number(delta(phase, "before", "end", "rx_bytes")[0]))
    row("  CPU of the searcher / of another peer, ms", "", " / ".join(
        number(1000 * figure) for figure in (cpu(phase, "before", "end")[0],
                                             statistics.mean(cpu(phase, "before", "end")[1:]))))
    row("  lost in its full socket buffer", "", number(delta(phase, "before", "end", "RcvbufErrors")[0]))
    overran(phase, "search", "search_end")
    return answers


def search_each():
    phase = "search_each"
    row("Every peer searches once, all at once, no announcing, MX = 1 s")
    completion(phase, "search", f"1 / {PEERS / 4:g} / {PEERS / 2:g} and more")
    last = [max(time for time, event, _, _ in log if event == SEARCHED) - marks[phase]["search"]
            for log in events[phase].values()]
    row("  a listener's last answer after, s", f"N * MX / 2 = {PEERS / 2:g}", spread(last))
    answers = [sum(event[1] == SEARCHED for event in log) for log in events[phase].values()]
    row("  answers of a listener", f"N = {PEERS}", spread(answers))
    row("  answers of a listener, a second", "2 / MX = 2",
        number(statistics.mean(count / time for count, time in zip(answers, last))))
    row("  bytes of its socket buffer that the searches held at most",
        f"(N - 1) * {number(BUFFER / capacity['M-SEARCH'][0])} = "
        f"{number((PEERS - 1) * BUFFER / capacity['M-SEARCH'][0])}", number(max(held for _, held in queue)))
    row("  searches lost in a full socket buffer",
        f"N * (N - {capacity['M-SEARCH'][0]}) or 0",
        number(sum(delta(phase, "before", "end", "RcvbufErrors"))))
    row("  datagrams sent", f"N + N * N = {PEERS + PEERS * PEERS:,}",
        number(sum(delta(phase, "before", "end", "OutDatagrams"))))
    row("  bytes that one host's link brought in", "",
        number(statistics.mean(delta(phase, "before", "end", "rx_bytes"))))
    row("  CPU of a peer, ms", "", number(1000 * statistics.mean(cpu(phase, "before", "end"))))
    overran(phase, "search", "search_end")


# --- The plots.

def share_known(axes, phase, begin, label):
    times = sorted(time for table in first_seen(phase, begin) for time in table.values())
    points = [times[min(len(times) - 1, i * len(times) // 200)] for i in range(201)]
    share = [100 * len(times) / PEERS ** 2 * i / 200 for i in range(201)]
    axes.plot(points, share, label=label)
    axes.set(xlabel="seconds", ylabel="of all tables' entries, %", xscale="symlog")
    axes.legend()


def plot(seeded, alike):
    figure, (tables, spreads, waiting) = plt.subplots(1, 3, figsize=(10, 2.8))
    share_known(tables, "announcing", "start", f"announcing, T = {TIME_OUT} s")
    share_known(tables, "search_each", "search", "a search each, MX = 1 s")
    tables.set_title(f"{PEERS} peers fill their tables")
    for answers, label in ((seeded, "rand seeded by each host"), (alike, "rand seeded by none")):
        spreads.plot(answers, range(1, len(answers) + 1), label=label)
    spreads.set(title="Answers to one search, MX = 1 s", xlabel="seconds", ylabel="answers",
                xlim=(0, 1.05))
    spreads.legend()
    begin = marks["search_each"]["search"]
    waiting.plot([time - begin for time, _ in queue], [held / 1024 for _, held in queue],
                 label="measured")
    each = BUFFER / capacity["M-SEARCH"][0] / 1024
    waiting.plot([0, PEERS / 2], [PEERS * each, 0], "--", label="expected")
    waiting.axhline(BUFFER / 1024, color="grey", label="the buffer's end")
    waiting.set(title="A search each: one listener's queue", xlabel="seconds", ylabel="KiB")
    waiting.legend()
    for axes in (tables, spreads, waiting):
        axes.grid(True, alpha=0.3)
    figure.tight_layout()
    figure.savefig(os.path.join(BUILD, f"scale-{PEERS}.svg"), metadata={"Date": None})


row(f"N = {PEERS} peers")
buffers()
announcing()
memory()
searches_beside("announcing", 1, "quiet_end", "between", "All started at once")
searches_beside("announcing", 3, "between", "end", "All started at once")
searches_beside("out_of_step", 1, "before", "between", "Started one after the other")
searches_beside("out_of_step", 3, "between", "end", "Started one after the other")
plot(one_search("one_search", "One peer searches, no announcing"),
     one_search("one_search_alike", "The same, no host seeds rand"))
search_each()
# An announcement that falls due while its peer stops can't be sent, and the peer says so.
row("failure lines that peers printed", "only while they stop", len(said))
for text, expected, measured in rows:
    print(f"{text:58} {expected:>45} {measured:>24}".rstrip())
for text in said[:20]:
    print("  " + text.strip())
print(f"\nPlots: {BUILD}/scale-{PEERS}.svg")
