// SPDX-License-Identifier: MIT
// A stop at the worst moment: it ends, and what was under way ends as promised.
#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "application.h"
#include "messages.h"
#include "peer.h"
#include "process.h"
#include "seam.h"

namespace {

std::atomic<int> calls{0};
std::atomic<int> searches{0};

void Count(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int event, void*) {
  ++calls;
  if (event == libSSDP::SSDP_SEARCH_RECEIVED) ++searches;
}

bool OnThread(const char* name) {
  char own[16] = "";
  pthread_getname_np(pthread_self(), own, sizeof(own));
  return std::strcmp(own, name) == 0;
}

class Stop : public testing::Test {
 protected:
  void SetUp() override { calls = searches = 0; }
  void TearDown() override { seam::Reset(); }

  // Stops `application` and says how long it took.
  static void TimeStop(support::Application& application) {
    const double start = support::Now();
    application.Stop();
    std::cout << "stopped within " << support::Now() - start << " s\n";
  }
};

TEST_F(Stop, DuringABurstEndsAllCallbacks) {
  const int count = support::Scaled("stops during a burst", 10);
  for (int i = 0; i < count; ++i) {
    support::Application application(true, Count);
    application.Start();
    std::atomic<bool> over{false};
    std::thread burst([&] {
      support::Peer peer;
      const sockaddr_in replies = support::SearchSocket();
      while (!over) {
        peer.Send(support::Alive("one", "on"));
        peer.Send(support::Response("two", "on"), replies);
        peer.Send(support::Byebye("three"));
      }
    });
    const int before = calls;
    EXPECT_TRUE(support::Await([&] { return calls > before + 20; }));
    TimeStop(application);
    const int at_stop = calls;
    support::Peer peer;
    for (int k = 0; k < 100; ++k) EXPECT_TRUE(peer.Send(support::Alive("late", "on")));
    over = true;
    burst.join();
    EXPECT_EQ(calls, at_stop) << "the host was called after the stop";
  }
}

// A response delay of 100 s, cut short by the stop.
TEST_F(Stop, DuringAResponseDelaySendsTheResponseAtOnce) {
  std::atomic<bool> waiting{false};
  seam::calls.rand = [] { return 99999; };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                           const timespec* deadline) {
    waiting = true;  // the mutex is held: whoever signals comes after the wait has begun
    return seam::real.pthread_cond_timedwait(cond, mutex, deadline);
  };
  support::Application application(false, Count);
  application.Start();
  support::Peer peer;
  ASSERT_TRUE(peer.Send(support::MSearch(100)));
  ASSERT_TRUE(support::Await([&] { return waiting.load(); }));
  EXPECT_EQ(searches, 0) << "the delay was over before the stop";
  const double start = support::Now();
  TimeStop(application);
  EXPECT_LT(support::Now() - start, 60);
  EXPECT_EQ(searches, 1);
  EXPECT_EQ(peer.Receive().rfind("HTTP/1.1 200 OK\r\nCache-Control: max-age=1800\r\n", 0), 0u);
}

// The service thread holds the table from before the stop until the listener's socket is shut down.
TEST_F(Stop, DuringASweepWaitsForIt) {
  std::atomic<bool> sweeping{false};
  std::atomic<bool> closing{false};
  std::atomic<bool> armed{false};
  seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
    const int result = seam::real.pthread_mutex_lock(mutex);
    if (armed && OnThread("ssdp-service") && !sweeping.exchange(true)) {
      EXPECT_TRUE(support::Await([&] { return closing.load(); }));
    }
    return result;
  };
  seam::calls.shutdown = [&](int handle, int how) {
    closing = true;
    return seam::real.shutdown(handle, how);
  };
  support::Application application(false,
                                   Count);  // not announcing, the sweep's is the thread's only lock
  application.Start();
  support::Peer peer;
  EXPECT_TRUE(
      support::Await([&] { return peer.Send(support::Alive("one", "on", -10)) && calls > 0; }));
  armed = true;
  ASSERT_TRUE(support::Await([&] { return sweeping.load(); }));
  peer.Send(support::Alive("two", "on"));  // for the listener to wait at the lock as well
  TimeStop(application);
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  EXPECT_TRUE(devices.empty());
}

// What a callback waits for until it returns, and whether it has been reached and left.
struct Blocker {
  std::atomic<bool> inside{false};
  std::atomic<bool> released{false};
  std::atomic<bool> left{false};

  static void Callback(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int,
                       void* context) {
    auto* blocker = static_cast<Blocker*>(context);
    blocker->inside = true;
    EXPECT_TRUE(support::Await([&] { return blocker->released.load(); }));
    // Longer than the rest of a stop, so that one that doesn't wait for us is seen.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    blocker->left = true;
  }
};

void StopInsideTheCallbackFor(const std::string& message, bool to_search_socket) {
  Blocker blocker;
  seam::calls.shutdown = [&](int handle, int how) {
    blocker.released = true;
    return seam::real.shutdown(handle, how);
  };
  support::Application application(false, Blocker::Callback, &blocker);
  application.Start();
  support::Peer peer;
  const bool sent =
      to_search_socket ? peer.Send(message, support::SearchSocket()) : peer.Send(message);
  ASSERT_TRUE(sent);
  ASSERT_TRUE(support::Await([&] { return blocker.inside.load(); }));
  application.Stop();
  EXPECT_TRUE(blocker.left);
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  EXPECT_EQ(libSSDP::GetDevices(devices), 0);
  EXPECT_TRUE(devices.empty());
}

TEST_F(Stop, DuringTheCallbackForAnAnnouncementWaitsForIt) {
  StopInsideTheCallbackFor(support::Alive("one", "on"), false);
}

TEST_F(Stop, DuringTheCallbackForAByebyeWaitsForIt) {
  StopInsideTheCallbackFor(support::Byebye("one"), false);
}

TEST_F(Stop, DuringTheCallbackForASearchResponseWaitsForIt) {
  StopInsideTheCallbackFor(support::Response("one", "on"), true);
}

// The stop waits a second for the answer; the callback returns once it does.
TEST_F(Stop, DuringTheCallbackForASearchStillAnswersIt) {
  Blocker blocker;
  seam::calls.rand = [] { return 0; };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                           const timespec* deadline) {
    if (OnThread("ssdp-listener")) return ETIMEDOUT;  // the delay
    blocker.released = true;
    (void)deadline;  // on a busy machine its second may pass before the callback's thread runs
    return seam::real.pthread_cond_wait(cond, mutex);
  };
  support::Application application(false, Blocker::Callback, &blocker);
  application.Start();
  support::Peer peer;
  ASSERT_TRUE(peer.Send(support::MSearch(1)));
  ASSERT_TRUE(support::Await([&] { return blocker.inside.load(); }));
  TimeStop(application);
  EXPECT_TRUE(blocker.left);
  EXPECT_EQ(peer.Receive().rfind("HTTP/1.1 200 OK\r\n", 0), 0u);
}

// A callback that outlasts the stop's patience for its answer is still waited for.
TEST_F(Stop, DuringALongCallbackForASearchWaitsForIt) {
  seam::calls.rand = [] { return 0; };
  StopInsideTheCallbackFor(support::MSearch(1), false);
}

}  // namespace
