// SPDX-License-Identifier: MIT
// loss: floods a bare loop and a host of the library with announcements of 1,000 peers, for half a
// second at each of several rates. Prints one line each: receiver, rate aimed at, datagrams lost,
// datagrams sent, milliseconds for which the machine's own host took a processor away
// meanwhile. A flood where it took any is followed by another, a few times: a receiver that doesn't
// run loses what doesn't fit into its socket's buffer, whoever it is.
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "group.h"
#include "loops.h"
#include "messages.h"
#include "private_network.h"

namespace {

using namespace bench;

constexpr int kPeers = 1000;
constexpr double kSeconds = 0.5;
constexpr int kTries = 5;

// The number that was received, once no more comes.
int64_t Settled(const Gate& gate) {
  int64_t before = -1;
  while (gate.m_received != before) {
    before = gate.m_received;
    usleep(100000);
  }
  return before;
}

// For how long other guests of this machine's host ran in place of a processor of ours, since the
// start; 0 where the system doesn't know. In steps of 10 ms.
int64_t StolenMilliseconds() {
  std::ifstream stat("/proc/stat");
  std::string name;
  int64_t user, nice, system, idle, iowait, irq, softirq, stolen = 0;
  stat >> name >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> stolen;
  return stolen * 1000 / sysconf(_SC_CLK_TCK);
}

// The load has one processor for itself and the receiver the others, if there are any: side by side
// on one, the receiver would wait for the load.
class Processors {
 public:
  Processors() {
    sched_getaffinity(0, sizeof(m_ours), &m_ours);
    m_rest = m_ours;
    CPU_ZERO(&m_first);
    for (size_t i = 0; i < CPU_SETSIZE && CPU_COUNT(&m_first) == 0; ++i) {
      if (!CPU_ISSET(i, &m_ours)) continue;
      CPU_SET(i, &m_first);
      if (CPU_COUNT(&m_ours) > 1) CPU_CLR(i, &m_rest);
    }
  }
  void KeepToFirst() const { sched_setaffinity(0, sizeof(m_first), &m_first); }
  void KeepToRest() const { sched_setaffinity(0, sizeof(m_rest), &m_rest); }

 private:
  cpu_set_t m_ours, m_first, m_rest;
};

void Flood(const char* name, void (*loop)(Gate&), const std::vector<std::string>& peers,
           const Processors& processors) {
  Gate& gate = *Gate::Create();
  processors.KeepToRest();
  const pid_t child = StartChild(loop, gate);
  processors.KeepToFirst();
  usleep(300000);  // until it has joined
  Load load;
  load.Flood(peers, 10000, 0.2);  // now all are known
  for (const double rate : {25e3, 50e3, 75e3, 100e3, 125e3, 150e3, 175e3, 250e3}) {
    for (int i = 0; i < kTries; ++i) {
      const int64_t before = Settled(gate);
      const int64_t stolen_before = StolenMilliseconds();
      const int64_t sent = load.Flood(peers, rate, kSeconds);
      const int64_t lost = sent - (Settled(gate) - before);
      const int64_t stolen = StolenMilliseconds() - stolen_before;
      std::printf("%s %.0f %lld %lld %lld\n", name, rate, static_cast<long long>(lost),
                  static_cast<long long>(sent), static_cast<long long>(stolen));
      std::fflush(stdout);
      if (stolen == 0) break;
    }
  }
  EndChild(child);
}

// A receiver that waits for a core loses datagrams for the sake of other programs. Where we may,
// they wait instead: for the half seconds of the flood.
void GoFirst() {
  sched_param priority{};
  priority.sched_priority = 1;
  if (sched_setscheduler(0, SCHED_RR, &priority) != 0)
    std::printf("# other programs on this machine take part in the result\n");
}

}  // namespace

int main() {
  GoFirst();
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  const Processors processors;
  std::vector<std::string> peers;
  for (int peer = 1; peer <= kPeers; ++peer) peers.push_back(Notify(kTarget, Uuid(peer)));
  for (int round = 0; round < 3; ++round) {
    Flood("bare", BareLoop, peers, processors);
    Flood("library", LibraryHost, peers, processors);
  }
}
