// SPDX-License-Identifier: MIT
#include "ssdpbase.h"
#include "address.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>

#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCreateFailed[] =
    "[#] Start: pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0 failed. \n"
    " source/worker.cpp\n";

// A worker with no task but the test's and everything open.
class OpenBase : public SSDPBase {
 public:
  explicit OpenBase(void* context = nullptr) : SSDPBase(&support::Engine::Callback, context) {}
  int Task() override {
    if (m_body) m_body();
    return 0;
  }

  using SSDPBase::m_engine_callback;
  using SSDPBase::m_engine_context;
  using SSDPBase::m_group_addr;
  using SSDPBase::m_handle;
  using SSDPBase::m_local_addr;
  using SSDPBase::m_local_ip;
  using SSDPBase::Receive;
  using SSDPBase::Send;
  std::function<void()> m_body;
};

class SocketWorker : public testing::Test {
 protected:
  support::ScriptedSystem m_system;
  support::Engine m_engine;
  OpenBase m_base{&m_engine};
  Datagram m_datagram;
};

TEST_F(SocketWorker, StartsWithItsCallbackAndItsContextAndZeroes) {
  EXPECT_EQ(m_base.m_engine_callback, &support::Engine::Callback);
  EXPECT_EQ(m_base.m_engine_context, &m_engine);
  EXPECT_EQ(m_base.m_handle, 0);
  EXPECT_STREQ(m_base.m_local_ip, "");
  EXPECT_EQ(m_base.m_group_addr.sin_port, 0);
  EXPECT_EQ(m_base.m_local_addr.sin_family, 0);
  EXPECT_FALSE(m_base.IsSpent());
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(SocketWorker, StartsItsThreadInInit) {
  EXPECT_EQ(m_base.Init(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("pthread_create"));
  EXPECT_TRUE(m_base.IsStarted());
}

TEST_F(SocketWorker, ReportsAThreadThatCannotBeStartedInTwoLines) {
  seam::calls.pthread_create = [](auto...) { return EAGAIN; };
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_base.Init(); }),
            std::string(kCreateFailed) +
                "[#] Init: Start() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n");
  EXPECT_EQ(status, 1);
}

TEST_F(SocketWorker, ShutsDownThenClosesThenJoins) {
  m_base.m_handle = 1000;
  m_base.Init();
  m_system.log.clear();
  EXPECT_EQ(m_base.DeInit(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("shutdown", "close", "pthread_join"));
  EXPECT_TRUE(m_base.IsSpent());
}

// A stop that comes from inside a send can't see its end, which shows how long it waits for one.
TEST_F(SocketWorker, WaitsASecondForASendBeforeItCloses) {
  m_base.m_handle = 1000;
  m_base.Init();
  m_system.log.clear();
  seam::calls.sendto = [this](int, const void*, size_t, int, const struct sockaddr*, socklen_t) {
    return m_base.DeInit();
  };
  m_base.Send("", {});
  ASSERT_EQ(m_system.log.size(), 1003u);
  EXPECT_EQ(m_system.log[0], "shutdown");
  EXPECT_EQ(std::count(m_system.log.begin(), m_system.log.end(), "usleep"), 1000);
  EXPECT_EQ(m_system.log[1001], "close");
}

TEST_F(SocketWorker, StopsThenShutsItsOwnSocketDownInBothDirectionsAndKeepsItsNumber) {
  m_base.m_handle = 1234;
  m_base.Init();
  int shut = -1, directions = -1, closed = -1;
  bool started = true;
  seam::calls.shutdown = [&](int fd, int how) {
    shut = fd;
    directions = how;
    started = m_base.IsStarted();
    return 0;
  };
  seam::calls.close = [&](int fd) { return closed = fd, 0; };
  m_base.DeInit();
  EXPECT_EQ(shut, 1234);
  EXPECT_EQ(directions, SHUT_RDWR);
  EXPECT_FALSE(started);
  EXPECT_EQ(closed, 1234);
  EXPECT_EQ(m_base.m_handle, 1234);
}

TEST_F(SocketWorker, LooksAtNoResultOfShuttingDownAndClosing) {
  m_base.Init();
  seam::calls.shutdown = [](int, int) { return -1; };
  seam::calls.close = [](int) { return -1; };
  SSDP_STATUS status = 1;
  EXPECT_EQ(OutputOf([&] { status = m_base.DeInit(); }), "");
  EXPECT_EQ(status, 0);
}

TEST_F(SocketWorker, ReportsAThreadThatCannotBeJoinedInTwoLines) {
  m_base.Init();
  seam::calls.pthread_join = [](pthread_t, void**) { return ESRCH; };
  m_system.log.clear();
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_base.DeInit(); }),
            "[#] Join: pthread_join(m_handle, NULL) == 0 failed. \n source/worker.cpp\n"
            "[#] DeInit: Join() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n");
  EXPECT_EQ(status, 1);
  EXPECT_THAT(m_system.log, ElementsAre("shutdown", "close"));  // closed all the same
  EXPECT_FALSE(m_base.IsSpent());
}

