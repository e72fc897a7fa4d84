// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPSTORAGE_H
#define LIBSSDP_SOURCE_SSDPSTORAGE_H

#include <string>

#include "ssdpdevice.h"

namespace libSSDP {

// The three messages on the wire, without values.
extern const std::string MSEARCH_HEADER;
extern const std::string NOTIFY_HEADER;
extern const std::string RESPONSE_HEADER;

// The configuration store: every part of the library reads and writes its settings here. The
// constructor registers all fourteen with their defaults. Init composes the search target and the
// three templates from the settings at that moment; they stay until the next Init.
//
// Init and DeInit run on the application's thread, before the workers start and after they have
// ended. The inherited SetConfig and GetConfig are thread-safe.
class SSDPStorage : public SSDPDevice {
 public:
  SSDPStorage();

  // Stops at the first failure; what is stored by then stays.
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
