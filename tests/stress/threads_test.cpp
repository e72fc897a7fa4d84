// SPDX-License-Identifier: MIT
// Every entry point from eight threads, while devices come and go.
#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "application.h"
#include "messages.h"
#include "peer.h"
#include "process.h"
#include "seam.h"

namespace {

// The contract's two kinds of calls: those of the controlling thread with no other in flight, and
// all others at any time. Whoever wants to be the controlling one holds newcomers up.
class Contract {
 public:
  template <typename Call>
  void Anytime(Call call) {
    { const std::lock_guard<std::mutex> turn(m_turn); }
    const std::shared_lock<std::shared_mutex> shared(m_calls);
    call();
  }
  template <typename Call>
  void Controlling(Call call) {
    const std::lock_guard<std::mutex> turn(m_turn);
    const std::unique_lock<std::shared_mutex> alone(m_calls);
    call();
  }

 private:
  std::mutex m_turn;
  std::shared_mutex m_calls;
};

// Every device's status repeats its UUID, so that a record put together from two shows.
struct Seen {
  std::atomic<int> added{0}, removed{0}, refreshed{0}, changed{0}, searched{0}, wrong{0};

  void Check(const libSSDP::DeviceInfo* old, const libSSDP::DeviceInfo* device,
             unsigned int event) {
    if (event == libSSDP::SSDP_SEARCH_RECEIVED) {
      ++searched;
      if (old != nullptr || device != nullptr) ++wrong;
      return;
    }
    ++(event == 0                              ? refreshed
       : event == libSSDP::SSDP_DEVICE_ADDED   ? added
       : event == libSSDP::SSDP_DEVICE_REMOVED ? removed
                                               : changed);
    if ((old == nullptr) != (event == libSSDP::SSDP_DEVICE_REMOVED)) ++wrong;
    if (old != nullptr && old->m_uuid != device->m_uuid) ++wrong;
    if (device->m_uuid == "ourselves" || event == libSSDP::SSDP_DEVICE_REMOVED) return;
    if (device->m_status != device->m_uuid + " is on") ++wrong;
    if (old != nullptr && old->m_status != device->m_status) ++wrong;
  }
};

void OnEvent(const libSSDP::DeviceInfo* old, libSSDP::DeviceInfo* device, unsigned int event,
             void* context) {
  static_cast<Seen*>(context)->Check(old, device, event);
  // What an application may do inside of it.
  libSSDP::SetStatus("busy");
  std::string uuid;
  libSSDP::GetUUID(uuid);
}

// A light on the network: comes, is heard of again, answers, asks, and leaves.
void Traffic(const std::atomic<bool>& over) {
  support::Peer peer;
  for (unsigned i = 0; !over; ++i) {
    const std::string uuid = "device-" + std::to_string(i % 40);
    peer.Send(support::Alive(uuid, uuid + " is on", i % 5 == 0 ? -10 : 1800));
    if (i % 3 == 0) peer.Send(support::Byebye(uuid));
    if (i % 7 == 0) peer.Send(support::MSearch(1));
    if (i % 16 == 0) std::this_thread::yield();
  }
}

void CallEverything(int i) {
  const std::string text(static_cast<size_t>(i % 30), 'x');
  EXPECT_EQ(libSSDP::SetNotifyTimeOut(1000 + i), 0);
  EXPECT_EQ(libSSDP::SetMSearchTimeOut(1), 0);
  EXPECT_EQ(libSSDP::SetStatus("status " + text), 0);
  EXPECT_EQ(libSSDP::SetNetworkInterface("lo" + text), 0);
  EXPECT_EQ(libSSDP::SetDomainName("schemas-example-org"), 0);
  EXPECT_EQ(libSSDP::SetDeviceType("Light"), 0);
  EXPECT_EQ(libSSDP::SetVersionInfo("1"), 0);
  EXPECT_EQ(libSSDP::SetUserAgent("agent " + text), 0);
  EXPECT_EQ(libSSDP::SetServerInfo("server " + text), 0);
  EXPECT_EQ(libSSDP::SetUUID("ourselves"), 0);
  std::string uuid;
  EXPECT_EQ(libSSDP::GetUUID(uuid), 0);
  EXPECT_EQ(uuid, "ourselves");
  EXPECT_EQ(libSSDP::Announce(), 0);
  if (i % 10 == 0) {
    EXPECT_EQ(libSSDP::Search(), 0);
  }
  // The records change as the network does, so an application may only read the keys here.
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  for (const auto& [key, record] : devices) {
    EXPECT_TRUE(key == "ourselves" || key.rfind("device-", 0) == 0) << key;
    EXPECT_NE(record, nullptr);
  }
}

TEST(EightThreads, CallEveryEntryPoint) {
  const int turns = support::Scaled("turns of each of 8 threads", 1000);
  seam::calls.rand = [] { return 0; };  // answers don't dawdle
  Seen seen;
  Contract contract;
  std::atomic<bool> over{false};
  support::Application application(true, OnEvent, &seen);
  application.Start();
  std::thread traffic([&] { Traffic(over); });

  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < turns; ++i) {
        contract.Anytime([&] { CallEverything(i); });
        if (i != (t + 1) * turns / 9) continue;
        contract.Controlling([&] {  // each of them restarts the service once
          application.Stop();
          EXPECT_EQ(libSSDP::SetCallback(OnEvent, &seen), 0);
          application.Start();
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(
      support::Await([&] { return seen.added > 20 && seen.removed > 20 && seen.searched > 0; }));
  over = true;
  traffic.join();
  application.Stop();
  seam::Reset();

  std::cout << seen.added << " added, " << seen.removed << " removed, " << seen.refreshed
            << " refreshed, " << seen.searched << " searched\n";
  EXPECT_EQ(seen.changed, 0);
  EXPECT_EQ(seen.wrong, 0);
}

}  // namespace
