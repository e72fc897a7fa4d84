// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>
#include <future>
#include <limits>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"
#include "ssdphandler.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Report;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A lamp's reply with everything as it should be.
const std::string kReply =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=1800\r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:abcd::urn:schemas-example-org:device:Light:1\r\n"
    "Status: ok\r\n"
    "\r\n";

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  const size_t found = text.find(what);
  EXPECT_NE(found, std::string::npos) << what;
  return text.replace(found, what.length(), by);
}

class SearchResponseReceiver : public testing::Test {
 protected:
  SearchResponseReceiver() {
    support::SetLamp(m_store);
    m_store.Init();
    m_handler.Start();
    m_system.log.clear();
    m_system.when_drained = [this] { m_handler.Stop(); };
  }

  // Runs the loop over everything that was delivered.
  int Run() { return m_handler.Task(); }

  // What is reported of one reply, which is to be reported once.
  Report Reported(const std::string& reply) {
    m_engine.reports.clear();
    m_handler.Start();
    m_system.Deliver(reply);
    Run();
    EXPECT_THAT(m_engine.reports, SizeIs(1)) << reply;
    return m_engine.reports.empty() ? Report() : m_engine.reports[0];
  }

  void ExpectDropped(const std::string& reply) {
    m_engine.reports.clear();
    m_handler.Start();
    m_system.Deliver(reply);
    Run();
    EXPECT_THAT(m_engine.reports, IsEmpty()) << reply;
  }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  SSDPHandler m_handler{&support::Engine::Callback, &m_store, &m_engine};
};

TEST_F(SearchResponseReceiver, ReportsASearchResponseAsAnAliveDevice) {
  m_system.Deliver(kReply, "192.168.1.7");
  EXPECT_EQ(Run(), 0);
  ASSERT_THAT(m_engine.reports, SizeIs(1));
  const Report& report = m_engine.reports[0];
  EXPECT_EQ(report.record.m_address, "192.168.1.7");
  EXPECT_EQ(report.record.m_status, "ok");
  EXPECT_EQ(report.record.m_expiry, 1794752579 + 1800);
  EXPECT_EQ(report.record.m_uuid, "abcd");
  EXPECT_TRUE(report.has_record);
  EXPECT_TRUE(report.alive);
  EXPECT_FALSE(report.searched);
}

TEST_F(SearchResponseReceiver, ReadsTheGoldenResponse) {
  const Report report = Reported(golden::kLampAnswer);
  EXPECT_EQ(report.record.m_uuid, "1234");
  EXPECT_EQ(report.record.m_status, "ok");
}

TEST_F(SearchResponseReceiver, AsksForTheSearchTargetByItsOwnNameWhateverOneIsStoredWithIt) {
  SearchTargetConfig target;
  m_store.GetConfig(target.m_name, target);
  for (const char* name : {"another name", "a_name_of_the_same_length"}) {
    target.m_name = name;
    m_store.SetConfig(SSDP_CONFIG_SEARCH_TARGET, target);
    m_system.Deliver(kReply);
    m_handler.Start();
    EXPECT_EQ(Run(), 0);  // a second time when nothing more comes
  }
}

TEST_F(SearchResponseReceiver, TakesItsStepsInOrder) {
  m_system.Deliver(kReply);
  m_system.LogSettings();
  m_engine.on_report = [this] { m_system.log.push_back("report"); };
  Run();
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom", "get ssdp_config_search_target", "gettimeofday",
                                        "report", "recvfrom", "get ssdp_config_search_target"));
}

TEST_F(SearchResponseReceiver, ReportsEverySearchResponseInTheOrderOfArrival) {
  m_system.Deliver(kReply, "10.0.0.1");
  m_system.Deliver("something else", "10.0.0.2");
  m_system.Deliver(Replaced(kReply, "abcd", "efgh"), "10.0.0.3");
  Run();
  ASSERT_THAT(m_engine.reports, SizeIs(2));
  EXPECT_EQ(m_engine.reports[0].record.m_address, "10.0.0.1");
  EXPECT_EQ(m_engine.reports[1].record.m_address, "10.0.0.3");
  EXPECT_EQ(m_engine.reports[1].record.m_uuid, "efgh");
}

