// SPDX-License-Identifier: MIT
#include "worker.h"

#include <signal.h>

#include "report.h"

namespace libSSDP {

WorkerThread::WorkerThread() : m_handle(), m_started(false), m_running(false), m_joinable(false) {}

SSDP_STATUS WorkerThread::Start() {
  if (IsStarted()) return SSDP_SUCCESS;
  m_started.store(true, std::memory_order_relaxed);  // before the thread reads it

  // A new thread inherits its creator's signal mask.
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  // clang-format off
  m_joinable = SSDP_CHECK(pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0);
  // clang-format on
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return m_joinable ? SSDP_SUCCESS : SSDP_FAILURE;
}

SSDP_STATUS WorkerThread::Stop() {
  m_started.store(false, std::memory_order_relaxed);
  return SSDP_SUCCESS;
}

SSDP_STATUS WorkerThread::Join() {
  if (!m_joinable || pthread_join(m_handle, nullptr) != 0) {
    SSDP_REPORT("pthread_join(m_handle, NULL) == 0");
    return SSDP_FAILURE;
  }
  m_joinable = false;
  return SSDP_SUCCESS;
}

void* WorkerThread::TaskLauncher(void* worker) {
  auto* self = static_cast<WorkerThread*>(worker);
  self->m_running = true;
  self->Task();
  self->m_running = false;
  return nullptr;
}

void WorkerThread::NameThisThread(const char* name) {
#if defined(__linux__)
  pthread_setname_np(pthread_self(), name);
#elif defined(__APPLE__)
  pthread_setname_np(name);
#else
  (void)name;
#endif
}

}  // namespace libSSDP
