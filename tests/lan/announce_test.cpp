// SPDX-License-Identifier: MIT
#include <chrono>
#include <set>

#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Waits until the socket has seen an announcement of each device.
void AwaitAnnouncements(support::Socket& wire, std::set<std::string> uuids) {
  while (!uuids.empty()) {
    const std::string text = wire.Receive().text;
    for (auto uuid = uuids.begin(); uuid != uuids.end();)
      uuid = text.find("USN: uuid:" + *uuid) != std::string::npos ? uuids.erase(uuid) : ++uuid;
  }
}

// A peer takes what it receives in order: with this search it has worked off all before it.
void AwaitOwnSearch(support::Program& peer) {
  const size_t from = peer.Lines().size();
  peer.Tell("search");
  peer.Await("event 8", from);
}

}  // namespace

TEST_F(LanTest, PeersFindEachOtherByAnnouncing) {
  const Options announcing = {"--announce", "--notify", "2"};
  const Peer a = StartLamp(1, "lamp-a", announcing);
  const Peer b = StartLamp(2, "lamp-b", announcing);
  a->Await(Added("lamp-b", 2));
  b->Await(Added("lamp-a", 1));
  // The network loops a device's own announcements back.
  a->Await(Added("lamp-a", 1));
  b->Await(Added("lamp-b", 2));
}

TEST_F(LanTest, APeerOfAnotherKindAnnouncesUnseen) {
  support::Socket wire[] = {m_lan[1].OpenGroupSocket(), m_lan[2].OpenGroupSocket(),
                            m_lan[3].OpenGroupSocket()};
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  const Peer x = StartPeer(3, "Sensor", "sensor-x", {});
  for (const auto& peer : {a.get(), b.get(), x.get()}) peer->Tell("announce");
  for (auto& socket : wire) AwaitAnnouncements(socket, {"lamp-a", "lamp-b", "sensor-x"});
  for (const auto& peer : {a.get(), b.get(), x.get()}) AwaitOwnSearch(*peer);

  EXPECT_THAT(About("sensor-x", *a), IsEmpty());
  EXPECT_THAT(About("sensor-x", *b), IsEmpty());
  EXPECT_THAT(About("lamp-", *x), IsEmpty());
  EXPECT_THAT(Devices(*a), ElementsAre(Device("lamp-a", 1), Device("lamp-b", 2)));
  EXPECT_THAT(Devices(*b), ElementsAre(Device("lamp-a", 1), Device("lamp-b", 2)));
  EXPECT_THAT(Devices(*x), ElementsAre(Device("sensor-x", 3)));
}

TEST_F(LanTest, TheFirstAnnouncementComesAtOnce) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  const Peer a = StartLamp(1, "lamp-a", {"--announce", "--notify", kNever});
  EXPECT_THAT(wire.Receive().text, testing::StartsWith("NOTIFY * HTTP/1.1\r\n"));
}

// Counted in whole seconds of the wall clock, as the device does. A busy machine makes some gaps
// longer, never shorter, and not all of them.
TEST_F(LanTest, AnnouncementsComeEveryNotifyTimeOut) {
  using std::chrono::seconds;
  // On the same host, where the kernel stamps the looped-back copy while it is being sent.
  support::Socket wire = m_lan[1].OpenGroupSocket();
  const Peer a = StartLamp(1, "lamp-a", {"--announce", "--notify", "2"});
  auto last = std::chrono::floor<seconds>(wire.Receive().arrived);
  seconds shortest = support::kPatience;
  for (int gaps = 0; gaps < 10 && (gaps < 2 || shortest > seconds(2)); ++gaps) {
    const auto next = std::chrono::floor<seconds>(wire.Receive().arrived);
    shortest = std::min(shortest, next - last);
    last = next;
  }
  EXPECT_EQ(shortest.count(), 2);
}

// No announcement goes out unasked, so none comes before the one that is asked for.
TEST_F(LanTest, APeerToldNotToAnnounceOnlyDoesSoWhenAsked) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  const Peer a = StartLamp(1, "lamp-a", {"--notify", "1"});
  AwaitOwnSearch(*a);
  a->Tell("status asked");
  a->Tell("announce");
  EXPECT_THAT(wire.Receive().text, testing::StartsWith("M-SEARCH"));
  EXPECT_THAT(wire.Receive().text, testing::HasSubstr("Status: asked\r\n"));
}
