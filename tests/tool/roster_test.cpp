// SPDX-License-Identifier: MIT
#include "roster.h"

#include <gmock/gmock.h>

#include <clocale>

#include "table.h"

namespace ssdp_peer {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

libSSDP::DeviceInfo Device(const std::string& uuid, const std::string& status, int32_t expiry,
                           const std::string& address = "10.77.0.2") {
  libSSDP::DeviceInfo device;
  device.m_uuid = uuid;
  device.m_status = status;
  device.m_expiry = expiry;
  device.m_address = address;
  return device;
}

std::vector<std::string> Lines(const Roster& roster, int64_t now, size_t width, bool color) {
  return TableLines(Arrange(roster, Order::kUuid, ""), Order::kUuid, now, width, color);
}

TEST(Roster, TellsNewFromChangedFromTheSameAgain) {
  Roster roster;
  EXPECT_EQ(roster.Heard(Device("lamp", "on", 190), 100).change, Change::kNew);
  EXPECT_EQ(roster.Heard(Device("lamp", "on", 191), 101).change, Change::kNone);
  EXPECT_EQ(roster.Heard(Device("lamp", "off", 192), 102).change, Change::kChanged);
  EXPECT_EQ(roster.Heard(Device("lamp", "off", 193, "10.77.0.9"), 103).change, Change::kChanged);
  const Peer& peer = roster.Peers().at("lamp");
  EXPECT_EQ(peer.status, "off");
  EXPECT_EQ(peer.address, "10.77.0.9");
  EXPECT_EQ(peer.expiry, 193);
  EXPECT_EQ(peer.seen, 103);
}

TEST(Roster, AGoodbyeIsToldOnceAndOnlyOfWhoWasHere) {
  Roster roster;
  EXPECT_EQ(roster.Left("stranger", 100).change, Change::kNone);
  roster.Heard(Device("lamp", "on", 190), 100);
  EXPECT_EQ(roster.Left("lamp", 101).change, Change::kLeft);
  EXPECT_EQ(roster.Left("lamp", 101).change, Change::kNone);
  EXPECT_EQ(roster.Count(), 0u);
  EXPECT_EQ(roster.Heard(Device("lamp", "on", 192), 102).change, Change::kNew);
  EXPECT_EQ(roster.Count(), 1u);
}

TEST(Roster, APeerExpiresWhenItsSecondIsOver) {
  Roster roster;
  roster.Heard(Device("lamp", "on", 190), 100);
  EXPECT_THAT(roster.Expire(190), IsEmpty());
  const auto expired = roster.Expire(191);
  ASSERT_EQ(expired.size(), 1u);
  EXPECT_EQ(expired[0].change, Change::kExpired);
  EXPECT_THAT(roster.Expire(192), IsEmpty());
  EXPECT_EQ(roster.Count(), 0u);
}

TEST(Roster, MarksLastFiveSeconds) {
  Roster roster;
  roster.Heard(Device("lamp", "on", 190), 100);
  roster.Heard(Device("radio", "on", 190), 100);
  roster.Left("radio", 100);
  roster.Settle(104);
  EXPECT_EQ(roster.Peers().at("lamp").change, Change::kNew);
  EXPECT_EQ(roster.Peers().count("radio"), 1u);
  roster.Settle(105);
  EXPECT_EQ(roster.Peers().at("lamp").change, Change::kNone);
  EXPECT_EQ(roster.Peers().count("radio"), 0u);
}

TEST(Roster, WhenEachAddressHasOneDeviceTheOldestGoes) {
  Roster roster;
  for (size_t i = 0; i < kMostPeers + 1; ++i)
    roster.Heard(Device(std::to_string(i), "", INT32_MAX, "address " + std::to_string(i)), 100);
  roster.Heard(Device("0", "", INT32_MAX, "address 0"), 101);  // not the oldest any more
  const auto dropped = roster.Trim();
  ASSERT_EQ(dropped.size(), 1u);
  EXPECT_EQ(dropped[0].uuid, "1");
}

TEST(Roster, WhoHasLeftMakesRoomFirst) {
  Roster roster;
  for (size_t i = 0; i < kMostPeers + 1; ++i)
    roster.Heard(Device(std::to_string(i), "", INT32_MAX), 100);
  roster.Left("7", 101);
  EXPECT_THAT(roster.Trim(), IsEmpty());
  EXPECT_EQ(roster.Peers().size(), kMostPeers);
  EXPECT_EQ(roster.Peers().count("7"), 0u);
  EXPECT_EQ(roster.Dropped(), 0u);
}

// So many forged UUIDs of one address that the roster is full.
Roster FullRoster(const std::string& address = "10.77.0.66") {
  Roster roster;
  for (size_t i = 0; i < kMostPeers; ++i)
    roster.Heard(Device("forged-" + std::to_string(i), "", INT32_MAX, address), 100);
  return roster;
}

TEST(Roster, AFloodOfForgedUuidsMakesRoomForADeviceElsewhere) {
  Roster roster = FullRoster();
  EXPECT_THAT(roster.Trim(), IsEmpty());
  EXPECT_EQ(roster.Heard(Device("lamp", "on", 190), 101).change, Change::kNew);
  const auto dropped = roster.Trim();
  ASSERT_EQ(dropped.size(), 1u);
  EXPECT_EQ(dropped[0].uuid, "forged-0");  // heard of longest ago
  EXPECT_EQ(dropped[0].change, Change::kDropped);
  EXPECT_EQ(roster.Dropped(), 1u);
  // It stays, whatever else is forged there.
  for (int i = 0; i < 10000; ++i)
    roster.Heard(Device("more-" + std::to_string(i), "", INT32_MAX, "10.77.0.66"), 102);
  EXPECT_EQ(roster.Trim().size(), 10000u);
  EXPECT_EQ(roster.Peers().size(), kMostPeers);
  EXPECT_EQ(roster.Peers().count("lamp"), 1u);
  EXPECT_EQ(roster.Peers().count("more-9999"), 1u);
  EXPECT_TRUE(roster.IsFull());
}

// The flood may be sent in the device's own name.
TEST(Roster, ADeviceAtTheAddressOfAFloodIsShownWhenItIsHeardOf) {
  Roster roster = FullRoster("10.77.0.2");
  roster.Heard(Device("lamp", "on", 190), 101);
  EXPECT_EQ(roster.Trim()[0].uuid, "forged-0");
  EXPECT_EQ(roster.Peers().count("lamp"), 1u);
}

TEST(Roster, AFloodFromAFewAddressesDropsNobodyElse) {
  Roster roster;
  roster.Heard(Device("lamp", "on", 190), 100);
  for (int i = 0; i < 10000; ++i)
    roster.Heard(Device(std::to_string(i), "", INT32_MAX, "10.77.1." + std::to_string(i % 250)),
                 100);
  EXPECT_EQ(roster.Trim().size(), 10001u - kMostPeers);
  EXPECT_EQ(roster.Peers().count("lamp"), 1u);
}

TEST(Roster, PresentHoldsThoseWhoAreHereWithoutMarks) {
  Roster roster;
  roster.Heard(Device("lamp", "on", 190), 100);
  roster.Heard(Device("radio", "on", 190), 100);
  roster.Left("radio", 100);
  const Roster present = roster.Present();
  ASSERT_EQ(present.Peers().size(), 1u);
  EXPECT_EQ(present.Peers().at("lamp").change, Change::kNone);
}

TEST(Table, ShowsEveryPeerInItsColumns) {
  Roster roster;
  roster.Heard(Device("lamp-1", "on", 190), 100);
  roster.Heard(Device("radio", "playing", 3700, "10.77.0.30"), 90);
  roster.Settle(95);
  EXPECT_THAT(Lines(roster, 102, 0, false),
              ElementsAre("  UUID   ADDRESS    STATUS  SEEN EXPIRES",
                          "+ lamp-1 10.77.0.2  on        2s   1m28s",
                          "  radio  10.77.0.30 playing  12s  59m58s"));
}

TEST(Table, MarksAndColoursWhatChanged) {
  Roster roster;
  for (const char* uuid : {"changed", "expired", "left", "new"})
    roster.Heard(Device(uuid, "on", uuid == std::string("expired") ? 99 : 190), 100);
  roster.Settle(105);
  roster.Heard(Device("changed", "off", 190), 105);
  roster.Expire(105);
  roster.Left("left", 105);
  roster.Left("new", 105);
  roster.Heard(Device("new", "on", 190), 105);
  EXPECT_THAT(Lines(roster, 105, 0, true),
              ElementsAre("\x1b[1m  UUID    ADDRESS   STATUS SEEN EXPIRES\x1b[0m",
                          "\x1b[33m~ changed 10.77.0.2 off      0s   1m25s\x1b[0m",
                          "\x1b[31m- expired 10.77.0.2 on       5s expired\x1b[0m",
                          "\x1b[31m- left    10.77.0.2 on       5s    left\x1b[0m",
                          "\x1b[32m+ new     10.77.0.2 on       0s   1m25s\x1b[0m"));
}

TEST(Table, ShortensTheUuidBeforeTheStatus) {
  Roster roster;
  roster.Heard(Device("b4fe4982-964c-4b84-8bfd-4ddd7dedbd01", std::string(30, 's'), 190), 100);
  roster.Settle(105);
  EXPECT_THAT(
      Lines(roster, 105, 80, false),
      ElementsAre(
          "  UUID                     ADDRESS   STATUS                         SEEN EXPIRES",
          "  b4fe4982-964c-4b84-8b... 10.77.0.2 ssssssssssssssssssssssssssssss   5s   1m25s"));
  EXPECT_THAT(Lines(roster, 105, 60, false),
              ElementsAre("  UUID        ADDRESS   STATUS                  SEEN EXPIRES",
                          "  b4fe4982... 10.77.0.2 ssssssssssssssssssss...   5s   1m25s"));
}

TEST(Table, KeepsItsColumnsBehindCharactersOfTwoColumns) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  Roster roster;
  roster.Heard(Device("lamp", "\xe6\x9d\xb1\xe4\xba\xac", 190), 100);
  roster.Heard(Device("radio", "1234", 190), 100);
  roster.Settle(105);
  EXPECT_THAT(Lines(roster, 105, 0, false),
              ElementsAre("  UUID  ADDRESS   STATUS SEEN EXPIRES",
                          "  lamp  10.77.0.2 \xe6\x9d\xb1\xe4\xba\xac     5s   1m25s",
                          "  radio 10.77.0.2 1234     5s   1m25s"));
  std::setlocale(LC_CTYPE, "C");
}

