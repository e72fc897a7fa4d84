// SPDX-License-Identifier: MIT
// scale PEERS PEER-PROGRAM: a LAN of that many hosts, each with one peer, taken through announcing
// and searching beside it, one search, one search of peers that draw their delays alike, and a
// search of every peer at once. Prints what the peers say, each line behind the phase and the
// peer's number (0: said by this program), for report.py to make sense of. Every phase has its
// length; nothing waits for ever.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lan.h"
#include "messages.h"
#include "private_network.h"

namespace {

using Clock = std::chrono::steady_clock;
using support::Program;

constexpr int kTimeOut = 10;  // seconds: the notify time-out of those that announce

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Sleep(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

class Scale {
 public:
  Scale(int peers, std::string program)
      : m_peers(peers), m_program(std::move(program)), m_lan(peers) {}

  void SettleHosts();
  void FillQueues();
  void Announcing();
  void AnnouncingOutOfStep();
  void OneSearch(const char* phase, const char* seed);
  void SearchEach();

 private:
  void Begin(const char* phase, const char* seed);
  void StartAll(int timeout);
  void StartOneAfterTheOther(int timeout);
  void Search(size_t peer, int mx) { m_running.at(peer)->Tell("search " + std::to_string(mx)); }
  void SearchesBesideAnnouncing(int mx, int count);
  void SearchAtTwoRates();
  void PrintAll(const char* command, const char* when);
  void PrintDone(const char* when);
  void Mark(const char* what) const;
  void Queue(double seconds);
  void End();

  const int m_peers;
  const std::string m_program;
  support::Lan m_lan;
  std::vector<std::unique_ptr<Program>> m_running;  // by number less 1
  std::vector<size_t> m_heard;                      // lines of each that were printed on
  const char* m_phase = "";
};

// The datagrams that this machine has dropped because all these hosts share its two cores: no
// network would.
long Overrun() {
  std::ifstream stream("/proc/net/softnet_stat");
  long sum = 0;
  for (std::string line; std::getline(stream, line);)
    sum += std::strtol(line.substr(line.find(' ')).c_str(), nullptr, 16);
  return sum;
}

// The moment, for the events to be set against.
void Scale::Mark(const char* what) const {
  std::printf("%s 0 mark %s %lld %ld\n", m_phase, what,
              static_cast<long long>(Clock::now().time_since_epoch().count()), Overrun());
}

// No traffic but ours: no IPv6, and every host knows the link address of every other, as on a LAN
// that has been up for a while. All these hosts share one kernel, whose table of learnt neighbours
// ends at 1,024 and can't be made larger from in here; entries like these don't count.
void Scale::SettleHosts() {
  const std::string file = m_program + ".neighbours";
  std::vector<std::unique_ptr<Program>> running;
  for (int number = 1; number <= m_peers; ++number) {
    char text[16];
    std::snprintf(text, sizeof(text), "%02x", static_cast<unsigned int>(number));
    const std::string link = std::string("02:00:0a:4d:00:") + text;
    const std::string here = std::to_string(number);
    std::ofstream(file, number == 1 ? std::ios::trunc : std::ios::app)
        << "neigh replace 10.77.0." << here << " lladdr " << link << " nud permanent dev eth0\n";
    running.push_back(m_lan[static_cast<size_t>(number)].Start(
        {"/bin/sh", "-c",
         "PATH=$PATH:/sbin:/usr/sbin; echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6; "
         "ip link set eth0 address " +
             link}));
  }
  for (auto& program : running)
    if (program->Wait() != 0) std::exit(1);
  for (int number = 1; number <= m_peers; ++number)
    if (m_lan[static_cast<size_t>(number)]
            .Start({"/bin/sh", "-c", "PATH=$PATH:/sbin:/usr/sbin; ip -batch " + file})
            ->Wait() != 0)
      std::exit(1);
}

// How many datagrams of each kind a socket holds that nobody reads.
void Scale::FillQueues() {
  support::Socket sender = m_lan[2].OpenSocket();
  const std::vector<std::pair<const char*, std::string>> kinds = {
      {"M-SEARCH", bench::MSearch(bench::kTarget)},
      {"NOTIFY", bench::Notify(bench::kTarget, bench::Uuid(1))},
      {"answer", bench::SearchReply(bench::kTarget, bench::Uuid(1))}};
  for (const auto& [kind, text] : kinds) {
    support::Socket receiver = m_lan[1].OpenGroupSocket();
    for (int i = 0; i < 400; ++i, Sleep(0.001)) sender.Send(text, "239.255.255.250");
    std::printf("queue 0 capacity %s %zu bytes %zu\n", kind, receiver.Drain().size(), text.size());
  }
}

void Scale::Begin(const char* phase, const char* seed) {
  m_phase = phase;
  std::fprintf(stderr, "%s ...\n", phase);
  m_heard.assign(static_cast<size_t>(m_peers), 0);
  for (int number = 1; number <= m_peers; ++number)
    m_running.push_back(
        m_lan[static_cast<size_t>(number)].Start({m_program, std::to_string(number), seed}));
}

// Tells all first and waits for each then, so that they begin together.
void Scale::PrintAll(const char* command, const char* when) {
  for (auto& peer : m_running) peer->Tell(command);
  PrintDone(when);
}

// What each says about the one thing that it was told.
void Scale::PrintDone(const char* when) {
  for (size_t i = 0; i < m_running.size(); ++i) {
    Program& peer = *m_running[i];
    const size_t end = peer.Await("done", m_heard[i]);
    for (; m_heard[i] < end; ++m_heard[i])
      if (peer.Lines()[m_heard[i]] != "done")
        std::printf("%s %zu %s %s\n", m_phase, i + 1, when, peer.Lines()[m_heard[i]].c_str());
  }
}

void Scale::StartAll(int timeout) {
  Mark("start");
  PrintAll(("start " + std::to_string(timeout)).c_str(), "start");
  Mark("started");
}

void Scale::StartOneAfterTheOther(int timeout) {
  Mark("start");
  for (size_t i = 0; i < m_running.size(); ++i) {
    m_running[i]->Tell("start " + std::to_string(timeout));
    Sleep(static_cast<double>(timeout) / m_peers);
  }
  PrintDone("start");
  Mark("started");
}

// The queue of one listener in the middle, sampled while time passes.
void Scale::Queue(double seconds) {
  const size_t middle = m_running.size() / 2;
  Program& peer = *m_running[middle];
  for (const auto begin = Clock::now(); Since(begin) < seconds; Sleep(0.5)) {
    peer.Tell("queue");
    const size_t end = peer.Await("done", m_heard[middle]);
    std::printf("%s %zu sample %lld %s\n", m_phase, middle + 1,
                static_cast<long long>(Clock::now().time_since_epoch().count()),
                peer.Lines()[end - 2].c_str());
    m_heard[middle] = end;
  }
}

void Scale::End() {
  for (auto& peer : m_running) peer->Tell("quit");
  for (size_t i = 0; i < m_running.size(); ++i) {
    Program& peer = *m_running[i];
    const size_t end = peer.Await("end", m_heard[i], std::chrono::seconds(60));
    for (size_t line = m_heard[i]; line + 1 < end; ++line)
      if (peer.Lines()[line] != "done")
        std::printf("%s %zu log %s\n", m_phase, i + 1, peer.Lines()[line].c_str());
    if (peer.Wait() != 0) std::printf("%s %zu log failed at its end\n", m_phase, i + 1);
  }
  m_running.clear();
}

// One search after another, from one peer after another, at such a rate that they keep a listener
// busy for half of the time. Announcements come at the full second, so the searches must come in
// all its parts.
void Scale::SearchesBesideAnnouncing(int mx, int count) {
  Mark(("searches_mx_" + std::to_string(mx)).c_str());
  for (int i = 0; i < count; ++i, Sleep(mx + 1.0 / count))
    Search(static_cast<size_t>(i) % m_running.size(), mx);
  Mark(("searches_end_mx_" + std::to_string(mx)).c_str());
}

void Scale::SearchAtTwoRates() {
  SearchesBesideAnnouncing(1, 2 * kTimeOut);
  Sleep(2);
  PrintAll("stats", "between");
  SearchesBesideAnnouncing(3, 2 * kTimeOut / 3 + 1);
  PrintAll("stats", "end");
}

void Scale::Announcing() {
  Begin("announcing", "seeded");
  PrintAll("stats", "before");
  StartAll(kTimeOut);
  Sleep(kTimeOut + 2);  // all have announced twice
  Mark("quiet");
  PrintAll("stats", "quiet");
  Sleep(2 * kTimeOut);
  PrintAll("stats", "quiet_end");
  Mark("quiet_end");
  SearchAtTwoRates();
  End();
}

// Peers that were started at once announce at once for ever. These don't.
void Scale::AnnouncingOutOfStep() {
  Begin("out_of_step", "seeded");
  StartOneAfterTheOther(kTimeOut);
  Sleep(kTimeOut + 2);
  PrintAll("stats", "before");
  SearchAtTwoRates();
  End();
}

void Scale::OneSearch(const char* phase, const char* seed) {
  constexpr int mx = 1;
  Begin(phase, seed);
  StartAll(0);
  Sleep(1);
  PrintAll("stats", "before");
  Mark("search");
  Search(0, mx);
  Sleep(mx + 1);
  Mark("search_end");
  PrintAll("stats", "end");
  End();
}

// Each listener has all the searches to answer, half of MX each on average: so long, and four
// standard deviations more.
void Scale::SearchEach() {
  constexpr int mx = 1;
  Begin("search_each", "seeded");
  StartAll(0);
  Sleep(1);
  PrintAll("stats", "before");
  Mark("search");
  for (size_t i = 0; i < m_running.size(); ++i) Search(i, mx);
  Queue(mx * (m_peers / 2.0 + 4 * std::sqrt(m_peers / 12.0) + 2));
  Mark("search_end");
  PrintAll("stats", "end");
  End();
}

}  // namespace

int main(int argc, char** argv) {
  const int peers = argc == 3 ? std::atoi(argv[1]) : 0;
  if (peers < 2 || peers > 200) {
    std::fprintf(stderr, "usage: bench_scale PEERS PEER-PROGRAM (2 to 200 peers)\n");
    return 2;
  }
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  Scale scale(peers, argv[2]);
  scale.SettleHosts();
  scale.FillQueues();
  scale.Announcing();
  scale.AnnouncingOutOfStep();
  scale.OneSearch("one_search", "seeded");
  scale.OneSearch("one_search_alike", "unseeded");
  scale.SearchEach();
}
