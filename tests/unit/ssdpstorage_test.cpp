// SPDX-License-Identifier: MIT
#include "ssdpstorage.h"

#include <gmock/gmock.h>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::Get;
using support::OutputOf;
using support::Set;
using testing::ElementsAre;

struct Templates {
  std::string search, notify, answer;
};

Templates TemplatesOf(SSDPStorage& store) {
  return {Get(store, &MSearchHeaderConfig::m_msearch_header),
          Get(store, &NotifyHeaderConfig::m_notify_header),
          Get(store, &ResponseHeaderConfig::m_response_header)};
}

std::string TargetOf(SSDPStorage& store) {
  return Get(store, &SearchTargetConfig::m_search_target);
}

class ConfigStore : public testing::Test {
 protected:
  ~ConfigStore() override { seam::Reset(); }

  // What a failing Init prints when reads of `get` and writes of `set` fail.
  std::string FailureOf(const std::string& get, const std::string& set = "") {
    seam::failures.get_config = [get](const std::string& name) { return name == get; };
    seam::failures.set_config = [set](const std::string& name) { return name == set; };
    const std::string output = OutputOf([this] { m_result = m_store.Init(); });
    seam::Reset();
    EXPECT_EQ(m_result, 1);
    return output;
  }

  // The same for one generator.
  std::string FailureOf(SSDP_STATUS (SSDPStorage::*generate)(), const std::string& get,
                        const std::string& set = "") {
    seam::failures.get_config = [get](const std::string& name) { return name == get; };
    seam::failures.set_config = [set](const std::string& name) { return name == set; };
    const std::string output = OutputOf([&] { m_result = (m_store.*generate)(); });
    seam::Reset();
    EXPECT_EQ(m_result, 1);
    return output;
  }

  support::HookedStore m_store;
  SSDP_STATUS m_result = 0;
};

TEST_F(ConfigStore, HoldsEverySettingWithItsDefaultFromConstructionOn) {
  EXPECT_EQ(Get(m_store, &NetworkInterfaceConfig::m_network_interface), "");
  EXPECT_EQ(Get(m_store, &DomainNameConfig::m_domain_name), "");
  EXPECT_EQ(Get(m_store, &DeviceTypeConfig::m_device_type), "");
  EXPECT_EQ(Get(m_store, &VersionConfig::m_version), "");
  EXPECT_EQ(Get(m_store, &UserAgentConfig::m_user_agent), "");
  EXPECT_EQ(Get(m_store, &ServerInfoConfig::m_server_info), "");
  EXPECT_EQ(Get(m_store, &MSearchHeaderConfig::m_msearch_header), "");
  EXPECT_EQ(Get(m_store, &NotifyHeaderConfig::m_notify_header), "");
  EXPECT_EQ(Get(m_store, &ResponseHeaderConfig::m_response_header), "");
  EXPECT_EQ(Get(m_store, &SearchTargetConfig::m_search_target), "");
  EXPECT_EQ(Get(m_store, &DeviceStatusConfig::m_status), "");
  EXPECT_EQ(Get(m_store, &DeviceUUIDConfig::m_uuid), "");
  EXPECT_EQ(Get(m_store, &MSearchTimeoutConfig::m_msearch_timeout), -1);
  EXPECT_EQ(Get(m_store, &NotifyTimeoutConfig::m_notify_timeout), -1);
}

TEST(ProtocolConstants, ReadAsTheyTravel) {
  EXPECT_EQ(SSDP_GROUP, "239.255.255.250");
  EXPECT_EQ(MSEARCH_START_LINE, "M-SEARCH * HTTP/1.1\r\n");
  EXPECT_EQ(NOTIFY_START_LINE, "NOTIFY * HTTP/1.1\r\n");
  EXPECT_EQ(RESPONSE_START_LINE, "HTTP/1.1 200 OK\r\n");
}

