// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FAULT_INNER_SEAM_H
#define LIBSSDP_TESTS_FAULT_INNER_SEAM_H

#include <functional>
#include <string>

// Steps of the library that no system call can make fail, although their callers look at the
// result: the reads and writes of the configuration store, a worker's Stop and the store's DeInit.
// The linker puts our own in their place (--wrap), for every caller, also for those that reach them
// through the store's virtual table.
//
// A hook that answers true makes the step fail: it then returns SSDP_FAILURE and does nothing. An
// empty hook is the real step. As with the seam, hooks are set while no thread of the library runs.
namespace inner_seam {

struct Fails {
  std::function<bool(const std::string& name)> get_config;
  std::function<bool(const std::string& name)> set_config;
  std::function<bool()> stop;
  std::function<bool()> store_deinit;
};

extern Fails fails;

inline void Reset() {
  fails = Fails();
}

}  // namespace inner_seam

#endif
