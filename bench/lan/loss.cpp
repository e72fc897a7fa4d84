// SPDX-License-Identifier: MIT
// loss: floods a bare loop and a host of the library with announcements of 1,000 peers, for a fifth
// of a second at each of several rates. Prints one line each: receiver, rate aimed at, rate
// reached, datagrams lost, datagrams sent, microseconds for which one of the two processors was
// away at most. A flood with a pause is followed by another, a few times: a receiver that doesn't
// run loses what doesn't fit into its socket's buffer, whoever it is.
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "group.h"
#include "loops.h"
#include "messages.h"
#include "private_network.h"

namespace {

using namespace bench;

constexpr int kPeers = 1000;
constexpr double kSeconds = 0.2;
constexpr int kTries = 6;
constexpr int64_t kPause = 1000;  // microseconds; at 50,000/s a buffer lasts 3,300

// The number that was received, once no more comes.
int64_t Settled(const Gate& gate) {
  int64_t before = -1;
  while (gate.m_received != before) {
    before = gate.m_received;
    usleep(100000);
  }
  return before;
}

// Before the programs of others, where we may: a receiver that waits for them loses datagrams for
// their sake. They wait instead, for as long as the floods take.
bool GoFirst(int priority) {
  sched_param parameters{};
  parameters.sched_priority = priority;
  return sched_setscheduler(0, SCHED_RR, &parameters) == 0;
}

void KeepTo(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<size_t>(processor), &set);
  sched_setaffinity(0, sizeof(set), &set);
}

// The first two that we have; the second is the first where there is but one.
std::vector<int> TwoProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  sched_getaffinity(0, sizeof(set), &set);
  std::vector<int> ours;
  for (int i = 0; i < CPU_SETSIZE && ours.size() < 2; ++i)
    if (CPU_ISSET(static_cast<size_t>(i), &set)) ours.push_back(i);
  ours.resize(2, ours.at(0));
  return ours;
}

// Sees pauses of a processor, as when this machine's own host gives it to another guest: wakes up
// there every half millisecond, before all that is measured, and notes by how much it was late. Its
// priority is that of the thread that makes it.
class Watch {
 public:
  explicit Watch(int processor) : m_thread([this, processor] { Run(processor); }) {}
  ~Watch() {
    m_stop = true;
    m_thread.join();
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // The longest pause since the last call, in microseconds.
  int64_t TakeLongest() { return m_longest.exchange(0); }

 private:
  void Run(int processor) {
    using Clock = std::chrono::steady_clock;
    KeepTo(processor);
    while (!m_stop) {
      const auto due = Clock::now() + std::chrono::microseconds(500);
      std::this_thread::sleep_until(due);
      const auto late = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - due);
      m_longest = std::max<int64_t>(m_longest, late.count());
    }
  }

  std::atomic<int64_t> m_longest{0};
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

// The load has one processor and the receiver the other: side by side on one, the receiver would
// wait for the load.
void Flood(const char* name, void (*loop)(Gate&), const std::vector<std::string>& peers,
           const std::vector<int>& processors, std::vector<std::unique_ptr<Watch>>& watches) {
  Gate& gate = *Gate::Create();
  KeepTo(processors[1]);
  const pid_t child = StartChild(loop, gate);
  KeepTo(processors[0]);
  usleep(300000);  // until it has joined
  Load load;
  load.Flood(peers, 10000, 0.2);  // now all are known
  for (const int rate : {25000, 50000, 75000, 100000, 125000, 150000, 175000, 250000}) {
    int64_t pause = kPause;
    for (int i = 0; i < kTries && pause >= kPause; ++i) {
      const int64_t before = Settled(gate);
      for (const auto& watch : watches) watch->TakeLongest();
      const int64_t sent = load.Flood(peers, rate, kSeconds);
      pause = 0;
      for (const auto& watch : watches) pause = std::max(pause, watch->TakeLongest());
      const int64_t lost = sent - (Settled(gate) - before);
      std::printf("%s %d %.0f %lld %lld %lld\n", name, rate, static_cast<double>(sent) / kSeconds,
                  static_cast<long long>(lost), static_cast<long long>(sent),
                  static_cast<long long>(pause));
      std::fflush(stdout);
    }
  }
  EndChild(child);
}

}  // namespace

int main() {
  if (!GoFirst(2)) std::printf("# other programs on this machine take part in the result\n");
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  const std::vector<int> processors = TwoProcessors();
  std::vector<std::unique_ptr<Watch>> watches;
  for (const int processor : processors) watches.push_back(std::make_unique<Watch>(processor));
  GoFirst(1);  // behind the watches; up again is not for a namespace's root
  std::vector<std::string> peers;
  for (int peer = 1; peer <= kPeers; ++peer) peers.push_back(Notify(kTarget, Uuid(peer)));
  for (int round = 0; round < 3; ++round) {
    Flood("bare", BareLoop, peers, processors, watches);
    Flood("library", LibraryHost, peers, processors, watches);
  }
}