TEST(ProtocolConstants, HoldTheThreeEmptyTemplates) {
  EXPECT_EQ(MSEARCH_HEADER, golden::kSearchTemplate);
  EXPECT_EQ(MSEARCH_HEADER.length(), 99u);
  EXPECT_EQ(NOTIFY_HEADER, golden::kNotifyTemplate);
  EXPECT_EQ(NOTIFY_HEADER.length(), 111u);
  EXPECT_EQ(RESPONSE_HEADER, golden::kAnswerTemplate);
  EXPECT_EQ(RESPONSE_HEADER.length(), 98u);
}

TEST_F(ConfigStore, ComposesTheSearchTargetOfNothingFromItsFixedParts) {
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TargetOf(m_store), "urn::device::");
  EXPECT_EQ(TargetOf(m_store).length(), 13u);
}

TEST_F(ConfigStore, ComposesTheSearchTargetFromThreeSettings) {
  Set(m_store, &DomainNameConfig::m_domain_name, std::string("a"));
  Set(m_store, &DeviceTypeConfig::m_device_type, std::string("b"));
  Set(m_store, &VersionConfig::m_version, std::string("c"));
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TargetOf(m_store), "urn:a:device:b:c");
}

TEST_F(ConfigStore, ComposesTheSearchTargetOfALamp) {
  support::SetLamp(m_store);
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TargetOf(m_store), "urn:schemas-example-org:device:Light:1");
}

TEST_F(ConfigStore, ChecksNoPartOfTheSearchTarget) {
  Set(m_store, &DomainNameConfig::m_domain_name, std::string("a:b c\r\n"));
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TargetOf(m_store), "urn:a:b c\r\n:device::");
}

TEST_F(ConfigStore, GeneratesTheTemplatesOfNothing) {
  EXPECT_EQ(m_store.Init(), 0);
  const Templates made = TemplatesOf(m_store);
  EXPECT_EQ(made.search,
            "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
            "MX: \r\nST: urn::device::\r\nUSER-AGENT: \r\n\r\n");
  EXPECT_EQ(made.notify,
            "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=\r\n"
            "NTS: \r\nNT: urn::device::\r\nUSN: uuid:::urn::device::\r\nStatus: \r\n\r\n");
  EXPECT_EQ(made.answer,
            "HTTP/1.1 200 OK\r\nCache-Control: max-age=\r\nDATE: \rEXT: \r\nSERVER: \r\n"
            "ST: urn::device::\r\nUSN: uuid:::urn::device::\r\nStatus: \r\n\r\n");
}

TEST_F(ConfigStore, GeneratesTheTemplatesOfALamp) {
  support::SetLamp(m_store);
  EXPECT_EQ(m_store.Init(), 0);
  const Templates made = TemplatesOf(m_store);
  EXPECT_EQ(made.search,
            "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
            "MX: \r\nST: urn:schemas-example-org:device:Light:1\r\n"
            "USER-AGENT: lamp/2.0 UPnP/1.1\r\n\r\n");
  EXPECT_EQ(made.notify,
            "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=\r\n"
            "NTS: \r\nNT: urn:schemas-example-org:device:Light:1\r\n"
            "USN: uuid:::urn:schemas-example-org:device:Light:1\r\nStatus: \r\n\r\n");
  EXPECT_EQ(made.answer,
            "HTTP/1.1 200 OK\r\nCache-Control: max-age=\r\nDATE: \rEXT: \r\n"
            "SERVER: Linux/6.1 UPnP/1.1 lamp/2.0\r\n"
            "ST: urn:schemas-example-org:device:Light:1\r\n"
            "USN: uuid:::urn:schemas-example-org:device:Light:1\r\nStatus: \r\n\r\n");
}

TEST_F(ConfigStore, PutsTheSearchTargetBehindServerInformationThatContainsItsMarker) {
  Set(m_store, &ServerInfoConfig::m_server_info, std::string("HOST: x"));
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TemplatesOf(m_store).answer,
            "HTTP/1.1 200 OK\r\nCache-Control: max-age=\r\nDATE: \rEXT: \r\n"
            "SERVER: HOST: urn::device::x\r\nST: \r\n"
            "USN: uuid:::urn::device::\r\nStatus: \r\n\r\n");
}

