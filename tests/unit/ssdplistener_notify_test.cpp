// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <limits>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"
#include "ssdplistener.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Report;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  const size_t found = text.find(what);
  EXPECT_NE(found, std::string::npos) << what;
  return text.replace(found, what.length(), by);
}

class NotifyReceiver : public testing::Test {
 protected:
  NotifyReceiver() {
    support::SetLamp(m_store);
    m_store.Init();
    m_system.log.clear();
  }

  int Process(const std::string& message) {
    m_engine.reports.clear();
    return m_listener.ProcessNotify(message.c_str(), support::Address("192.168.1.7", 50000));
  }

  Report Reported(const std::string& message) {
    EXPECT_EQ(Process(message), 0);
    EXPECT_THAT(m_engine.reports, SizeIs(1)) << message;
    return m_engine.reports.empty() ? Report() : m_engine.reports[0];
  }

  void ExpectIgnored(const std::string& message) {
    EXPECT_EQ(Process(message), 0) << message;
    EXPECT_THAT(m_engine.reports, IsEmpty()) << message;
  }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  SSDPListener m_listener{&support::Engine::Callback, &m_store, &m_engine};
};

TEST_F(NotifyReceiver, ReportsAnAliveDevice) {
  const Report report = Reported(golden::kLampAlive);
  EXPECT_TRUE(report.has_record);
  EXPECT_EQ(report.record.m_address, "192.168.1.7");
  EXPECT_EQ(report.record.m_status, "ok");
  EXPECT_EQ(report.record.m_expiry, 1794752579 + 1800);
  EXPECT_EQ(report.record.m_uuid, "1234");
  EXPECT_TRUE(report.alive);
  EXPECT_FALSE(report.searched);
}

TEST_F(NotifyReceiver, ReportsAByebyeWithItsExpiryAhead) {
  const Report report = Reported(golden::kLampByebye);
  EXPECT_FALSE(report.alive);
  EXPECT_FALSE(report.searched);
  EXPECT_EQ(report.record.m_uuid, "1234");
  EXPECT_EQ(report.record.m_expiry, 1794752579 + 1800);
}

// That name comes along with the first read, into what is kept for the second.
TEST_F(NotifyReceiver, AsksForTheSearchTargetByItsOwnNameWhateverOneIsStoredWithIt) {
  SearchTargetConfig target;
  m_store.GetConfig(target.m_name, target);
  for (const char* name : {"another name", "a_name_of_the_same_length"}) {
    target.m_name = name;
    m_store.SetConfig(SSDP_CONFIG_SEARCH_TARGET, target);
    Reported(golden::kLampAlive);
    Reported(golden::kLampAlive);
  }
}

TEST_F(NotifyReceiver, TakesItsStepsInOrderAndAnswersNothing) {
  m_system.LogSettings();
  m_engine.on_report = [this] { m_system.log.push_back("report"); };
  Process(golden::kLampAlive);
  EXPECT_THAT(m_system.log, ElementsAre("get ssdp_config_search_target", "gettimeofday", "report"));
}

TEST_F(NotifyReceiver, HoldsNoLockWhileItReports) {
  m_system.LogLocks();
  m_engine.on_report = [this] { m_system.log.push_back("report"); };
  Process(golden::kLampAlive);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock", "gettimeofday", "report"));
}

TEST_F(NotifyReceiver, IgnoresAnotherSearchTarget) {
  ExpectIgnored(golden::kPumpAlive);
  ExpectIgnored(Replaced(golden::kLampAlive, "NT: ", "nt: "));
  ExpectIgnored(Replaced(golden::kLampAlive, "NT: ", "NT:"));
  ExpectIgnored(Replaced(golden::kLampAlive, "NT: urn", "NT: URN"));
  ExpectIgnored(Replaced(golden::kLampAlive, "NT: ", "ST: "));
}

TEST_F(NotifyReceiver, AcceptsATypeThatBeginsWithItsOwn) {
  Reported(Replaced(golden::kLampAlive, "Light:1\r\nUSN", "Light:10\r\nUSN"));
}

TEST_F(NotifyReceiver, FindsItsTypeAnywhere) {
  Reported(Replaced(golden::kLampAlive, "NT: urn", "X: COUNT: urn"));
}

