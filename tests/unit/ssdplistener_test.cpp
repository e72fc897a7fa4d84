// SPDX-License-Identifier: MIT
#include "ssdplistener.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <future>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Set;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OpenListener : public SSDPListener {
 public:
  using SSDPBase::m_group_addr;
  using SSDPBase::m_handle;
  using SSDPBase::m_local_ip;
  using SSDPListener::SSDPListener;
};

// A search and an announcement that are for a lamp, behind their start lines.
constexpr char kSearchRest[] = "MX: 3\r\nST: urn:schemas-example-org:device:Light:1\r\n\r\n";
constexpr char kNotifyRest[] =
    "Cache-Control: max-age=1\r\nNTS: ssdp:alive\r\nNT: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:abcd::urn\r\nStatus: ok\r\n\r\n";

class Listener : public testing::Test {
 protected:
  Listener() {
    support::SetLamp(m_store);
    m_store.Init();
    m_listener.Start();
    m_construction.swap(m_system.log);
    m_system.log.clear();
    m_system.when_drained = [this] { m_listener.Stop(); };
  }

  // What the loop reports of one datagram: "searched" and "notified", in order.
  std::vector<std::string> ReportedOf(const std::string& datagram) {
    m_engine.reports.clear();
    m_listener.Start();
    m_system.Deliver(datagram);
    EXPECT_EQ(m_listener.Task(), 0);
    std::vector<std::string> reported;
    for (const auto& report : m_engine.reports)
      reported.push_back(report.searched ? "searched" : "notified");
    return reported;
  }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  OpenListener m_listener{&support::Engine::Callback, &m_store, &m_engine};
  std::vector<std::string> m_construction;
};

TEST_F(Listener, OpensThenSharesThenBindsThenJoins) {
  EXPECT_THAT(m_construction,
              ElementsAre("socket", "fcntl", "setsockopt", "bind", "setsockopt", "pthread_create"));
  EXPECT_EQ(m_listener.m_handle, 1000);
  EXPECT_STREQ(m_listener.m_local_ip, "");
  const std::string group(reinterpret_cast<char*>(&m_listener.m_group_addr), 16);
  EXPECT_EQ(group, std::string(16, '\0'));
}

TEST_F(Listener, BindsToPort1900OnAllAddresses) {
  sockaddr_in bound = {};
  int fd = 0;
  socklen_t size = 0;
  seam::calls.bind = [&](int bound_fd, const sockaddr* address, socklen_t length) {
    std::memcpy(&bound, address, sizeof(bound));
    fd = bound_fd;
    size = length;
    return 0;
  };
  const OpenListener listener(&support::Engine::Callback, &m_store, nullptr);
  EXPECT_EQ(fd, listener.m_handle);
  EXPECT_EQ(bound.sin_family, AF_INET);
  EXPECT_EQ(ntohs(bound.sin_port), 1900);
  EXPECT_EQ(bound.sin_addr.s_addr, 0u);
  EXPECT_EQ(size, 16u);
}

TEST_F(Listener, SharesItsPortAndJoinsTheGroupWhereTheSystemLikes) {
  struct Option {
    int fd, level, option;
    std::string value;
  };
  std::vector<Option> options;
  seam::calls.setsockopt = [&](int fd, int level, int option, const void* data, socklen_t size) {
    options.push_back({fd, level, option, std::string(static_cast<const char*>(data), size)});
    return 0;
  };
  const OpenListener listener(&support::Engine::Callback, &m_store, nullptr);
  ASSERT_THAT(options, SizeIs(2));
  const int one = 1;
  EXPECT_EQ(options[0].fd, listener.m_handle);
  EXPECT_EQ(options[0].level, SOL_SOCKET);
  EXPECT_EQ(options[0].option, SO_REUSEADDR);
  EXPECT_EQ(options[0].value, std::string(reinterpret_cast<const char*>(&one), sizeof(one)));
  EXPECT_EQ(options[1].fd, listener.m_handle);
  EXPECT_EQ(options[1].level, IPPROTO_IP);
  EXPECT_EQ(options[1].option, IP_ADD_MEMBERSHIP);
  EXPECT_EQ(options[1].value, std::string("\xEF\xFF\xFF\xFA\0\0\0\0", 8));
}

