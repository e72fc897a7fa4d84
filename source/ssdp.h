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

// The service: owns the store, both network workers and the device table. Five times a second its
// own thread announces this device, if that is due, and removes expired peers from the table.
//
// Threads: the application's (every public operation but Task and Callback), its own (Task, which
// calls Announce), the listener's and the handler's (Callback). m_device_mutex is the only lock; it
// is held while the application's callback runs. m_callback and m_context have no lock: the
// application sets them before Init.
//
// A forked child shares the parent's sockets, has none of its threads, and inherits locks that were
// held at the fork. While the service runs in the parent, every operation fails in the child and
// uses neither sockets nor locks.
class SSDP : public SSDPDevice, public WorkerThread {
 public:
  explicit SSDP(int announce);  // non-zero: announce periodically

  // Sends no byebye and stops no thread: the owner calls DeInit first.
  ~SSDP() override;

  // Starts the store, the listener, the handler and the own thread. Stops at the first failure;
  // what was started runs on. After a DeInit the listener and the handler are replaced first, for a
  // worker is initialized once. They are also replaced when one was started without a socket:
  // DeInit can't succeed without the handler's, because it sends the byebye first.
  SSDP_STATUS Init();

  // Sends the byebye, stops the listener, the handler, the store and the own thread, and clears the
  // table. Stops at the first failure.
  SSDP_STATUS DeInit();

  SSDP_STATUS SetConfig(const std::string& name, const SSDPConfig& config) override;
  SSDP_STATUS GetConfig(const std::string& name, SSDPConfig& config) override;
  SSDP_STATUS SetCallback(SSDPCallback callback, void* context);
  SSDP_STATUS Announce();
  SSDP_STATUS Search();

  // Adds the table's entries to `devices`, whose own entries win. The records stay the table's.
  SSDP_STATUS GetDevices(std::map<std::string, DeviceInfo*>& devices) EXCLUDES(m_device_mutex);

  // Called by both workers; `context` is the service. `searched`: a search is being answered, and
  // `device` is null. Otherwise `device` is here (`alive`) or has left.
  static void Callback(void* context, DeviceInfo* device, bool alive, bool searched);

  int Task() override;

 private:
  // False in a child while the service runs in the parent.
  bool IsInOwnProcess() const;
  void LeaveSocketsToParent();
  void ReplaceSpentWorkers();
  void DeviceAlive(DeviceInfo& device) EXCLUDES(m_device_mutex);
  void DeviceGone(DeviceInfo& device) EXCLUDES(m_device_mutex);
  bool ReadNotifyTimeout(int32_t& timeout);
  void Sweep(time_t now) EXCLUDES(m_device_mutex);
  bool SweepSlice(int64_t limit, std::string& next) EXCLUDES(m_device_mutex);
  void ClearDevices() EXCLUDES(m_device_mutex);

  SSDPStorage* m_ssdpstore;  // owned
  SSDPListener* m_listener;  // owned
  SSDPHandler* m_handler;    // owned
  Mutex m_device_mutex;
  // The device table: owns its records, each under its own UUID. A null entry counts as absent.
  std::map<std::string, DeviceInfo*> m_devices GUARDED_BY(m_device_mutex);
  int32_t m_announce;
  SSDPCallback m_callback;
  void* m_context;              // passed to m_callback; not owned
  pid_t m_process;              // the process that opened the sockets
  std::atomic<bool> m_running;  // from Init to a DeInit that succeeds
};

}  // namespace libSSDP

#endif
