// SPDX-License-Identifier: MIT
#include "memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THREAD_SANITIZER
#endif
#endif

namespace memory {

namespace {

thread_local bool counting = false;
thread_local unsigned fail_at = 0;     // this one, 0: none
thread_local unsigned fail_every = 0;  // or each of so many, 0: none
thread_local unsigned count = 0;
thread_local unsigned failures = 0;

void Begin(unsigned at, unsigned every) {
  fail_at = at;
  fail_every = every;
  count = 0;
  failures = 0;
}

}  // namespace

void FailAt(int call) {
  Begin(static_cast<unsigned>(call), 0);
  counting = true;
}

bool Stop() {
  counting = false;
  return failures > 0;
}

void FailEvery(unsigned k) {
  Begin(0, k);
}

bool MayFail() {
  return fail_every != 0;
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

}  // namespace memory

#if defined(THREAD_SANITIZER)
// From sanitizer/allocator_interface.h, which Debian's g++ comes without.
extern "C" size_t __sanitizer_get_current_allocated_bytes();

size_t memory::LiveBlocks() {
  return 0;
}

size_t memory::LiveBytes() {
  return __sanitizer_get_current_allocated_bytes();
}
#else
namespace {

std::atomic<size_t> live_blocks{0};
std::atomic<size_t> live_bytes{0};

bool NextFails() {
  if (!memory::counting) return false;
  ++memory::count;
  const bool fails = memory::fail_every != 0 ? memory::count % memory::fail_every == 0
                                             : memory::count == memory::fail_at;
  if (fails) ++memory::failures;
  return fails;
}

void* Allocate(size_t size) noexcept {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) return nullptr;
  live_blocks.fetch_add(1, std::memory_order_relaxed);
  live_bytes.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
  return block;
}

}  // namespace

size_t memory::LiveBlocks() {
  return live_blocks;
}

size_t memory::LiveBytes() {
  return live_bytes;
}

void* operator new(size_t size) {
  void* block = NextFails() ? nullptr : Allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  live_blocks.fetch_sub(1, std::memory_order_relaxed);
  live_bytes.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
  std::free(block);
}

// Each of the other forms: AddressSanitizer's own would not fit our delete.
void* operator new[](size_t size) {
  return operator new(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void operator delete[](void* block) noexcept {
  operator delete(block);
}
void operator delete(void* block, size_t) noexcept {
  operator delete(block);
}
void operator delete[](void* block, size_t) noexcept {
  operator delete(block);
}
#endif
