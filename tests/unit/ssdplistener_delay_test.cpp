// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <mutex>

#include "golden.h"
#include "scripted_system.h"
#include "ssdplistener.h"

namespace libSSDP {
namespace {

// A listener with its real thread, real locks and real waits on a scripted socket, which delivers
// one search with two minutes to answer in and then blocks until it is shut down. Everything waits
// for events, nothing for a time.
class ResponseDelay : public testing::Test {
 protected:
  ResponseDelay() {
    support::SetLamp(m_store);
    m_store.Init();
    seam::calls.pthread_create = nullptr;
    seam::calls.pthread_join = nullptr;
    seam::calls.pthread_cond_signal = nullptr;
    seam::calls.gettimeofday = nullptr;
    seam::calls.time = nullptr;
    seam::calls.rand = [] { return 119999; };
    seam::calls.recvfrom = [this](int, void* data, auto...) { return Receive(data); };
    seam::calls.shutdown = [this](int, int) {
      Log("shutdown");
      m_shut_down.set_value();
      return 0;
    };
    seam::calls.close = [this](int) { return Log("close"); };
    seam::calls.sendto = [this](int, const void* data, size_t size, auto...) {
      m_answer.assign(static_cast<const char*>(data), size);
      Log("answer");
      return static_cast<ssize_t>(size);
    };
    // The first wait is the delay's, entered with the delay mutex held: whoever takes the mutex
    // after `m_delaying` finds the thread waiting. The second is DeInit's for the answer; it gets
    // all the time that a busy machine may need.
    seam::calls.pthread_cond_timedwait = [this](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                                const timespec* until) {
      const bool is_delay = ++m_waits == 1;
      if (is_delay) m_delaying.set_value();
      const timespec later = {until->tv_sec + 60, until->tv_nsec};
      const int result = seam::real.pthread_cond_timedwait(cond, mutex, &later);
      if (is_delay) m_delay_result = result;
      return result;
    };
  }

  int Log(const char* event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.push_back(event);
    return 0;
  }

  // The listener's thread alone comes here.
  ssize_t Receive(void* data) {
    if (std::exchange(m_delivered, true)) {
      m_shut_down_future.wait();
      return -1;
    }
    const std::string search =
        "M-SEARCH * HTTP/1.1\r\nMX: 120\r\nST: urn:schemas-example-org:device:Light:1\r\n\r\n";
    std::memcpy(data, search.data(), search.length());
    return static_cast<ssize_t>(search.length());
  }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  SSDPListener m_listener{&support::Engine::Callback, &m_store, &m_engine};
  std::promise<void> m_delaying, m_shut_down;
  std::future<void> m_shut_down_future = m_shut_down.get_future();
  bool m_delivered = false;
  std::atomic<int> m_waits{0};
  int m_delay_result = -1;
  std::string m_answer;
  std::mutex m_mutex;
  std::vector<std::string> m_log;
};

TEST_F(ResponseDelay, IsCutShortByDeInitAndTheResponseLeavesBeforeTheSocketIsClosed) {
  m_engine.on_report = [this] { Log("report"); };
  m_listener.Init();
  m_delaying.get_future().wait();
  EXPECT_EQ(m_listener.DeInit(), 0);
  EXPECT_EQ(m_delay_result, 0);  // woken, not timed out
  EXPECT_THAT(m_log, testing::ElementsAre("report", "answer", "shutdown", "close"));
  EXPECT_THAT(m_answer, testing::StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_FALSE(m_listener.IsStarted());
}

TEST_F(ResponseDelay, DoesNotBeginAndNothingIsAnsweredWhenDeInitComesJustBeforeIt) {
  std::promise<void> about_to_delay, signalled;
  seam::failures.get_config = [&](const std::string& name) {
    if (name != "ssdp_config_uuid") return false;
    about_to_delay.set_value();
    signalled.get_future().wait();
    return false;
  };
  seam::calls.pthread_cond_signal = [&, first = true](pthread_cond_t* cond) mutable {
    if (std::exchange(first, false)) signalled.set_value();
    return seam::real.pthread_cond_signal(cond);
  };
  m_listener.Init();
  about_to_delay.get_future().wait();
  EXPECT_EQ(m_listener.DeInit(), 0);
  EXPECT_EQ(m_waits, 0);
  EXPECT_THAT(m_log, testing::ElementsAre("shutdown", "close"));
}

TEST_F(ResponseDelay, DoesNotMakeDeInitWaitForACallbackThatTakesTooLong) {
  std::promise<void> released;
  std::shared_future<void> release = released.get_future().share();
  m_engine.on_report = [&] { release.wait(); };
  // DeInit's wait for the answer runs out at once.
  seam::calls.pthread_cond_timedwait = [this](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                              const timespec* until) {
    if (++m_waits > 1) return ETIMEDOUT;
    m_delaying.set_value();
    return seam::real.pthread_cond_timedwait(cond, mutex, until);
  };
  int pauses = 0;  // of a millisecond: the close waits for the thread, but no more than a second
  seam::calls.usleep = [&](useconds_t microseconds) {
    if (microseconds == 1000) ++pauses;
    return 0;
  };
  seam::calls.close = [&, this](int) {
    Log("close");  // before the answer's turn comes
    released.set_value();
    return 0;
  };
  m_listener.Init();
  m_delaying.get_future().wait();
  EXPECT_EQ(m_listener.DeInit(), 0);
  EXPECT_THAT(m_log, testing::ElementsAre("shutdown", "close", "answer"));
  EXPECT_EQ(pauses, 1000);
}

}  // namespace
}  // namespace libSSDP
