// SPDX-License-Identifier: MIT
// One fuzzer: FUZZ_TARGET is its function of targets.h. With FUZZ_ALLOCATIONS the input's last byte
// says which allocations fail: every so-many-th.
#include "memory.h"
#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
#if defined(FUZZ_ALLOCATIONS)
  if (input.empty()) return 0;
  memory::FailEvery(static_cast<uint8_t>(input.back()));
  input.pop_back();
#endif
  fuzz::FUZZ_TARGET(input);
  return 0;
}
