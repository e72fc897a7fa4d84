// SPDX-License-Identifier: MIT
// Threads that can't be created or joined, and the other steps of start and stop: where the service
// stops, what runs on, and how an application recovers.
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

constexpr char kService[] = "source/ssdp.cpp";
constexpr char kBase[] = "source/ssdpbase.cpp";
constexpr char kWorker[] = "source/worker.cpp";

// In the order in which they start and stop.
constexpr size_t kListener = 0;
constexpr size_t kHandler = 1;
constexpr size_t kThread = 2;

const std::string kCreate = Line(
    "Start", "pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0", kWorker);
const std::string kJoin = Line("Join", "pthread_join(m_handle, NULL) == 0", kWorker);

std::string InInit(const char* condition) {
  return Line("Init", condition, kService);
}
std::string InDeInit(const char* condition) {
  return Line("DeInit", condition, kService);
}

const std::string kInitReports[] = {
    Line("Init", "Start() == SSDP_SUCCESS", kBase) + InInit("m_listener->Init() == SSDP_SUCCESS"),
    Line("Init", "Start() == SSDP_SUCCESS", kBase) + InInit("m_handler->Init() == SSDP_SUCCESS"),
    InInit("Start() == SSDP_SUCCESS")};

std::string DeInitReport(size_t worker, const char* condition) {
  if (worker == kThread) return InDeInit(condition);
  return Line("DeInit", condition, kBase) + InDeInit(worker == kListener
                                                         ? "m_listener->DeInit() == SSDP_SUCCESS"
                                                         : "m_handler->DeInit() == SSDP_SUCCESS");
}

class LifecycleTest : public FaultTest, public testing::WithParamInterface<size_t> {
 protected:
  void SetUp() override { Hurry(); }
};

std::string NameOf(const testing::TestParamInfo<size_t>& test) {
  const char* const names[] = {"Listener", "Handler", "Service"};
  return names[test.param];
}

class ThreadThatCannotStart : public LifecycleTest {};

TEST_P(ThreadThatCannotStart, StopsTheStart) {
  size_t calls = 0;
  seam::calls.pthread_create = [&](pthread_t* thread, const pthread_attr_t* attributes,
                                   void* (*entry)(void*), void* argument) {
    if (calls++ == GetParam()) return EAGAIN;
    return seam::real.pthread_create(thread, attributes, entry, argument);
  };
  Application application;
  EXPECT_EQ(Initialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(), kCreate + kInitReports[GetParam()]);
  EXPECT_TRUE(Await([&] { return Threads() == m_threads + GetParam(); }));
  EXPECT_EQ(Announce(), SSDP_SUCCESS);  // needs no thread
  EXPECT_TRUE(GetParam() == kListener || Await([&] { return application.m_added == 1; }));
  EXPECT_TRUE(GetParam() != kThread || application.Works());

  // The run flag stays set, so another start skips the missing thread without a word...
  m_output.Clear();
  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Threads(), m_threads + 2);
  EXPECT_EQ(m_output.Text(), "");
  // ... until a stop has cleared it, which fails at the missing thread.
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(), kJoin + DeInitReport(GetParam(), "Join() == SSDP_SUCCESS"));
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Threads, ThreadThatCannotStart,
                         testing::Values(kListener, kHandler, kThread), NameOf);

class ThreadThatCannotBeJoined : public LifecycleTest {
 protected:
  void SetUp() override {
    LifecycleTest::SetUp();
    // Only the listener is joined again by a second stop; the other threads would be left over.
    seam::calls.pthread_join = [this](pthread_t thread, void** result) {
      if (m_calls++ != GetParam()) return seam::real.pthread_join(thread, result);
      if (GetParam() != kListener) seam::real.pthread_join(thread, result);
      return EDEADLK;
    };
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      if (m_pretend_sending) return static_cast<ssize_t>(size);
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }

  std::atomic<bool> m_pretend_sending{false};

 private:
  size_t m_calls = 0;
};

TEST_P(ThreadThatCannotBeJoined, StopsTheStop) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(), kJoin + DeInitReport(GetParam(), "Join() == SSDP_SUCCESS"));
  EXPECT_TRUE(Await([&] { return Threads() == m_threads + kThread - GetParam(); }));
  if (GetParam() > kListener) {
    // The handler's socket is gone, so the byebye can't be sent.
    EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
    m_pretend_sending = GetParam() == kHandler;
    ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  }
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Threads, ThreadThatCannotBeJoined,
                         testing::Values(kListener, kHandler, kThread), NameOf);

// The application's own descriptors may take over the numbers of the closed sockets. They are not
// the library's any more, whatever is asked of it.
class ReusedDescriptor : public FaultTest {
 protected:
  // Takes all the numbers that the sockets had.
  void TakeNumbers() {
    while (Descriptors() < m_descriptors + 4) {
      int pair[2];
      ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair), 0);
      m_taken.insert(m_taken.end(), pair, pair + 2);
    }
  }

  // Neither closed, nor shut down.
  void ExpectUntouched() {
    for (const int descriptor : m_taken) {
      char byte;
      EXPECT_EQ(read(descriptor, &byte, 1), -1);
      EXPECT_EQ(errno, EAGAIN);
    }
  }

  void TearDown() override {
    for (const int descriptor : m_taken) ::close(descriptor);
    FaultTest::TearDown();
  }

  std::vector<int> m_taken;
};

TEST_F(ReusedDescriptor, IsNotSentTo) {
  Hurry();
  seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags, const sockaddr* to,
                              socklen_t length) {
    EXPECT_THAT(m_taken, testing::Not(testing::Contains(fd)));
    return seam::real.sendto(fd, data, size, flags, to, length);
  };
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  TakeNumbers();
  EXPECT_EQ(Announce(), SSDP_FAILURE);
  EXPECT_EQ(libSSDP::Search(), SSDP_FAILURE);
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Count("bytes == config.m_notify_header.length() failed."), 2);
  EXPECT_EQ(m_output.Count("bytes == config.m_msearch_header.length() failed."), 1);
  ExpectUntouched();
}

TEST_F(ReusedDescriptor, IsNotClosedByASecondStop) {
  Hurry();
  int joins = 0;
  seam::calls.pthread_join = [&](pthread_t thread, void** result) {
    if (joins++ == 0) return EDEADLK;
    return seam::real.pthread_join(thread, result);
  };
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  TakeNumbers();
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  ExpectUntouched();
}

}  // namespace
}  // namespace fault
