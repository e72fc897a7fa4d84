// SPDX-License-Identifier: MIT
#include "mutex.h"

#include <sys/time.h>

namespace libSSDP {

Mutex::Mutex() {
  pthread_mutex_init(&m_mutex, nullptr);
}

Mutex::~Mutex() {
  pthread_mutex_destroy(&m_mutex);
}

int Mutex::TryLock() {
  return pthread_mutex_trylock(&m_mutex);
}

ConditionVariable::ConditionVariable(Mutex& mutex) : m_mutex(&mutex) {
  pthread_cond_init(&m_cond, nullptr);
}

ConditionVariable::~ConditionVariable() {
  pthread_cond_destroy(&m_cond);
}

int ConditionVariable::Wait(int timeout) {
  if (timeout == -1) return pthread_cond_wait(&m_cond, &m_mutex->m_mutex);

  struct timeval now = {};
  gettimeofday(&now, nullptr);
  // The nanoseconds stay below 2^31 for every remainder, so a 32-bit long is enough. They may be
  // negative for a negative remainder; the system then returns EINVAL at once.
  const long remainder = timeout % 1000;
  struct timespec deadline;
  deadline.tv_sec = now.tv_sec + timeout / 1000;
  deadline.tv_nsec = (static_cast<long>(now.tv_usec) + remainder * 1000) * 1000;
  while (deadline.tv_nsec >= 1000000000) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000;
  }
  return pthread_cond_timedwait(&m_cond, &m_mutex->m_mutex, &deadline);
}

int ConditionVariable::Notify() {
  return pthread_cond_signal(&m_cond);
}

}  // namespace libSSDP
