// SPDX-License-Identifier: MIT
#include "ssdpstorage.h"

#include "message.h"

namespace libSSDP {

// Initialized first and destroyed last: static constructors of an application that links the
// library statically may call it, and its threads may outlive main(). All in one file, for only
// there the order of initialization is that of the lines.
#if defined(__APPLE__)
#define SSDP_CONSTANT const
#else
#define SSDP_CONSTANT __attribute__((init_priority(101))) const
#endif

SSDP_CONSTANT std::string SSDP_GROUP = "239.255.255.250";
SSDP_CONSTANT std::string MSEARCH_START_LINE = "M-SEARCH * HTTP/1.1\r\n";
SSDP_CONSTANT std::string NOTIFY_START_LINE = "NOTIFY * HTTP/1.1\r\n";
SSDP_CONSTANT std::string RESPONSE_START_LINE = "HTTP/1.1 200 OK\r\n";

SSDP_CONSTANT std::string SSDP_CONFIG_NETWORK_INTERFACE = "ssdp_config_network_interface";
SSDP_CONSTANT std::string SSDP_CONFIG_DOMAIN_NAME = "ssdp_config_domain_name";
SSDP_CONSTANT std::string SSDP_CONFIG_DEVICE_TYPE = "ssdp_config_device_type";
SSDP_CONSTANT std::string SSDP_CONFIG_VERSION = "ssdp_config_version";
SSDP_CONSTANT std::string SSDP_CONFIG_USER_AGENT = "ssdp_config_user_agent";
SSDP_CONSTANT std::string SSDP_CONFIG_SERVER_INFO = "ssdp_config_server_info";
SSDP_CONSTANT std::string SSDP_CONFIG_MSEARCH_HEADER = "ssdp_config_msearch_header";
SSDP_CONSTANT std::string SSDP_CONFIG_NOTIFY_HEADER = "ssdp_config_notify_header";
SSDP_CONSTANT std::string SSDP_CONFIG_RESPONSE_HEADER = "ssdp_config_response_header";
SSDP_CONSTANT std::string SSDP_CONFIG_SEARCH_TARGET = "ssdp_config_search_target";
SSDP_CONSTANT std::string SSDP_CONFIG_STATUS = "ssdp_config_status";
SSDP_CONSTANT std::string SSDP_CONFIG_UUID = "ssdp_config_uuid";
SSDP_CONSTANT std::string SSDP_CONFIG_MSEARCH_TIMEOUT = "ssdp_config_msearch_timeout";
SSDP_CONSTANT std::string SSDP_CONFIG_NOTIFY_TIMEOUT = "ssdp_config_notify_timeout";

// The three messages on the wire, one header a source line, without values. A value is inserted
// after its header's text: "fixed" values when the store is initialized, "sent" values at each
// send.

// UPnP Device Architecture 1.1, 1.3.2.
SSDP_CONSTANT std::string MSEARCH_HEADER = MSEARCH_START_LINE +
                                           "Host: 239.255.255.250:1900\r\n"
                                           "MAN: \"ssdp:discover\"\r\n"
                                           "MX: \r\n"          // sent: the search timeout
                                           "ST: \r\n"          // fixed: the search target
                                           "USER-AGENT: \r\n"  // fixed
                                           "\r\n";

// UPnP Device Architecture 1.1, 1.2.2 and 1.2.3. "Status: " is this system's own and must be last:
// a receiver takes everything after it as the status.
SSDP_CONSTANT std::string NOTIFY_HEADER = NOTIFY_START_LINE +
                                          "Host: 239.255.255.250:1900\r\n"
                                          "Cache-Control: max-age=\r\n"  // sent: notify timeout
                                          "NTS: \r\n"                    // sent: alive or byebye
                                          "NT: \r\n"                     // fixed: search target
                                          "USN: uuid:::\r\n"  // sent behind the first colon: UUID;
                                                              // fixed at the end: search target
                                          "Status: \r\n"      // sent
                                          "\r\n";

// UPnP Device Architecture 1.1, 1.3.3. The DATE line ends in a bare CR: peers know it so.
SSDP_CONSTANT std::string RESPONSE_HEADER = RESPONSE_START_LINE +
                                            "Cache-Control: max-age=\r\n"  // sent: notify timeout
                                            "DATE: \r"                     // sent: ctime's text
                                            "EXT: \r\n"
                                            "SERVER: \r\n"      // fixed
                                            "ST: \r\n"          // fixed: the search target
                                            "USN: uuid:::\r\n"  // as in NOTIFY
                                            "Status: \r\n"      // sent
                                            "\r\n";

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
  std::string& target = sconfig.m_search_target;
  target.append("urn:").append(dconfig.m_domain_name).append(":device:");
  target.append(dtconfig.m_device_type).append(":").append(vconfig.m_version);
  if (!SSDP_CHECK(SetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS)) return SSDP_FAILURE;

  if (!SSDP_CHECK(GenerateMSearchHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(GenerateNotifyHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(GenerateResponseHeader() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPStorage::DeInit() {
  return SSDP_SUCCESS;
}

// The insertions below can't fail: each generator starts from a constant that contains the marker.

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
