// SPDX-License-Identifier: MIT
// Compiled without access control: the service's store and the registry's holders are private.
#include "settings.h"

#include <memory>

#include "seam.h"

namespace support {

using namespace libSSDP;

namespace {

class HookedHolder : public SSDPConfigHolderBase {
 public:
  HookedHolder(const std::string& name, SSDPConfigHolderBase* real) : m_name(name), m_real(real) {}

  SSDP_STATUS Set(const SSDPConfig& config) override {
    const auto& fails = seam::failures.set_config;
    return fails && fails(m_name) ? SSDP_FAILURE : m_real->Set(config);
  }

  SSDP_STATUS Get(SSDPConfig& config) const override {
    const auto& fails = seam::failures.get_config;
    return fails && fails(m_name) ? SSDP_FAILURE : m_real->Get(config);
  }

 private:
  const std::string m_name;
  const std::unique_ptr<SSDPConfigHolderBase> m_real;
};

}  // namespace

// No thread-safety analysis: the registry takes no lock to register either.
void HookSettings(SSDPStorage& store) NO_THREAD_SAFETY_ANALYSIS {
  for (auto& [name, holder] : store.m_configmap.m_configholder_map)
    holder = new HookedHolder(name, holder);  // owned by the map, as the real one was
}

void HookSettings(SSDP& service) {
  HookSettings(*service.m_ssdpstore);
}

}  // namespace support
