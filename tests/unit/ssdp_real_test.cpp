// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

#include "output.h"
#include "scripted_system.h"
#include "ssdp.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Set;
using testing::UnorderedElementsAre;

// The whole service with its own threads and sockets on the private network's loopback, where it
// hears itself. Only the pause of its loop and the delay of its answers are cut short.
class RealService : public testing::Test {
 protected:
  explicit RealService(int announce = 0) : m_ssdp(announce) {
    support::SetLamp(m_ssdp);
    Set(m_ssdp, &MSearchTimeoutConfig::m_msearch_timeout, 1);
    m_ssdp.SetCallback(&RealService::HostCallback, this);
    seam::calls.usleep = [](useconds_t) { return seam::real.usleep(100); };
    seam::calls.rand = [] { return 0; };
  }
  ~RealService() override { seam::Reset(); }

  static void HostCallback(const DeviceInfo*, DeviceInfo* device, unsigned int event,
                           void* context) {
    auto& test = *static_cast<RealService*>(context);
    const std::lock_guard<std::mutex> lock(test.m_mutex);
    if (device != nullptr) test.m_last = *device;
    test.m_heard.push_back(event);
    test.m_changed.notify_all();
  }

  // Waits until the application has received `event`; that it never comes ends in the test's time
  // limit.
  void WaitFor(unsigned int event) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(
        lock, [&] { return std::find(m_heard.begin(), m_heard.end(), event) != m_heard.end(); });
  }

  std::map<std::string, DeviceInfo*> Devices() {
    std::map<std::string, DeviceInfo*> devices;
    m_ssdp.GetDevices(devices);
    return devices;
  }

  SSDP m_ssdp;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<unsigned int> m_heard;
  DeviceInfo m_last;
};

class AnnouncingService : public RealService {
 protected:
  AnnouncingService() : RealService(1) {}
};

TEST_F(AnnouncingService, FindsItselfByItsOwnAnnouncement) {
  EXPECT_EQ(m_ssdp.Init(), 0);
  WaitFor(SSDP_DEVICE_ADDED);
  EXPECT_EQ(m_last.m_uuid, "1234");
  EXPECT_EQ(m_last.m_status, "ok");
  EXPECT_EQ(m_last.m_address, "10.77.0.1");
  EXPECT_EQ(Devices().count("1234"), 1u);
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  EXPECT_TRUE(Devices().empty());
}

TEST_F(RealService, AnswersItsOwnSearchAndFindsItselfByTheResponse) {
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_EQ(m_ssdp.Search(), 0);
  WaitFor(SSDP_SEARCH_RECEIVED);
  WaitFor(SSDP_DEVICE_ADDED);
  EXPECT_EQ(m_heard.front(), SSDP_SEARCH_RECEIVED);
  EXPECT_EQ(m_last.m_uuid, "1234");
  EXPECT_EQ(m_last.m_address, "10.77.0.1");
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(RealService, SearchesInVainWithATimeoutOfZero) {
  Set(m_ssdp, &MSearchTimeoutConfig::m_msearch_timeout, 0);
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_EQ(m_ssdp.Search(), 0);
  EXPECT_EQ(m_ssdp.Announce(), 0);  // heard after the search, by the same socket
  WaitFor(SSDP_DEVICE_ADDED);
  EXPECT_EQ(m_heard.front(), SSDP_DEVICE_ADDED);
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(AnnouncingService, FillsItsTableAnewWhenItIsStartedAgain) {
  for (int run = 0; run < 3; ++run) {
    EXPECT_EQ(m_ssdp.Init(), 0);
    WaitFor(SSDP_DEVICE_ADDED);
    EXPECT_EQ(m_ssdp.DeInit(), 0);
    EXPECT_TRUE(Devices().empty());
    m_heard.clear();
  }
}

// The names of the process's threads.
std::multiset<std::string> ThreadNames() {
  std::multiset<std::string> names;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "comm");
    std::string name;
    if (std::getline(file, name)) names.insert(name);
  }
  return names;
}

TEST_F(RealService, NamesItsThreads) {
  pthread_setname_np(pthread_self(), "test");  // a new thread has its creator's name at first
  // A sanitizer's own thread may have the name that a test before this one gave to its thread.
  const std::multiset<std::string> before = ThreadNames();
  EXPECT_EQ(m_ssdp.Init(), 0);
  for (const char* name : {"ssdp-listener", "ssdp-handler", "ssdp-service"})
    while (ThreadNames().count(name) != before.count(name) + 1) std::this_thread::yield();
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(AnnouncingService, BlocksSignalsOnEveryThreadThatCallsTheApplication) {
  sigset_t mask;
  sigemptyset(&mask);
  m_ssdp.SetCallback(
      [](const DeviceInfo*, DeviceInfo*, unsigned int, void* context) {
        pthread_sigmask(SIG_SETMASK, nullptr, static_cast<sigset_t*>(context));
      },
      &mask);
  EXPECT_EQ(m_ssdp.Init(), 0);
  while (Devices().empty()) std::this_thread::yield();
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  EXPECT_EQ(sigismember(&mask, SIGTERM), 1);
  EXPECT_EQ(sigismember(&mask, SIGINT), 1);
}

size_t EntriesOf(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

// A joined thread may be listed for a moment longer.
void WaitForThreads(size_t count) {
  while (EntriesOf("/proc/self/task") > count) std::this_thread::yield();
}

TEST_F(AnnouncingService, LeavesNoThreadAndNoDescriptorBehindInAThousandRuns) {
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  const size_t threads = EntriesOf("/proc/self/task");
  int failed = 0, grown = 0;
  // A service that is stopped before its thread has announced may find its socket closed and say
  // so.
  OutputOf([&] {
    const size_t descriptors = EntriesOf("/proc/self/fd");
    for (int run = 0; run < 1000; ++run) {
      if (m_ssdp.Init() != 0 || m_ssdp.DeInit() != 0) ++failed;
      if (EntriesOf("/proc/self/fd") != descriptors) ++grown;
    }
  });
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(grown, 0);
  WaitForThreads(threads);
  EXPECT_EQ(EntriesOf("/proc/self/task"), threads);
}

TEST_F(RealService, ClosesItsSocketsOnExec) {
  std::set<int> sockets;
  seam::calls.socket = [&](int domain, int type, int protocol) {
    return *sockets.insert(seam::real.socket(domain, type, protocol)).first;
  };
  SSDP other(0);
  ASSERT_EQ(sockets.size(), 2u);
  for (int fd : sockets) {
    EXPECT_EQ(seam::real.fcntl(fd, F_GETFD, 0), FD_CLOEXEC);
    seam::real.close(fd);
  }
}

}  // namespace
}  // namespace libSSDP
