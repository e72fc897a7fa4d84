// SPDX-License-Identifier: MIT
// Reads and writes of the settings that fail: what is reported, what comes back, what still runs.
#include <arpa/inet.h>

#include "fault.h"
#include "settings.h"

namespace fault {
namespace {

using namespace libSSDP;

constexpr char kService[] = "source/ssdp.cpp";
constexpr char kStore[] = "source/ssdpstorage.cpp";
constexpr char kListener[] = "source/ssdplistener.cpp";
constexpr char kHandler[] = "source/ssdphandler.cpp";

class HookedApplication : public Application {
 public:
  explicit HookedApplication(bool announce = false) : Application(announce) {
    support::HookSettings(*ssdpserver);
  }
};

enum class Access { kRead, kWrite };

// The `call`th access to a setting, counted from 0 and from the moment when the test arms it.
struct StoreFault {
  const char* name;
  Access access;
  const char* setting;
  int call;
  std::string report;
};

void PrintTo(const StoreFault& fault, std::ostream* out) {
  *out << fault.name;
}

class StoreFaultTest : public FaultTest, public testing::WithParamInterface<StoreFault> {
 protected:
  void SetUp() override {
    Hurry();
    const auto fails = [this](Access access, const std::string& setting) {
      const StoreFault& fault = GetParam();
      return m_armed && access == fault.access && setting == fault.setting &&
             m_calls++ == fault.call;
    };
    seam::failures.get_config = [=](const std::string& name) { return fails(Access::kRead, name); };
    seam::failures.set_config = [=](const std::string& name) {
      return fails(Access::kWrite, name);
    };
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      // To the group alone: our own search comes back, and its answer may overtake the test.
      if (reinterpret_cast<const sockaddr_in*>(to)->sin_port == htons(1900)) ++m_sent;
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }

