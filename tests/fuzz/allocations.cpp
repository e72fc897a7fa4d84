// SPDX-License-Identifier: MIT
#include "allocations.h"

namespace {
thread_local bool counting = false;
unsigned every = 0;
unsigned count = 0;
unsigned failures = 0;
}  // namespace

namespace allocations {

bool NextFails() {
  if (!counting || every == 0 || ++count % every != 0) return false;
  ++failures;
  return true;
}

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
