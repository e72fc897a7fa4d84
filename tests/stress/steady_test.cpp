// SPDX-License-Identifier: MIT
// 10,000 datagrams a second from 10,000 devices: each gives one event, none is lost.
#include <gmock/gmock.h>
#include <time.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "application.h"
#include "load.h"
#include "memory.h"
#include "messages.h"
#include "peer.h"
#include "process.h"

namespace {

constexpr size_t kDevices = 10000;
constexpr int kBurst = 10;
constexpr double kRate = 10000;

double OwnCpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Each message's status is its round, so that an event tells which message led to it. Runs on the
// listener's thread; only the counters are for others meanwhile.
struct Judge {
  std::vector<int> last = std::vector<int>(kDevices, -1);
  std::atomic<uint64_t> events{0}, wrong{0}, removed{0};
  double cpu_start = 0, cpu = 0;

  void Hear(const libSSDP::DeviceInfo* old, const libSSDP::DeviceInfo& device, unsigned int event) {
    if (cpu_start == 0) cpu_start = OwnCpuSeconds();
    const size_t index = static_cast<size_t>(std::atoi(device.m_uuid.c_str()));
    const int round = std::atoi(device.m_status.c_str());
    if (event == libSSDP::SSDP_DEVICE_REMOVED) {
      ++removed;
      last[index] = -1;
    } else {
      const bool first = last[index] < 0;
      if (event != (first ? libSSDP::SSDP_DEVICE_ADDED : 0u)) ++wrong;
      if (round <= last[index]) ++wrong;  // twice, or out of order
      if (!first && std::atoi(old->m_status.c_str()) != last[index]) ++wrong;
      last[index] = round;
    }
    cpu = OwnCpuSeconds() - cpu_start;
    ++events;
  }

  static void Callback(const libSSDP::DeviceInfo* old, libSSDP::DeviceInfo* device,
                       unsigned int event, void* context) {
    static_cast<Judge*>(context)->Hear(old, *device, event);
  }
};

class Steady : public testing::Test {
 protected:
  // Every device once. With `hold_back` only as fast as the queue has room.
  void SendRound(const std::function<std::string(const std::string&)>& message, bool hold_back) {
    soak::Pace pace(kRate, kBurst);
    const double start = support::Now();
    for (size_t i = 0; i < kDevices; ++i) {
      ASSERT_TRUE(m_peer.Send(message(std::to_string(i))));
      ++m_sent;
      if (i % kBurst != kBurst - 1) continue;
      if (hold_back) m_inlet.AwaitRoom();
      pace.Await();
    }
    m_seconds += support::Now() - start;
  }

  void AwaitAll() {
    EXPECT_TRUE(support::Await([&] { return m_judge.events + m_inlet.Drops() >= m_sent; }))
        << m_judge.events << " events and " << m_inlet.Drops() << " drops for " << m_sent;
  }

  void Run(bool hold_back, const std::string& name) {
    const int rounds = static_cast<int>(soak::Seconds(5, 0.125) * kRate / kDevices) + 1;
    size_t blocks = 0;
    for (int round = 0; round < rounds; ++round) {
      const std::string status = std::to_string(round);
      SendRound([&](const std::string& uuid) { return support::Alive(uuid, status); }, hold_back);
      if (round == 0) {
        AwaitAll();
        blocks = memory::LiveBlocks();
      }
    }
    AwaitAll();
    EXPECT_EQ(m_judge.wrong, 0u);
    EXPECT_EQ(m_judge.events + m_inlet.Drops(), m_sent);
    if (m_inlet.Drops() == 0) {
      EXPECT_EQ(memory::LiveBlocks(), blocks) << "memory isn't flat";
    }
    Report(name);
  }

  void Report(const std::string& name) {
    const double count = static_cast<double>(m_judge.events);
    std::ostringstream line;
    line << name << ": " << m_sent << " datagrams from " << kDevices << " devices, "
         << static_cast<int>(static_cast<double>(m_sent) / m_seconds) << " a second; "
         << m_judge.events << " events, " << m_inlet.Drops() << " lost in the full queue of "
         << m_inlet.Capacity() << " bytes; " << m_judge.cpu / count * 1e6
         << " us of the listener's CPU each";
    soak::Figure(line.str());
    // CPU time, so that a busy machine doesn't matter: one core must be able to keep up.
    EXPECT_LT(m_judge.cpu / count, 1 / kRate);
  }

  Judge m_judge;
  support::Application m_application{false, Judge::Callback, &m_judge};
  soak::Inlet m_inlet;
  support::Peer m_peer;
  uint64_t m_sent = 0;
  double m_seconds = 0;
};

// The sender waits where the queue is half full, which happens only while the listener's thread
// gets no core: then nothing at all may be lost, and all that came must be known and go again.
TEST_F(Steady, NothingIsLostWhereTheQueueHasRoom) {
  m_application.Start();
  Run(true, "steady");
  EXPECT_EQ(m_inlet.Drops(), 0u);
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  EXPECT_EQ(devices.size(), kDevices);
  devices.clear();
  SendRound([](const std::string& uuid) { return support::Byebye(uuid); }, true);
  AwaitAll();
  EXPECT_EQ(m_judge.removed, kDevices);
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  EXPECT_TRUE(devices.empty());
  m_application.Stop();
}

// The sender doesn't care. What the system could not queue is lost before the library can see it,
// and is counted; all that was queued gives its one event.
TEST_F(Steady, OnlyTheSystemsQueueLosesAnything) {
  m_application.Start();
  Run(false, "steady, careless");
  m_application.Stop();
}

}  // namespace
