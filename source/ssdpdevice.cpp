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

// No thread-safety analysis here and in GetConfig: both go on when the lock can't be taken, and
// return with the lock held when the name is unknown. Both are intended.
SSDP_STATUS SSDPConfigMap::SetConfig(const std::string& name,
                                     const SSDPConfig& config) NO_THREAD_SAFETY_ANALYSIS {
  SSDP_CHECK_REASON(m_mutex.Lock() == SSDP_SUCCESS, "Mutex lock failed");
  const auto config_holder = m_configholder_map.find(name);
  if (!SSDP_CHECK(config_holder != m_configholder_map.end())) return SSDP_FAILURE;
  try {
    const SSDP_STATUS status = config_holder->second->Set(config);
    SSDP_CHECK_REASON(m_mutex.Unlock() == SSDP_SUCCESS, "Mutex unlock failed");
    return status;
  } catch (...) {
    m_mutex.Unlock();  // the copy ran out of memory: later calls must not deadlock
    throw;
  }
}

SSDP_STATUS SSDPConfigMap::GetConfig(const std::string& name,
                                     SSDPConfig& config) NO_THREAD_SAFETY_ANALYSIS {
  SSDP_CHECK_REASON(m_mutex.Lock() == SSDP_SUCCESS, "Mutex lock failed");
  const auto config_holder = m_configholder_map.find(name);
  if (!SSDP_CHECK(config_holder != m_configholder_map.end())) return SSDP_FAILURE;
  try {
    const SSDP_STATUS status = config_holder->second->Get(config);
    SSDP_CHECK_REASON(m_mutex.Unlock() == SSDP_SUCCESS, "Mutex unlock failed");
    return status;
  } catch (...) {
    m_mutex.Unlock();  // the copy ran out of memory: later calls must not deadlock
    throw;
  }
}

SSDP_STATUS SSDPDevice::SetConfig(const std::string& name, const SSDPConfig& config) {
  return m_configmap.SetConfig(name, config);
}

SSDP_STATUS SSDPDevice::GetConfig(const std::string& name, SSDPConfig& config) {
  return m_configmap.GetConfig(name, config);
}

}  // namespace libSSDP
