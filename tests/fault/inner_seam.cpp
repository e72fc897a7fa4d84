// SPDX-License-Identifier: MIT
#include "inner_seam.h"

#include "ssdpstorage.h"
#include "worker.h"

// The symbols as the compiler names them; CMakeLists.txt has the same list.
#define STRING "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#define GET_CONFIG "_ZN7libSSDP10SSDPDevice9GetConfigERK" STRING "RNS_10SSDPConfigE"
#define SET_CONFIG "_ZN7libSSDP10SSDPDevice9SetConfigERK" STRING "RKNS_10SSDPConfigE"
#define STOP "_ZN7libSSDP12WorkerThread4StopEv"
#define STORE_DEINIT "_ZN7libSSDP11SSDPStorage6DeInitEv"

namespace inner_seam {

using namespace libSSDP;

Fails fails;

#define VISIBLE __attribute__((visibility("default")))
SSDP_STATUS RealGet(SSDPDevice*, const std::string&, SSDPConfig&) __asm__("__real_" GET_CONFIG);
VISIBLE SSDP_STATUS Get(SSDPDevice*, const std::string&, SSDPConfig&) __asm__("__wrap_" GET_CONFIG);
SSDP_STATUS RealSet(SSDPDevice*, const std::string&,
                    const SSDPConfig&) __asm__("__real_" SET_CONFIG);
VISIBLE SSDP_STATUS Set(SSDPDevice*, const std::string&,
                        const SSDPConfig&) __asm__("__wrap_" SET_CONFIG);
SSDP_STATUS RealStop(WorkerThread*) __asm__("__real_" STOP);
VISIBLE SSDP_STATUS Stop(WorkerThread*) __asm__("__wrap_" STOP);
SSDP_STATUS RealDeInit(SSDPStorage*) __asm__("__real_" STORE_DEINIT);
VISIBLE SSDP_STATUS DeInit(SSDPStorage*) __asm__("__wrap_" STORE_DEINIT);

SSDP_STATUS Get(SSDPDevice* store, const std::string& name, SSDPConfig& config) {
  if (fails.get_config && fails.get_config(name)) return SSDP_FAILURE;
  return RealGet(store, name, config);
}

SSDP_STATUS Set(SSDPDevice* store, const std::string& name, const SSDPConfig& config) {
  if (fails.set_config && fails.set_config(name)) return SSDP_FAILURE;
  return RealSet(store, name, config);
}

SSDP_STATUS Stop(WorkerThread* worker) {
  return fails.stop && fails.stop() ? SSDP_FAILURE : RealStop(worker);
}

SSDP_STATUS DeInit(SSDPStorage* store) {
  return fails.store_deinit && fails.store_deinit() ? SSDP_FAILURE : RealDeInit(store);
}

}  // namespace inner_seam
