// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDP_H
#define LIBSSDP_SOURCE_SSDP_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "libssdp.h"
#include "mutex.h"
#include "ssdphandler.h"
#include "ssdplistener.h"
#include "ssdpstorage.h"
#include "worker.h"

namespace libSSDP {

// The service: owns the store, both network workers and the device table. Its own thread announces
// this device when that is due and sweeps expired peers out of the table, five times a second.
//
// Threads: the host's (every public operation but Task and Callback), its own (Task, and Announce
// from there), and those of the listener and the handler (Callback). m_device_mutex is the only
// lock; it is held while the host's callback runs. m_callback and m_context have none: the host
// sets them before Init.
//
// A forked child has the parent's sockets and none of its threads, and a lock may have been held at
// the fork. There every operation of a service that the parent runs fails and touches nothing.
class SSDP : public SSDPDevice, public WorkerThread {
 public:
  explicit SSDP(int announce);  // non-zero: announce periodically

  // Sends no byebye and stops nothing: the owner calls DeInit first.
  ~SSDP() override;

  // Store, listener, handler, own thread, stopping at the first failure with what was started
  // running on. After a DeInit it first makes a new listener and handler, for they serve once. It
  // also replaces a worker that runs without a socket: without one no byebye leaves, so that no
  // DeInit would ever succeed.
  SSDP_STATUS Init();

  // Byebye, listener, handler, store, own thread, table, stopping at the first failure.
  SSDP_STATUS DeInit();

  SSDP_STATUS SetConfig(const std::string& name, const SSDPConfig& config) override;
  SSDP_STATUS GetConfig(const std::string& name, SSDPConfig& config) override;
  SSDP_STATUS SetCallback(SSDPCallback callback, void* context);
  SSDP_STATUS Announce();
  SSDP_STATUS Search();

  // Adds the table's entries to `devices`, whose own entries win. The records stay the table's.
  SSDP_STATUS GetDevices(std::map<std::string, DeviceInfo*>& devices) EXCLUDES(m_device_mutex);

  // What both workers report to; `context` is the service. Either a search was answered
  // (`searched`, no record), or `device` is here (`alive`) or has left.
  static void Callback(void* context, DeviceInfo* device, bool alive, bool searched);

  int Task() override;

 private:
  // False in a child of the process that runs the service.
  bool IsInOwnProcess() const;
  void ReplaceSpentWorkers();
  void DeviceAlive(DeviceInfo& device) EXCLUDES(m_device_mutex);
  void DeviceGone(DeviceInfo& device) EXCLUDES(m_device_mutex);
  bool ReadNotifyTimeout(int32_t& timeout);
  void Sweep(time_t now) EXCLUDES(m_device_mutex);
  void ClearDevices() EXCLUDES(m_device_mutex);

  SSDPStorage* m_ssdpstore;  // owned
  SSDPListener* m_listener;  // owned
  SSDPHandler* m_handler;    // owned
  Mutex m_device_mutex;
  // The device table: owns its records, each under its own UUID. A null entry counts as absent.
  std::map<std::string, DeviceInfo*> m_devices GUARDED_BY(m_device_mutex);
  // No record expires before this: spares most sweeps the walk, which keeps a large table locked.
  int32_t m_earliest_expiry GUARDED_BY(m_device_mutex);
  int32_t m_announce;
  SSDPCallback m_callback;
  void* m_context;               // the host's, handed back
  std::atomic<pid_t> m_process;  // that runs the service: from Init to the end of DeInit, else 0
};

}  // namespace libSSDP

#endif
