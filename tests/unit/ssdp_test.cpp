// SPDX-License-Identifier: MIT
#include "ssdp.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <map>
#include <memory>
#include <set>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr char kCreateFailed[] =
    "[#] Start: pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0 failed. \n"
    " source/worker.cpp\n";
constexpr char kJoinFailed[] =
    "[#] Join: pthread_join(m_handle, NULL) == 0 failed. \n source/worker.cpp\n";

class Service : public testing::Test {
 protected:
  Service() {
    support::HookSettings(m_ssdp);
    support::SetLamp(m_ssdp);
  }

  // Has the creation (or the end) of the thread number `failing`, counted from 1, fail.
  void FailToCreate(int failing) {
    seam::calls.pthread_create = [failing, count = 0](auto...) mutable {
      return ++count == failing ? EAGAIN : 0;
    };
  }
  void FailToJoin(int failing) {
    seam::calls.pthread_join = [failing, count = 0](auto...) mutable {
      return ++count == failing ? ESRCH : 0;
    };
  }

  // What Init, or DeInit, prints when it fails.
  std::string InitFailure() {
    SSDP_STATUS status = 0;
    const std::string output = OutputOf([&] { status = m_ssdp.Init(); });
    EXPECT_EQ(status, 1);
    return output;
  }
  std::string DeInitFailure() {
    SSDP_STATUS status = 0;
    const std::string output = OutputOf([&] { status = m_ssdp.DeInit(); });
    EXPECT_EQ(status, 1);
    return output;
  }

  support::ScriptedSystem m_system;
  SSDP m_ssdp{0};
};

TEST_F(Service, MakesTheListenerBeforeTheHandlerAndSendsNothing) {
  EXPECT_THAT(m_system.log, ElementsAre("socket", "fcntl", "setsockopt", "bind", "setsockopt",
                                        "socket", "fcntl", "bind", "setsockopt"));
}

TEST_F(Service, StartsStoreThenListenerThenHandlerThenItsOwnThread) {
  m_system.log.clear();
  m_system.LogSettings();
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(
      m_system.log,
      ElementsAre("get ssdp_config_domain_name", "get ssdp_config_device_type",
                  "get ssdp_config_version", "set ssdp_config_search_target",
                  "get ssdp_config_search_target", "get ssdp_config_user_agent",
                  "set ssdp_config_msearch_header", "get ssdp_config_search_target",
                  "set ssdp_config_notify_header", "get ssdp_config_server_info",
                  "get ssdp_config_search_target", "set ssdp_config_response_header", "getifaddrs",
                  "get ssdp_config_network_interface", "pthread_create", "getifaddrs",
                  "get ssdp_config_network_interface", "pthread_create", "pthread_create"));
  EXPECT_TRUE(m_ssdp.IsStarted());
}

