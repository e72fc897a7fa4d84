// SPDX-License-Identifier: MIT
#include <signal.h>

#include "fixture.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

class PresenceTest : public LanTest {
 protected:
  Peer StartPresence(size_t host, const std::string& uuid) {
    return m_lan[host].Start({EXAMPLE_PRESENCE, uuid, "on"});
  }

  void Run(size_t host, const std::string& commands) {
    const auto shell =
        m_lan[host].Start({"/bin/sh", "-ec", "PATH=$PATH:/sbin:/usr/sbin; " + commands});
    ASSERT_EQ(shell->Wait(), 0) << commands;
  }
};

}  // namespace

// Each announces itself and searches once.
TEST_F(LanTest, TwoOfTheShortestHostsFindEachOther) {
  const auto first = m_lan[1].Start({EXAMPLE_MINIMAL, "lamp-1"});
  first->Await("lamp-1 is here: 10.77.0.1");  // by now it listens
  const auto second = m_lan[2].Start({EXAMPLE_MINIMAL, "lamp-2"});
  first->Await("lamp-2 is here: 10.77.0.2");
  second->Await("lamp-1 is here: 10.77.0.1");
  second->Signal(SIGTERM);
  EXPECT_EQ(second->Wait(), 0);
  first->Await("lamp-2 has left: 10.77.0.2");
  first->Signal(SIGINT);
  EXPECT_EQ(first->Wait(), 0);
}

TEST_F(PresenceTest, PrintsWhoComesChangesAndLeaves) {
  const Peer lamp = StartLamp(2, "lamp-2");
  const Peer presence = StartPresence(1, "lamp-1");
  presence->Await("lamp-2 is here: 10.77.0.2, on");
  lamp->Tell("status off");
  lamp->Tell("announce");
  presence->Await("lamp-2 is off");
  m_lan[2].ChangeAddress("10.77.0.22");
  lamp->Tell("announce");
  presence->Await("lamp-2 has moved to 10.77.0.22");
  lamp->Tell("quit");
  presence->Await("lamp-2 has left");
  presence->Signal(SIGTERM);
  EXPECT_EQ(presence->Wait(), 0);
  // An announcement that repeats what is known is no news, and neither is its own.
  EXPECT_EQ(presence->Count("lamp-2 is off"), 1U);
  EXPECT_THAT(presence->Lines(), Not(Contains(HasSubstr("lamp-1"))));
}

TEST_F(PresenceTest, PrintsWhoExpires) {
  const Peer lamp = StartPeer(2, "Lamp", "lamp-2", {"--notify", "1"});
  const Peer presence = StartPresence(1, "lamp-1");
  presence->Await("lamp-2 is here: 10.77.0.2, on");
  lamp->Signal(SIGKILL);
  presence->Await("lamp-2 has expired");
}

TEST_F(PresenceTest, PrintsNoControlCharacterOfAPeer) {
  const Peer presence = StartPresence(1, "lamp-1");
  const Peer lamp = StartPeer(2, "Lamp", "lamp-2", {"--status", "o\x1b[2Jn", "--announce"});
  presence->Await("lamp-2 is here: 10.77.0.2, o?[2Jn");
}

// Only an announcement shows that it hears the group: a search's responses reach another socket.
TEST_F(PresenceTest, HearsAnnouncementsWhenTheNetworkCameAfterIt) {
  Run(1, "ip link set eth0 down");
  const Peer presence = StartPresence(1, "lamp-1");
  presence->Await("deaf: restarting");
  Run(1, "ip link set eth0 up; ip route add 239.0.0.0/8 dev eth0");
  support::Socket lamp = m_lan[2].OpenSocket();
  const auto deadline = std::chrono::steady_clock::now() + 2 * support::kPatience;
  while (presence->Count("lamp-2 is here: 10.77.0.2, on") == 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "still deaf";
    lamp.Send(
        "NOTIFY * HTTP/1.1\r\n"
        "Host: 239.255.255.250:1900\r\n"
        "Cache-Control: max-age=1800\r\n"
        "NTS: ssdp:alive\r\n"
        "NT: urn:example-org:device:Lamp:1\r\n"
        "USN: uuid:lamp-2::urn:example-org:device:Lamp:1\r\n"
        "Status: on\r\n"
        "\r\n",
        "239.255.255.250");
    presence->Listen(std::chrono::milliseconds(100));
  }
  presence->Signal(SIGTERM);
  EXPECT_EQ(presence->Wait(), 0);
}

TEST_F(PresenceTest, IsNotRestartedWhileItHearsItself) {
  const Peer lamp = StartLamp(2, "lamp-2");
  const Peer presence = StartPresence(1, "lamp-1");
  lamp->Await(Refreshed("lamp-1", 1));  // sent after the first check
  EXPECT_EQ(lamp->Count(Left("lamp-1", 1)), 0U);
}
