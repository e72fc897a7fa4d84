// SPDX-License-Identifier: MIT
#include <time.h>

#include "fixture.h"

using testing::MatchesRegex;
using testing::StartsWith;

TEST_F(LanTest, AnnouncementsOnTheWire) {
  support::Socket wire = m_lan[3].OpenGroupSocket();
  const Peer a = StartLamp(1, "lamp-a", {"--notify", "1800", "--status", "ready; 2 left"});
  a->Tell("announce");
  const support::Datagram alive = wire.Receive();
  EXPECT_EQ(alive.text,
            "NOTIFY * HTTP/1.1\r\n"
            "Host: 239.255.255.250:1900\r\n"
            "Cache-Control: max-age=1800\r\n"
            "NTS: ssdp:alive\r\n"
            "NT: urn:example-org:device:Lamp:1\r\n"
            "USN: uuid:lamp-a::urn:example-org:device:Lamp:1\r\n"
            "Status: ready; 2 left\r\n"
            "\r\n");
  EXPECT_EQ(alive.address, "10.77.0.1");

  a->Tell("quit");
  const support::Datagram byebye = wire.Receive();
  EXPECT_EQ(byebye.text,
            "NOTIFY * HTTP/1.1\r\n"
            "Host: 239.255.255.250:1900\r\n"
            "Cache-Control: max-age=1800\r\n"
            "NTS: ssdp:byebye\r\n"
            "NT: urn:example-org:device:Lamp:1\r\n"
            "USN: uuid:lamp-a::urn:example-org:device:Lamp:1\r\n"
            "Status: ready; 2 left\r\n"
            "\r\n");
  EXPECT_EQ(byebye.address, "10.77.0.1");
  EXPECT_NE(alive.port, 1900);
  EXPECT_EQ(byebye.port, alive.port);
}

TEST_F(LanTest, ASearchOnTheWire) {
  support::Socket wire = m_lan[3].OpenGroupSocket();
  const Peer a = StartLamp(1, "lamp-a", {"--mx", "3", "--agent", "Lamps/1.0 on Debian"});
  a->Tell("search");
  const support::Datagram search = wire.Receive();
  EXPECT_EQ(search.text,
            "M-SEARCH * HTTP/1.1\r\n"
            "Host: 239.255.255.250:1900\r\n"
            "MAN: \"ssdp:discover\"\r\n"
            "MX: 3\r\n"
            "ST: urn:example-org:device:Lamp:1\r\n"
            "USER-AGENT: Lamps/1.0 on Debian\r\n"
            "\r\n");
  EXPECT_EQ(search.address, "10.77.0.1");
  EXPECT_NE(search.port, 1900);
}

TEST_F(LanTest, NothingButWhatWasSetIsOnTheWire) {
  support::Socket wire = m_lan[3].OpenGroupSocket();
  const Peer a = m_lan[1].Start({LAN_PEER});
  a->Await("ready");
  a->Tell("announce");
  EXPECT_EQ(wire.Receive().text,
            "NOTIFY * HTTP/1.1\r\n"
            "Host: 239.255.255.250:1900\r\n"
            "Cache-Control: max-age=-1\r\n"
            "NTS: ssdp:alive\r\n"
            "NT: urn::device::\r\n"
            "USN: uuid:::urn::device::\r\n"
            "Status: \r\n"
            "\r\n");
  a->Tell("search");
  EXPECT_EQ(wire.Receive().text,
            "M-SEARCH * HTTP/1.1\r\n"
            "Host: 239.255.255.250:1900\r\n"
            "MAN: \"ssdp:discover\"\r\n"
            "MX: -1\r\n"
            "ST: urn::device::\r\n"
            "USER-AGENT: \r\n"
            "\r\n");
}

TEST_F(LanTest, AnAnswerOnTheWire) {
  const Peer a = StartLamp(1, "lamp-a", {"--notify", "1800", "--server", "Debian/12 Lamps/1.0"});
  support::Socket searcher = m_lan[3].OpenSocket();
  const time_t before = time(nullptr);
  searcher.Send(
      "M-SEARCH * HTTP/1.1\r\n"
      "Host: 239.255.255.250:1900\r\n"
      "MAN: \"ssdp:discover\"\r\n"
      "MX: 1\r\n"
      "ST: urn:example-org:device:Lamp:1\r\n"
      "\r\n",
      "239.255.255.250");
  support::Datagram answer = searcher.Receive();
  const time_t after = time(nullptr);
  EXPECT_EQ(answer.address, "10.77.0.1");
  EXPECT_EQ(answer.port, 1900);

  const size_t at = answer.text.find("DATE: ") + 6;
  ASSERT_LT(at + 24, answer.text.size());
  const std::string date = answer.text.substr(at, 24);
  answer.text.replace(at, 24, "Sun Nov 15 14:22:59 2026");
  EXPECT_EQ(answer.text,
            "HTTP/1.1 200 OK\r\n"
            "Cache-Control: max-age=1800\r\n"
            "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
            "SERVER: Debian/12 Lamps/1.0\r\n"
            "ST: urn:example-org:device:Lamp:1\r\n"
            "USN: uuid:lamp-a::urn:example-org:device:Lamp:1\r\n"
            "Status: on\r\n"
            "\r\n");

  tm parts = {};
  parts.tm_isdst = -1;
  const char* end = strptime(date.c_str(), "%a %b %d %H:%M:%S %Y", &parts);
  ASSERT_TRUE(end != nullptr && *end == '\0') << date;
  EXPECT_GE(mktime(&parts), before);
  EXPECT_LE(mktime(&parts), after);
}

// What another program sends is taken like a peer's.
TEST_F(LanTest, AStrangersMessagesAreTaken) {
  const Peer a = StartLamp(1, "lamp-a");
  support::Socket stranger = m_lan[3].OpenSocket();
  stranger.Send(
      "NOTIFY * HTTP/1.1\r\n"
      "Host: 239.255.255.250:1900\r\n"
      "Cache-Control: max-age=1800\r\n"
      "NTS: ssdp:alive\r\n"
      "NT: urn:example-org:device:Lamp:1\r\n"
      "USN: uuid:by-hand::urn:example-org:device:Lamp:1\r\n"
      "Status: on\r\n"
      "\r\n",
      "239.255.255.250");
  a->Await(Added("by-hand", 3));
  stranger.Send(
      "NOTIFY * HTTP/1.1\r\n"
      "Host: 239.255.255.250:1900\r\n"
      "Cache-Control: max-age=1800\r\n"
      "NTS: ssdp:byebye\r\n"
      "NT: urn:example-org:device:Lamp:1\r\n"
      "USN: uuid:by-hand::urn:example-org:device:Lamp:1\r\n"
      "Status: on\r\n"
      "\r\n",
      "239.255.255.250");
  a->Await(Left("by-hand", 3));
}
