// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPCONFIG_H
#define LIBSSDP_SOURCE_SSDPCONFIG_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "libssdp.h"
#include "mutex.h"
#include "report.h"

namespace libSSDP {

// Protocol constants. Defined, with the message templates that begin with some of them, in
// ssdpstorage.cpp.
extern const std::string SSDP_GROUP;           // "239.255.255.250"
extern const std::string MSEARCH_START_LINE;   // "M-SEARCH * HTTP/1.1\r\n"
extern const std::string NOTIFY_START_LINE;    // "NOTIFY * HTTP/1.1\r\n"
extern const std::string RESPONSE_START_LINE;  // "HTTP/1.1 200 OK\r\n"

extern const std::string SSDP_CONFIG_NETWORK_INTERFACE;
extern const std::string SSDP_CONFIG_DOMAIN_NAME;
extern const std::string SSDP_CONFIG_DEVICE_TYPE;
extern const std::string SSDP_CONFIG_VERSION;
extern const std::string SSDP_CONFIG_USER_AGENT;
extern const std::string SSDP_CONFIG_SERVER_INFO;
extern const std::string SSDP_CONFIG_MSEARCH_HEADER;
extern const std::string SSDP_CONFIG_NOTIFY_HEADER;
extern const std::string SSDP_CONFIG_RESPONSE_HEADER;
extern const std::string SSDP_CONFIG_SEARCH_TARGET;
extern const std::string SSDP_CONFIG_STATUS;
extern const std::string SSDP_CONFIG_UUID;
extern const std::string SSDP_CONFIG_MSEARCH_TIMEOUT;
extern const std::string SSDP_CONFIG_NOTIFY_TIMEOUT;

// One setting: the name under which the registry keeps it and, in a derived class, one value.
// Assignment copies the name as well as the value; the registry relies on that, for it copies whole
// objects in both directions.
class SSDPConfig {
 public:
  explicit SSDPConfig(std::string name) : m_name(std::move(name)) {}
  SSDPConfig(const SSDPConfig&) = default;
  SSDPConfig& operator=(const SSDPConfig&) = default;
  virtual ~SSDPConfig() = default;

  // A new object of the same class, name and value; the caller owns it.
  virtual SSDPConfig* clone() const = 0;

  std::string m_name;
};

// The system's name of the interface whose IPv4 address the workers record.
class NetworkInterfaceConfig : public SSDPConfig {
 public:
  NetworkInterfaceConfig() : SSDPConfig(SSDP_CONFIG_NETWORK_INTERFACE) {}
  SSDPConfig* clone() const override { return new NetworkInterfaceConfig(*this); }
  std::string m_network_interface;
};

// First part of the search target.
class DomainNameConfig : public SSDPConfig {
 public:
  DomainNameConfig() : SSDPConfig(SSDP_CONFIG_DOMAIN_NAME) {}
  SSDPConfig* clone() const override { return new DomainNameConfig(*this); }
  std::string m_domain_name;
};

// Second part of the search target.
class DeviceTypeConfig : public SSDPConfig {
 public:
  DeviceTypeConfig() : SSDPConfig(SSDP_CONFIG_DEVICE_TYPE) {}
  SSDPConfig* clone() const override { return new DeviceTypeConfig(*this); }
  std::string m_device_type;
};

// Third part of the search target.
class VersionConfig : public SSDPConfig {
 public:
  VersionConfig() : SSDPConfig(SSDP_CONFIG_VERSION) {}
  SSDPConfig* clone() const override { return new VersionConfig(*this); }
  std::string m_version;
};

// After "USER-AGENT: " in our M-SEARCH.
class UserAgentConfig : public SSDPConfig {
 public:
  UserAgentConfig() : SSDPConfig(SSDP_CONFIG_USER_AGENT) {}
  SSDPConfig* clone() const override { return new UserAgentConfig(*this); }
  std::string m_user_agent;
};

// After "SERVER: " in our responses.
class ServerInfoConfig : public SSDPConfig {
 public:
  ServerInfoConfig() : SSDPConfig(SSDP_CONFIG_SERVER_INFO) {}
  SSDPConfig* clone() const override { return new ServerInfoConfig(*this); }
  std::string m_server_info;
};

// The M-SEARCH template, made by the store.
class MSearchHeaderConfig : public SSDPConfig {
 public:
  MSearchHeaderConfig() : SSDPConfig(SSDP_CONFIG_MSEARCH_HEADER) {}
  SSDPConfig* clone() const override { return new MSearchHeaderConfig(*this); }
  std::string m_msearch_header;
};

// The NOTIFY template, made by the store.
class NotifyHeaderConfig : public SSDPConfig {
 public:
  NotifyHeaderConfig() : SSDPConfig(SSDP_CONFIG_NOTIFY_HEADER) {}
  SSDPConfig* clone() const override { return new NotifyHeaderConfig(*this); }
  std::string m_notify_header;
};

// The response template, made by the store.
class ResponseHeaderConfig : public SSDPConfig {
 public:
  ResponseHeaderConfig() : SSDPConfig(SSDP_CONFIG_RESPONSE_HEADER) {}
  SSDPConfig* clone() const override { return new ResponseHeaderConfig(*this); }
  std::string m_response_header;
};

// What this device is, searches for and answers to; made by the store.
class SearchTargetConfig : public SSDPConfig {
 public:
  SearchTargetConfig() : SSDPConfig(SSDP_CONFIG_SEARCH_TARGET) {}
  SSDPConfig* clone() const override { return new SearchTargetConfig(*this); }
  std::string m_search_target;
};

// After "Status: ", read at every send.
class DeviceStatusConfig : public SSDPConfig {
 public:
  DeviceStatusConfig() : SSDPConfig(SSDP_CONFIG_STATUS) {}
  SSDPConfig* clone() const override { return new DeviceStatusConfig(*this); }
  std::string m_status;
};

// After "USN: uuid:", read at every send.
class DeviceUUIDConfig : public SSDPConfig {
 public:
  DeviceUUIDConfig() : SSDPConfig(SSDP_CONFIG_UUID) {}
  SSDPConfig* clone() const override { return new DeviceUUIDConfig(*this); }
  std::string m_uuid;
};

// After "MX: ", in seconds; -1: not set by the host.
class MSearchTimeoutConfig : public SSDPConfig {
 public:
  MSearchTimeoutConfig() : SSDPConfig(SSDP_CONFIG_MSEARCH_TIMEOUT) {}
  SSDPConfig* clone() const override { return new MSearchTimeoutConfig(*this); }
  int32_t m_msearch_timeout = -1;
};

// After "Cache-Control: max-age=", in seconds, and the announce period; -1: not set.
class NotifyTimeoutConfig : public SSDPConfig {
 public:
  NotifyTimeoutConfig() : SSDPConfig(SSDP_CONFIG_NOTIFY_TIMEOUT) {}
  SSDPConfig* clone() const override { return new NotifyTimeoutConfig(*this); }
  int32_t m_notify_timeout = -1;
};

// A registered setting whose class only its holder knows.
class SSDPConfigHolderBase {
 public:
  virtual ~SSDPConfigHolderBase() = default;
  virtual SSDP_STATUS Set(const SSDPConfig& config) = 0;
  virtual SSDP_STATUS Get(SSDPConfig& config) const = 0;
};

// Owns the stored copy of one setting. Set and Get trust that the object which they are given is a
// T: every caller passes a T's own name, so a check could never fail.
template <typename T>
class SSDPConfigHolder : public SSDPConfigHolderBase {
 public:
  explicit SSDPConfigHolder(const T& config) : m_config(config) {}