  std::atomic<bool> m_armed{false};
  std::atomic<int> m_calls{0};
  std::atomic<int> m_sent{0};
};

std::string NameOf(const testing::TestParamInfo<StoreFault>& test) {
  return test.param.name;
}

// Start-up: nothing runs afterwards, and a second attempt succeeds.

class FailingSettingOfAStart : public StoreFaultTest {};

TEST_P(FailingSettingOfAStart, StopsTheStart) {
  HookedApplication application;
  m_armed = true;
  EXPECT_EQ(Initialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(),
            GetParam().report + Line("Init", "m_ssdpstore->Init() == SSDP_SUCCESS", kService));
  EXPECT_EQ(Threads(), m_threads);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

std::string InInit(const std::string& condition) {
  return Line("Init", condition, kStore);
}

std::string InGenerator(const std::string& generator, const std::string& condition) {
  return Line(generator, condition, kStore) +
         Line("Init", generator + "() == SSDP_SUCCESS", kStore);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, FailingSettingOfAStart,
    testing::Values(StoreFault{"DomainName", Access::kRead, "ssdp_config_domain_name", 0,
                               InInit("GetConfig(dconfig.m_name, dconfig) == SSDP_SUCCESS")},
                    StoreFault{"DeviceType", Access::kRead, "ssdp_config_device_type", 0,
                               InInit("GetConfig(dtconfig.m_name, dtconfig) == SSDP_SUCCESS")},
                    StoreFault{"Version", Access::kRead, "ssdp_config_version", 0,
                               InInit("GetConfig(vconfig.m_name, vconfig) == SSDP_SUCCESS")},
                    StoreFault{"SearchTarget", Access::kWrite, "ssdp_config_search_target", 0,
                               InInit("SetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS")},
                    StoreFault{"MSearchTarget", Access::kRead, "ssdp_config_search_target", 0,
                               InGenerator("GenerateMSearchHeader",
                                           "GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS")},
                    StoreFault{"MSearchUserAgent", Access::kRead, "ssdp_config_user_agent", 0,
                               InGenerator("GenerateMSearchHeader",
                                           "GetConfig(uconfig.m_name, uconfig) == SSDP_SUCCESS")},
                    StoreFault{"MSearchHeader", Access::kWrite, "ssdp_config_msearch_header", 0,
                               InGenerator("GenerateMSearchHeader",
                                           "SetConfig(mconfig.m_name, mconfig) == SSDP_SUCCESS")},
                    StoreFault{"NotifyTarget", Access::kRead, "ssdp_config_search_target", 1,
                               InGenerator("GenerateNotifyHeader",
                                           "GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS")},
                    StoreFault{"NotifyHeader", Access::kWrite, "ssdp_config_notify_header", 0,
                               InGenerator("GenerateNotifyHeader",
                                           "SetConfig(config.m_name, config) == SSDP_SUCCESS")},
                    StoreFault{"ResponseServerInfo", Access::kRead, "ssdp_config_server_info", 0,
                               InGenerator("GenerateResponseHeader",
                                           "GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS")},
                    StoreFault{"ResponseTarget", Access::kRead, "ssdp_config_search_target", 2,
                               InGenerator("GenerateResponseHeader",
                                           "GetConfig(stconfig.m_name, stconfig) == SSDP_SUCCESS")},
                    StoreFault{"ResponseHeader", Access::kWrite, "ssdp_config_response_header", 0,
                               InGenerator("GenerateResponseHeader",
                                           "SetConfig(config.m_name, config) == SSDP_SUCCESS")}),
    NameOf);

// The interface's name is only recorded: without it the service starts all the same.

class FailingInterfaceSetting : public StoreFaultTest {};

TEST_P(FailingInterfaceSetting, DoesNotStopTheStart) {
  HookedApplication application;
  m_armed = true;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), GetParam().report);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

constexpr char kReadInterface[] =
    "m_ssdpstore->GetConfig(SSDP_CONFIG_NETWORK_INTERFACE, config) == SSDP_SUCCESS";

INSTANTIATE_TEST_SUITE_P(
    Workers, FailingInterfaceSetting,
    testing::Values(StoreFault{"Listener", Access::kRead, "ssdp_config_network_interface", 0,
                               Line("Init", kReadInterface, "GetConfig failed", kListener)},
                    StoreFault{"Handler", Access::kRead, "ssdp_config_network_interface", 1,
                               Line("Init", kReadInterface, "GetConfig failed", kHandler)}),
    NameOf);

// Sending: nothing leaves, the caller is told, and the next one leaves.

class SendFaultTest : public StoreFaultTest {
 protected:
  void ExpectFailure(SSDP_STATUS (*send)(), const std::string& caller) {
    HookedApplication application;
    ASSERT_EQ(Initialize(), SSDP_SUCCESS);
    m_armed = true;
    EXPECT_EQ(send(), SSDP_FAILURE);
    EXPECT_EQ(m_output.Text(), GetParam().report + caller);
    EXPECT_EQ(m_sent, 0);
    EXPECT_EQ(send(), SSDP_SUCCESS);
    EXPECT_EQ(m_sent, 1);
    EXPECT_TRUE(application.Works());
    EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  }
};

class FailingSettingOfAnAnnouncement : public SendFaultTest {};
class FailingSettingOfASearch : public SendFaultTest {};

TEST_P(FailingSettingOfAnAnnouncement, SendsNothing) {
  ExpectFailure(Announce,
                Line("Announce", "m_handler->AnnounceNetwork(\"ssdp:alive\", this) == SSDP_SUCCESS",
                     kService));
}

// The byebye needs the same settings. Without it the service runs on, and can be stopped later.
TEST_P(FailingSettingOfAnAnnouncement, StopsTheStop) {
  HookedApplication application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  m_armed = true;
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(),
            GetParam().report +
                Line("DeInit", "m_handler->AnnounceNetwork(\"ssdp:byebye\", this) == SSDP_SUCCESS",
                     kService));
  EXPECT_EQ(m_sent, 0);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_P(FailingSettingOfASearch, SendsNothing) {
  ExpectFailure(libSSDP::Search,
                Line("Search", "m_handler->SearchNetwork(this) == SSDP_SUCCESS", kService));
}

StoreFault Sending(const char* name, const char* setting, const char* function,
                   const std::string& config) {
  return {name, Access::kRead, setting, 0,
          Line(function,
               "m_ssdpstore->GetConfig(" + config + ".m_name, " + config + ") == SSDP_SUCCESS",
               kHandler)};
}

INSTANTIATE_TEST_SUITE_P(
    Settings, FailingSettingOfAnAnnouncement,
    testing::Values(Sending("Header", "ssdp_config_notify_header", "AnnounceNetwork", "config"),
                    Sending("TimeOut", "ssdp_config_notify_timeout", "AnnounceNetwork",
                            "notifytoconfig"),
                    Sending("Status", "ssdp_config_status", "AnnounceNetwork", "statusconfig"),
                    Sending("Uuid", "ssdp_config_uuid", "AnnounceNetwork", "uuidconfig")),
    NameOf);

INSTANTIATE_TEST_SUITE_P(Settings, FailingSettingOfASearch,
                         testing::Values(Sending("Header", "ssdp_config_msearch_header",
                                                 "SearchNetwork", "config"),
                                         Sending("TimeOut", "ssdp_config_msearch_timeout",
                                                 "SearchNetwork", "msearchconfig")),
                         NameOf);

// The listener: one datagram is lost, the next one is served.

class ListenerFaultTest : public StoreFaultTest {
 protected:
  // Whatever else the listener reads, it's one datagram at a time in the order of arrival.
  void ExpectLoss(const std::string& message, std::atomic<int> Application::*event) {
    Peer peer = Peer::InGroup();
    HookedApplication application;
    ASSERT_EQ(Initialize(), SSDP_SUCCESS);
    m_armed = true;
    peer.Send(message);
    peer.Send(message);
    peer.Send(Alive("last"));
    EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
    m_armed = false;
    EXPECT_EQ((application.*event).load(), 1);
    EXPECT_EQ(m_output.Text(), GetParam().report);
    EXPECT_TRUE(application.Works());
    EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  }
};

class FailingSettingOfAResponse : public ListenerFaultTest {};
class FailingSettingOfANotify : public ListenerFaultTest {};

TEST_P(FailingSettingOfAResponse, LosesOneSearch) {
  ExpectLoss(MSearch(), &Application::m_searched);
}

TEST_P(FailingSettingOfANotify, LosesOneAnnouncement) {
  ExpectLoss(Byebye("peer"), &Application::m_removed);
}

StoreFault Listening(const char* name, const char* setting, const char* function,
                     const std::string& config) {
  return {name, Access::kRead, setting, 0,
          Line(function,
               "m_ssdpstore->GetConfig(" + config + ".m_name, " + config + ") == SSDP_SUCCESS",
               kListener)};
}

INSTANTIATE_TEST_SUITE_P(
    Settings, FailingSettingOfAResponse,
    testing::Values(Listening("Target", "ssdp_config_search_target", "ProcessMSearch", "sconfig"),
                    Listening("Header", "ssdp_config_response_header", "ProcessMSearch", "rconfig"),
                    Listening("TimeOut", "ssdp_config_notify_timeout", "ProcessMSearch",
                              "notifytoconfig"),
                    Listening("Status", "ssdp_config_status", "ProcessMSearch", "statusconfig"),
                    Listening("Uuid", "ssdp_config_uuid", "ProcessMSearch", "uuidconfig")),
    NameOf);

INSTANTIATE_TEST_SUITE_P(Settings, FailingSettingOfANotify,
                         testing::Values(Listening("Target", "ssdp_config_search_target",
                                                   "ProcessNotify", "sconfig")),
                         NameOf);

// The receiver of answers ends: it hears nothing more until the service starts again.
TEST_F(FaultTest, AReceiverWithoutSearchTargetEnds) {
  Hurry();
  std::atomic<bool> armed{false};
  std::atomic<int> failures{0};
  seam::failures.get_config = [&](const std::string& name) {
    if (!armed || name != "ssdp_config_search_target") return false;
    ++failures;
    return true;
  };
  HookedApplication application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  const size_t running = Threads();
  {
    Peer peer = Peer::InGroup();
    // The listener hears the search too: it has to be past it before the fault begins.
    EXPECT_EQ(libSSDP::Search(), SSDP_SUCCESS);
    ASSERT_NE(peer.Receive("M-SEARCH"), "");
    EXPECT_TRUE(Await([&] { return application.m_searched == 1 && application.m_added == 1; }));
    armed = true;
    peer.Answer(Response("peer"));
    EXPECT_TRUE(Await([&] { return Threads() == running - 1; }));
    armed = false;
  }
  EXPECT_EQ(failures, 1);
  EXPECT_EQ(
      m_output.Text(),
      Line("Task", "m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS", kHandler));
  EXPECT_EQ(Announce(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return application.m_refreshed == 1; }));
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// The announcing skips the pass and tries again in the next.
TEST_F(FaultTest, AnAnnouncementWithoutTimeoutIsSkipped) {
  Hurry();
  Fault fault(When::kFirst);
  seam::failures.get_config = [&](const std::string& name) {
    return name == "ssdp_config_notify_timeout" && fault.Hits();
  };
  HookedApplication application(true);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return application.m_added == 1; }));
  EXPECT_EQ(m_output.Text(),
            "[#] Task: GetConfig() failed for SSDP_CONFIG_NOTIFY_TIMEOUT \n source/ssdp.cpp\n");
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// The application's own accesses.
TEST_F(FaultTest, ASetterThatFailsSaysSo) {
  HookedApplication application;
  seam::failures.set_config = [](const std::string& name) { return name == "ssdp_config_uuid"; };
  EXPECT_EQ(SetUUID("other"), SSDP_FAILURE);
  EXPECT_EQ(m_output.Text(),
            Line("SetConfig", "m_ssdpstore->SetConfig(name, config) == SSDP_SUCCESS", kService));
  seam::Reset();
  std::string uuid;
  EXPECT_EQ(GetUUID(uuid), SSDP_SUCCESS);
  EXPECT_EQ(uuid, "ourselves");
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(FaultTest, AGetterThatFailsSaysSoAndGivesTheDefault) {
  HookedApplication application;
  seam::failures.get_config = [](const std::string& name) { return name == "ssdp_config_uuid"; };
  std::string uuid = "unchanged";
  EXPECT_EQ(GetUUID(uuid), SSDP_FAILURE);
  EXPECT_EQ(uuid, "");
  EXPECT_EQ(m_output.Text(),
            Line("GetConfig", "m_ssdpstore->GetConfig(name, config) == SSDP_SUCCESS", kService));
  seam::Reset();
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

}  // namespace
}  // namespace fault
