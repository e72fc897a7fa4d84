// SPDX-License-Identifier: MIT
// What hostile senders do in more than one datagram, and senders that can't be.
#include <algorithm>
#include <ctime>
#include <limits>

#include "catalogue.h"

namespace hostile {
namespace {

DeviceInfo From(const std::string& address) {
  DeviceInfo record = Usual();
  record.m_address = address;
  return record;
}

TEST(Sequence, AByebyeForADeviceNeverSeenIsReportedAndLeavesNothing) {
  Device device;
  EXPECT_EQ(device.Group({{kByebye}, {kByebye}}), Removed(Usual()) + Removed(Usual()));
  EXPECT_TRUE(device.world.Devices().empty());
}

TEST(Sequence, ASecondSenderTakesOverAUuid) {
  Device device;
  const DeviceInfo first = Usual();
  const DeviceInfo second = From("10.0.0.1");
  EXPECT_EQ(device.Group({{kAlive}, {kAlive, 0x0A000001, 1}}),
            Added(first) + Lines{Event(4, &first, &second, 1)});
  EXPECT_EQ(device.world.Devices().at("1234").m_address, "10.0.0.1");
}

TEST(Sequence, AStrangersByebyeRemovesADevice) {
  Device device;
  EXPECT_EQ(device.Group({{kAlive}, {kByebye, 0x0A000001, 1}}),
            Added(Usual()) + Removed(From("10.0.0.1")));
  EXPECT_TRUE(device.world.Devices().empty());
}

TEST(Sequence, ASearchResponseAndAnAnnouncementAreOneDevice) {
  Device device;
  EXPECT_EQ(device.Unicast({{kReply}}), Added(Usual()));
  const DeviceInfo record = Usual();
  EXPECT_EQ(device.Group({{kAlive}}), Lines{Event(0, &record, &record, 1)});
}

TEST(Sequence, AnAgeInThePastIsStoredUntilTheNextSweep) {
  Device device;
  const std::string past = With(kAlive, "1800", "-1");
  EXPECT_EQ(device.Group({{past}}), Added(Record("1234", 999, "on")));
  EXPECT_EQ(device.world.Devices().size(), 1U);
  device.world.Serve([] { return false; });
  EXPECT_TRUE(device.world.Devices().empty());
}

// The field's limit is no moment: it means "as long as I can tell", after that moment too.
TEST(Sequence, AnAgeBeyondTheFieldIsKeptFromThenOn) {
  Device device;
  EXPECT_EQ(device.Group({{With(kAlive, "1800", "2147483647")}}),
            Added(Record("1234", 2147483647, "on")));
  // A 32-bit clock ends earlier.
  device.chance.now = std::min<int64_t>(int64_t{1} << 40, std::numeric_limits<time_t>::max());
  device.world.Serve([] { return false; });
  EXPECT_EQ(device.world.Devices().size(), 1U);
}

TEST(Sequence, OurOwnAnnouncementIsAPeersAnnouncement) {
  Device device;
  const std::string own = With(kAlive, "uuid:1234", "uuid:own");
  EXPECT_EQ(device.Group({{own, 0x0A4D0001, 1900}}).size(), 1U);
  EXPECT_EQ(device.world.Devices().at("own").m_address, "10.77.0.1");
}

// Whoever searches with our own address as the sender makes us answer ourselves, once.
TEST(Sequence, AResponseToOurOwnAddressEndsThere) {
  Device device;
  const Lines seen = device.Group({{kSearch, 0x0A4D0001, 1900}, {kAnswer, 0x0A4D0001, 1900}});
  EXPECT_EQ(seen, (Lines{fuzz::Waits(1567), Event(8, nullptr, nullptr, 0),
                         fuzz::Sends("group", "10.77.0.1", 1900, kAnswer)}));
}

TEST(Sequence, AddressesAtTheLimitsAreTakenAsTheyAre) {
  Device device;
  EXPECT_EQ(device.Group({{kAlive, 0, 0}}), Added(From("0.0.0.0")));
  const DeviceInfo before = From("0.0.0.0");
  const DeviceInfo now = From("255.255.255.255");
  EXPECT_EQ(device.Group({{kAlive, 0xFFFFFFFF, 65535}}), Lines{Event(4, &before, &now, 1)});
}

// 509 bytes of which 450 are the uuid: there's room for that in a reply to a device without a kind.
TEST(Sequence, AUuidOf450BytesIsTaken) {
  fuzz::Settings nothing;
  nothing.domain = nothing.type = nothing.version = "";
  Device device(nothing);
  const std::string uuid(450, 'u');
  const std::string reply =
      "ST: urn::device::Cache-Control: max-age=Status: USN: uuid:" + uuid + ":";
  EXPECT_EQ(device.Unicast({{reply}}),
            Added(Record(uuid, 1000, "USN: uuid:" + std::string(447, 'u'))));
}

TEST(Sequence, TenThousandForgedDevicesAreAllTaken) {
  Device device;
  std::vector<Arrival> arrivals(10000);
  for (size_t i = 0; i < arrivals.size(); ++i)
    arrivals[i].bytes = With(kAlive, "1234", std::to_string(i));
  EXPECT_EQ(device.Group(arrivals).size(), 10000U);
  EXPECT_EQ(device.world.Devices().size(), 10000U);
  device.chance.now = 2801;
  device.world.Serve([] { return false; });
  EXPECT_TRUE(device.world.Devices().empty());
}

}  // namespace
}  // namespace hostile
