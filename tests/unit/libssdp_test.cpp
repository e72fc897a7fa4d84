// SPDX-License-Identifier: MIT
#include "libssdp.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"
#include "ssdp.h"

namespace libSSDP {

extern SSDP* ssdpserver;

namespace {

using support::Get;
using support::OutputOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// No service at first; whatever a test makes is freed after it.
class EntryPoints : public testing::Test {
 protected:
  EntryPoints() { ssdpserver = nullptr; }
  ~EntryPoints() override {
    delete ssdpserver;
    ssdpserver = nullptr;
  }

  static void CreateHooked() {
    CreateSSDP(false);
    support::HookSettings(*ssdpserver);
  }

  // A call without a service: -1, and one line.
  void ExpectNotCreated(const char* name, const std::function<int()>& call) {
    int result = 0;
    EXPECT_EQ(OutputOf([&] { result = call(); }),
              std::string("[#] ") + name + ": ssdpserver != NULL failed. \n source/libssdp.cpp\n");
    EXPECT_EQ(result, -1) << name;
    EXPECT_THAT(m_system.log, IsEmpty()) << name;
  }

  // A call whose setting can't be stored: 1, and the service's line.
  void ExpectNotStored(const std::function<int()>& call) {
    int result = 0;
    EXPECT_EQ(OutputOf([&] { result = call(); }),
              "[#] SetConfig: m_ssdpstore->SetConfig(name, config) == SSDP_SUCCESS failed. \n"
              " source/ssdp.cpp\n");
    EXPECT_EQ(result, 1);
  }

