# SPDX-License-Identifier: MIT
"""scale.py BUILD-FOLDER PEERS: a LAN of that many hosts, each with one peer: announcing and searches
beside it, one search, one search of peers that draw their delays alike, and a search of every peer
at once. Prints each figure beside the expected one, and plots. scripts/scale starts it in namespaces
of its own."""
import math
import socket
import statistics
import subprocess
import sys
import time
from collections import Counter
from pathlib import Path
import matplotlib
matplotlib.use("svg")
import matplotlib.pyplot as plt

BUILD, N = sys.argv[1], int(sys.argv[2])
T = 10  # seconds: the notify timeout of peers that announce
ADDED, SEARCHED = 1, 8
BUFFER = int(Path("/proc/sys/net/core/rmem_default").read_text())


def row(text, expected="", measured=""):
    measured = measured if isinstance(measured, str) else number(measured)
    print(f"{text:54} {expected:>40} {measured:>24}".rstrip(), flush=True)


def number(figure):
    return f"{figure:,.0f}" if abs(figure) >= 100 else f"{figure:.3g}"


def spread(figures):
    return " / ".join(number(f(figures)) for f in (min, statistics.median, max)) if figures else ""


def build_lan():
    """No traffic but ours: no IPv6, and every host knows the link address of every other, as on a LAN
    that has been up for a while."""
    link = {n: f"02:00:0a:4d:00:{n:02x}" for n in range(1, N + 1)}
    batch = ["link add br0 type bridge mcast_snooping 0", "link set br0 up", "link set lo up"]
    for n in link:
        batch += [f"netns add h{n}", f"link add v{n} master br0 up type veth peer name eth0 address {link[n]} netns h{n}"]
    subprocess.run(["ip", "-batch", "-"], input="\n".join(batch), text=True, check=True)
    neighbors = [f"neigh replace 10.77.0.{n} lladdr {link[n]} nud permanent dev eth0" for n in link]
    command = "echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6; exec ip -batch -"
    for n in link:
        batch = [f"address add 10.77.0.{n}/24 dev eth0", "link set eth0 up", "link set lo up",
                 f"route add 239.0.0.0/8 dev eth0 src 10.77.0.{n}", *neighbors]
        subprocess.run(["ip", "netns", "exec", f"h{n}", "sh", "-c", command],
                       input="\n".join(batch), text=True, check=True)


def capacity(length):
    """How many datagrams of a length wait in a socket that nobody reads."""
    with socket.socket(type=socket.SOCK_DGRAM) as receiver, socket.socket(type=socket.SOCK_DGRAM) as sender:
        receiver.bind(("127.0.0.1", 0))
        for _ in range(2000):
            sender.sendto(bytes(length), receiver.getsockname())
        port = f":{receiver.getsockname()[1]:04X} "
        columns = Path("/proc/self/net/udp").read_text().split(port)[1].split("\n")[0].split()
        return 2000 - int(columns[-1])  # less those that were dropped


class Peer:
    def __init__(self, n, seed):
        command = ["ip", "netns", "exec", f"h{n}", f"{BUILD}/bench/bench_peer", str(n), seed]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def tell(self, command):
        print(command, file=self.process.stdin, flush=True)

    def proc(self, name, key):
        """The words behind a key in a file of the process; its network files are its host's."""
        return Path(f"/proc/{self.process.pid}/{name}").read_text().split(key)[-1].split()

    def stats(self):
        received, _, _, sent, lost = map(int, self.proc("net/snmp", "\nUdp:")[:5])
        tasks = Path(f"/proc/{self.process.pid}").glob("task/*/schedstat")
        cpu = sum(int(task.read_text().split()[0]) / 1e9 for task in tasks)
        return dict(received=received, sent=sent, lost=lost, cpu=cpu, bytes=int(self.proc("net/dev", "eth0:")[0]))