TEST_F(ConfigStore, LooksForAMarkerAgainAfterEachInsertion) {
  Set(m_store, &DomainNameConfig::m_domain_name, std::string("USER-AGENT: "));
  Set(m_store, &DeviceTypeConfig::m_device_type, std::string("USN: uuid:::"));
  Set(m_store, &UserAgentConfig::m_user_agent, std::string("me"));
  EXPECT_EQ(m_store.Init(), 0);
  EXPECT_EQ(TemplatesOf(m_store).search,
            "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
            "MX: \r\nST: urn:USER-AGENT: me:device:USN: uuid::::\r\nUSER-AGENT: \r\n\r\n");
  EXPECT_EQ(TemplatesOf(m_store).notify,
            "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=\r\n"
            "NTS: \r\nNT: urn:USER-AGENT: :device:USN: uuid:::"
            "urn:USER-AGENT: :device:USN: uuid:::::\r\nUSN: uuid:::\r\nStatus: \r\n\r\n");
}

TEST_F(ConfigStore, KeepsTheTemplatesUntilTheNextInit) {
  m_store.Init();
  const Templates before = TemplatesOf(m_store);
  support::SetLamp(m_store);
  EXPECT_EQ(TargetOf(m_store), "urn::device::");
  EXPECT_EQ(TemplatesOf(m_store).search, before.search);
  EXPECT_EQ(TemplatesOf(m_store).notify, before.notify);
  EXPECT_EQ(TemplatesOf(m_store).answer, before.answer);
  m_store.Init();
  EXPECT_EQ(TargetOf(m_store), "urn:schemas-example-org:device:Light:1");
  EXPECT_THAT(TemplatesOf(m_store).search, testing::HasSubstr("USER-AGENT: lamp/2.0 UPnP/1.1\r\n"));
  EXPECT_THAT(TemplatesOf(m_store).answer, testing::HasSubstr("SERVER: Linux/6.1"));
}

TEST_F(ConfigStore, GeneratesTheSameTemplatesAgainFromTheSameSettings) {
  support::SetLamp(m_store);
  m_store.Init();
  const Templates first = TemplatesOf(m_store);
  m_store.Init();
  EXPECT_EQ(TemplatesOf(m_store).search, first.search);
  EXPECT_EQ(TemplatesOf(m_store).notify, first.notify);
  EXPECT_EQ(TemplatesOf(m_store).answer, first.answer);
}

TEST_F(ConfigStore, ChangesNothingInDeInit) {
  support::SetLamp(m_store);
  m_store.Init();
  const Templates before = TemplatesOf(m_store);
  EXPECT_EQ(m_store.DeInit(), 0);
  EXPECT_EQ(m_store.DeInit(), 0);
  EXPECT_EQ(TargetOf(m_store), "urn:schemas-example-org:device:Light:1");
  EXPECT_EQ(TemplatesOf(m_store).search, before.search);
  EXPECT_EQ(Get(m_store, &DeviceUUIDConfig::m_uuid), "1234");
}

TEST_F(ConfigStore, ReadsAndWritesInAFixedOrder) {
  support::ScriptedSystem system;
  system.LogSettings();
  m_store.Init();
  EXPECT_THAT(system.log,
              ElementsAre("get ssdp_config_domain_name", "get ssdp_config_device_type",
                          "get ssdp_config_version", "set ssdp_config_search_target",
                          "get ssdp_config_search_target", "get ssdp_config_user_agent",
                          "set ssdp_config_msearch_header", "get ssdp_config_search_target",
                          "set ssdp_config_notify_header", "get ssdp_config_server_info",
                          "get ssdp_config_search_target", "set ssdp_config_response_header"));
}

TEST_F(ConfigStore, PrintsNothingWhenAllGoesWell) {
  EXPECT_EQ(OutputOf([this] { m_store.Init(); }), "");
}

TEST_F(ConfigStore, ReportsAPartOfTheSearchTargetThatCannotBeRead) {
  EXPECT_EQ(FailureOf("ssdp_config_domain_name"),
            "[#] Init: GetConfig(dconfig.m_name, dconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_device_type"),
            "[#] Init: GetConfig(dtconfig.m_name, dtconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_EQ(FailureOf("ssdp_config_version"),
            "[#] Init: GetConfig(vconfig.m_name, vconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_EQ(TargetOf(m_store), "");
}

