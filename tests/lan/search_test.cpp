// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(LanTest, PeersFindEachOtherBySearching) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  a->Tell("search");
  a->Await(Added("lamp-a", 1));
  a->Await(Added("lamp-b", 2));
  b->Await("event 8");
  EXPECT_THAT(Devices(*b), IsEmpty());  // a search says nothing of who searches

  b->Tell("search");
  b->Await(Added("lamp-a", 1));
  b->Await(Added("lamp-b", 2));
  EXPECT_THAT(Devices(*b), ElementsAre(Device("lamp-a", 1), Device("lamp-b", 2)));
}

TEST_F(LanTest, APeerOfAnotherKindNeitherAnswersNorIsAnswered) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  const Peer x = StartPeer(3, "Sensor", "sensor-x", {});
  a->Tell("search");
  a->Await(Added("lamp-a", 1));
  a->Await(Added("lamp-b", 2));
  x->Tell("search");
  x->Await(Added("sensor-x", 3));
  // Each takes what it receives in order: after this search the other kind's has been worked off.
  b->Tell("search");
  b->Await(Added("lamp-a", 1));
  b->Await(Added("lamp-b", 2));

  EXPECT_THAT(x->Lines(), ElementsAre("ready", "event 8", Added("sensor-x", 3)));
  EXPECT_EQ(a->Count("event 8"), 2U);
  EXPECT_EQ(b->Count("event 8"), 2U);
  EXPECT_THAT(About("sensor-x", *a), IsEmpty());
  EXPECT_THAT(About("sensor-x", *b), IsEmpty());
}

namespace {

using Seconds = std::chrono::duration<double>;

constexpr char kSearch[] =
    "M-SEARCH * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: 1\r\n"
    "ST: urn:example-org:device:Lamp:1\r\n"
    "USER-AGENT: stranger\r\n"
    "\r\n";

// Searches once and waits for two answers; the time that each took, by the address it came from.
std::map<std::string, double> Search(support::Socket& searcher) {
  const auto sent = std::chrono::system_clock::now().time_since_epoch();
  searcher.Send(kSearch, "239.255.255.250");
  std::map<std::string, double> delays;
  for (int i = 0; i < 2; ++i) {
    const support::Datagram answer = searcher.Receive();
    EXPECT_THAT(answer.text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(answer.port, 1900);
    delays[answer.address] = Seconds(answer.arrived - sent).count();
  }
  EXPECT_EQ(delays.size(), 2U) << "one of them answered twice";
  return delays;
}

}  // namespace

TEST_F(LanTest, EveryPeerAnswersASearchOnceAndWithinItsTime) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  support::Socket bystander = m_lan[3].OpenSocket();
  support::Socket searcher = m_lan[3].OpenSocket();
  constexpr int kSearches = 6;
  std::vector<double> delays;
  double apart = 0;
  for (int i = 0; i < kSearches; ++i) {
    auto delay = Search(searcher);
    apart = std::max(apart, std::abs(delay["10.77.0.1"] - delay["10.77.0.2"]));
    delays.insert(delays.end(), {delay["10.77.0.1"], delay["10.77.0.2"]});
  }
  a->Tell("quit");
  b->Tell("quit");
  EXPECT_EQ(a->Wait(), 0);
  EXPECT_EQ(b->Wait(), 0);

  EXPECT_THAT(searcher.Drain(), IsEmpty());
  EXPECT_THAT(bystander.Drain(), IsEmpty());
  EXPECT_EQ(a->Count("event 8"), size_t{kSearches});
  EXPECT_EQ(b->Count("event 8"), size_t{kSearches});

  // Of delays spread evenly over MX, here 1 s, the middle one is far from both ends. Each by itself
  // may come late on a busy machine.
  std::sort(delays.begin(), delays.end());
  EXPECT_LT(delays[kSearches], 1.0);
  EXPECT_LT(delays.back(), 6.0);
  EXPECT_GT(delays.back() - delays.front(), 0.1) << "the delays don't spread";
  EXPECT_GT(apart, 0.02) << "both peers always answer at the same time";
}
