// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"
#include "ssdplistener.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Set;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class MSearchResponder : public testing::Test {
 protected:
  MSearchResponder() {
    support::SetLamp(m_store);
    m_store.Init();
    m_system.log.clear();
    seam::calls.pthread_cond_timedwait = [this](pthread_cond_t*, pthread_mutex_t*,
                                                const timespec* until) {
      m_system.log.push_back("wait");
      m_deadline = *until;
      return ETIMEDOUT;
    };
    seam::calls.rand = [this] {
      m_system.log.push_back("rand");
      return m_rand;
    };
  }

  int Process(const std::string& message) {
    m_system.sent.clear();
    m_engine.reports.clear();
    return m_listener.ProcessMSearch(message.c_str(), support::Address("192.168.1.7", 50000));
  }

  // The answer to a search for a lamp.
  std::string Answered() {
    EXPECT_EQ(Process(golden::kLampSearch), 0);
    EXPECT_THAT(m_system.sent, SizeIs(1));
    return m_system.sent.empty() ? "" : m_system.sent[0].data;
  }

  void ExpectIgnored(const std::string& message) {
    m_system.log.clear();
    EXPECT_EQ(Process(message), 0) << message;
    EXPECT_THAT(m_system.sent, IsEmpty()) << message;
    EXPECT_THAT(m_engine.reports, IsEmpty()) << message;
    EXPECT_THAT(m_system.log, testing::Not(testing::Contains("wait"))) << message;
  }

  // The delay in milliseconds before the answer to a search with the MX text `mx`.
  int64_t DelayOf(const std::string& mx, int random) {
    m_rand = random;
    EXPECT_EQ(Process("M-SEARCH * HTTP/1.1\r\nMX: " + mx +
                      "\r\nST: urn:schemas-example-org:device:Light:1\r\n\r\n"),
              0);
    EXPECT_THAT(m_system.sent, SizeIs(1)) << mx;
    return int64_t{m_deadline.tv_sec - m_system.now.tv_sec} * 1000 +
           (m_deadline.tv_nsec / 1000 - m_system.now.tv_usec) / 1000;
  }

  std::string FailureOf(const std::string& unreadable) {
    seam::failures.get_config = [&](const std::string& name) { return name == unreadable; };
    int result = 0;
    const std::string output = OutputOf([&] { result = Process(golden::kLampSearch); });
    seam::failures = {};
    EXPECT_EQ(result, 1);
    EXPECT_THAT(m_system.sent, IsEmpty());
    EXPECT_THAT(m_engine.reports, IsEmpty());
    return output;
  }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  SSDPListener m_listener{&support::Engine::Callback, &m_store, &m_engine};
  timespec m_deadline = {};
  int m_rand = 0;
};

TEST_F(MSearchResponder, AnswersALampWithTheGoldenResponse) {
  EXPECT_EQ(Answered(), golden::kLampAnswer);
}

TEST_F(MSearchResponder, AnswersAPumpWithTheGoldenResponse) {
  support::SetPump(m_store);
  m_store.Init();
  Process(golden::kPumpSearch);
  ASSERT_THAT(m_system.sent, SizeIs(1));
  EXPECT_EQ(m_system.sent[0].data, golden::kPumpAnswer);
}

TEST_F(MSearchResponder, AnswersForADeviceWithNothingSet) {
  SSDPStorage blank;
  blank.Init();
  SSDPListener listener(&support::Engine::Callback, &blank, &m_engine);
  EXPECT_EQ(listener.ProcessMSearch(golden::kBlankSearch.c_str(), {}), 0);
  ASSERT_THAT(m_system.sent, SizeIs(1));
  EXPECT_EQ(m_system.sent[0].data, golden::kBlankAnswer);
}

TEST_F(MSearchResponder, SendsItsResponseOnceFromTheGroupSocketToTheSender) {
  Answered();
  EXPECT_EQ(m_system.sent[0].socket, 1000);
  EXPECT_EQ(m_system.sent[0].address, "192.168.1.7");
  EXPECT_EQ(m_system.sent[0].port, 50000);
  EXPECT_EQ(m_system.sent[0].flags, 0);
  EXPECT_EQ(m_system.sent[0].address_length, 16u);
}

