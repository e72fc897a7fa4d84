// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_LAN_GATE_H
#define LIBSSDP_BENCH_LAN_GATE_H

#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace bench {

// The process's CPU time so far, in nanoseconds.
int64_t ProcessCpu();
int64_t ThreadCpu();

// What the measured process and the load generator share. The gate is a datagram of its own that
// makes the measured one wait while the next batch is queued in its socket, so that its CPU time is
// that of a full queue worked off, without a wake-up.
class Gate {
 public:
  static Gate* Create();  // in memory that a child shares; lives as long as the processes

  // The measured process, when it has received the gate's datagram.
  void Pass();

  // The load generator: waits until the other stands at the gate, opens it, and both at once. The
  // last gives the CPU time, in nanoseconds, that the other spent between two gates.
  void Await();
  void Open();
  int64_t Measure();

  // Where a bare loop receives: set before it starts. A host of the library has no choice.
  uint16_t m_port = 1900;

  // For results that aren't CPU time of a batch.
  std::atomic<int64_t> m_received{0};
  std::atomic<double> m_result{0};

 private:
  Gate();

  sem_t m_at_gate;
  sem_t m_open;
  std::atomic<int64_t> m_cpu{0};
  int64_t m_opened = 0;  // the measured process's
};

}  // namespace bench

#endif
