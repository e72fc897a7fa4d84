// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_WORKER_H
#define LIBSSDP_SOURCE_WORKER_H

#include <pthread.h>

#include <atomic>

#include "libssdp.h"

namespace libSSDP {

// The base of everything that owns a thread. Stopping is cooperative: Stop only clears the run
// flag, whoever calls it wakes the thread out of whatever it is blocked in, and Join waits for its
// end. Start, Stop and Join belong to one controlling thread; IsStarted is for both sides.
//
// Destruction neither stops nor joins: the owner does both first.
class WorkerThread {
 public:
  WorkerThread();
  virtual ~WorkerThread() = default;
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // The thread's body: loops while IsStarted() is true. The result is discarded.
  virtual int Task() = 0;

  // Starts the thread with all signals blocked, so that a host's handlers run on the host's own
  // threads. A second Start without a Stop between does nothing and succeeds. When the thread can't
  // be created the run flag stays set, so that a later Start does nothing until Stop was called.
  SSDP_STATUS Start();

  SSDP_STATUS Stop();  // clears the run flag; always SSDP_SUCCESS

  // Waits for the thread's end. Fails when there is no thread to wait for.
  SSDP_STATUS Join();

  bool IsStarted() const { return m_started.load(std::memory_order_relaxed); }

  // Whether the thread is inside its Task. Once it no longer is, everything that it did there has
  // been done.
  bool IsRunning() const { return m_running; }

 protected:
  // Whether there is a thread that nobody has joined; for the controlling thread.
  bool HasThread() const { return m_joinable; }

  // Names the calling thread for debuggers and process listings: at most 15 characters.
  static void NameThisThread(const char* name);

 private:
  static void* TaskLauncher(void* worker);

  pthread_t m_handle;
  // Relaxed is enough: the flag carries no data, and its writer wakes the thread afterwards.
  std::atomic<bool> m_started;
  // In one order with a worker's flag that its socket is closed: a thread that sets this and then
  // finds the socket open is seen by whoever closes it.
  std::atomic<bool> m_running;
  // Whether m_handle names a thread that nobody has joined: joining anything else is undefined.
  bool m_joinable;
};

}  // namespace libSSDP

#endif
