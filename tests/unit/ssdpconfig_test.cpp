// SPDX-License-Identifier: MIT
#include "ssdpconfig.h"

#include <gmock/gmock.h>

#include <memory>
#include <type_traits>

#include "output.h"

namespace libSSDP {
namespace {

// What every setting has in common: its name, its default, and how it is copied.
template <typename Config, typename Value>
void ExpectSetting(Value Config::*field, const std::string& constant, const std::string& name,
                   const Value& initial, const Value& other) {
  const Config fresh;
  EXPECT_EQ(fresh.m_name, name);
  EXPECT_EQ(constant, name);
  EXPECT_EQ(fresh.*field, initial) << name;

  Config source;
  source.m_name = "renamed";
  source.*field = other;

  const Config copy(source);
  EXPECT_EQ(copy.m_name, "renamed");
  EXPECT_EQ(copy.*field, other) << name;

  Config assigned;
  EXPECT_EQ(&(assigned = source), &assigned);
  EXPECT_EQ(assigned.m_name, "renamed") << name;
  EXPECT_EQ(assigned.*field, other) << name;

  const std::unique_ptr<SSDPConfig> clone(source.clone());
  source.m_name = "renamed again";
  source.*field = initial;
  const auto* same = dynamic_cast<const Config*>(clone.get());
  ASSERT_NE(same, nullptr) << name;
  EXPECT_EQ(same->m_name, "renamed");
  EXPECT_EQ(same->*field, other) << name;
}

TEST(Settings, CarryTheirNamesAndDefaultsAndCopyBoth) {
  const std::string empty, text("text");
  ExpectSetting(&NetworkInterfaceConfig::m_network_interface, SSDP_CONFIG_NETWORK_INTERFACE,
                "ssdp_config_network_interface", empty, text);
  ExpectSetting(&DomainNameConfig::m_domain_name, SSDP_CONFIG_DOMAIN_NAME,
                "ssdp_config_domain_name", empty, text);
  ExpectSetting(&DeviceTypeConfig::m_device_type, SSDP_CONFIG_DEVICE_TYPE,
                "ssdp_config_device_type", empty, text);
  ExpectSetting(&VersionConfig::m_version, SSDP_CONFIG_VERSION, "ssdp_config_version", empty, text);
  ExpectSetting(&UserAgentConfig::m_user_agent, SSDP_CONFIG_USER_AGENT, "ssdp_config_user_agent",
                empty, text);
  ExpectSetting(&ServerInfoConfig::m_server_info, SSDP_CONFIG_SERVER_INFO,
                "ssdp_config_server_info", empty, text);
  ExpectSetting(&MSearchHeaderConfig::m_msearch_header, SSDP_CONFIG_MSEARCH_HEADER,
                "ssdp_config_msearch_header", empty, text);
  ExpectSetting(&NotifyHeaderConfig::m_notify_header, SSDP_CONFIG_NOTIFY_HEADER,
                "ssdp_config_notify_header", empty, text);
  ExpectSetting(&ResponseHeaderConfig::m_response_header, SSDP_CONFIG_RESPONSE_HEADER,
                "ssdp_config_response_header", empty, text);
  ExpectSetting(&SearchTargetConfig::m_search_target, SSDP_CONFIG_SEARCH_TARGET,
                "ssdp_config_search_target", empty, text);
  ExpectSetting(&DeviceStatusConfig::m_status, SSDP_CONFIG_STATUS, "ssdp_config_status", empty,
                text);
  ExpectSetting(&DeviceUUIDConfig::m_uuid, SSDP_CONFIG_UUID, "ssdp_config_uuid", empty, text);
  ExpectSetting(&MSearchTimeoutConfig::m_msearch_timeout, SSDP_CONFIG_MSEARCH_TIMEOUT,
                "ssdp_config_msearch_timeout", -1, 30);
  ExpectSetting(&NotifyTimeoutConfig::m_notify_timeout, SSDP_CONFIG_NOTIFY_TIMEOUT,
                "ssdp_config_notify_timeout", -1, 30);
}

TEST(Settings, HoldTimeoutsOf32Bits) {
  static_assert(std::is_same_v<decltype(NotifyTimeoutConfig::m_notify_timeout), int32_t>);
  static_assert(std::is_same_v<decltype(MSearchTimeoutConfig::m_msearch_timeout), int32_t>);
}

TEST(Settings, AreDestroyedThroughTheirBase) {
  static_assert(std::has_virtual_destructor_v<SSDPConfig>);
  static_assert(std::is_abstract_v<SSDPConfig>);
}

TEST(ConfigHolder, HandsBackNameAndValueOfWhatItWasMadeFrom) {
  VersionConfig initial;
  initial.m_version = "1";
  initial.m_name = "first";
  const SSDPConfigHolder<VersionConfig> holder(initial);
  initial.m_version = "2";
  VersionConfig read;
  EXPECT_EQ(holder.Get(read), 0);
  EXPECT_EQ(read.m_version, "1");
  EXPECT_EQ(read.m_name, "first");
}

TEST(ConfigHolder, TakesOverNameAndValueOfWhatItIsGiven) {
  SSDPConfigHolder<VersionConfig> holder{VersionConfig()};
  VersionConfig given;
  given.m_version = "2";
  given.m_name = "second";
  EXPECT_EQ(holder.Set(given), 0);
  VersionConfig read;
  EXPECT_EQ(holder.Get(read), 0);
  EXPECT_EQ(read.m_version, "2");
  EXPECT_EQ(read.m_name, "second");
}

TEST(Registration, KeepsTheFirstValueOfANameThatIsRegisteredTwice) {
  SSDPConfigMap map;
  VersionConfig config;
  config.m_version = "first";
  EXPECT_EQ(map.RegisterConfig("name", config), 0);
  config.m_version = "second";
  SSDP_STATUS status = 0;
  EXPECT_EQ(support::OutputOf([&] { status = map.RegisterConfig("name", config); }),
            "[#] RegisterConfig: m_configholder_map.find(name) == m_configholder_map.end() failed."
            " \n source/ssdpconfig.h\n");
  EXPECT_EQ(status, 1);
  EXPECT_EQ(map.GetConfig("name", config), 0);
  EXPECT_EQ(config.m_version, "first");
}

TEST(Registration, KeepsTheFirstClassOfANameThatIsRegisteredTwice) {
  SSDPConfigMap map;
  EXPECT_EQ(map.RegisterConfig("name", VersionConfig()), 0);
  support::OutputOf([&] { map.RegisterConfig("name", NotifyTimeoutConfig()); });
  VersionConfig config;
  config.m_version = "overwritten by the read";
  EXPECT_EQ(map.GetConfig("name", config), 0);
  EXPECT_EQ(config.m_version, "");
}

}  // namespace
}  // namespace libSSDP
