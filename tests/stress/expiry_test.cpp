// SPDX-License-Identifier: MIT
// 10,000 devices whose time runs out in one second.
#include <gmock/gmock.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "application.h"
#include "load.h"
#include "memory.h"
#include "messages.h"
#include "peer.h"
#include "process.h"

namespace {

constexpr size_t kDevices = 10000;

struct Judge {
  std::atomic<size_t> heard{0}, removed{0};
  std::atomic<int> first{INT32_MAX}, last{0};

  static void Callback(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
                       void* context) {
    auto* judge = static_cast<Judge*>(context);
    if (event == libSSDP::SSDP_DEVICE_REMOVED) ++judge->removed;
    judge->first = std::min(judge->first.load(), device->m_expiry);
    judge->last = std::max(judge->last.load(), device->m_expiry);
    ++judge->heard;
  }
};

double WallClock() {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

// How many devices are in the table; `longest` is how long the question took at most.
size_t Count(double& longest) {
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  const double start = support::Now();
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  longest = std::max(longest, support::Now() - start);
  return devices.size();
}

// All devices announce themselves so that their time runs out at second `end`.
void AnnounceAll(int end) {
  const soak::Inlet inlet;
  support::Peer peer;
  for (size_t i = 0; i < kDevices; ++i) {
    ASSERT_TRUE(
        peer.Send(support::Alive(std::to_string(i), "on", end - static_cast<int>(WallClock()))));
    if (i % 10 == 9) inlet.AwaitRoom();
  }
}

TEST(Expiry, OfTenThousandInOneSecond) {
  Judge judge;
  support::Application application(false, Judge::Callback, &judge);
  application.Start();
  const size_t blocks = memory::LiveBlocks();
  for (const double over = support::Now() + soak::Seconds(1, 0.05); support::Now() < over;) {
    judge.heard = 0;
    judge.first = INT32_MAX;
    judge.last = 0;
    AnnounceAll(static_cast<int>(WallClock()) + 8);
    ASSERT_TRUE(support::Await([&] { return judge.heard == kDevices; })) << judge.heard;

    double longest = 0;
    size_t count = Count(longest);
    double gone = 0;
    EXPECT_TRUE(support::Await([&] {
      count = Count(longest);
      gone = WallClock();
      if (gone < judge.first + 1) {  // a device is still there in the last second that it has
        EXPECT_EQ(count, kDevices) << "gone too early";
      }
      return count == 0;
    })) << count
        << " are still there";

    std::ostringstream line;
    line << "expiry: " << kDevices << " devices due within " << judge.last - judge.first + 1
         << " s, all gone " << gone - (judge.last + 1) << " s after it; GetDevices took at most "
         << longest * 1e3 << " ms";
    soak::Figure(line.str());
  }
  EXPECT_EQ(judge.removed, 0u) << "an expiry is silent";
  // From its first message on the listener keeps the memory of the search target's text.
  EXPECT_EQ(memory::LiveBlocks(), blocks + 1);
  application.Stop();
}

}  // namespace