TEST_F(Listener, ReportsEverySocketStepThatFailsAndIsConstructedAllTheSame) {
  seam::calls.socket = [](int, int, int) { return -1; };
  seam::calls.bind = [](int, const sockaddr*, socklen_t) { return -1; };
  seam::calls.setsockopt = [](int, int, int, const void*, socklen_t) { return -1; };
  const std::string output =
      OutputOf([&] { OpenListener(&support::Engine::Callback, &m_store, nullptr); });
  EXPECT_EQ(output,
            "[#] SSDPListener: (m_handle >= 0) failed. (error creating socket) \n"
            " source/ssdplistener.cpp\n"
            "[#] SSDPListener: (setsockopt(m_handle, SOL_SOCKET, SO_REUSEADDR, (void*) &reuse, "
            "(socklen_t) sizeof(reuse)) == 0) failed. (Unable set SO_REUSEADDR) \n"
            " source/ssdplistener.cpp\n"
            "[#] SSDPListener: (bind(m_handle, (struct sockaddr * ) &m_local_addr, "
            "sizeof(m_local_addr)) == 0) failed. (unable to bind socket) \n"
            " source/ssdplistener.cpp\n"
            "[#] SSDPListener: (setsockopt(m_handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, (char *) "
            "&group, sizeof(group)) == 0) failed. (unable to add socket to group membership) \n"
            " source/ssdplistener.cpp\n");
}

TEST_F(Listener, ClosesNoSocketWhenDestroyed) {
  { const OpenListener listener(&support::Engine::Callback, &m_store, nullptr); }
  EXPECT_THAT(m_system.log, ElementsAre("socket", "fcntl", "setsockopt", "bind", "setsockopt"));
}

TEST_F(Listener, LooksAtTheInterfacesThenStartsItsThread) {
  sockaddr_in address = support::Address("10.1.2.3", 0);
  ifaddrs entry = {};
  entry.ifa_name = const_cast<char*>("eth0");
  entry.ifa_addr = reinterpret_cast<sockaddr*>(&address);
  seam::calls.getifaddrs = [&](ifaddrs** list) {
    m_system.log.push_back("getifaddrs");
    *list = &entry;
    return 0;
  };
  Set(m_store, &NetworkInterfaceConfig::m_network_interface, std::string("eth0"));
  m_listener.Stop();
  m_system.LogSettings();
  EXPECT_EQ(m_listener.Init(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("getifaddrs", "get ssdp_config_network_interface",
                                        "freeifaddrs", "pthread_create"));
  EXPECT_STREQ(m_listener.m_local_ip, "10.1.2.3");
}

TEST_F(Listener, StartsWithoutTheConfiguredInterfaceOrAnyList) {
  Set(m_store, &NetworkInterfaceConfig::m_network_interface, std::string("eth9"));
  seam::calls.getifaddrs = [](ifaddrs**) { return -1; };
  m_listener.Stop();
  EXPECT_EQ(m_listener.Init(), 0);
  EXPECT_TRUE(m_listener.IsStarted());
  EXPECT_STREQ(m_listener.m_local_ip, "");
}

TEST_F(Listener, StartsWithoutTheInterfaceSetting) {
  m_listener.Stop();
  seam::failures.get_config = [](const std::string&) { return true; };
  SSDP_STATUS status = 1;
  EXPECT_EQ(OutputOf([&] { status = m_listener.Init(); }),
            "[#] Init: m_ssdpstore->GetConfig(SSDP_CONFIG_NETWORK_INTERFACE, config) == "
            "SSDP_SUCCESS failed. (GetConfig failed) \n source/ssdplistener.cpp\n");
  EXPECT_EQ(status, 0);
}

TEST_F(Listener, ReturnsThatItsThreadCannotBeStarted) {
  m_listener.Stop();
  seam::calls.pthread_create = [](auto...) { return EAGAIN; };
  SSDP_STATUS status = 0;
  OutputOf([&] { status = m_listener.Init(); });
  EXPECT_EQ(status, 1);
}

TEST_F(Listener, SignalsTheDelayUnderItsLockThenStopsThenClosesThenJoins) {
  m_system.LogLocks();
  const auto log = [this](const char* step) {
    m_system.log.push_back(std::string(step) + (m_listener.IsStarted() ? "" : " once stopped"));
    return 0;
  };
  seam::calls.pthread_cond_signal = [log](pthread_cond_t*) { return log("signal"); };
  seam::calls.shutdown = [log](int, int) { return log("shutdown"); };
  EXPECT_EQ(m_listener.DeInit(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "signal", "unlock", "shutdown once stopped",
                                        "close", "pthread_join"));
}

TEST_F(Listener, ReturnsThatItsThreadCannotBeJoined) {
  seam::calls.pthread_join = [](pthread_t, void**) { return ESRCH; };
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_listener.DeInit(); }),
            "[#] Join: pthread_join(m_handle, NULL) == 0 failed. \n source/worker.cpp\n"
            "[#] DeInit: Join() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n");
  EXPECT_EQ(status, 1);
}

