// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <cerrno>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"
#include "ssdp.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Set;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kSendFailed[] =
    "[#] AnnounceNetwork: bytes == config.m_notify_header.length() failed. \n"
    " source/ssdphandler.cpp\n"
    "[#] Announce: m_handler->AnnounceNetwork(\"ssdp:alive\", this) == SSDP_SUCCESS failed. \n"
    " source/ssdp.cpp\n"
    "[#] Task: Announce() == SSDP_SUCCESS failed. (Unable to send NOTIFY Query) \n"
    " source/ssdp.cpp\n";

// The service's loop on the test's own thread: every pass ends in the scripted pause, which moves
// the clock on.
class ServiceLoop : public testing::Test {
 protected:
  explicit ServiceLoop(int announce = 1) : m_ssdp(announce) {
    support::HookSettings(m_ssdp);
    support::SetLamp(m_ssdp);
    m_ssdp.Init();
    m_system.log.clear();
    m_system.now = {1000, 0};
  }
  ~ServiceLoop() override {
    seam::calls.sendto = [](int, const void*, size_t size, auto...) {
      return static_cast<ssize_t>(size);
    };
    m_ssdp.DeInit();  // frees the records
  }

  // Runs `passes` passes, one second apart.
  int Run(int passes) {
    m_ssdp.Start();
    seam::calls.usleep = [this, passes, pass = 0](useconds_t microseconds) mutable {
      m_system.log.push_back("usleep");
      EXPECT_EQ(microseconds, 200000u);
      if (on_pause) on_pause();
      if (++pass == passes) m_ssdp.Stop();
      ++m_system.now.tv_sec;
      return 0;
    };
    return m_ssdp.Task();
  }

  // The seconds in which `passes` passes announced.
  std::vector<time_t> AnnouncedAt(int passes) {
    std::vector<time_t> seconds;
    seam::calls.sendto = [&](int, const void*, size_t size, auto...) {
      seconds.push_back(m_system.now.tv_sec);
      return static_cast<ssize_t>(size);
    };
    Run(passes);
    return seconds;
  }

  void AddDevice(const std::string& uuid, int32_t expiry) {
    DeviceInfo device;
    device.m_uuid = uuid;
    device.m_expiry = expiry;
    SSDP::Callback(&m_ssdp, &device, true, false);
  }

  std::vector<std::string> Devices() {
    std::map<std::string, DeviceInfo*> devices;
    m_ssdp.GetDevices(devices);
    std::vector<std::string> uuids;
    for (const auto& device : devices) uuids.push_back(device.first);
    return uuids;
  }

  support::ScriptedSystem m_system;
  SSDP m_ssdp;
  std::function<void()> on_pause;
};

class SilentServiceLoop : public ServiceLoop {
 protected:
  SilentServiceLoop() : ServiceLoop(0) {}
};

TEST_F(ServiceLoop, AnnouncesInTheFirstPass) {
  m_system.now = {1800, 0};  // the timeout after second 0, from which the first period counts
  EXPECT_EQ(Run(1), 0);
  ASSERT_THAT(m_system.sent, SizeIs(1));
  EXPECT_EQ(m_system.sent[0].data, golden::kLampAlive);
}

TEST_F(ServiceLoop, AnnouncesEveryNotifyTimeout) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 5);
  EXPECT_THAT(AnnouncedAt(12), ElementsAre(1000, 1005, 1010));
}

TEST_F(ServiceLoop, AnnouncesInEveryPassForATimeoutOfOneSecond) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 1);
  EXPECT_THAT(AnnouncedAt(3), ElementsAre(1000, 1001, 1002));
}

TEST_F(ServiceLoop, AnnouncesNothingForATimeoutOfZeroOrLess) {
  for (int timeout : {0, -1, -2147483647 - 1}) {
    Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, timeout);
    EXPECT_EQ(OutputOf([&] { Run(3); }), "");
    EXPECT_THAT(m_system.sent, IsEmpty()) << timeout;
    EXPECT_EQ(m_ssdp.Announce(), 0);  // when asked it does
    EXPECT_THAT(m_system.sent, SizeIs(1));
    m_system.sent.clear();
  }
}

TEST_F(SilentServiceLoop, AnnouncesNothingAndReadsNoTimeout) {
  m_system.LogSettings();
  Run(2);
  EXPECT_THAT(m_system.log, ElementsAre("gettimeofday", "usleep", "gettimeofday", "usleep"));
  EXPECT_THAT(m_system.sent, IsEmpty());
}

TEST_F(ServiceLoop, CountsWholeSecondsOfTheWallClock) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 1);
  m_system.now = {1000, 999999};
  on_pause = [this] { m_system.now.tv_usec = 0; };
  EXPECT_THAT(AnnouncedAt(2), ElementsAre(1000, 1001));
}

TEST_F(ServiceLoop, CountsFromTheClockAfterTheAnnouncement) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 5);
  std::vector<time_t> seconds;
  seam::calls.sendto = [&](int, const void*, size_t size, auto...) {
    seconds.push_back(m_system.now.tv_sec);
    m_system.now.tv_sec += 3;  // a slow send
    return static_cast<ssize_t>(size);
  };
  Run(7);
  EXPECT_THAT(seconds, ElementsAre(1000, 1008));
}

TEST_F(ServiceLoop, CountsTheFirstPeriodFromSecondZero) {
  m_system.now = {4, 0};
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 5);
  EXPECT_THAT(AnnouncedAt(3), ElementsAre(5));
}

TEST_F(ServiceLoop, WaitsForAClockThatWasSetBack) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 2);
  on_pause = [this, first = true]() mutable {
    if (std::exchange(first, false)) m_system.now.tv_sec = 997;
  };
  EXPECT_THAT(AnnouncedAt(7), ElementsAre(1000, 1002));
}