TEST_F(ConfigStore, ReportsASearchTargetThatCannotBeStored) {
  EXPECT_EQ(FailureOf("", "ssdp_config_search_target"),
            "[#] Init: SetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_EQ(TemplatesOf(m_store).search, "");
}

TEST_F(ConfigStore, StopsAtTheSearchTemplateAndKeepsTheSearchTarget) {
  EXPECT_EQ(FailureOf("", "ssdp_config_msearch_header"),
            "[#] GenerateMSearchHeader: SetConfig(mconfig.m_name, mconfig) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n"
            "[#] Init: GenerateMSearchHeader() == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_EQ(TargetOf(m_store), "urn::device::");
  EXPECT_EQ(TemplatesOf(m_store).search, "");
  EXPECT_EQ(TemplatesOf(m_store).notify, "");
}

TEST_F(ConfigStore, StopsAtTheNotifyTemplateAndKeepsTheSearchTemplate) {
  EXPECT_EQ(FailureOf("", "ssdp_config_notify_header"),
            "[#] GenerateNotifyHeader: SetConfig(config.m_name, config) == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n"
            "[#] Init: GenerateNotifyHeader() == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_NE(TemplatesOf(m_store).search, "");
  EXPECT_EQ(TemplatesOf(m_store).notify, "");
  EXPECT_EQ(TemplatesOf(m_store).answer, "");
}

TEST_F(ConfigStore, StopsAtTheResponseTemplateAndKeepsTheOthers) {
  EXPECT_EQ(FailureOf("", "ssdp_config_response_header"),
            "[#] GenerateResponseHeader: SetConfig(config.m_name, config) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n"
            "[#] Init: GenerateResponseHeader() == SSDP_SUCCESS failed. \n"
            " source/ssdpstorage.cpp\n");
  EXPECT_NE(TemplatesOf(m_store).notify, "");
  EXPECT_EQ(TemplatesOf(m_store).answer, "");
}

TEST_F(ConfigStore, ReportsWhatTheSearchTemplateCannotRead) {
  EXPECT_EQ(FailureOf(&SSDPStorage::GenerateMSearchHeader, "ssdp_config_search_target"),
            "[#] GenerateMSearchHeader: GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n");
  EXPECT_EQ(FailureOf(&SSDPStorage::GenerateMSearchHeader, "ssdp_config_user_agent"),
            "[#] GenerateMSearchHeader: GetConfig(uconfig.m_name, uconfig) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n");
}

TEST_F(ConfigStore, ReportsWhatTheNotifyTemplateCannotRead) {
  EXPECT_EQ(FailureOf(&SSDPStorage::GenerateNotifyHeader, "ssdp_config_search_target"),
            "[#] GenerateNotifyHeader: GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n");
}

TEST_F(ConfigStore, ReportsWhatTheResponseTemplateCannotRead) {
  EXPECT_EQ(FailureOf(&SSDPStorage::GenerateResponseHeader, "ssdp_config_server_info"),
            "[#] GenerateResponseHeader: GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS failed."
            " \n source/ssdpstorage.cpp\n");
  EXPECT_EQ(FailureOf(&SSDPStorage::GenerateResponseHeader, "ssdp_config_search_target"),
            "[#] GenerateResponseHeader: GetConfig(stconfig.m_name, stconfig) == SSDP_SUCCESS"
            " failed. \n source/ssdpstorage.cpp\n");
}

TEST_F(ConfigStore, LeavesAnOldTemplateInPlaceWhenItCannotBeReplaced) {
  m_store.Init();
  const Templates before = TemplatesOf(m_store);
  support::SetLamp(m_store);
  FailureOf("ssdp_config_user_agent");
  EXPECT_EQ(TargetOf(m_store), "urn:schemas-example-org:device:Light:1");
  EXPECT_EQ(TemplatesOf(m_store).search, before.search);
}

}  // namespace
}  // namespace libSSDP