TEST_F(Listener, PassesASearchToItsResponderAndANotifyToItsReader) {
  EXPECT_THAT(ReportedOf("M-SEARCH * HTTP/1.1\r\n" + std::string(kSearchRest)),
              ElementsAre("searched"));
  EXPECT_THAT(m_system.sent, SizeIs(1));
  EXPECT_THAT(ReportedOf("NOTIFY * HTTP/1.1\r\n" + std::string(kNotifyRest)),
              ElementsAre("notified"));
  EXPECT_THAT(m_system.sent, SizeIs(1));
}

TEST_F(Listener, PassesADatagramWithBothRequestLinesToBothTheSearchFirst) {
  const std::string search = "M-SEARCH * HTTP/1.1\r\n", notify = "NOTIFY * HTTP/1.1\r\n";
  EXPECT_THAT(ReportedOf(search + notify + kSearchRest + kNotifyRest),
              ElementsAre("searched", "notified"));
  EXPECT_THAT(ReportedOf(notify + kSearchRest + kNotifyRest + search),
              ElementsAre("searched", "notified"));
}

TEST_F(Listener, FindsARequestLineAnywhere) {
  EXPECT_THAT(ReportedOf("noise M-SEARCH * HTTP/1.1\r\n" + std::string(kSearchRest)),
              ElementsAre("searched"));
  EXPECT_THAT(ReportedOf("noise\r\nNOTIFY * HTTP/1.1\r\n" + std::string(kNotifyRest)),
              ElementsAre("notified"));
}

TEST_F(Listener, DropsEveryOtherDatagramWithoutPrinting) {
  const std::string rest = std::string(kSearchRest) + kNotifyRest;
  for (const std::string line :
       {"m-search * http/1.1\r\n", "notify * http/1.1\r\n", "M-SEARCH * HTTP/1.0\r\n",
        "NOTIFY * HTTP/1.0\r\n", "M-SEARCH * HTTP/1.1\n", "NOTIFY * HTTP/1.1\n",
        "M-SEARCH  * HTTP/1.1\r\n", "HTTP/1.1 200 OK\r\n", "", "\r\n"}) {
    std::vector<std::string> reported;
    EXPECT_EQ(OutputOf([&] { reported = ReportedOf(line + rest); }), "");
    EXPECT_THAT(reported, IsEmpty()) << line;
  }
  EXPECT_THAT(m_system.sent, IsEmpty());
}

TEST_F(Listener, SeesNothingBehindANulOrBehind512Bytes) {
  const std::string notify = "NOTIFY * HTTP/1.1\r\n" + std::string(kNotifyRest);
  EXPECT_THAT(ReportedOf(std::string("\0", 1) + notify), IsEmpty());
  EXPECT_THAT(ReportedOf(std::string(512 - 18, 'x') + notify), IsEmpty());
  EXPECT_THAT(ReportedOf(std::string(512 - notify.length(), 'x') + notify),
              ElementsAre("notified"));
  EXPECT_EQ(m_engine.reports[0].record.m_status, "ok");
}