TEST_F(NotifyReceiver, TakesAnythingButAliveForALeave) {
  EXPECT_FALSE(Reported(Replaced(golden::kLampAlive, "ssdp:alive", "ssdp:update")).alive);
  EXPECT_FALSE(Reported(Replaced(golden::kLampAlive, "ssdp:alive", "SSDP:ALIVE")).alive);
  EXPECT_FALSE(Reported(Replaced(golden::kLampAlive, "NTS: ssdp:alive\r\n", "")).alive);
}

TEST_F(NotifyReceiver, FindsAliveAnywhere) {
  EXPECT_TRUE(Reported(Replaced(golden::kLampByebye, "1234::", "1234::ssdp:alive")).alive);
  EXPECT_TRUE(Reported(Replaced(golden::kLampByebye, "ok", "ssdp:alive")).alive);
}

TEST_F(NotifyReceiver, EndsTheUuidBeforeTheNextColon) {
  EXPECT_EQ(Reported(Replaced(golden::kLampAlive, "1234", "1234-abcd")).record.m_uuid, "1234-abcd");
  EXPECT_EQ(Reported(Replaced(golden::kLampAlive, "1234", "")).record.m_uuid, "");
}

TEST_F(NotifyReceiver, DropsTheLastFourBytesOfTheStatus) {
  const auto status_of = [this](const std::string& ending) {
    return Reported(Replaced(golden::kLampAlive, "ok\r\n\r\n", ending)).record.m_status;
  };
  EXPECT_EQ(status_of("ready\r\n\r\n"), "ready");
  EXPECT_EQ(status_of("ready\r\n"), "rea");
  EXPECT_EQ(status_of("ready\r\nX: y\r\n\r\n"), "ready\r\nX: y");
  EXPECT_EQ(status_of("\r\n\r\n"), "");
}

TEST_F(NotifyReceiver, IgnoresAStatusOfLessThanFourBytes) {
  for (const char* ending : {"", "\n", "ok", "ok\r"})
    ExpectIgnored(Replaced(golden::kLampAlive, "ok\r\n\r\n", ending));
}

TEST_F(NotifyReceiver, IgnoresAMessageThatLacksAPartOfTheRecord) {
  ExpectIgnored(Replaced(golden::kLampAlive, "Cache-Control: ", "Cache: "));
  ExpectIgnored(Replaced(golden::kLampAlive, "Status: ", "State: "));
  ExpectIgnored(Replaced(golden::kLampAlive, "USN: uuid:", "USN: "));
  ExpectIgnored(
      "NT: urn:schemas-example-org:device:Light:1 Cache-Control: max-age=1 Status: ok  "
      "USN: uuid:1234");
}

TEST_F(NotifyReceiver, ReadsTheMaxAgeLikeAtoiAndSaturates) {
  const auto expiry_of = [this](const std::string& max_age) {
    return Reported(Replaced(golden::kLampAlive, "=1800", "=" + max_age)).record.m_expiry;
  };
  EXPECT_EQ(expiry_of("soon"), 1794752579);
  EXPECT_EQ(expiry_of(""), 1794752579);
  EXPECT_EQ(expiry_of("-10"), 1794752569);
  EXPECT_EQ(expiry_of("10, x"), 1794752589);
  EXPECT_EQ(expiry_of("99999999999"), std::numeric_limits<int32_t>::max());
}

TEST_F(NotifyReceiver, ReadsTheSearchTargetAgain) {
  Reported(golden::kLampAlive);
  support::Set(m_store, &SearchTargetConfig::m_search_target, std::string("other"));
  ExpectIgnored(golden::kLampAlive);
}

TEST_F(NotifyReceiver, ReportsASearchTargetThatCannotBeRead) {
  seam::failures.get_config = [](const std::string&) { return true; };
  int result = 0;
  EXPECT_EQ(OutputOf([&] { result = Process(golden::kLampAlive); }),
            "[#] ProcessNotify: m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdplistener.cpp\n");
  EXPECT_EQ(result, 1);
  EXPECT_THAT(m_engine.reports, IsEmpty());
}

}  // namespace
}  // namespace libSSDP
