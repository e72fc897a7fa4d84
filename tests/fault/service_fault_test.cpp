// SPDX-License-Identifier: MIT
// The running service: sends that fail or are short, pauses that fail, interfaces that can't be
// listed.
#include <cerrno>
#include <chrono>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

constexpr char kService[] = "source/ssdp.cpp";

const std::string kNotifyLine =
    Line("AnnounceNetwork", "bytes == config.m_notify_header.length()", "source/ssdphandler.cpp");
const std::string kAnnounceLine =
    Line("Announce", "m_handler->AnnounceNetwork(\"ssdp:alive\", this) == SSDP_SUCCESS", kService);

// How a send doesn't do what it should: by an error, by half of the message, by nothing of it.
class SendFaultTest : public FaultTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    Hurry();
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) -> ssize_t {
      if (!m_failing) return seam::real.sendto(fd, data, size, flags, to, length);
      ++m_failures;
      if (GetParam() == std::string("Short")) return static_cast<ssize_t>(size / 2);
      if (GetParam() == std::string("Nothing")) return 0;
      errno = ENETUNREACH;
      return -1;
    };
  }

  std::atomic<bool> m_failing{false};
  std::atomic<int> m_failures{0};
};

TEST_P(SendFaultTest, OfAnAnnouncementIsReported) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  m_failing = true;
  EXPECT_EQ(Announce(), SSDP_FAILURE);
  m_failing = false;
  EXPECT_EQ(m_output.Text(), kNotifyLine + kAnnounceLine);
  EXPECT_EQ(m_failures, 1);  // no retry
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_P(SendFaultTest, OfASearchIsReported) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  m_failing = true;
  EXPECT_EQ(libSSDP::Search(), SSDP_FAILURE);
  m_failing = false;
  EXPECT_EQ(
      m_output.Text(),
      Line("SearchNetwork", "bytes == config.m_msearch_header.length()", "source/ssdphandler.cpp") +
          Line("Search", "m_handler->SearchNetwork(this) == SSDP_SUCCESS", kService));
  EXPECT_EQ(m_failures, 1);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_P(SendFaultTest, OfAResponseIsReported) {
  Peer peer = Peer::InGroup();
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  m_failing = true;
  peer.Send(MSearch());
  EXPECT_TRUE(Await([&] { return m_failures == 1; }));
  m_failing = false;
  peer.Send(Alive("peer"));  // read after the answer is done with
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  EXPECT_EQ(m_output.Text(), Line("ProcessMSearch", "bytes == rconfig.m_response_header.length()",
                                  "source/ssdplistener.cpp"));
  EXPECT_EQ(application.m_searched, 1);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// Without its byebye the service runs on.
TEST_P(SendFaultTest, OfTheByebyeStopsTheStop) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  m_failing = true;
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  m_failing = false;
  EXPECT_EQ(m_output.Text(),
            kNotifyLine + Line("DeInit",
                               "m_handler->AnnounceNetwork(\"ssdp:byebye\", this) == SSDP_SUCCESS",
                               kService));
  EXPECT_EQ(Threads(), m_threads + 3);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// Not retried before the next period, and no reason to end the loop.
TEST_P(SendFaultTest, OfAPeriodicAnnouncementWaitsForTheNextPeriod) {
  std::atomic<int> second{1000000};
  std::atomic<int> passes{0};
  seam::calls.gettimeofday = [&](timeval* now) {
    *now = {second, 0};
    return 0;
  };
  seam::calls.usleep = [&](useconds_t) {
    ++passes;
    return seam::real.usleep(1000);
  };
  Application application(true);
  m_failing = true;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return passes > 5; }));
  EXPECT_EQ(m_output.Text(), kNotifyLine + kAnnounceLine +
                                 Line("Task", "Announce() == SSDP_SUCCESS",
                                      "Unable to send NOTIFY Query", kService));
  m_failing = false;
  second = 1000000 + 1799;
  const int before = passes;
  EXPECT_TRUE(Await([&] { return passes > before + 5; }));
  EXPECT_EQ(m_failures, 1);
  EXPECT_EQ(application.m_added, 0);
  second = 1000000 + 1800;
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Sends, SendFaultTest, testing::Values("Error", "Short", "Nothing"),
                         [](const auto& test) { return test.param; });

TEST_F(FaultTest, APauseThatFailsIsReportedAndTheLoopGoesOn) {
  Fault fault(When::kFirst);
  std::atomic<int> pauses{0};
  seam::calls.usleep = [&](useconds_t) {
    ++pauses;
    return Fails(fault, EINTR) ? -1 : seam::real.usleep(1000);
  };
  seam::calls.rand = [] { return 0; };
  Application application(true);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return pauses > 5; }));
  EXPECT_EQ(m_output.Text(),
            Line("Task", "(usleep(200000) >= 0)", "Interrupted system call", kService));
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// A refused pause at every call, as in a sandbox without the call behind it, must not become a
// spin: the loop then pauses by other means, as long as before.
TEST_F(FaultTest, PausesThatAlwaysFailAreNoSpin) {
  std::atomic<int> pauses{0};
  seam::calls.usleep = [&](useconds_t microseconds) {
    if (microseconds == 200000) ++pauses;  // the loop's; a stop has others
    errno = EPERM;
    return -1;
  };
  Application application;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return pauses >= 4; }));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3 * 200));
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(
      m_output.Count(Line("Task", "(usleep(200000) >= 0)", "Operation not permitted", kService)),
      pauses);
}

// Without a word; the list is then empty, whatever the call left in the pointer.
TEST_F(FaultTest, InterfacesThatCannotBeToldDoNotStopTheStart) {
  Hurry();
  Fault fault;
  seam::calls.getifaddrs = [&](ifaddrs** list) {
    fault.Hits();
    *list = reinterpret_cast<ifaddrs*>(8);
    errno = ENOMEM;
    return -1;
  };
  int freed = 0;
  seam::calls.freeifaddrs = [&](ifaddrs*) { ++freed; };
  Application application;
  SetNetworkInterface("lo");
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(fault.Failures(), 2);
  EXPECT_EQ(freed, 0);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), "");
}

}  // namespace
}  // namespace fault
