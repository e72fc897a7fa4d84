// SPDX-License-Identifier: MIT
#include "counted_heap.h"

#include <libssdp.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int64_t> allocations{0};
std::atomic<int64_t> live_bytes{0};

int64_t SizeOf(void* block) {
  return static_cast<int64_t>(malloc_usable_size(block) + sizeof(size_t));
}

void Free(void* block) {
  if (block != nullptr) live_bytes -= SizeOf(block);
  std::free(block);
}

}  // namespace

LIBSSDP_API void* operator new(size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  ++allocations;
  live_bytes += SizeOf(block);
  return block;
}
LIBSSDP_API void operator delete(void* block) noexcept {
  Free(block);
}
LIBSSDP_API void operator delete(void* block, size_t) noexcept {
  Free(block);
}

namespace bench {

int64_t Allocations() {
  return allocations;
}

int64_t LiveBytes() {
  return live_bytes;
}

}  // namespace bench
