// SPDX-License-Identifier: MIT
// flood loss PROCESSOR PROCESSOR: floods a bare loop and an application of the library with
// announcements of 1,000 peers, for a fifth of a second at each of several rates. Prints one line
// each: receiver, rate aimed at, rate reached, datagrams lost, datagrams sent, and the longest time
// in microseconds for which one of the two processors was away. A flood with such a pause is
// repeated a few times: any receiver that doesn't run loses the datagrams that don't fit into its
// socket's buffer.
//
// flood crowd: how many refreshes of one peer an application that knows 500,000 peers hears while
// unknown peers announce themselves, 4,000 a second for five seconds, with ascending, descending
// and random UUIDs. Prints one line each: order, refreshes sent, refreshes heard.
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "bench.h"

namespace {

using namespace bench;

constexpr double kSeconds = 0.2;
constexpr int kTries = 6;
constexpr int kPause = 1000;  // microseconds; at 50,000/s a buffer lasts 3,300

std::atomic<int> longest_pause{0};

// Sees pauses of a processor, as when the hypervisor gives it to another guest: wakes up there
// every half millisecond, before everything that is measured, and notes how late it was.
void Watch(int processor) {
  KeepTo(processor);
  for (;;) {
    const int64_t begin = Clock(CLOCK_MONOTONIC);
    usleep(500);
    const auto late = static_cast<int>((Clock(CLOCK_MONOTONIC) - begin) / 1000 - 500);
    if (late > longest_pause) longest_pause = late;
  }
}

// Runs before other programs, where the system permits: a receiver that waits for them loses
// datagrams.
bool GoFirst(int priority) {
  sched_param parameters{};
  parameters.sched_priority = priority;
  return sched_setscheduler(0, SCHED_RR, &parameters) == 0;
}

// The number that was received, once no more comes.
int Settled(const Gate& gate) {
  int before = -1;
  while (gate.m_received != before) {
    before = gate.m_received;
    usleep(100000);
  }
  return before;
}

// The load has one processor and the receiver the other: on one, the receiver would wait for the
// load.
void Lose(const char* name, void (*loop)(Gate&), int own, int receivers) {
  std::vector<std::string> peers;
  for (int peer = 1; peer <= 1000; ++peer) peers.push_back(Notify(kTarget, Uuid(peer)));
  Gate& gate = Gate::Create();
  KeepTo(receivers);
  const pid_t child = StartChild(loop, gate);
  KeepTo(own);
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  Flood(socket, peers, 10000, 0.2);  // makes all peers known
  for (const int rate : {25000, 50000, 75000, 100000, 125000, 150000, 175000, 250000}) {
    int pause = kPause;
    for (int i = 0; i < kTries && pause >= kPause; ++i) {
      const int before = Settled(gate);
      longest_pause = 0;
      const int sent = Flood(socket, peers, rate, kSeconds);
      pause = longest_pause;
      const int lost = sent - (Settled(gate) - before);
      std::printf("%s %d %.0f %d %d %d\n", name, rate, sent / kSeconds, lost, sent, pause);
    }
  }
  EndChild(child);
  close(socket);
}

void Loss(int own, int receivers) {
  if (!GoFirst(2)) std::printf("# other programs on this machine take part in the result\n");
  RequirePrivateNetwork();
  for (const int processor : {own, receivers}) std::thread(Watch, processor).detach();
  GoFirst(1);  // behind the watches; raising it again isn't permitted in a namespace
  for (int round = 0; round < 3; ++round) {
    Lose("bare", BareLoop, own, receivers);
    Lose("library", Application, own, receivers);
  }
}

constexpr int kKnown = 500000;
constexpr int kNew = 20000;
constexpr int kBetweenRefreshes = 88;  // some 45 refreshes a second
constexpr double kRate = 4000;

std::string NewUuid(const std::string& order, int number) {
  if (order == "random") return Uuid(kKnown + 1 + number);
  char uuid[64];
  std::snprintf(uuid, sizeof(uuid), "7%07d-0000-4abc-8def-0123456789ab",  // none that is known
                order == "ascending" ? number : 5000000 - number);
  return uuid;
}

void Refresh(const std::string& order, int socket, const Gate& gate) {
  const std::string refresh = Notify(kTarget, Uuid(1));
  std::vector<std::string> datagrams;
  for (int i = 0; i < kNew; ++i) {
    datagrams.push_back(Notify(kTarget, NewUuid(order, i)));
    if (i % kBetweenRefreshes == 0) datagrams.push_back(refresh);
  }
  const int before = gate.m_received;
  const double seconds = static_cast<double>(datagrams.size()) / kRate;
  datagrams.resize(static_cast<size_t>(Flood(socket, datagrams, kRate, seconds)));
  sleep(1);  // for what waits in the socket
  const auto sent = std::count(datagrams.begin(), datagrams.end(), refresh);
  std::printf("%s %td %d\n", order.c_str(), sent, gate.m_received - before);
}

void Crowd() {
  RequirePrivateNetwork();
  Gate& gate = Gate::Create();
  const pid_t child = StartChild(Application, gate);
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const std::string gate_text = Notify(kTarget, kGateUuid);
  for (int peer = 1; peer <= kKnown; ++peer) {
    SendTo(socket, Notify(kTarget, Uuid(peer)));
    if (peer % kBatch != 0) continue;
    SendTo(socket, gate_text);
    gate.Await();
    gate.Open();
  }
  for (const char* order : {"ascending", "descending", "random"}) Refresh(order, socket, gate);
  EndChild(child);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc == 4 && std::string(argv[1]) == "loss") Loss(std::atoi(argv[2]), std::atoi(argv[3]));
  if (argc == 2 && std::string(argv[1]) == "crowd") Crowd();
}
