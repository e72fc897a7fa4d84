// SPDX-License-Identifier: MIT
#include "session.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <mutex>
#include <random>
#include <utility>

#include "network.h"

namespace ssdp_peer {

namespace {

// Further events of a flood are lost until the verb has had time to take these.
constexpr size_t kMostEvents = 10000;

// What the library's threads have to tell. Never destroyed: they may outlive main's objects.
struct Queue {
  Queue() {
    if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) wake[0] = wake[1] = -1;
  }
  int wake[2];
  std::mutex mutex;
  std::vector<Event> events;
};

Queue& TheQueue() {
  static Queue& queue = *new Queue;
  return queue;
}

bool stuck = false;

void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int kind, void*) {
  Queue& queue = TheQueue();
  const std::lock_guard<std::mutex> lock(queue.mutex);
  if (queue.events.size() >= kMostEvents) return;
  queue.events.push_back({kind, device == nullptr ? libSSDP::DeviceInfo() : *device, Now()});
  [[maybe_unused]] const ssize_t written = write(queue.wake[1], "", 1);
}

}  // namespace

int64_t Now() {
  return time(nullptr);
}

Session::Session(const Options& options) : m_uuid(options.uuid) {
  TheQueue();
  std::srand(std::random_device()());  // or all devices would draw the same response delays
  libSSDP::CreateSSDP(false);
  libSSDP::SetNetworkInterface(options.interface);
  libSSDP::SetDomainName(options.domain);
  libSSDP::SetDeviceType(options.device_type);
  libSSDP::SetVersionInfo(options.device_version);
  libSSDP::SetUserAgent(options.user_agent);
  libSSDP::SetServerInfo(options.server);
  libSSDP::SetUUID(options.uuid);
  libSSDP::SetStatus(options.status);
  libSSDP::SetNotifyTimeOut(options.notify_timeout);
  libSSDP::SetMSearchTimeOut(options.mx);
  libSSDP::SetCallback(OnDevice, nullptr);
  m_running = libSSDP::Initialize() == libSSDP::SSDP_SUCCESS;
  stuck = !m_running;  // a start that failed half-way has left threads behind
}

bool Session::Announce() {
  return libSSDP::Announce() == libSSDP::SSDP_SUCCESS;
}

bool Session::Search() {
  return libSSDP::Search() == libSSDP::SSDP_SUCCESS;
}

bool Session::SetStatus(const std::string& status) {
  return libSSDP::SetStatus(status) == libSSDP::SSDP_SUCCESS;
}

// Whatever the stop returned: it fails where no byebye can be sent, and the start repairs what it
// can.
bool Session::Restart() {
  libSSDP::Uninitialize();
  m_running = libSSDP::Initialize() == libSSDP::SSDP_SUCCESS;
  stuck = !m_running;
  return m_running;
}

bool Session::End() {
  if (!m_running) return !stuck;
  m_running = false;
  stuck = libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS;
  if (!stuck) libSSDP::DestroySSDP();
  return !stuck;
}

bool Session::IsStuck() {
  return stuck;
}

int Session::Descriptor() const {
  return TheQueue().wake[0];
}

std::vector<Event> Session::Take() {
  Queue& queue = TheQueue();
  char bytes[256];
  while (read(queue.wake[0], bytes, sizeof(bytes)) > 0) continue;
  const std::lock_guard<std::mutex> lock(queue.mutex);
  return std::exchange(queue.events, {});
}

bool Session::IsOwn(const Event& event) const {
  return event.device.m_uuid == m_uuid && IsLocalAddress(event.device.m_address);
}

}  // namespace ssdp_peer