TEST_F(SearchResponseReceiver, DropsTheSearchResponseOfAnotherSearchTarget) {
  ExpectDropped(Replaced(kReply, "ST: urn:schemas-example-org:device:Light:1",
                         "ST: urn:schemas-example-org:device:Pump:1"));
  ExpectDropped(Replaced(kReply, "ST: ", "St: "));
  ExpectDropped(Replaced(kReply, "ST: ", "ST:"));
  ExpectDropped(Replaced(kReply, "ST: urn", "ST: URN"));
}

TEST_F(SearchResponseReceiver, AcceptsASearchTargetThatBeginsWithItsOwn) {
  Reported(Replaced(kReply, "Light:1\r\nUSN", "Light:10\r\nUSN"));
}

TEST_F(SearchResponseReceiver, FindsTheSearchTargetAnywhere) {
  Reported(Replaced(kReply, "ST: urn", "X: HOST: urn"));
}

TEST_F(SearchResponseReceiver, LooksAtNoStartLine) {
  Reported(Replaced(kReply, "HTTP/1.1 200 OK", "NOTIFY * HTTP/1.1"));
  Reported(Replaced(kReply, "HTTP/1.1 200 OK", "M-SEARCH * HTTP/1.1"));
  Reported(Replaced(kReply, "HTTP/1.1 200 OK\r\n", ""));
}

TEST_F(SearchResponseReceiver, ReportsAByebyeInASearchResponseAsAliveToo) {
  EXPECT_TRUE(Reported(Replaced(kReply, "Status: ok", "NTS: ssdp:byebye\r\nStatus: ok")).alive);
}

TEST_F(SearchResponseReceiver, LetsASearchResponseWithoutANumberExpireNow) {
  EXPECT_EQ(Reported(Replaced(kReply, "=1800", "=soon")).record.m_expiry, 1794752579);
  EXPECT_EQ(Reported(Replaced(kReply, "=1800", "=-1")).record.m_expiry, 1794752578);
}

TEST_F(SearchResponseReceiver, LetsAHugeMaxAgeLastAsLongAsTheFieldCanSay) {
  EXPECT_EQ(Reported(Replaced(kReply, "=1800", "=99999999999")).record.m_expiry,
            std::numeric_limits<int32_t>::max());
}

TEST_F(SearchResponseReceiver, TakesAllBehindTheStatusLessFourBytes) {
  EXPECT_EQ(Reported(Replaced(kReply, "ok\r\n", "ok\r\nX: y\r\n")).record.m_status, "ok\r\nX: y");
  EXPECT_EQ(Reported(Replaced(kReply, "ok\r\n\r\n", "ready\r\n")).record.m_status, "rea");
}

TEST_F(SearchResponseReceiver, TreatsAStatusOfLessThanFourBytesAsEmpty) {
  for (const char* ending : {"", "\n", "ok", "ok\r"}) {
    EXPECT_EQ(Reported(Replaced(kReply, "ok\r\n\r\n", ending)).record.m_status, "");
  }
}

TEST_F(SearchResponseReceiver, DropsASearchResponseThatLacksAPartOfTheRecord) {
  ExpectDropped(Replaced(kReply, "Cache-Control: ", "Cache: "));
  ExpectDropped(Replaced(kReply, "Status: ", "State: "));
  ExpectDropped(Replaced(kReply, "USN: uuid:", "USN: "));
  ExpectDropped(
      "ST: urn:schemas-example-org:device:Light:1 Cache-Control: max-age=1 Status: ok  "
      "USN: uuid:abcd");
}

TEST_F(SearchResponseReceiver, SeesASearchResponseOf512BytesWholeAndCutsALongerOne) {
  const std::string status(512 - kReply.length() + 2, 'x');
  const std::string full = Replaced(kReply, "ok", status);
  ASSERT_EQ(full.length(), 512u);
  EXPECT_EQ(Reported(full).record.m_status, status);
  EXPECT_EQ(Reported(full + "y").record.m_status, status);
  EXPECT_EQ(Reported(full.substr(0, 508) + std::string(60000, 'x')).record.m_status, status);
}

TEST_F(SearchResponseReceiver, SeesNothingBehindANul) {
  ExpectDropped(std::string("x\0", 2) + kReply);
  EXPECT_EQ(Reported(Replaced(kReply, "ok", std::string("ok\0more", 7))).record.m_status, "");
}