  support::ScriptedSystem m_system;
};

TEST_F(EntryPoints, StartsWithoutAService) {
  EXPECT_EQ(ssdpserver, nullptr);
}

TEST_F(EntryPoints, RefusesEveryCallBeforeCreate) {
  std::map<std::string, DeviceInfo*> devices;
  ExpectNotCreated("SetNotifyTimeOut", [] { return SetNotifyTimeOut(1); });
  ExpectNotCreated("SetMSearchTimeOut", [] { return SetMSearchTimeOut(1); });
  ExpectNotCreated("SetStatus", [] { return SetStatus("x"); });
  ExpectNotCreated("GetDevices", [&] { return GetDevices(devices); });
  ExpectNotCreated("Search", [] { return Search(); });
  ExpectNotCreated("Announce", [] { return Announce(); });
  ExpectNotCreated("SetCallback", [] { return SetCallback(nullptr, nullptr); });
  ExpectNotCreated("SetNetworkInterface", [] { return SetNetworkInterface("x"); });
  ExpectNotCreated("SetDomainName", [] { return SetDomainName("x"); });
  ExpectNotCreated("SetDeviceType", [] { return SetDeviceType("x"); });
  ExpectNotCreated("SetVersionInfo", [] { return SetVersionInfo("x"); });
  ExpectNotCreated("SetUserAgent", [] { return SetUserAgent("x"); });
  ExpectNotCreated("SetServerInfo", [] { return SetServerInfo("x"); });
  ExpectNotCreated("SetUUID", [] { return SetUUID("x"); });
}

TEST_F(EntryPoints, LeavesTheArgumentAloneWithoutAService) {
  std::string uuid = "mine";
  ExpectNotCreated("GetUUID", [&] { return GetUUID(uuid); });
  EXPECT_EQ(uuid, "mine");
}

TEST_F(EntryPoints, CreatesAServiceAndSendsNothing) {
  EXPECT_EQ(CreateSSDP(false), 0);
  EXPECT_NE(ssdpserver, nullptr);
  EXPECT_THAT(m_system.sent, IsEmpty());
}

TEST_F(EntryPoints, ReplacesTheServiceInASecondCreate) {
  CreateSSDP(false);
  const std::unique_ptr<SSDP> first(ssdpserver);
  EXPECT_EQ(CreateSSDP(false), 0);
  EXPECT_NE(ssdpserver, first.get());
}

TEST_F(EntryPoints, DestroysNothingWithoutAService) {
  EXPECT_EQ(OutputOf([] { EXPECT_EQ(DestroySSDP(), 0); }), "");
  EXPECT_EQ(ssdpserver, nullptr);
}

TEST_F(EntryPoints, KeepsThePointerAfterDestroy) {
  CreateSSDP(false);
  const SSDP* const service = ssdpserver;
  EXPECT_EQ(DestroySSDP(), 0);
  EXPECT_EQ(ssdpserver, service);
  ssdpserver = nullptr;
}

TEST_F(EntryPoints, DestroysWithoutByebyeOrStop) {
  CreateSSDP(true);
  Initialize();
  m_system.log.clear();
  DestroySSDP();
  EXPECT_THAT(m_system.log, IsEmpty());
  ssdpserver = nullptr;
}

TEST_F(EntryPoints, StoresEverySettingUnderItsOwnName) {
  CreateSSDP(false);
  EXPECT_EQ(SetNotifyTimeOut(30), 0);
  EXPECT_EQ(SetMSearchTimeOut(31), 0);
  EXPECT_EQ(SetStatus("status"), 0);
  EXPECT_EQ(SetNetworkInterface("interface"), 0);
  EXPECT_EQ(SetDomainName("domain"), 0);
  EXPECT_EQ(SetDeviceType("type"), 0);
  EXPECT_EQ(SetVersionInfo("version"), 0);
  EXPECT_EQ(SetUserAgent("agent"), 0);
  EXPECT_EQ(SetServerInfo("server"), 0);
  EXPECT_EQ(SetUUID("uuid"), 0);
  EXPECT_EQ(Get(*ssdpserver, &NotifyTimeoutConfig::m_notify_timeout), 30);
  EXPECT_EQ(Get(*ssdpserver, &MSearchTimeoutConfig::m_msearch_timeout), 31);
  EXPECT_EQ(Get(*ssdpserver, &DeviceStatusConfig::m_status), "status");
  EXPECT_EQ(Get(*ssdpserver, &NetworkInterfaceConfig::m_network_interface), "interface");
  EXPECT_EQ(Get(*ssdpserver, &DomainNameConfig::m_domain_name), "domain");
  EXPECT_EQ(Get(*ssdpserver, &DeviceTypeConfig::m_device_type), "type");
  EXPECT_EQ(Get(*ssdpserver, &VersionConfig::m_version), "version");
  EXPECT_EQ(Get(*ssdpserver, &UserAgentConfig::m_user_agent), "agent");
  EXPECT_EQ(Get(*ssdpserver, &ServerInfoConfig::m_server_info), "server");
  EXPECT_EQ(Get(*ssdpserver, &DeviceUUIDConfig::m_uuid), "uuid");
}

TEST_F(EntryPoints, WritesOneSettingACall) {
  CreateHooked();
  m_system.log.clear();
  m_system.LogSettings();
  SetNotifyTimeOut(1);
  SetStatus("");
  std::string uuid;
  GetUUID(uuid);
  EXPECT_THAT(m_system.log, ElementsAre("set ssdp_config_notify_timeout", "set ssdp_config_status",
                                        "get ssdp_config_uuid"));
}

TEST_F(EntryPoints, ReturnsThatASettingCannotBeStored) {
  CreateHooked();
  seam::failures.set_config = [](const std::string&) { return true; };
  ExpectNotStored([] { return SetNotifyTimeOut(1); });
  ExpectNotStored([] { return SetMSearchTimeOut(1); });
  ExpectNotStored([] { return SetStatus("x"); });
  ExpectNotStored([] { return SetNetworkInterface("x"); });
  ExpectNotStored([] { return SetDomainName("x"); });
  ExpectNotStored([] { return SetDeviceType("x"); });
  ExpectNotStored([] { return SetVersionInfo("x"); });
  ExpectNotStored([] { return SetUserAgent("x"); });
  ExpectNotStored([] { return SetServerInfo("x"); });
  ExpectNotStored([] { return SetUUID("x"); });
}

TEST_F(EntryPoints, HandsTheUuidBack) {
  CreateSSDP(false);
  SetUUID("1234-abcd");
  std::string uuid = "other";
  EXPECT_EQ(GetUUID(uuid), 0);
  EXPECT_EQ(uuid, "1234-abcd");
}

TEST_F(EntryPoints, EmptiesTheArgumentWhenTheUuidCannotBeRead) {
  CreateHooked();
  SetUUID("1234");
  seam::failures.get_config = [](const std::string&) { return true; };
  std::string uuid = "other";
  int result = 0;
  EXPECT_EQ(OutputOf([&] { result = GetUUID(uuid); }),
            "[#] GetConfig: m_ssdpstore->GetConfig(name, config) == SSDP_SUCCESS failed. \n"
            " source/ssdp.cpp\n");
  EXPECT_EQ(result, 1);
  EXPECT_EQ(uuid, "");
}

// Every std::exception, not only std::bad_alloc.
TEST_F(EntryPoints, LetsNoExceptionOut) {
  CreateHooked();
  SetCallback([](auto...) {}, nullptr);
  Initialize();
  const auto fail = [](auto...) -> bool { throw std::runtime_error("odd"); };
  seam::failures.get_config = seam::failures.set_config = fail;
  seam::calls.close = fail;
  const auto expect_caught = [](const char* name, const std::string& file,
                                const std::function<int()>& call) {
    int result = 0;
    EXPECT_THAT(OutputOf([&] { EXPECT_NO_THROW(result = call()) << name; }),
                testing::StartsWith(std::string("[#] ") + name + ": odd failed. \n " + file));
    EXPECT_EQ(result, 1) << name;
  };
  const char file[] = "source/libssdp.cpp\n";
  expect_caught("SetNotifyTimeOut", file, [] { return SetNotifyTimeOut(1); });
  expect_caught("SetMSearchTimeOut", file, [] { return SetMSearchTimeOut(1); });
  expect_caught("SetStatus", file, [] { return SetStatus("x"); });
  expect_caught("SetNetworkInterface", file, [] { return SetNetworkInterface("x"); });
  expect_caught("SetDomainName", file, [] { return SetDomainName("x"); });
  expect_caught("SetDeviceType", file, [] { return SetDeviceType("x"); });
  expect_caught("SetVersionInfo", file, [] { return SetVersionInfo("x"); });
  expect_caught("SetUserAgent", file, [] { return SetUserAgent("x"); });
  expect_caught("SetServerInfo", file, [] { return SetServerInfo("x"); });
  expect_caught("SetUUID", file, [] { return SetUUID("x"); });
  std::string uuid;
  expect_caught("GetUUID", file, [&] { return GetUUID(uuid); });
  expect_caught("AnnounceNetwork", "source/ssdphandler.cpp\n", [] { return Announce(); });
  expect_caught("SearchNetwork", "source/ssdphandler.cpp\n", [] { return Search(); });
  expect_caught("Initialize", file, [] { return Initialize(); });
  seam::failures.get_config = nullptr;  // which the byebye needs
  expect_caught("Uninitialize", file, [] { return Uninitialize(); });
}

TEST_F(EntryPoints, InitializesAndUninitializesTheService) {
  CreateSSDP(false);
  support::SetLamp(*ssdpserver);
  EXPECT_EQ(Initialize(), 0);
  EXPECT_TRUE(ssdpserver->IsStarted());
  EXPECT_EQ(Announce(), 0);
  EXPECT_EQ(Search(), 0);
  EXPECT_EQ(Uninitialize(), 0);
  EXPECT_FALSE(ssdpserver->IsStarted());
  ASSERT_THAT(m_system.sent, SizeIs(3));
  EXPECT_EQ(m_system.sent[0].data, golden::kLampAlive);
  EXPECT_EQ(m_system.sent[1].data, golden::kLampSearch);
  EXPECT_EQ(m_system.sent[2].data, golden::kLampByebye);
}

TEST_F(EntryPoints, ReturnsEveryFailureOfTheService) {
  CreateSSDP(false);
  seam::calls.pthread_create = [](auto...) { return 11; };
  seam::calls.sendto = [](auto...) { return -1; };
  int initialized = 0, uninitialized = 0, announced = 0, searched = 0;
  OutputOf([&] {
    initialized = Initialize();
    uninitialized = Uninitialize();
    announced = Announce();
    searched = Search();
  });
  EXPECT_EQ(initialized, 1);
  EXPECT_EQ(uninitialized, 1);
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(searched, 1);
}

TEST_F(EntryPoints, HandsTheApplicationItsContextAndTheDevicesOfTheTable) {
  CreateSSDP(false);
  struct Heard {
    unsigned int event = 99;
    const DeviceInfo* old = nullptr;
  } heard;
  EXPECT_EQ(SetCallback(
                [](const DeviceInfo* old, DeviceInfo*, unsigned int event, void* context) {
                  *static_cast<Heard*>(context) = {event, old};
                },
                &heard),
            0);
  Initialize();
  DeviceInfo device;
  device.m_uuid = "a";
  SSDP::Callback(ssdpserver, &device, true, false);
  EXPECT_EQ(heard.event, 1u);
  std::map<std::string, DeviceInfo*> devices;
  EXPECT_EQ(GetDevices(devices), 0);
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices["a"], heard.old);
  Uninitialize();
}

// The pass of a loop whose notify timeout has been set, for a service that announces or not.
size_t AnnouncementsOfOnePass(support::ScriptedSystem& system, bool announce, int timeout) {
  CreateSSDP(announce);
  if (timeout != -1) SetNotifyTimeOut(timeout);
  Initialize();
  seam::calls.usleep = [](useconds_t) { return ssdpserver->Stop(); };
  system.sent.clear();
  ssdpserver->Task();
  const size_t sent = system.sent.size();
  delete std::exchange(ssdpserver, nullptr);
  return sent;
}

TEST_F(EntryPoints, AnnouncesPeriodicallyOnlyWhenCreatedToAndGivenATimeout) {
  EXPECT_EQ(AnnouncementsOfOnePass(m_system, true, 30), 1u);
  EXPECT_EQ(AnnouncementsOfOnePass(m_system, true, -1), 0u);
  EXPECT_EQ(AnnouncementsOfOnePass(m_system, true, 0), 0u);
  EXPECT_EQ(AnnouncementsOfOnePass(m_system, false, 30), 0u);
}

}  // namespace
}  // namespace libSSDP