TEST_F(Listener, ReadsTheNextDatagramOnlyAfterTheResponse) {
  const std::string search = "M-SEARCH * HTTP/1.1\r\n" + std::string(kSearchRest);
  m_system.Deliver(search, "10.0.0.1");
  m_system.Deliver(search, "10.0.0.2");
  m_engine.on_report = [this] { m_system.log.push_back("report"); };
  m_listener.Task();
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom", "time", "rand", "gettimeofday", "wait",
                                        "report", "sendto", "recvfrom", "time", "rand",
                                        "gettimeofday", "wait", "report", "sendto", "recvfrom"));
  ASSERT_THAT(m_system.sent, SizeIs(2));
  EXPECT_EQ(m_system.sent[0].address, "10.0.0.1");
  EXPECT_EQ(m_system.sent[1].address, "10.0.0.2");
}

TEST_F(Listener, IgnoresWhatItsProcessingReturns) {
  seam::failures.get_config = [](const std::string&) { return true; };
  m_system.Deliver("M-SEARCH * HTTP/1.1\r\nNOTIFY * HTTP/1.1\r\n");
  m_system.Deliver("NOTIFY * HTTP/1.1\r\n");
  int result = 1;
  EXPECT_EQ(OutputOf([&] { result = m_listener.Task(); }),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n"
            "[#] ProcessNotify: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n"
            "[#] ProcessNotify: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(result, 0);
}

TEST_F(Listener, ReceivesNothingOnceStopped) {
  m_listener.Stop();
  EXPECT_EQ(m_listener.Task(), 0);
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(Listener, OutlivesACallbackThatThrows) {
  m_system.Deliver("NOTIFY * HTTP/1.1\r\n" + std::string(kNotifyRest));
  m_system.Deliver("NOTIFY * HTTP/1.1\r\n" + std::string(kNotifyRest));
  m_engine.on_report = [] { throw std::runtime_error("the host's"); };
  EXPECT_EQ(m_listener.Task(), 0);
  EXPECT_THAT(m_engine.reports, SizeIs(2));
}

TEST_F(Listener, PausesAndReceivesNothingWithoutASocket) {
  seam::calls.socket = [](int, int, int) { return -1; };
  std::unique_ptr<OpenListener> listener;
  OutputOf([&] {
    listener = std::make_unique<OpenListener>(&support::Engine::Callback, &m_store, &m_engine);
  });
  listener->Start();
  int pauses = 0;
  seam::calls.usleep = [&](useconds_t) {
    if (++pauses == 3) listener->Stop();
    return 0;
  };
  m_system.log.clear();
  EXPECT_EQ(listener->Task(), 0);
  EXPECT_EQ(pauses, 3);
  EXPECT_THAT(m_system.log, IsEmpty());
}

// With the real system, in the private network.
TEST(RealListener, HearsTheGroupOnItsOwnThreadAndIsGoneWhenDeInitReturns) {
  SSDPStorage store;
  support::SetLamp(store);
  store.Init();
  support::Engine engine;
  std::promise<void> reported;
  char name[16] = "";
  engine.on_report = [&] {
    pthread_getname_np(pthread_self(), name, sizeof(name));
    reported.set_value();
  };
  OpenListener listener(&support::Engine::Callback, &store, &engine);
  EXPECT_EQ(listener.Init(), 0);
  const int peer = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in group = support::Address("239.255.255.250", 1900);
  sendto(peer, golden::kLampAlive.data(), golden::kLampAlive.length(), 0,
         reinterpret_cast<const sockaddr*>(&group), sizeof(group));
  reported.get_future().wait();
  EXPECT_EQ(listener.DeInit(), 0);
  EXPECT_EQ(fcntl(listener.m_handle, F_GETFD, 0), -1);
  EXPECT_THAT(engine.reports, SizeIs(1));
  EXPECT_EQ(engine.reports[0].record.m_address, "10.77.0.1");
  EXPECT_STREQ(name, "ssdp-listener");
  seam::real.close(peer);
}

}  // namespace
}  // namespace libSSDP
