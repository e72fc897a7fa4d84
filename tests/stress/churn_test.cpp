// SPDX-License-Identifier: MIT
// A LAN of twenty hosts that start, stop, die and come back. At the end every table is the truth.
#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "lan.h"
#include "load.h"
#include "process.h"

namespace {

constexpr size_t kHosts = 20;

class Churn : public testing::Test {
 protected:
  void Start(size_t host) {
    const std::string status = "life " + std::to_string(++m_lives);
    m_status[host] = status;
    m_peers[host] = m_lan[host].Start({LAN_PEER, "--announce", "--domain", "example-org", "--type",
                                       "Lamp", "--version", "1", "--uuid", Name(host), "--status",
                                       status, "--notify", "3", "--mx", "1"});
    m_peers[host]->Await("ready");
  }

  void Leave(size_t host) {
    m_peers[host]->Tell("quit");
    EXPECT_EQ(m_peers[host]->Wait(), 0);
    m_peers[host].reset();
    ++m_left;
  }

  void Die(size_t host) {
    m_peers[host]->Signal(SIGKILL);
    m_peers[host]->Wait();
    m_peers[host].reset();
    ++m_died;
  }

  void ChangeStatus(size_t host) {
    m_status[host] = "change " + std::to_string(++m_changes);
    m_peers[host]->Tell("status " + m_status[host]);
    m_peers[host]->Tell("announce");
  }

  void Act(size_t host, unsigned choice) {
    if (m_peers[host] == nullptr)
      Start(host);
    else if (choice == 0)
      Leave(host);
    else if (choice == 1)
      Die(host);
    else if (choice == 2)
      ChangeStatus(host);
    else
      m_peers[host]->Tell("search");
  }

  static std::string Name(size_t host) { return "lamp-" + std::to_string(host); }

  // As the peers print it.
  std::set<std::string> Truth() const {
    std::set<std::string> truth;
    for (size_t host = 1; host <= kHosts; ++host)
      if (m_peers[host] != nullptr)
        truth.insert('"' + Name(host) + "\" \"10.77.0." + std::to_string(host) + "\" \"" +
                     m_status[host] + '"');
    return truth;
  }

  static std::set<std::string> Table(support::Program& peer) {
    const size_t from = peer.Lines().size();
    peer.Tell("devices");
    const size_t end = peer.Await("end", from);
    std::set<std::string> table;
    for (size_t i = from; i < end; ++i) {
      const std::string& line = peer.Lines()[i];
      if (line.rfind("device ", 0) == 0) table.insert(line.substr(7, line.rfind(' ') - 7));
    }
    return table;
  }

  // Until every table is the truth; the first host whose table isn't, or 0.
  size_t AwaitTruth() {
    size_t wrong = 1;
    support::Await([&] {
      while (wrong <= kHosts && (m_peers[wrong] == nullptr || Table(*m_peers[wrong]) == Truth()))
        ++wrong;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      return wrong > kHosts;
    });
    return wrong > kHosts ? 0 : wrong;
  }

  support::Lan m_lan{kHosts};
  std::vector<std::unique_ptr<support::Program>> m_peers =
      std::vector<std::unique_ptr<support::Program>>(kHosts + 1);
  std::vector<std::string> m_status = std::vector<std::string>(kHosts + 1);
  int m_lives = 0, m_left = 0, m_died = 0, m_changes = 0;
};

TEST_F(Churn, EndsWithTheTruthInEveryTable) {
  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  const size_t descriptors = support::Descriptors();
  const double start = support::Now();
  const double over = start + soak::Seconds(20, 1);
  for (size_t host = 1; host <= kHosts; ++host) Start(host);
  while (support::Now() < over) {
    // A search holds every other host's listener up for half a second, so there may be fewer than
    // two a second.
    Act(1 + random() % kHosts, random() % 4);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 500));
  }
  const size_t running = Truth().size();
  const double end = support::Now();
  const size_t wrong = AwaitTruth();
  EXPECT_EQ(wrong, 0u) << "seed " << seed;
  if (wrong != 0) {
    EXPECT_EQ(Table(*m_peers[wrong]), Truth()) << "host " << wrong;
  }

  std::ostringstream line;
  line << "churn: " << kHosts << " hosts for " << end - start << " s: " << m_lives << " starts, "
       << m_left << " goodbyes, " << m_died << " deaths, " << m_changes << " changes; " << running
       << " at the end, in every table " << support::Now() - end << " s later; seed " << seed;
  soak::Figure(line.str());
  for (auto& peer : m_peers) peer.reset();
  EXPECT_EQ(support::Descriptors(), descriptors);
}

}  // namespace
