// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_LAN_COUNTED_HEAP_H
#define LIBSSDP_BENCH_LAN_COUNTED_HEAP_H

#include <cstdint>

// Every operator new of this program and of the library in it is counted.
namespace bench {

int64_t Allocations();  // so far

int64_t LiveBytes();  // with what the allocator adds to each block

}  // namespace bench

#endif