TEST_F(SocketWorker, TouchesNoSocketWhenDestroyed) {
  { OpenBase other; }
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(SocketWorker, ReceivesADatagramWithItsSender) {
  m_system.Deliver("hello", "192.168.1.7", 4711);
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "hello");
  EXPECT_EQ(AddressText(m_datagram.from), "192.168.1.7");
  EXPECT_EQ(ntohs(m_datagram.from.sin_port), 4711);
}

TEST_F(SocketWorker, AsksForAtMost512BytesFromItsSocket) {
  m_base.m_handle = 1234;
  int fd = -1, flags = -1;
  size_t size = 0;
  socklen_t length = 0;
  std::string before = "not looked at";
  seam::calls.recvfrom = [&](int from_fd, void* data, size_t room, int with_flags, sockaddr*,
                             socklen_t* from_length) -> ssize_t {
    fd = from_fd;
    size = room;
    flags = with_flags;
    length = *from_length;
    before.assign(static_cast<const char*>(data), room);
    return 0;
  };
  std::memset(&m_datagram, 'x', sizeof(m_datagram));
  m_base.Receive(m_datagram);
  EXPECT_EQ(fd, 1234);
  EXPECT_EQ(size, 512u);
  EXPECT_EQ(flags, 0);
  EXPECT_EQ(length, 16u);
  EXPECT_EQ(before, std::string(512, '\0'));
}

TEST_F(SocketWorker, SeesExactly512BytesWhole) {
  m_system.Deliver(std::string(511, 'a') + "b");
  m_base.Receive(m_datagram);
  EXPECT_EQ(std::strlen(m_datagram.text), 512u);
  EXPECT_EQ(m_datagram.text[511], 'b');
}

TEST_F(SocketWorker, CutsALongerDatagramTo512Bytes) {
  m_system.Deliver(std::string(65507, 'a'));
  m_base.Receive(m_datagram);
  EXPECT_EQ(std::strlen(m_datagram.text), 512u);
}

TEST_F(SocketWorker, SeesNothingOfTheDatagramBefore) {
  m_system.Deliver(std::string(512, 'a'));
  m_system.Deliver("b");
  m_system.Deliver("");
  m_base.Receive(m_datagram);
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "b");
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "");
}

TEST_F(SocketWorker, SeesNothingAndPausesAfterAFailedReceive) {
  m_base.Init();
  m_system.log.clear();
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "");
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom", "usleep"));
}

// As a socket does that is shut down but not closed: 0 bytes, and no sender.
TEST_F(SocketWorker, PausesAfterAReceiveOfNothingFromNobody) {
  seam::calls.recvfrom = [](int, void*, size_t, int, sockaddr*, socklen_t*) { return 0; };
  m_base.Start();
  m_system.log.clear();
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "");
  EXPECT_THAT(m_system.log, ElementsAre("usleep"));
}

TEST_F(SocketWorker, DoesNotPauseOnceStopped) {
  m_base.Init();
  m_base.Stop();
  m_system.log.clear();
  m_base.Receive(m_datagram);
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom"));
}

TEST_F(SocketWorker, DoesNotPauseAfterAnEmptyDatagram) {
  m_base.Init();
  m_system.log.clear();
  m_system.Deliver("");
  m_base.Receive(m_datagram);
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom"));
}

TEST_F(SocketWorker, PausesInsteadOfReceivingWithoutASocket) {
  m_base.m_handle = -1;
  m_base.Init();
  m_system.log.clear();
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "");
  EXPECT_THAT(m_system.log, ElementsAre("usleep"));
}

// The application may have reused its number by then.
TEST_F(SocketWorker, NeitherReceivesNorSendsOnASocketThatItHasClosed) {
  m_base.m_handle = 1000;
  m_base.Init();
  m_base.DeInit();
  m_system.log.clear();
  m_system.Deliver("for another socket");
  m_base.Receive(m_datagram);
  EXPECT_STREQ(m_datagram.text, "");
  EXPECT_THAT(m_system.log, IsEmpty());
  m_base.Send("", {});
  ASSERT_THAT(m_system.sent, testing::SizeIs(1));
  EXPECT_EQ(m_system.sent[0].socket, -1);
}

TEST_F(SocketWorker, OpensADatagramSocketThatClosesOnExec) {
  int domain = 0, type = 0, protocol = -1, fd = 0, command = 0, argument = 0;
  seam::calls.socket = [&](int a, int b, int c) {
    domain = a;
    type = b;
    protocol = c;
    return 1234;
  };
  seam::calls.fcntl = [&](int a, int b, int c) {
    fd = a;
    command = b;
    argument = c;
    return 0;
  };
  EXPECT_EQ(OpenSocket(), 1234);
  EXPECT_EQ(domain, AF_INET);
  EXPECT_EQ(type, SOCK_DGRAM);
  EXPECT_EQ(protocol, 0);
  EXPECT_EQ(fd, 1234);
  EXPECT_EQ(command, F_SETFD);
  EXPECT_EQ(argument, FD_CLOEXEC);
}

