// SPDX-License-Identifier: MIT
// A service that has become deaf: every call succeeds, and nothing is heard.
#include <signal.h>

#include <algorithm>

#include "fixture.h"

namespace {

const char kRestarted[] =
    "ssdp-peer: our own announcement did not come back: the service is restarted\n";
const char kHears[] = "ssdp-peer: the restarted service hears its own announcement again\n";

class DeafTest : public ToolTest {
 protected:
  // Waits until the file contains `text`.
  void AwaitError(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + 2 * support::kPatience;
    while (ReadFile(m_errors).find(text) == std::string::npos) {
      if (std::chrono::steady_clock::now() > deadline)
        throw std::runtime_error("never told: " + text + ReadFile(m_errors));
      m_watch->Listen(std::chrono::milliseconds(100));
    }
  }
  // Its next announcement comes too late to be what tells.
  void StartWatchOnTheFirst() {
    m_watch = Start(1, {"watch", "--uuid", "me", "--notify-timeout", "600"}, m_errors);
    AwaitLine(*m_watch, {"started"});
  }

  const std::string m_errors = m_folder / "deaf-errors";
  Program m_watch;
};

// The first host's interface becomes a bridge over eth0, which can be deleted and made again.
const char kMake[] =
    "ip link add lan0 type bridge mcast_snooping 0; ip link set eth0 master lan0; "
    "ip addr add 10.77.0.1/24 dev lan0; ip link set lan0 up; ip route add 239.0.0.0/8 dev lan0";

}  // namespace

TEST_F(DeafTest, IsHealedAfterTheInterfaceWasDeletedAndMadeAgain) {
  Shell(1, std::string("ip addr flush dev eth0; ") + kMake);
  StartWatchOnTheFirst();
  const Program lamp = StartLamp(2, "lamp");
  AwaitLine(*m_watch, {" new 10.77.0.2 lamp on"});
  Shell(1, "ip link del lan0");
  Shell(1, kMake);
  AwaitError(kRestarted);
  AwaitError(kHears);
  // It hears, and has kept its table.
  lamp->Tell("off");
  AwaitLine(*m_watch, {" changed 10.77.0.2 lamp off"});
  EXPECT_EQ(std::count_if(m_watch->Lines().begin(), m_watch->Lines().end(),
                          [](const auto& line) { return line.find(" new ") != std::string::npos; }),
            1);
  // It is found, too.
  lamp->Signal(SIGTERM);
  EXPECT_EQ(lamp->Wait(), 0);
  const Result search = Run(2, {"search", "--mx", "1", "--wait", "600", "--first"});
  EXPECT_THAT(search.output, testing::ElementsAre("me 10.77.0.1 up"));
  m_watch->Signal(SIGTERM);
  EXPECT_EQ(m_watch->Wait(), 0);
}

// It was started before there was a network, with loopback for its multicast.
TEST_F(DeafTest, IsHealedAfterTheRouteHasChanged) {
  Shell(1, "ip route replace 239.0.0.0/8 dev lo");
  StartWatchOnTheFirst();
  Shell(1, "ip route replace 239.0.0.0/8 dev eth0");
  AwaitError(kHears);
  m_lan[3].OpenSocket().Send(Alive("late", "on"), "239.255.255.250");
  AwaitLine(*m_watch, {" new 10.77.0.3 late on"});
}

// An hour without a network is no reason for a hundred messages.
TEST_F(DeafTest, AnnouncementsThatCantBeSentAreToldOnceAndTheirReturnToo) {
  m_watch = Start(1, {"watch", "--uuid", "me", "--notify-timeout", "3", "--verbose"}, m_errors);
  AwaitLine(*m_watch, {"started"});
  const auto count = [this](const std::string& text) {
    const std::string all = ReadFile(m_errors);
    int found = 0;
    for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++found;
    return found;
  };
  Shell(1, "ip route del 239.0.0.0/8");
  const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
  while (count("AnnounceNetwork: ") < 3 && std::chrono::steady_clock::now() < deadline)
    m_watch->Listen(std::chrono::milliseconds(100));
  EXPECT_GE(count("AnnounceNetwork: "), 3);
  Shell(1, "ip route add 239.0.0.0/8 dev eth0");
  AwaitError("ssdp-peer: announcements can be sent again\n");
  EXPECT_EQ(count("ssdp-peer: the announcement could not be sent: Network is unreachable"), 1);
}

// A firewall that nothing passes: it tries again and again, ever more seldom, and tells it once.
TEST_F(DeafTest, IsToldOnceWhereARestartDoesNotHelp) {
  Shell(1,
        "nft add table ip wall; "
        "nft add chain ip wall in '{ type filter hook input priority 0; }'; "
        "nft add rule ip wall in udp dport 1900 drop");
  support::Socket wire = m_lan[3].OpenGroupSocket();
  StartWatchOnTheFirst();
  int byebyes = 0;
  while (byebyes < 2)
    if (wire.Receive().text.find("ssdp:byebye") != std::string::npos) ++byebyes;
  EXPECT_EQ(ReadFile(m_errors), kRestarted);
}