  SSDP_STATUS Set(const SSDPConfig& config) override {
    m_config = static_cast<const T&>(config);
    return SSDP_SUCCESS;
  }

  SSDP_STATUS Get(SSDPConfig& config) const override {
    static_cast<T&>(config) = m_config;
    return SSDP_SUCCESS;
  }

 private:
  T m_config;
};

// The registry: one copy of every setting under its name, read and written by copy only, so that no
// caller ever sees a value change under it. Registering and destroying take no lock and belong to
// the time when no other thread knows the registry; SetConfig and GetConfig are for any thread.
class SSDPConfigMap {
 public:
  SSDPConfigMap() = default;
  virtual ~SSDPConfigMap();
  SSDPConfigMap(const SSDPConfigMap&) = delete;
  SSDPConfigMap& operator=(const SSDPConfigMap&) = delete;

  // Stores a copy of `config` under `name`. A name that is taken keeps its first value.
  template <typename T>
  SSDP_STATUS RegisterConfig(const std::string& name, const T& config) {
    std::unique_ptr<SSDPConfigHolderBase> holder = std::make_unique<SSDPConfigHolder<T>>(config);
    return RegisterConfig(name, std::move(holder));
  }

  // Both look `name` up; the name inside `config` isn't consulted. An unknown name is a programming
  // error: it fails and leaves the registry locked, so that every later access waits for ever.
  SSDP_STATUS SetConfig(const std::string& name, const SSDPConfig& config);
  SSDP_STATUS GetConfig(const std::string& name, SSDPConfig& config);

 private:
  // What is the same for every class, once for all fourteen.
  SSDP_STATUS RegisterConfig(const std::string& name,
                             std::unique_ptr<SSDPConfigHolderBase>&& holder)
      NO_THREAD_SAFETY_ANALYSIS {
    if (!SSDP_CHECK(m_configholder_map.find(name) == m_configholder_map.end())) return SSDP_FAILURE;
    m_configholder_map.emplace(name, holder.get());
    static_cast<void>(holder.release());  // the map's now
    return SSDP_SUCCESS;
  }

  std::map<std::string, SSDPConfigHolderBase*> m_configholder_map GUARDED_BY(m_mutex);  // owned
  Mutex m_mutex;
};

}  // namespace libSSDP

#endif
