// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <limits>
#include <thread>

#include "output.h"
#include "scripted_system.h"
#include "ssdp.h"

namespace libSSDP {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// One call of the application's callback, with the stored record as it was during the call.
struct Event {
  unsigned int value;
  const DeviceInfo* old;
  DeviceInfo old_copy;
  DeviceInfo* new_device;
  void* context;
};

class DeviceTable : public testing::Test {
 protected:
  DeviceTable() { m_ssdp.SetCallback(&DeviceTable::HostCallback, this); }

  static void HostCallback(const DeviceInfo* old, DeviceInfo* new_device, unsigned int event,
                           void* context) {
    auto& test = *static_cast<DeviceTable*>(context);
    test.m_events.push_back(
        {event, old, old != nullptr ? *old : DeviceInfo(), new_device, context});
    if (test.m_on_event) test.m_on_event();
  }

  // Reports a device as the workers do, and gives the event that the application saw.
  Event Report(DeviceInfo& device, bool alive) {
    m_events.clear();
    SSDP::Callback(&m_ssdp, &device, alive, false);
    EXPECT_THAT(m_events, SizeIs(1));
    return m_events.empty() ? Event() : m_events[0];
  }

  std::map<std::string, DeviceInfo*> Devices() {
    std::map<std::string, DeviceInfo*> devices;
    EXPECT_EQ(m_ssdp.GetDevices(devices), 0);
    return devices;
  }

  static DeviceInfo Device(const std::string& uuid, const std::string& address = "10.0.0.1",
                           const std::string& status = "ok", int32_t expiry = 100) {
    DeviceInfo device;
    device.m_uuid = uuid;
    device.m_address = address;
    device.m_status = status;
    device.m_expiry = expiry;
    return device;
  }

  void TearDown() override {
    m_on_event = nullptr;
    m_ssdp.Init();
    m_ssdp.DeInit();  // frees the records
  }

