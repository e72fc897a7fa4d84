// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdlib>
#include <new>

#include "allocations.h"

void* operator new(size_t size) {
  if (allocations::NextFails()) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

// A sanitizer's own would not fit our delete.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
