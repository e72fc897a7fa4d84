// SPDX-License-Identifier: MIT
// What system calls may do without failing, clocks that leap, and what a loop over a broken call
// costs.
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

// Counted against the time that really passed, so that a busy machine can only make it less.
TEST_F(FaultTest, ReceivesThatAlwaysFailAreNoSpin) {
  Fault fault;
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    return Fails(fault, EBADF) ? -1 : seam::real.recvfrom(fd, data, size, flags, from, length);
  };
  Application application;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return fault.Failures() >= 40; }));
  const auto passed = std::chrono::steady_clock::now() - start;
  // Two workers, 20 ms a pass; the first pass is free, and one may just be counted.
  EXPECT_LE(fault.Failures(), 2 * (passed / std::chrono::milliseconds(20) + 2));
  fault.End();
  EXPECT_EQ(Announce(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), "");
}

// The same with a pause that fails too.
TEST_F(FaultTest, ReceivesAndPausesThatAlwaysFailAreNoSpin) {
  Fault fault;
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    return Fails(fault, EPERM) ? -1 : seam::real.recvfrom(fd, data, size, flags, from, length);
  };
  seam::calls.usleep = [](useconds_t) {
    errno = EPERM;
    return -1;
  };
  Application application;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return fault.Failures() >= 40; }));
  const auto passed = std::chrono::steady_clock::now() - start;
  EXPECT_LE(fault.Failures(), 2 * (passed / std::chrono::milliseconds(20) + 2));
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// A sender's address that is no IPv4 address, or none at all: a record with what the bytes say, an
// answer that can't be sent, and nothing worse.
struct Sender {
  const char* name;
  sa_family_t family;
  socklen_t length;
  const char* address;
};

void PrintTo(const Sender& sender, std::ostream* out) {
  *out << sender.name;
}

class OddSenderAddress : public FaultTest, public testing::WithParamInterface<Sender> {};

TEST_P(OddSenderAddress, IsTakenAsItIs) {
  Hurry();
  std::atomic<int> odd{0};
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    sockaddr_in given = {};
    socklen_t given_length = sizeof(given);
    EXPECT_EQ(*length, sizeof(given));
    const ssize_t received = seam::real.recvfrom(
        fd, data, size, flags, reinterpret_cast<sockaddr*>(&given), &given_length);
    const std::string text(static_cast<const char*>(data),
                           received < 0 ? 0 : static_cast<size_t>(received));
    if (text.find("odd") != std::string::npos) {
      ++odd;
      given.sin_family = GetParam().family;
      given_length = GetParam().length;
    }
    std::memcpy(from, &given, std::min<size_t>(given_length, sizeof(given)));
    *length = given_length;
    return received;
  };
  Peer peer = Peer::InGroup();
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  peer.Send(Alive("odd"));
  peer.Send(MSearch() + "odd");
  peer.Send(Alive("peer"));
  EXPECT_TRUE(Await([&] { return application.m_added == 2; }));
  EXPECT_EQ(odd, 2);
  std::map<std::string, DeviceInfo*> devices;
  EXPECT_EQ(GetDevices(devices), SSDP_SUCCESS);
  ASSERT_EQ(devices.count("odd"), 1u);
  EXPECT_EQ(devices["odd"]->m_address, GetParam().address);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Senders, OddSenderAddress,
                         testing::Values(Sender{"WithoutAddress", AF_INET, 0, "0.0.0.0"},
                                         Sender{"OfAnotherFamily", AF_INET6, 16, "10.77.0.1"},
                                         Sender{"OfNoFamily", AF_UNSPEC, 16, "10.77.0.1"},
                                         Sender{"CutShort", AF_INET, 2, "0.0.0.0"},
                                         Sender{"OfABiggerFamily", AF_INET6, 28, "10.77.0.1"}),
                         [](const auto& test) { return test.param.name; });

// A receive that gives nothing is an empty datagram.
TEST_F(FaultTest, EmptyDatagramsAreDropped) {
  Hurry();
  Fault fault(When::kEveryOther);
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    return fault.Hits() ? 0 : seam::real.recvfrom(fd, data, size, flags, from, length);
  };
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  for (int round = 0; round < 5; ++round) EXPECT_TRUE(application.Works());
  EXPECT_GT(fault.Failures(), 5);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), "");
}