  support::ScriptedSystem m_system;
  SSDP m_ssdp{0};
  std::vector<Event> m_events;
  std::function<void()> m_on_event;
};

TEST_F(DeviceTable, StoresACopyOfANewDeviceAndReportsIt) {
  DeviceInfo device = Device("a", "10.0.0.1", "ok", 100);
  const Event event = Report(device, true);
  EXPECT_EQ(event.value, 1u);
  EXPECT_EQ(event.new_device, &device);
  EXPECT_NE(event.old, &device);
  EXPECT_EQ(event.context, this);
  EXPECT_EQ(event.old_copy.m_uuid, "a");
  EXPECT_EQ(event.old_copy.m_address, "10.0.0.1");
  EXPECT_EQ(event.old_copy.m_status, "ok");
  EXPECT_EQ(event.old_copy.m_expiry, 100);
  ASSERT_THAT(Devices(), SizeIs(1));
  EXPECT_EQ(Devices()["a"], event.old);
}

TEST_F(DeviceTable, RefreshesAKnownDeviceWithEventZero) {
  DeviceInfo first = Device("a", "10.0.0.1", "ok", 100);
  DeviceInfo second = Device("a", "10.0.0.1", "ok", 200);
  const DeviceInfo* stored = Report(first, true).old;
  const Event event = Report(second, true);
  EXPECT_EQ(event.value, 0u);
  EXPECT_EQ(event.old, stored);
  EXPECT_EQ(event.new_device, &second);
  EXPECT_EQ(event.old_copy.m_expiry, 200);
  EXPECT_EQ(Devices()["a"]->m_expiry, 200);
}

TEST_F(DeviceTable, TakesAnEarlierExpiryToo) {
  DeviceInfo first = Device("a", "10.0.0.1", "ok", 200), second = Device("a");
  Report(first, true);
  Report(second, true);
  EXPECT_EQ(Devices()["a"]->m_expiry, 100);
}

TEST_F(DeviceTable, ReportsANewAddressAndTakesItOverAfterTheCallback) {
  DeviceInfo first = Device("a", "10.0.0.1", "ok", 100);
  DeviceInfo second = Device("a", "10.0.0.2", "busy", 200);
  Report(first, true);
  const Event event = Report(second, true);
  EXPECT_EQ(event.value, 4u);
  EXPECT_EQ(event.old_copy.m_address, "10.0.0.1");
  EXPECT_EQ(event.old_copy.m_status, "ok");
  EXPECT_EQ(event.old_copy.m_expiry, 200);
  EXPECT_EQ(Devices()["a"]->m_address, "10.0.0.2");
  EXPECT_EQ(Devices()["a"]->m_status, "busy");
  EXPECT_EQ(Report(second, true).value, 0u);
}

TEST_F(DeviceTable, ReportsANewAddressOfTheSameOrAnotherLength) {
  DeviceInfo device = Device("a", "10.0.0.1");
  Report(device, true);
  for (const char* address : {"10.0.0.3", "10.0.0.10", "10.0.0.1", ""}) {
    device.m_address = address;
    EXPECT_EQ(Report(device, true).value, 4u) << address;
  }
}

TEST_F(DeviceTable, TakesANewStatusOverSilently) {
  DeviceInfo first = Device("a", "10.0.0.1", "ok"), second = Device("a", "10.0.0.1", "busy");
  Report(first, true);
  const Event event = Report(second, true);
  EXPECT_EQ(event.value, 0u);
  EXPECT_EQ(event.old_copy.m_status, "ok");
  EXPECT_EQ(Devices()["a"]->m_status, "busy");
}

TEST_F(DeviceTable, TakesOverWhatTheApplicationWroteToTheNewRecord) {
  DeviceInfo device = Device("a", "10.0.0.1", "ok");
  Report(device, true);
  m_on_event = [&] { device.m_status = "seen"; };
  Report(device, true);
  EXPECT_EQ(Devices()["a"]->m_status, "seen");
}

TEST_F(DeviceTable, ForgetsADeviceThatLeavesBeforeTheApplicationHears) {
  DeviceInfo device = Device("a"), other = Device("b");
  Report(device, true);
  Report(other, true);
  DeviceInfo leaving = Device("a", "10.0.0.9");
  const Event event = Report(leaving, false);
  EXPECT_EQ(event.value, 2u);
  EXPECT_EQ(event.old, nullptr);
  EXPECT_EQ(event.new_device, &leaving);
  EXPECT_EQ(event.context, this);
  EXPECT_THAT(Devices(), SizeIs(1));
  EXPECT_EQ(Devices().count("a"), 0u);
}

TEST_F(DeviceTable, ReportsThatAnUnknownDeviceLeavesToo) {
  DeviceInfo device = Device("never seen");
  const Event event = Report(device, false);
  EXPECT_EQ(event.value, 2u);
  EXPECT_EQ(event.old, nullptr);
  EXPECT_EQ(event.new_device, &device);
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(DeviceTable, TakesADeviceThatLeftForANewOne) {
  DeviceInfo device = Device("a");
  EXPECT_EQ(Report(device, true).value, 1u);
  EXPECT_EQ(Report(device, false).value, 2u);
  EXPECT_EQ(Report(device, true).value, 1u);
}

TEST_F(DeviceTable, TellsDevicesApartByTheBytesOfTheirUuid) {
  DeviceInfo lower = Device("ab"), upper = Device("AB"), empty = Device("");
  EXPECT_EQ(Report(lower, true).value, 1u);
  EXPECT_EQ(Report(upper, true).value, 1u);
  EXPECT_EQ(Report(empty, true).value, 1u);
  EXPECT_THAT(Devices(), SizeIs(3));
  for (const auto& [uuid, device] : Devices()) EXPECT_EQ(device->m_uuid, uuid);
}

TEST_F(DeviceTable, KeepsTheOrderOfTheUuidsBytes) {
  const std::vector<std::string> sorted = {"", "AB", "a", "ab", "a\x7f", "a\x80", "b"};
  for (const size_t i : {3u, 0u, 6u, 5u, 1u, 4u, 2u}) {
    DeviceInfo device = Device(sorted[i]);
    Report(device, true);
  }
  std::vector<std::string> keys;
  for (const auto& [uuid, device] : Devices()) keys.push_back(uuid);
  EXPECT_EQ(keys, sorted);
}

TEST_F(DeviceTable, KnowsAPeerWhoseRecordTheApplicationWroteTo) {
  DeviceInfo first = Device("a"), second = Device("b"), third = Device("c");
  for (DeviceInfo* device : {&first, &second, &third}) Report(*device, true);
  Devices()["b"]->m_uuid = "z";
  EXPECT_EQ(Report(second, true).value, 0u);
  EXPECT_EQ(Report(first, true).value, 0u);
  EXPECT_THAT(Devices(), SizeIs(3));
  Report(second, false);
  EXPECT_EQ(Devices().count("b"), 0u);
}

TEST_F(DeviceTable, ExpiresARecordThatTheApplicationShortened) {
  DeviceInfo device = Device("a", "10.0.0.1", "ok", 100);
  Report(device, true);
  Devices()["a"]->m_expiry = 1;
  m_ssdp.Sweep(2);
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(DeviceTable, KeepsWhatNeverExpires) {
  constexpr int32_t never = std::numeric_limits<int32_t>::max();
  DeviceInfo device = Device("a", "10.0.0.1", "ok", never);
  Report(device, true);
  m_ssdp.Sweep(std::numeric_limits<time_t>::max());
  EXPECT_THAT(Devices(), SizeIs(1));
}

// A table of 4,500 records, of which every second has expired at 50.
class HugeTable : public DeviceTable {
 protected:
  HugeTable() {
    m_ssdp.SetCallback(nullptr, nullptr);
    for (int i = 0; i < 4500; ++i) {
      DeviceInfo device = Device(Key(i), "10.0.0.1", "ok", i % 2 == 0 ? 10 : 100);
      SSDP::Callback(&m_ssdp, &device, true, false);
    }
    m_system.log.clear();
    m_system.LogLocks();
  }

  static std::string Key(int i) { return "uuid-of-more-than-fifteen-" + std::to_string(10000 + i); }
};

TEST_F(HugeTable, IsSweptInSlicesWithThePassForTheWorkersBetweenThem) {
  m_ssdp.Sweep(50);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock", "usleep", "lock", "unlock", "usleep",
                                        "lock", "unlock"));
  EXPECT_THAT(Devices(), SizeIs(2250));
  for (const auto& [uuid, device] : Devices()) EXPECT_EQ(device->m_expiry, 100) << uuid;
}

TEST_F(HugeTable, IsSweptThoughTheNextSliceChanges) {
  seam::calls.usleep = [this, first = true](useconds_t) mutable {
    if (std::exchange(first, false)) {
      DeviceInfo next = Device(Key(2000)), before = Device(Key(1), "10.0.0.1", "ok", 10);
      SSDP::Callback(&m_ssdp, &next, false, false);
      SSDP::Callback(&m_ssdp, &before, true, false);
    }
    return 0;
  };
  m_ssdp.Sweep(50);
  EXPECT_THAT(Devices(), SizeIs(2250));
  EXPECT_EQ(Devices().count(Key(1)), 1u);  // expires in the next pass
  m_ssdp.Sweep(50);
  EXPECT_THAT(Devices(), SizeIs(2249));
}

TEST_F(DeviceTable, CountsANullEntryAsAbsent) {
  {
    const ScopedLock lock(m_ssdp.m_device_mutex);
    for (const char* uuid : {"a", "b", "c"}) m_ssdp.m_devices[uuid] = nullptr;
  }
  m_ssdp.Sweep(m_system.now.tv_sec);
  DeviceInfo device = Device("a"), leaving = Device("b");
  const Event event = Report(device, true);
  EXPECT_EQ(event.value, 1u);
  EXPECT_EQ(event.old_copy.m_uuid, "a");
  EXPECT_EQ(Report(device, true).value, 0u);
  EXPECT_EQ(Report(leaving, false).value, 2u);
  EXPECT_EQ(Devices().count("b"), 0u);
}

TEST_F(DeviceTable, ReportsAnAnsweredSearchWithoutRecords) {
  SSDP::Callback(&m_ssdp, nullptr, false, true);
  ASSERT_THAT(m_events, SizeIs(1));
  EXPECT_EQ(m_events[0].value, 8u);
  EXPECT_EQ(m_events[0].old, nullptr);
  EXPECT_EQ(m_events[0].new_device, nullptr);
  EXPECT_EQ(m_events[0].context, this);
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(DeviceTable, HasTheEventValuesThatApplicationsKnow) {
  EXPECT_EQ(SSDP_DEVICE_ADDED, 1u);
  EXPECT_EQ(SSDP_DEVICE_REMOVED, 2u);
  EXPECT_EQ(SSDP_DEVICE_CHANGED, 4u);
  EXPECT_EQ(SSDP_SEARCH_RECEIVED, 8u);
  EXPECT_EQ(SSDP_SUCCESS, 0);
  EXPECT_EQ(SSDP_FAILURE, 1);
  EXPECT_EQ(SSDP_NOT_CREATED, -1);
}

TEST_F(DeviceTable, IsKeptWithoutACallback) {
  m_ssdp.SetCallback(nullptr, nullptr);
  DeviceInfo device = Device("a"), moved = Device("a", "10.0.0.2", "busy");
  SSDP::Callback(&m_ssdp, &device, true, false);
  EXPECT_THAT(Devices(), SizeIs(1));
  SSDP::Callback(&m_ssdp, &moved, true, false);
  EXPECT_EQ(Devices()["a"]->m_address, "10.0.0.2");
  EXPECT_EQ(Devices()["a"]->m_status, "busy");
  SSDP::Callback(&m_ssdp, &device, false, false);
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(DeviceTable, KeepsTheEntriesThatTheCallersMapAlreadyHolds) {
  DeviceInfo a = Device("a"), b = Device("b"), mine = Device("a");
  Report(a, true);
  Report(b, true);
  std::map<std::string, DeviceInfo*> devices = {{"a", &mine}, {"z", nullptr}};
  EXPECT_EQ(m_ssdp.GetDevices(devices), 0);
  EXPECT_THAT(devices, SizeIs(3));
  EXPECT_EQ(devices["a"], &mine);
  EXPECT_EQ(devices["b"]->m_uuid, "b");
  EXPECT_EQ(devices["z"], nullptr);
}

TEST_F(DeviceTable, HandsOutItsOwnRecords) {
  DeviceInfo device = Device("a");
  const DeviceInfo* stored = Report(device, true).old;
  EXPECT_EQ(Devices()["a"], stored);
}

TEST_F(DeviceTable, IsEmptyAfterAStopWithoutTellingTheApplication) {
  DeviceInfo device = Device("a");
  m_ssdp.Init();
  Report(device, true);
  m_events.clear();
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_THAT(m_events, IsEmpty());
  m_ssdp.Init();
  EXPECT_EQ(Report(device, true).value, 1u);  // fills anew
}

TEST_F(DeviceTable, IsKeptByAStopThatFails) {
  DeviceInfo device = Device("a");
  m_ssdp.Init();
  Report(device, true);
  seam::calls.pthread_join = [count = 0](auto...) mutable { return ++count == 3 ? ESRCH : 0; };
  support::OutputOf([&] { EXPECT_EQ(m_ssdp.DeInit(), 1); });
  EXPECT_THAT(Devices(), SizeIs(1));
}

TEST_F(DeviceTable, IsLockedOnceForEachAccess) {
  DeviceInfo device = Device("a");
  m_on_event = [this] { m_system.log.push_back("event"); };
  m_system.LogLocks();
  m_system.log.clear();
  Report(device, true);
  Report(device, true);
  Report(device, false);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "event", "unlock", "lock", "event", "unlock",
                                        "lock", "event", "unlock"));
  m_system.log.clear();
  Devices();
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock"));
}

TEST_F(DeviceTable, IsNotLockedForAnAnsweredSearch) {
  m_on_event = [this] { m_system.log.push_back("event"); };
  m_system.LogLocks();
  m_system.log.clear();
  SSDP::Callback(&m_ssdp, nullptr, false, true);
  EXPECT_THAT(m_system.log, ElementsAre("event"));
}

// Another thread asks for the devices while the application's callback runs, and gets them only
// after it.
void ExpectLockedDuringCallback(SSDP& ssdp, std::function<void()>& on_event,
                                const std::function<void()>& report) {
  std::promise<int> tried;
  std::atomic<bool> in_callback{false}, answered_during_callback{false};
  std::thread other;
  on_event = [&] {
    in_callback = true;
    seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
      tried.set_value(pthread_mutex_trylock(mutex));
      return seam::real.pthread_mutex_lock(mutex);
    };
    other = std::thread([&] {
      std::map<std::string, DeviceInfo*> devices;
      ssdp.GetDevices(devices);
      answered_during_callback = in_callback.load();
    });
    EXPECT_EQ(tried.get_future().get(), EBUSY);
    in_callback = false;
  };
  report();
  other.join();
  seam::calls.pthread_mutex_lock = nullptr;
  EXPECT_FALSE(answered_during_callback);
}

