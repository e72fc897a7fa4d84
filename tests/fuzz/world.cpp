// SPDX-License-Identifier: MIT
#include "world.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "memory.h"
#include "seam.h"
#include "ssdphandler.h"
#include "ssdplistener.h"

namespace fuzz {

using memory::Paused;

World::World(const Chance& chance) : m_chance(chance) {
  HookSockets();
  HookThreads();
  HookClock();
  libSSDP::CreateSSDP(true);
  libSSDP::SetCallback(&World::OnEvent, this);
}

World::~World() {
  const Paused unlimited;
  Require(libSSDP::Uninitialize() == libSSDP::SSDP_SUCCESS, "a stop with enough memory succeeds");
  libSSDP::DestroySSDP();
  Require(m_held.empty(), "no lock is left held");
  Require(m_open.empty(), "no socket is left open");
  seam::Reset();
}

namespace {

template <typename Operation>
void RetryWithMemory(Operation operation) {
  {
    const memory::Counted counted;
    if (operation() == libSSDP::SSDP_SUCCESS) return;
  }
  Require(memory::Failures() > 0, "only missing memory fails it");
  Require(operation() == libSSDP::SSDP_SUCCESS, "it succeeds with enough memory");
}

}  // namespace

void World::Initialize() {
  RetryWithMemory(libSSDP::Initialize);
}

void World::Uninitialize() {
  RetryWithMemory(libSSDP::Uninitialize);
}

void World::HookSockets() {
  seam::calls.socket = [this](int, int, int) {
    const Paused unlimited;
    return *m_open.insert(++m_last_socket).first;
  };
  seam::calls.bind = [this](int fd, const sockaddr* address, socklen_t) {
    const bool group = reinterpret_cast<const sockaddr_in*>(address)->sin_port == htons(1900);
    (group ? m_group : m_unicast) = fd;
    return 0;
  };
  seam::calls.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
  seam::calls.fcntl = [](int, int, int) { return 0; };
  seam::calls.shutdown = [this](int fd, int) {  // wakes its loop, which finds that it is to end
    m_entry(fd == m_group ? m_listener : m_handler);
    return 0;
  };
  seam::calls.close = [this](int fd) {
    if (fd < kFirstSocket) return seam::real.close(fd);  // the test framework's own
    Require(m_open.erase(fd) == 1, "only an open socket is closed");
    return 0;
  };
  seam::calls.sendto = [this](int fd, const void* data, size_t size, int, const sockaddr* to,
                              socklen_t) {
    return Send(fd, static_cast<const char*>(data), size,
                *reinterpret_cast<const sockaddr_in*>(to));
  };
  seam::calls.recvfrom = [this](int fd, void* data, size_t size, int, sockaddr* from,
                                socklen_t* length) {  // NOLINT: as the system
    Require(fd == (m_running == m_listener ? m_group : m_unicast), "each loop has its socket");
    Require(*length == sizeof(sockaddr_in), "the sender's address fits");
    return Receive(static_cast<char*>(data), size, reinterpret_cast<sockaddr_in*>(from));
  };
  seam::calls.getifaddrs = [](ifaddrs** list) {
    *list = nullptr;
    return -1;
  };
}

void World::HookThreads() {
  seam::calls.pthread_create = [this](pthread_t*, const pthread_attr_t*, void* (*entry)(void*),
                                      void* argument) {
    m_entry = entry;
    auto* worker = static_cast<libSSDP::WorkerThread*>(argument);
    const bool listens = dynamic_cast<libSSDP::SSDPListener*>(worker) != nullptr;
    const bool handles = dynamic_cast<libSSDP::SSDPHandler*>(worker) != nullptr;
    (listens ? m_listener : handles ? m_handler : m_service) = worker;
    return 0;
  };
  seam::calls.pthread_join = [](pthread_t, void**) { return 0; };
  seam::calls.pthread_mutex_lock = [this](pthread_mutex_t* mutex) {
    const Paused unlimited;
    Require(std::count(m_held.begin(), m_held.end(), mutex) == 0, "no lock is taken twice");
    m_held.push_back(mutex);
    return 0;
  };
  seam::calls.pthread_mutex_unlock = [this](pthread_mutex_t* mutex) {
    Require(!m_held.empty() && m_held.back() == mutex, "the last lock taken is released first");
    m_held.pop_back();
    return 0;
  };
  seam::calls.pthread_cond_wait = [](pthread_cond_t*, pthread_mutex_t*) {
    Require(false, "no wait is without an end");
    return 0;
  };
  seam::calls.pthread_cond_timedwait = [this](pthread_cond_t*, pthread_mutex_t* mutex,
                                              const timespec* until) {
    const Paused unlimited;
    Require(m_held == std::vector<const pthread_mutex_t*>{mutex}, "a wait holds its lock only");
    Require(until->tv_nsec >= 0 && until->tv_nsec < 1000000000, "a deadline is normalised");
    m_log.push_back(Waits((until->tv_sec - m_chance.now) * 1000 +
                          (until->tv_nsec / 1000 - m_chance.microsecond) / 1000));
    return ETIMEDOUT;
  };
  seam::calls.pthread_cond_signal = [](pthread_cond_t*) { return 0; };
}

void World::HookClock() {
  seam::calls.gettimeofday = [this](timeval* now) {
    ++m_clock_reads;
    now->tv_sec = Second();
    now->tv_usec = m_chance.microsecond;
    return 0;
  };
  seam::calls.time = [this](time_t*) { return Second(); };
  seam::calls.ctime_r = [](const time_t*, char* text) { return std::strcpy(text, kDate); };
  seam::calls.rand = [this] { return m_chance.random; };
  seam::calls.usleep = [this](useconds_t) {
    const Paused unlimited;
    if (m_running == m_service && !m_pause()) m_service->Stop();
    return 0;
  };
}

time_t World::Second() const {
  const auto second = static_cast<time_t>(m_chance.now);
  Require(second == m_chance.now, "time_t holds the clock's second");
  return second;
}

ssize_t World::Send(int fd, const char* data, size_t size, const sockaddr_in& to) {
  const Paused unlimited;
  Require(m_open.count(fd) == 1, "only an open socket sends");
  if (m_chance.sends_fail || size > 65507) {  // 65507 is what fits into one datagram
    errno = EMSGSIZE;
    return -1;
  }
  m_log.push_back(Sends(fd == m_group ? "group" : "unicast", Dotted(ntohl(to.sin_addr.s_addr)),
                        ntohs(to.sin_port), std::string(data, size)));
  return static_cast<ssize_t>(size);
}

// As the system: what doesn't fit is cut off, what isn't received isn't written.
ssize_t World::Receive(char* data, size_t size, sockaddr_in* from) {
  const Paused unlimited;
  Require(m_held.empty(), "no lock is held while a loop waits");
  const Arrival* arrival = m_source();
  if (arrival == nullptr) m_running->Stop();
  if (arrival == nullptr || arrival->error != 0) {
    errno = arrival == nullptr ? EBADF : arrival->error;
    return -1;
  }
  const size_t received = std::min(size, arrival->bytes.size());
  std::copy_n(arrival->bytes.data(), received, data);
  from->sin_family = AF_INET;
  from->sin_addr.s_addr = htonl(arrival->address);
  from->sin_port = htons(arrival->port);
  return static_cast<ssize_t>(received);
}

void World::OnEvent(const libSSDP::DeviceInfo* old, libSSDP::DeviceInfo* new_device, unsigned event,
                    void* world) {
  const Paused unlimited;
  auto* self = static_cast<World*>(world);
  self->m_log.push_back(Event(event, old, new_device, self->m_held.size()));
  if (self->m_chance.host_calls) libSSDP::Announce();
  if (self->m_chance.host_throws) throw std::runtime_error("the host's");
}

// Counts the loop's allocations. The loops may nest: the service's pause runs the others.
void World::Run(libSSDP::WorkerThread* worker) {
  auto* outer = std::exchange(m_running, worker);
  worker->Start();
  {
    const memory::Counted counted;
    m_entry(worker);
  }
  Require(!worker->IsStarted(), "a loop ends only when it is stopped");
  m_running = outer;
}

void World::Group(Source source) {
  m_source = std::move(source);
  Run(m_listener);
}

void World::Unicast(Source source) {
  m_source = std::move(source);
  Run(m_handler);
}

void World::Serve(std::function<bool()> pause) {
  m_pause = std::move(pause);
  Run(m_service);
}

Lines World::Happened() {
  return std::exchange(m_log, {});
}

std::map<std::string, libSSDP::DeviceInfo> World::Devices() const {
  std::map<std::string, libSSDP::DeviceInfo*> borrowed;
  libSSDP::GetDevices(borrowed);
  std::map<std::string, libSSDP::DeviceInfo> devices;
  for (const auto& [uuid, record] : borrowed) devices[uuid] = *record;
  return devices;
}

bool World::HasDevices(const std::map<std::string, libSSDP::DeviceInfo>& devices) const {
  std::map<std::string, libSSDP::DeviceInfo*> borrowed;
  libSSDP::GetDevices(borrowed);
  return std::equal(borrowed.begin(), borrowed.end(), devices.begin(), devices.end(),
                    [](const auto& one, const auto& other) {
                      const libSSDP::DeviceInfo& a = *one.second;
                      const libSSDP::DeviceInfo& b = other.second;
                      return one.first == other.first && a.m_uuid == b.m_uuid &&
                             a.m_expiry == b.m_expiry && a.m_address == b.m_address &&
                             a.m_status == b.m_status;
                    });
}

}  // namespace fuzz
