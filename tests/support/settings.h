// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_SETTINGS_H
#define LIBSSDP_TESTS_SUPPORT_SETTINGS_H

#include "ssdp.h"
#include "ssdpstorage.h"

namespace support {

// Has every access to a setting of the store, or of the service's store, go through the hooks of
// seam::failures, under the registry's lock. Before any thread of the library runs.
void HookSettings(libSSDP::SSDPStorage& store);
void HookSettings(libSSDP::SSDP& service);

class HookedStore : public libSSDP::SSDPStorage {
 public:
  HookedStore() { HookSettings(*this); }
};

}  // namespace support

#endif