TEST_F(SocketWorker, HandsOnThatThereIsNoSocket) {
  seam::calls.socket = [](int, int, int) { return -1; };
  EXPECT_EQ(OpenSocket(), -1);
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(SocketWorker, WritesEveryOctetAsTheSystemDoes) {
  for (uint32_t octet = 0; octet < 256; ++octet) {
    sockaddr_in address = {};
    address.sin_addr.s_addr = htonl(octet << 24 | (255 - octet) << 16 | octet << 8 | octet);
    char expected[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address.sin_addr, expected, sizeof(expected));
    EXPECT_EQ(AddressText(address), expected);
  }
}

TEST_F(SocketWorker, WritesAddressesDotted) {
  EXPECT_EQ(AddressText(support::Address("192.168.1.7", 1)), "192.168.1.7");
  EXPECT_EQ(AddressText(support::Address("255.255.255.255", 1)), "255.255.255.255");
  EXPECT_EQ(AddressText({}), "0.0.0.0");
}

// Interfaces as getifaddrs lists them, in order.
class Interfaces : public SocketWorker {
 protected:
  void Add(const char* name, const char* address, int family = AF_INET) {
    m_addresses.push_back(support::Address(address, 0));
    m_addresses.back().sin_family = static_cast<sa_family_t>(family);
    m_entries.push_back({});
    m_entries.back().ifa_name = const_cast<char*>(name);
    m_entries.back().ifa_addr = reinterpret_cast<sockaddr*>(&m_addresses.back());
    if (m_entries.size() > 1) m_entries[m_entries.size() - 2].ifa_next = &m_entries.back();
  }

  std::string Recorded(const std::string& name) {
    seam::calls.getifaddrs = [this](ifaddrs** list) {
      *list = m_entries.empty() ? nullptr : &m_entries.front();
      return 0;
    };
    InterfaceList().CopyAddress(name, m_base.m_local_ip);
    return m_base.m_local_ip;
  }

  std::deque<sockaddr_in> m_addresses;
  std::deque<ifaddrs> m_entries;
};

TEST_F(Interfaces, GiveTheAddressOfTheOneWithTheName) {
  Add("lo", "127.0.0.1");
  Add("eth0", "10.1.2.3");
  EXPECT_EQ(Recorded("eth0"), "10.1.2.3");
}

TEST_F(Interfaces, GiveTheFirstAddressOfTheirName) {
  Add("eth0", "10.1.2.3");
  Add("eth0", "10.9.9.9");
  EXPECT_EQ(Recorded("eth0"), "10.1.2.3");
}

TEST_F(Interfaces, AreSkippedWithoutAnIPv4Address) {
  Add("eth0", "10.9.9.9", AF_INET6);
  Add("eth0", "10.8.8.8");
  m_entries.back().ifa_addr = nullptr;
  Add("eth0", "10.1.2.3");
  EXPECT_EQ(Recorded("eth0"), "10.1.2.3");
}

TEST_F(Interfaces, AreComparedByTheirWholeName) {
  Add("eth01", "10.0.0.1");
  Add("eth", "10.0.0.2");
  Add("ETH0", "10.0.0.3");
  EXPECT_EQ(Recorded("eth0"), "");
}

TEST_F(Interfaces, LeaveTheLastAddressWhenNoneMatches) {
  Add("eth0", "255.255.255.255");
  EXPECT_EQ(Recorded("eth0"), "255.255.255.255");
  EXPECT_EQ(Recorded("eth1"), "255.255.255.255");
  m_entries.clear();
  EXPECT_EQ(Recorded("eth0"), "255.255.255.255");
}

// With the real system: what a stop has to achieve.
TEST(RealSocketWorker, IsWokenOutOfABlockedReceiveByDeInitAndGoneWhenItReturns) {
  std::promise<void> receiving;
  std::atomic<bool> ended{false};
  OpenBase base;
  base.m_handle = OpenSocket();
  seam::calls.recvfrom = [&](int fd, void* data, size_t size, int flags, sockaddr* from,
                             socklen_t* length) {
    receiving.set_value();
    return seam::real.recvfrom(fd, data, size, flags, from, length);
  };
  base.m_body = [&] {
    Datagram datagram;
    base.Receive(datagram);
    ended = true;
  };
  sockaddr_in any = support::Address("127.0.0.1", 0);
  ASSERT_EQ(bind(base.m_handle, reinterpret_cast<sockaddr*>(&any), sizeof(any)), 0);
  EXPECT_EQ(base.Init(), 0);
  receiving.get_future().wait();
  EXPECT_EQ(base.DeInit(), 0);
  EXPECT_TRUE(ended);
  EXPECT_EQ(fcntl(base.m_handle, F_GETFD), -1);
  seam::Reset();
}

TEST(RealSocketWorker, ClosesItsSocketOnExec) {
  const int fd = OpenSocket();
  EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  close(fd);
}

}  // namespace
}  // namespace libSSDP