class Phase:
    """Peers that have been started and, once they have ended, their events."""
    failure_lines = []

    def __init__(self, seed="seeded", timeout=0, gap=0):
        self.peers = [Peer(n, seed) for n in range(1, N + 1)]
        for peer in self.peers:  # of an M-SEARCH, a NOTIFY and a search response
            Phase.lengths = list(map(int, peer.process.stdout.readline().split()))
        self.marks, self.snapshots = {}, {}
        self.mark("start")
        for peer in self.peers:
            peer.tell(f"start {timeout}")
            time.sleep(gap)
        for peer in self.peers:
            peer.process.stdout.readline()
        self.mark("started")
        time.sleep(T + 2 if timeout else 1)  # until all have announced twice
        self.mark("quiet")

    def mark(self, name):
        # Datagrams that this machine dropped because the hosts share its cores: no network would.
        processors = Path("/proc/net/softnet_stat").read_text().splitlines()
        dropped = sum(int(line.split()[1], 16) for line in processors)
        self.snapshots[name] = [peer.stats() for peer in self.peers], dropped
        self.marks[name] = time.monotonic()

    def end(self):
        self.mark("end")
        for peer in self.peers:
            peer.process.stdin.close()
        self.logs = []  # of each peer: (seconds, event, peer, thread)
        for peer in self.peers:
            lines = [line.split() for line in peer.process.stdout if line.strip()]
            self.failure_lines += [" ".join(line) for line in lines if line[0] != "event"]
            self.logs.append([(float(line[1]), int(line[2]), *line[3:]) for line in lines if line[0] == "event"])
            if peer.process.wait(60) != 0:
                sys.exit("a peer failed at its end")

    def grown(self, begin, end, name):
        pairs = zip(self.snapshots[begin][0], self.snapshots[end][0])
        return [after[name] - before[name] for before, after in pairs]

    def losses(self, begin, end, expected="0"):
        row("  lost in full socket buffers", expected, sum(self.grown(begin, end, "lost")))
        row("  dropped by this machine", "0", self.snapshots[end][1] - self.snapshots[begin][1])

    def heard(self, begin, end):
        since, until = self.marks[begin], self.marks[end]
        return [event for log in self.logs for event in log if since <= event[0] < until]

    def completion(self, begin, expected):
        """When each peer first heard of each other, in seconds after the mark."""
        tables = [{other: moment - self.marks[begin] for moment, event, other, _ in reversed(log)
                   if event == ADDED} for log in self.logs]
        complete = [max(table.values()) for table in tables if len(table) == N]
        row("  tables that became complete", f"{N}", len(complete))
        row("  first / median / last, s", expected, spread(complete))
        return sorted(moment for table in tables for moment in table.values())


