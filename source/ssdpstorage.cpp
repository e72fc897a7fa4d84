// SPDX-License-Identifier: MIT
#include "ssdpstorage.h"

#include "message.h"

namespace libSSDP {

SSDPStorage::SSDPStorage() {
  Register<NetworkInterfaceConfig>();
  Register<DomainNameConfig>();
  Register<DeviceTypeConfig>();
  Register<VersionConfig>();
  Register<UserAgentConfig>();
  Register<ServerInfoConfig>();
  Register<MSearchHeaderConfig>();
  Register<NotifyHeaderConfig>();
  Register<ResponseHeaderConfig>();
  Register<SearchTargetConfig>();
  Register<DeviceStatusConfig>();
  Register<DeviceUUIDConfig>();
  Register<MSearchTimeoutConfig>();
  Register<NotifyTimeoutConfig>();
}

SSDP_STATUS SSDPStorage::Init() {
  DomainNameConfig dconfig;
  if (!SSDP_CHECK(GetConfig(dconfig.m_name, dconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;
  DeviceTypeConfig dtconfig;
  if (!SSDP_CHECK(GetConfig(dtconfig.m_name, dtconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;
  VersionConfig vconfig;
  if (!SSDP_CHECK(GetConfig(vconfig.m_name, vconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  SearchTargetConfig sconfig;
  sconfig.m_search_target = "urn:" + dconfig.m_domain_name + ":device:" + dtconfig.m_device_type +
                            ":" + vconfig.m_version;
  if (!SSDP_CHECK(SetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  if (!SSDP_CHECK(GenerateMSearchHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(GenerateNotifyHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(GenerateResponseHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPStorage::DeInit() {
  return SSDP_SUCCESS;
}

// The insertions below can't fail: each generator starts from a constant that has the marker.

SSDP_STATUS SSDPStorage::GenerateMSearchHeader() {
  SearchTargetConfig sconfig;
  if (!SSDP_CHECK(GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;
  UserAgentConfig uconfig;
  if (!SSDP_CHECK(GetConfig(uconfig.m_name, uconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  MSearchHeaderConfig mconfig;
  mconfig.m_msearch_header = MSEARCH_HEADER;
  InsertAfter(mconfig.m_msearch_header, "ST: ", sconfig.m_search_target);
  InsertAfter(mconfig.m_msearch_header, "USER-AGENT: ", uconfig.m_user_agent);
  if (!SSDP_CHECK(SetConfig(mconfig.m_name, mconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPStorage::GenerateNotifyHeader() {
  NotifyHeaderConfig config;
  config.m_notify_header = NOTIFY_HEADER;
  SearchTargetConfig sconfig;
  if (!SSDP_CHECK(GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  InsertAfter(config.m_notify_header, "NT: ", sconfig.m_search_target);
  InsertAfter(config.m_notify_header, "USN: uuid:::", sconfig.m_search_target);
  if (!SSDP_CHECK(SetConfig(config.m_name, config) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPStorage::GenerateResponseHeader() {
  ResponseHeaderConfig config;
  config.m_response_header = RESPONSE_HEADER;
  ServerInfoConfig sconfig;
  if (!SSDP_CHECK(GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;
  SearchTargetConfig stconfig;
  if (!SSDP_CHECK(GetConfig(stconfig.m_name, stconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  InsertAfter(config.m_response_header, "SERVER: ", sconfig.m_server_info);
  InsertAfter(config.m_response_header, "ST: ", stconfig.m_search_target);
  InsertAfter(config.m_response_header, "USN: uuid:::", stconfig.m_search_target);
  if (!SSDP_CHECK(SetConfig(config.m_name, config) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

}  // namespace libSSDP
