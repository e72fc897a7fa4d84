// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_MEMORY_H
#define LIBSSDP_TESTS_SUPPORT_MEMORY_H

#include <cstddef>

// A program that links memory.cpp has its operator new, which counts what is alive and throws
// std::bad_alloc where a test wants it, on the calling thread only. ThreadSanitizer's own can't be
// replaced: in its build nothing fails, LiveBlocks is 0 and LiveBytes counts malloc's blocks too.
namespace memory {

size_t LiveBlocks();  // operator new without its delete
size_t LiveBytes();   // what they hold

// From now on the calling thread's `call`th allocation fails, counted from 1; the others succeed.
void FailAt(int call);

// Ends that. True when an allocation has failed.
bool Stop();

// Every `k`th allocation inside a Counted fails from now on; none when `k` is 0.
void FailEvery(unsigned k);

bool MayFail();       // `k` isn't 0
unsigned Failures();  // since the last FailEvery

// Allocations count while a Counted exists on the thread, and no Paused.
class Counted {
 public:
  Counted();
  ~Counted();
};

class Paused {
 public:
  Paused();
  ~Paused();

 private:
  const bool m_counting;
};

}  // namespace memory

#endif
