// SPDX-License-Identifier: MIT
#include "catalogue.h"

#include "output.h"

namespace hostile {

std::string With(std::string text, const std::string& old, const std::string& now) {
  const size_t at = text.find(old);
  fuzz::Require(at != std::string::npos, "a case changes what is there");
  return text.replace(at, old.size(), now);
}

std::string FilledTo(size_t size, const std::string& text) {
  const std::string empty = "X: \r\n";
  fuzz::Require(text.size() + empty.size() <= size, "a text grows");
  const size_t first_header = text.find("\r\n") + 2;
  return text.substr(0, first_header) +
         "X: " + std::string(size - text.size() - empty.size(), 'x') + "\r\n" +
         text.substr(first_header);
}

DeviceInfo Record(const std::string& uuid, int32_t expiry, const std::string& status) {
  DeviceInfo record;
  record.m_uuid = uuid;
  record.m_expiry = expiry;
  record.m_status = status;
  record.m_address = "192.0.2.7";
  return record;
}

DeviceInfo Usual() {
  return Record("1234", 2800, "on");
}

Lines Added(const DeviceInfo& record) {
  return {Event(1, &record, &record, 1)};
}

Lines Removed(const DeviceInfo& record) {
  return {Event(2, nullptr, &record, 1)};
}

Lines Answered(int64_t delay) {
  return {fuzz::Waits(delay), Event(8, nullptr, nullptr, 0),
          fuzz::Sends("group", "192.0.2.7", 50000, kAnswer)};
}

Lines operator+(Lines first, const Lines& then) {
  first.insert(first.end(), then.begin(), then.end());
  return first;
}

Cases operator+(Cases first, const Cases& then) {
  first.insert(first.end(), then.begin(), then.end());
  return first;
}

void PrintTo(const Case& hostile, std::ostream* out) {
  *out << hostile.name;
}

Device::Device(const fuzz::Settings& settings) : world(chance) {
  chance.random = 1234567;
  fuzz::Set(settings);
  world.Initialize();
}

Lines Device::Group(const std::vector<Arrival>& arrivals) {
  return Run(&fuzz::World::Group, arrivals);
}

Lines Device::Unicast(const std::vector<Arrival>& arrivals) {
  return Run(&fuzz::World::Unicast, arrivals);
}

Lines Device::Run(void (fuzz::World::*loop)(fuzz::World::Source),
                  const std::vector<Arrival>& arrivals) {
  size_t next = 0;
  (world.*loop)([&] { return next < arrivals.size() ? &arrivals[next++] : nullptr; });
  return world.Happened();
}

TEST_P(GroupCase, DoesWhatIsExpected) {
  Device device;
  const support::Output output;
  const Lines seen = device.Group({{GetParam().datagram}});
  const Lines then = device.Group({{With(kAlive, "1234", "valid")}, {kSearch}});
  EXPECT_EQ(output.Text(), "");
  EXPECT_EQ(seen, GetParam().expected);
  EXPECT_EQ(then, Added(Record("valid", 2800, "on")) + Answered(1567));
}

TEST_P(UnicastCase, DoesWhatIsExpected) {
  Device device;
  const support::Output output;
  const Lines seen = device.Unicast({{GetParam().datagram}});
  const Lines then = device.Unicast({{With(kReply, "1234", "valid")}});
  EXPECT_EQ(output.Text(), "");
  EXPECT_EQ(seen, GetParam().expected);
  EXPECT_EQ(then, Added(Record("valid", 2800, "on")));
}

}  // namespace hostile