// The UUIDs in the order in which they are shown.
std::vector<std::string> Shown(const Roster& roster, Order order, const std::string& filter = "") {
  std::vector<std::string> uuids;
  for (const auto& peer : Arrange(roster, order, filter)) uuids.push_back(peer.uuid);
  return uuids;
}

Roster FourDevices() {
  Roster roster;
  roster.Heard(Device("d", "on", 190, "10.77.1.2"), 99);
  roster.Heard(Device("b", "off", 190, "10.77.0.9"), 100);
  roster.Heard(Device("a", "warm", 190, "10.77.0.10"), 101);
  roster.Heard(Device("c", "WARMER", 190, "10.77.0.9"), 102);
  return roster;
}

TEST(Table, IsOrderedByUuidAddressOrLastSeen) {
  const Roster roster = FourDevices();
  EXPECT_THAT(Shown(roster, Order::kUuid), ElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(Shown(roster, Order::kAddress), ElementsAre("b", "c", "a", "d"));
  EXPECT_THAT(Shown(roster, Order::kSeen), ElementsAre("c", "a", "b", "d"));
}

TEST(Table, MarksTheOrderInItsHeading) {
  const auto heading = [](Order order) { return TableLines({}, order, 100, 0, false)[0]; };
  EXPECT_EQ(heading(Order::kUuid), "  UUID ADDRESS STATUS SEEN EXPIRES");
  EXPECT_EQ(heading(Order::kAddress), "  UUID ADDRESS^ STATUS SEEN EXPIRES");
  EXPECT_EQ(heading(Order::kSeen), "  UUID ADDRESS STATUS SEEN^ EXPIRES");
}

TEST(Table, IsFilteredByAnyOfItsTexts) {
  const Roster roster = FourDevices();
  EXPECT_THAT(Shown(roster, Order::kUuid, "Warm"), ElementsAre("a", "c"));
  EXPECT_THAT(Shown(roster, Order::kUuid, "0.9"), ElementsAre("b", "c"));
  EXPECT_THAT(Shown(roster, Order::kUuid, "b"), ElementsAre("b"));
  EXPECT_THAT(Shown(roster, Order::kUuid, "x"), IsEmpty());
}

TEST(Table, NoLineIsEverLongerThanTheTerminal) {
  Roster roster;
  roster.Heard(Device(std::string(300, 'u'), std::string(300, '\x1b'), INT32_MAX), 100);
  for (size_t width = 1; width < 200; ++width)
    for (const auto& line : Lines(roster, 100, width, false)) EXPECT_LE(line.size(), width);
}

TEST(Table, APeersTextCantLeaveItsLine) {
  Roster roster;
  roster.Heard(Device("a\x1b[2Jb", "on\r\nforged", 190), 100);
  EXPECT_THAT(Lines(roster, 100, 0, false),
              ElementsAre("  UUID      ADDRESS   STATUS           SEEN EXPIRES",
                          "+ a\\x1b[2Jb 10.77.0.2 on\\x0d\\x0aforged   0s   1m30s"));
}

}  // namespace
}  // namespace ssdp_peer
