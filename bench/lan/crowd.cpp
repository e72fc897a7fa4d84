// SPDX-License-Identifier: MIT
// crowd: what a host of the library that knows 500,000 peers hears of one of them while unknown
// ones announce themselves, 4,000 a second for five seconds, with ascending, descending and random
// UUIDs. Prints one line each: order, refreshes sent, refreshes heard.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "group.h"
#include "loops.h"
#include "messages.h"
#include "private_network.h"

namespace {

using namespace bench;

constexpr int kKnown = 500000;
constexpr int kNew = 20000;
constexpr int kBetweenRefreshes = 88;  // some 45 refreshes a second
constexpr double kRate = 4000;

std::string Numbered(int number) {
  char uuid[64];
  std::snprintf(uuid, sizeof(uuid), "7%07d-1234-4abc-8def-0123456789ab", number);
  return uuid;
}

std::string NewUuid(const std::string& order, int number) {
  if (order == "ascending") return Numbered(number);
  if (order == "descending") return Numbered(5000000 - number);
  return Uuid(kKnown + 1 + number);
}

void LetKnow(Load& load, Gate& gate) {
  const std::string gate_text = Notify(kTarget, kGateUuid);
  load.Send(gate_text, GroupAddress());
  gate.Await();
  for (int peer = 1; peer <= kKnown; peer += kBatch) {
    std::vector<std::string> batch;
    for (int i = 0; i < kBatch; ++i) batch.push_back(Notify(kTarget, Uuid(peer + i)));
    load.Queue(batch, gate_text, GroupAddress());
    gate.Measure();
  }
  load.Send(Notify(kTarget, kRefreshedUuid), GroupAddress());
  gate.Open();
}

void Crowd(const std::string& order, Load& load, Gate& gate) {
  const std::string refresh = Notify(kTarget, kRefreshedUuid);
  std::vector<std::string> datagrams;
  int64_t refreshes = 0;
  for (int i = 0; i < kNew; ++i) {
    datagrams.push_back(Notify(kTarget, NewUuid(order, i)));
    if (i % kBetweenRefreshes == 0) datagrams.push_back(refresh);
  }
  const int64_t before = gate.m_received;
  const auto size = static_cast<double>(datagrams.size());
  const auto sent = static_cast<size_t>(load.Flood(datagrams, kRate, size / kRate));
  for (size_t i = 0; i < sent; ++i) refreshes += datagrams[i % datagrams.size()] == refresh ? 1 : 0;
  sleep(1);  // what waits in the socket
  std::printf("%s %lld %lld\n", order.c_str(), static_cast<long long>(refreshes),
              static_cast<long long>(gate.m_received - before));
  std::fflush(stdout);
}

}  // namespace

int main() {
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  Gate& gate = *Gate::Create();
  const pid_t child = StartChild(CrowdedHost, gate);
  usleep(300000);  // until it has joined
  Load load;
  LetKnow(load, gate);
  for (const char* order : {"ascending", "descending", "random"}) Crowd(order, load, gate);
  EndChild(child);
}
