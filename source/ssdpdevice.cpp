// SPDX-License-Identifier: MIT
#include "ssdpdevice.h"

namespace libSSDP {

SSDPConfigMap::~SSDPConfigMap() {
  for (auto& entry : m_configholder_map) {
    delete entry.second;
    entry.second = nullptr;
  }
  m_configholder_map.clear();
}

// Outside the analysis, as GetConfig: a lock that can't be taken doesn't stop them, and an unknown
// name returns with the lock held, on purpose.
SSDP_STATUS SSDPConfigMap::SetConfig(const std::string& name,
                                     const SSDPConfig& config) NO_THREAD_SAFETY_ANALYSIS {
  SSDP_CHECK_REASON(m_mutex.Lock() == SSDP_SUCCESS, "Mutex lock failed");
  const auto config_holder = m_configholder_map.find(name);
  if (!SSDP_CHECK(config_holder != m_configholder_map.end())) return SSDP_FAILURE;
  SSDP_STATUS status;
  try {
    status = config_holder->second->Set(config);
  } catch (...) {
    m_mutex.Unlock();  // memory ran out in the copy: the registry stays usable
    throw;
  }
  SSDP_CHECK_REASON(m_mutex.Unlock() == SSDP_SUCCESS, "Mutex unlock failed");
  return status;
}

SSDP_STATUS SSDPConfigMap::GetConfig(const std::string& name,
                                     SSDPConfig& config) NO_THREAD_SAFETY_ANALYSIS {
  SSDP_CHECK_REASON(m_mutex.Lock() == SSDP_SUCCESS, "Mutex lock failed");
  const auto config_holder = m_configholder_map.find(name);
  if (!SSDP_CHECK(config_holder != m_configholder_map.end())) return SSDP_FAILURE;
  SSDP_STATUS status;
  try {
    status = config_holder->second->Get(config);
  } catch (...) {
    m_mutex.Unlock();  // memory ran out in the copy: the registry stays usable
    throw;
  }
  SSDP_CHECK_REASON(m_mutex.Unlock() == SSDP_SUCCESS, "Mutex unlock failed");
  return status;
}

SSDP_STATUS SSDPDevice::SetConfig(const std::string& name, const SSDPConfig& config) {
  return m_configmap.SetConfig(name, config);
}

SSDP_STATUS SSDPDevice::GetConfig(const std::string& name, SSDPConfig& config) {
  return m_configmap.GetConfig(name, config);
}

}  // namespace libSSDP