TEST_F(SearchResponseReceiver, ReadsTheSearchTargetAgainForEveryDatagram) {
  m_system.Deliver(kReply);
  m_system.Deliver(kReply);
  m_engine.on_report = [this] {
    SearchTargetConfig other;
    other.m_search_target = "other";
    m_store.SetConfig(other.m_name, other);
  };
  Run();
  EXPECT_THAT(m_engine.reports, SizeIs(1));
}

TEST_F(SearchResponseReceiver, IgnoresFailedReceivesAndEmptyDatagrams) {
  m_system.Deliver("");
  m_system.Deliver(kReply);
  EXPECT_EQ(OutputOf([this] { Run(); }), "");
  EXPECT_THAT(m_engine.reports, SizeIs(1));
}

TEST_F(SearchResponseReceiver, EndsWhenTheSearchTargetCannotBeRead) {
  m_system.Deliver(kReply);
  m_system.Deliver(kReply);
  seam::failures.get_config = [](const std::string&) { return true; };
  int result = 0;
  EXPECT_EQ(OutputOf([&] { result = Run(); }),
            "[#] Task: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdphandler.cpp\n");
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(m_handler.IsStarted());
  EXPECT_THAT(m_engine.reports, IsEmpty());
  EXPECT_THAT(m_system.log, ElementsAre("recvfrom"));
}

TEST_F(SearchResponseReceiver, ReceivesNothingOnceStopped) {
  m_handler.Stop();
  m_system.Deliver(kReply);
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(SearchResponseReceiver, HoldsNoLockWhileItReports) {
  m_system.LogLocks();
  std::vector<std::string> before;
  m_engine.on_report = [&] { before = m_system.log; };
  m_system.Deliver(kReply);
  Run();
  EXPECT_THAT(before, ElementsAre("recvfrom", "lock", "unlock", "gettimeofday"));
}

TEST_F(SearchResponseReceiver, OutlivesACallbackThatThrows) {
  m_system.Deliver(kReply);
  m_system.Deliver(kReply);
  m_engine.on_report = [] { throw std::runtime_error("the host's"); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_engine.reports, SizeIs(2));
}

TEST_F(SearchResponseReceiver, PausesAndReceivesNothingWithoutASocket) {
  seam::calls.socket = [](int, int, int) { return -1; };
  std::unique_ptr<SSDPHandler> handler;
  OutputOf([&] {
    handler = std::make_unique<SSDPHandler>(&support::Engine::Callback, &m_store, &m_engine);
  });
  handler->Start();
  int pauses = 0;
  seam::calls.usleep = [&](useconds_t microseconds) {
    EXPECT_GE(microseconds, 1000u);
    if (++pauses == 3) handler->Stop();
    return 0;
  };
  m_system.log.clear();
  EXPECT_EQ(handler->Task(), 0);
  EXPECT_EQ(pauses, 3);
  EXPECT_THAT(m_system.log, IsEmpty());
}

// With the real system, in the private network.
class RealSearchResponseReceiver : public testing::Test {
 protected:
  ~RealSearchResponseReceiver() override { seam::Reset(); }
};

TEST_F(RealSearchResponseReceiver, IsGoneWithNoMoreReportsWhenDeInitReturns) {
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
  // The handler's port is known from the search that it sends.
  SSDPHandler handler(&support::Engine::Callback, &store, &engine);
  const int peer = seam::real.socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in port = {};
  seam::calls.sendto = [&](int fd, auto...) -> ssize_t {
    socklen_t length = sizeof(port);
    getsockname(fd, reinterpret_cast<sockaddr*>(&port), &length);
    return -1;
  };
  OutputOf([&] { handler.SearchNetwork(nullptr); });
  port.sin_addr.s_addr = inet_addr("127.0.0.1");
  handler.Init();
  seam::real.sendto(peer, kReply.data(), kReply.length(), 0, reinterpret_cast<sockaddr*>(&port),
                    sizeof(port));
  reported.get_future().wait();
  EXPECT_EQ(handler.DeInit(), 0);
  EXPECT_THAT(engine.reports, SizeIs(1));
  EXPECT_EQ(engine.reports[0].record.m_address, "127.0.0.1");
  EXPECT_STREQ(name, "ssdp-handler");
  seam::real.close(peer);
}

}  // namespace
}  // namespace libSSDP
