// SPDX-License-Identifier: MIT
#include "libssdp.h"

#include <exception>
#include <utility>

#include "report.h"
#include "ssdp.h"

namespace libSSDP {

// The one service. Written only by CreateSSDP: after DestroySSDP it holds the old pointer.
SSDP* ssdpserver = nullptr;

namespace {

[[gnu::cold]] SSDP_STATUS Caught(const char* function, const std::exception& error) {
  ReportFailure(__LINE__, function, error.what(), __FILE__);
  return SSDP_FAILURE;
}

// The library's boundary: no std::exception leaves it. `function` names the entry point in the
// failure line.
template <typename Operation>
SSDP_STATUS Guarded(const char* function, Operation operation) {
  try {
    return operation();
  } catch (const std::exception& error) {
    return Caught(function, error);
  }
}

template <typename Config, typename Value>
SSDP_STATUS SetValue(const char* function, Value Config::*field, Value& value) {
  return Guarded(function, [&] {
    Config config;
    config.*field = std::move(value);
    return ssdpserver->SetConfig(config.m_name, config);
  });
}

}  // namespace

SSDP_STATUS CreateSSDP(bool announce) {
  return Guarded(__func__, [&] {
    ssdpserver = new SSDP(announce ? 1 : 0);
    return SSDP_SUCCESS;
  });
}

SSDP_STATUS DestroySSDP() {
  delete ssdpserver;
  return SSDP_SUCCESS;
}

SSDP_STATUS Initialize() {
  return Guarded(__func__, [] { return ssdpserver->Init(); });
}

SSDP_STATUS Uninitialize() {
  return Guarded(__func__, [] { return ssdpserver->DeInit(); });
}

SSDP_STATUS SetNotifyTimeOut(int seconds) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &NotifyTimeoutConfig::m_notify_timeout, seconds);
}

SSDP_STATUS SetMSearchTimeOut(int timeout) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &MSearchTimeoutConfig::m_msearch_timeout, timeout);
}

SSDP_STATUS SetStatus(std::string status) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &DeviceStatusConfig::m_status, status);
}

SSDP_STATUS GetDevices(std::map<std::string, DeviceInfo*>& devices) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return Guarded(__func__, [&] { return ssdpserver->GetDevices(devices); });
}

SSDP_STATUS Search() {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return ssdpserver->Search();
}

SSDP_STATUS Announce() {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return ssdpserver->Announce();
}

SSDP_STATUS SetCallback(SSDPCallback callback, void* context) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return ssdpserver->SetCallback(callback, context);
}

SSDP_STATUS SetNetworkInterface(std::string interface) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &NetworkInterfaceConfig::m_network_interface, interface);
}

SSDP_STATUS SetDomainName(std::string name) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &DomainNameConfig::m_domain_name, name);
}

SSDP_STATUS SetDeviceType(std::string type) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &DeviceTypeConfig::m_device_type, type);
}

SSDP_STATUS SetVersionInfo(std::string version) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &VersionConfig::m_version, version);
}

SSDP_STATUS SetUserAgent(std::string agent) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &UserAgentConfig::m_user_agent, agent);
}

SSDP_STATUS SetServerInfo(std::string info) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &ServerInfoConfig::m_server_info, info);
}

SSDP_STATUS SetUUID(std::string uuid) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return SetValue(__func__, &DeviceUUIDConfig::m_uuid, uuid);
}

SSDP_STATUS GetUUID(std::string& uuid) {
  if (!SSDP_CHECK(ssdpserver != NULL)) return SSDP_NOT_CREATED;
  return Guarded(__func__, [&] {
    DeviceUUIDConfig config;
    const SSDP_STATUS status = ssdpserver->GetConfig(config.m_name, config);
    uuid = config.m_uuid;
    return status;
  });
}

}  // namespace libSSDP
