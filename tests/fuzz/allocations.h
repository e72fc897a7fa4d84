// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_ALLOCATIONS_H
#define LIBSSDP_TESTS_FUZZ_ALLOCATIONS_H

// This program's operator new, which can be told to fail. Only what a thread allocates while it has
// a Counted and no Paused counts, so that the test's own allocations never fail.
namespace allocations {

// Every `k`-th counted allocation fails from here on; none when `k` is 0.
void FailEvery(unsigned k);

bool NextFails();     // counts one; for operator new
bool MayFail();       // k isn't 0
unsigned Failures();  // since the last FailEvery

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

}  // namespace allocations

#endif
