// SPDX-License-Identifier: MIT
#include "allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
thread_local bool counting = false;
unsigned every = 0;
unsigned count = 0;
unsigned failures = 0;
}  // namespace

void* operator new(size_t size) {
  if (counting && every != 0 && ++count % every == 0) {
    ++failures;
    throw std::bad_alloc();
  }
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

namespace allocations {

void FailEvery(unsigned k) {
  every = k;
  count = 0;
  failures = 0;
}

bool MayFail() {
  return every != 0;
}

unsigned Failures() {
  return failures;
}

Counted::Counted() {
  counting = true;
}

Counted::~Counted() {
  counting = false;
}

Paused::Paused() : m_counting(counting) {
  counting = false;
}

Paused::~Paused() {
  counting = m_counting;
}

}  // namespace allocations
