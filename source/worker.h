// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_WORKER_H
#define LIBSSDP_SOURCE_WORKER_H

#include <pthread.h>

#include <atomic>

#include "libssdp.h"

namespace libSSDP {

// The base of every class that owns a thread. Stopping is cooperative: Stop only clears the run
// flag, its caller wakes the thread from a blocking call, and Join waits for the thread's end.
// Start, Stop and Join are called on one controlling thread, IsStarted on any.
//
// The destructor neither stops nor joins: the owner does both first.
class WorkerThread {
 public:
  WorkerThread();
  virtual ~WorkerThread() = default;
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // The thread's body: loops while IsStarted() is true. Its result is discarded.
  virtual int Task() = 0;

  // Starts the thread with all signals blocked, so that the application's handlers run on its own
  // threads. A second Start without a Stop between does nothing and succeeds. When the thread can't
  // be created, the run flag stays set: a later Start does nothing until Stop has been called.
  SSDP_STATUS Start();

  SSDP_STATUS Stop();  // clears the run flag; always SSDP_SUCCESS

  // Blocks until the thread has ended. Fails when there is no thread to join.
  SSDP_STATUS Join();

  bool IsStarted() const { return m_started.load(std::memory_order_relaxed); }

  // Whether the thread is inside Task. When it no longer is, all effects of Task are visible.
  bool IsRunning() const { return m_running; }

 protected:
  // Whether there is a thread that hasn't been joined. Controlling thread only.
  bool HasThread() const { return m_joinable; }

  // Names the calling thread for debuggers and process listings: at most 15 characters.
  static void NameThisThread(const char* name);

 private:
  static void* TaskLauncher(void* worker);

  pthread_t m_handle;
  // Relaxed access: the flag publishes no data, and its writer wakes the thread afterwards.
  std::atomic<bool> m_started;
  // Sequentially consistent with SSDPBase::m_closed: either the thread sees the socket closed, or
  // the closing thread sees it running.
  std::atomic<bool> m_running;
  // Whether m_handle names a thread that hasn't been joined: joining any other is undefined.
  bool m_joinable;
};

}  // namespace libSSDP

#endif