TEST_F(MSearchResponder, ReportsTheSearchWithoutARecordBeforeItAnswers) {
  size_t sent_before = 99;
  m_engine.on_report = [&] { sent_before = m_system.sent.size(); };
  Answered();
  EXPECT_EQ(sent_before, 0u);
  ASSERT_THAT(m_engine.reports, SizeIs(1));
  EXPECT_FALSE(m_engine.reports[0].has_record);
  EXPECT_FALSE(m_engine.reports[0].alive);
  EXPECT_TRUE(m_engine.reports[0].searched);
}

TEST_F(MSearchResponder, AsksForTheSearchTargetByItsOwnNameWhateverOneIsStoredWithIt) {
  SearchTargetConfig target;
  m_store.GetConfig(target.m_name, target);
  target.m_name = "another name";
  m_store.SetConfig(SSDP_CONFIG_SEARCH_TARGET, target);
  EXPECT_EQ(Answered(), golden::kLampAnswer);
  EXPECT_EQ(Answered(), golden::kLampAnswer);
}

TEST_F(MSearchResponder, TakesItsStepsInOrder) {
  m_system.LogSettings();
  m_engine.on_report = [this] { m_system.log.push_back("report"); };
  Answered();
  EXPECT_THAT(
      m_system.log,
      ElementsAre("get ssdp_config_search_target", "get ssdp_config_response_header", "time",
                  "get ssdp_config_notify_timeout", "get ssdp_config_status",
                  "get ssdp_config_uuid", "rand", "gettimeofday", "wait", "report", "sendto"));
}

TEST_F(MSearchResponder, ReadsNothingMoreForASearchThatIsNotForIt) {
  m_system.LogSettings();
  EXPECT_EQ(Process("ST: ssdp:all"), 0);
  EXPECT_THAT(m_system.log, ElementsAre("get ssdp_config_search_target"));
}

TEST_F(MSearchResponder, IgnoresASearchForAnythingElse) {
  for (const char* st :
       {"ST:urn:schemas-example-org:device:Light:1", "st: urn:schemas-example-org:device:Light:1",
        "St: urn:schemas-example-org:device:Light:1", "ST: URN:schemas-example-org:device:Light:1",
        "ST: ssdp:all", "ST: upnp:rootdevice", "ST: uuid:1234",
        "ST: urn:schemas-example-org:device:Light:", "NT: urn:schemas-example-org:device:Light:1",
        "ST:  urn:schemas-example-org:device:Light:1"}) {
    ExpectIgnored(std::string("M-SEARCH * HTTP/1.1\r\nMX: 3\r\n") + st + "\r\n\r\n");
  }
}

TEST_F(MSearchResponder, AnswersASearchTargetThatBeginsWithItsOwn) {
  EXPECT_EQ(Process("MX: 1\r\nST: urn:schemas-example-org:device:Light:10\r\n"), 0);
  EXPECT_THAT(m_system.sent, SizeIs(1));
}

TEST_F(MSearchResponder, FindsItsHeadersAnywhere) {
  EXPECT_EQ(Process("x ST: urn:schemas-example-org:device:Light:1 y MX: 1"), 0);
  EXPECT_THAT(m_system.sent, SizeIs(1));
}

TEST_F(MSearchResponder, IgnoresASearchThatGrantsNoTime) {
  const std::string start = "M-SEARCH * HTTP/1.1\r\nST: urn:schemas-example-org:device:Light:1\r\n";
  for (const char* mx : {"", "MX: 0\r\n", "MX: \r\n", "MX: x\r\n", "MX:3\r\n", "mx: 3\r\n",
                         "MX: -0\r\n", "MX: 0x3\r\n", "MX: +\r\n", "MX: "}) {
    ExpectIgnored(start + mx);
  }
}

TEST_F(MSearchResponder, WaitsForARandomPartOfMx) {
  EXPECT_EQ(DelayOf("3", 0), 0);
  EXPECT_EQ(DelayOf("3", 2999), 2999);
  EXPECT_EQ(DelayOf("3", 3000), 0);
  EXPECT_EQ(DelayOf("3", 2147483647), 2647);
  EXPECT_EQ(DelayOf("1", 2147483647), 647);
  EXPECT_EQ(DelayOf("120", 119999), 119999);
}

