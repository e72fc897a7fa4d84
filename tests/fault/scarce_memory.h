// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FAULT_SCARCE_MEMORY_H
#define LIBSSDP_TESTS_FAULT_SCARCE_MEMORY_H

// A program that links scarce_memory.cpp has its operator new, which throws std::bad_alloc where a
// test wants it, on the calling thread alone, and counts what is alive.
namespace scarce_memory {

// From now on the calling thread's `call`th allocation fails, counted from 1; the others succeed.
void FailAt(int call);

// Ends that. True when an allocation has failed.
bool Stop();

// Blocks that operator new gave out and that nobody has given back.
long Alive();

}  // namespace scarce_memory

#endif