def announcing(text, gap):
    phase = Phase(timeout=T, gap=gap)
    time.sleep(2 * T)
    phase.mark("quiet end")
    # One peer after another searches, at a rate that keeps each listener waiting for half of the
    # time. Announcements come at the full second, so the searches come in all parts of it.
    for mx, count in (1, 2 * T), (3, 2 * T // 3 + 1):
        phase.mark(f"MX = {mx} s")
        for i in range(count):
            phase.peers[i % N].tell(f"search {mx}")
            time.sleep(mx + 1 / count)
        phase.mark(f"MX = {mx} s, end")
    phase.end()
    took = phase.marks["quiet end"] - phase.marks["quiet"]
    sent, received, size, cpu = (sum(phase.grown("quiet", "quiet end", name)) / took
                                 for name in ("sent", "received", "bytes", "cpu"))
    frame = Phase.lengths[1] + 42  # with Ethernet, IP and UDP headers
    row(f"{text}, notify timeout T = {T} s")
    times = phase.completion("start", f"<= T + {phase.marks['started'] - phase.marks['start']:.1f}")
    row("  announcements, a second", f"N / T = {number(N / T)}", sent)
    row("  received by all, a second", f"N * N / T = {number(N * N / T)}", received)
    row("  bytes a second into one host", f"(N - 1) / T * {frame} = {number((N - 1) / T * frame)}", size / N)
    row("  CPU of a peer, % of a core", "", 100 * cpu / N)
    row("  table entries lost and found again", "0",
        sum(event[1] == ADDED for event in phase.heard("quiet", "quiet end")))
    phase.losses("start", "quiet end")
    for mx in 1, 3:
        span = f"MX = {mx} s", f"MX = {mx} s, end"
        log = phase.heard(*span)
        answered = sum(event[1] == SEARCHED for event in log)
        rate = round(answered / N) / (phase.marks[span[1]] - phase.marks[span[0]])
        notifies = [event for event in log if event[3] == "ssdp-listener" and event[1] != SEARCHED]
        late = sum(event[1] == ADDED for event in notifies)
        row(f"  beside it S = {rate:.2f} searches a second, MX = {mx} s: responses",
            f"as many as searches: {answered:,}", sum(event[3] == "ssdp-handler" for event in log))
        row("  entries that ran out before their refresh was read",
            f"S (MX - 1)^2 / (2 MX) = {100 * rate * (mx - 1) ** 2 / (2 * mx):.1f} %",
            f"{late:,} of {len(notifies):,}: {100 * late / max(1, len(notifies)):.1f} %")
        phase.losses(*span, "0" if gap else f"<= N (N - {capacity(Phase.lengths[1])}) a burst, or 0")
    return times


def searching(text, peers, seconds, seed="seeded"):
    """So many peers search at once, with MX = 1, and none announces."""
    phase = Phase(seed)
    for peer in phase.peers[:peers]:
        peer.tell("search 1")
    time.sleep(seconds)
    phase.end()
    row(text)
    return phase, phase.marks["quiet"]


def one_search(text, seed):
    phase, begin = searching(text, 1, 2, seed)
    times = sorted(event[0] - begin for event in phase.logs[0] if event[3] == "ssdp-handler")
    searcher, *others = (1000 * cpu for cpu in phase.grown("quiet", "end", "cpu"))
    row("  search responses received", f"N = {N}", len(times))
    row("  first / median / last, s", "0 / 0.5 / 1", spread(times))
    row("  in the busiest 10 ms", "", max(Counter(int(100 * moment) for moment in times).values()))
    row("  CPU of the searcher, of another peer, ms", "", f"{searcher:.3g}, {statistics.mean(others):.3g}")
    phase.losses("quiet", "end")
    return times


def search_each():
    # As long as all delays are on average, and four standard deviations more.
    phase, begin = searching("Every peer searches once, all at once", N, N / 2 + 4 * math.sqrt(N / 12) + 2)
    answered = [[event[0] - begin for event in log if event[1] == SEARCHED] for log in phase.logs]
    times = phase.completion("quiet", f"1 / {N / 4:g} / {N / 2:g} and more")
    row("  a listener's last response after, s", f"N / 2 = {N / 2:g}", spread([max(a) for a in answered]))
    row("  search responses of a listener, a second", "2 / MX = 2",
        statistics.mean(len(a) / max(a) for a in answered))
    row("  datagrams", f"N + N * N = {N + N * N:,}", sum(phase.grown("quiet", "end", "sent")))
    phase.losses("quiet", "end", f"N * (N - {capacity(Phase.lengths[0])}), or 0")
    return times


build_lan()
row(f"N = {N} peers; a socket's buffer has {BUFFER:,} bytes unless the system says otherwise")
figure, (tables, responses) = plt.subplots(1, 2, figsize=(10, 4))
tables.set(title="Entries in all tables", xscale="symlog")
responses.set(title="Responses to one search")
curves = [(tables, "announcing", announcing("All start at once", 0))]
announcing("Started one after the other", T / N)
for name, length in zip(("M-SEARCH", "NOTIFY", "search response"), Phase.lengths):
    held = capacity(length)
    row(f"{name} of {length} bytes: so many wait in a buffer", "", f"{held}, {number(BUFFER / held)} bytes each")
curves += [(responses, "rand seeded by each host", one_search("One peer searches, MX = 1 s", "seeded")),
           (responses, "rand seeded by none", one_search("The same, no host seeds rand", "unseeded")),
           (tables, "a search each", search_each())]
# An announcement that falls due while its peer stops can't be sent: the peer prints a failure line.
row("failure lines that peers printed", "only while they stop", len(Phase.failure_lines))
for axes, label, times in curves:
    axes.plot(times, range(1, len(times) + 1), label=label)
    axes.set(xlabel="seconds")
    axes.legend()
figure.savefig(f"{BUILD}/scale-{N}.svg")
print(*Phase.failure_lines[:20], f"Plots: {BUILD}/scale-{N}.svg", sep="\n")