TEST_F(MSearchResponder, ReadsMxLikeAtoi) {
  EXPECT_EQ(DelayOf("3, or so", 3001), 1);
  EXPECT_EQ(DelayOf("  +2", 2001), 1);
  EXPECT_EQ(DelayOf("2.9", 2001), 1);
}

TEST_F(MSearchResponder, TakesTheMagnitudeOfANegativeMx) {
  EXPECT_EQ(DelayOf("-3", 2999), 2999);
  EXPECT_EQ(DelayOf("-3", 3000), 0);
  EXPECT_EQ(DelayOf("-1", 1001), 1);
  EXPECT_EQ(DelayOf("-2147483648", 2147483647), 2147483647);
  EXPECT_EQ(DelayOf("-99999999999", 2147483647), 2147483647);
}

TEST_F(MSearchResponder, WaitsNeitherNegativelyNorWithoutLimitForAHugeMx) {
  for (const char* mx : {"536870912", "2147483647", "99999999999", "4294967296", "2147484",
                         "99999999999999999999999999"}) {
    EXPECT_EQ(DelayOf(mx, 0), 0) << mx;
    EXPECT_EQ(DelayOf(mx, 2147483647), 2147483647) << mx;
    EXPECT_EQ(DelayOf(mx, 2147483646), 2147483646) << mx;
  }
}

TEST_F(MSearchResponder, WaitsOnTheConditionWithTheDelayMutexHeld) {
  pthread_mutex_t *locked = nullptr, *waited = nullptr;
  bool held_at_rand = false, held_at_wait = false, free_at_report = false;
  const auto is_held = [](pthread_mutex_t* mutex) {
    if (pthread_mutex_trylock(mutex) == EBUSY) return true;
    seam::real.pthread_mutex_unlock(mutex);
    return false;
  };
  seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
    locked = mutex;
    return seam::real.pthread_mutex_lock(mutex);
  };
  seam::calls.rand = [&] {
    held_at_rand = is_held(locked);
    return 0;
  };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t* mutex, auto) {
    waited = mutex;
    held_at_wait = is_held(mutex);
    return ETIMEDOUT;
  };
  m_engine.on_report = [&] { free_at_report = !is_held(waited); };
  Answered();
  EXPECT_EQ(waited, locked);
  EXPECT_TRUE(held_at_rand);
  EXPECT_TRUE(held_at_wait);
  EXPECT_TRUE(free_at_report);
}

TEST_F(MSearchResponder, ReadsTheSettingsForEverySearch) {
  Answered();
  Set(m_store, &NotifyTimeoutConfig::m_notify_timeout, -1);
  Set(m_store, &DeviceStatusConfig::m_status, std::string("busy"));
  Set(m_store, &DeviceUUIDConfig::m_uuid, std::string(""));
  EXPECT_EQ(Answered(),
            "HTTP/1.1 200 OK\r\nCache-Control: max-age=-1\r\n"
            "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\nSERVER: Linux/6.1 UPnP/1.1 lamp/2.0\r\n"
            "ST: urn:schemas-example-org:device:Light:1\r\n"
            "USN: uuid:::urn:schemas-example-org:device:Light:1\r\nStatus: busy\r\n\r\n");
}

TEST_F(MSearchResponder, NeverChangesTheTemplate) {
  const std::string first = Answered();
  EXPECT_EQ(Answered(), first);
}

TEST_F(MSearchResponder, WritesTheDateOfItsTimeInLocalTime) {
  seam::calls.ctime_r = nullptr;
  m_system.now.tv_sec = 0;
  const char* zone = std::getenv("TZ");
  const std::string saved = zone != nullptr ? zone : "";
  setenv("TZ", "XXX-5", 1);  // five hours east of Greenwich
  tzset();
  const std::string answer = Answered();
  zone != nullptr ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
  tzset();
  EXPECT_THAT(answer, HasSubstr("DATE: Thu Jan  1 05:00:00 1970\n\rEXT: \r\n"));
}

TEST_F(MSearchResponder, AnswersWithoutADateWhenTheSystemHasNone) {
  seam::calls.ctime_r = [](const time_t*, char*) -> char* { return nullptr; };
  EXPECT_THAT(Answered(), HasSubstr("\r\nDATE: \rEXT: \r\n"));
}

