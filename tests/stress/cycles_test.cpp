// SPDX-License-Identifier: MIT
// Started and stopped many times, the library leaves nothing behind.
#include <gmock/gmock.h>
#include <sched.h>

#include <atomic>
#include <thread>
#include <utility>

#include "application.h"
#include "process.h"
#include "seam.h"
#include "ssdphandler.h"
#include "ssdplistener.h"
#include "worker.h"

namespace {

class Spinner : public libSSDP::WorkerThread {
 public:
  int Task() override {
    NameThisThread("spinner");
    while (IsStarted()) sched_yield();
    ++m_runs;
    return 0;
  }
  int m_runs = 0;
};

// Runs `life` `count` times. The first tenth fills the caches of the system's library; after it
// everything must be flat.
template <typename Life>
void ExpectFlat(const char* what, int count, Life life) {
  const int warmup = count / 10 + 1;
  std::thread([] {}).join();  // ThreadSanitizer starts a thread of its own with the first one
  const size_t threads = support::Threads();
  for (int i = 0; i < warmup; ++i) life();
  const support::Held before = support::HeldOnceDownTo(threads);
  const size_t malloc_before = support::MallocBytes();
  const double start = support::Now();
  for (int i = warmup; i < count; ++i) life();
  const double seconds = support::Now() - start;
  const support::Held after = support::HeldOnceDownTo(threads);
  const size_t malloc_after = support::MallocBytes();
  EXPECT_EQ(after, before);
  // The C library's own caches move a little; a leak of one byte a life would not pass.
  EXPECT_LT(malloc_after, malloc_before + static_cast<size_t>(count) / 2 + 4096);
  std::cout << what << ": " << count << " lives, " << seconds << " s; " << after << "; malloc "
            << malloc_before << " -> " << malloc_after << " bytes\n";
}

TEST(ManyLives, AWorkerLeavesNothingBehind) {
  Spinner worker;
  int lives = 0;
  ExpectFlat("worker", support::Scaled("cycles of one worker", 100000), [&] {
    ASSERT_EQ(worker.Start(), 0);
    ASSERT_EQ(worker.Stop(), 0);
    ASSERT_EQ(worker.Join(), 0);
    ++lives;
  });
  EXPECT_EQ(worker.m_runs, lives);
}

TEST(ManyLives, BothNetworkWorkersLeaveNothingBehind) {
  libSSDP::SSDPStorage store;
  ASSERT_EQ(store.Init(), 0);
  ExpectFlat("network workers", support::Scaled("cycles of both network workers", 5000), [&] {
    libSSDP::SSDPListener listener(nullptr, &store, nullptr);
    libSSDP::SSDPHandler handler(nullptr, &store, nullptr);
    ASSERT_EQ(listener.Init(), 0);
    ASSERT_EQ(handler.Init(), 0);
    ASSERT_EQ(listener.DeInit(), 0);
    ASSERT_EQ(handler.DeInit(), 0);
  });
}

TEST(ManyLives, AServiceLeavesNothingBehind) {
  seam::calls.usleep = [](useconds_t) { return seam::real.usleep(1000); };
  const auto count_ourselves = [](const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*,
                                  unsigned int event, void* added) {
    if (event == libSSDP::SSDP_DEVICE_ADDED) ++*static_cast<std::atomic<int>*>(added);
  };
  // A worker that is stopped before its thread first looks at the run flag never reads a setting,
  // and keeps a few bytes less: every life waits until both receive.
  std::atomic<int> receiving{0};
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    static thread_local bool first = true;
    if (std::exchange(first, false)) ++receiving;
    return seam::real.recvfrom(fd, data, size, flags, from, length);
  };
  std::atomic<int> added{0};
  support::Application application(true, count_ourselves, &added);
  ExpectFlat("service", support::Scaled("cycles of the whole service", 1000), [&] {
    const int seen = added;
    receiving = 0;
    application.Start();
    // So that every life has a device to forget: our own announcement comes back.
    ASSERT_TRUE(support::Await([&] { return added > seen && receiving == 2; }));
    application.Stop();
  });
  seam::Reset();
}

}  // namespace