// Interfaces without an address, of other families, very many of them; the one that is asked for
// comes last.
TEST_F(FaultTest, ALongInterfaceListWithHolesIsWalked) {
  Hurry();
  constexpr size_t count = 10000;
  char name[] = "none";
  char wanted[] = "wanted";
  sockaddr_in6 six = {};
  six.sin6_family = AF_INET6;
  sockaddr_in four = {};
  four.sin_family = AF_INET;
  std::vector<ifaddrs> list(count);
  for (size_t i = 0; i < count; ++i) {
    list[i] = {};
    list[i].ifa_name = i + 1 == count ? wanted : i % 3 == 0 ? wanted : name;
    list[i].ifa_addr = i + 1 == count ? reinterpret_cast<sockaddr*>(&four)
                       : i % 3 != 0   ? reinterpret_cast<sockaddr*>(&four)
                       : i % 2 == 0   ? reinterpret_cast<sockaddr*>(&six)
                                      : nullptr;
    list[i].ifa_next = i + 1 == count ? nullptr : &list[i + 1];
  }
  int freed = 0;
  seam::calls.getifaddrs = [&](ifaddrs** head) {
    *head = list.data();
    return 0;
  };
  seam::calls.freeifaddrs = [&](ifaddrs* head) { freed += head == list.data() ? 1 : 0; };
  Application application;
  SetNetworkInterface(wanted);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(freed, 2);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), "");
}

// A clock that the test sets, and passes of the service thread that it can wait for.
class LeapingClock : public FaultTest {
 protected:
  static constexpr int kTenYears = 10 * 365 * 86400;

  void SetUp() override {
    Hurry();
    seam::calls.gettimeofday = [this](timeval* now) {
      *now = {m_second, 0};
      return 0;
    };
    seam::calls.usleep = [this](useconds_t) {
      ++m_passes;
      return seam::real.usleep(1000);
    };
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      ++m_sent;
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }

  // A whole pass from its beginning.
  void Pass() {
    const int before = m_passes;
    EXPECT_TRUE(Await([&] { return m_passes >= before + 2; }));
  }

  static size_t Known() {
    std::map<std::string, DeviceInfo*> devices;
    EXPECT_EQ(GetDevices(devices), SSDP_SUCCESS);
    return devices.size();
  }

  std::atomic<int> m_second{1000000000};
  std::atomic<int> m_passes{0};
  std::atomic<int> m_sent{0};
};

// Ahead: everybody has expired, and the next announcement is due. Back: who is heard of then stays
// for as long as it said, and the announcing is silent until the clock has caught up.
TEST_F(LeapingClock, LeapsTenYearsAheadAndBack) {
  Application application(true);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  Pass();
  EXPECT_EQ(Known(), 1u);
  EXPECT_EQ(m_sent, 1);

  m_second += kTenYears;
  EXPECT_TRUE(
      Await([&] { return m_sent == 2 && application.m_added + application.m_refreshed == 2; }));
  Pass();
  EXPECT_EQ(m_sent, 2);

  m_second -= kTenYears;
  Pass();
  EXPECT_EQ(m_sent, 2);
  m_second += kTenYears + 1799;
  Pass();
  EXPECT_EQ(m_sent, 2);
  m_second += 1;
  EXPECT_TRUE(Await([&] { return m_sent == 3; }));
  EXPECT_EQ(application.m_removed, 0);  // expiry is silent
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(LeapingClock, LeapsOverTheExpiryOfAPeer) {
  Peer peer = Peer::InGroup();
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  peer.Send(Alive("peer"));
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  m_second -= kTenYears;
  Pass();
  EXPECT_EQ(Known(), 1u);
  m_second += kTenYears + 1800;
  Pass();
  EXPECT_EQ(Known(), 1u);
  m_second += kTenYears;
  Pass();
  EXPECT_EQ(Known(), 0u);
  EXPECT_EQ(application.m_removed, 0);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// The real clock is ten years behind the one that set an answer's deadline, as after a leap back
// during the delay: the answer would wait for ten years. A stop doesn't.
TEST_F(LeapingClock, LeapsBackDuringADelayAndTheStopIsBounded) {
  m_second = static_cast<int>(seam::real.time(nullptr)) + kTenYears;
  std::atomic<bool> waiting{false};
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                           const timespec* deadline) {
    waiting = true;
    return seam::real.pthread_cond_timedwait(cond, mutex, deadline);
  };
  Peer peer = Peer::InGroup();
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  peer.Send(MSearch());
  EXPECT_TRUE(Await([&] { return waiting.load(); }));
  EXPECT_EQ(application.m_searched, 0);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(application.m_searched, 1);
  EXPECT_EQ(m_output.Text(), "");
}

}  // namespace
}  // namespace fault