TEST_F(DeviceTable, IsLockedWhileTheApplicationHearsOfADevice) {
  DeviceInfo device = Device("a");
  for (bool alive : {true, true, false}) {
    ExpectLockedDuringCallback(m_ssdp, m_on_event, [&] { Report(device, alive); });
  }
}

TEST_F(DeviceTable, IsUnlockedWhenTheApplicationThrows) {
  DeviceInfo device = Device("a");
  m_on_event = [] { throw std::runtime_error("the host's"); };
  EXPECT_THROW(SSDP::Callback(&m_ssdp, &device, true, false), std::runtime_error);
  EXPECT_THROW(SSDP::Callback(&m_ssdp, &device, false, false), std::runtime_error);
  EXPECT_THAT(Devices(), IsEmpty());  // would deadlock
}

using DeviceTableDeathTest = DeviceTable;

TEST_F(DeviceTableDeathTest, CallsTheApplicationForAnAnsweredSearchWithoutLookingForNull) {
  m_ssdp.SetCallback(nullptr, nullptr);
  const auto scripted = std::exchange(seam::calls.close, nullptr);  // GoogleTest closes pipes
  EXPECT_DEATH(SSDP::Callback(&m_ssdp, nullptr, false, true), "");
  seam::calls.close = scripted;
}

}  // namespace
}  // namespace libSSDP