// Each value is looked for from the start of what the insertions before have made of the answer.
TEST_F(MSearchResponder, InsertsTheValuesInAFixedOrder) {
  Set(m_store, &ServerInfoConfig::m_server_info, std::string("DATE: Status: "));
  m_store.Init();
  Set(m_store, &DeviceStatusConfig::m_status, std::string("USN: uuid:Cache-Control: max-age="));
  EXPECT_EQ(Answered(),
            "HTTP/1.1 200 OK\r\nCache-Control: max-age=1800\r\n"
            "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
            "SERVER: DATE: Status: USN: uuid:1234Cache-Control: max-age=\r\n"
            "ST: urn:schemas-example-org:device:Light:1\r\n"
            "USN: uuid:::urn:schemas-example-org:device:Light:1\r\nStatus: \r\n\r\n");
}

TEST_F(MSearchResponder, InsertsAtTheWrappedIndexWhenTheTemplateLacksItsHeaders) {
  Set(m_store, &ResponseHeaderConfig::m_response_header, std::string("0123456789abcdefghijklmnop"));
  Set(m_store, &DeviceUUIDConfig::m_uuid, std::string("U"));
  Set(m_store, &DeviceStatusConfig::m_status, std::string("S"));
  seam::calls.ctime_r = [](const time_t*, char* text) {
    text[0] = 'D';
    text[1] = '\0';
    return text;
  };
  // DATE at 5, max-age at 22, Status at 7, USN at 9, one after the other.
  EXPECT_EQ(Answered(), "01234D5S6U789abcdefghijk1800lmnop");
}

TEST_F(MSearchResponder, ReportsAndSendsNothingWhileTheTemplateIsEmpty) {
  SSDPStorage fresh;
  SSDPListener listener(&support::Engine::Callback, &fresh, &m_engine);
  int result = 0;
  EXPECT_EQ(OutputOf([&] { result = listener.ProcessMSearch("ST: MX: 3", {}); }),
            "[#] ProcessMSearch: InsertAfter(rconfig.m_response_header, \"DATE: \", DateText()) "
            "failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(result, 1);
  EXPECT_THAT(m_system.sent, IsEmpty());
  EXPECT_THAT(m_engine.reports, IsEmpty());
}

TEST_F(MSearchResponder, ReportsAndSendsNothingWhenTheTemplateIsTooShortForTheMaxAge) {
  Set(m_store, &ResponseHeaderConfig::m_response_header, std::string("0123456789"));
  seam::calls.ctime_r = [](const time_t*, char*) -> char* { return nullptr; };
  int result = 0;
  EXPECT_EQ(
      OutputOf([&] { result = Process(golden::kLampSearch); }),
      "[#] ProcessMSearch: InsertAfter(rconfig.m_response_header, \"Cache-Control: max-age=\", "
      "max_age) failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(result, 1);
  EXPECT_THAT(m_system.sent, IsEmpty());
  EXPECT_THAT(m_engine.reports, IsEmpty());
}

TEST_F(MSearchResponder, ReportsWhatItCannotRead) {
  EXPECT_EQ(FailureOf("ssdp_config_search_target"),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_response_header"),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(rconfig.m_name, rconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_notify_timeout"),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(notifytoconfig.m_name, notifytoconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_status"),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(statusconfig.m_name, statusconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_uuid"),
            "[#] ProcessMSearch: m_ssdpstore->GetConfig(uuidconfig.m_name, uuidconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdplistener.cpp\n");
}

TEST_F(MSearchResponder, ReportsASendThatFailsOrIsShort) {
  for (ssize_t bytes : {-1, 0, 10}) {
    int sends = 0, result = 0;
    seam::calls.sendto = [&](auto...) { return ++sends, bytes; };
    EXPECT_EQ(OutputOf([&] { result = Process(golden::kLampSearch); }),
              "[#] ProcessMSearch: bytes == rconfig.m_response_header.length() failed. \n"
              " source/ssdplistener.cpp\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(sends, 1);  // no retry
    EXPECT_THAT(m_engine.reports, SizeIs(1));
  }
}

}  // namespace
}  // namespace libSSDP