TEST_F(ServiceLoop, TakesANewTimeoutAtOnce) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 1000);
  on_pause = [this] {
    if (m_system.now.tv_sec == 1002) Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 3);
    if (m_system.now.tv_sec == 1003) Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 0);
  };
  EXPECT_THAT(AnnouncedAt(8), ElementsAre(1000, 1003));
}

TEST_F(ServiceLoop, TakesItsStepsInOrder) {
  m_system.now = {5000, 0};
  m_system.LogSettings();
  m_system.LogLocks();
  Run(2);
  std::vector<std::string> steps;
  for (const auto& step : m_system.log)  // those of the announcement itself are the handler's
    if (step.find("get ssdp_config_") != 0 || step == "get ssdp_config_notify_timeout")
      steps.push_back(step);
  EXPECT_THAT(steps,
              ElementsAre("gettimeofday", "lock", "get ssdp_config_notify_timeout", "unlock",    //
                          "lock", "unlock", "lock", "get ssdp_config_notify_timeout", "unlock",  //
                          "lock", "unlock", "lock", "unlock", "sendto",                          //
                          "gettimeofday", "lock", "unlock", "usleep",                            //
                          "gettimeofday", "lock", "get ssdp_config_notify_timeout", "unlock",    //
                          "lock", "unlock", "usleep"));
}

TEST_F(ServiceLoop, DoesNotRetryAFailedAnnouncementBeforeTheNextPeriod) {
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 3);
  int sends = 0;
  seam::calls.sendto = [&](auto...) { return ++sends, -1; };
  EXPECT_EQ(OutputOf([&] { Run(5); }), std::string(kSendFailed) + kSendFailed);
  EXPECT_EQ(sends, 2);
}

TEST_F(ServiceLoop, SkipsTheAnnouncementWhenTheTimeoutCannotBeRead) {
  m_system.now = {5000, 0};
  AddDevice("old", 4999);
  seam::failures.get_config = [](const std::string& name) {
    return name == "ssdp_config_notify_timeout";
  };
  EXPECT_EQ(OutputOf([&] { Run(2); }),
            "[#] Task: GetConfig() failed for SSDP_CONFIG_NOTIFY_TIMEOUT \n source/ssdp.cpp\n"
            "[#] Task: GetConfig() failed for SSDP_CONFIG_NOTIFY_TIMEOUT \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.sent, IsEmpty());
  EXPECT_THAT(Devices(), IsEmpty());  // the sweep isn't skipped
  seam::failures = {};
  Run(1);  // and the first timeout that can be read is due
  EXPECT_THAT(m_system.sent, SizeIs(1));
}

TEST_F(ServiceLoop, GoesOnWhenThePauseFails) {
  Run(1);
  seam::calls.usleep = [this, pass = 0](useconds_t) mutable {
    if (++pass == 2) m_ssdp.Stop();
    errno = EINTR;
    return -1;
  };
  m_ssdp.Start();
  Set(m_ssdp, &NotifyTimeoutConfig::m_notify_timeout, 0);
  EXPECT_EQ(OutputOf([&] { m_ssdp.Task(); }),
            "[#] Task: (usleep(200000) >= 0) failed. (Interrupted system call) \n"
            " source/ssdp.cpp\n"
            "[#] Task: (usleep(200000) >= 0) failed. (Interrupted system call) \n"
            " source/ssdp.cpp\n");
}

TEST_F(ServiceLoop, DoesNothingOnceStopped) {
  m_ssdp.Stop();
  EXPECT_EQ(m_ssdp.Task(), 0);
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(ServiceLoop, KeepsAPeerThroughTheSecondInWhichItExpires) {
  AddDevice("a", 1000);
  Run(1);
  EXPECT_THAT(Devices(), ElementsAre("a"));
  Run(1);  // now 1001
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(SilentServiceLoop, SweepsWithoutAnnouncing) {
  AddDevice("a", 999);
  Run(1);
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(ServiceLoop, SweepsOnlyWhatHasExpired) {
  AddDevice("a", 999);
  AddDevice("b", 1000);
  AddDevice("c", -5);
  AddDevice("d", 2147483647);
  AddDevice("e", 0);
  Run(1);
  EXPECT_THAT(Devices(), ElementsAre("b", "d"));
}

TEST_F(ServiceLoop, SweepsByTheTimeAtTheStartOfThePass) {
  AddDevice("a", 1000);
  std::vector<std::string> after_first_pass;
  seam::calls.sendto = [this](int, const void*, size_t size, auto...) {
    m_system.now.tv_sec += 10;
    return static_cast<ssize_t>(size);
  };
  on_pause = [&] { after_first_pass = Devices(); };
  Run(1);
  EXPECT_THAT(after_first_pass, ElementsAre("a"));
}

TEST_F(ServiceLoop, ReportsNothingOfWhatItSweeps) {
  AddDevice("a", 999);
  int calls = 0;
  m_ssdp.SetCallback([](auto, auto, auto, void* context) { ++*static_cast<int*>(context); },
                     &calls);
  EXPECT_EQ(OutputOf([&] { Run(1); }), "");
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_EQ(calls, 0);
}

TEST_F(ServiceLoop, KeepsAPeerThatIsHeardOfAgain) {
  AddDevice("a", 1000);
  on_pause = [this] { AddDevice("a", static_cast<int32_t>(m_system.now.tv_sec) + 1); };
  Run(5);
  EXPECT_THAT(Devices(), ElementsAre("a"));
}

}  // namespace
}  // namespace libSSDP
