// SPDX-License-Identifier: MIT
// loss: floods a bare loop and a host of the library with announcements of 1,000 peers, for half a
// second at each of several rates. Prints one line each: receiver, rate that was sent, datagrams
// lost, datagrams sent.
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "group.h"
#include "loops.h"
#include "messages.h"
#include "private_network.h"

namespace {

using namespace bench;

constexpr int kPeers = 1000;
constexpr double kSeconds = 0.5;

// The number that was received, once no more comes.
int64_t Settled(const Gate& gate) {
  int64_t before = -1;
  while (gate.m_received != before) {
    before = gate.m_received;
    usleep(100000);
  }
  return before;
}

void Flood(const char* name, void (*loop)(Gate&), const std::vector<std::string>& peers) {
  Gate& gate = *Gate::Create();
  const pid_t child = StartChild(loop, gate);
  usleep(300000);  // until it has joined
  Load load;
  load.Flood(peers, 10000, 0.2);  // now all are known
  for (const double rate : {25e3, 50e3, 75e3, 100e3, 125e3, 150e3, 175e3, 250e3}) {
    const int64_t before = Settled(gate);
    const int64_t sent = load.Flood(peers, rate, kSeconds);
    const int64_t lost = sent - (Settled(gate) - before);
    std::printf("%s %.0f %lld %lld\n", name, static_cast<double>(sent) / kSeconds,
                static_cast<long long>(lost), static_cast<long long>(sent));
    std::fflush(stdout);
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
  std::vector<std::string> peers;
  for (int peer = 1; peer <= kPeers; ++peer) peers.push_back(Notify(kTarget, Uuid(peer)));
  for (int round = 0; round < 3; ++round) {
    Flood("bare", BareLoop, peers);
    Flood("library", LibraryHost, peers);
  }
}