TEST_F(Service, StopsAtAStoreThatCannotStart) {
  seam::failures.set_config = [](const std::string& name) {
    return name == "ssdp_config_search_target";
  };
  m_system.log.clear();
  EXPECT_EQ(InitFailure(),
            "[#] Init: SetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n"
            "[#] Init: m_ssdpstore->Init() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, IsEmpty());
  EXPECT_FALSE(m_ssdp.IsStarted());
}

TEST_F(Service, StopsAtAListenerThatCannotStart) {
  FailToCreate(1);
  m_system.log.clear();
  EXPECT_EQ(InitFailure(),
            std::string(kCreateFailed) +
                "[#] Init: Start() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n"
                "[#] Init: m_listener->Init() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, ElementsAre("getifaddrs"));
}

TEST_F(Service, StopsAtAHandlerThatCannotStartAndUndoesNothing) {
  FailToCreate(2);
  m_system.log.clear();
  EXPECT_EQ(InitFailure(),
            std::string(kCreateFailed) +
                "[#] Init: Start() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n"
                "[#] Init: m_handler->Init() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, ElementsAre("getifaddrs", "getifaddrs"));
}

TEST_F(Service, ReportsItsOwnThreadThatCannotStartAndUndoesNothing) {
  FailToCreate(3);
  m_system.log.clear();
  EXPECT_EQ(InitFailure(), std::string(kCreateFailed) +
                               "[#] Init: Start() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, ElementsAre("getifaddrs", "getifaddrs"));
}

TEST_F(Service, SendsByebyeThenStopsListenerHandlerAndItsOwnThread) {
  m_ssdp.Init();
  m_system.log.clear();
  seam::calls.pthread_join = [this](pthread_t, void**) {
    m_system.log.push_back(m_ssdp.IsStarted() ? "join" : "join once stopped");
    return 0;
  };
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("sendto", "signal", "shutdown", "close", "join", "shutdown",
                                        "close", "join", "join once stopped"));
}

TEST_F(Service, SendsByebyeWhetherOrNotItAnnounces) {
  for (int announce : {0, 1}) {
    SSDP ssdp(announce);
    support::SetLamp(ssdp);
    ssdp.Init();
    m_system.sent.clear();
    EXPECT_EQ(ssdp.DeInit(), 0);
    ASSERT_THAT(m_system.sent, SizeIs(1));
    EXPECT_EQ(m_system.sent[0].data, golden::kLampByebye);
  }
}

TEST_F(Service, RunsOnWhenTheByebyeCannotBeSent) {
  m_ssdp.Init();
  m_system.log.clear();
  seam::calls.sendto = [](auto...) { return -1; };
  EXPECT_EQ(DeInitFailure(),
            "[#] AnnounceNetwork: bytes == config.m_notify_header.length() failed. \n"
            " source/ssdphandler.cpp\n"
            "[#] DeInit: m_handler->AnnounceNetwork(\"ssdp:byebye\", this) == SSDP_SUCCESS failed."
            " \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, IsEmpty());
  EXPECT_TRUE(m_ssdp.IsStarted());
}

TEST_F(Service, LeavesTheRestWhenTheListenerCannotBeStopped) {
  m_ssdp.Init();
  FailToJoin(1);
  m_system.log.clear();
  EXPECT_EQ(DeInitFailure(),
            std::string(kJoinFailed) +
                "[#] DeInit: Join() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n"
                "[#] DeInit: m_listener->DeInit() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log, ElementsAre("sendto", "signal", "shutdown", "close"));
  EXPECT_TRUE(m_ssdp.IsStarted());
}

TEST_F(Service, LeavesTheRestWhenTheHandlerCannotBeStopped) {
  m_ssdp.Init();
  FailToJoin(2);
  m_system.log.clear();
  EXPECT_EQ(DeInitFailure(),
            std::string(kJoinFailed) +
                "[#] DeInit: Join() == SSDP_SUCCESS failed. \n source/ssdpbase.cpp\n"
                "[#] DeInit: m_handler->DeInit() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
  EXPECT_THAT(m_system.log,
              ElementsAre("sendto", "signal", "shutdown", "close", "shutdown", "close"));
  EXPECT_TRUE(m_ssdp.IsStarted());
}

TEST_F(Service, ReportsItsOwnThreadThatCannotBeJoined) {
  m_ssdp.Init();
  FailToJoin(3);
  EXPECT_EQ(DeInitFailure(), std::string(kJoinFailed) +
                                 "[#] DeInit: Join() == SSDP_SUCCESS failed. \n source/ssdp.cpp\n");
}

TEST_F(Service, FailsToStopWhatNeverStarted) {
  EXPECT_THAT(DeInitFailure(), HasSubstr("[#] DeInit: m_handler->AnnounceNetwork("));
  EXPECT_THAT(m_system.sent, IsEmpty());
}

TEST_F(Service, DoesNothingWhenDestroyed) {
  {
    SSDP ssdp(1);
    ssdp.Init();
    m_system.log.clear();
  }
  EXPECT_THAT(m_system.log, IsEmpty());
}

TEST_F(Service, MakesFreshWorkersWhenItStartsAgain) {
  m_ssdp.Init();
  m_ssdp.DeInit();
  m_system.log.clear();
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(m_system.log,
              ElementsAre("socket", "fcntl", "setsockopt", "bind", "setsockopt", "socket", "fcntl",
                          "bind", "setsockopt", "getifaddrs", "pthread_create", "getifaddrs",
                          "pthread_create", "pthread_create"));
  m_system.sent.clear();
  EXPECT_EQ(m_ssdp.Announce(), 0);
  EXPECT_EQ(m_system.sent[0].socket, 1003);  // the fourth socket: listener's, handler's, twice
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(Service, ReadsTheInterfaceAgainWhenItStartsAgain) {
  m_ssdp.Init();
  m_ssdp.DeInit();
  m_system.log.clear();
  seam::failures.get_config = [this](const std::string& name) {
    if (name == SSDP_CONFIG_NETWORK_INTERFACE) m_system.log.push_back("interface");
    return false;
  };
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(m_system.log,
              ElementsAre("socket", "fcntl", "setsockopt", "bind", "setsockopt", "socket", "fcntl",
                          "bind", "setsockopt", "getifaddrs", "interface", "pthread_create",
                          "getifaddrs", "interface", "pthread_create", "pthread_create"));
}

// That thread uses the handler, which is about to go.
TEST_F(Service, EndsItsOwnThreadBeforeItReplacesAHandlerWithoutASocket) {
  seam::calls.socket = [this, count = 0](auto...) mutable {
    m_system.log.push_back("socket");
    return ++count == 2 ? -1 : count;
  };
  std::unique_ptr<SSDP> ssdp;
  OutputOf([&] { ssdp = std::make_unique<SSDP>(0); });
  ssdp->Init();
  m_system.log.clear();
  seam::calls.pthread_join = [&](pthread_t, void**) {
    m_system.log.push_back(ssdp->IsStarted() ? "join" : "join once stopped");
    return 0;
  };
  EXPECT_EQ(ssdp->Init(), 0);
  const std::vector<std::string> stop = {"shutdown", "close", "join"};
  std::vector<std::string> expected = {"signal"};  // the listener's first
  for (int worker = 0; worker < 2; ++worker)
    expected.insert(expected.end(), stop.begin(), stop.end());
  for (const char* step : {"socket", "fcntl", "setsockopt", "bind", "setsockopt",
                           "join once stopped", "socket", "fcntl", "bind", "setsockopt"})
    expected.push_back(step);
  for (int thread = 0; thread < 2; ++thread)
    expected.insert(expected.end(), {"getifaddrs", "pthread_create"});
  expected.push_back("pthread_create");
  EXPECT_THAT(m_system.log, testing::ElementsAreArray(expected));
}

TEST_F(Service, KeepsItsWorkersForAStartThatWasNotPrecededByAStop) {
  FailToCreate(1);
  InitFailure();
  m_system.log.clear();
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(m_system.log, Not(testing::Contains("socket")));
}

TEST_F(Service, ForwardsSettingsToItsStore) {
  VersionConfig config;
  config.m_version = "2";
  EXPECT_EQ(m_ssdp.SetConfig(config.m_name, config), 0);
  VersionConfig read;
  EXPECT_EQ(m_ssdp.GetConfig(read.m_name, read), 0);
  EXPECT_EQ(read.m_version, "2");
}

TEST_F(Service, ReportsASettingThatCannotBeWrittenOrRead) {
  seam::failures.get_config = [](const std::string&) { return true; };
  seam::failures.set_config = [](const std::string&) { return true; };
  SSDP_STATUS set = 0, get = 0;
  VersionConfig config;
  EXPECT_EQ(OutputOf([&] { set = m_ssdp.SetConfig(config.m_name, config); }),
            "[#] SetConfig: m_ssdpstore->SetConfig(name, config) == SSDP_SUCCESS failed. \n"
            " source/ssdp.cpp\n");
  EXPECT_EQ(OutputOf([&] { get = m_ssdp.GetConfig(config.m_name, config); }),
            "[#] GetConfig: m_ssdpstore->GetConfig(name, config) == SSDP_SUCCESS failed. \n"
            " source/ssdp.cpp\n");
  EXPECT_EQ(set, 1);
  EXPECT_EQ(get, 1);
}

TEST_F(Service, ReplacesAContextByANullOne) {
  static void* heard;
  const auto hear = [](const DeviceInfo*, DeviceInfo*, unsigned int, void* context) {
    heard = context;
  };
  EXPECT_EQ(m_ssdp.SetCallback(hear, &heard), 0);
  SSDP::Callback(&m_ssdp, nullptr, false, true);
  EXPECT_EQ(heard, &heard);
  EXPECT_EQ(m_ssdp.SetCallback(hear, nullptr), 0);
  SSDP::Callback(&m_ssdp, nullptr, false, true);
  EXPECT_EQ(heard, nullptr);
}

TEST_F(Service, TellsDevicesApartWhoseUuidsDifferOnlyAtTheEnd) {
  const std::set<std::string> uuids = {"2f402f80-da50-11e1-9b23-001788255acc",
                                       "2f402f80-da50-11e1-9b23-001788255acd",
                                       "2f402f80-da50-11e1-9b23-001788255ac",
                                       "a",
                                       "b",
                                       ""};
  const auto known = [this] {
    std::map<std::string, DeviceInfo*> devices;
    m_ssdp.GetDevices(devices);
    std::set<std::string> names;
    for (const auto& [uuid, device] : devices) {
      EXPECT_EQ(device->m_uuid, uuid);
      names.insert(uuid);
    }
    return names;
  };
  m_ssdp.Init();
  DeviceInfo device;
  for (const std::string& uuid : uuids) {
    device.m_uuid = uuid;
    SSDP::Callback(&m_ssdp, &device, true, false);
  }
  EXPECT_EQ(known(), uuids);
  std::set<std::string> left = uuids;
  for (const std::string& uuid : uuids) {
    device.m_uuid = uuid;
    SSDP::Callback(&m_ssdp, &device, false, false);
    left.erase(uuid);
    EXPECT_EQ(known(), left);
  }
  m_ssdp.DeInit();
}

TEST_F(Service, ForgetsItsDevicesUnderTheTablesLockOnceEveryThreadHasEnded) {
  m_ssdp.Init();
  m_system.log.clear();
  m_system.LogLocks();
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  ASSERT_GE(m_system.log.size(), 3u);
  EXPECT_THAT(std::vector<std::string>(m_system.log.end() - 3, m_system.log.end()),
              ElementsAre("pthread_join", "lock", "unlock"));
}

TEST_F(Service, AnnouncesWheneverItIsAsked) {
  m_ssdp.Init();
  EXPECT_EQ(m_ssdp.Announce(), 0);
  ASSERT_THAT(m_system.sent, SizeIs(1));
  EXPECT_EQ(m_system.sent[0].data, golden::kLampAlive);
  EXPECT_EQ(m_system.sent[0].socket, 1001);
}

TEST_F(Service, SearchesWheneverItIsAsked) {
  m_ssdp.Init();
  EXPECT_EQ(m_ssdp.Search(), 0);
  ASSERT_THAT(m_system.sent, SizeIs(1));
  EXPECT_EQ(m_system.sent[0].data, golden::kLampSearch);
  EXPECT_EQ(m_system.sent[0].socket, 1001);
}

TEST_F(Service, ReportsAnAnnouncementAndASearchThatCannotBeSent) {
  m_ssdp.Init();
  seam::calls.sendto = [](auto...) { return -1; };
  SSDP_STATUS announced = 0, searched = 0;
  EXPECT_EQ(OutputOf([&] { announced = m_ssdp.Announce(); }),
            "[#] AnnounceNetwork: bytes == config.m_notify_header.length() failed. \n"
            " source/ssdphandler.cpp\n"
            "[#] Announce: m_handler->AnnounceNetwork(\"ssdp:alive\", this) == SSDP_SUCCESS failed."
            " \n source/ssdp.cpp\n");
  EXPECT_EQ(OutputOf([&] { searched = m_ssdp.Search(); }),
            "[#] SearchNetwork: bytes == config.m_msearch_header.length() failed. \n"
            " source/ssdphandler.cpp\n"
            "[#] Search: m_handler->SearchNetwork(this) == SSDP_SUCCESS failed. \n"
            " source/ssdp.cpp\n");
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(searched, 1);
}

TEST_F(Service, SendsNothingBeforeItWasStarted) {
  SSDP_STATUS announced = 0, searched = 0;
  OutputOf([&] {
    announced = m_ssdp.Announce();
    searched = m_ssdp.Search();
  });
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(searched, 1);
  EXPECT_THAT(m_system.sent, IsEmpty());
}

// A child as the service sees it: another process id.
TEST_F(Service, RefusesEveryCallInAChildOfTheProcessThatRunsIt) {
  m_ssdp.Init();
  const std::vector<std::string> before = m_system.log;
  const size_t sent = m_system.sent.size();
  seam::calls.getpid = [] { return 4711; };
  DeviceStatusConfig config;
  std::map<std::string, DeviceInfo*> devices;
  int refused = 0;
  const std::string output = OutputOf([&] {
    refused = m_ssdp.SetConfig(config.m_name, config) + m_ssdp.GetConfig(config.m_name, config) +
              m_ssdp.SetCallback(nullptr, nullptr) + m_ssdp.Announce() + m_ssdp.Search() +
              m_ssdp.GetDevices(devices) + m_ssdp.Init() + m_ssdp.DeInit();
  });
  seam::calls.getpid = nullptr;
  EXPECT_EQ(refused, 8);
  EXPECT_THAT(output, testing::StartsWith("[#] SetConfig: IsInOwnProcess() failed. \n"));
  EXPECT_EQ(m_system.log, before);
  EXPECT_THAT(m_system.sent, testing::SizeIs(sent));
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(Service, OpensItsOwnSocketsInAChildThatStartsWhatItsParentCreated) {
  seam::calls.getpid = [] { return 4711; };
  m_system.log.clear();
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(m_system.log,
              ElementsAre("close", "close", "socket", "fcntl", "setsockopt", "bind", "setsockopt",
                          "socket", "fcntl", "bind", "setsockopt", "getifaddrs", "pthread_create",
                          "getifaddrs", "pthread_create", "pthread_create"));
  EXPECT_EQ(m_ssdp.DeInit(), 0);
  m_system.log.clear();
  seam::calls.getpid = [] { return 4712; };  // its own child: the sockets are closed already
  EXPECT_EQ(m_ssdp.Init(), 0);
  EXPECT_THAT(m_system.log, Not(testing::Contains("close")));
  EXPECT_EQ(m_ssdp.DeInit(), 0);
}

TEST_F(Service, PrintsNothingWhenAllGoesWell) {
  EXPECT_EQ(OutputOf([this] {
              m_ssdp.Init();
              m_ssdp.Announce();
              m_ssdp.Search();
              m_ssdp.DeInit();
            }),
            "");
}

}  // namespace
}  // namespace libSSDP
