// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPSTORAGE_H
#define LIBSSDP_SOURCE_SSDPSTORAGE_H

#include <string>

#include "ssdpdevice.h"

namespace libSSDP {

// The three messages as they travel, every value still missing.
extern const std::string MSEARCH_HEADER;
extern const std::string NOTIFY_HEADER;
extern const std::string RESPONSE_HEADER;

// The store through which the whole library reads and writes its settings. It holds all fourteen
// from construction on, each with its default; the search target and the three templates are made
// by Init from what is set at that moment and stay until the next Init.
//
// Init and DeInit belong to the host's thread, before and after the workers run; the inherited
// SetConfig and GetConfig are for any thread.
class SSDPStorage : public SSDPDevice {
 public:
  SSDPStorage();

  // Stops at the first failure; what was stored before stays.
  SSDP_STATUS Init();

  SSDP_STATUS DeInit();  // nothing to undo: always SSDP_SUCCESS

  SSDP_STATUS GenerateMSearchHeader();
  SSDP_STATUS GenerateNotifyHeader();
  SSDP_STATUS GenerateResponseHeader();

 private:
  template <typename Config>
  void Register() {
    const Config config;
    m_configmap.RegisterConfig(config.m_name, config);  // can't fail: each name comes once
  }
};

}  // namespace libSSDP

#endif
