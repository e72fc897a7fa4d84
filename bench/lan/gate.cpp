// SPDX-License-Identifier: MIT
#include "gate.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

namespace bench {

namespace {

int64_t Read(clockid_t clock) {
  struct timespec now;
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

}  // namespace

int64_t ProcessCpu() {
  return Read(CLOCK_PROCESS_CPUTIME_ID);
}

int64_t ThreadCpu() {
  return Read(CLOCK_THREAD_CPUTIME_ID);
}

Gate* Gate::Create() {
  void* memory =
      mmap(nullptr, sizeof(Gate), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  return new (memory) Gate();
}

Gate::Gate() {
  sem_init(&m_at_gate, 1, 0);
  sem_init(&m_open, 1, 0);
}

void Gate::Pass() {
  m_cpu = ProcessCpu() - m_opened;
  sem_post(&m_at_gate);
  while (sem_wait(&m_open) != 0) {
  }
  m_opened = ProcessCpu();
}

void Gate::Await() {
  struct timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += 30;
  while (sem_timedwait(&m_at_gate, &deadline) != 0) {
    if (errno == EINTR) continue;
    std::fprintf(stderr, "the measured process did not come to the gate\n");
    std::exit(1);
  }
}

void Gate::Open() {
  sem_post(&m_open);
}

int64_t Gate::Measure() {
  Open();
  Await();
  return m_cpu;
}

}  // namespace bench
