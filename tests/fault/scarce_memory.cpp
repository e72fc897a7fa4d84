// SPDX-License-Identifier: MIT
#include "scarce_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace scarce_memory {

namespace {

thread_local int calls_left = 0;  // 0: nothing fails
thread_local bool has_failed = false;
std::atomic<long> alive{0};

void* Allocate(std::size_t size) {
  if (calls_left > 0 && --calls_left == 0) {
    has_failed = true;
    throw std::bad_alloc();
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  ++alive;
  return block;
}

void Free(void* block) {
  if (block == nullptr) return;
  --alive;
  std::free(block);
}

}  // namespace

void FailAt(int call) {
  has_failed = false;
  calls_left = call;
}

bool Stop() {
  calls_left = 0;
  return has_failed;
}

long Alive() {
  return alive;
}

}  // namespace scarce_memory

void* operator new(std::size_t size) {
  return scarce_memory::Allocate(size);
}
void* operator new[](std::size_t size) {
  return scarce_memory::Allocate(size);
}
void operator delete(void* block) noexcept {
  scarce_memory::Free(block);
}
void operator delete[](void* block) noexcept {
  scarce_memory::Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  scarce_memory::Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  scarce_memory::Free(block);
}
