// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPDEVICE_H
#define LIBSSDP_SOURCE_SSDPDEVICE_H

#include <string>

#include "ssdpconfig.h"

namespace libSSDP {

// Owns a registry, and reads and writes it by name. SetConfig and GetConfig are thread-safe.
class SSDPDevice {
 public:
  SSDPDevice() = default;
  virtual ~SSDPDevice() = default;
  SSDPDevice(const SSDPDevice&) = delete;
  SSDPDevice& operator=(const SSDPDevice&) = delete;

  virtual SSDP_STATUS SetConfig(const std::string& name, const SSDPConfig& config);
  virtual SSDP_STATUS GetConfig(const std::string& name, SSDPConfig& config);

 protected:
  SSDPConfigMap m_configmap;
};

}  // namespace libSSDP

#endif
