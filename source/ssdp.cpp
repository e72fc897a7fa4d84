// SPDX-License-Identifier: MIT
#include "ssdp.h"

#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "report.h"

namespace libSSDP {

namespace {

constexpr int PERIOD_MS = 200;  // of Task's loop
constexpr int SLICE = 2000;     // entries that a sweep walks with the table locked

}  // namespace

SSDP::SSDP(int announce)
    : m_ssdpstore(new SSDPStorage()),
      m_listener(new SSDPListener(&SSDP::Callback, m_ssdpstore, this)),
      m_handler(new SSDPHandler(&SSDP::Callback, m_ssdpstore, this)),
      m_announce(announce),
      m_callback(nullptr),
      m_context(nullptr),
      m_process(getpid()),
      m_running(false) {}

SSDP::~SSDP() {
  if (!IsInOwnProcess()) return;
  delete m_listener;
  delete m_handler;
  delete m_ssdpstore;
}

bool SSDP::IsInOwnProcess() const {
  return !m_running || m_process == getpid();
}

SSDP_STATUS SSDP::Init() {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (m_process != getpid()) LeaveSocketsToParent();
  m_running = true;
  ReplaceSpentWorkers();
  if (!SSDP_CHECK(m_ssdpstore->Init() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_listener->Init() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_handler->Init() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(Start() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

// The parent created the service and didn't start it: both processes may do so.
void SSDP::LeaveSocketsToParent() {
  m_listener->LeaveSocket();
  m_handler->LeaveSocket();
  m_process = getpid();
}

void SSDP::ReplaceSpentWorkers() {
  // Both, for a callback on a running listener may use the handler.
  if (m_listener->RunsWithoutSocket() || m_handler->RunsWithoutSocket()) {
    m_listener->DeInit();
    m_handler->DeInit();
  }
  if (m_listener->IsSpent()) {
    delete std::exchange(m_listener, new SSDPListener(&SSDP::Callback, m_ssdpstore, this));
  }
  if (m_handler->IsSpent()) {
    // After a DeInit that failed midway the own thread still runs, and uses the handler.
    if (IsStarted()) {
      Stop();
      Join();
    }
    delete std::exchange(m_handler, new SSDPHandler(&SSDP::Callback, m_ssdpstore, this));
  }
}

SSDP_STATUS SSDP::DeInit() {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_handler->AnnounceNetwork("ssdp:byebye", this) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  if (!SSDP_CHECK(m_listener->DeInit() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_handler->DeInit() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_ssdpstore->DeInit() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(Stop() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!SSDP_CHECK(Join() == SSDP_SUCCESS)) return SSDP_FAILURE;
  ClearDevices();
  m_running = false;
  return SSDP_SUCCESS;
}

void SSDP::ClearDevices() {
  const ScopedLock lock(m_device_mutex);
  for (const auto& entry : m_devices) delete entry.second;
  m_devices.clear();
}

SSDP_STATUS SSDP::SetConfig(const std::string& name, const SSDPConfig& config) {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_ssdpstore->SetConfig(name, config) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDP::GetConfig(const std::string& name, SSDPConfig& config) {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(name, config) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDP::SetCallback(SSDPCallback callback, void* context) {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  m_callback = callback;
  m_context = context;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDP::Announce() {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_handler->AnnounceNetwork("ssdp:alive", this) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDP::Search() {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  if (!SSDP_CHECK(m_handler->SearchNetwork(this) == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDP::GetDevices(std::map<std::string, DeviceInfo*>& devices) {
  if (!SSDP_CHECK(IsInOwnProcess())) return SSDP_FAILURE;
  const ScopedLock lock(m_device_mutex);
  devices.insert(m_devices.begin(), m_devices.end());
  return SSDP_SUCCESS;
}

void SSDP::Callback(void* context, DeviceInfo* device, bool alive, bool searched) {
  auto* ssdp = static_cast<SSDP*>(context);
  if (searched) {
    // No null check: an application sets its callback before Init.
    ssdp->m_callback(nullptr, nullptr, SSDP_SEARCH_RECEIVED, ssdp->m_context);
  } else if (alive) {
    ssdp->DeviceAlive(*device);
  } else {
    ssdp->DeviceGone(*device);
  }
}

// For a known device the callback sees the stored record with the new expiry, but still with the
// previous status and address.
void SSDP::DeviceAlive(DeviceInfo& device) {
  const ScopedLock lock(m_device_mutex);
  unsigned int event = 0;
  // One walk of the map finds the record, or the place for a new one.
  auto entry = m_devices.lower_bound(device.m_uuid);
  const bool listed = entry != m_devices.end() && entry->first == device.m_uuid;
  if (listed && entry->second != nullptr) {
    entry->second->m_expiry = device.m_expiry;
    if (entry->second->m_address != device.m_address) event |= SSDP_DEVICE_CHANGED;
  } else {
    auto copy = std::make_unique<DeviceInfo>(device);
    if (!listed) entry = m_devices.emplace_hint(entry, copy->m_uuid, nullptr);
    entry->second = copy.release();
    event |= SSDP_DEVICE_ADDED;
  }

  DeviceInfo& stored = *entry->second;
  if (m_callback != nullptr) m_callback(&stored, &device, event, m_context);
  if (stored.m_status != device.m_status) stored.m_status = device.m_status;
  if (stored.m_address != device.m_address) stored.m_address = device.m_address;
}

// A device that was never seen is reported as leaving too.
void SSDP::DeviceGone(DeviceInfo& device) {
  const ScopedLock lock(m_device_mutex);
  const auto entry = m_devices.find(device.m_uuid);
  if (entry != m_devices.end()) {
    delete entry->second;
    m_devices.erase(entry);
  }
  if (m_callback != nullptr) m_callback(nullptr, &device, SSDP_DEVICE_REMOVED, m_context);
}

int SSDP::Task() {
  NameThisThread("ssdp-service");
  struct timeval last_announce = {0, 0};  // so that the first pass announces
  while (IsStarted()) {
    struct timeval now = {};
    gettimeofday(&now, nullptr);
    if (m_announce != 0) {
      int32_t timeout = 0;
      if (!ReadNotifyTimeout(timeout)) {
        char line[256];
        static_cast<void>(
            std::snprintf(line, sizeof(line),
                          "[%d] %s: GetConfig() failed for SSDP_CONFIG_NOTIFY_TIMEOUT \n %s\n",
                          __LINE__, __func__, __FILE__));
        PrintLine(line);
      } else if (timeout > 0 && now.tv_sec - last_announce.tv_sec >= timeout) {
        SSDP_CHECK_REASON(Announce() == SSDP_SUCCESS, "Unable to send NOTIFY Query");
        gettimeofday(&last_announce, nullptr);  // failed or not: no retry before the next period
      }
    }
    Sweep(now.tv_sec);
    if (usleep(PERIOD_MS * 1000) < 0) {
      // NOLINTNEXTLINE(concurrency-mt-unsafe): at worst the reason reads wrong.
      ReportFailure(__LINE__, __func__, "(usleep(200000) >= 0)", std::strerror(errno), __FILE__);
      poll(nullptr, 0, PERIOD_MS);  // a sandbox that refuses usleep shall not make the loop spin
    }
  }
  return SSDP_SUCCESS;
}

// Read in every pass, so that a new timeout takes effect at once.
bool SSDP::ReadNotifyTimeout(int32_t& timeout) {
  try {
    NotifyTimeoutConfig config;
    if (m_ssdpstore->GetConfig(SSDP_CONFIG_NOTIFY_TIMEOUT, config) != SSDP_SUCCESS) return false;
    timeout = config.m_notify_timeout;
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Removes expired peers without a call of the application's callback.
void SSDP::Sweep(time_t now) {
  // An expiry at int32_t's limit has been saturated: it never passes. From 2038 on that is every
  // record's.
  const int64_t limit = std::min<int64_t>(now, std::numeric_limits<int32_t>::max());
  // Most tables are one slice. Walking a huge one takes a tenth of a second and more; between two
  // slices the workers get the lock.
  for (std::string next; SweepSlice(limit, next);) Pause(1);
}

// Removes what expired before `limit` from the next entries, beginning with the key `next`. Returns
// false after the last entry.
bool SSDP::SweepSlice(int64_t limit, std::string& next) {
  const ScopedLock lock(m_device_mutex);
  auto entry = m_devices.lower_bound(next);
  for (int walked = 0; walked < SLICE && entry != m_devices.end(); ++walked) {
    const DeviceInfo* device = entry->second;
    if (device != nullptr && device->m_expiry < limit) {
      delete device;
      entry = m_devices.erase(entry);
    } else {
      ++entry;
    }
  }
  if (entry == m_devices.end()) return false;
  try {
    next = entry->first;
    return true;
  } catch (const std::bad_alloc&) {
    return false;  // the next pass begins anew
  }
}

}  // namespace libSSDP
