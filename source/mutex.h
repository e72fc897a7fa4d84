// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_MUTEX_H
#define LIBSSDP_SOURCE_MUTEX_H

#include <pthread.h>

// Lock annotations, checked by clang's -Wthread-safety and empty for every other compiler.
#if defined(__clang__)
#define SSDP_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define SSDP_THREAD_ANNOTATION(x)
#endif
#define CAPABILITY(name) SSDP_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY SSDP_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(mutex) SSDP_THREAD_ANNOTATION(guarded_by(mutex))
#define REQUIRES(mutex) SSDP_THREAD_ANNOTATION(requires_capability(mutex))
#define EXCLUDES(mutex) SSDP_THREAD_ANNOTATION(locks_excluded(mutex))
#define ACQUIRE(...) SSDP_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) SSDP_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) SSDP_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS SSDP_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace libSSDP {

// One POSIX mutex with default attributes: not recursive, no error checking. Every operation
// returns the POSIX result unchanged (0 is SSDP_SUCCESS). The results of initialization and
// destruction are ignored: with default attributes neither fails on the systems that we know.
class CAPABILITY("mutex") Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  int Lock() ACQUIRE() { return pthread_mutex_lock(&m_mutex); }
  int Unlock() RELEASE() { return pthread_mutex_unlock(&m_mutex); }
  int TryLock() TRY_ACQUIRE(0);  // EBUSY when it is held elsewhere

 private:
  friend class ConditionVariable;
  pthread_mutex_t m_mutex;
};

// Holds a mutex for a scope. When the lock can't be taken, the scope runs without it, and the
// destructor doesn't unlock.
class SCOPED_CAPABILITY ScopedLock {
 public:
  explicit ScopedLock(Mutex& mutex) ACQUIRE(mutex) : m_mutex(mutex), m_locked(mutex.Lock() == 0) {}
  ~ScopedLock() RELEASE() {
    if (m_locked) m_mutex.Unlock();
  }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

  bool IsHeld() const { return m_locked; }

 private:
  Mutex& m_mutex;
  const bool m_locked;
};

// One POSIX condition variable, bound to one mutex, which must outlive it. Timed waits use the
// real-time clock (the default attribute), so setting the clock moves their end.
class ConditionVariable {
 public:
  explicit ConditionVariable(Mutex& mutex);
  ~ConditionVariable();
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  // Waits until Notify, at most `timeout` milliseconds, or without limit when `timeout` is -1.
  // Precondition: the caller holds the bound mutex; it is held again on return. Returns 0 when
  // woken (spuriously too), ETIMEDOUT after `timeout`, any other POSIX code unchanged. A negative
  // timeout other than -1 gives a deadline in the past: the wait returns at once.
  int Wait(int timeout);

  int Notify();  // wakes at most one waiter

 private:
  pthread_cond_t m_cond;
  Mutex* m_mutex;
};

}  // namespace libSSDP

#endif
